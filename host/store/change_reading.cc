// libyang reads the XML; its own way to apply a difference is not used: it fails on anydata and on
// some orders, and an image needs no tree for it.
#include "store/change_reading.h"

#include <algorithm>
#include <map>
#include <optional>

#include "store/change.h"
#include "store/image/image_draft.h"
#include "store/image/image_import.h"
#include "store/image_merge.h"

namespace nexa::store {
namespace {

constexpr char kNotApplicable[] = "the change does not fit the configuration before it";

std::optional<std::string_view> meta_of(const lyd_node* node, std::string_view name) {
  for (const lyd_meta* meta = node->meta; meta != nullptr; meta = meta->next) {
    if (name == meta->name) return lyd_get_meta_value(meta);
  }
  return std::nullopt;
}

// The key that predicates such as "[id='7'][name="x"]" name; nothing when they are no such text.
std::optional<std::string> key_of(std::string_view predicates, const lysc_node* list) {
  std::map<std::string_view, std::string_view> values;
  while (!predicates.empty()) {
    const std::size_t equals = predicates.find('=');
    if (predicates.front() != '[' || equals == std::string_view::npos ||
        equals + 1 >= predicates.size()) {
      return std::nullopt;
    }
    std::string_view name = predicates.substr(1, equals - 1);
    name.remove_prefix(name.find(':') == std::string_view::npos ? 0 : name.find(':') + 1);
    const std::string end{predicates[equals + 1], ']'};
    const std::size_t close = predicates.find(end, equals + 2);
    if (close == std::string_view::npos) return std::nullopt;
    values[name] = predicates.substr(equals + 2, close - equals - 2);
    predicates.remove_prefix(close + 2);
  }
  std::string key;
  const lysc_node* child = lysc_node_child(list);
  for (bool is_first = true; child != nullptr && lysc_is_key(child); child = child->next) {
    if (!is_first) key.push_back('\0');
    is_first = false;
    const auto value = values.find(child->name);
    if (value == values.end()) return std::nullopt;
    key.append(value->second);
  }
  return key;
}

class Application {
 public:
  bool siblings(ImageSlot& parent, const lyd_node* first, std::string_view inherited) {
    for (const lyd_node* node = first; node != nullptr; node = node->next) {
      if (node->schema == nullptr) return false;
      if (lysc_is_key(node->schema)) continue;
      const std::string_view operation = meta_of(node, "operation").value_or(inherited);
      if (!one(parent, node, operation)) return false;
    }
    refresh_default_flag(parent);
    return true;
  }

 private:
  bool one(ImageSlot& parent, const lyd_node* node, std::string_view operation) {
    if (operation == "delete") return remove(parent, node);
    const bool is_inner = (node->schema->nodetype & LYD_NODE_INNER) != 0;
    if (operation == "create" || (operation == "replace" && !is_inner)) return put(parent, node);
    if (operation == "replace" && !move(parent, node)) return false;
    ImageSlot* const slot = find(parent, node);
    if (slot == nullptr) return false;
    return !is_inner || siblings(*slot, lyd_child(node), "none");
  }

  static ImageSlot* find(ImageSlot& parent, const lyd_node* node) {
    ImageSlot* const slot = ImageDraft::child(parent, node->schema);
    if (slot == nullptr || !is_many(node->schema)) return slot;
    return ImageDraft::entry(*slot, tree_key(node));
  }

  static bool remove(ImageSlot& parent, const lyd_node* node) {
    ImageSlot* const slot = ImageDraft::child(parent, node->schema);
    if (slot == nullptr) return false;
    if (!is_many(node->schema)) {
      ImageDraft::remove(parent, node->schema);
      return true;
    }
    if (!ImageDraft::remove_entry(*slot, tree_key(node))) return false;
    if ((*slot)->group().size() == 0) ImageDraft::remove(parent, node->schema);
    return true;
  }

  static bool put(ImageSlot& parent, const lyd_node* node) {
    if (!is_many(node->schema)) {
      ImageDraft::put(parent, image_of_node(node));
      return true;
    }
    ImageSlot* group = ImageDraft::child(parent, node->schema);
    if (group == nullptr) group = ImageDraft::put(parent, ImageGroup::make(node->schema));
    ImageDraft::put_entry(*group, image_of_node(node));
    return !lysc_is_userordered(node->schema) || place(*group, node);
  }

  static bool move(ImageSlot& parent, const lyd_node* node) {
    ImageSlot* const group = ImageDraft::child(parent, node->schema);
    return group != nullptr && is_many(node->schema) && place(*group, node);
  }

  // Puts an entry behind the one that the difference names.
  static bool place(ImageSlot& group, const lyd_node* node) {
    const bool is_list = node->schema->nodetype == LYS_LIST;
    const auto anchor = meta_of(node, is_list ? "key" : "value");
    if (!anchor) return true;
    std::vector<const GroupEntry*> entries = group->group().in_order();
    const GroupEntry* const placed = group->group().find(tree_key(node));
    if (placed == nullptr) return false;
    entries.erase(std::find(entries.begin(), entries.end(), placed));
    auto position = entries.begin();
    if (!anchor->empty()) {
      const auto key = is_list ? key_of(*anchor, node->schema) : std::string(*anchor);
      const GroupEntry* const before = key ? group->group().find(*key) : nullptr;
      const auto found = std::find(entries.begin(), entries.end(), before);
      if (found == entries.end()) return false;
      position = found + 1;
    }
    entries.insert(position, placed);
    const bool in_order = std::is_sorted(
        entries.begin(), entries.end(),
        [](const GroupEntry* left, const GroupEntry* right) { return left->order < right->order; });
    if (in_order) return true;
    std::vector<ImageSlot> nodes;
    nodes.reserve(entries.size());
    for (const GroupEntry* const entry : entries) nodes.push_back(entry->node);
    for (ImageSlot& moved : nodes) {
      ImageDraft::put_entry(group, std::move(moved), group->group().next_order());
    }
    return true;
  }
};

}  // namespace

text::Done apply_change(std::string_view xml, ImagePtr& image) {
  text::Result<TreePtr> difference = parse_nodes(xml);
  if (!difference.ok()) return std::move(difference).failure();
  ImageSlot root = std::move(image);
  const bool fits = Application().siblings(root, difference.value().get(), "none");
  image = ImagePtr::share(&root->inner());
  if (!fits) return text::unusable("", kNotApplicable);
  return {};
}

}  // namespace nexa::store

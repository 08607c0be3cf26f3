// libyang reads each value below a chain of the nodes around it; what it makes of both is laid over
// the image that is held.
#include "store/held_state.h"

#include <utility>
#include <vector>

#include "store/image/image_draft.h"
#include "store/image/image_import.h"
#include "store/image_merge.h"
#include "store/node_tools.h"
#include "store/reading/selection.h"
#include "store/state_overlay.h"
#include "store/tree_snapshot.h"
#include "store/validation/violation_text.h"
#include "text/escape.h"

namespace nexa::store {
namespace {

constexpr char kRoot[] = "the path names no node";
constexpr char kWild[] = "an update names one node";
constexpr char kNoKeys[] = "the list has no keys, or the path does not give them all";
constexpr char kKey[] = "the path names a key, which is told with its entry";
constexpr char kConfiguration[] = " is configuration";
constexpr char kKeyDiffers[] = "a key of the value contradicts the path";
constexpr char kNotOne[] = "the value is not one value";

text::Failure not_held(std::string rule) {
  return {grpc::StatusCode::INVALID_ARGUMENT, "", std::move(rule)};
}

bool is_inner(const lysc_node* schema) {
  return (schema->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0;
}

// The start tags of a node and the keys in it.
void open_element(const model::TargetNode& node, std::string& xml) {
  xml.append("<").append(node.schema->name).append(" xmlns=\"");
  text::append_xml_attribute(node.schema->module->ns, xml);
  xml.append("\">");
  for (const model::TargetKey& key : node.keys) {
    xml.append("<").append(key.schema->name);
    for (const auto& [prefix, uri] : key.stored.namespaces) {
      xml.append(" xmlns:").append(prefix).append("=\"");
      text::append_xml_attribute(uri, xml);
      xml.append("\"");
    }
    xml.append(">");
    text::append_xml_attribute(key.text(), xml);
    xml.append("</").append(key.schema->name).append(">");
  }
}

std::size_t count_keys(const lysc_node* list) {
  std::size_t count = 0;
  for (const lysc_node* child = lysc_node_child(list); child != nullptr && lysc_is_key(child);
       child = child->next) {
    ++count;
  }
  return count;
}

class Reading {
 public:
  Reading(const model::Target& target, std::string_view json) : target_(target), json_(json) {}

  text::Done read() {
    if (text::Done done = check_target(); !done.ok()) return done;
    ly_err_clean(const_cast<ly_ctx*>(kestrel::context()), nullptr);
    if (!read_around() || !read_value()) {
      return stored_violation(kestrel::context(), nullptr).failure();
    }
    return check_value();
  }

  const lyd_node* tree() const { return tree_.get(); }

 private:
  text::Done check_target() const {
    if (target_.is_root()) return not_held(kRoot);
    if (target_.wild) return not_held(kWild);
    for (const model::TargetNode* const node : target_.chain()) {
      const bool is_entry = node->schema->nodetype == LYS_LIST;
      const std::size_t keys = is_entry ? count_keys(node->schema) : 0;
      if (is_entry && (keys == 0 || node->keys.size() != keys)) return not_held(kNoKeys);
      if (node->schema->nodetype == LYS_LEAFLIST && !node->keys.empty()) return not_held(kWild);
      for (const model::TargetKey& key : node->keys) {
        if (key.any) return not_held(kWild);
      }
    }
    if (lysc_is_key(target_.last().schema)) return not_held(kKey);
    return {};
  }

  // The nodes that the path passes, and the last one itself where the value is what is in it.
  bool read_around() {
    std::string xml;
    std::vector<const lysc_node*> opened;
    for (const model::TargetNode* const node : target_.chain()) {
      if (!is_inner(node->schema)) break;
      open_element(*node, xml);
      opened.push_back(node->schema);
    }
    for (auto node = opened.rbegin(); node != opened.rend(); ++node) {
      xml.append("</").append((*node)->name).append(">");
    }
    if (opened.empty()) return true;
    lyd_node* parsed = nullptr;
    const LY_ERR done = lyd_parse_data_mem(kestrel::context(), xml.c_str(), LYD_XML,
                                           LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &parsed);
    tree_.reset(parsed);
    if (done != LY_SUCCESS) return false;
    around_ = parsed;
    for (std::size_t depth = 1; depth < opened.size(); ++depth) {
      around_ = lyd_child(around_);
      while (around_ != nullptr && around_->schema != opened[depth]) around_ = around_->next;
      if (around_ == nullptr) return false;
    }
    return true;
  }

  bool read_value() {
    const lysc_node* const schema = target_.last().schema;
    std::string document(json_);
    if (!is_inner(schema)) {
      document =
          std::string("{\"") + schema->module->name + ":" + schema->name + "\":" + document + "}";
    }
    ly_in* raw = nullptr;
    if (ly_in_new_memory(document.c_str(), &raw) != LY_SUCCESS) return false;
    lyd_node* parsed = nullptr;
    const LY_ERR done = lyd_parse_data(kestrel::context(), around_, raw, LYD_JSON,
                                       LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &parsed);
    ly_in_free(raw, 0);
    if (around_ == nullptr) tree_.reset(parsed);
    return done == LY_SUCCESS;
  }

  text::Done check_value() {
    const lysc_node* const schema = target_.last().schema;
    if (schema->nodetype == LYS_LIST && !drop_repeated_keys()) return not_held(kKeyDiffers);
    if (!is_one_value(schema)) return not_held(kNotOne);
    return check_below(tree_.get());
  }

  // At the top, where nothing stands around it. The elements of a leaf-list are one value.
  bool is_one_value(const lysc_node* schema) const {
    if (around_ != nullptr) return true;
    if (schema->nodetype != LYS_LEAFLIST) return tree_ != nullptr && tree_->next == nullptr;
    for (const lyd_node* node = tree_.get(); node != nullptr; node = node->next) {
      if (node->schema != schema) return false;
    }
    return true;
  }

  // An object of an entry may have the keys that the path has.
  bool drop_repeated_keys() {
    std::vector<lyd_node*> keys;
    lyd_node* next = nullptr;
    for (lyd_node* child = lyd_child(around_); child != nullptr; child = next) {
      next = child->next;
      if (!lysc_is_key(child->schema)) continue;
      const lyd_node* first = nullptr;
      for (const lyd_node* const key : keys) {
        if (key->schema == child->schema) first = key;
      }
      if (first == nullptr) {
        keys.push_back(child);
      } else if (lyd_compare_single(first, child, 0) != LY_SUCCESS) {
        return false;
      } else {
        lyd_free_tree(child);
      }
    }
    return true;
  }

  // Configuration is not told by a device. The keys of entries and what stands around data are
  // there with them.
  static text::Done check_below(const lyd_node* first) {
    for (const lyd_node* node = first; node != nullptr; node = node->next) {
      const bool is_config = (node->schema->flags & LYS_CONFIG_W) != 0;
      if (!is_inner(node->schema) && is_config && !lysc_is_key(node->schema)) {
        const TextPtr path(lyd_path(node, LYD_PATH_STD, nullptr, 0));
        return not_held((path != nullptr ? path.get() : node->schema->name) +
                        std::string(kConfiguration));
      }
      if (text::Done done = check_below(lyd_child(node)); !done.ok()) return done;
    }
    return {};
  }

  const model::Target& target_;
  const std::string_view json_;
  TreePtr tree_;
  lyd_node* around_ = nullptr;  // the innermost node that is there before the value
};

}  // namespace

HeldState::HeldState() : root_(empty_image()) {}

text::Done HeldState::update(const model::Target& target, std::string_view json) {
  Reading reading(target, json);
  if (text::Done done = reading.read(); !done.ok()) return done;
  const ImagePtr told = image_of_tree(reading.tree());
  // One without elements has no node that could take the place of those that are held.
  if (target.last().schema->nodetype == LYS_LEAFLIST) remove(target);
  store::lay_over(root_, *told);
  return {};
}

bool HeldState::holds(const model::Target& target) const {
  bool is_there = false;
  select_chains(target, root_->inner(), [&](const ImageChain&) { is_there = true; });
  return is_there;
}

void HeldState::remove(const model::Target& target) {
  if (target.is_root()) return clear();
  const ImageSlot before = root_;  // the chains are of this one
  std::vector<ImageChain> chains;
  select_chains(target, before->inner(), [&](const ImageChain& chain) { chains.push_back(chain); });
  for (const ImageChain& chain : chains) remove_chain(root_, chain);
}

void HeldState::clear() { root_ = empty_image(); }

void HeldState::lay_over(const HeldState& other) { store::lay_over(root_, other.root_->inner()); }

bool HeldState::is_empty() const { return root_->inner().children().empty(); }

std::size_t HeldState::count() const { return count_nodes(*root_); }

std::shared_ptr<const StateTree> HeldState::tree() const {
  return state_tree_of(ImagePtr::share(&root_->inner()));
}

std::shared_ptr<const StateTree> join_state_trees(
    std::span<const std::shared_ptr<const StateTree>> trees) {
  ImageSlot root = empty_image();
  for (const auto& tree : trees) lay_over(root, image_of_state(*tree));
  return state_tree_of(ImagePtr::share(&root->inner()));
}

}  // namespace nexa::store

// The walk goes only where the images differ. A node with an operation of its own is written whole;
// those above it say that nothing happened to them.
#include "store/change.h"

#include <algorithm>
#include <optional>

#include "store/document_check.h"
#include "store/image/image_difference.h"
#include "store/image/image_xml.h"
#include "text/escape.h"

namespace nexa::store {
namespace {

constexpr char kDeclaration[] = " xmlns:yang=\"urn:ietf:params:xml:ns:yang:1\"";

// Whether somebody configured the node, or something in it.
bool counts(const ImageNode* node) { return node != nullptr && !node->is_default(); }

bool differs(const NodeDifference& node);

bool children_differ(const ImageInner& before, const ImageInner& after) {
  bool found = false;
  each_child_difference(&before, &after,
                        [&found](const NodeDifference& node) { found = found || differs(node); });
  return found;
}

bool is_moved(const NodeDifference& node) {
  return node.before != nullptr && node.after != nullptr && node.order_before != node.order_after &&
         lysc_is_userordered(node.after->schema());
}

// Whether configured nodes differ.
bool differs(const NodeDifference& node) {
  if (counts(node.before) != counts(node.after)) return true;
  if (!counts(node.before)) return false;
  if (is_moved(node)) return true;
  if (node.before->kind() != ImageKind::kInner) return !same_image(*node.before, *node.after);
  return children_differ(node.before->inner(), node.after->inner());
}

// Whether the node is the key of a replaced entry and has another JSON type than before. A change
// names entries by the texts of their keys, so it cannot say that.
bool is_other_key(const NodeDifference& node) {
  return node.before != nullptr && node.after != nullptr && lysc_is_key(node.after->schema());
}

std::string predicates_of(const ImageNode& entry) {
  if (entry.kind() == ImageKind::kLeaf) return std::string(entry.leaf().text());
  std::string text;
  for (const ImageSlot& child : entry.inner().children()) {
    if (child->kind() != ImageKind::kLeaf || !lysc_is_key(child->schema())) break;
    const std::string_view value = child->leaf().text();
    const char quote = value.find('\'') == std::string_view::npos ? '\'' : '"';
    text.append("[").append(child->schema()->name).append("=");
    text.append(1, quote).append(value).append(1, quote).append("]");
  }
  return text;
}

// Whether a difference can name the entry: XPath 1.0 has no way to write both kinds of quotes in a
// predicate, and no value stands for the place before all others.
bool can_be_named(const ImageNode& entry) {
  if (entry.kind() == ImageKind::kLeaf) return !entry.leaf().text().empty();
  for (const ImageSlot& child : entry.inner().children()) {
    if (child->kind() != ImageKind::kLeaf || !lysc_is_key(child->schema())) break;
    const std::string_view value = child->leaf().text();
    if (value.find('\'') != std::string_view::npos && value.find('"') != std::string_view::npos) {
      return false;
    }
  }
  return true;
}

class DifferenceWriter {
 public:
  std::string text;
  bool is_complete = true;  // everything that differs can be said

  void children(const ImageInner& before, const ImageInner& after, bool is_top) {
    // Entries that the user orders and that came or moved. Each stands behind one that is told
    // before it, or did not move.
    std::vector<NodeDifference> placed;
    each_child_difference(&before, &after, [&](const NodeDifference& node) {
      if (!differs(node)) return;
      if (is_other_key(node)) {
        is_complete = false;
        return;
      }
      const bool is_placed = counts(node.after) && lysc_is_userordered(node.after->schema()) &&
                             (!counts(node.before) || is_moved(node));
      if (is_placed) {
        placed.push_back(node);
      } else {
        one(node, {}, is_top);
      }
    });
    std::stable_sort(placed.begin(), placed.end(), [](const auto& left, const auto& right) {
      const std::uint32_t one_list = schema_number(left.after->schema());
      const std::uint32_t other = schema_number(right.after->schema());
      return one_list != other ? one_list < other : left.order_after < right.order_after;
    });
    for (const NodeDifference& node : placed) {
      const ImageGroup& list = after.find(node.after->schema())->group();
      const GroupEntry* const anchor = list.before(node.order_after);
      one(node, position_of(*node.after, anchor != nullptr ? anchor->node.get() : nullptr), is_top);
    }
  }

 private:
  std::string position_of(const ImageNode& node, const ImageNode* anchor) {
    is_complete = is_complete && (anchor == nullptr || can_be_named(*anchor));
    const bool is_list = node.schema()->nodetype == LYS_LIST;
    std::string attribute = is_list ? " yang:key=\"" : " yang:value=\"";
    if (anchor != nullptr) text::append_xml_attribute(predicates_of(*anchor), attribute);
    return attribute.append("\"");
  }

  // A node that came, with everything configured below it. Entries that the user orders say where
  // they stand, also below a node that is new.
  void created(const ImageNode& node, const std::string& attributes) {
    if (node.kind() == ImageKind::kLeaf) return writer_.leaf(node.leaf(), attributes);
    if (node.kind() == ImageKind::kAny) return writer_.any(node.any(), attributes);
    writer_.begin(node.inner(), attributes);
    for (const ImageSlot& child : node.inner().children()) {
      if (child->kind() != ImageKind::kGroup) {
        if (counts(child.get())) created(*child, {});
        continue;
      }
      const bool is_ordered = lysc_is_userordered(child->schema());
      const ImageNode* anchor = nullptr;
      for (const GroupEntry* const entry : child->group().in_order()) {
        if (!counts(entry->node.get())) continue;
        created(*entry->node, is_ordered ? position_of(*entry->node, anchor) : std::string());
        anchor = entry->node.get();
      }
    }
    writer_.end();
  }

  static std::string operation(const char* name, bool is_top) {
    return std::string(is_top ? kDeclaration : "") + " yang:operation=\"" + name + "\"";
  }

  void one(const NodeDifference& node, const std::string& position, bool is_top) {
    if (!counts(node.after)) return writer_.node(*node.before, operation("delete", is_top));
    if (!counts(node.before)) {
      return created(*node.after, operation("create", is_top) + position);
    }
    if (node.after->kind() == ImageKind::kLeaf) {
      std::string attributes = operation("replace", is_top) + position;
      if (!is_many(node.after->schema())) {
        attributes += " yang:orig-default=\"false\" yang:orig-value=\"";
        text::append_xml_attribute(node.before->leaf().text(), attributes);
        attributes += '"';
      }
      return writer_.leaf(node.after->leaf(), attributes);
    }
    if (node.after->kind() == ImageKind::kAny) {
      return writer_.any(node.after->any(), operation("replace", is_top));
    }
    const bool moved = is_moved(node);
    // Below a parent that moved nothing happened to the others.
    const bool says_none = is_top || below_moved_;
    writer_.begin(node.after->inner(), moved       ? operation("replace", is_top) + position
                                       : says_none ? operation("none", is_top)
                                                   : std::string());
    writer_.keys(node.after->inner());
    const bool outer = std::exchange(below_moved_, moved);
    children(node.before->inner(), node.after->inner(), false);
    below_moved_ = outer;
    writer_.end();
  }

  XmlWriter writer_{text};
  bool below_moved_ = false;
};

class SideWriter {
 public:
  explicit SideWriter(bool is_before) : is_before_(is_before) {}

  std::string text;

  void children(const ImageInner& before, const ImageInner& after) {
    const lysc_node* written = nullptr;  // the list whose entries are all written
    each_child_difference(&before, &after, [&](const NodeDifference& node) {
      if (!differs(node) || is_other_key(node)) return;
      const lysc_node* const schema = (node.after != nullptr ? node.after : node.before)->schema();
      if (schema == written) return;
      const bool is_order = is_many(schema) && lysc_is_userordered(schema) &&
                            (!counts(node.before) || !counts(node.after) || is_moved(node));
      if (is_order) {
        written = schema;
        all_entries(before.find(schema), after.find(schema));
      } else {
        one(node.before, node.after);
      }
    });
  }

 private:
  const ImageNode* mine(const ImageNode* before, const ImageNode* after) const {
    return is_before_ ? before : after;
  }

  void one(const ImageNode* before, const ImageNode* after) {
    const ImageNode* const node = mine(before, after);
    if (!counts(node)) return;
    if (!counts(before) || !counts(after) || node->kind() != ImageKind::kInner) {
      return writer_.node(*node);
    }
    writer_.begin(node->inner());
    writer_.keys(node->inner());
    children(before->inner(), after->inner());
    writer_.end();
  }

  void all_entries(const ImageNode* before, const ImageNode* after) {
    const ImageNode* const group = mine(before, after);
    const ImageNode* const other = is_before_ ? after : before;
    if (group == nullptr) return;
    for (const GroupEntry* const entry : group->group().in_order()) {
      const GroupEntry* const match =
          other != nullptr ? other->group().find(image_key(*entry->node)) : nullptr;
      const ImageNode* const like = match != nullptr ? match->node.get() : nullptr;
      one(is_before_ ? entry->node.get() : like, is_before_ ? like : entry->node.get());
    }
  }

  const bool is_before_;
  XmlWriter writer_{text};
};

}  // namespace

bool change_xml(const ImageInner& before, const ImageInner& after, std::string& xml) {
  DifferenceWriter writer;
  writer.children(before, after, true);
  xml = std::move(writer.text);
  return writer.is_complete;
}

std::string changed_nodes_xml(const ImageInner& before, const ImageInner& after,
                              const ImageInner& side) {
  SideWriter writer(&side == &before);
  writer.children(before, after);
  if (writer.text.empty()) return "<config/>";
  return "<config>" + writer.text + "</config>";
}

text::Result<TreePtr> parse_nodes(std::string_view xml) {
  TreePtr tree;
  if (const std::optional<Violation> problem = read_nodes(xml, tree)) return problem->failure();
  return tree;
}

std::string_view inner_xml(std::string_view document) {
  constexpr std::string_view kBlank = " \t\r\n";
  const auto skip_blanks = [&] {
    document.remove_prefix(std::min(document.find_first_not_of(kBlank), document.size()));
  };
  skip_blanks();
  if (document.substr(0, 5) == "<?xml") {
    const std::size_t end = document.find("?>");
    if (end == std::string_view::npos) return {};
    document.remove_prefix(end + 2);
    skip_blanks();
  }
  document.remove_suffix(document.size() - 1 - document.find_last_not_of(kBlank));
  const std::size_t open = document.find('>');
  if (document.empty() || document.front() != '<' || open == std::string_view::npos) return {};
  if (document[open - 1] == '/') return open + 1 == document.size() ? "" : std::string_view();
  const std::size_t close = document.rfind("</");
  if (close == std::string_view::npos || close < open) return {};
  return document.substr(open + 1, close - open - 1);
}

}  // namespace nexa::store

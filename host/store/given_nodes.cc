// Deletions by validation are rare, so documents are read again only then.
#include "store/given_nodes.h"

#include <string>
#include <string_view>

#include "store/change.h"
#include "store/document_check.h"
#include "store/node_tools.h"
#include "store/touched.h"
#include "store/validation/violation_text.h"

namespace nexa::host {
namespace {

void collect(const lyd_node* first, std::string_view inherited,
             std::vector<const lyd_node*>& deleted) {
  for (const lyd_node* node = first; node != nullptr; node = node->next) {
    const std::string_view operation = diff_operation(node, inherited);
    if (operation == "delete") {
      if ((node->flags & LYD_DEFAULT) == 0) deleted.push_back(node);
    } else if (operation == "none") {
      collect(first_child(node), operation, deleted);
    }
  }
}

bool holds(const lyd_node* document, const lyd_node* node) {
  std::vector<const lyd_node*> chain;
  for (; node != nullptr; node = lyd_parent(node)) chain.push_back(node);
  for (auto link = chain.rbegin(); link != chain.rend(); ++link) {
    const lyd_node* const match = find_match(document, *link);
    if (match == nullptr) return false;
    document = first_child(match);
  }
  return true;
}

Violation violation_of(const lyd_node* node) {
  for (const lysc_node* schema = node->schema; schema != nullptr; schema = schema->parent) {
    const lysc_when* const* const whens = lysc_node_when(schema);
    if (whens != nullptr) return when_violation(node, *whens[0]);
    if ((schema->parent == nullptr) || (schema->parent->nodetype & (LYS_CHOICE | LYS_CASE)) == 0) {
      break;
    }
  }
  Violation violation;
  violation.path = instance_path(node);
  violation.rule = "gives way to other nodes of the same transaction";
  return violation;
}

}  // namespace

std::optional<LostNode> lost_node(const std::vector<Edit>& edits, const lyd_node* changes) {
  std::vector<const lyd_node*> deleted;
  collect(changes, "none", deleted);
  if (deleted.empty()) return std::nullopt;
  for (std::size_t i = edits.size(); i-- > 0;) {
    TreePtr document;
    if (edits[i].kind == Edit::Kind::kDelete ||
        read_nodes(inner_xml(edits[i].xml), document).has_value()) {
      continue;
    }
    for (const lyd_node* const node : deleted) {
      if (holds(document.get(), node)) return LostNode{violation_of(node), static_cast<int>(i)};
    }
  }
  return std::nullopt;
}

}  // namespace nexa::host

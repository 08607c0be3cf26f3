// Names with a schema have a namespace; those of opaque nodes and their attributes may have none.
#include "store/unbound_prefix.h"

namespace nexa::store {
namespace {

std::string unbound(const ly_opaq_name& name) {
  if (name.prefix == nullptr || name.module_ns != nullptr) return {};
  return std::string(name.prefix) + ":" + name.name;
}

std::string unbound_in(const lyd_node_opaq& node) {
  std::string found = unbound(node.name);
  for (const lyd_attr* attribute = node.attr; found.empty() && attribute != nullptr;
       attribute = attribute->next) {
    found = unbound(attribute->name);
  }
  return found;
}

}  // namespace

std::string unbound_prefix(const lyd_node* first) {
  for (const lyd_node* node = first; node != nullptr; node = node->next) {
    std::string found;
    if (node->schema == nullptr) {
      found = unbound_in(*reinterpret_cast<const lyd_node_opaq*>(node));
    } else if ((node->schema->nodetype & LYD_NODE_ANY) != 0) {
      const auto* const any = reinterpret_cast<const lyd_node_any*>(node);
      if (any->value_type == LYD_ANYDATA_DATATREE) found = unbound_prefix(any->value.tree);
    }
    if (found.empty()) found = unbound_prefix(lyd_child(node));
    if (!found.empty()) return found;
  }
  return {};
}

}  // namespace nexa::store

// Looks through references and into unions.
#include "model/value_kind.h"

#include <libyang/libyang.h>

namespace nexa::model {
namespace {

// Whether values of the base type are among those of the type.
bool takes(const lysc_type* type, LY_DATA_TYPE base) {
  while (type->basetype == LY_TYPE_LEAFREF) {
    type = reinterpret_cast<const lysc_type_leafref*>(type)->realtype;
  }
  if (type->basetype != LY_TYPE_UNION) return type->basetype == base;
  const auto* const choice = reinterpret_cast<const lysc_type_union*>(type);
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(choice->types, i) {
    if (takes(choice->types[i], base)) return true;
  }
  return false;
}

}  // namespace

ValueKind value_kind(const lysc_node* node) {
  const lysc_type* type = nullptr;
  if (node->nodetype == LYS_LEAF) type = reinterpret_cast<const lysc_node_leaf*>(node)->type;
  if (node->nodetype == LYS_LEAFLIST) {
    type = reinterpret_cast<const lysc_node_leaflist*>(node)->type;
  }
  if (type == nullptr) return ValueKind::kOther;
  if (takes(type, LY_TYPE_BINARY)) return ValueKind::kBinary;
  const bool is_empty = takes(type, LY_TYPE_EMPTY) && !takes(type, LY_TYPE_BOOL);
  return is_empty ? ValueKind::kEmpty : ValueKind::kOther;
}

}  // namespace nexa::model

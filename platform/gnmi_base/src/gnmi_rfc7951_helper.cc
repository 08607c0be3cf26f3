// Derives the kind of a schema node from its record: flags decide first, then the value type.
#include <grpc/support/log.h>

#include "gnmi/gnmi_rfc7951_schema_enums.h"

namespace gnmi::rfc7951 {
namespace {

SchemaEnums::NODE_KIND interior_kind(const kestrel_cs_node& node) {
  if ((node.flags & KESTREL_FLAG_LEAF_LIST) != 0) return SchemaEnums::kLeafList;
  if ((node.flags & KESTREL_FLAG_LIST) != 0) {
    const bool keyed = node.keys != nullptr && node.keys[0] != 0;
    return keyed ? SchemaEnums::kKeyedList : SchemaEnums::kKeylessList;
  }
  if ((node.flags & KESTREL_FLAG_ANY_DATA) != 0) return SchemaEnums::kAnyData;
  if ((node.flags & KESTREL_FLAG_PRESENCE) != 0) return SchemaEnums::kPresenceContainer;
  return SchemaEnums::kContainer;
}

SchemaEnums::LEAF_TYPE leaf_type(const kestrel_cs_node& node) {
  constexpr std::uint32_t kIdentityRefCode = 44;
  if ((node.flags & KESTREL_FLAG_LEAFREF) != 0) return SchemaEnums::kLeafRef;
  return node.shallow_type == kIdentityRefCode ? SchemaEnums::kIdentityRef : SchemaEnums::kOwnType;
}

}  // namespace

grpc::Status Helper::transform(const kestrel_cs_node* node, std::shared_ptr<NodeVariant_t>& out) {
  if (node == nullptr) {
    out.reset();
    gpr_log(GPR_ERROR, "%s", "no schema node to derive a kind from");
    return {grpc::StatusCode::INTERNAL, "no schema node to derive a kind from"};
  }
  const bool is_list = (node->flags & (KESTREL_FLAG_LIST | KESTREL_FLAG_LEAF_LIST)) != 0;
  if (!is_list && is_leaf_type(node->shallow_type)) {
    out = std::make_shared<NodeVariant_t>(std::make_pair(SchemaEnums::kLeaf, leaf_type(*node)));
    return grpc::Status::OK;
  }
  const SchemaEnums::NODE_KIND_CHILDREN children =
      node->children == nullptr ? SchemaEnums::kNoChildren : SchemaEnums::kHasChildren;
  out = std::make_shared<NodeVariant_t>(std::make_pair(interior_kind(*node), children));
  return grpc::Status::OK;
}

}  // namespace gnmi::rfc7951

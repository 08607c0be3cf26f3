// The cursor of path digestion and the schema-node wrapper that it points at.
#ifndef GNMI_GNMI_RFC7951_DEFS_H_
#define GNMI_GNMI_RFC7951_DEFS_H_

#include <grpc/support/log.h>
#include <grpcpp/support/status.h>

#include <boost/variant.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "gnmi/gnmi_rfc7951_schema_enums.h"
#include "kestrel/kestrel.h"

namespace gnmi::rfc7951 {

// One schema node with the names it was found by. Always owned by shared pointers; `weakThis` hands out
// further ones. Does not own `node`.
template <typename CsNode>
class SchemaNode {
 public:
  SchemaNode(const std::string& ns_uri, const std::string& element_name, const CsNode* schema_node)
      : ns(ns_uri), name(element_name), node(schema_node) {}

  // A shared node whose `weakThis` is filled.
  static std::shared_ptr<SchemaNode> create(const std::string& ns, const std::string& name,
                                            const CsNode* node) {
    auto created = std::make_shared<SchemaNode>(ns, name, node);
    created->weakThis = created;
    return created;
  }

  std::weak_ptr<SchemaNode> weakThis;
  std::string ns;
  std::string name;
  const CsNode* node;
  std::shared_ptr<NodeVariant_t> nodeVariant;
};

// How an element stands in a path.
enum PathMode : std::int32_t {
  kModeValue = 0,     // a leaf, or a list without keys in the path
  kModeListEntry = 1, // a list with keys in the path
  kModeInterior = 2,  // a node that takes no keys, or no node at all
};

// The cursor that digestion advances: one per path, at the last good element after a failure.
template <typename CsNode>
class GenericPathPointer {
 public:
  using Snode = SchemaNode<CsNode>;

  // Makes `sn` current if a node of its kind may stand in a path, with keys or without. Code INTERNAL
  // otherwise, and the cursor stays.
  grpc::Status set_snode(const std::shared_ptr<Snode>& sn, bool hasKeys);

  // Code INTERNAL, " could not interpret path [ " + what + " ] ".
  grpc::Status malformedPath(const std::string& what);

  std::shared_ptr<Snode> snode;
  std::int32_t mode = kModeValue;
  std::string name;
  std::int32_t index = -1;
  std::string rootNs;
};

using KcnPathPointer = GenericPathPointer<kestrel_cs_node>;

template <typename CsNode>
grpc::Status GenericPathPointer<CsNode>::malformedPath(const std::string& what) {
  std::string message = " could not interpret path [ " + what + " ] ";
  gpr_log(GPR_ERROR, "%s", message.c_str());
  return {grpc::StatusCode::INTERNAL, message};
}

template <typename CsNode>
grpc::Status GenericPathPointer<CsNode>::set_snode(const std::shared_ptr<Snode>& sn, bool hasKeys) {
  std::int32_t accepted = kModeInterior;
  if (sn != nullptr) {
    constexpr int kInterior = 0;
    constexpr int kLeaf = 1;
    const NodeVariant_t& variant = *sn->nodeVariant;
    switch (variant.which()) {
      case kLeaf: {
        const auto& leaf =
            boost::get<std::pair<SchemaEnums::LEAF_KIND, SchemaEnums::LEAF_TYPE>>(variant);
        // The number printed is the alternative, not the kind; log readers know it by that.
        if (leaf.first != SchemaEnums::kLeaf) {
          return malformedPath("Unexpected leaf in path element list[ " + std::to_string(kLeaf) +
                               " ]");
        }
        accepted = kModeValue;
        break;
      }
      case kInterior: {
        constexpr std::uint32_t kFirstKind = 80;
        constexpr std::uint32_t kTakesNoKeys = 0xA5;  // kinds 80, 82, 85, 87
        constexpr std::uint32_t kMayTakeKeys = 0x50;  // kinds 84, 86
        const auto& interior =
            boost::get<std::pair<SchemaEnums::NODE_KIND, SchemaEnums::NODE_KIND_CHILDREN>>(variant);
        const std::uint32_t offset = static_cast<std::uint32_t>(interior.first) - kFirstKind;
        const std::uint32_t bit = offset < 8 ? 1U << offset : 0U;
        if ((bit & kTakesNoKeys) != 0) {
          if (hasKeys) return malformedPath("Unexpected key on path element");
          accepted = kModeInterior;
        } else if ((bit & kMayTakeKeys) != 0) {
          accepted = hasKeys ? kModeListEntry : kModeValue;
        } else {
          return malformedPath("Unexpected node kind[ " +
                               std::to_string(static_cast<int>(interior.first)) + " ]");
        }
        break;
      }
      default:
        return malformedPath("Unexpected case in path element list[ " +
                             std::to_string(variant.which()) + " ]");
    }
  }
  snode = sn;
  mode = accepted;
  return grpc::Status::OK;
}

}  // namespace gnmi::rfc7951

#endif  // GNMI_GNMI_RFC7951_DEFS_H_

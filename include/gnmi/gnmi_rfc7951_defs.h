// The cursor of path digestion and the schema-node wrapper that it points at.
#ifndef GNMI_GNMI_RFC7951_DEFS_H_
#define GNMI_GNMI_RFC7951_DEFS_H_

#include <grpc/support/log.h>
#include <grpcpp/support/status.h>

#include <boost/variant.hpp>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "gnmi/gnmi_rfc7951_schema_enums.h"
#include "kestrel/kestrel.h"

namespace gnmi::rfc7951 {

// One schema node with the names it was found by. Always owned by shared pointers; `weakThis` hands
// out further ones. Does not own `node`.
template <typename CsNode>
class SchemaNode : public std::enable_shared_from_this<SchemaNode<CsNode>> {
 public:
  SchemaNode(const std::string& ns_uri, const std::string& element_name, const CsNode* schema_node)
      : ns(ns_uri), name(element_name), node(schema_node) {}

  // A shared node whose `weakThis` is filled; null when memory is exhausted.
  static std::shared_ptr<SchemaNode> create(const std::string& ns, const std::string& name,
                                            const CsNode* node) {
    try {
      auto created = std::make_shared<SchemaNode>(ns, name, node);
      created->weakThis = created;
      created->is_filled_ = true;
      return created;
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
  }

  // A further shared reference through `weakThis`. Throws std::bad_weak_ptr when that names a node
  // no longer alive, or nothing.
  std::shared_ptr<SchemaNode> share() {
    if (!std::exchange(is_filled_, true) && names_nothing()) weakThis = this->weak_from_this();
    return std::shared_ptr<SchemaNode>(weakThis);
  }

  std::weak_ptr<SchemaNode> weakThis;
  std::string ns;
  std::string name;
  const CsNode* node;
  std::shared_ptr<NodeVariant_t> nodeVariant;

 private:
  // Never filled, or emptied: an expired reference still has its owner.
  bool names_nothing() const {
    const std::weak_ptr<SchemaNode> nothing;
    if (weakThis.owner_before(nothing)) return false;  // unreached: nothing is the least of all
    return !nothing.owner_before(weakThis);
  }

  // A node that was made without create() is filled when it is first shared.
  bool is_filled_ = false;
};

// How an element stands in a path.
enum PathMode : std::int32_t {
  kModeValue = 0,      // a leaf, or a list without keys in the path
  kModeListEntry = 1,  // a list with keys in the path
  kModeInterior = 2,   // a node that takes no keys, or no node at all
};

// The cursor that digestion advances: one per path, at the last good element after a failure.
template <typename CsNode>
class GenericPathPointer {
 public:
  using Snode = SchemaNode<CsNode>;

  // Makes `sn` current if a node of its kind may stand in a path, with keys or without. Code
  // INTERNAL otherwise, and the cursor stays.
  grpc::Status set_snode(const std::shared_ptr<Snode>& sn, bool hasKeys) {
    return set_snode(std::shared_ptr<Snode>(sn), hasKeys);
  }
  grpc::Status set_snode(std::shared_ptr<Snode>&& sn, bool hasKeys);

  // Code INTERNAL, " could not interpret path [ " + what + " ] ".
  grpc::Status malformedPath(const std::string& what);

  std::shared_ptr<Snode> snode;
  std::int32_t mode = kModeValue;
  std::string name;
  std::int32_t index = -1;
  std::string rootNs;

 private:
  grpc::Status leaf_mode_(SchemaEnums::LEAF_KIND kind, std::int32_t& accepted);
  grpc::Status interior_mode_(SchemaEnums::NODE_KIND kind, bool hasKeys, std::int32_t& accepted);
};

using KcnPathPointer = GenericPathPointer<kestrel_cs_node>;

template <typename CsNode>
grpc::Status GenericPathPointer<CsNode>::malformedPath(const std::string& what) {
  std::string message = " could not interpret path [ " + what + " ] ";
  gpr_log(GPR_ERROR, "%s", message.c_str());
  return {grpc::StatusCode::INTERNAL, message};
}

template <typename CsNode>
grpc::Status GenericPathPointer<CsNode>::set_snode(std::shared_ptr<Snode>&& sn, bool hasKeys) {
  std::int32_t accepted = kModeInterior;
  if (sn != nullptr) {
    const NodeVariant_t& kind = *sn->nodeVariant;
    constexpr int kInteriorAlternative = 0;
    constexpr int kLeafAlternative = 1;
    grpc::Status status;
    switch (kind.which()) {
      case kInteriorAlternative:
        status = interior_mode_(boost::get<InteriorKind>(kind).first, hasKeys, accepted);
        break;
      case kLeafAlternative:
        status = leaf_mode_(boost::get<LeafKind>(kind).first, accepted);
        break;
      default:  // unreached: a variant of two kinds has no third one
        status = malformedPath("Unexpected case in path element list[ " +
                               std::to_string(kind.which()) + " ]");
    }
    if (!status.ok()) return status;
  }
  snode = std::move(sn);
  mode = accepted;
  return grpc::Status::OK;
}

template <typename CsNode>
grpc::Status GenericPathPointer<CsNode>::leaf_mode_(SchemaEnums::LEAF_KIND kind,
                                                    std::int32_t& accepted) {
  // The number in the text is the variant's alternative, not the kind: readers of the log know the
  // line by it.
  if (kind != SchemaEnums::kLeaf) {
    return malformedPath("Unexpected leaf in path element list[ 1 ]");
  }
  accepted = kModeValue;
  return grpc::Status::OK;
}

template <typename CsNode>
grpc::Status GenericPathPointer<CsNode>::interior_mode_(SchemaEnums::NODE_KIND kind, bool hasKeys,
                                                        std::int32_t& accepted) {
  switch (kind) {
    case SchemaEnums::kContainer:
    case SchemaEnums::kPresenceContainer:
    case SchemaEnums::kKeylessList:
    case SchemaEnums::kAnyData:
      if (hasKeys) return malformedPath("Unexpected key on path element");
      accepted = kModeInterior;
      return grpc::Status::OK;
    case SchemaEnums::kKeyedList:
    case SchemaEnums::kLeafList:
      accepted = hasKeys ? kModeListEntry : kModeValue;
      return grpc::Status::OK;
    case SchemaEnums::kChoice:
    case SchemaEnums::kCase:
      break;
  }
  return malformedPath("Unexpected node kind[ " + std::to_string(static_cast<int>(kind)) + " ]");
}

}  // namespace gnmi::rfc7951

#endif  // GNMI_GNMI_RFC7951_DEFS_H_

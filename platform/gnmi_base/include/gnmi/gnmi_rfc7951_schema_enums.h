// The kinds of schema node that path digestion tells apart, and how a node's kind is derived.
#ifndef GNMI_GNMI_RFC7951_SCHEMA_ENUMS_H_
#define GNMI_GNMI_RFC7951_SCHEMA_ENUMS_H_

#include <grpcpp/support/status.h>

#include <boost/variant.hpp>
#include <cstdint>
#include <memory>
#include <utility>

#include "gnmi/gnmi_export.h"
#include "kestrel/kestrel.h"

namespace gnmi::rfc7951 {

struct SchemaEnums {
  // The YANG statement (RFC 7950 section 7) of an interior node. Choice and case have numbers but
  // never stand in a path.
  enum NODE_KIND : std::int32_t {
    kContainer = 80,
    kChoice = 81,
    kPresenceContainer = 82,
    kCase = 83,
    kKeyedList = 84,
    kKeylessList = 85,
    kLeafList = 86,
    kAnyData = 87,
  };
  // Whether an interior node has data nodes below it.
  enum NODE_KIND_CHILDREN : std::int32_t { kNoChildren = 0, kHasChildren = 1 };
  enum LEAF_KIND : std::int32_t { kLeaf = 1298 };
  // Where a leaf's value type comes from.
  enum LEAF_TYPE : std::int32_t { kOwnType = 0, kLeafRef = 1, kIdentityRef = 2 };
};

using InteriorKind = std::pair<SchemaEnums::NODE_KIND, SchemaEnums::NODE_KIND_CHILDREN>;
using LeafKind = std::pair<SchemaEnums::LEAF_KIND, SchemaEnums::LEAF_TYPE>;
// First alternative: interior nodes. Second: leaves.
using NodeVariant_t = boost::variant<InteriorKind, LeafKind>;

class GNMI_EXPORT Helper {
 public:
  // Derives the kind of `node` into `out`. Code INTERNAL when `node` is null; `out` is then empty.
  // Any thread.
  static grpc::Status transform(const kestrel_cs_node* node, std::shared_ptr<NodeVariant_t>& out);
};

// Whether a value type code is one of a leaf: 4-20, 23, 27-30, 35, 39-44, 46-50.
constexpr bool is_leaf_type(std::uint32_t type) {
  return (type >= 4 && type <= 20) || type == 23 || (type >= 27 && type <= 30) || type == 35 ||
         (type >= 39 && type <= 44) || (type >= 46 && type <= 50);
}

}  // namespace gnmi::rfc7951

#endif  // GNMI_GNMI_RFC7951_SCHEMA_ENUMS_H_

// The place in the schema that an update's path names, resolved by the library and checked against
// the path.
#ifndef HOST_TRANSLATE_BARE_TARGET_H_
#define HOST_TRANSLATE_BARE_TARGET_H_

#include <grpcpp/support/status.h>

#include <memory>
#include <string>
#include <vector>

#include "gnmi.pb.h"
#include "kestrel/kestrel.h"
#include "nexa/kestrel_path.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"

namespace nexa::host::bare {

struct Target {
  std::string text;     // the path as the client wrote it, for messages
  gnmi::Path internal;  // elements with declared prefixes, identities among the key values too
  std::unique_ptr<KestrelPath> path;

  kestrel_cs_node* node() const { return path->cs_nodes_.back(); }
  // Whether the path names one entry of a list.
  bool is_entry() const;
  // When the path ends at a key of the list entry before it: the key's name in that element; else
  // empty.
  std::string own_key() const;
};

// Resolves `external`, a path in module names with at least one element, for a value whose text is
// `json_val`. INVALID_ARGUMENT when an element has no schema node, or when keys are missing,
// unknown or given to what is no list; the keys of the last element may stay open.
grpc::Status resolve_target(const gnmi::Path& external, const std::string& json_val,
                            const std::shared_ptr<Rfc7951MapperToken>& token, Target& target);

}  // namespace nexa::host::bare

#endif  // HOST_TRANSLATE_BARE_TARGET_H_

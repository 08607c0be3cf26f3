// Which gNMI path and which schema nodes does a text of the configuration database name? Uses the
// library's parser and path digestion, element by element, so that the first element that fails is
// the one reported.
#ifndef HOST_TRANSLATE_DATABASE_PATH_H_
#define HOST_TRANSLATE_DATABASE_PATH_H_

#include <grpcpp/support/status.h>

#include <memory>
#include <string>
#include <vector>

#include "gnmi.pb.h"
#include "gnmi/gnmi_rfc7951_defs.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "translate/database_text.h"

namespace nexa::translate {

using Snode = gnmi::rfc7951::SchemaNode<kestrel_cs_node>;

struct ResolvedPath {
  gnmi::Path external;                        // module names (RFC 7951)
  std::vector<std::shared_ptr<Snode>> nodes;  // one for each element
};

// Resolves xpath or keypath text whose names carry YANG prefixes, or module names. INVALID_ARGUMENT
// for malformed text and for keys that the list does not have, otherwise the digestion's verdict.
// One thread at a time may use a mapper.
grpc::Status resolve_database_text(const std::string& text,
                                   const std::shared_ptr<Rfc7951MapperToken>& token,
                                   ResolvedPath& resolved);

// The path of a client (module names) as the database writes it: YANG prefixes, and every key of a
// list, in schema order. INVALID_ARGUMENT when an element, or a key of a list that has keys given,
// is unknown or missing.
grpc::Status to_database_path(const gnmi::Path& external,
                              const std::shared_ptr<Rfc7951MapperToken>& token,
                              OrderedPath& internal);

// The names of a list's keys, in schema order; "." for a leaf-list, whose entries are named by
// their value; none for any other node.
std::vector<std::string> key_names(const kestrel_cs_node& node);

}  // namespace nexa::translate

#endif  // HOST_TRANSLATE_DATABASE_PATH_H_

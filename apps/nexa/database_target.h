// What a text of the configuration database means, and how the database writes what a path means.
// The meaning is the resolver's, as for every path.
#ifndef APPS_NEXA_DATABASE_TARGET_H_
#define APPS_NEXA_DATABASE_TARGET_H_

#include <grpcpp/support/status.h>

#include <string>
#include <vector>

#include "gnmi.pb.h"
#include "model/resolver.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "translate/database_text.h"

namespace nexa_tool {

// An xpath or a keypath, its names with YANG prefixes or module names where they carry any.
// INVALID_ARGUMENT for malformed text, for another number of values than a list has keys, and for a
// wildcard; otherwise the resolver's refusal. One thread at a time may use a mapper.
grpc::Status resolve_database_text(const std::string& text,
                                   nexa::ServiceKestrelNamespaceMapperImpl& mapper,
                                   const nexa::model::Resolver& resolver,
                                   nexa::model::Target& target);

// A client's path. INVALID_ARGUMENT for a wildcard in place of a name and for a list of which some
// keys are given and some are not; otherwise the resolver's refusal.
grpc::Status resolve_client_path(const gnmi::Path& path, const nexa::model::Resolver& resolver,
                                 nexa::model::Target& target);

// The path with module names at the top and where the module changes, and with canonical values.
gnmi::Path external_path(const nexa::model::Target& target);

// As the database writes it: YANG prefixes in those places, keys in schema order, values as XML
// carries them.
nexa::translate::OrderedPath database_path(const nexa::model::Target& target);

// The names of a list's keys, in schema order; "." for a leaf-list, whose entries are named by
// their value; none for any other node.
std::vector<std::string> key_names(const kestrel_cs_node& node);

}  // namespace nexa_tool

#endif  // APPS_NEXA_DATABASE_TARGET_H_

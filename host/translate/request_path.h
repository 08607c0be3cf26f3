// The path of one update, resolved to schema nodes and checked key by key. Knows nothing of the
// payload.
#ifndef HOST_TRANSLATE_REQUEST_PATH_H_
#define HOST_TRANSLATE_REQUEST_PATH_H_

#include <grpcpp/support/status.h>

#include <string>
#include <vector>

#include "gnmi.pb.h"
#include "kestrel/values.h"
#include "translate/schema_names.h"

namespace nexa::host {

// One key of a list entry that the path names.
struct PathKey {
  const kestrel_cs_node* node = nullptr;
  std::string given;  // as the client wrote it, identities with their module
  kestrel::StoredText stored;

  const std::string& text() const { return stored.as_given ? given : stored.text; }
};

struct PathStep {
  kestrel_cs_node* node = nullptr;
  std::vector<PathKey> keys;  // all keys in schema order, or none
};

struct RequestPath {
  std::vector<PathStep> steps;
  bool leaf_list_entry =
      false;  // the last step names one entry of a leaf-list, its value the only key

  const PathStep& last() const { return steps.back(); }

  // The key of the entry above that the last step is; null when it is none.
  const PathKey* named_key() const;
};

// Resolves the elements of `prefix` and then of `path`. INVALID_ARGUMENT names the element and the
// rule.
grpc::Status resolve_path(const gnmi::Path& prefix, const gnmi::Path& path,
                          const SchemaNames& names, kestrel::ValueChecker& values, RequestPath& out,
                          std::vector<std::string>* notes);

// The same place as the library's path functions read it: YANG prefixes where the module changes,
// no keys.
gnmi::Path internal_path(const RequestPath& path, std::size_t steps, const SchemaNames& names);

}  // namespace nexa::host

#endif  // HOST_TRANSLATE_REQUEST_PATH_H_

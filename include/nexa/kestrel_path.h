// The path of one Set update, resolved to schema nodes.
#ifndef NEXA_KESTREL_PATH_H_
#define NEXA_KESTREL_PATH_H_

#include <grpcpp/support/status.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "gnmi.pb.h"
#include "kestrel/kestrel.h"
#include "nexa/nexa_export.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"

namespace nexa {

// Built for one update from its path in internal form and its JSON_IETF value; used by one thread.
// Owns nothing of the schema.
class NEXA_EXPORT KestrelPath {
 public:
  KestrelPath(gnmi::Path path, std::string json_val);
  ~KestrelPath();
  KestrelPath(const KestrelPath&) = default;
  KestrelPath& operator=(const KestrelPath&) = default;

  // The namespace hash of a schema prefix, compared whole; 0 when no namespace declares it.
  std::uint32_t find_hash_for_ns(std::string prefix);

  // Resolves `path_`, element by element; false when an element has no schema node. Later calls do
  // nothing once the elements were walked to the end. Throws std::logic_error when a schema tag has
  // no string.
  bool path2cs_nodes();

  // A summary of `path`: (namespace URI, number of elements - 1, last schema node, status). An
  // empty path gives ("", -1, null, OK); an unknown one ("", -1, null, INTERNAL).
  std::tuple<std::string, int, kestrel_cs_node*, grpc::Status> path2_kestrel_csnode_info(
      const gnmi::Path& path);

  // The top-level schema node that the first member of the payload names; null on failure. Only for
  // a path that has no schema nodes (asserted).
  kestrel_cs_node* root_kestrel_cs_node_of_empty_path(Rfc7951MapperToken* token);

  // The kind of the last schema node; all false when there is none.
  bool last_cs_node_is_leaf() const;
  bool last_cs_node_is_leaflist() const;
  bool last_cs_node_is_object_list() const;

  std::vector<std::string> value_root_namespaces_;  // filled by the path wrapper
  gnmi::Path path_;
  std::vector<kestrel_cs_node*> cs_nodes_;  // one per resolved element, root first
  std::string json_val_;
  bool resolved_ = false;
  std::uint32_t ns_hash_ = 0;
  std::unordered_map<std::string, void*> possible_keys_;
  std::unordered_map<std::string, std::string> instantiated_keys_;
  std::unordered_map<std::string, kestrel_cs_node*> last_children_;
  std::vector<char*> key_names_;  // in the schema's key order
};

}  // namespace nexa

#endif  // NEXA_KESTREL_PATH_H_

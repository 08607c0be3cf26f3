// Which schema node a name means: member names of payloads (RFC 7951 section 4) and elements of
// paths. Reads the schema records only; it judges no values.
#ifndef HOST_TRANSLATE_SCHEMA_NAMES_H_
#define HOST_TRANSLATE_SCHEMA_NAMES_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kestrel/kestrel.h"

namespace nexa::host {

enum class NameRules {
  kStrict,    // RFC 7951: qualified at the top and where the module changes
  kTolerant,  // also bare, where the schema leaves one meaning
  kPath,      // also with the YANG prefix in place of the module name
};

// What a name was found to be. Without a node, `rule` says why.
struct NamedNode {
  kestrel_cs_node* node = nullptr;
  bool guessed = false;  // bare, and the module was found by its one meaning
  std::string rule;
};

class SchemaNames {
 public:
  SchemaNames();

  // The child of `parent`, a top-level node for null, that `name` stands for. `modules`, where not
  // empty, is what the module's name must contain for a bare top-level name.
  NamedNode resolve(const kestrel_cs_node* parent, std::string_view name, NameRules rules,
                    std::string_view modules = {}) const;

  // The namespace of a module, of a YANG prefix, of a namespace hash; null when unknown.
  const KestrelNsEntry* by_module(std::string_view module) const;
  const KestrelNsEntry* by_prefix(std::string_view prefix) const;
  const KestrelNsEntry* by_hash(std::uint32_t hash) const;

  // The child of `parent` with this name and namespace, or null.
  kestrel_cs_node* child(const kestrel_cs_node* parent, std::string_view name,
                         std::uint32_t ns) const;

  // "module:name" of a node.
  std::string qualified(const kestrel_cs_node* node) const;

 private:
  NamedNode resolve_bare(const kestrel_cs_node* parent, std::string_view name,
                         std::string_view modules) const;
  std::string candidates(const std::vector<kestrel_cs_node*>& nodes) const;

  std::unordered_map<std::string_view, const KestrelNsEntry*> modules_;
  std::unordered_map<std::string_view, const KestrelNsEntry*> prefixes_;
  std::unordered_map<std::uint32_t, const KestrelNsEntry*> hashes_;
  std::unordered_map<std::string_view, std::vector<kestrel_cs_node*>> roots_;
};

// The name of a node, without module.
inline const char* local_name(const kestrel_cs_node* node) { return kestrel_hash2str(node->tag); }

inline bool is_leaf_list(const kestrel_cs_node* node) {
  return (node->flags & KESTREL_FLAG_LEAF_LIST) != 0;
}
inline bool is_list(const kestrel_cs_node* node) {
  return (node->flags & (KESTREL_FLAG_LIST | KESTREL_FLAG_LEAF_LIST)) == KESTREL_FLAG_LIST;
}
inline bool is_any_data(const kestrel_cs_node* node) {
  return (node->flags & KESTREL_FLAG_ANY_DATA) != 0;
}
bool is_leaf(const kestrel_cs_node* node);

}  // namespace nexa::host

#endif  // HOST_TRANSLATE_SCHEMA_NAMES_H_

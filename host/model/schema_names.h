// Which schema node does a name mean? Elements of paths and member names of payloads (RFC 7951,
// section 4), bare or with a module. Reads the schema's records only; it judges no values.
#ifndef HOST_MODEL_SCHEMA_NAMES_H_
#define HOST_MODEL_SCHEMA_NAMES_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kestrel/kestrel.h"

namespace nexa::model {

enum class Mode : std::uint8_t {
  kStrict,    // RFC 7951 and nothing else
  kTolerant,  // also what real clients send, where the schema leaves one meaning
};

enum class NameRules : std::uint8_t {
  kStrict,    // RFC 7951: qualified at the top and where the module changes
  kTolerant,  // also bare, where the schema leaves one meaning
  kPath,      // also with the YANG prefix in place of the module name
};

// A name as it is written; `module` is what stands before the first colon, empty for a bare name.
struct WrittenName {
  std::string_view module;
  std::string_view name;
};
WrittenName split_name(std::string_view text);

// Whether bare names at the top mean the module's nodes, whatever other modules have there.
bool is_openconfig(std::string_view module);

// Which top-level nodes an origin stands for (gNMI specification, section 2.7).
struct Scope {
  enum class Kind : std::uint8_t { kAll, kOpenConfig, kModule };
  Kind kind = Kind::kAll;
  std::uint32_t ns = 0;  // kModule: the hash of its namespace
  std::string origin;    // as the client wrote it

  bool is_all() const { return kind == Kind::kAll; }
};

// What a name was found to be. Without a node, `rule` says why.
struct NamedNode {
  kestrel_cs_node* node = nullptr;
  bool guessed = false;  // bare, and the module was found by its one meaning
  std::string rule;
};

class SchemaNames {
 public:
  // Of the schema that is loaded (kestrel/loader.h).
  SchemaNames();

  // The children of `parent`, top-level nodes of `scope` for null, that `name` can stand for: more
  // than one for a bare name that several modules have, where none of them comes first. Below a
  // node that is the one of its own module, at the top the one of OpenConfig's modules.
  std::vector<kestrel_cs_node*> meanings(const kestrel_cs_node* parent, std::string_view name,
                                         NameRules rules, const Scope& scope) const;

  // Why `found`, the meanings of a name, is not one node. `where` names the parent.
  std::string refusal(const kestrel_cs_node* parent, std::string_view name, NameRules rules,
                      const std::vector<kestrel_cs_node*>& found, const std::string& where) const;

  // meanings() and refusal() for a name that has to mean one node of the whole schema.
  NamedNode resolve(const kestrel_cs_node* parent, std::string_view name, NameRules rules) const;

  // The namespace of a module, of a YANG prefix, of a namespace hash; null when unknown.
  const KestrelNsEntry* by_module(std::string_view module) const;
  const KestrelNsEntry* by_prefix(std::string_view prefix) const;
  const KestrelNsEntry* by_hash(std::uint32_t hash) const;

  // The namespace that the module of a written name stands for; null when unknown.
  const KestrelNsEntry* module_of(std::string_view written, NameRules rules) const;

  // The child of `parent` with this name and namespace, or null.
  kestrel_cs_node* child(const kestrel_cs_node* parent, std::string_view name,
                         std::uint32_t ns) const;

  // The top-level nodes, modules in the order of the schema.
  const std::vector<kestrel_cs_node*>& tops() const { return tops_; }

  // Whether a top-level node belongs to a scope.
  bool in_scope(const kestrel_cs_node* top, const Scope& scope) const;

  // "module:name" of a node.
  std::string qualified(const kestrel_cs_node* node) const;

 private:
  kestrel_cs_node* direct(const kestrel_cs_node* parent, const WrittenName& name, NameRules rules,
                          const Scope& scope) const;
  std::vector<kestrel_cs_node*> bare_at_top(std::string_view name, const Scope& scope) const;

  std::unordered_map<std::string_view, const KestrelNsEntry*> modules_;
  std::unordered_map<std::string_view, const KestrelNsEntry*> prefixes_;
  std::unordered_map<std::uint32_t, const KestrelNsEntry*> hashes_;
  std::unordered_map<std::string_view, std::vector<kestrel_cs_node*>> tops_by_name_;
  std::vector<kestrel_cs_node*> tops_;
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
inline bool is_state(const kestrel_cs_node* node) {
  return (node->flags & KESTREL_FLAG_STATE) != 0;
}
bool is_leaf(const kestrel_cs_node* node);

}  // namespace nexa::model

#endif  // HOST_MODEL_SCHEMA_NAMES_H_

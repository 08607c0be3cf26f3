// A path of a client, resolved: what each element names in the schema, with the keys in every form
// that a room needs. Made by the Resolver, once for a path; everybody below carries it on.
#ifndef HOST_MODEL_TARGET_H_
#define HOST_MODEL_TARGET_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "gnmi.pb.h"
#include "kestrel/values.h"
#include "model/schema.h"

namespace nexa::model {

// One key of a list entry, or the value that names an entry of a leaf-list.
struct TargetKey {
  kestrel_cs_node* node = nullptr;    // the key's leaf, or the leaf-list
  const lysc_node* schema = nullptr;  // the same
  std::string name;                   // the key's name as the client wrote it
  std::string sent;                   // the value as the client wrote it
  bool any = false;                   // "*": every value; what follows is empty then
  std::string given;                  // the value, an identity with its module
  std::string canonical;              // as its type compares it, libyang's text
  kestrel::StoredText stored;         // as XML carries it, against `given`
  // The leaf of the entry that the schema makes equal to this key, as records below the list: the
  // key is a leafref to it, "../config/name". Empty where there is none, and for reading.
  std::vector<kestrel_cs_node*> twin;

  const std::string& text() const { return stored.as_given ? given : stored.text; }
};

// A schema node that a step can mean.
struct TargetNode {
  kestrel_cs_node* node = nullptr;
  const lysc_node* schema = nullptr;
  const lysc_node* parent = nullptr;  // the data node around it; null at the top
  std::vector<TargetKey> keys;        // those of the path, in schema order
};

struct TargetStep {
  enum class Kind : std::uint8_t {
    kName,
    kAny,   // "*": any child
    kDeep,  // "...": this node and everything below it
  };
  Kind kind = Kind::kName;
  int element = -1;  // of Target::path; -1 for a step that an origin adds
  // What the step can mean, ordered by parent: one node, or several behind a wildcard. Empty for
  // kDeep, and for a kAny that means whatever there is.
  std::vector<TargetNode> nodes;
  bool unlimited = false;  // kAny: every child, `nodes` is empty

  // The nodes below `parent`.
  std::pair<const TargetNode*, const TargetNode*> below(const lysc_node* parent) const;
  // The node with this schema node, or null.
  const TargetNode* find(const lysc_node* parent, const lysc_node* schema) const;
};

struct Target {
  gnmi::Path path;  // prefix and path joined, as the client wrote them; no target
  Scope scope;      // what the origin stands for
  std::vector<TargetStep> steps;
  bool wild = false;        // some step is a wildcard: only then has one more than one node
  bool only_state = false;  // everything that the path can mean is operational data
  const Schema* model = nullptr;

  // Whether the place above the top level is meant, within the scope.
  bool is_root() const { return steps.empty(); }
  bool qualifies_names() const;  // whether an element of the path carries its module

  // For a target without wildcards, which has steps: the node of the last one.
  const TargetNode& last() const { return steps.back().nodes.front(); }

  // The same: the node of each step.
  std::vector<const TargetNode*> chain() const;

  // The key of the entry above that the last step is, for a target without wildcards; or null.
  const TargetKey* named_key() const;

  // Whether a top-level node belongs to the target's origin.
  bool may_begin_with(const lysc_node* top) const;
};

// `path` below `prefix`: the prefix's elements, then the path's; origin and target of whichever has
// one, the path's first (gNMI specification, section 2.4.1).
gnmi::Path join_paths(const gnmi::Path& prefix, const gnmi::Path& path);

// Whether two paths differ in the values of keys alone, and in none that is "*" in one of them:
// what holds for the names of the one holds for those of the other.
bool has_same_form(const gnmi::Path& left, const gnmi::Path& right);

}  // namespace nexa::model

#endif  // HOST_MODEL_TARGET_H_

// What readers of the store are handed: values, and what differs between two moments.
#ifndef HOST_STORE_CHANGE_SINKS_H_
#define HOST_STORE_CHANGE_SINKS_H_

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "gnmi.pb.h"

struct lysc_node;

namespace nexa::store {

class StateTree;

// Takes one value. `path` is absolute, its names and keys written as the query wrote them; below
// the query's own elements names carry their module where it changes, if the query's names did.
// Both arguments are the callee's to move from. What the query's encoding makes of a value:
//   JSON_IETF  json_ietf_val: the value alone (RFC 7951), without the node's name
//   JSON       json_val: the same, member names and identities without their module
//   PROTO      a native scalar, leaflist_val for a leaf-list, json_ietf_val for anydata; there are
//              no values of subtrees: each leaf at or below a node is given
//              (reading/native_value.h)
//   ASCII      ascii_val: lines of names and values (reading/ascii_text.h)
// BYTES is written as JSON_IETF.
using ValueSink = std::function<void(gnmi::Path& path, gnmi::TypedValue& value)>;

// Whether the instances of a leaf, a leaf-list or anydata are wanted.
using LeafFilter = std::function<bool(const lysc_node* leaf)>;

// Gives the operational data of the moment, null for none. Asked only when they are needed.
using StateSource = std::function<const StateTree*()>;

struct ChangeSink {
  ValueSink update;  // a leaf that came or has another value; a leaf-list as one array
  // A branch that is gone with all below it, or a leaf. The path is the callee's to move from.
  std::function<void(gnmi::Path& path)> gone;
};

// The keys of a list entry in the order of the schema, or the value of a leaf-list's entry.
using EntryKeys = std::vector<std::pair<const lysc_node*, std::string_view>>;

class ChangeVisitor {
 public:
  virtual ~ChangeVisitor() = default;
  // A node that came, went, or has something different in it. `keys` is empty for nodes that are no
  // entries. True: its children are shown too, and leave() follows.
  virtual bool enter(const lysc_node* schema, const EntryKeys& keys) = 0;
  virtual void leave() = 0;
};

}  // namespace nexa::store

#endif  // HOST_STORE_CHANGE_SINKS_H_

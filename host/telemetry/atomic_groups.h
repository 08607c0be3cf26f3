// Which leaves are told together? Those of one node that the schema marks as atomic: a message has
// all of them that the subscription names, with the node as its prefix, and stands for the whole
// node (gNMI specification, field "atomic").
#ifndef HOST_TELEMETRY_ATOMIC_GROUPS_H_
#define HOST_TELEMETRY_ATOMIC_GROUPS_H_

#include <grpcpp/support/status.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "gnmi.pb.h"
#include "model/resolver.h"
#include "store/config_store.h"

namespace nexa::telemetry {

// One container or entry with its leaves; their paths are whole.
struct AtomicGroup {
  struct Leaf {
    gnmi::Path path;
    gnmi::TypedValue value;
    std::uint32_t duplicates = 0;
  };
  gnmi::Path node;
  std::vector<Leaf> leaves;
};

// Knows the atomic node of each path that it has seen. One thread at a time.
class AtomicScopes {
 public:
  // `resolver` outlives the object.
  explicit AtomicScopes(const model::Resolver& resolver) : resolver_(resolver) {}

  struct Scope {
    int elements = 0;        // of the path that lead to the atomic node; 0: there is none
    bool is_exempt = false;  // what the path names changes by itself
  };
  // Of the outermost atomic node at or above what the path names, which is as readers give it.
  Scope of(const gnmi::Path& path);

  // Reads what `query` names at or below `group.node`, whatever it says of parts and leaves, into
  // the group. `part`: what of the data.
  grpc::Status read_group(const store::Snapshot& snapshot, const store::StateTree* state,
                          const store::Query& query, store::DataPart part,
                          AtomicGroup& group) const;

 private:
  store::Query narrowed(const store::Query& query, const gnmi::Path& node) const;

  const model::Resolver& resolver_;
  std::unordered_map<std::string, Scope> known_;  // by the names of a path's elements
};

// Gathers what a reader gives: leaves of atomic nodes come as groups, others one by one.
class GroupingSink {
 public:
  using GroupSink = std::function<void(AtomicGroup& group)>;

  // With no scopes (null) every leaf comes alone.
  GroupingSink(AtomicScopes* scopes, const store::ValueSink& leaf, const GroupSink& group)
      : scopes_(scopes), leaf_(leaf), group_(group) {}

  void take(gnmi::Path& path, gnmi::TypedValue& value);

  // After the last leaf.
  void end();

 private:
  AtomicScopes* const scopes_;
  const store::ValueSink& leaf_;
  const GroupSink& group_;
  AtomicGroup open_;
};

// The atomic nodes that a change touches, each once, in the order of the first touch.
class TouchedNodes {
 public:
  explicit TouchedNodes(AtomicScopes& scopes) : scopes_(scopes) {}

  // Whether what the path names, a leaf or a branch, is told with an atomic node around it.
  bool take(const gnmi::Path& path);

  const std::vector<gnmi::Path>& nodes() const { return nodes_; }

 private:
  AtomicScopes& scopes_;
  std::vector<gnmi::Path> nodes_;
  std::unordered_set<std::uint64_t> numbers_;
};

}  // namespace nexa::telemetry

#endif  // HOST_TELEMETRY_ATOMIC_GROUPS_H_

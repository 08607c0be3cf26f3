// The configuration database as a server sees it: transactions that are durable when they return,
// snapshots to read from, and a history to return to. Knows nothing of gRPC calls, users' rights or
// subscriptions, and says nothing of how an engine keeps the data: another one can stand behind
// this interface.
#ifndef HOST_STORE_CONFIG_STORE_H_
#define HOST_STORE_CONFIG_STORE_H_

#include <grpcpp/support/status.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "gnmi.pb.h"
#include "model/model_set.h"
#include "model/target.h"
#include "store/change_sinks.h"
#include "text/result.h"

namespace nexa::store {

// One operation of a transaction.
struct Edit {
  enum class Kind : std::uint8_t {
    kDelete,   // every node that the path names; none is no error
    kReplace,  // the node becomes what `xml` says
    kUpdate,   // what `xml` says is merged in; nothing is deleted
    // What belongs to the origin of `target` becomes the union of the documents of all edits of
    // this kind. They stand alone in their transaction; a value that two of them give differently
    // is refused.
    kUnion,
  };
  Kind kind = Kind::kUpdate;
  // What the path of the operation names; kUpdate needs none, its document says where it belongs.
  // The root of a kReplace is what belongs to the origin (Target::scope).
  model::Target target;
  std::string xml;  // kReplace, kUpdate: the document that Translator::translate made of it
};

// What a commit changes, as a hook sees it: the changed nodes with their ancestors and list keys.
struct Change {
  std::uint64_t number = 0;  // the commit that this becomes
  std::int64_t time_ns = 0;  // since the Unix epoch
  std::string author;
  std::string before;  // XML, top element "config"
  std::string after;   // XML, top element "config"
  // The change as the history shows it: XML of the changed nodes with an operation at each; empty
  // where it cannot be written so. Made when it is asked for, during the call that has the change.
  std::function<std::string()> difference{};
};

// A commit that is taken back unless somebody confirms it (gNMI commit-confirmed extension).
struct PendingCommit {
  std::string id;                        // the client's name for it
  std::uint64_t number = 0;              // the newest commit
  std::uint64_t base = 0;                // the commit that is restored when it is taken back
  std::int64_t time_ns = 0;              // until when it waits, since the Unix epoch
  std::chrono::nanoseconds duration{0};  // how long it was to wait
};

struct CommitRequest {
  std::vector<Edit> edits;
  std::string author;
  std::string comment;  // shown by the history
  // With a name the commit waits that long for confirm(); other commits are refused meanwhile. It
  // is for the caller to cancel() it when the time is over. Waits also when nothing changes.
  std::string confirm_id;
  std::chrono::nanoseconds confirm_within{0};
  // Asked once the result is valid and before it is made durable; a status that is not OK ends the
  // commit with that status. Readers go on meanwhile. Not asked when nothing changes.
  std::function<grpc::Status(const Change&)> approve;
  // Asked between edits, which may be many and costly: whether nobody waits for the outcome any
  // more. May be empty. Not asked once the edits are applied.
  std::function<bool()> abandoned;
};

// Outcome of a commit. After a refusal nothing of the request remains, in memory or on disk.
struct CommitResult {
  // OK: durable and visible. INVALID_ARGUMENT: a value or the result is against the schema;
  // NOT_FOUND: a path names nothing in the schema; FAILED_PRECONDITION: the result breaks a
  // constraint together with data that was there before (must, when, leafref, unique, mandatory,
  // min- and max-elements); RESOURCE_EXHAUSTED: the disk is full, or the edits are above a limit;
  // UNAVAILABLE: the disk does not confirm writes, reading goes on; CANCELLED: nobody waits for it;
  // INTERNAL: the engine failed. FAILED_PRECONDITION also while a commit waits for its
  // confirmation.
  grpc::Status status;
  std::uint64_t number = 0;  // of the commit; the current one when nothing changed
  std::int64_t time_ns = 0;
  int edit = -1;     // index of the edit at fault, -1 when none can be blamed
  std::string path;  // instance identifier of the node at fault, empty when none
  std::string rule;  // the rule that was broken, in words: "must ...", "leafref", "mandatory ..."
};

struct CommitRecord {
  std::uint64_t number = 0;
  std::int64_t time_ns = 0;
  std::string author;
  std::string comment;
  std::size_t change_bytes = 0;
};

// Operational data for one round of reading: parsed once, read by many. Any thread.
class StateTree {
 public:
  virtual ~StateTree() = default;
};

enum class DataPart : std::uint8_t {
  kAll,          // config true and config false
  kConfig,       // config true only
  kState,        // config false only, with the keys of the entries around it
  kOperational,  // the same without the leaves that repeat a leaf of the configuration
};

enum class Form : std::uint8_t {
  kSubtrees,  // one value for each node that the path names
  kLeaves,    // one value for each leaf, and one array for each leaf-list, at or below it
};

struct Query {
  model::Target target;  // of model::Purpose::kRead
  DataPart part = DataPart::kAll;
  Form form = Form::kSubtrees;
  gnmi::Encoding encoding = gnmi::JSON_IETF;
  std::shared_ptr<const model::ModelSet> models;  // which nodes and identities there are; null: all
  LeafFilter wanted;  // Form::kLeaves: which leaves are given; empty: all of them
  // How many levels below the nodes of the path are shown: with 1 their leaves and leaf-lists, with
  // 2 those of their containers and entries as well. 0: all levels. Anydata count as leaves.
  std::uint32_t depth = 0;
};

// The configuration as one commit left it; unchanged while it is held, by any number of threads and
// for any time. Nobody waits for it: what later commits changed is kept for it beside them.
class Snapshot {
 public:
  virtual ~Snapshot() = default;

  // Gives every value that the query names to `sink`; defaults in use are values. With `state` the
  // operational data stand in the same tree. OK and no value when nothing is there.
  virtual grpc::Status read(const Query& query, const StateTree* state,
                            const ValueSink& sink) const = 0;

  // What became of the configuration that the query names since `since`, an earlier snapshot of the
  // same store: what reads of both would show to differ, at the cost of what differs. `query.part`
  // and the form are taken as kConfig and kLeaves. `state` is asked for the operational data where
  // an entry went that may live on in them: then its own nodes go, not the whole branch.
  virtual grpc::Status read_changes(const Query& query, const Snapshot& since,
                                    const StateSource& state, const ChangeSink& sink) const {
    static_cast<void>(query);
    static_cast<void>(since);
    static_cast<void>(state);
    static_cast<void>(sink);
    return {grpc::StatusCode::UNIMPLEMENTED, "the store does not compare snapshots"};
  }

  // The same for operational data beside this configuration; null stands for none.
  virtual grpc::Status read_state_changes(const Query& query, const StateTree* since,
                                          const StateTree* now, const ChangeSink& sink) const {
    static_cast<void>(query);
    static_cast<void>(since);
    static_cast<void>(now);
    static_cast<void>(sink);
    return {grpc::StatusCode::UNIMPLEMENTED, "the store does not compare operational data"};
  }

  // Shows the nodes that differ from `since`, from the top down, at the cost of what differs.
  virtual void visit_changes(const Snapshot& since, ChangeVisitor& visitor) const {
    static_cast<void>(since);
    static_cast<void>(visitor);
  }

  // The whole configuration without defaults: XML, top element "config".
  virtual std::string xml() const = 0;

  virtual std::uint64_t number() const = 0;
};

// One commit as its watchers get it: durable, and visible to readers.
struct CommitStep {
  std::shared_ptr<const Snapshot> before;
  std::shared_ptr<const Snapshot> after;
  std::int64_t time_ns = 0;  // since the Unix epoch
  // The client's name for a commit that waits for its confirmation, and for the one that takes it
  // back. Empty for others, and in replay(): the log keeps no names of commits that wait no more.
  std::string confirm_id{};
};
using StepSink = std::function<bool(const CommitStep& step)>;

class CommitWatcher {
 public:
  virtual ~CommitWatcher() = default;
  // Each commit that changed something, in order, before its writer is answered. Called on the
  // writer's thread, which waits.
  virtual void committed(const std::shared_ptr<const CommitStep>& step) noexcept = 0;
};

// What an operator should know of.
struct StoreHealth {
  bool writable = true;        // the next commit can be expected to reach the disk
  std::string obstacle;        // why not, one line
  std::string violation;       // the rule that the stored configuration breaks, one line
  std::uint64_t deaths = 0;    // judgements that libyang did not survive, in processes of their own
  std::uint64_t whole = 0;     // commits judged over the whole configuration
  std::uint64_t verified = 0;  // number of the newest commit that was found valid as a whole
};

inline constexpr char kNothingWaits[] = "no commit waits for a confirmation";

class ConfigStore {
 public:
  virtual ~ConfigStore() = default;

  virtual StoreHealth health() const { return {}; }

  // What somebody else found out about the configuration after commit `number` as a whole: the
  // rule that it breaks, empty when it is valid. Any thread.
  virtual void verified(std::uint64_t number, const std::string& violation) {
    static_cast<void>(number);
    static_cast<void>(violation);
  }

  // Applies the edits in their order as one transaction. One commit at a time: others wait. Any
  // thread.
  virtual CommitResult commit(const CommitRequest& request) = 0;

  // The commit that waits for its confirmation; it waits across a restart. Any thread, as the next
  // three.
  virtual std::optional<PendingCommit> pending() const { return std::nullopt; }

  // Makes the commit that waits permanent, lets it wait for `duration` from now on, or takes it
  // back by a new commit that restores what was there before. Durable on return. With an empty `id`
  // cancel() means whichever waits. FAILED_PRECONDITION: none waits; INVALID_ARGUMENT: another one
  // does; others as commit(). `reason` goes into the history. The verdict of `approve` on the
  // commit of cancel() does not count: a device must know what was restored, and cannot refuse it.
  virtual grpc::Status confirm(const std::string& id);
  virtual grpc::Status extend(const std::string& id, std::chrono::nanoseconds duration);
  virtual CommitResult cancel(const std::string& id, const std::string& author,
                              const std::string& reason,
                              const std::function<grpc::Status(const Change&)>& approve);

  virtual std::shared_ptr<const Snapshot> snapshot() const = 0;

  // From now on `watcher` is told of commits: of each one after the snapshot that is returned. Null
  // for a store without such a feed, which tells nothing.
  virtual std::shared_ptr<const Snapshot> watch(CommitWatcher& watcher) {
    static_cast<void>(watcher);
    return nullptr;
  }
  // Ends it; none is no error. No call is running when it returns. Not from committed().
  virtual void unwatch(CommitWatcher& watcher) { static_cast<void>(watcher); }

  // Reads operational data: an XML document of top-level nodes below one element of any name.
  // Fails when it does not fit the schema.
  virtual text::Result<std::shared_ptr<const StateTree>> parse_state(
      std::string_view xml) const = 0;

  // One tree of several of this store's, at least one, in which later ones count more: their leaves
  // and leaf-lists replace those of earlier ones.
  virtual std::shared_ptr<const StateTree> join_states(
      std::span<const std::shared_ptr<const StateTree>> trees) const = 0;

  // The newest `limit` commits (0: all), newest first. Empty `out` and a status on failure.
  virtual grpc::Status history(std::size_t limit, std::vector<CommitRecord>& out) const = 0;

  // The past: first the configuration as it was before `start_ns` (a step without a snapshot
  // before it, of time `start_ns`), then a step for each commit from there to before `end_ns`, in
  // order, until `each` returns false. Times are since the Unix epoch. Defaults are those of the
  // loaded schema. OUT_OF_RANGE: the history does not go back that far; FAILED_PRECONDITION: what
  // was stored does not fit the loaded schema; UNAVAILABLE: another call is under way; INTERNAL:
  // the log cannot be read. Long; any thread.
  virtual grpc::Status replay(std::int64_t start_ns, std::int64_t end_ns,
                              const StepSink& each) const {
    static_cast<void>(start_ns);
    static_cast<void>(end_ns);
    static_cast<void>(each);
    return {grpc::StatusCode::UNIMPLEMENTED, "the store keeps no history"};
  }

  // A new commit that restores the configuration as commit `number` left it (0: the empty one). A
  // commit that waits for its confirmation waits no more.
  virtual CommitResult rollback(std::uint64_t number, const std::string& author,
                                const std::function<grpc::Status(const Change&)>& approve) = 0;
};

// What a store without commits that wait answers.
inline grpc::Status ConfigStore::confirm(const std::string& id) { return extend(id, {}); }
inline grpc::Status ConfigStore::extend(const std::string& /*id*/,
                                        std::chrono::nanoseconds /*duration*/) {
  return {grpc::StatusCode::FAILED_PRECONDITION, kNothingWaits};
}
inline CommitResult ConfigStore::cancel(
    const std::string& id, const std::string& /*author*/, const std::string& /*reason*/,
    const std::function<grpc::Status(const Change&)>& /*approve*/) {
  CommitResult result;
  result.status = extend(id, {});
  return result;
}

}  // namespace nexa::store

#endif  // HOST_STORE_CONFIG_STORE_H_

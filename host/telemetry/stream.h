// One Subscribe stream without its call: what is to be sent next, page by page. Knows no gRPC call
// and has no thread; whoever owns it calls round() when it is due or woken, one call at a time.
#ifndef HOST_TELEMETRY_STREAM_H_
#define HOST_TELEMETRY_STREAM_H_

#include <grpcpp/support/status.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

#include "store/config_store.h"
#include "telemetry/change_feed.h"
#include "telemetry/fifo.h"
#include "telemetry/round_reader.h"
#include "telemetry/sample_page.h"
#include "telemetry/subscription_plan.h"

namespace nexa::telemetry {

// What a stream reads from. `state` sets the present operational data, null for none, and is false
// when they are not available.
struct StreamSources {
  const store::ConfigStore& store;
  ChangeFeed& feed;
  std::function<bool(std::shared_ptr<const store::StateTree>& state)> state;
  // Whether nobody listens any more; asked between commits of the past. May be empty.
  std::function<bool()> abandoned{};
};

class Stream {
 public:
  // `sources` outlive the stream. `waker` is called when round() has something new to do.
  Stream(StreamSources sources, std::weak_ptr<Waker> waker);
  ~Stream();
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  // Once, before anything else.
  void begin(SubscriptionPlan plan, MonotonicTime now);

  // The client polls: the next round answers. Any thread.
  void poll() { polls_.fetch_add(1); }

  struct Round {
    grpc::Status status;  // not OK: the stream is to end with it
    std::deque<QueuedMessage> messages;
    bool has_more = false;  // go on when the queue has room
    bool is_over = false;   // the stream is to end with OK when all is sent
    bool is_idle = false;   // nothing is left to be done before `next`
    MonotonicTime next;     // when to come again, unless woken before
  };

  // At most `room` bytes, give or take a message. `is_behind`: the client has not read what earlier
  // rounds gave; several commits become one then, with what was passed over counted, and a round
  // that does not fit ends the stream.
  Round round(std::size_t room, bool is_behind);

  const SubscriptionPlan& plan() const { return plan_; }

 private:
  // When operational data that could not be read are asked for again.
  static constexpr std::chrono::milliseconds kStateRetry{500};

  enum class TaskKind : std::uint8_t {
    kRead,     // what is there now, round by round
    kAsOf,     // all that `snapshot` has; of operational data what is there when it runs
    kCommit,   // what differs between `since` and `snapshot`
    kCompare,  // what differs between what the client knows of operational data and `state`
    kSync,
    kCommitDone,  // all that is told of the commit that left `snapshot`
  };
  using Counts = std::unordered_map<std::uint64_t, std::uint32_t>;  // of values, by path

  struct Task {
    TaskKind kind = TaskKind::kSync;
    std::size_t subscription = 0;
    RoundForm form;
    std::shared_ptr<const store::Snapshot> since;
    std::shared_ptr<const store::Snapshot> snapshot;
    std::shared_ptr<const store::StateTree> state;
    bool has_state = false;  // `state` was read
    std::int64_t time_ns = 0;
    std::string confirm_id;  // kCommitDone
    bool is_merged = false;  // kCommit: several commits together
    Counts counts;           // of these
    std::size_t given = 0;   // entries that earlier pages have
  };

  Subscription& subscription_of(const Task& task) { return plan_.subscriptions[task.subscription]; }
  void begin_one(std::size_t index, MonotonicTime now);
  void collect(MonotonicTime now, bool is_behind);
  void collect_polls();
  void collect_commits(MonotonicTime now, bool is_behind);
  void collect_heartbeats(MonotonicTime now, const std::shared_ptr<const store::Snapshot>& as_of);
  void collect_due(MonotonicTime now);
  void add_commit(const TouchedStep& touched, bool merges);
  void add_commit_done(const store::CommitStep& step);
  void count_values(const store::CommitStep& step, Task& task);
  Task& add_task(TaskKind kind, std::size_t subscription);

  grpc::Status recall();
  bool recall_step(const store::CommitStep& step);

  grpc::Status run(Task& task, SamplePage& page, bool& complete);
  void begin_read(Subscription& subscription, std::uint64_t number) const;
  grpc::Status run_read(Task& task, SamplePage& page, bool& complete);
  grpc::Status run_as_of(Task& task, SamplePage& page, bool& complete);
  grpc::Status run_commit(Task& task, SamplePage& page, bool& complete);
  grpc::Status run_compare(Task& task, SamplePage& page, bool& complete);
  bool read_state(Task& task);
  using ChangeReader = std::function<grpc::Status(const store::ChangeSink& sink)>;
  grpc::Status report_changes(Task& task, SamplePage& page, bool& complete,
                              const ChangeReader& read);
  grpc::Status read_group(Task& task, AtomicGroup& group);
  // Whether the next entry of the task is for this page; to be asked once for each.
  static std::function<bool()> room_for(Task& task, const SamplePage& page, bool& complete);
  static std::uint32_t duplicates_of(const Task& task, const gnmi::Path& path);
  MonotonicTime next_due() const;

  const StreamSources sources_;
  const std::shared_ptr<Backlog> backlog_;
  SubscriptionPlan plan_;
  Fifo<Task> tasks_;
  bool recalled_ = false;      // the tasks of the past are there
  bool synced_ = false;        // the first sync_response was given
  bool is_in_commit_ = false;  // something of a commit was given, not yet that this was all
  bool lacks_state_ = false;   // the task in front waits for operational data
  bool fits_ = true;           // the client kept up when the tasks were collected
  std::atomic<unsigned> polls_{0};
};

}  // namespace nexa::telemetry

#endif  // HOST_TELEMETRY_STREAM_H_

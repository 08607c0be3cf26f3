// A queue of tasks, run in order until the page is full. New ones are collected when the queue is
// empty: until then commits wait in the backlog, where those of a slow reader become one.
#include "telemetry/stream.h"

#include <algorithm>
#include <utility>

#include "telemetry/messages.h"

namespace nexa::telemetry {
namespace {

using Source = Subscription::Source;

// When operational data that could not be read are asked for again.
constexpr std::chrono::milliseconds kStateRetry{500};
// Of commits and subscriptions, in one look at the past.
constexpr std::size_t kMostPastTasks = 100000;

}  // namespace

Stream::Stream(StreamSources sources, std::weak_ptr<Waker> waker)
    : sources_(std::move(sources)), backlog_(std::make_shared<Backlog>(std::move(waker))) {}

Stream::~Stream() { sources_.feed.close(backlog_); }

void Stream::begin(SubscriptionPlan plan, MonotonicTime now) {
  plan_ = std::move(plan);
  if (plan_.history) return;
  bool follows = false;
  for (std::size_t i = 0; i < plan_.subscriptions.size(); ++i) {
    const Subscription& each = plan_.subscriptions[i];
    if (each.source == Source::kCommits) backlog_->add(i, each.query.target);
    if (each.source == Source::kEvents || each.only_when_changed) backlog_->want_state();
    follows = follows || each.source != Source::kData || each.only_when_changed;
  }
  std::shared_ptr<const store::Snapshot> first;
  if (follows) first = sources_.feed.open(backlog_);
  if (plan_.updates_only) add_task(TaskKind::kSync, 0);
  for (std::size_t i = 0; i < plan_.subscriptions.size(); ++i) {
    begin_one(i, now);
    if (!tasks_.empty() && tasks_.back().kind == TaskKind::kAsOf) tasks_.back().snapshot = first;
  }
  if (!plan_.updates_only) add_task(TaskKind::kSync, 0);
}

// The first look at what is there; with updates_only only as far as later ones need it.
void Stream::begin_one(std::size_t index, MonotonicTime now) {
  Subscription& subscription = plan_.subscriptions[index];
  if (subscription.interval.count() != 0) subscription.due = now + subscription.interval;
  if (subscription.heartbeat.count() != 0)
    subscription.heartbeat_due = now + subscription.heartbeat;
  Task task;
  task.subscription = index;
  task.form.silent = plan_.updates_only;
  const bool is_stream = plan_.mode == gnmi::SubscriptionList::STREAM;
  switch (subscription.source) {
    case Source::kData:
      task.kind = TaskKind::kRead;
      if (plan_.updates_only && !(is_stream && subscription.suppress_redundant)) return;
      break;
    case Source::kCommits:
      task.kind = TaskKind::kAsOf;
      if (plan_.updates_only) return;
      break;
    case Source::kEvents:
      task.kind = TaskKind::kCompare;
      break;
  }
  tasks_.push_back(std::move(task));
}

void Stream::collect(MonotonicTime now, bool is_behind) {
  fits_ = !is_behind;
  collect_polls();
  if (plan_.mode != gnmi::SubscriptionList::STREAM) return;
  // In this order: what commits changed is known before it is sampled.
  collect_commits(now, is_behind);
  collect_due(now);
}

void Stream::collect_polls() {
  if (polls_.load() == 0) return;
  polls_.fetch_sub(1);
  for (std::size_t i = 0; !plan_.updates_only && i < plan_.subscriptions.size(); ++i) {
    add_task(TaskKind::kRead, i);
  }
  add_task(TaskKind::kSync, 0);
}

// A heartbeat stands behind the commits that its snapshot has, and before the others.
void Stream::collect_commits(MonotonicTime now, bool is_behind) {
  const bool beats =
      std::any_of(plan_.subscriptions.begin(), plan_.subscriptions.end(), [now](const auto& each) {
        return each.source == Source::kCommits && each.heartbeat_due <= now;
      });
  std::shared_ptr<const store::Snapshot> as_of;
  if (beats) as_of = sources_.feed.current();
  std::shared_ptr<const store::CommitStep> last;
  for (const TouchedStep& touched : backlog_->take()) {
    if (last != nullptr && last != touched.step && !is_behind) add_commit_done(*last);
    if (as_of && touched.step->after->number() > as_of->number()) {
      collect_heartbeats(now, std::exchange(as_of, nullptr));
    }
    add_commit(touched, is_behind);
    last = touched.step;
  }
  if (last != nullptr) add_commit_done(*last);
  if (as_of) collect_heartbeats(now, as_of);
}

void Stream::collect_heartbeats(MonotonicTime now,
                                const std::shared_ptr<const store::Snapshot>& as_of) {
  for (std::size_t i = 0; i < plan_.subscriptions.size(); ++i) {
    Subscription& each = plan_.subscriptions[i];
    if (each.source != Source::kCommits || each.heartbeat_due > now) continue;
    each.heartbeat_due = next_beat(each.heartbeat_due, each.heartbeat, now);
    add_task(TaskKind::kAsOf, i).snapshot = as_of;
  }
}

void Stream::collect_due(MonotonicTime now) {
  const bool has_events = backlog_->take_state_change();
  for (std::size_t i = 0; i < plan_.subscriptions.size(); ++i) {
    Subscription& each = plan_.subscriptions[i];
    if (each.source == Source::kCommits) continue;
    const bool resends = each.heartbeat_due <= now;
    const bool is_due = each.due <= now;
    if (is_due) each.due = next_beat(each.due, each.interval, now);
    if (resends) each.heartbeat_due = next_beat(each.heartbeat_due, each.heartbeat, now);
    if (each.source == Source::kData) {
      if (each.only_when_changed && !resends) {
        each.must_read = each.must_read || has_events;
        const std::uint64_t number = sources_.store.snapshot()->number() + 1;
        if (!is_due || (!each.must_read && number == each.read_number)) continue;
      }
      if (is_due || resends) add_task(TaskKind::kRead, i).form.resend = resends;
      continue;
    }
    if (is_due || resends || has_events) add_task(TaskKind::kCompare, i);
    if (resends) add_task(TaskKind::kAsOf, i);
  }
}

// The commits that a reader missed become one: from before the first of them to after the last.
void Stream::add_commit(const TouchedStep& touched, bool merges) {
  const store::CommitStep& step = *touched.step;
  if (merges) {
    const auto last = std::find_if(tasks_.rbegin(), tasks_.rend(), [&](const Task& task) {
      return task.subscription == touched.subscription && task.kind != TaskKind::kSync &&
             task.kind != TaskKind::kCommitDone;
    });
    if (last != tasks_.rend() && last->kind == TaskKind::kCommit) {
      if (!last->is_merged) count_values({last->since, last->snapshot, 0}, *last);
      count_values(step, *last);
      last->is_merged = true;
      last->snapshot = step.after;
      last->time_ns = step.time_ns;
      return;
    }
  }
  Task& task = add_task(TaskKind::kCommit, touched.subscription);
  task.since = step.before;
  task.snapshot = step.after;
  task.time_ns = step.time_ns;
}

// Commits that became one end together.
void Stream::add_commit_done(const store::CommitStep& step) {
  if (!plan_.config_only) return;
  Task& task = add_task(TaskKind::kCommitDone, 0);
  task.snapshot = step.after;
  task.confirm_id = step.confirm_id;
}

// A refusal comes again, and is told, when the task runs.
void Stream::count_values(const store::CommitStep& step, Task& task) {
  store::ChangeSink sink;
  sink.update = [&task](gnmi::Path& path, gnmi::TypedValue&) {
    ++task.counts[PathLog::number_of(path)];
  };
  sink.gone = [](gnmi::Path&) {};
  static_cast<void>(
      step.after->read_changes(subscription_of(task).query, *step.before, nullptr, sink));
}

Stream::Task& Stream::add_task(TaskKind kind, std::size_t subscription) {
  Task& task = tasks_.emplace_back();
  task.kind = kind;
  task.subscription = subscription;
  return task;
}

Stream::Round Stream::round(std::size_t room, bool is_behind) {
  Round result;
  if (backlog_->has_overflowed()) {
    result.status = grpc::Status(grpc::StatusCode::RESOURCE_EXHAUSTED, kStreamOverflow);
    return result;
  }
  const MonotonicTime now = std::chrono::steady_clock::now();
  if (plan_.history) {
    if (!recalled_) result.status = recall();
    if (!result.status.ok()) return result;
  } else if (tasks_.empty()) {
    collect(now, is_behind);
  }
  SamplePage page(plan_, room);
  lacks_state_ = false;
  while (!tasks_.empty()) {
    bool complete = true;
    result.status = run(tasks_.front(), page, complete);
    if (!result.status.ok()) return result;
    if (!complete) break;
    tasks_.pop_front();
  }
  const bool is_full = !tasks_.empty() && !lacks_state_;
  // A reader that was behind when the round began does not get the round's own size on top.
  if (is_full && !fits_ && tasks_.front().kind == TaskKind::kRead) {
    result.status = grpc::Status(grpc::StatusCode::RESOURCE_EXHAUSTED, kStreamOverflow);
    return result;
  }
  result.messages = page.take();
  const bool ends = plan_.history || plan_.mode == gnmi::SubscriptionList::ONCE;
  result.is_over = ends && tasks_.empty();
  result.next = lacks_state_ ? now + kStateRetry : next_due();
  // What came while the tasks were run is the next round's.
  const bool has_come = polls_.load() != 0 || backlog_->has_come();
  result.has_more = is_full || (tasks_.empty() && has_come);
  result.is_idle = tasks_.empty() && !has_come;
  return result;
}

MonotonicTime Stream::next_due() const {
  MonotonicTime next = MonotonicTime::max();
  for (const Subscription& each : plan_.subscriptions) {
    next = std::min({next, each.due, each.heartbeat_due});
  }
  return next;
}

grpc::Status Stream::run(Task& task, SamplePage& page, bool& complete) {
  switch (task.kind) {
    case TaskKind::kSync:
      page.add_sync();
      synced_ = true;
      return grpc::Status::OK;
    case TaskKind::kCommitDone:
      if (std::exchange(is_in_commit_, false)) {
        page.add_commit_done(task.snapshot->number(), task.confirm_id);
      }
      return grpc::Status::OK;
    case TaskKind::kRead:
      return run_read(task, page, complete);
    case TaskKind::kAsOf:
      return run_as_of(task, page, complete);
    case TaskKind::kCommit:
      return run_commit(task, page, complete);
    case TaskKind::kCompare:
      return run_compare(task, page, complete);
  }
  return grpc::Status::OK;
}

bool Stream::read_state(Task& task) {
  if (!task.has_state) task.has_state = sources_.state(task.state);
  return task.has_state;
}

grpc::Status Stream::run_read(Task& task, SamplePage& page, bool& complete) {
  Subscription& subscription = subscription_of(task);
  std::shared_ptr<const store::StateTree> state;
  if (!sources_.state(state)) {
    if (plan_.mode != gnmi::SubscriptionList::STREAM) {
      return {grpc::StatusCode::INTERNAL, kStateNotAvailable};
    }
    // Leaves that could not be asked for are not gone: a later round tries again.
    complete = synced_;
    lacks_state_ = !complete;
    return grpc::Status::OK;
  }
  std::shared_ptr<const store::Snapshot> snapshot = task.snapshot;
  if (snapshot == nullptr) snapshot = sources_.store.snapshot();
  if (task.given == 0) begin_read(subscription, snapshot->number());
  task.given = 1;
  if (plan_.mode != gnmi::SubscriptionList::STREAM) task.snapshot = snapshot;
  return read_page(*snapshot, state.get(), task.form, subscription, page, complete);
}

void Stream::begin_read(Subscription& subscription, std::uint64_t number) const {
  subscription.reporting = PathLog();  // what an interrupted round left
  // Each poll is answered in full, and so is each list.
  if (plan_.mode != gnmi::SubscriptionList::STREAM) subscription.reported = PathLog();
  subscription.must_read = false;
  subscription.read_number = number + 1;
}

grpc::Status Stream::run_as_of(Task& task, SamplePage& page, bool& complete) {
  const Subscription& subscription = subscription_of(task);
  if (subscription.source == Source::kEvents) {
    if (!read_state(task)) return grpc::Status::OK;
    if (task.snapshot == nullptr) task.snapshot = sources_.store.snapshot();
  }
  std::size_t met = 0;
  const auto take = [&](gnmi::Path& path, gnmi::TypedValue& value) {
    if (!complete || met++ < task.given) return;
    if (page.is_full()) {
      complete = false;
      return;
    }
    ++task.given;
    page.add_leaf(subscription, path, value);
  };
  // The values of a moment of the past bear its time.
  if (plan_.history) page.begin_commit(task.time_ns);
  grpc::Status status = task.snapshot->read(subscription.query, task.state.get(), take);
  if (plan_.history) page.end_commit();
  return status;
}

grpc::Status Stream::recall() {
  bool fits = true;
  grpc::Status status = sources_.store.replay(plan_.history->start_ns, plan_.history->end_ns,
                                              [&](const store::CommitStep& step) {
                                                if (sources_.abandoned && sources_.abandoned())
                                                  return false;
                                                fits = recall_step(step);
                                                return fits;
                                              });
  if (status.ok() && !fits) status = {grpc::StatusCode::RESOURCE_EXHAUSTED, kLongHistory};
  recalled_ = status.ok();
  return status;
}

// False when there are too many commits.
bool Stream::recall_step(const store::CommitStep& step) {
  if (tasks_.size() + plan_.subscriptions.size() > kMostPastTasks) return false;
  const bool is_first = step.before == nullptr;
  if (is_first && plan_.updates_only) add_task(TaskKind::kSync, 0);
  for (std::size_t i = 0; i < plan_.subscriptions.size(); ++i) {
    if (is_first && plan_.updates_only) break;
    Task& task = add_task(is_first ? TaskKind::kAsOf : TaskKind::kCommit, i);
    task.since = step.before;
    task.snapshot = step.after;
    task.time_ns = step.time_ns;
  }
  if (is_first && !plan_.updates_only) add_task(TaskKind::kSync, 0);
  if (!is_first) add_commit_done(step);
  return true;
}

store::ChangeSink Stream::change_sink(Task& task, SamplePage& page, bool& complete) {
  const Subscription& subscription = subscription_of(task);
  const auto has_room = [&task, &page, &complete, met = std::make_shared<std::size_t>(0)] {
    if (!complete || (*met)++ < task.given) return false;
    if (page.is_full()) {
      complete = false;
      return false;
    }
    ++task.given;
    return true;
  };
  store::ChangeSink sink;
  sink.update = [has_room, &task, &page, &subscription](gnmi::Path& path, gnmi::TypedValue& value) {
    if (!has_room()) return;
    std::uint32_t values = 1;
    if (!task.counts.empty()) {
      const auto counted = task.counts.find(PathLog::number_of(path));
      if (counted != task.counts.end()) values = counted->second;
    }
    page.add_leaf(subscription, path, value, values - 1);
  };
  sink.gone = [has_room, &page, &subscription](gnmi::Path& path) {
    if (has_room()) page.add_gone(subscription, path);
  };
  return sink;
}

grpc::Status Stream::run_commit(Task& task, SamplePage& page, bool& complete) {
  const store::StateSource state = [&]() -> const store::StateTree* {
    return read_state(task) ? task.state.get() : nullptr;
  };
  page.begin_commit(task.time_ns);
  grpc::Status status = task.snapshot->read_changes(subscription_of(task).query, *task.since, state,
                                                    change_sink(task, page, complete));
  page.end_commit();
  is_in_commit_ = is_in_commit_ || task.given > 0;
  return status;
}

grpc::Status Stream::run_compare(Task& task, SamplePage& page, bool& complete) {
  Subscription& subscription = subscription_of(task);
  if (!read_state(task)) {
    complete = synced_;
    lacks_state_ = !complete;
    return grpc::Status::OK;
  }
  if (task.snapshot == nullptr) task.snapshot = sources_.store.snapshot();
  grpc::Status status;
  if (!task.form.silent) {
    status = task.snapshot->read_state_changes(subscription.query, subscription.seen.get(),
                                               task.state.get(), change_sink(task, page, complete));
  }
  if (status.ok() && complete) subscription.seen = task.state;
  return status;
}

}  // namespace nexa::telemetry

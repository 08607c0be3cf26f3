// A queue of tasks, run in order until the page is full. New ones are collected when the queue is
// empty: until then commits wait in the backlog, where those of a slow reader become one.
#include "telemetry/stream.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "telemetry/messages.h"

namespace nexa::telemetry {
namespace {

using Source = Subscription::Source;

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
    const bool is_owed = each.owed <= now;
    if (is_owed) each.owed = MonotonicTime::max();
    if (is_due || resends || has_events || is_owed) add_task(TaskKind::kCompare, i);
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
  Task& task = tasks_.push_back({});
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
    next = std::min({next, each.due, each.heartbeat_due, each.owed});
  }
  return next;
}

}  // namespace nexa::telemetry

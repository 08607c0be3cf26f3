// What each task of a stream gives, page by page: a task that meets the end of a page runs again
// for the next one and passes over what it gave.
#include <algorithm>
#include <optional>
#include <utility>

#include "telemetry/messages.h"
#include "telemetry/stream.h"

namespace nexa::telemetry {
namespace {

using Source = Subscription::Source;

// Of commits and subscriptions, in one look at the past.
constexpr std::size_t kMostPastTasks = 100000;

}  // namespace

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
  return read_page(plan_, {*snapshot, state.get()}, task.form, subscription, page, complete);
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
  const bool is_partial = subscription.has_atomic && !plan_.reads_groups(subscription);
  if (subscription.source == Source::kEvents || is_partial) {
    const bool is_there = read_state(task);
    if (!is_there && !is_partial) return grpc::Status::OK;
    if (task.snapshot == nullptr) task.snapshot = sources_.store.snapshot();
  }
  const std::function<bool()> has_room = room_for(task, page, complete);
  const store::ValueSink leaf = [&](gnmi::Path& path, gnmi::TypedValue& value) {
    if (has_room()) page.add_leaf(subscription, path, value);
  };
  grpc::Status group_status;
  const GroupingSink::GroupSink group = [&](AtomicGroup& whole) {
    if (!has_room()) return;
    grpc::Status status;
    if (is_partial) status = read_group(task, whole);
    if (status.ok() && !whole.leaves.empty()) page.add_group(subscription, whole);
    if (!status.ok()) group_status = status;
  };
  GroupingSink sink(subscription.has_atomic ? plan_.scopes.get() : nullptr, leaf, group);
  // The values of a moment of the past bear its time.
  if (plan_.history) page.begin_commit(task.time_ns);
  const store::StateTree* const state =
      subscription.source == Source::kEvents ? task.state.get() : nullptr;
  grpc::Status status = task.snapshot->read(
      subscription.query, state,
      [&sink](gnmi::Path& path, gnmi::TypedValue& value) { sink.take(path, value); });
  sink.end();
  if (plan_.history) page.end_commit();
  return status.ok() ? group_status : status;
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

std::function<bool()> Stream::room_for(Task& task, const SamplePage& page, bool& complete) {
  return [&task, &page, &complete, met = std::size_t{0}]() mutable {
    if (!complete || met++ < task.given) return false;
    if (page.is_full()) {
      complete = false;
      return false;
    }
    ++task.given;
    return true;
  };
}

std::uint32_t Stream::duplicates_of(const Task& task, const gnmi::Path& path) {
  if (task.counts.empty()) return 0;
  const auto counted = task.counts.find(PathLog::number_of(path));
  return counted != task.counts.end() ? counted->second - 1 : 0;
}

// Reports what `read` says to have changed. Of an atomic node that it touches all is told again.
grpc::Status Stream::report_changes(Task& task, SamplePage& page, bool& complete,
                                    const ChangeReader& read) {
  const Subscription& subscription = subscription_of(task);
  const std::function<bool()> has_room = room_for(task, page, complete);
  std::optional<TouchedNodes> touched;
  if (subscription.has_atomic) touched.emplace(*plan_.scopes);
  store::ChangeSink sink;
  sink.update = [&](gnmi::Path& path, gnmi::TypedValue& value) {
    if (touched && touched->take(path)) return;
    if (has_room()) page.add_leaf(subscription, path, value, {duplicates_of(task, path), 0});
  };
  sink.gone = [&](gnmi::Path& path) {
    if (touched && touched->take(path)) return;
    if (has_room()) page.add_gone(subscription, path);
  };
  grpc::Status status = read(sink);
  if (!touched) return status;
  for (auto node = touched->nodes().begin(); status.ok() && node != touched->nodes().end();
       ++node) {
    if (!has_room()) continue;
    AtomicGroup group{*node, {}};
    status = read_group(task, group);
    for (AtomicGroup::Leaf& leaf : group.leaves) leaf.duplicates = duplicates_of(task, leaf.path);
    if (group.leaves.empty()) {
      page.add_gone(subscription, group.node);
    } else {
      page.add_group(subscription, group);
    }
  }
  return status;
}

grpc::Status Stream::read_group(Task& task, AtomicGroup& group) {
  const bool has_state = plan_.group_part() != store::DataPart::kConfig && read_state(task);
  return plan_.scopes->read_group(*task.snapshot, has_state ? task.state.get() : nullptr,
                                  subscription_of(task).query, plan_.group_part(), group);
}

grpc::Status Stream::run_commit(Task& task, SamplePage& page, bool& complete) {
  const store::StateSource state = [&]() -> const store::StateTree* {
    return read_state(task) ? task.state.get() : nullptr;
  };
  page.begin_commit(task.time_ns);
  grpc::Status status = report_changes(task, page, complete, [&](const store::ChangeSink& sink) {
    return task.snapshot->read_changes(subscription_of(task).query, *task.since, state, sink);
  });
  page.end_commit();
  is_in_commit_ = is_in_commit_ || task.given > 0;
  return status;
}

grpc::Status Stream::run_compare(Task& task, SamplePage& page, bool& complete) {
  Subscription& subscription = subscription_of(task);
  if (!read_state(task)) {
    complete = synced_;
    lacks_state_ = !complete;
    // Commits do not wait for it; but the event that it was for may be the last for long.
    if (complete) subscription.owed = std::chrono::steady_clock::now() + kStateRetry;
    return grpc::Status::OK;
  }
  if (task.snapshot == nullptr) task.snapshot = sources_.store.snapshot();
  grpc::Status status;
  if (!task.form.silent) {
    status = report_changes(task, page, complete, [&](const store::ChangeSink& sink) {
      return task.snapshot->read_state_changes(subscription.query, subscription.seen.get(),
                                               task.state.get(), sink);
    });
  }
  if (status.ok() && complete) subscription.seen = task.state;
  return status;
}

}  // namespace nexa::telemetry

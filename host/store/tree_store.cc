// One writer at a time makes the next image, has it judged, writes down what differs, and exchanges
// the image that readers get. Everything that may take long for a reader happens on images.
#include "store/tree_store.h"

#include <chrono>
#include <optional>
#include <thread>

#include "store/apply_request.h"
#include "store/change.h"
#include "store/commit_answer.h"
#include "store/edit_blame.h"
#include "store/edits.h"
#include "store/given_nodes.h"
#include "store/held_state.h"
#include "store/image/image_text.h"
#include "store/image/image_xml.h"
#include "store/image_merge.h"
#include "store/judge.h"
#include "store/log/data_directory.h"
#include "store/log/fair_mutex.h"
#include "store/log/log_database.h"
#include "store/log/patient_work.h"
#include "store/log/snapshot_writer.h"
#include "store/past.h"
#include "store/publication.h"
#include "store/reading/selection.h"
#include "store/schema_support.h"
#include "store/store_start.h"
#include "store/tree_snapshot.h"
#include "store/waiting_commit.h"

namespace nexa::store {
namespace {

constexpr char kNoMemory[] = "out of memory";
constexpr char kReadOnly[] = "the data directory was opened to be read only";
constexpr char kUnknownOutcome[] =
    "whether the commit is stored is not known until the log can be read again: ";

using Approve = std::function<grpc::Status(const Change&)>;
using grpc::StatusCode;

std::int64_t wall_clock() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

class TreeStore : public ConfigStore {
 public:
  TreeStore(const TreeStoreOptions& options, std::unique_ptr<DataDirectory> directory,
            std::unique_ptr<CommitLog> log)
      : options_(options),
        directory_(std::move(directory)),
        log_(std::move(log)),
        past_(*log_),
        waiting_(*log_) {}
  ~TreeStore() override;
  TreeStore(const TreeStore&) = delete;
  TreeStore& operator=(const TreeStore&) = delete;

  text::Done load(const std::string& file, std::vector<std::string>& notes);

  CommitResult commit(const CommitRequest& request) override;
  std::shared_ptr<const Snapshot> snapshot() const override { return publication_.current(); }
  text::Result<std::shared_ptr<const StateTree>> parse_state(std::string_view xml) const override {
    return parse_state_tree(xml);
  }
  std::shared_ptr<const StateTree> join_states(
      std::span<const std::shared_ptr<const StateTree>> trees) const override {
    return join_state_trees(trees);
  }
  grpc::Status history(std::size_t limit, std::vector<CommitRecord>& out) const override;
  CommitResult rollback(std::uint64_t number, const std::string& author,
                        const Approve& approve) override;
  std::optional<PendingCommit> pending() const override { return waiting_.pending(); }
  grpc::Status replay(std::int64_t start_ns, std::int64_t end_ns,
                      const StepSink& each) const override {
    return past_.replay(start_ns, end_ns, each);
  }
  grpc::Status confirm(const std::string& id) override;
  grpc::Status extend(const std::string& id, std::chrono::nanoseconds duration) override;
  CommitResult cancel(const std::string& id, const std::string& author, const std::string& reason,
                      const Approve& approve) override;
  StoreHealth health() const override;
  void verified(std::uint64_t number, const std::string& violation) override;
  std::shared_ptr<const Snapshot> watch(CommitWatcher& watcher) override {
    return publication_.watch(watcher);
  }
  void unwatch(CommitWatcher& watcher) override { publication_.unwatch(watcher); }

 private:
  // A transaction on its way.
  struct Transaction {
    ImagePtr before;
    ImagePtr after;
    bool whole = false;                        // every rule was asked
    const std::vector<Edit>* edits = nullptr;  // null for a rollback
    std::string author;
    std::string comment;
    const Approve* approve = nullptr;
    bool may_be_refused = true;            // the verdict of `approve` counts
    std::optional<PendingChange> pending;  // what becomes of the commit that waits
    std::string confirm_id;                // of the commit that waits or waited
    CommitResult result;
    std::uint64_t number = 0;
    std::int64_t time_ns = 0;
  };

  // A commit that is on the disk, or may be: all that it takes to show it. Made before it is
  // written, so that want of memory leaves nothing half done.
  struct Written {
    std::shared_ptr<const TreeSnapshot> snapshot;
    Publication::Commit commit;
  };

  template <typename Work>
  CommitResult transact(const Work& work);
  void end_without_memory(Transaction& transaction);
  bool make_ready(CommitResult& result);
  void restore(std::uint64_t number, Transaction& transaction);
  void settle_pending(Transaction& transaction);
  bool settle(CommitResult& result);
  void run(const CommitRequest& request, Transaction& transaction);
  bool accept(Transaction& transaction, Judge::Verdict verdict);
  void finish(Transaction& transaction);
  void refuse(Transaction& transaction, StatusCode code, std::string text);
  void publish();
  std::optional<LogSnapshot> log_snapshot() const;

  const TreeStoreOptions options_;
  std::unique_ptr<DataDirectory> directory_;
  std::unique_ptr<CommitLog> log_;
  mutable Past past_;
  WaitingCommit waiting_;  // changes it with `writer_`
  std::string schema_hash_;

  FairMutex writer_;  // holds for everything down to `last_time_ns_`
  Judge judge_;
  std::optional<Written> written_;
  std::int64_t last_time_ns_ = 0;
  bool owes_base_ = false;  // the log is to be brought up to the schema before the next commit

  Publication publication_;
  std::thread preparation_;                    // makes the judge's tree beside the first readers
  std::unique_ptr<SnapshotWriter> snapshots_;  // last: its thread ends first
};

TreeStore::~TreeStore() {
  if (preparation_.joinable()) preparation_.join();
}

text::Done TreeStore::load(const std::string& file, std::vector<std::string>& notes) {
  number_schema();
  schema_hash_ = loaded_schema_hash();
  text::Result<StartState> started = start_state(*log_, file, judge_, notes);
  if (!started.ok()) return std::move(started).failure();
  const StartState& start = started.value();
  StoreHealth health;
  health.violation = start.violation;
  owes_base_ = start.owes_base;
  health.deaths = judge_.deaths();
  if (start.judged) health.verified = log_->head();
  publication_.start(std::make_shared<TreeSnapshot>(start.image, log_->head(), options_.mirror),
                     std::move(health));
  std::vector<CommitRecord> newest;
  if (log_->history(1, newest).ok() && !newest.empty()) last_time_ns_ = newest.front().time_ns;
  preparation_ = std::thread([this] {
    const std::lock_guard<FairMutex> lock(writer_);
    judge_.stand_for(publication_.current()->root());
  });
  if (options_.read_only) return {};
  snapshots_ = std::make_unique<SnapshotWriter>(
      *log_, LogLimits{options_.history_limit, options_.commits_per_snapshot},
      [this] { return log_snapshot(); }, options_.warn);
  return {};
}

StoreHealth TreeStore::health() const {
  StoreHealth health = publication_.health();
  health.writable = log_->writable();
  if (!health.writable) health.obstacle = log_->obstacle();
  return health;
}

void TreeStore::verified(std::uint64_t number, const std::string& violation) {
  publication_.verified(number, violation);
  if (violation.empty()) log_->mark_judged(number);
}

grpc::Status TreeStore::history(std::size_t limit, std::vector<CommitRecord>& out) const {
  const LogResult result = log_->history(limit, out);
  if (result.ok()) return grpc::Status::OK;
  return {StatusCode::INTERNAL, result.text};
}

std::optional<LogSnapshot> TreeStore::log_snapshot() const {
  const std::shared_ptr<const TreeSnapshot> snapshot = publication_.current();
  LogSnapshot made;
  do_patiently([&] { made = row_of(snapshot->number(), snapshot->root(), schema_hash_); });
  made.judged = publication_.is_verified(made.number);
  return made;
}

// Finds out about a commit that may be on the disk or not.
bool TreeStore::settle(CommitResult& result) {
  if (!written_) return true;
  const LogResult settled = log_->settle();
  if (!settled.ok()) {
    result.status = {code_of(settled.code), kUnknownOutcome + settled.text};
    return false;
  }
  if (log_->head() == written_->snapshot->number()) {
    judge_.keep();
    publish();
  } else {
    judge_.take_back();
    written_.reset();
  }
  return true;
}

bool TreeStore::make_ready(CommitResult& result) {
  result.number = publication_.current()->number();
  if (!settle(result)) return false;
  const std::shared_ptr<const TreeSnapshot> now = publication_.current();
  result.number = now->number();
  if (!owes_base_) return true;
  const LogResult written = write_base(*log_, now->root(), publication_.is_verified(result.number));
  owes_base_ = !written.ok();
  if (owes_base_) result.status = {code_of(written.code), written.text};
  return !owes_base_;
}

grpc::Status TreeStore::confirm(const std::string& id) {
  const std::lock_guard<FairMutex> lock(writer_);
  CommitResult result;
  return settle(result) ? waiting_.confirm(id) : result.status;
}

grpc::Status TreeStore::extend(const std::string& id, std::chrono::nanoseconds duration) {
  const std::lock_guard<FairMutex> lock(writer_);
  CommitResult result;
  return settle(result) ? waiting_.extend(id, duration, wall_clock()) : result.status;
}

CommitResult TreeStore::cancel(const std::string& id, const std::string& author,
                               const std::string& reason, const Approve& approve) {
  return transact([&](Transaction& transaction) {
    CommitResult& result = transaction.result;
    if (!make_ready(result)) return;
    const std::optional<LogPending> pending = log_->pending();
    result.status = waiting_.has_name(id.empty() && pending ? pending->id : id);
    if (!result.status.ok()) return;
    transaction.author = author;
    transaction.comment = "rollback to " + std::to_string(pending->base) + ": " + reason;
    transaction.approve = &approve;
    transaction.may_be_refused = false;
    transaction.pending = {PendingChange::Kind::kClear};
    transaction.confirm_id = pending->id;
    restore(pending->base, transaction);
  });
}

// Each transaction begins and ends here, also one that memory is wanting for.
template <typename Work>
CommitResult TreeStore::transact(const Work& work) {
  const std::lock_guard<FairMutex> lock(writer_);
  Transaction transaction;
  try {
    work(transaction);
  } catch (const std::bad_alloc&) {
    end_without_memory(transaction);
  }
  return std::move(transaction.result);
}

void TreeStore::end_without_memory(Transaction& transaction) {
  CommitResult& result = transaction.result;
  if (!written_) {
    judge_.take_back();
    result.status = {StatusCode::RESOURCE_EXHAUSTED, kNoMemory};
    return;
  }
  // The log knows whether the commit is there.
  if (!settle(result)) return;
  result.number = publication_.current()->number();
  if (result.number == transaction.number) {
    result.status = grpc::Status::OK;
    result.time_ns = transaction.time_ns;
  } else {
    result.status = {StatusCode::RESOURCE_EXHAUSTED, kNoMemory};
  }
}

CommitResult TreeStore::commit(const CommitRequest& request) {
  return transact([&](Transaction& transaction) {
    if (!make_ready(transaction.result)) return;
    transaction.result.status = waiting_.is_free();
    if (!transaction.result.status.ok()) return;
    if (!request.confirm_id.empty()) {
      transaction.pending = waiting_.wait_for(request);
      transaction.confirm_id = request.confirm_id;
    }
    transaction.edits = &request.edits;
    transaction.author = request.author;
    transaction.comment = request.comment;
    transaction.approve = &request.approve;
    run(request, transaction);
  });
}

void TreeStore::run(const CommitRequest& request, Transaction& transaction) {
  const std::shared_ptr<const TreeSnapshot> standing = publication_.current();
  transaction.before = ImagePtr::share(&standing->root());
  EditApplier applier(transaction.before);
  const RequestLimits limits{options_.max_nodes, options_.max_bytes};
  if (!apply_request(request, limits, applier, transaction.result)) return;
  const ImagePtr edited = without_idle_modules(applier.result(), [this](const lys_module* module) {
    return judge_.has_standing_defaults(module);
  });
  const bool is_broken = !health().violation.empty();
  Judge::Verdict verdict = judge_.judge(transaction.before, edited,
                                        {applier.nodes(), applier.take_document()}, is_broken);
  if (verdict.kind == Judge::Verdict::Kind::kValid) {
    if (auto lost = lost_node(request.edits, *edited, *verdict.image)) {
      judge_.take_back();
      report(lost->violation, lost->edit, transaction.result);
      return;
    }
  }
  if (accept(transaction, std::move(verdict))) finish(transaction);
}

// False when the edited configuration breaks a rule, or cannot be judged.
bool TreeStore::accept(Transaction& transaction, Judge::Verdict verdict) {
  CommitResult& result = transaction.result;
  using Kind = Judge::Verdict::Kind;
  transaction.whole = verdict.whole;
  publication_.judged(judge_.deaths(), verdict.whole);
  if (verdict.kind == Kind::kValid) {
    transaction.after = std::move(verdict.image);
    return true;
  }
  judge_.take_back();
  if (verdict.kind == Kind::kFailed) {
    result.status = {StatusCode::RESOURCE_EXHAUSTED, kNoMemory};
  } else if (verdict.kind == Kind::kDied) {
    result.status = {StatusCode::INTERNAL, "the configuration cannot be judged: " + verdict.text};
  } else {
    int edit = -1;
    if (transaction.edits != nullptr) {
      edit = transaction.edits->size() == 1
                 ? 0
                 : edit_to_blame(transaction.before, *transaction.edits, verdict.violation->path);
    }
    report(*verdict.violation, edit, result);
  }
  return false;
}

CommitResult TreeStore::rollback(std::uint64_t number, const std::string& author,
                                 const Approve& approve) {
  return transact([&](Transaction& transaction) {
    CommitResult& result = transaction.result;
    if (!make_ready(result)) return;
    if (number > log_->head()) {
      result.status = {StatusCode::NOT_FOUND, "there is no commit " + std::to_string(number)};
      return;
    }
    transaction.author = author;
    transaction.comment = "rollback to " + std::to_string(number);
    transaction.approve = &approve;
    if (const std::optional<LogPending> pending = log_->pending()) {
      transaction.pending = {PendingChange::Kind::kClear};
      transaction.confirm_id = pending->id;
    }
    restore(number, transaction);
  });
}

// Makes what commit `number` left the newest configuration.
void TreeStore::restore(std::uint64_t number, Transaction& transaction) {
  const text::Result<StoredState> stored = best_state(*log_, number);
  if (!stored.ok()) {
    transaction.result.status = {
        StatusCode::FAILED_PRECONDITION,
        "commit " + std::to_string(number) + " cannot be restored: " + stored.failure().line()};
    return;
  }
  const StoredState& state = stored.value();
  const std::shared_ptr<const TreeSnapshot> standing = publication_.current();
  transaction.before = ImagePtr::share(&standing->root());
  Judge::Verdict verdict =
      judge_.judge_whole(state.image, transaction.before.get(), *transaction.before);
  if (verdict.image) {
    ImageSlot image = std::move(verdict.image);
    take_json_types(image, *state.image);
    verdict.image = ImagePtr::share(&image->inner());
  }
  if (accept(transaction, std::move(verdict))) finish(transaction);
}

// The end of a transaction that changes nothing in the configuration.
void TreeStore::settle_pending(Transaction& transaction) {
  judge_.take_back();
  if (transaction.pending) transaction.result.status = waiting_.write(*transaction.pending);
}

void TreeStore::refuse(Transaction& transaction, StatusCode code, std::string text) {
  judge_.take_back();
  transaction.result.status = {code, std::move(text)};
}

void TreeStore::finish(Transaction& transaction) {
  LogEntry entry;
  entry.effect = difference_text(*transaction.before, *transaction.after);
  const std::int64_t now = wall_clock();
  transaction.number = log_->head() + (entry.effect.empty() ? 0 : 1);
  if (transaction.pending) WaitingCommit::set_out(*transaction.pending, transaction.number, now);
  if (entry.effect.empty()) return settle_pending(transaction);
  transaction.time_ns = std::max(now, last_time_ns_ + 1);
  if (transaction.approve != nullptr && *transaction.approve) {
    const Change change{
        transaction.number,
        transaction.time_ns,
        transaction.author,
        changed_nodes_xml(*transaction.before, *transaction.after, *transaction.before),
        changed_nodes_xml(*transaction.before, *transaction.after, *transaction.after),
        [&transaction] {
          std::string difference;
          const bool is_written = change_xml(*transaction.before, *transaction.after, difference);
          return is_written ? difference : std::string();
        }};
    const grpc::Status verdict = (*transaction.approve)(change);
    if (!verdict.ok() && transaction.may_be_refused) {
      return refuse(transaction, verdict.error_code(), verdict.error_message());
    }
  }
  if (options_.read_only) return refuse(transaction, StatusCode::FAILED_PRECONDITION, kReadOnly);
  entry.number = transaction.number;
  entry.time_ns = transaction.time_ns;
  entry.author = transaction.author;
  entry.comment = transaction.comment;
  if (!change_xml(*transaction.before, *transaction.after, entry.change)) {
    entry.whole = true;
    entry.change = configuration_xml(*transaction.after);
  }
  written_.emplace(Written{
      std::make_shared<const TreeSnapshot>(transaction.after, transaction.number, options_.mirror),
      {transaction.time_ns, transaction.confirm_id, transaction.whole}});
  const LogResult logged = log_->append(entry, transaction.pending.value_or(PendingChange()));
  if (logged.code == LogResult::Code::kUnknown) {
    transaction.result.status = {StatusCode::UNAVAILABLE, kUnknownOutcome + logged.text};
    return;
  }
  if (!logged.ok()) {
    written_.reset();
    return refuse(transaction, code_of(logged.code), logged.text);
  }
  judge_.keep();
  publish();
  transaction.result.number = transaction.number;
  transaction.result.time_ns = transaction.time_ns;
  snapshots_->committed();
}

void TreeStore::publish() {
  last_time_ns_ = written_->commit.time_ns;
  publication_.publish(written_->snapshot, written_->commit);
  written_.reset();
}

}  // namespace

text::Result<std::unique_ptr<ConfigStore>> open_tree_store(const TreeStoreOptions& options,
                                                           std::vector<std::string>* notes) {
  if (text::Done done = check_schema(); !done.ok()) return std::move(done).failure();
  std::unique_ptr<DataDirectory> directory;
  if (!options.read_only) {
    auto held = DataDirectory::hold(options.directory);
    if (!held.ok()) return std::move(held).failure();
    directory = std::move(held).value();
  }
  LogOptions place;
  place.directory = options.directory;
  place.sync = options.sync;
  place.read_only = options.read_only;
  text::Result<std::unique_ptr<CommitLog>> log = CommitLog::open(place);
  if (!log.ok()) return std::move(log).failure();
  std::vector<std::string> lines;
  auto store = std::make_unique<TreeStore>(options, std::move(directory), std::move(log).value());
  if (text::Done done = store->load(log_file(options.directory), lines); !done.ok()) {
    return std::move(done).failure();
  }
  if (notes != nullptr) notes->insert(notes->end(), lines.begin(), lines.end());
  return store;
}

}  // namespace nexa::store

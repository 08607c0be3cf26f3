// Two trees: readers have one, a transaction is built in the other. Who publishes swaps them, and
// the one left behind catches up by what the transaction touched before it is changed again.
#include "store/tree_store.h"

#include <atomic>
#include <chrono>
#include <optional>

#include "store/change.h"
#include "store/edits.h"
#include "store/given_nodes.h"
#include "store/log/data_directory.h"
#include "store/log/log_database.h"
#include "store/log/snapshot_writer.h"
#include "store/node_tools.h"
#include "store/reading/selection.h"
#include "store/stored_state.h"
#include "store/tree_snapshot.h"

namespace nexa::host {
namespace {

constexpr char kAbandoned[] = "nobody waits for the commit any more";
constexpr char kNoMemory[] = "out of memory";
constexpr char kTreeFailed[] = "the change could not be computed";
constexpr char kUnknownOutcome[] =
    "whether the commit is stored is not known until the log can be read again: ";

// Readers that stay longer keep their tree, and the store goes on with a copy.
constexpr std::chrono::milliseconds kReaderPatience{2000};

using Approve = std::function<grpc::Status(const Change&)>;

void report(const Violation& violation, int edit, CommitResult& result) {
  const bool is_constraint = violation.kind == Violation::Kind::kConstraint;
  result.path = violation.path;
  result.rule = violation.rule;
  result.edit = edit;
  result.status = {
      is_constraint ? grpc::StatusCode::FAILED_PRECONDITION : grpc::StatusCode::INVALID_ARGUMENT,
      violation.path.empty() ? violation.rule : violation.path + ": " + violation.rule};
}

class TreeStore : public ConfigStore {
 public:
  TreeStore(const TreeStoreOptions& options, std::unique_ptr<DataDirectory> directory,
            std::unique_ptr<CommitLog> log)
      : options_(options), directory_(std::move(directory)), log_(std::move(log)) {}

  bool load(const std::string& file, std::vector<std::string>& notes, std::string& error);

  CommitResult commit(const CommitRequest& request) override;
  std::shared_ptr<const Snapshot> snapshot() const override;
  std::shared_ptr<const StateTree> parse_state(std::string_view xml,
                                               std::string& error) const override {
    return parse_state_tree(xml, error);
  }
  grpc::Status check_path(const gnmi::Path& path) const override { return select_schema(path); }
  grpc::Status history(std::size_t limit, std::vector<CommitRecord>& out) const override;
  CommitResult rollback(std::uint64_t number, const std::string& author,
                        const Approve& approve) override;

 private:
  // A transaction on its way.
  struct Transaction {
    Touched touched;
    const std::vector<Edit>* edits = nullptr;  // null for a rollback
    std::string author;
    std::string comment;
    const Approve* approve = nullptr;
    CommitResult result;
    std::uint64_t number = 0;
    std::int64_t time_ns = 0;
  };

  bool make_ready(CommitResult& result);
  bool settle(CommitResult& result);
  void rebuild();
  void undo(const Touched& touched);
  CommitResult refuse(Transaction& transaction, grpc::StatusCode code, std::string text);
  CommitResult finish(Transaction& transaction);
  bool validate(Transaction& transaction);
  CommitResult store(Transaction& transaction, ChangeText& text);
  void publish(Transaction& transaction);

  const TreeStoreOptions options_;
  std::unique_ptr<DataDirectory> directory_;
  std::unique_ptr<CommitLog> log_;
  Validator validator_;
  const StandingDefaults standing_{validator_};

  std::mutex writer_;  // holds for everything down to `last_time_ns_`
  std::shared_ptr<Replica> running_;
  std::shared_ptr<Replica> candidate_;  // null when it has to be copied from running
  std::optional<Touched> behind_;       // what candidate lacks of running
  std::optional<Transaction> unknown_;  // in candidate, perhaps on the disk
  std::int64_t last_time_ns_ = 0;

  mutable std::mutex publication_;  // holds for `current_`
  std::shared_ptr<const TreeSnapshot> current_;

  std::unique_ptr<SnapshotWriter> snapshots_;  // last: its thread ends first
};

bool TreeStore::load(const std::string& file, std::vector<std::string>& notes, std::string& error) {
  StoredState state;
  if (!load_state(*log_, file, {validator_, standing_}, state, notes, error)) return false;
  notes.push_back("configuration " + std::to_string(log_->head()) + " from " + file + ", " +
                  std::to_string(state.replayed) + " commits replayed");
  for (const lyd_node* node = state.tree.get(); node != nullptr; node = node->next) {
    settle_values(node);
  }
  running_ = std::make_shared<Replica>(std::move(state.tree));
  current_ = std::make_shared<TreeSnapshot>(running_, log_->head());
  std::vector<CommitRecord> newest;
  if (log_->history(1, newest).ok() && !newest.empty()) last_time_ns_ = newest.front().time_ns;
  rebuild();
  snapshots_ = std::make_unique<SnapshotWriter>(
      *log_, LogLimits{options_.history_limit, options_.commits_per_snapshot},
      [this] { return snapshot(); }, options_.warn);
  return true;
}

std::shared_ptr<const Snapshot> TreeStore::snapshot() const {
  const std::lock_guard<std::mutex> lock(publication_);
  return current_;
}

grpc::Status TreeStore::history(std::size_t limit, std::vector<CommitRecord>& out) const {
  const LogResult result = log_->history(limit, out);
  if (result.ok()) return grpc::Status::OK;
  return {grpc::StatusCode::INTERNAL, result.text};
}

// A fresh candidate; none when there is no memory for it.
void TreeStore::rebuild() {
  behind_.reset();
  candidate_.reset();
  bool ok = false;
  TreePtr copy = copy_tree(running_->top(), ok);
  if (ok) candidate_ = std::make_shared<Replica>(std::move(copy));
}

void TreeStore::undo(const Touched& touched) {
  if (!touched.make_equal(running_->top(), candidate_->mutable_top())) rebuild();
}

// Finds out about a commit that may be on the disk or not.
bool TreeStore::settle(CommitResult& result) {
  if (!unknown_) return true;
  const LogResult settled = log_->settle();
  if (!settled.ok()) {
    result.status = {grpc::StatusCode::INTERNAL, kUnknownOutcome + settled.text};
    return false;
  }
  if (log_->head() == unknown_->number) {
    publish(*unknown_);
  } else {
    undo(unknown_->touched);
  }
  unknown_.reset();
  return true;
}

bool TreeStore::make_ready(CommitResult& result) {
  result.number = current_->number();
  if (!settle(result)) return false;
  result.number = current_->number();
  if (candidate_ != nullptr && candidate_->wait_for_readers(kReaderPatience)) {
    if (behind_ && !behind_->make_equal(running_->top(), candidate_->mutable_top())) rebuild();
    behind_.reset();
  } else {
    rebuild();
  }
  if (candidate_ != nullptr) return true;
  result.status = {grpc::StatusCode::RESOURCE_EXHAUSTED, kNoMemory};
  return false;
}

CommitResult TreeStore::refuse(Transaction& transaction, grpc::StatusCode code, std::string text) {
  undo(transaction.touched);
  transaction.result.status = {code, std::move(text)};
  return transaction.result;
}

CommitResult TreeStore::commit(const CommitRequest& request) {
  const std::lock_guard<std::mutex> lock(writer_);
  Transaction transaction;
  CommitResult& result = transaction.result;
  if (!make_ready(result)) return result;
  transaction.edits = &request.edits;
  transaction.author = request.author;
  transaction.comment = request.comment;
  transaction.approve = &request.approve;
  try {
    EditApplier applier(candidate_->mutable_top(), transaction.touched, standing_);
    for (std::size_t i = 0; i < request.edits.size(); ++i) {
      if (request.abandoned && request.abandoned()) {
        return refuse(transaction, grpc::StatusCode::CANCELLED, kAbandoned);
      }
      transaction.touched.set_edit(static_cast<int>(i));
      if (auto refusal = applier.apply(request.edits[i])) {
        undo(transaction.touched);
        result.status = refusal->status;
        result.edit = static_cast<int>(i);
        result.path = std::move(refusal->path);
        result.rule = std::move(refusal->rule);
        return result;
      }
    }
    applier.finish();
    return finish(transaction);
  } catch (const std::bad_alloc&) {
    rebuild();
    result.status = {grpc::StatusCode::RESOURCE_EXHAUSTED, kNoMemory};
    return result;
  }
}

CommitResult TreeStore::rollback(std::uint64_t number, const std::string& author,
                                 const Approve& approve) {
  const std::lock_guard<std::mutex> lock(writer_);
  Transaction transaction;
  CommitResult& result = transaction.result;
  if (!make_ready(result)) return result;
  std::string error;
  if (number > current_->number()) {
    result.status = {grpc::StatusCode::NOT_FOUND, "there is no commit " + std::to_string(number)};
    return result;
  }
  StoredState state;
  if (!stored_state(*log_, number, state, error)) {
    result.status = {grpc::StatusCode::FAILED_PRECONDITION,
                     "commit " + std::to_string(number) + " cannot be restored: " + error};
    return result;
  }
  transaction.author = author;
  transaction.comment = "rollback to " + std::to_string(number);
  transaction.approve = &approve;
  try {
    EditApplier applier(candidate_->mutable_top(), transaction.touched, standing_);
    applier.replace_tree(state.tree.get());
    applier.finish();
    return finish(transaction);
  } catch (const std::bad_alloc&) {
    rebuild();
    result.status = {grpc::StatusCode::RESOURCE_EXHAUSTED, kNoMemory};
    return result;
  }
}

// False when the candidate breaks a rule, or cannot be judged; it is undone then.
bool TreeStore::validate(Transaction& transaction) {
  TreePtr diff;
  const bool known = difference(transaction.touched, running_->top(), candidate_->top(), diff);
  if (known && diff == nullptr) return true;
  const Validator::Outcome outcome =
      validator_.validate_change(candidate_->mutable_top(), diff.get());
  std::optional<Violation> violation = outcome.violation;
  int edit = -1;
  if (violation) {
    const bool is_only = transaction.edits != nullptr && transaction.edits->size() == 1;
    edit = is_only ? 0 : transaction.touched.edit_at(violation->path);
  } else if (transaction.edits != nullptr) {
    if (auto lost = lost_node(*transaction.edits, outcome.changes.get())) {
      violation = std::move(lost->violation);
      edit = lost->edit;
    }
  }
  transaction.touched.set_edit(-1);
  transaction.touched.mark_diff(outcome.changes.get());
  if (!violation) return true;
  report(*violation, edit, transaction.result);
  if (outcome.whole_tree) {
    rebuild();
  } else {
    undo(transaction.touched);
  }
  return false;
}

CommitResult TreeStore::finish(Transaction& transaction) {
  if (!validate(transaction)) return transaction.result;
  ChangeText text;
  if (!describe_change(transaction.touched, running_->top(), candidate_->top(), text)) {
    rebuild();
    transaction.result.status = {grpc::StatusCode::INTERNAL, kTreeFailed};
    return transaction.result;
  }
  if (!text.changes) {
    undo(transaction.touched);
    return transaction.result;
  }
  return store(transaction, text);
}

CommitResult TreeStore::store(Transaction& transaction, ChangeText& text) {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  transaction.number = current_->number() + 1;
  transaction.time_ns = std::max<std::int64_t>(
      std::chrono::duration_cast<std::chrono::nanoseconds>(now).count(), last_time_ns_ + 1);
  if (transaction.approve != nullptr && *transaction.approve) {
    const Change change{transaction.number, transaction.time_ns, transaction.author,
                        std::move(text.before), std::move(text.after)};
    const grpc::Status verdict = (*transaction.approve)(change);
    if (!verdict.ok()) {
      return refuse(transaction, verdict.error_code(), verdict.error_message());
    }
  }
  transaction.touched.settle(candidate_->top());
  const LogResult logged =
      log_->append({transaction.number, transaction.time_ns, transaction.author,
                    transaction.comment, text.whole, std::move(text.text)});
  switch (logged.code) {
    case LogResult::Code::kDone:
      publish(transaction);
      break;
    case LogResult::Code::kFull:
      return refuse(transaction, grpc::StatusCode::RESOURCE_EXHAUSTED, logged.text);
    case LogResult::Code::kFailed:
      return refuse(transaction, grpc::StatusCode::INTERNAL, logged.text);
    case LogResult::Code::kUnknown: {
      CommitResult result = transaction.result;
      result.status = {grpc::StatusCode::INTERNAL, kUnknownOutcome + logged.text};
      transaction.edits = nullptr;
      transaction.approve = nullptr;
      unknown_.emplace(std::move(transaction));
      return result;
    }
  }
  transaction.result.number = transaction.number;
  transaction.result.time_ns = transaction.time_ns;
  snapshots_->committed(transaction.number);
  return transaction.result;
}

void TreeStore::publish(Transaction& transaction) {
  last_time_ns_ = transaction.time_ns;
  auto snapshot = std::make_shared<const TreeSnapshot>(candidate_, transaction.number);
  running_.swap(candidate_);
  behind_.emplace(std::move(transaction.touched));
  const std::lock_guard<std::mutex> lock(publication_);
  current_.swap(snapshot);
}

}  // namespace

std::unique_ptr<ConfigStore> open_tree_store(const TreeStoreOptions& options, std::string& error,
                                             std::vector<std::string>* notes) {
  std::unique_ptr<DataDirectory> directory = DataDirectory::hold(options.directory, error);
  if (directory == nullptr) return nullptr;
  std::unique_ptr<CommitLog> log = CommitLog::open({options.directory, options.sync}, error);
  if (log == nullptr) return nullptr;
  std::vector<std::string> lines;
  auto store = std::make_unique<TreeStore>(options, std::move(directory), std::move(log));
  if (!store->load(log_file(options.directory), lines, error)) return nullptr;
  if (notes != nullptr) notes->insert(notes->end(), lines.begin(), lines.end());
  return store;
}

}  // namespace nexa::host

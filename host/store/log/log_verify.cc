// Reads the whole log and believes nothing: SQLite's structure, each row's checksum, the chain of
// commits, and that the newest commit is the one that was written last.
#include <map>

#include "store/log/log_database.h"

namespace nexa::host {
namespace {

constexpr char kRestore[] = "; restore a copy of the directory";

class Verifier {
 public:
  Verifier(sqlite3* database, const std::string& file, std::string& error)
      : database_(database), file_(file), error_(error) {}

  bool run() { return structure() && schema() && snapshots() && head() && commits() && tail(); }

 private:
  bool damaged(const std::string& what) {
    error_ = file_ + ": damaged: " + what + kRestore;
    return false;
  }

  // The verdict on how a walk over rows ended.
  bool ended(int result) {
    if (result == SQLITE_DONE) return true;
    error_ = database_error(database_, file_) + kRestore;
    return false;
  }

  bool structure() {
    Statement check(database_, "PRAGMA quick_check(1)");
    const int result = check.step();
    if (result != SQLITE_ROW) return ended(result == SQLITE_DONE ? SQLITE_CORRUPT : result);
    if (check.text(0) == "ok") return true;
    return damaged("the database's structure is broken");
  }

  bool schema() {
    Statement rows(database_, "SELECT modules, hash FROM schema");
    int result = rows.step();
    for (; result == SQLITE_ROW; result = rows.step()) {
      if (schema_digest(rows.text(0)) != rows.text(1)) {
        return damaged("the record of the schema does not match its checksum");
      }
    }
    return ended(result);
  }

  bool snapshots() {
    Statement rows(database_, "SELECT number, commit_hash, config, hash FROM snapshots");
    int result = rows.step();
    for (; result == SQLITE_ROW; result = rows.step()) {
      LogSnapshot snapshot;
      snapshot.number = static_cast<std::uint64_t>(rows.integer(0));
      snapshot.commit_hash = rows.text(1);
      snapshot.config = rows.text(2);
      if (snapshot_digest(snapshot) != rows.text(3)) {
        return damaged("snapshot " + std::to_string(snapshot.number) +
                       " does not match its checksum");
      }
      hashes_[snapshot.number] = snapshot.commit_hash;
    }
    return ended(result);
  }

  bool head() {
    Statement row(database_, "SELECT number, commit_hash, hash FROM head");
    const int result = row.step();
    if (result == SQLITE_DONE) return damaged("the number of the newest commit is missing");
    if (result != SQLITE_ROW) return ended(result);
    newest_ = static_cast<std::uint64_t>(row.integer(0));
    newest_hash_ = row.text(1);
    if (head_digest(newest_, newest_hash_) == row.text(2)) return true;
    return damaged("the number of the newest commit does not match its checksum");
  }

  bool commits() {
    if (hashes_.empty()) return damaged("no snapshot is left");
    number_ = hashes_.begin()->first;
    hash_ = hashes_.begin()->second;
    Statement rows(database_,
                   "SELECT number, time_ns, author, comment, whole, change, hash FROM commits "
                   "ORDER BY number");
    int result = rows.step();
    for (; result == SQLITE_ROW; result = rows.step()) {
      const LogEntry entry = entry_of(rows);
      if (entry.number != number_ + 1) {
        return damaged("commit " + std::to_string(number_ + 1) + " is missing");
      }
      number_ = entry.number;
      hash_ = commit_digest(hash_, entry);
      if (hash_ != rows.text(6)) {
        return damaged("commit " + std::to_string(number_) + " does not match its checksum");
      }
      const auto snapshot = hashes_.find(number_);
      if (snapshot != hashes_.end() && snapshot->second != hash_) {
        return damaged("snapshot " + std::to_string(number_) + " is not of this log");
      }
    }
    return ended(result);
  }

  bool tail() {
    if (number_ < newest_) return damaged("commit " + std::to_string(number_ + 1) + " is missing");
    if (number_ != newest_ || hash_ != newest_hash_ || hashes_.rbegin()->first > newest_) {
      return damaged("the newest commit is not the one that was written last");
    }
    return true;
  }

  sqlite3* database_;
  const std::string& file_;
  std::string& error_;
  std::map<std::uint64_t, std::string> hashes_;  // of the commits that snapshots stand for
  std::uint64_t newest_ = 0;
  std::string newest_hash_;
  std::uint64_t number_ = 0;  // the commit read last
  std::string hash_;
};

}  // namespace

bool verify_log(sqlite3* database, const std::string& file, std::string& error) {
  // One view of the log, also while another process appends to it.
  if (execute(database, "BEGIN") != SQLITE_OK) {
    error = database_error(database, file);
    return false;
  }
  const bool intact = Verifier(database, file, error).run();
  execute(database, "COMMIT");
  return intact;
}

}  // namespace nexa::host

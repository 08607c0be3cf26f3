// Commits up to the oldest snapshot may remain for a while after that became what the log begins
// with; they are no part of it any more.
#include "store/log/log_verify.h"

#include <map>

#include "store/log/log_database.h"
#include "store/log/log_rows.h"

namespace nexa::store {
namespace {

constexpr int kStepsBetweenQuestions = 10000;

class Verifier {
 public:
  Verifier(sqlite3* database, const std::string& file, VerifiedLog& found)
      : database_(database), file_(file), found_(found), format_(format_of(database)) {}

  text::Done for_start() {
    return done(schema() && newest_snapshot() && head() && commits() && tail() && pending());
  }
  text::Done all() {
    return done(structure() && schema() && snapshots() && images() && head() && commits() &&
                tail() && pending());
  }

 private:
  // The steps below return false with `failure_` made.
  text::Done done(bool intact) {
    if (intact) return {};
    return std::move(failure_);
  }

  bool damaged(const std::string& what) {
    failure_ = text::unusable(file_, "damaged: " + what + kRestore);
    return false;
  }
  bool mismatch(const char* kind, std::uint64_t number) {
    return damaged(std::string(kind) + " " + std::to_string(number) +
                   " does not match its checksum");
  }

  // The verdict on how a walk over rows ended.
  bool ended(int result) {
    if (result == SQLITE_DONE) return true;
    failure_ = database_failure(database_, file_);
    failure_.rule += kRestore;
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
      if (schema_digest(rows.view(0)) != rows.view(1)) {
        return damaged("the record of the schema does not match its checksum");
      }
    }
    return ended(result);
  }

  bool snapshots() {
    Statement rows(database_, select_snapshots(format_, "ORDER BY number"));
    int result = rows.step();
    for (; result == SQLITE_ROW; result = rows.step()) {
      if (!snapshot(rows)) return false;
    }
    return ended(result);
  }

  bool snapshot(const Statement& row) {
    LogSnapshot read;
    const int result = read_snapshot(database_, row, read);
    if (result == SQLITE_MISMATCH) return mismatch("snapshot", read.number);
    if (result != SQLITE_OK) return ended(result);
    found_.tail.image_bytes = read.config.size();
    hashes_[read.number] = std::move(read.commit_hash);
    return true;
  }

  bool images() {
    if (format_ == 1) return true;
    Statement rows(database_, select_images("ORDER BY number"));
    int result = rows.step();
    for (; result == SQLITE_ROW; result = rows.step()) {
      if (LogSnapshot read; !image(rows, read)) return false;
    }
    return ended(result);
  }

  bool image(const Statement& row, LogSnapshot& read) {
    const int result = read_image(database_, row, read);
    if (result == SQLITE_MISMATCH) return mismatch("image", read.number);
    if (result != SQLITE_OK) return ended(result);
    const auto snapshot = hashes_.find(read.number);
    if (snapshot == hashes_.end() || snapshot->second != read.commit_hash) {
      return damaged("image " + std::to_string(read.number) + " is not of this log");
    }
    found_.tail.image_bytes = read.image.size();
    return true;
  }

  // With an image of it, its configuration is not read.
  bool newest_snapshot() {
    Statement row(database_, select_snapshots(format_, "ORDER BY number DESC LIMIT 1"));
    const int result = row.step();
    if (result != SQLITE_ROW) return ended(result);
    if (format_ > 1) {
      Statement images(database_, select_images("WHERE number = ?"));
      const int next = images.bind(1, row.integer(0)).step();
      if (next == SQLITE_ROW) {
        hashes_[static_cast<std::uint64_t>(row.integer(0))] = row.text(1);
        return image(images, found_.image.emplace());
      }
      if (next != SQLITE_DONE) return ended(next);
    }
    return snapshot(row);
  }

  bool head() {
    Statement row(database_, "SELECT number, commit_hash, hash FROM head");
    const int result = row.step();
    if (result == SQLITE_DONE) return damaged("the number of the newest commit is missing");
    if (result != SQLITE_ROW) return ended(result);
    found_.head = static_cast<std::uint64_t>(row.integer(0));
    found_.head_hash = row.text(1);
    if (head_digest(found_.head, found_.head_hash) == row.view(2)) return true;
    return damaged("the number of the newest commit does not match its checksum");
  }

  bool commits() {
    if (hashes_.empty()) return damaged("no snapshot is left");
    number_ = hashes_.begin()->first;
    hash_ = hashes_.begin()->second;
    found_.tail.snapshot = hashes_.rbegin()->first;
    Statement rows(database_, select_commits(format_, "WHERE number > ? ORDER BY number"));
    int result = rows.bind(1, signed_number(number_)).step();
    for (; result == SQLITE_ROW; result = rows.step()) {
      const LogEntry entry = entry_of(rows);
      if (entry.number != number_ + 1) {
        return damaged("commit " + std::to_string(number_ + 1) + " is missing");
      }
      number_ = entry.number;
      hash_ = commit_digest(hash_, entry);
      if (hash_ != rows.view(kEntryHash)) return mismatch("commit", number_);
      const auto snapshot = hashes_.find(number_);
      if (snapshot != hashes_.end() && snapshot->second != hash_) {
        return damaged("snapshot " + std::to_string(number_) + " is not of this log");
      }
      if (number_ > found_.tail.snapshot) {
        found_.tail.commits += 1;
        found_.tail.effect_bytes += weight_of(entry);
      }
    }
    return ended(result);
  }

  bool tail() {
    if (number_ < found_.head) {
      return damaged("commit " + std::to_string(number_ + 1) + " is missing");
    }
    if (number_ != found_.head || hash_ != found_.head_hash ||
        hashes_.rbegin()->first > found_.head) {
      return damaged("the newest commit is not the one that was written last");
    }
    return true;
  }

  bool pending() {
    const int result = read_pending(database_, format_, found_.pending);
    if (result == SQLITE_MISMATCH) {
      return damaged("the record of the commit that waits does not match its checksum");
    }
    if (result != SQLITE_OK) return ended(result);
    if (!found_.pending || found_.pending->number == found_.head) return true;
    return damaged("the commit that waits is not the newest one");
  }

  sqlite3* database_;
  const std::string& file_;
  VerifiedLog& found_;
  text::Failure failure_;
  const int format_;
  std::map<std::uint64_t, std::string> hashes_;  // of the commits that snapshots stand for
  std::uint64_t number_ = 0;                     // the commit read last
  std::string hash_;
};

// One view of the log, also while another process appends to it.
template <typename Work>
text::Done in_one_view(sqlite3* database, const std::string& file, Work work) {
  if (execute(database, "BEGIN") != SQLITE_OK) return database_failure(database, file);
  text::Done intact = work();
  execute(database, "COMMIT");
  return intact;
}

int wants_to_stop(void* stop) {
  return static_cast<const std::atomic<bool>*>(stop)->load(std::memory_order_relaxed) ? 1 : 0;
}

}  // namespace

text::Done verify_for_start(sqlite3* database, const std::string& file, VerifiedLog& found) {
  return in_one_view(database, file, [&] { return Verifier(database, file, found).for_start(); });
}

text::Done verify_all(sqlite3* database, const std::string& file, const std::atomic<bool>* stop,
                      VerifiedLog& found) {
  if (stop != nullptr) {
    sqlite3_progress_handler(database, kStepsBetweenQuestions, wants_to_stop,
                             const_cast<std::atomic<bool>*>(stop));
  }
  text::Done intact =
      in_one_view(database, file, [&] { return Verifier(database, file, found).all(); });
  sqlite3_progress_handler(database, 0, nullptr, nullptr);
  if (!intact.ok() && stop != nullptr && stop->load()) return {};
  return intact;
}

}  // namespace nexa::store

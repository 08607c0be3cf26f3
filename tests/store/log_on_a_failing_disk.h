// A log on a disk that fails as asked (failing_disk.h), which is killed and loses its power, and
// what has to be in it then.
#ifndef TESTS_STORE_LOG_ON_A_FAILING_DISK_H_
#define TESTS_STORE_LOG_ON_A_FAILING_DISK_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "failing_disk.h"
#include "real/temp_folder.h"
#include "store/log/commit_log.h"
#include "support/results.h"

namespace nexa_test {

class LogOnAFailingDisk : public testing::Test {
 protected:
  using CommitLog = nexa::store::CommitLog;
  using LogEntry = nexa::store::LogEntry;
  using LogResult = nexa::store::LogResult;
  using LogSnapshot = nexa::store::LogSnapshot;
  using Code = LogResult::Code;
  using Part = FailingDisk::Part;

  void SetUp() override {
    data_ = folder_.file("0");
    std::filesystem::create_directory(data_);
    open();
  }

  void open() {
    log_.reset();
    nexa::store::LogOptions options;
    options.directory = data_;
    options.vfs = FailingDisk::kName;
    auto opened = CommitLog::open(options);
    error_ = line_of(opened);
    if (opened.ok()) log_ = std::move(opened).value();
  }
  // The process is killed, or the power fails; then the log is opened again.
  void kill() { move_to(&FailingDisk::kill); }
  void cut_power() { move_to(&FailingDisk::cut_power); }

  // In the middle of a commit, of which the kernel forgot what was to be written; it is found
  // there.
  void kill_at_a_failed_sync() {
    const std::string next = folder_.file(std::to_string(++lives_));
    int calls = 0;
    disk_.at_syncs([&] {
      if (++calls == 2) disk_.kill(data_, next);
    });
    disk_.fail_syncs(Part::kJournal, 1);
    const std::uint64_t number = log_->head() + 1;
    ASSERT_EQ(append().code, Code::kUnavailable);
    disk_.at_syncs(nullptr);
    log_.reset();
    data_ = next;
    stored_[number] = text_;
  }

  LogResult append(std::size_t size = 100) {
    const std::uint64_t number = log_->head() + 1;
    text_ = std::to_string(++sent_) + std::string(size, 'x');
    const LogResult result = log_->append({number, 1, "author", "", false, text_, "effect"});
    if (result.ok()) stored_[number] = text_;
    if (result.code == Code::kUnknown) unknown_ = {number, text_};
    return result;
  }
  LogResult snapshot(std::size_t size = 100) {
    LogSnapshot snapshot;
    snapshot.number = log_->head();
    snapshot.config = "<config>" + std::string(size, 'c') + "</config>";
    snapshot.image = std::string(size, 'i');
    snapshot.schema_hash = "schema";
    return log_->write_snapshot(std::move(snapshot), nexa::store::LogLimits());
  }

  // The log holds what was answered OK and nothing else.
  void check() {
    ASSERT_NE(log_, nullptr) << error_;
    if (unknown_.first != 0 && log_->head() == unknown_.first) {
      LogEntry entry;
      ASSERT_EQ(line_of(log_->entry(unknown_.first, entry)), "");
      if (entry.change == unknown_.second) stored_[unknown_.first] = unknown_.second;
    }
    unknown_ = {};
    ASSERT_EQ(log_->head(), stored_.empty() ? 0 : stored_.rbegin()->first);
    for (const auto& [number, text] : stored_) {
      LogEntry entry;
      ASSERT_EQ(line_of(log_->entry(number, entry)), "");
      ASSERT_EQ(entry.change, text);
    }
    ASSERT_EQ(line_of(log_->verify_history(nullptr)), "");
  }

  TempFolder folder_;
  FailingDisk& disk_ = FailingDisk::fresh();
  std::string data_;
  std::string error_;
  std::unique_ptr<CommitLog> log_;
  std::map<std::uint64_t, std::string> stored_;
  std::pair<std::uint64_t, std::string> unknown_;
  std::string text_;  // sent last

 private:
  void move_to(void (FailingDisk::*event)(const std::string&, const std::string&)) {
    const std::string next = folder_.file(std::to_string(++lives_));
    (disk_.*event)(data_, next);
    // What the old process does in its end is nothing to the copy.
    disk_.fail_syncs(Part::kDatabase, 0);
    disk_.fail_syncs(Part::kJournal, 0);
    data_ = next;
    open();
  }

  int sent_ = 0;
  int lives_ = 0;
};

}  // namespace nexa_test

#endif  // TESTS_STORE_LOG_ON_A_FAILING_DISK_H_

// What a start reads: images and effects, in the newest format and in a log that format 1 left; and
// that the history before them costs it nothing.
#include <filesystem>
#include <random>

#include "failing_disk.h"
#include "real/temp_folder.h"
#include "store/log/commit_log.h"
#include "store/log/log_rows.h"
#include "store/log/packed_text.h"
#include "support/results.h"

namespace {

using nexa::store::CommitLog;
using nexa::store::LogEntry;
using nexa::store::LogLimits;
using nexa::store::LogOptions;
using nexa::store::LogSnapshot;
using nexa_test::FailingDisk;
using nexa_test::line_of;
using nexa_test::TempFolder;

std::string hex_of(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (const char byte : bytes) {
    hex += kDigits[static_cast<unsigned char>(byte) / 16];
    hex += kDigits[static_cast<unsigned char>(byte) % 16];
  }
  return hex;
}

// Bytes that nothing packs.
std::string noise(std::size_t size) {
  std::mt19937 random(7);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random() & 0xFFU);
  return bytes;
}

class LogImages : public testing::Test {
 protected:
  void SetUp() override { open(); }

  bool open(bool read_only = false, const std::string& vfs = "") {
    log_.reset();
    LogOptions options;
    options.directory = folder_.path();
    options.sync = false;
    options.read_only = read_only;
    options.vfs = vfs;
    auto opened = CommitLog::open(options);
    error_ = line_of(opened);
    if (opened.ok()) log_ = std::move(opened).value();
    return opened.ok();
  }

  void append(int count, const std::string& effect = "effect") {
    for (int i = 0; i < count; ++i) {
      const std::uint64_t number = log_->head() + 1;
      const std::string text = std::to_string(number);
      ASSERT_TRUE(log_->append({number, static_cast<std::int64_t>(number), "author", "", false,
                                "change" + text, effect.empty() ? "" : effect + text})
                      .ok());
    }
  }
  bool snapshot(const std::string& text, LogLimits limits = LogLimits(),
                const std::string& schema = "schema") {
    LogSnapshot snapshot;
    snapshot.number = log_->head();
    snapshot.config = "<config>" + text + "</config>";
    snapshot.image = text;
    snapshot.schema_hash = schema;
    return log_->write_snapshot(std::move(snapshot), limits).ok();
  }
  std::string image(const std::string& schema = "schema") const {
    return image_at(log_->head(), schema);
  }
  std::string image_at(std::uint64_t number, const std::string& schema = "schema") const {
    LogSnapshot image;
    if (!log_->newest_image(schema, number, image)) return "none";
    return std::to_string(image.number) + " " + image.image;
  }
  std::string effects_after(std::uint64_t number) {
    std::string effects;
    const auto take = [&effects](const LogEntry& entry) {
      effects += entry.effect + " ";
      return true;
    };
    const nexa::text::Done done = log_->replay_after(number, take);
    return done.ok() ? effects : done.failure().line();
  }

  void run_sql(const char* sql) const {
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(folder_.file("nexa.db").c_str(), &handle), SQLITE_OK);
    const nexa::store::DatabasePtr database(handle);
    ASSERT_EQ(nexa::store::execute(handle, sql), SQLITE_OK)
        << sql << ": " << sqlite3_errmsg(handle);
  }
  std::int64_t ask(const char* sql) const {
    sqlite3* handle = nullptr;
    EXPECT_EQ(sqlite3_open(folder_.file("nexa.db").c_str(), &handle), SQLITE_OK);
    const nexa::store::DatabasePtr database(handle);
    return nexa::store::integer_of(handle, sql, -1);
  }

  std::string head_hash() const {
    sqlite3* handle = nullptr;
    EXPECT_EQ(sqlite3_open(folder_.file("nexa.db").c_str(), &handle), SQLITE_OK);
    const nexa::store::DatabasePtr database(handle);
    nexa::store::Statement row(handle, "SELECT commit_hash FROM head");
    EXPECT_EQ(row.step(), SQLITE_ROW);
    return row.text(0);
  }

  // The tables as format 1 had them.
  void make_format_1() const {
    run_sql(
        "DROP TABLE pending; DROP INDEX parts_of; DROP TABLE parts; DROP TABLE images;"
        "ALTER TABLE snapshots DROP COLUMN parts; ALTER TABLE commits DROP COLUMN effect;"
        "PRAGMA user_version = 1");
  }

  TempFolder folder_;
  std::string error_;
  std::unique_ptr<CommitLog> log_;
};

TEST_F(LogImages, AStartReadsTheNewestImageAndTheEffectsAfterIt) {
  append(3);
  ASSERT_TRUE(snapshot("three"));
  append(2);
  ASSERT_TRUE(open()) << error_;
  EXPECT_EQ(image(), "3 three");
  EXPECT_EQ(image(), "3 three") << "also when it is asked for again";
  EXPECT_EQ(effects_after(3), "effect4 effect5 ");
  EXPECT_EQ(effects_after(5), "");
  EXPECT_EQ(effects_after(6), "commit 7 is not kept");
  EXPECT_EQ(log_->tail().snapshot, 3U);
  EXPECT_EQ(log_->tail().commits, 2U);
  EXPECT_EQ(log_->tail().effect_bytes, 14U);
  EXPECT_EQ(log_->tail().image_bytes, 5U);
}

TEST_F(LogImages, AnImageIsOfOneSchema) {
  append(1);
  ASSERT_TRUE(snapshot("old", LogLimits(), "old schema"));
  append(1);
  ASSERT_TRUE(snapshot("new"));
  ASSERT_TRUE(open()) << error_;
  EXPECT_EQ(image("another"), "none");
  EXPECT_EQ(image("old schema"), "none") << "commits of another schema may lie behind it";
  EXPECT_EQ(image(), "2 new");
}

TEST_F(LogImages, OfThoseAtOrBeforeACommitTheNewestIsGiven) {
  append(1);
  EXPECT_EQ(image_at(1), "none");
  ASSERT_TRUE(snapshot("old"));
  append(2);
  ASSERT_TRUE(snapshot("new"));
  for (const bool is_new : {false, true}) {
    if (is_new) {
      ASSERT_TRUE(open()) << error_;
    }
    EXPECT_EQ(image_at(0), "none");
    EXPECT_EQ(image_at(1), "1 old");
    EXPECT_EQ(image_at(2), "1 old");
    EXPECT_EQ(image_at(3), "3 new");
    EXPECT_EQ(image_at(9), "3 new");
  }
}

TEST_F(LogImages, WhatAStartReadCountsNoMoreAfterANewerOne) {
  append(1);
  ASSERT_TRUE(snapshot("old"));
  ASSERT_TRUE(open()) << error_;
  append(1);
  ASSERT_TRUE(snapshot("new"));
  EXPECT_EQ(image(), "2 new");
  EXPECT_EQ(log_->tail().snapshot, 2U);
  EXPECT_EQ(log_->tail().commits, 0U);
  EXPECT_EQ(log_->tail().effect_bytes, 0U);
  EXPECT_EQ(log_->tail().image_bytes, 3U);
}

TEST_F(LogImages, ASnapshotWithoutASchemaHasNoImage) {
  append(1);
  ASSERT_TRUE(snapshot("text", LogLimits(), ""));
  ASSERT_TRUE(open()) << error_;
  EXPECT_EQ(image(""), "none");
  EXPECT_EQ(log_->newest_snapshot(), 1U);
}

TEST_F(LogImages, TheTwoNewestAreKept) {
  for (int i = 0; i < 4; ++i) {
    append(1, "");
    ASSERT_TRUE(snapshot("text"));
  }
  EXPECT_EQ(ask("SELECT count(*) FROM images"), 2);
  EXPECT_EQ(ask("SELECT min(number) FROM images"), 3);
  EXPECT_EQ(ask("SELECT count(*) FROM snapshots"), 5);
}

TEST_F(LogImages, LongTextsComeBackWhole) {
  const std::string text = noise(1500000);
  append(1);
  ASSERT_TRUE(snapshot(text));
  EXPECT_EQ(ask("SELECT count(*) FROM parts"), 12);
  EXPECT_LE(ask("SELECT max(length(bytes)) FROM parts"), 262144);
  ASSERT_TRUE(open()) << error_;
  EXPECT_EQ(line_of(log_->verify_history(nullptr)), "");
  EXPECT_TRUE(image() == "1 " + text);
  LogSnapshot base;
  ASSERT_EQ(line_of(log_->replay(1, base, [](const LogEntry&) { return true; })), "");
  EXPECT_TRUE(base.config == "<config>" + text + "</config>");
}

TEST_F(LogImages, LongTextsArePacked) {
  std::string lines;
  for (int i = 0; lines.size() < 600000; ++i) lines += "<entry>" + std::to_string(i) + "</entry>";
  const LogEntry given{1, 1, "author", "comment", false, "<a>" + lines, "effect" + lines};
  ASSERT_TRUE(log_->append(given).ok());
  ASSERT_TRUE(snapshot(lines));
  EXPECT_LT(ask("SELECT length(change) FROM commits"), 200000);
  EXPECT_LT(ask("SELECT length(effect) FROM commits"), 200000);
  EXPECT_EQ(ask("SELECT count(*) FROM parts"), 0);
  EXPECT_LT(ask("SELECT length(image) FROM images"), 200000);
  EXPECT_LT(ask("SELECT length(config) FROM snapshots WHERE number = 1"), 200000);
  for (const bool read_only : {false, true}) {
    ASSERT_TRUE(open(read_only)) << error_;
    EXPECT_TRUE(image() == "1 " + lines);
    LogEntry entry;
    ASSERT_EQ(line_of(log_->entry(1, entry)), "");
    EXPECT_TRUE(entry.change == given.change);
    EXPECT_TRUE(entry.effect == given.effect);
    LogSnapshot base;
    ASSERT_EQ(line_of(log_->replay(1, base, [](const LogEntry&) { return true; })), "");
    EXPECT_TRUE(base.config == "<config>" + lines + "</config>");
    std::vector<nexa::store::CommitRecord> records;
    ASSERT_TRUE(log_->history(0, records).ok());
    EXPECT_EQ(records.at(0).change_bytes, given.change.size());
    EXPECT_EQ(log_->tail().image_bytes, lines.size());
    EXPECT_EQ(line_of(log_->verify_history(nullptr)), "");
  }
  log_.reset();
  const LogEntry next{2, 2, "author", "comment", false, "<b>" + lines, "more" + lines};
  ASSERT_TRUE(open()) << error_;
  ASSERT_TRUE(log_->append(next).ok());
  EXPECT_EQ(log_->tail().effect_bytes, next.effect.size());
  ASSERT_TRUE(open()) << error_;
  EXPECT_EQ(log_->tail().effect_bytes, next.effect.size()) << "also by what is read";
}

TEST_F(LogImages, DamageToAPackedTextIsFound) {
  const std::string lines(50000, 'x');
  ASSERT_TRUE(log_->append({1, 1, "", "", false, lines, lines}).ok());
  log_.reset();
  // A frame that Zstandard takes as well.
  run_sql(
      ("UPDATE commits SET effect = x'" + hex_of(*nexa::store::pack(std::string(50000, 'y'))) + "'")
          .c_str());
  EXPECT_FALSE(open());
  EXPECT_EQ(error_, folder_.file("nexa.db") +
                        ": damaged: commit 1 does not match its checksum; restore a copy of the "
                        "directory");
}

// As the last program before format 4 left it: nothing in it is packed.
TEST_F(LogImages, ALogOfFormat3IsReadAsItIsAndUpgradedByAWriter) {
  const std::string lines(5000, 'x');
  append(1);
  ASSERT_TRUE(snapshot("one"));
  append(1);
  const LogEntry plain{3, 3, "", "", false, lines, lines};
  const std::string digest = nexa::store::commit_digest(head_hash(), plain);
  const std::string hash = hex_of(digest);
  const std::string head = hex_of(nexa::store::head_digest(3, digest));
  log_.reset();
  run_sql(("PRAGMA user_version = 3; INSERT INTO commits(number, time_ns, author, comment, whole, "
           "change, effect, hash) VALUES(3, 3, '', '', 0, '" +
           lines + "', '" + lines + "', x'" + hash + "'); UPDATE head SET number = 3, " +
           "commit_hash = x'" + hash + "', hash = x'" + head + "'")
              .c_str());
  for (const bool read_only : {true, false}) {
    ASSERT_TRUE(open(read_only)) << error_;
    EXPECT_EQ(ask("PRAGMA user_version"), read_only ? 3 : 4);
    LogEntry entry;
    ASSERT_EQ(line_of(log_->entry(3, entry)), "");
    EXPECT_TRUE(entry.change == lines && entry.effect == lines);
    EXPECT_EQ(line_of(log_->verify_history(nullptr)), "");
  }
  append(1);
  ASSERT_TRUE(open()) << error_;
  EXPECT_EQ(effects_after(3), "effect4 ");
}

TEST_F(LogImages, PartsThatBelongToNothingAreRemoved) {
  append(1);
  ASSERT_TRUE(snapshot(noise(600000)));
  log_.reset();
  run_sql("INSERT INTO parts(part_of, bytes) VALUES(77, 'left'), (78, 'left')");
  ASSERT_TRUE(open()) << error_;
  append(1);
  ASSERT_TRUE(snapshot("short"));
  EXPECT_EQ(ask("SELECT count(*) FROM parts WHERE bytes = 'left'"), 0);
  EXPECT_TRUE(image() == "2 short");
  ASSERT_TRUE(open()) << error_;
  EXPECT_EQ(line_of(log_->verify_history(nullptr)), "");
}

TEST_F(LogImages, OfTheSameCommitTheLaterOneCounts) {
  append(1);
  const std::string later = noise(500000);
  ASSERT_TRUE(snapshot(noise(600000)));
  ASSERT_TRUE(snapshot(later));
  EXPECT_EQ(ask("SELECT count(*) FROM parts"), 4);
  ASSERT_TRUE(open()) << error_;
  EXPECT_TRUE(image() == "1 " + later);
}

TEST_F(LogImages, RememberThatTheyWereJudged) {
  append(1);
  ASSERT_TRUE(snapshot("text"));
  EXPECT_FALSE(log_->mark_judged(7));
  EXPECT_TRUE(log_->mark_judged(1));
  EXPECT_TRUE(log_->mark_judged(1));
  ASSERT_TRUE(open()) << error_;
  LogSnapshot image;
  ASSERT_TRUE(log_->newest_image("schema", log_->head(), image));
  EXPECT_TRUE(image.judged);
  EXPECT_EQ(line_of(log_->verify_history(nullptr)), "");
}

TEST_F(LogImages, DamageToTheNewestImageIsFoundAtTheStart) {
  append(1);
  ASSERT_TRUE(snapshot("text"));
  const std::string words = folder_.file("nexa.db") +
                            ": damaged: image 1 does not match its checksum; restore a copy of the "
                            "directory";
  for (const char* const sql :
       {"UPDATE images SET image = 'texx'", "UPDATE images SET image = 'text', judged = 1",
        "UPDATE images SET judged = 0, schema = 'schemb'"}) {
    log_.reset();
    run_sql(sql);
    EXPECT_FALSE(open()) << sql;
    EXPECT_EQ(error_, words);
  }
  run_sql("UPDATE images SET schema = 'schema', number = 0");
  EXPECT_TRUE(open()) << error_;
  EXPECT_FALSE(log_->verify_history(nullptr).ok());
}

TEST_F(LogImages, ADamagedRowIsNotMarked) {
  append(1);
  ASSERT_TRUE(snapshot("text"));
  run_sql("UPDATE images SET schema = 'schemb'");
  EXPECT_FALSE(log_->mark_judged(1));
}

TEST_F(LogImages, TheEffectIsCoveredByTheChain) {
  append(2);
  log_.reset();
  run_sql("UPDATE commits SET effect = 'effect0' WHERE number = 2");
  EXPECT_FALSE(open());
  EXPECT_EQ(error_, folder_.file("nexa.db") +
                        ": damaged: commit 2 does not match its checksum; restore a copy of the "
                        "directory");
  run_sql("UPDATE commits SET effect = '' WHERE number = 2");
  EXPECT_FALSE(open());
}

TEST(LogDigests, AreWhatTheyWereWithoutAnEffect) {
  LogEntry entry{1, 1000, "author", "comment", false, "change"};
  const std::string before(32, '\0');
  EXPECT_EQ(hex_of(nexa::store::commit_digest(before, entry)),
            "7ae989a6c14fa5e9c501f33b9ca176a9d851548e3c7fc59b4375475cb39fe088");
}

TEST(LogDigests, TellTheChangeFromTheEffect) {
  const LogEntry both{1, 1, "", "", false, "a", "b"};
  const LogEntry other{1, 1, "", "", false, "ab", ""};
  const LogEntry third{1, 1, "", "", false, "", "ab"};
  EXPECT_NE(nexa::store::commit_digest("", both), nexa::store::commit_digest("", other));
  EXPECT_NE(nexa::store::commit_digest("", both), nexa::store::commit_digest("", third));
  EXPECT_NE(nexa::store::commit_digest("", other), nexa::store::commit_digest("", third));
}

TEST_F(LogImages, ALogOfFormat1IsReadAsItIsAndUpgradedByAWriter) {
  append(3, "");
  ASSERT_TRUE(snapshot("three", LogLimits(), ""));
  append(1, "");
  log_.reset();
  make_format_1();
  ASSERT_TRUE(open(true)) << error_;
  LogEntry entry;
  ASSERT_EQ(line_of(log_->entry(4, entry)), "");
  EXPECT_EQ(entry.change, "change4");
  EXPECT_EQ(entry.effect, "");
  std::vector<nexa::store::CommitRecord> records;
  EXPECT_TRUE(log_->history(0, records).ok());
  EXPECT_EQ(records.size(), 4U);
  EXPECT_EQ(image(), "none");
  EXPECT_EQ(line_of(log_->verify_history(nullptr)), "");
  EXPECT_FALSE(log_->writable());
  EXPECT_FALSE(log_->append({5, 1, "", "", false, "x"}).ok());
  log_.reset();
  EXPECT_EQ(ask("PRAGMA user_version"), 1);

  ASSERT_TRUE(open()) << error_;
  EXPECT_EQ(log_->head(), 4U);
  append(1);
  ASSERT_TRUE(snapshot("five"));
  ASSERT_TRUE(open()) << error_;
  EXPECT_EQ(ask("PRAGMA user_version"), 4);
  EXPECT_EQ(image(), "5 five");
  EXPECT_EQ(effects_after(2), "  effect5 ");
  EXPECT_EQ(line_of(log_->verify_history(nullptr)), "");
}

TEST_F(LogImages, WhatTheLimitsDropIsNoPartOfTheHistory) {
  for (int i = 0; i < 6; ++i) {
    append(10);
    ASSERT_TRUE(snapshot("text", LogLimits{25, 10}));
  }
  std::vector<nexa::store::CommitRecord> records;
  ASSERT_TRUE(log_->history(0, records).ok());
  EXPECT_EQ(records.size(), 30U);
  EXPECT_EQ(records.back().number, 31U);
  LogEntry entry;
  EXPECT_EQ(line_of(log_->entry(31, entry)), "");
  EXPECT_EQ(line_of(log_->entry(30, entry)), "commit 30 is not kept");
  EXPECT_EQ(ask("SELECT min(number) FROM commits"), 31);
  ASSERT_TRUE(open()) << error_;
  EXPECT_EQ(line_of(log_->verify_history(nullptr)), "");
}

TEST_F(LogImages, CommitsThatWereAboutToBeDroppedDoNoHarm) {
  append(10);
  ASSERT_TRUE(snapshot("text"));
  append(5);
  log_.reset();
  // As if the process had ended between the two.
  run_sql("DELETE FROM snapshots WHERE number < 10");
  ASSERT_TRUE(open()) << error_;
  EXPECT_EQ(line_of(log_->verify_history(nullptr)), "");
  std::vector<nexa::store::CommitRecord> records;
  ASSERT_TRUE(log_->history(0, records).ok());
  EXPECT_EQ(records.size(), 5U);
  ASSERT_TRUE(snapshot("text"));
  EXPECT_EQ(ask("SELECT min(number) FROM commits"), 11);
}

// Counted in reads of the file: pages of 4 KiB, or less.
TEST_F(LogImages, TheHistoryCostsAStartNothing) {
  FailingDisk& disk = FailingDisk::fresh();
  const auto reads_of_a_start = [&] {
    EXPECT_TRUE(open());
    log_.reset();
    const int before = disk.reads();
    EXPECT_TRUE(open(false, FailingDisk::kName)) << error_;
    EXPECT_EQ(image(), std::to_string(log_->head() - 10) + " text");
    const int reads = disk.reads() - before;
    log_.reset();
    EXPECT_TRUE(open());
    return reads;
  };
  append(10);
  ASSERT_TRUE(snapshot("text"));
  append(10);
  const int without = reads_of_a_start();
  append(100000);
  ASSERT_TRUE(snapshot("text"));
  append(10);
  const int with = reads_of_a_start();
  EXPECT_LE(with, without + 20) << "against " << without;
  RecordProperty("reads_with", with);
  std::printf("%d reads without history, %d with 100,000 commits\n", without, with);
}

}  // namespace

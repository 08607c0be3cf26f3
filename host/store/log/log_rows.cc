// A text stands in its row's column, or, when it is long, in the parts that the row names.
#include "store/log/log_rows.h"

#include "store/log/packed_text.h"

namespace nexa::store {
namespace {

int read_text(sqlite3* database, const Statement& row, std::string& text) {
  text = row.text(2);
  const std::int64_t parts = row.integer(3);
  if (parts == 0) return SQLITE_OK;
  Statement size(database, "SELECT sum(length(bytes)) FROM parts WHERE part_of = ?");
  if (size.bind(1, parts).step() == SQLITE_ROW) {
    text.reserve(text.size() + static_cast<std::size_t>(size.integer(0)));
  }
  Statement rows(database, "SELECT bytes FROM parts WHERE part_of = ? ORDER BY id");
  rows.bind(1, parts);
  int result = rows.step();
  for (; result == SQLITE_ROW; result = rows.step()) text.append(rows.view(0));
  return result == SQLITE_DONE ? SQLITE_OK : result;
}

}  // namespace

const char* const kMakeTables =
    "PRAGMA application_id = 0x6e657861;"
    "PRAGMA user_version = 1;"
    "CREATE TABLE commits(number INTEGER PRIMARY KEY, time_ns INTEGER NOT NULL,"
    " author TEXT NOT NULL, comment TEXT NOT NULL, whole INTEGER NOT NULL, change TEXT NOT NULL,"
    " hash BLOB NOT NULL);"
    "CREATE TABLE snapshots(number INTEGER PRIMARY KEY, commit_hash BLOB NOT NULL,"
    " config TEXT NOT NULL, hash BLOB NOT NULL);"
    "CREATE TABLE head(id INTEGER PRIMARY KEY CHECK (id = 0), number INTEGER NOT NULL,"
    " commit_hash BLOB NOT NULL, hash BLOB NOT NULL);"
    "CREATE TABLE schema(id INTEGER PRIMARY KEY CHECK (id = 0), modules TEXT NOT NULL,"
    " hash BLOB NOT NULL);";

constexpr char kToFormat2[] =
    "ALTER TABLE commits ADD COLUMN effect TEXT NOT NULL DEFAULT '';"
    "ALTER TABLE snapshots ADD COLUMN parts INTEGER NOT NULL DEFAULT 0;"
    "CREATE TABLE images(number INTEGER PRIMARY KEY, commit_hash BLOB NOT NULL,"
    " schema BLOB NOT NULL, judged INTEGER NOT NULL, image TEXT NOT NULL, hash BLOB NOT NULL,"
    " parts INTEGER NOT NULL DEFAULT 0);"
    "CREATE TABLE parts(id INTEGER PRIMARY KEY, part_of INTEGER NOT NULL, bytes BLOB NOT NULL);"
    "CREATE INDEX parts_of ON parts(part_of);"
    "PRAGMA user_version = 2;";

constexpr char kToFormat3[] =
    "CREATE TABLE pending(id INTEGER PRIMARY KEY CHECK (id = 0), number INTEGER NOT NULL,"
    " base INTEGER NOT NULL, name TEXT NOT NULL, deadline_ns INTEGER NOT NULL,"
    " duration_ns INTEGER NOT NULL, hash BLOB NOT NULL);"
    "PRAGMA user_version = 3;";

constexpr char kToFormat4[] = "PRAGMA user_version = 4;";

std::string upgrade_tables(int format) {
  std::string statements = format < 2 ? kToFormat2 : "";
  if (format < 3) statements += kToFormat3;
  if (format < 4) statements += kToFormat4;
  return statements;
}

std::string commit_digest(std::string_view before, const LogEntry& entry) {
  Digest digest;
  // The first field tells the two forms apart, so that no commit of one has the input of the other.
  digest.add(entry.effect.empty() ? "commit" : "commit with effect")
      .add(before)
      .add(entry.number)
      .add(static_cast<std::uint64_t>(entry.time_ns))
      .add(entry.author)
      .add(entry.comment)
      .add(entry.whole ? std::uint64_t{1} : std::uint64_t{0})
      .add(entry.change);
  if (!entry.effect.empty()) digest.add(entry.effect);
  return digest.finish();
}

std::string snapshot_digest(const LogSnapshot& snapshot) {
  return Digest()
      .add("snapshot")
      .add(snapshot.number)
      .add(snapshot.commit_hash)
      .add(snapshot.config)
      .finish();
}

std::string head_digest(std::uint64_t number, std::string_view commit_hash) {
  return Digest().add("head").add(number).add(commit_hash).finish();
}

std::string schema_digest(std::string_view text) {
  return Digest().add("schema").add(text).finish();
}

std::string pending_digest(const LogPending& pending) {
  return Digest()
      .add("pending")
      .add(pending.number)
      .add(pending.base)
      .add(pending.id)
      .add(static_cast<std::uint64_t>(pending.deadline_ns))
      .add(static_cast<std::uint64_t>(pending.duration_ns))
      .finish();
}

std::string image_text_digest(std::string_view image) {
  return Digest().add("image text").add(image).finish();
}

std::string image_digest(const LogSnapshot& image, std::string_view text_digest) {
  return Digest()
      .add("image")
      .add(image.number)
      .add(image.commit_hash)
      .add(image.schema_hash)
      .add(image.judged ? std::uint64_t{1} : std::uint64_t{0})
      .add(text_digest)
      .finish();
}

std::optional<LogEntry> packed_entry(const LogEntry& entry) {
  std::optional<std::string> change = pack(entry.change);
  std::optional<std::string> effect = pack(entry.effect);
  if (!change && !effect) return std::nullopt;
  LogEntry packed;
  packed.number = entry.number;
  packed.time_ns = entry.time_ns;
  packed.author = entry.author;
  packed.comment = entry.comment;
  packed.whole = entry.whole;
  packed.change = change ? std::move(*change) : entry.change;
  packed.effect = effect ? std::move(*effect) : entry.effect;
  return packed;
}

Statement& bind_stored(Statement& statement, int position, std::string_view text) {
  return is_packed(text) ? statement.bind_blob(position, text) : statement.bind(position, text);
}

std::size_t weight_of(const LogEntry& entry) {
  return unpacked_size(entry.effect.empty() ? entry.change : entry.effect);
}

bool unpack(LogEntry& entry) { return unpack(entry.change) && unpack(entry.effect); }

std::string select_commits(int format, const char* rest) {
  std::string sql = "SELECT number, time_ns, author, comment, whole, change, ";
  return sql.append(format == 1 ? "''" : "effect").append(", hash FROM commits ").append(rest);
}

LogEntry entry_of(const Statement& row) {
  LogEntry entry;
  entry.number = static_cast<std::uint64_t>(row.integer(0));
  entry.time_ns = row.integer(1);
  entry.author = row.text(2);
  entry.comment = row.text(3);
  entry.whole = row.integer(4) != 0;
  entry.change = row.text(5);
  entry.effect = row.text(6);
  return entry;
}

std::string select_snapshots(int format, const char* rest) {
  std::string sql = "SELECT number, commit_hash, config, ";
  return sql.append(format == 1 ? "0" : "parts").append(", hash FROM snapshots ").append(rest);
}

std::string select_images(const char* rest) {
  return std::string(
             "SELECT number, commit_hash, image, parts, hash, schema, judged FROM images ") +
         rest;
}

int read_snapshot(sqlite3* database, const Statement& row, LogSnapshot& snapshot) {
  snapshot.number = static_cast<std::uint64_t>(row.integer(0));
  snapshot.commit_hash = row.text(1);
  const int result = read_text(database, row, snapshot.config);
  if (result != SQLITE_OK) return result;
  const bool matches = snapshot_digest(snapshot) == row.view(4) && unpack(snapshot.config);
  return matches ? SQLITE_OK : SQLITE_MISMATCH;
}

int read_image(sqlite3* database, const Statement& row, LogSnapshot& image) {
  image.number = static_cast<std::uint64_t>(row.integer(0));
  image.commit_hash = row.text(1);
  image.schema_hash = row.text(5);
  image.judged = row.integer(6) != 0;
  const int result = read_text(database, row, image.image);
  if (result != SQLITE_OK) return result;
  const std::string text_digest = image_text_digest(image.image);
  const bool matches =
      text_digest + image_digest(image, text_digest) == row.view(4) && unpack(image.image);
  return matches ? SQLITE_OK : SQLITE_MISMATCH;
}

int read_pending(sqlite3* database, int format, std::optional<LogPending>& pending) {
  pending.reset();
  if (format < 3) return SQLITE_OK;
  Statement row(database, "SELECT number, base, name, deadline_ns, duration_ns, hash FROM pending");
  const int result = row.step();
  if (result != SQLITE_ROW) return result == SQLITE_DONE ? SQLITE_OK : result;
  LogPending& found = pending.emplace();
  found.number = static_cast<std::uint64_t>(row.integer(0));
  found.base = static_cast<std::uint64_t>(row.integer(1));
  found.id = row.text(2);
  found.deadline_ns = row.integer(3);
  found.duration_ns = row.integer(4);
  return pending_digest(found) == row.view(5) ? SQLITE_OK : SQLITE_MISMATCH;
}

}  // namespace nexa::store

// The rows of the log: their columns in each format, and their checksums.
//
// Every row carries a SHA-256 over its fields; a commit's also covers the one before it, and one
// row names the newest commit, so that a missing row shows as well as a changed one.
#ifndef HOST_STORE_LOG_LOG_ROWS_H_
#define HOST_STORE_LOG_LOG_ROWS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "store/log/digest.h"
#include "store/log/log_types.h"
#include "store/log/sqlite.h"

namespace nexa::store {

// What to do about a damaged log; the end of a message.
inline constexpr char kRestore[] = "; restore a copy of the directory";

// Format 1 has neither effects nor images nor parts, format 2 no commit that waits for its
// confirmation: a program that does not know of it would leave it standing for good. Up to format 3
// no text is packed.
inline constexpr int kOldestFormat = 1;
inline constexpr int kNewestFormat = 4;

// A text of more bytes than this is cut into rows of their own ("parts"), each written in its own
// short transaction.
inline constexpr std::size_t kPartSize = std::size_t{256} * 1024;

// The tables of format 1.
extern const char* const kMakeTables;
// Makes the newest format of an older one. To be run in a transaction.
std::string upgrade_tables(int format);

// Checksums of the rows, over texts as they are stored (packed_text.h); empty when OpenSSL failed.
// `before` is the checksum of the commit before. A commit without an effect has the checksum that
// it had in format 1.
std::string commit_digest(std::string_view before, const LogEntry& entry);
std::string snapshot_digest(const LogSnapshot& snapshot);
std::string head_digest(std::uint64_t number, std::string_view commit_hash);
std::string schema_digest(std::string_view text);
std::string pending_digest(const LogPending& pending);
std::string image_text_digest(std::string_view image);
// The image's own `image` does not count, `text_digest` does: what is noted of an image can be
// changed without reading it.
std::string image_digest(const LogSnapshot& image, std::string_view text_digest);

// The entry with its long texts packed; nothing when it has none.
std::optional<LogEntry> packed_entry(const LogEntry& entry);
// Binds a text as it is stored: as text, or as bytes when it is packed.
Statement& bind_stored(Statement& statement, int position, std::string_view text);
// What a start reads of the commit: the bytes of its effect, of its change where there is none.
// `entry` is packed or not.
std::size_t weight_of(const LogEntry& entry);

// "SELECT number, time_ns, author, comment, whole, change, effect, hash FROM commits " + rest; rows
// are read by entry_of, with texts as they are stored.
std::string select_commits(int format, const char* rest);
LogEntry entry_of(const Statement& row);
// Makes the texts of an entry whose checksum was compared. False when they cannot be unpacked.
bool unpack(LogEntry& entry);
inline constexpr int kEntryHash = 7;

// "SELECT number, commit_hash, config, parts, hash FROM snapshots " + rest.
std::string select_snapshots(int format, const char* rest);
// "SELECT number, commit_hash, image, parts, hash, schema, judged FROM images " + rest; none in
// format 1.
std::string select_images(const char* rest);

// Reads such a row with its parts, compares it with its checksum, and unpacks it. SQLITE_OK,
// SQLITE_MISMATCH for a row that does not match, or what SQLite answered. read_snapshot fills in
// number, commit_hash and config, read_image the rest instead of config.
int read_snapshot(sqlite3* database, const Statement& row, LogSnapshot& snapshot);
int read_image(sqlite3* database, const Statement& row, LogSnapshot& image);

// The commit that waits, none in the older formats. SQLITE_OK, SQLITE_MISMATCH for a row that does
// not match its checksum, or what SQLite answered.
int read_pending(sqlite3* database, int format, std::optional<LogPending>& pending);

inline std::int64_t signed_number(std::uint64_t number) {
  return static_cast<std::int64_t>(number);
}

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_LOG_ROWS_H_

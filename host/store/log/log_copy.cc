// The journal's format is SQLite's write-ahead log (https://www.sqlite.org/fileformat2.html,
// section 4): a header, then frames of one page each, in transactions that end with a frame that
// tells the database's size. Checksums run on from frame to frame, so the first one that does not
// match ends what was committed.
#include "store/log/log_copy.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <vector>

namespace nexa::store {
namespace {

constexpr std::uint32_t kMagic = 0x377f0682;  // its last bit: whether checksums are big-endian

struct CloseFile {
  void operator()(sqlite3_file* file) const {
    if (file->pMethods != nullptr) file->pMethods->xClose(file);
  }
};
struct FreeName {
  void operator()(const char* name) const { sqlite3_free_filename(name); }
};
struct FreeBytes {
  void operator()(unsigned char* bytes) const { sqlite3_free(bytes); }
};
using BytesPtr = std::unique_ptr<unsigned char, FreeBytes>;

// A whole file, read through SQLite's VFS: closing a descriptor of one's own would take the locks
// of every connection in the process away. Null when it cannot be read.
BytesPtr read_file(sqlite3_vfs* vfs, const std::string& path, int kind, std::size_t& size) {
  const std::unique_ptr<const char, FreeName> name(
      sqlite3_create_filename(path.c_str(), "", "", 0, nullptr));
  std::vector<unsigned char> place(static_cast<std::size_t>(vfs->szOsFile));
  auto* const handle = reinterpret_cast<sqlite3_file*>(place.data());
  const std::unique_ptr<sqlite3_file, CloseFile> file(handle);
  if (vfs->xOpen(vfs, name.get(), handle, kind | SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
    return nullptr;
  }
  sqlite3_int64 bytes = 0;
  if (handle->pMethods->xFileSize(handle, &bytes) != SQLITE_OK || bytes < 0) return nullptr;
  size = static_cast<std::size_t>(bytes);
  BytesPtr content(static_cast<unsigned char*>(sqlite3_malloc64(size + 1)));
  constexpr std::size_t kStep = std::size_t{1} << 20U;
  for (std::size_t at = 0; content != nullptr && at < size; at += kStep) {
    const std::size_t length = std::min(kStep, size - at);
    if (handle->pMethods->xRead(handle, content.get() + at, static_cast<int>(length),
                                static_cast<sqlite3_int64>(at)) != SQLITE_OK) {
      return nullptr;
    }
  }
  return content;
}

class Journal {
 public:
  Journal(const unsigned char* bytes, std::size_t size) : bytes_(bytes), size_(size) { read(); }

  std::size_t page_size() const { return page_size_; }
  std::uint32_t page_count() const { return page_count_; }
  const std::map<std::uint32_t, const unsigned char*>& pages() const { return pages_; }

 private:
  static std::uint32_t number(const unsigned char* at, bool big_endian = true) {
    return big_endian ? std::uint32_t{at[0]} << 24U | std::uint32_t{at[1]} << 16U |
                            std::uint32_t{at[2]} << 8U | at[3]
                      : std::uint32_t{at[3]} << 24U | std::uint32_t{at[2]} << 16U |
                            std::uint32_t{at[1]} << 8U | at[0];
  }

  void sum_up(const unsigned char* from, std::size_t size) {
    for (std::size_t at = 0; at < size; at += 8) {
      sums_[0] += number(from + at, big_endian_) + sums_[1];
      sums_[1] += number(from + at + 4, big_endian_) + sums_[0];
    }
  }
  bool sums_are(const unsigned char* at) const {
    return number(at) == sums_[0] && number(at + 4) == sums_[1];
  }

  void read() {
    if (size_ < kJournalHeaderSize || (number(bytes_) & ~1U) != kMagic) return;
    big_endian_ = (number(bytes_) & 1U) != 0;
    page_size_ = number(bytes_ + 8);
    const bool is_power = (page_size_ & (page_size_ - 1)) == 0;
    sum_up(bytes_, 24);
    if (page_size_ < 512 || page_size_ > 65536 || !is_power || !sums_are(bytes_ + 24)) return;
    std::map<std::uint32_t, const unsigned char*> written;  // by a transaction not ended yet
    const std::size_t frame_size = kJournalFrameHeaderSize + page_size_;
    for (std::size_t at = kJournalHeaderSize; at + frame_size <= size_; at += frame_size) {
      const unsigned char* const frame = bytes_ + at;
      sum_up(frame, 8);
      sum_up(frame + kJournalFrameHeaderSize, page_size_);
      // The salts are those of the header unless the frame is left from an earlier use of the file.
      if (std::memcmp(frame + 8, bytes_ + 16, 8) != 0 || !sums_are(frame + 16)) return;
      written[number(frame)] = frame + kJournalFrameHeaderSize;
      if (const std::uint32_t count = number(frame + 4); count != 0) {
        for (const auto& [page, content] : written) pages_[page] = content;
        written.clear();
        page_count_ = count;
      }
    }
  }

  const unsigned char* bytes_;
  std::size_t size_;
  std::size_t page_size_ = 0;
  bool big_endian_ = false;
  std::array<std::uint32_t, 2> sums_{};
  std::uint32_t page_count_ = 0;  // 0: nothing was committed in it
  std::map<std::uint32_t, const unsigned char*> pages_;
};

DatabasePtr connect_to_memory() {
  sqlite3* handle = nullptr;
  const int result =
      sqlite3_open_v2(":memory:", &handle,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_MEMORY | SQLITE_OPEN_FULLMUTEX, nullptr);
  DatabasePtr database(handle);
  if (result != SQLITE_OK) return nullptr;
  return database;
}

// The database with what its journal committed. Null without memory.
BytesPtr apply(const Journal& journal, BytesPtr database, std::size_t& size) {
  if (journal.page_count() == 0) return database;
  const std::size_t new_size = journal.page_count() * journal.page_size();
  BytesPtr grown(static_cast<unsigned char*>(sqlite3_malloc64(new_size)));
  if (grown == nullptr) return nullptr;
  std::memset(grown.get(), 0, new_size);
  std::memcpy(grown.get(), database.get(), std::min(size, new_size));
  for (const auto& [page, content] : journal.pages()) {
    if (page == 0 || page > journal.page_count()) continue;
    std::memcpy(grown.get() + (page - 1) * journal.page_size(), content, journal.page_size());
  }
  size = new_size;
  return grown;
}

}  // namespace

DatabasePtr copy_log(const LogOptions& options, const std::string& file) {
  sqlite3_vfs* const vfs = sqlite3_vfs_find(options.vfs.empty() ? nullptr : options.vfs.c_str());
  if (vfs == nullptr) return nullptr;
  std::size_t size = 0;
  BytesPtr database = read_file(vfs, file, SQLITE_OPEN_MAIN_DB, size);
  std::size_t journal_size = 0;
  const BytesPtr journal = read_file(vfs, file + "-wal", SQLITE_OPEN_WAL, journal_size);
  if (database == nullptr || journal == nullptr) return nullptr;
  database = apply(Journal(journal.get(), journal_size), std::move(database), size);
  if (database == nullptr || size < 100) return nullptr;
  // The two bytes of the header that ask for a write-ahead log, which a copy in memory cannot have.
  database.get()[18] = 1;
  database.get()[19] = 1;
  DatabasePtr copy = connect_to_memory();
  if (copy == nullptr) return nullptr;
  // SQLite frees the bytes, also when it does not take them.
  const auto length = static_cast<sqlite3_int64>(size);
  const int result =
      sqlite3_deserialize(copy.get(), "main", database.release(), length, length,
                          SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_READONLY);
  return result == SQLITE_OK ? std::move(copy) : nullptr;
}

}  // namespace nexa::store

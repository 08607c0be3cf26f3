// Works on SQLite's own file handles, so that locks stay and another VFS is honoured. The journal's
// index is read as https://www.sqlite.org/walformat.html describes it.
#include "store/log/durability.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <vector>

#include "store/log/data_directory.h"
#include "store/log/log_database.h"
#include "text/descriptor.h"

namespace nexa::store {
namespace {

constexpr int kIndexSize = 32768;
constexpr std::size_t kIndexHeaderSize = 48;
constexpr std::size_t kPageSizeAt = 14;
constexpr std::size_t kFramesAt = 16;

class Confirmation {
 public:
  Confirmation(sqlite3_file* database, sqlite3_file* journal)
      : database_(database), journal_(journal) {}

  int run(bool rewrite, bool sync) {
    int result = read_index();
    if (result == SQLITE_OK) result = cut();
    if (!sync) return result;
    if (result == SQLITE_OK && rewrite) result = rewrite_journal();
    if (result == SQLITE_OK) result = journal_->pMethods->xSync(journal_, SQLITE_SYNC_FULL);
    if (result == SQLITE_OK && rewrite) result = rewrite_pages();
    if (result == SQLITE_OK) result = database_->pMethods->xSync(database_, SQLITE_SYNC_FULL);
    return result;
  }

 private:
  // Whoever holds the write lock finds both copies of the header equal.
  int read_index() {
    volatile void* index = nullptr;
    const int result = database_->pMethods->xShmMap(database_, 0, kIndexSize, 0, &index);
    if (result != SQLITE_OK) return result;
    const auto* const bytes = static_cast<const unsigned char*>(const_cast<void*>(index));
    if (bytes == nullptr || std::memcmp(bytes, bytes + kIndexHeaderSize, kIndexHeaderSize) != 0) {
      return SQLITE_IOERR;
    }
    std::uint16_t page_size = 0;
    std::uint32_t frames = 0;
    std::memcpy(&page_size, bytes + kPageSizeAt, sizeof page_size);
    std::memcpy(&frames, bytes + kFramesAt, sizeof frames);
    // 64 KiB does not fit; SQLite writes 1.
    page_size_ = page_size == 1 ? 65536 : page_size;
    frames_ = frames;
    return SQLITE_OK;
  }

  int cut() {
    const sqlite3_int64 end =
        frames_ == 0 ? 0 : kJournalHeaderSize + frames_ * (kJournalFrameHeaderSize + page_size_);
    sqlite3_int64 size = 0;
    const int result = journal_->pMethods->xFileSize(journal_, &size);
    if (result != SQLITE_OK || size <= end) return result;
    return journal_->pMethods->xTruncate(journal_, end);
  }

  int rewrite_journal() {
    if (frames_ == 0) return SQLITE_OK;
    int result = write_again(journal_, 0, kJournalHeaderSize);
    const sqlite3_int64 frame_size = kJournalFrameHeaderSize + page_size_;
    for (sqlite3_int64 frame = 0; result == SQLITE_OK && frame < frames_; ++frame) {
      result = write_again(journal_, kJournalHeaderSize + frame * frame_size,
                           static_cast<int>(frame_size));
      pages_.insert(std::uint32_t{bytes_[0]} << 24U | std::uint32_t{bytes_[1]} << 16U |
                    std::uint32_t{bytes_[2]} << 8U | bytes_[3]);
    }
    return result;
  }

  int rewrite_pages() {
    sqlite3_int64 size = 0;
    int result = database_->pMethods->xFileSize(database_, &size);
    for (const std::uint32_t page : pages_) {
      const sqlite3_int64 at = (sqlite3_int64{page} - 1) * page_size_;
      if (result != SQLITE_OK) break;
      if (page == 0 || at + page_size_ > size) continue;
      result = write_again(database_, at, static_cast<int>(page_size_));
    }
    return result;
  }

  int write_again(sqlite3_file* file, sqlite3_int64 at, int size) {
    bytes_.resize(static_cast<std::size_t>(size));
    const int result = file->pMethods->xRead(file, bytes_.data(), size, at);
    return result == SQLITE_OK ? file->pMethods->xWrite(file, bytes_.data(), size, at) : result;
  }

  sqlite3_file* database_;
  sqlite3_file* journal_;
  sqlite3_int64 page_size_ = 0;
  sqlite3_int64 frames_ = 0;       // committed ones
  std::set<std::uint32_t> pages_;  // that these frames hold
  std::vector<unsigned char> bytes_;
};

// A folder's pages cannot be written again, but a change of its names writes them. It may fail
// (full disk): the sync decides.
void change_names(const std::string& directory) {
  const std::string name = log_file(directory) + "-name";
  const text::Descriptor file(
      open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  unlink(name.c_str());
}

}  // namespace

int confirm_log(sqlite3* database, const LogOptions& options, bool rewrite) {
  errno = 0;
  int result = execute(database, "BEGIN IMMEDIATE");
  if (result != SQLITE_OK) return result;
  sqlite3_file* const file = database_file(database);
  sqlite3_file* const journal = journal_file(database);
  result = file != nullptr && journal != nullptr && file->pMethods->iVersion >= 2
               ? Confirmation(file, journal).run(rewrite, options.sync)
               : SQLITE_IOERR;
  const int cause = errno;
  execute(database, "ROLLBACK");
  errno = cause;
  if (result != SQLITE_OK || !options.sync) return result;
  if (rewrite) change_names(options.directory);
  errno = 0;
  return sync_directory(options.directory) ? SQLITE_OK : SQLITE_IOERR_DIR_FSYNC;
}

}  // namespace nexa::store

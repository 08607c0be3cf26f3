// A disk that fails as asked, for the log: a SQLite VFS over the usual one that keeps, beside each
// file, what of it would survive a power cut.
//
// It behaves as Linux does: a sync that fails forgets which pages were to be written, although they
// never reached the disk; they read back as written, and the next sync says that all is well.
#ifndef TESTS_STORE_FAILING_DISK_H_
#define TESTS_STORE_FAILING_DISK_H_

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace nexa_test {

class FailingDisk {
 public:
  static constexpr char kName[] = "failing";
  static constexpr int kForEver = -1;
  enum class Part : std::uint8_t { kDatabase, kJournal };

  // The one disk; its settings are those of a disk that works.
  static FailingDisk& fresh() {
    static FailingDisk disk;
    const std::lock_guard<std::mutex> lock(disk.mutex_);
    disk.failures_.clear();
    disk.skips_.clear();
    disk.at_sync_ = nullptr;
    disk.files_.clear();
    disk.pretends_ = false;
    disk.full_ = false;
    disk.reads_ = 0;
    return disk;
  }

  // The next `count` syncs of that part fail.
  void fail_syncs(Part part, int count) {
    const std::lock_guard<std::mutex> lock(mutex_);
    failures_[part] = count;
  }
  // The sync of that part after `count` others says that all is well and does nothing.
  void skip_sync(Part part, int count) {
    const std::lock_guard<std::mutex> lock(mutex_);
    skips_[part] = count + 1;
  }
  // Called before and after each sync, on the thread that syncs. Not while files are open.
  void at_syncs(std::function<void()> hook) { at_sync_ = std::move(hook); }
  // From now on this disk, or the usual one, is where SQLite opens files that name none.
  void stand_in(bool yes) { sqlite3_vfs_register(yes ? &vfs_ : real_, 1); }
  // Syncs say that all is well and do nothing.
  void pretend_to_sync() { pretends_ = true; }
  // No file grows, none can be made.
  void fill(bool full) { full_ = full; }
  int reads() const { return reads_; }
  void seed(unsigned number) { random_.seed(number); }

  // `to` becomes what a process finds that was killed (-9) in `from`: everything it wrote.
  void kill(const std::string& from, const std::string& to) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::filesystem::create_directory(to);
    for (const auto& entry : std::filesystem::directory_iterator(from)) {
      const std::string name = entry.path().filename().string();
      if (name == "nexa.db-shm") continue;
      std::filesystem::copy_file(entry.path(), to + "/" + name);
      const auto state = files_.find(entry.path().string());
      if (state != files_.end()) files_[to + "/" + name] = state->second;
    }
  }

  // `to` becomes what is found after a power cut: what was synced, and of the rest whatever
  // happened to be written. Files that SQLite does not write are as they were.
  void cut_power(const std::string& from, const std::string& to) {
    kill(from, to);
    const std::lock_guard<std::mutex> lock(mutex_);
    for (auto& [path, state] : files_) {
      if (std::filesystem::path(path).parent_path() != to) continue;
      for (const std::size_t page : state.dirty) {
        if (random_() % 2 == 0) write_back(path, page, state);
      }
      std::ofstream(path, std::ios::binary | std::ios::trunc) << state.durable;
    }
    // Who opens these files finds them on the disk.
    std::erase_if(files_, [&to](const auto& file) {
      return std::filesystem::path(file.first).parent_path() == to;
    });
  }

 private:
  static constexpr std::size_t kPage = 4096;

  struct State {
    std::string durable;
    std::set<std::size_t> dirty;  // pages
  };
  struct File {
    sqlite3_file base;
    std::string* path;
    bool is_tracked;
    bool is_journal;
    sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
  };

  FailingDisk() {
    real_ = sqlite3_vfs_find(nullptr);
    vfs_ = *real_;
    vfs_.zName = kName;
    vfs_.pNext = nullptr;
    vfs_.pAppData = this;
    vfs_.szOsFile = static_cast<int>(sizeof(File)) + real_->szOsFile;
    vfs_.xOpen = open;
    vfs_.xDelete = remove;
    methods_.iVersion = 2;
    methods_.xClose = close;
    methods_.xRead = read;
    methods_.xWrite = write;
    methods_.xTruncate = truncate;
    methods_.xSync = sync;
    methods_.xFileSize = [](sqlite3_file* file, sqlite3_int64* size) {
      return below(file)->pMethods->xFileSize(below(file), size);
    };
    methods_.xLock = [](sqlite3_file* file, int kind) {
      return below(file)->pMethods->xLock(below(file), kind);
    };
    methods_.xUnlock = [](sqlite3_file* file, int kind) {
      return below(file)->pMethods->xUnlock(below(file), kind);
    };
    methods_.xCheckReservedLock = [](sqlite3_file* file, int* out) {
      return below(file)->pMethods->xCheckReservedLock(below(file), out);
    };
    methods_.xFileControl = [](sqlite3_file* file, int operation, void* argument) {
      return below(file)->pMethods->xFileControl(below(file), operation, argument);
    };
    methods_.xSectorSize = [](sqlite3_file* file) {
      return below(file)->pMethods->xSectorSize(below(file));
    };
    methods_.xDeviceCharacteristics = [](sqlite3_file* file) {
      return below(file)->pMethods->xDeviceCharacteristics(below(file));
    };
    methods_.xShmMap = [](sqlite3_file* file, int region, int size, int extend,
                          volatile void** out) {
      if (disk().full_ && extend != 0) {
        errno = ENOSPC;
        return SQLITE_IOERR_SHMSIZE;
      }
      return below(file)->pMethods->xShmMap(below(file), region, size, extend, out);
    };
    methods_.xShmLock = [](sqlite3_file* file, int offset, int count, int flags) {
      return below(file)->pMethods->xShmLock(below(file), offset, count, flags);
    };
    methods_.xShmBarrier = [](sqlite3_file* file) {
      below(file)->pMethods->xShmBarrier(below(file));
    };
    methods_.xShmUnmap = [](sqlite3_file* file, int remove_it) {
      return below(file)->pMethods->xShmUnmap(below(file), remove_it);
    };
    EXPECT_EQ(sqlite3_vfs_register(&vfs_, 0), SQLITE_OK);
  }

  static FailingDisk& disk() {
    return *static_cast<FailingDisk*>(sqlite3_vfs_find(kName)->pAppData);
  }
  static File* of(sqlite3_file* file) { return reinterpret_cast<File*>(file); }
  static sqlite3_file* below(sqlite3_file* file) { return of(file)->real(); }

  static int open(sqlite3_vfs* vfs, const char* name, sqlite3_file* handle, int flags, int* out) {
    FailingDisk& disk = *static_cast<FailingDisk*>(vfs->pAppData);
    File* const file = of(handle);
    file->base.pMethods = nullptr;
    if (disk.full_ && name != nullptr && (flags & SQLITE_OPEN_CREATE) != 0 &&
        !std::filesystem::exists(name)) {
      errno = ENOSPC;
      return SQLITE_CANTOPEN;
    }
    const int result = disk.real_->xOpen(disk.real_, name, file->real(), flags, out);
    if (result != SQLITE_OK) return result;
    file->is_journal = (flags & SQLITE_OPEN_WAL) != 0;
    file->is_tracked = name != nullptr && (flags & (SQLITE_OPEN_WAL | SQLITE_OPEN_MAIN_DB)) != 0;
    file->path = new std::string(name != nullptr ? name : "");
    file->base.pMethods = &disk.methods_;
    if (!file->is_tracked) return result;
    const std::lock_guard<std::mutex> lock(disk.mutex_);
    if (disk.files_.count(*file->path) == 0) {
      // What was there before is on the disk.
      std::ifstream in(*file->path, std::ios::binary);
      disk.files_[*file->path].durable.assign(std::istreambuf_iterator<char>(in), {});
    }
    return result;
  }

  static int close(sqlite3_file* handle) {
    delete of(handle)->path;
    return below(handle)->pMethods->xClose(below(handle));
  }

  static int remove(sqlite3_vfs* vfs, const char* name, int sync_folder) {
    FailingDisk& disk = *static_cast<FailingDisk*>(vfs->pAppData);
    const std::lock_guard<std::mutex> lock(disk.mutex_);
    disk.files_.erase(name);
    return disk.real_->xDelete(disk.real_, name, sync_folder);
  }

  static int read(sqlite3_file* handle, void* bytes, int size, sqlite3_int64 at) {
    ++disk().reads_;
    return below(handle)->pMethods->xRead(below(handle), bytes, size, at);
  }

  static int write(sqlite3_file* handle, const void* bytes, int size, sqlite3_int64 at) {
    FailingDisk& disk = FailingDisk::disk();
    sqlite3_int64 length = 0;
    below(handle)->pMethods->xFileSize(below(handle), &length);
    if (disk.full_ && at + size > length) {
      errno = ENOSPC;
      return SQLITE_FULL;
    }
    const int result = below(handle)->pMethods->xWrite(below(handle), bytes, size, at);
    disk.touch(handle, static_cast<std::size_t>(at), static_cast<std::size_t>(at + size));
    return result;
  }

  static int truncate(sqlite3_file* handle, sqlite3_int64 size) {
    sqlite3_int64 before = 0;
    below(handle)->pMethods->xFileSize(below(handle), &before);
    const int result = below(handle)->pMethods->xTruncate(below(handle), size);
    disk().touch(handle, static_cast<std::size_t>(size), static_cast<std::size_t>(before));
    return result;
  }

  static int sync(sqlite3_file* handle, int /*flags*/) {
    FailingDisk& disk = FailingDisk::disk();
    if (!of(handle)->is_tracked || disk.pretends_) return SQLITE_OK;
    if (disk.at_sync_) disk.at_sync_();
    const int result = disk.sync_pages(*of(handle));
    if (disk.at_sync_) disk.at_sync_();
    return result;
  }

  int sync_pages(const File& file) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const Part part = file.is_journal ? Part::kJournal : Part::kDatabase;
    if (skips_[part] > 0 && --skips_[part] == 0) return SQLITE_OK;
    State& state = files_[*file.path];
    int& failures = failures_[part];
    const bool fails = failures != 0;
    if (failures > 0) --failures;
    for (const std::size_t page : state.dirty) {
      if (!fails || random_() % 2 == 0) write_back(*file.path, page, state);
    }
    state.dirty.clear();
    if (!fails) {
      state.durable.resize(static_cast<std::size_t>(std::filesystem::file_size(*file.path)));
      return SQLITE_OK;
    }
    errno = EIO;
    return SQLITE_IOERR_FSYNC;
  }

  void touch(sqlite3_file* handle, std::size_t from, std::size_t to) {
    if (!of(handle)->is_tracked) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    State& state = files_[*of(handle)->path];
    for (std::size_t page = from / kPage; page * kPage < to; ++page) state.dirty.insert(page);
  }

  // The page as the cache holds it reaches the disk.
  static void write_back(const std::string& path, std::size_t page, State& state) {
    std::ifstream in(path, std::ios::binary);
    in.seekg(static_cast<std::streamoff>(page * kPage));
    std::vector<char> bytes(kPage);
    in.read(bytes.data(), kPage);
    const auto size = static_cast<std::size_t>(in.gcount());
    if (size == 0) return;
    if (state.durable.size() < page * kPage + size) state.durable.resize(page * kPage + size);
    state.durable.replace(page * kPage, size, bytes.data(), size);
  }

  std::mutex mutex_;  // for the next four
  std::map<std::string, State> files_;
  std::map<Part, int> failures_;
  std::map<Part, int> skips_;  // syncs up to the one that does nothing, with it
  std::mt19937 random_{1};
  std::function<void()> at_sync_;
  std::atomic<bool> pretends_{false};
  std::atomic<bool> full_{false};
  std::atomic<int> reads_{0};
  sqlite3_vfs* real_ = nullptr;
  sqlite3_vfs vfs_{};
  sqlite3_io_methods methods_{};
};

}  // namespace nexa_test

#endif  // TESTS_STORE_FAILING_DISK_H_

// The locks are the kernel's (flock), so they go with the process, however that ends. The directory
// itself is locked because on a full or read-only disk no file can be made in it; the file beside
// tells who holds it, and is what programs lock that know nothing of the other lock.
#include "store/log/data_directory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace nexa::store {
namespace {

text::Failure failure(const std::string& path, const char* what) {
  return text::unusable(path, std::string(what) + ": " + std::strerror(errno));
}

std::string parent_of(const std::string& path) {
  const std::size_t end = path.find_last_not_of('/');
  const std::size_t slash = path.find_last_of('/', end);
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string holder_of(int lock) {
  std::array<char, 24> text{};
  const ssize_t size = pread(lock, text.data(), text.size() - 1, 0);
  std::string holder(text.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
  const std::size_t digits = holder.find_first_not_of("0123456789");
  return holder.substr(0, digits);
}

bool write_holder(int lock) {
  const std::string text = std::to_string(getpid()) + "\n";
  return ftruncate(lock, 0) == 0 &&
         pwrite(lock, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
}

bool cannot_be_written(int cause) {
  return cause == ENOSPC || cause == EDQUOT || cause == EROFS || cause == EACCES || cause == EFBIG;
}

// Where nothing can be written, a file of an earlier start can still be locked. -1 when there is
// none; errno is why it cannot be made.
int open_lock(const std::string& name) {
  const int made = open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (made >= 0 || !cannot_be_written(errno)) return made;
  const int cause = errno;
  const int found = open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
  errno = cause;
  return found;
}

text::Failure in_use(const std::string& path, int lock) {
  const std::string holder = lock >= 0 ? holder_of(lock) : std::string();
  return text::unusable(path, "in use by process " + (holder.empty() ? "unknown" : holder));
}

}  // namespace

text::Result<std::unique_ptr<DataDirectory>> DataDirectory::hold(const std::string& path) {
  if (mkdir(path.c_str(), 0700) == 0) {
    sync_directory(parent_of(path));
  } else if (errno != EEXIST) {
    return failure(path, "cannot make the data directory");
  }
  const int directory = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory < 0) return failure(path, "cannot open");
  const std::string name = path + "/lock";
  const int lock = open_lock(name);
  const int lock_error = errno;
  std::unique_ptr<DataDirectory> held(new DataDirectory(directory, lock));
  if (lock < 0 && !cannot_be_written(lock_error)) {
    errno = lock_error;
    return failure(name, "cannot open");
  }
  // Network file systems lock no directories; the file's lock is enough where there is one.
  const bool directory_locked = flock(directory, LOCK_EX | LOCK_NB) == 0;
  if (!directory_locked && (errno == EWOULDBLOCK || lock < 0)) {
    return errno == EWOULDBLOCK ? in_use(path, lock) : failure(path, "cannot lock");
  }
  if (lock >= 0 && flock(lock, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK) return in_use(path, lock);
    if (!directory_locked) return failure(name, "cannot lock");
  }
  held->held_ = true;
  // The number only serves the message above.
  if (lock >= 0) static_cast<void>(write_holder(lock));
  return held;
}

DataDirectory::~DataDirectory() {
  if (held_ && lock_.is_open()) static_cast<void>(ftruncate(lock_.get(), 0));
}

bool sync_directory(const std::string& path) {
  const text::Descriptor directory(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return directory.is_open() && fsync(directory.get()) == 0;
}

}  // namespace nexa::store

// The lock is the kernel's (flock), so it goes with the process, however that ends.
#include "store/log/data_directory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace nexa::host {
namespace {

std::string failure(const std::string& path, const char* what) {
  return path + ": " + what + ": " + std::strerror(errno);
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

}  // namespace

std::unique_ptr<DataDirectory> DataDirectory::hold(const std::string& path, std::string& error) {
  if (mkdir(path.c_str(), 0700) == 0) {
    sync_directory(parent_of(path));
  } else if (errno != EEXIST) {
    error = failure(path, "cannot make the data directory");
    return nullptr;
  }
  const std::string name = path + "/lock";
  const int lock = open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (lock < 0) {
    error = failure(name, "cannot open");
    return nullptr;
  }
  if (flock(lock, LOCK_EX | LOCK_NB) != 0) {
    const std::string holder = errno == EWOULDBLOCK ? holder_of(lock) : std::string();
    error = errno == EWOULDBLOCK
                ? path + ": in use by process " + (holder.empty() ? "unknown" : holder)
                : failure(name, "cannot lock");
    close(lock);
    return nullptr;
  }
  std::unique_ptr<DataDirectory> held(new DataDirectory(lock));
  // The number only serves the message above.
  static_cast<void>(write_holder(lock));
  return held;
}

DataDirectory::~DataDirectory() {
  static_cast<void>(ftruncate(lock_, 0));
  close(lock_);
}

bool sync_directory(const std::string& path) {
  const int directory = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory < 0) return false;
  const bool done = fsync(directory) == 0;
  close(directory);
  return done;
}

}  // namespace nexa::host

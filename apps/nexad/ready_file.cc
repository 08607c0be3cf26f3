// Written beside its place and renamed into it.
#include "ready_file.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

namespace nexad {

ReadyFile::ReadyFile(std::string path) : path_(std::move(path)) {
  std::error_code ignored;
  if (!path_.empty()) std::filesystem::remove(path_, ignored);
}

ReadyFile::~ReadyFile() {
  std::error_code ignored;
  if (!path_.empty()) std::filesystem::remove(path_, ignored);
}

bool ReadyFile::write(const std::string& line, std::string& error) const {
  if (path_.empty()) return true;
  const std::string unfinished = path_ + ".new";
  errno = 0;
  std::ofstream out(unfinished, std::ios::trunc);
  out << line << "\n";
  out.close();
  std::error_code fault;
  if (out) std::filesystem::rename(unfinished, path_, fault);
  if (out && !fault) return true;
  if (!fault) fault = std::error_code(errno, std::generic_category());
  error = path_ + ": cannot be written: " + fault.message();
  return false;
}

}  // namespace nexad

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

nexa::text::Done ReadyFile::write(const std::string& line) const {
  if (path_.empty()) return {};
  const std::string unfinished = path_ + ".new";
  errno = 0;
  std::ofstream out(unfinished, std::ios::trunc);
  out << line << "\n";
  out.close();
  std::error_code fault;
  if (out) std::filesystem::rename(unfinished, path_, fault);
  if (out && !fault) return {};
  if (!fault) fault = std::error_code(errno, std::generic_category());
  return nexa::text::unusable(path_, "cannot be written: " + fault.message());
}

}  // namespace nexad

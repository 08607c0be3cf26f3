// Owns the duplicated descriptor; knows nothing of what is written.
#include "result_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace nexa_tool {

ResultOutput::ResultOutput() : real_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)) {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere >= 0 && dup2(nowhere, STDOUT_FILENO) >= 0) {
    if (nowhere != STDOUT_FILENO) close(nowhere);
    return;
  }
  std::perror("nexa: /dev/null");
  std::_Exit(1);
}

ResultOutput::~ResultOutput() { restore(); }

bool ResultOutput::write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(real_.get(), text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) {
      std::fprintf(stderr, "nexa: standard output: %s\n", std::strerror(errno));
      return false;
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool ResultOutput::is_terminal() const { return real_.is_open() && isatty(real_.get()) == 1; }

void ResultOutput::restore() {
  if (!real_.is_open()) return;
  std::fflush(stdout);
  dup2(real_.get(), STDOUT_FILENO);
  real_.close();
}

}  // namespace nexa_tool

// Inputs and outputs go through temporary files, so that no pipe can fill up.
#include "run_program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace nexa_test {
namespace {

class TempFile {
 public:
  TempFile() : file_(std::tmpfile()) {}
  ~TempFile() {
    if (file_ != nullptr) std::fclose(file_);
  }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  int descriptor() const { return fileno(file_); }
  void fill(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), file_);
    std::fflush(file_);
    lseek(descriptor(), 0, SEEK_SET);
  }
  std::string content() {
    std::string text;
    char buffer[65536];
    lseek(descriptor(), 0, SEEK_SET);
    for (ssize_t count; (count = read(descriptor(), buffer, sizeof buffer)) > 0;) {
      text.append(buffer, static_cast<std::size_t>(count));
    }
    return text;
  }

 private:
  std::FILE* file_;
};

}  // namespace

Outcome run_nexa(const std::vector<std::string>& arguments, const std::string& input) {
  TempFile in, out, err;
  in.fill(input);
  std::vector<char*> argv = {const_cast<char*>(NEXA_PROGRAM)};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(in.descriptor(), STDIN_FILENO);
    dup2(out.descriptor(), STDOUT_FILENO);
    dup2(err.descriptor(), STDERR_FILENO);
    execv(NEXA_PROGRAM, argv.data());
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  Outcome outcome;
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  outcome.out = out.content();
  outcome.err = err.content();
  return outcome;
}

}  // namespace nexa_test

// Messages are a size of eight bytes and the text.
#include "store/oracle_process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

namespace nexa_test {
namespace {

constexpr unsigned kSeconds = 2;

bool write_bytes(int pipe, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t count = write(pipe, data, size);
    if (count <= 0) return false;
    data += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

bool read_bytes(int pipe, char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t count = read(pipe, data, size);
    if (count <= 0) return false;
    data += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

bool send(int pipe, const std::string& text) {
  const std::uint64_t size = text.size();
  char head[sizeof size];
  std::memcpy(head, &size, sizeof size);
  return write_bytes(pipe, head, sizeof head) && write_bytes(pipe, text.data(), text.size());
}

bool receive(int pipe, std::string& text) {
  std::uint64_t size = 0;
  char head[sizeof size];
  if (!read_bytes(pipe, head, sizeof head)) return false;
  std::memcpy(&size, head, sizeof size);
  text.resize(static_cast<std::size_t>(size));
  return read_bytes(pipe, text.data(), text.size());
}

std::string judge_in_child(const OracleProcess::Judge& judge, const std::string& request) {
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) != 0) return "";
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    alarm(kSeconds);
    send(ends[1], judge(request));
    _exit(0);
  }
  close(ends[1]);
  std::string answer;
  if (!receive(ends[0], answer)) answer.clear();
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return answer;
}

}  // namespace

OracleProcess::OracleProcess(const Judge& judge) {
  int requests[2] = {-1, -1};
  int answers[2] = {-1, -1};
  if (pipe2(requests, O_CLOEXEC) != 0 || pipe2(answers, O_CLOEXEC) != 0) return;
  child_ = fork();
  if (child_ == 0) {
    close(requests[1]);
    close(answers[0]);
    std::string request;
    while (receive(requests[0], request)) send(answers[1], judge_in_child(judge, request));
    _exit(0);
  }
  close(requests[0]);
  close(answers[1]);
  to_ = requests[1];
  from_ = answers[0];
}

OracleProcess::~OracleProcess() {
  close(to_);
  close(from_);
  int status = 0;
  if (child_ > 0) waitpid(child_, &status, 0);
}

std::string OracleProcess::ask(const std::string& request) const {
  std::string answer;
  if (!send(to_, request) || !receive(from_, answer)) return "";
  return answer;
}

}  // namespace nexa_test

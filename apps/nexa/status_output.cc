// Reading input and reporting refusals, the same for every command.
#include "status_output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "translate/code_name.h"

namespace nexa_tool {
namespace {

struct FileCloser {
  void operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
  }
};

}  // namespace

void report_refusal(const grpc::Status& status) {
  std::fprintf(stderr, "%s: %s\n", nexa::translate::code_name(status.error_code()),
               status.error_message().c_str());
}

void report_failure(const nexa::text::Failure& failure) {
  std::fprintf(stderr, "nexa: %s\n", failure.line().c_str());
}

bool read_input(const std::string& name, std::string& content) {
  const bool standard = name.empty() || name == "-";
  const std::unique_ptr<std::FILE, FileCloser> file(standard ? stdin
                                                             : std::fopen(name.c_str(), "rb"));
  bool failed = file == nullptr;
  char buffer[65536];
  while (!failed) {
    const std::size_t count = std::fread(buffer, 1, sizeof buffer, file.get());
    content.append(buffer, count);
    failed = std::ferror(file.get()) != 0;
    if (count < sizeof buffer) break;
  }
  if (!failed) return true;
  report_failure(nexa::text::unusable(standard ? "standard input" : name, std::strerror(errno)));
  return false;
}

}  // namespace nexa_tool

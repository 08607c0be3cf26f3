// Reading input and reporting refusals, the same for every command.
#include "status_output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace nexa_tool {
namespace {

struct FileCloser {
  void operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
  }
};

}  // namespace

const char* code_name(grpc::StatusCode code) {
  switch (code) {
    case grpc::StatusCode::OK:
      return "OK";
    case grpc::StatusCode::CANCELLED:
      return "CANCELLED";
    case grpc::StatusCode::UNKNOWN:
      return "UNKNOWN";
    case grpc::StatusCode::INVALID_ARGUMENT:
      return "INVALID_ARGUMENT";
    case grpc::StatusCode::DEADLINE_EXCEEDED:
      return "DEADLINE_EXCEEDED";
    case grpc::StatusCode::NOT_FOUND:
      return "NOT_FOUND";
    case grpc::StatusCode::ALREADY_EXISTS:
      return "ALREADY_EXISTS";
    case grpc::StatusCode::PERMISSION_DENIED:
      return "PERMISSION_DENIED";
    case grpc::StatusCode::UNAUTHENTICATED:
      return "UNAUTHENTICATED";
    case grpc::StatusCode::RESOURCE_EXHAUSTED:
      return "RESOURCE_EXHAUSTED";
    case grpc::StatusCode::FAILED_PRECONDITION:
      return "FAILED_PRECONDITION";
    case grpc::StatusCode::ABORTED:
      return "ABORTED";
    case grpc::StatusCode::OUT_OF_RANGE:
      return "OUT_OF_RANGE";
    case grpc::StatusCode::UNIMPLEMENTED:
      return "UNIMPLEMENTED";
    case grpc::StatusCode::INTERNAL:
      return "INTERNAL";
    case grpc::StatusCode::UNAVAILABLE:
      return "UNAVAILABLE";
    case grpc::StatusCode::DATA_LOSS:
      return "DATA_LOSS";
    case grpc::StatusCode::DO_NOT_USE:
      break;
  }
  return "UNKNOWN";
}

void report_refusal(const grpc::Status& status) {
  std::fprintf(stderr, "%s: %s\n", code_name(status.error_code()), status.error_message().c_str());
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
  std::fprintf(stderr, "nexa: %s: %s\n", standard ? "standard input" : name.c_str(),
               std::strerror(errno));
  return false;
}

}  // namespace nexa_tool

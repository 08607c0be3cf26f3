// spdlog's part of the server.
#include "log.h"

#include <google/protobuf/stubs/logging.h>
#include <grpc/support/log.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <utility>

#include "line_limit.h"
#include "text/display.h"
#include "text/utf8.h"

namespace nexad {
namespace {

struct Level {
  const char* name;
  spdlog::level::level_enum ours;
  gpr_log_severity library;
};

// The libraries' information is about each module and each call: it is for those who look for a
// fault.
constexpr std::array<Level, 4> kLevels{{
    {"debug", spdlog::level::debug, GPR_LOG_SEVERITY_DEBUG},
    {"info", spdlog::level::info, GPR_LOG_SEVERITY_ERROR},
    {"warning", spdlog::level::warn, GPR_LOG_SEVERITY_ERROR},
    {"error", spdlog::level::err, GPR_LOG_SEVERITY_ERROR},
}};

struct Loggers {
  std::shared_ptr<spdlog::logger> server;
  std::shared_ptr<spdlog::logger> library;
  std::shared_ptr<spdlog::logger> audit;
};

// Lives as long as the process: gRPC's threads write to their last moment.
Loggers& loggers() {
  static auto& instance = *std::make_unique<Loggers>().release();
  return instance;
}

// "<4>" and the like, as sd-daemon(3) has it.
class JournalPriority final : public spdlog::custom_flag_formatter {
 public:
  void format(const spdlog::details::log_msg& message, const std::tm&,
              spdlog::memory_buf_t& out) override {
    constexpr std::string_view kPriorities[] = {"<7>", "<7>", "<6>", "<4>", "<3>", "<2>", "<6>"};
    const std::string_view text = kPriorities[message.level];
    out.append(text.data(), text.data() + text.size());
  }
  std::unique_ptr<spdlog::custom_flag_formatter> clone() const override {
    return std::make_unique<JournalPriority>();
  }
};

bool stderr_is_journal() {
  const char* stream = std::getenv("JOURNAL_STREAM");
  struct stat status {};
  if (stream == nullptr || fstat(STDERR_FILENO, &status) != 0) return false;
  const std::string own = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
  return own == stream;
}

std::unique_ptr<spdlog::formatter> make_formatter() {
  auto formatter =
      std::make_unique<spdlog::pattern_formatter>(spdlog::pattern_time_type::utc, "\n");
  if (stderr_is_journal()) {
    formatter->add_flag<JournalPriority>('*').set_pattern("%*%n: %v");
  } else {
    formatter->set_pattern("%Y-%m-%dT%H:%M:%S.%eZ %l %n: %v");
  }
  return formatter;
}

// The library tells the progress of its start as errors, so that servers which log errors alone
// show it. Nothing is wrong then, and nobody should be woken: here it counts as a trace.
constexpr char kProgressFile[] = "nexa_srv_kestrel_namespace_mapper_impl.cc";
constexpr std::array<std::string_view, 2> kProgress{
    "toBeWalked: empty vector",
    "ServiceKestrelNamespaceMapperImpl::populate ",
};

// log_failed_handshake() has the same with the peer's name.
constexpr char kHandshakeFile[] = "ssl_transport_security.cc";
constexpr char kHandshakeFailed[] = "Handshake failed with fatal error";

bool is_failed_handshake(const gpr_log_func_args& line) {
  return std::string_view(line.file).ends_with(kHandshakeFile) &&
         std::string_view(line.message).starts_with(kHandshakeFailed);
}

bool is_progress(const gpr_log_func_args& line) {
  const std::string_view message(line.message);
  return std::string_view(line.file).ends_with(kProgressFile) &&
         std::any_of(kProgress.begin(), kProgress.end(),
                     [message](std::string_view text) { return message.starts_with(text); });
}

spdlog::level::level_enum level_of(const gpr_log_func_args& line) {
  constexpr std::array<spdlog::level::level_enum, 3> kSeverities{
      spdlog::level::debug, spdlog::level::info, spdlog::level::err};
  if (is_progress(line) || is_failed_handshake(line)) return spdlog::level::debug;
  return kSeverities.at(static_cast<std::size_t>(line.severity));
}

// Lines of which strangers decide how many there are. Any thread.
class LimitedLines {
 public:
  // False for a line too many. `left_out`: how many were before one that may be written.
  bool may_write(std::uint64_t& left_out) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!lines_.take(std::chrono::steady_clock::now())) return false;
    left_out = lines_.take_left_out();
    return true;
  }

 private:
  std::mutex mutex_;
  LineLimit lines_;
};

// Each kind has its own, so that a flood of one hides nothing of another. They live as long as the
// process, as the loggers do.
struct Limits {
  LimitedLines library;
  LimitedLines logins;
  LimitedLines handshakes;
};

Limits& limits() {
  static auto& instance = *std::make_unique<Limits>().release();
  return instance;
}

void write_library_line(spdlog::level::level_enum level, const char* file, int line,
                        std::string_view message) {
  spdlog::logger& library = *loggers().library;
  if (!library.should_log(level)) return;
  std::uint64_t left_out = 0;
  // Who asks for traces wants all of them.
  if (!library.should_log(spdlog::level::debug) && !limits().library.may_write(left_out)) {
    return;
  }
  if (left_out > 0) library.warn("{} lines of the libraries were left out", left_out);
  const std::string text =
      std::string(file) + ":" + std::to_string(line) + "] " + one_line(message);
  library.log(level, text);
}

void take_gpr_line(gpr_log_func_args* line) {
  write_library_line(level_of(*line), line->file, line->line, line->message);
}

// The messages' code tells of texts that are not UTF-8, and whoever can connect sends such.
void take_protobuf_line(google::protobuf::LogLevel level, const char* file, int line,
                        const std::string& message) {
  const bool is_fault = level >= google::protobuf::LOGLEVEL_WARNING;
  write_library_line(is_fault ? spdlog::level::err : spdlog::level::debug, file, line, message);
}

// What a client sends is in the lines, and it may send megabytes.
constexpr std::size_t kLongestLine = 8192;
void write(spdlog::level::level_enum level, std::string_view line) {
  const auto& logger = loggers().server;
  if (logger != nullptr && logger->should_log(level)) logger->log(level, one_line(line));
}

}  // namespace

bool is_log_level(std::string_view level) {
  for (const Level& known : kLevels) {
    if (level == known.name) return true;
  }
  return false;
}

void start_log(const std::string& level) {
  Loggers& all = loggers();
  if (all.server == nullptr) {
    const auto sink = std::make_shared<spdlog::sinks::stderr_sink_mt>();
    sink->set_formatter(make_formatter());
    all.server = std::make_shared<spdlog::logger>("nexad", sink);
    all.library = std::make_shared<spdlog::logger>("library", sink);
    all.audit = std::make_shared<spdlog::logger>("audit", sink);
    gpr_set_log_function(take_gpr_line);
    google::protobuf::SetLogHandler(take_protobuf_line);
  }
  for (const Level& known : kLevels) {
    if (level != known.name) continue;
    all.server->set_level(known.ours);
    all.library->set_level(known.ours);
    gpr_set_log_verbosity(known.library);
  }
  for (const auto& logger : {all.server, all.library, all.audit}) {
    logger->flush_on(spdlog::level::trace);
  }
}

void log_debug(std::string_view line) { write(spdlog::level::debug, line); }
void log_info(std::string_view line) { write(spdlog::level::info, line); }
void log_warning(std::string_view line) { write(spdlog::level::warn, line); }
void log_error(std::string_view line) { write(spdlog::level::err, line); }

void log_audit(std::string_view line) {
  if (loggers().audit != nullptr) loggers().audit->info(one_line(line));
}

void log_failed_login(std::string_view line) {
  const auto& audit = loggers().audit;
  std::uint64_t left_out = 0;
  if (audit == nullptr || !limits().logins.may_write(left_out)) return;
  if (left_out > 0) audit->warn("{} lines of failed logins were left out", left_out);
  audit->info(one_line(line));
}

void log_failed_handshake(std::string_view line) {
  const auto& server = loggers().server;
  std::uint64_t left_out = 0;
  if (server == nullptr || !server->should_log(spdlog::level::warn) ||
      !limits().handshakes.may_write(left_out)) {
    return;
  }
  if (left_out > 0) server->warn("{} lines of failed TLS handshakes were left out", left_out);
  server->warn(one_line(line));
}

std::string one_line(std::string_view text) {
  const std::size_t kept = nexa::text::prefix_length(text, kLongestLine);
  std::string line = nexa::text::printable(text.substr(0, kept));
  if (kept < text.size()) line += "... and " + std::to_string(text.size() - kept) + " bytes";
  return line;
}

}  // namespace nexad

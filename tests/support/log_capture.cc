// Takes gpr_log's lines while an object lives.
#include "support/log_capture.h"

#include <cctype>
#include <mutex>
#include <string_view>
#include <utility>

namespace nexa_test {
namespace {

std::mutex mutex;
Lines* sink = nullptr;

void collect(gpr_log_func_args* args) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (sink != nullptr) sink->push_back({args->severity, args->file, args->message});
}

}  // namespace

LogCapture::LogCapture(gpr_log_severity least) {
  {
    const std::lock_guard<std::mutex> lock(mutex);
    sink = &lines_;
  }
  gpr_set_log_function(&collect);
  gpr_set_log_verbosity(least);
}

LogCapture::~LogCapture() {
  gpr_set_log_verbosity(GPR_LOG_SEVERITY_ERROR);
  const std::lock_guard<std::mutex> lock(mutex);
  sink = nullptr;
}

Lines LogCapture::take() {
  const std::lock_guard<std::mutex> lock(mutex);
  return std::exchange(lines_, {});
}

Lines LogCapture::take(gpr_log_severity severity) {
  Lines kept;
  for (Line& line : take()) {
    if (line.severity == severity) kept.push_back(std::move(line));
  }
  return kept;
}

std::vector<std::string> LogCapture::take_texts() {
  std::vector<std::string> texts;
  for (Line& line : take()) texts.push_back(std::move(line.text));
  return texts;
}

std::string mask_numbers(const std::string& text) {
  static constexpr std::string_view kMarks[] = {" at line ", " at ", "0x"};
  std::string masked;
  for (std::size_t i = 0; i < text.size();) {
    bool replaced = false;
    for (const std::string_view mark : kMarks) {
      if (text.compare(i, mark.size(), mark) != 0) continue;
      std::size_t end = i + mark.size();
      const bool hex = mark == "0x";
      if (hex && text.compare(end, 2, "0x") == 0) end += 2;
      const std::size_t first = end;
      while (end < text.size() &&
             (hex ? std::isxdigit(static_cast<unsigned char>(text[end])) != 0
                  : std::isdigit(static_cast<unsigned char>(text[end])) != 0)) {
        ++end;
      }
      if (hex && text.compare(first, 5, "(nil)") == 0) end = first + 5;
      if (end == first) continue;
      masked.append(mark).append("#");
      i = end;
      replaced = true;
      break;
    }
    if (!replaced) masked.push_back(text[i++]);
  }
  return masked;
}

}  // namespace nexa_test

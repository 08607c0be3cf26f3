// libyang's log function, borrowed. Messages kept by libyang itself would not do: it switches to
// options of its own while it compiles, and prints.
#include "libyang_log.h"

#include <exception>

namespace kestrel {
namespace {

// More follow from the first ones and explain nothing.
constexpr std::size_t kMaxMessages = 32;

thread_local LibyangLog* listener = nullptr;
ly_log_clb function_before = nullptr;

}  // namespace

LibyangLog::LibyangLog()
    // Below errors, a large model gives hundreds of warnings that would only be built to be
    // dropped. Unless it keeps the last error, libyang does not name the module that failed.
    : level_before_(ly_log_level(LY_LLERR)),
      options_before_(ly_log_options(LY_LOLOG | LY_LOSTORE_LAST)) {
  listener = this;
  function_before = ly_get_log_clb();
  ly_set_log_clb(&LibyangLog::receive, 1);
}

LibyangLog::~LibyangLog() {
  ly_set_log_clb(function_before, 1);
  listener = nullptr;
  ly_log_options(options_before_);
  ly_log_level(level_before_);
}

void LibyangLog::receive(LY_LOG_LEVEL level, const char* text, const char* place) {
  if (listener == nullptr) {
    if (function_before != nullptr) function_before(level, text, place);
  } else if (level == LY_LLERR) {
    listener->add(text, place);
  }
}

// Called from C: no exception may leave.
void LibyangLog::add(const char* text, const char* place) noexcept {
  if (messages_.size() == kMaxMessages) return;
  try {
    messages_.push_back({text == nullptr ? "" : text, place == nullptr ? "" : place, file_});
  } catch (const std::exception&) {
    // Without memory for the message the load fails all the same, with a poorer text.
  }
}

}  // namespace kestrel

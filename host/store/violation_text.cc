// Reads libyang's messages. The spellings are those of libyang 2.1.30; one that is not recognised
// is passed on as it stands.
#include "store/violation_text.h"

#include <array>
#include <cstring>
#include <vector>

namespace nexa::host {
namespace {

constexpr std::string_view kDataLocation = "ata location \"";
constexpr std::string_view kSchemaLocation = "chema location \"";

// The rest of `text` behind the first `mark`, up to a quote that ends a place: followed by a full
// stop or a comma. Key values in it may hold quotes themselves.
std::string_view place_behind(std::string_view text, std::string_view mark) {
  const std::size_t at = text.find(mark);
  if (at == std::string_view::npos) return {};
  const std::string_view rest = text.substr(at + mark.size());
  std::size_t end = rest.rfind("\", line number");
  if (end == std::string_view::npos) end = rest.rfind("\".");
  if (end == std::string_view::npos) end = rest.rfind('"');
  return rest.substr(0, end);
}

std::string place_of(const char* place) {
  if (place == nullptr) return {};
  const std::string_view text = place;
  if (!text.empty() && text.front() == '/') return std::string(text);
  const std::string_view data = place_behind(text, kDataLocation);
  return std::string(data.empty() ? place_behind(text, kSchemaLocation) : data);
}

// The text between `head` and `tail` when `message` has both, else nothing.
struct Frame {
  std::string_view head;
  std::string_view tail;
};

bool inside(std::string_view message, const Frame& frame, std::string_view& word) {
  if (message.size() < frame.head.size() + frame.tail.size()) return false;
  if (message.substr(0, frame.head.size()) != frame.head) return false;
  if (message.substr(message.size() - frame.tail.size()) != frame.tail) return false;
  word = message.substr(frame.head.size(), message.size() - frame.head.size() - frame.tail.size());
  return true;
}

}  // namespace

KeptMessages::KeptMessages(const ly_ctx* context) : context_(context) {
  ly_err_clean(const_cast<ly_ctx*>(context_), nullptr);
  ly_temp_log_options(&options_);
}

KeptMessages::~KeptMessages() {
  ly_temp_log_options(nullptr);
  ly_err_clean(const_cast<ly_ctx*>(context_), nullptr);
}

std::string instance_path(const lyd_node* node) {
  const TextPtr path(lyd_path(node, LYD_PATH_STD, nullptr, 0));
  return path != nullptr ? std::string(path.get()) : std::string();
}

Violation stored_violation(const ly_ctx* context, const lyd_node* tree) {
  (void)tree;
  Violation violation;
  const ly_err_item* const error = ly_err_first(context);
  if (error == nullptr) {
    violation.rule = "the schema";
    return violation;
  }
  violation.path = place_of(error->path);
  violation.rule = error->msg != nullptr ? error->msg : "";
  std::string_view word;
  if (inside(violation.rule, {"Must condition \"", "\" not satisfied."}, word)) {
    violation.rule = "must \"" + std::string(word) + "\"";
  } else if (inside(violation.rule, {"When condition \"", "\" not satisfied."}, word)) {
    violation.rule = "when \"" + std::string(word) + "\"";
  }
  return violation;
}

}  // namespace nexa::host

// The value stays the text that was sent: the schema says how it is read.
#include "feed/state_line.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "text/display.h"
#include "translate/json_scanner.h"
#include "translate/path_string.h"

namespace nexa::feed {
namespace {

using translate::JsonItem;
using translate::JsonKind;

constexpr char kNoObject[] = "a line is one object";
constexpr char kForms[] = R"(a line has "path" and "value", or "delete" or "counters" alone)";
constexpr char kNoPath[] = "a path is a string";

// Behind the string that begins at `at`.
std::size_t end_of_string(std::string_view text, std::size_t at) {
  for (++at; text[at] != '"'; ++at) {
    if (text[at] == '\\') ++at;
  }
  return at + 1;
}

// Behind the value that begins at `at` of a text that was found to be JSON.
std::size_t end_of_value(std::string_view text, std::size_t at) {
  if (text[at] != '{' && text[at] != '[') {
    if (text[at] == '"') return end_of_string(text, at);
    return std::min(text.find_first_of(",} \t\r\n", at), text.size());
  }
  for (int depth = 0; true;) {
    const char byte = text[at];
    if (byte == '"') {
      at = end_of_string(text, at);
      continue;
    }
    if (byte == '{' || byte == '[') ++depth;
    if (byte == '}' || byte == ']') --depth;
    ++at;
    if (depth == 0) return at;
  }
}

struct Members {
  const JsonItem* path = nullptr;
  const JsonItem* value = nullptr;
  const JsonItem* deleted = nullptr;
  const JsonItem* counters = nullptr;

  // Whether they are those of one form.
  bool are_one() const {
    const int forms = (path != nullptr) + (deleted != nullptr) + (counters != nullptr);
    return forms == 1 && (path != nullptr) == (value != nullptr);
  }
};

// False when there is another member, or one twice.
bool find_members(const translate::JsonDocument& document, Members& members) {
  const JsonItem& root = document.items[document.root];
  for (std::uint32_t at = root.child; at != translate::kNoItem; at = document.items[at].next) {
    const JsonItem& item = document.items[at];
    const JsonItem** const place = item.name == "path"       ? &members.path
                                   : item.name == "value"    ? &members.value
                                   : item.name == "delete"   ? &members.deleted
                                   : item.name == "counters" ? &members.counters
                                                             : nullptr;
    if (place == nullptr || *place != nullptr) return false;
    *place = &item;
  }
  return true;
}

}  // namespace

text::Failure unfit_line(std::string rule) {
  return {grpc::StatusCode::INVALID_ARGUMENT, "", std::move(rule)};
}

text::Result<StateLine> read_state_line(std::string_view text) {
  translate::JsonDocument document;
  if (const text::Done done = translate::scan_json(text, document); !done.ok()) {
    return unfit_line(done.failure().rule + " at byte " + std::to_string(document.fault_offset));
  }
  if (document.items[document.root].kind != JsonKind::kObject) return unfit_line(kNoObject);
  Members members;
  if (!find_members(document, members) || !members.are_one()) return unfit_line(kForms);
  StateLine line;
  const JsonItem* path = members.path;
  if (members.deleted != nullptr) {
    path = members.deleted;
    line.kind = StateLine::Kind::kDelete;
  } else if (members.counters != nullptr) {
    path = members.counters;
    line.kind = StateLine::Kind::kCounters;
  }
  if (path == nullptr || path->kind != JsonKind::kString) return unfit_line(kNoPath);
  translate::PathStringError fault;
  auto parsed = translate::parse_path_string(path->text, &fault);
  if (!parsed) return text::Failure{grpc::StatusCode::INVALID_ARGUMENT, "path", fault.text()};
  line.path = std::move(*parsed);
  if (members.value != nullptr) {
    const std::size_t begin = members.value->offset;
    line.value = text.substr(begin, end_of_value(text, begin) - begin);
  }
  return line;
}

}  // namespace nexa::feed

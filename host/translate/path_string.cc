// One pass over the text with a cursor; every failure names the byte. Which names and values make
// sense is for the library's own checks.
#include "translate/path_string.h"

#include <map>

namespace nexa::translate {
namespace {

class Parser {
 public:
  Parser(std::string_view text, PathStringError* error) : text_(text), error_(error) {}

  std::optional<gnmi::Path> parse() {
    if (text_.empty()) return refuse(0, "empty path string; the empty path is \"/\"");
    gnmi::Path path;
    take_origin(path);
    if (at_ < text_.size() && text_[at_] == '/') ++at_;
    if (at_ == text_.size()) return path;
    while (true) {
      if (!take_element(*path.add_elem())) return std::nullopt;
      if (at_ == text_.size()) return path;
      ++at_;  // the slash that ended the element
    }
  }

 private:
  std::nullopt_t refuse(std::size_t offset, std::string message) {
    *error_ = {offset, std::move(message)};
    return std::nullopt;
  }
  bool fail(std::size_t offset, std::string message) {
    refuse(offset, std::move(message));
    return false;
  }

  // A colon directly before the first slash ends an origin; any other colon belongs to a name.
  void take_origin(gnmi::Path& path) {
    const std::size_t end = text_.find_first_of("/[");
    if (end == std::string_view::npos || end == 0 || text_[end] != '/') return;
    if (text_[end - 1] != ':' || end == 1) return;
    path.set_origin(std::string(text_.substr(0, end - 1)));
    at_ = end;
  }

  bool take_element(gnmi::PathElem& element) {
    const std::size_t begin = at_;
    at_ = text_.find_first_of("/[]", begin);
    if (at_ == std::string_view::npos) at_ = text_.size();
    if (at_ == begin) return fail(begin, "empty element name");
    element.set_name(std::string(text_.substr(begin, at_ - begin)));
    while (at_ < text_.size() && text_[at_] == '[') {
      if (!take_key(element)) return false;
    }
    if (at_ == text_.size() || text_[at_] == '/') return true;
    return fail(at_, text_[at_] == ']' ? "\"]\" without \"[\"" : "text after \"]\"");
  }

  bool take_key(gnmi::PathElem& element) {
    const std::size_t open = at_++;
    const std::size_t name_end = text_.find_first_of("=]", at_);
    if (name_end == std::string_view::npos || text_[name_end] == ']') {
      return fail(open, "key without \"=\"");
    }
    std::string name(text_.substr(at_, name_end - at_));
    if (name.empty()) return fail(at_, "empty key name");
    at_ = name_end + 1;
    std::string value;
    for (; at_ < text_.size() && text_[at_] != ']'; ++at_) {
      if (text_[at_] == '\\' && ++at_ == text_.size()) break;
      value.push_back(text_[at_]);
    }
    if (at_ == text_.size()) return fail(open, "key without \"]\"");
    ++at_;
    if (!element.mutable_key()->insert({name, std::move(value)}).second) {
      return fail(open, "key \"" + name + "\" given twice");
    }
    return true;
  }

  std::string_view text_;
  PathStringError* error_;
  std::size_t at_ = 0;
};

}  // namespace

std::string PathStringError::text() const { return message + " at byte " + std::to_string(offset); }

std::optional<gnmi::Path> parse_path_string(std::string_view text, PathStringError* error) {
  return Parser(text, error).parse();
}

void append_key_predicate(std::string_view key, std::string_view value, std::string& out) {
  out.append("[").append(key).append("=");
  for (const char character : value) {
    if (character == ']' || character == '\\') out.push_back('\\');
    out.push_back(character);
  }
  out.push_back(']');
}

std::string format_path_string(const gnmi::Path& path) {
  if (path.elem_size() == 0) return "/";
  std::string text;
  for (const gnmi::PathElem& element : path.elem()) {
    text.append("/").append(element.name());
    const std::map<std::string, std::string> keys(element.key().begin(), element.key().end());
    for (const auto& [key, value] : keys) append_key_predicate(key, value, text);
  }
  return text;
}

}  // namespace nexa::translate

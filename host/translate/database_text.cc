// One pass over the text each way. Neither form has an escape for every character; what cannot be
// written so that it reads back is refused.
#include "translate/database_text.h"

#include <algorithm>

#include "nexa/xpath_parser.h"

namespace nexa::translate {
namespace {

constexpr std::string_view kWildcard = "*";
constexpr std::string_view kRecursiveWildcard = "...";

class KeypathParser {
 public:
  KeypathParser(std::string_view text, PathStringError* error) : text_(text), error_(error) {}

  std::optional<OrderedPath> parse() {
    OrderedPath path;
    if (text_.empty() || text_.front() != '/') return refuse(0, "a keypath begins with \"/\"");
    while (at_ < text_.size()) {
      ++at_;  // the slash
      if (at_ == text_.size()) break;
      if (!take_element(path.emplace_back())) return std::nullopt;
    }
    return path;
  }

 private:
  std::nullopt_t refuse(std::size_t offset, const char* message) {
    *error_ = {offset, message};
    return std::nullopt;
  }

  bool take_element(OrderedElement& element) {
    const std::size_t begin = at_;
    at_ = std::min(text_.find_first_of("/{}", at_), text_.size());
    element.name = text_.substr(begin, at_ - begin);
    if (element.name.empty()) {
      refuse(begin, "empty element name");
      return false;
    }
    if (at_ == text_.size() || text_[at_] == '/') return true;
    if (text_[at_] == '{') return take_keys(element);
    refuse(at_, "\"}\" without \"{\"");
    return false;
  }

  bool take_keys(OrderedElement& element) {
    const std::size_t open = at_++;
    std::string value;
    for (; at_ < text_.size(); ++at_) {
      const char c = text_[at_];
      if (c == '}' && (at_ + 1 == text_.size() || text_[at_ + 1] == '/')) {
        element.keys.emplace_back(std::string(), std::move(value));
        ++at_;
        return true;
      }
      if (c == ' ') {
        element.keys.emplace_back(std::string(), std::move(value));
        value.clear();
      } else if (c == '\\' && at_ + 1 < text_.size() && text_[at_ + 1] == ' ') {
        value.push_back(text_[++at_]);
      } else {
        value.push_back(c);
      }
    }
    refuse(open, "\"{\" without \"}\"");
    return false;
  }

  std::string_view text_;
  PathStringError* error_;
  std::size_t at_ = 0;
};

void append_predicate(const std::string& key, const std::string& value, std::string& text) {
  const bool apostrophe = value.find('\'') != std::string::npos;
  const char quote = apostrophe && value.find('"') == std::string::npos ? '"' : '\'';
  text.append("[").append(key).append("=");
  text.push_back(quote);
  text.append(value);
  text.push_back(quote);
  text.push_back(']');
}

}  // namespace

OrderedPath in_byte_order(const gnmi::Path& path) {
  OrderedPath ordered;
  ordered.reserve(static_cast<std::size_t>(path.elem_size()));
  for (const gnmi::PathElem& element : path.elem()) {
    OrderedElement& added = ordered.emplace_back();
    added.name = element.name();
    added.keys.assign(element.key().begin(), element.key().end());
    std::sort(added.keys.begin(), added.keys.end());
  }
  return ordered;
}

bool is_keypath(std::string_view text) {
  const std::size_t first = text.find_first_of("[{");
  return first != std::string_view::npos && text[first] == '{';
}

std::optional<OrderedPath> parse_keypath(std::string_view text, PathStringError* error) {
  return KeypathParser(text, error).parse();
}

std::string format_keypath(const OrderedPath& path) {
  if (path.empty()) return "/";
  std::string text;
  for (const OrderedElement& element : path) {
    text.append("/").append(element.name);
    char before = '{';
    for (const auto& [key, value] : element.keys) {
      std::string escaped = value;
      replaceAll(escaped, " ", "\\ ");
      text.push_back(before);
      text.append(escaped);
      before = ' ';
    }
    if (!element.keys.empty()) text.push_back('}');
  }
  return text;
}

grpc::Status format_xpath(const OrderedPath& path, std::string& text) {
  text.clear();
  for (const OrderedElement& element : path) {
    text.push_back('/');
    if (element.name == kRecursiveWildcard) continue;
    text.append(element.name);
    for (const auto& [key, value] : element.keys) {
      if (value == kWildcard) continue;
      if (value.find_first_of("=[]") != std::string::npos) {
        return {grpc::StatusCode::INVALID_ARGUMENT,
                "Key value \"" + value +
                    "\" cannot stand in xpath text: it holds one of \"=\", \"[\" "
                    "and \"]\""};
      }
      append_predicate(key, value, text);
    }
  }
  for (int most = 0; most < 2 && !text.empty() && text.back() == '/'; ++most) text.pop_back();
  if (path.empty()) text = "/";
  return grpc::Status::OK;
}

}  // namespace nexa::translate

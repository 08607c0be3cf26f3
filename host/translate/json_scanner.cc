// The JSON scanner: one pass over the text with an explicit stack of open objects and arrays.
#include "translate/json_scanner.h"

#include <array>
#include <cstring>

#include "text/utf8.h"

namespace nexa::translate {
namespace {

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

class Scanner {
 public:
  Scanner(std::string_view text, JsonDocument& document)
      : begin_(text.data()),
        at_(text.data()),
        end_(text.data() + text.size()),
        document_(document) {}

  bool run();
  const char* rule() const { return rule_; }
  std::size_t offset() const { return static_cast<std::size_t>(at_ - begin_); }
  std::uint32_t open_item() const { return open_; }

 private:
  bool fail(const char* rule) {
    rule_ = rule;
    return false;
  }
  void skip_space() {
    while (at_ < end_ && is_space(*at_)) ++at_;
  }
  bool peek(char wanted) const { return at_ < end_ && *at_ == wanted; }
  std::uint32_t add_item(JsonKind kind);
  bool value();
  bool open(JsonKind kind);
  bool close();
  bool member_name();
  bool number();
  bool literal();
  bool string(std::string_view& out, bool& surrogates);
  bool escape(char*& out, bool& surrogates);
  bool hex4(std::uint32_t& code);
  bool after_value();

  const char* begin_;
  const char* at_;
  const char* end_;
  JsonDocument& document_;
  std::uint32_t open_ = kNoItem;  // innermost open object or array
  std::uint32_t last_ = kNoItem;  // its last member so far
  int depth_ = 0;
  bool done_ = false;
  std::string_view name_;
  bool name_surrogates_ = false;
  char* decoded_ = nullptr;
  const char* rule_ = nullptr;  // what failed; null while nothing has
};

std::uint32_t Scanner::add_item(JsonKind kind) {
  std::vector<JsonItem>& items = document_.items;
  const auto index = static_cast<std::uint32_t>(items.size());
  JsonItem& item = items.emplace_back();
  item.kind = kind;
  item.offset = static_cast<std::uint32_t>(offset());
  item.parent = open_;
  item.name = name_;
  item.surrogates = name_surrogates_;
  name_ = {};
  name_surrogates_ = false;
  if (open_ == kNoItem) {
    document_.root = index;
  } else {
    ++items[open_].count;
    (last_ == kNoItem ? items[open_].child : items[last_].next) = index;
  }
  last_ = index;
  return index;
}

bool Scanner::open(JsonKind kind) {
  if (++depth_ > kMaxPayloadDepth)
    return fail("more than 200 objects and arrays inside each other");
  const std::uint32_t index = add_item(kind);
  open_ = index;
  last_ = kNoItem;
  ++at_;
  skip_space();
  const char closing = kind == JsonKind::kObject ? '}' : ']';
  if (peek(closing)) return close();
  return kind == JsonKind::kArray || member_name();
}

bool Scanner::close() {
  ++at_;
  --depth_;
  last_ = open_;
  open_ = document_.items[open_].parent;
  return after_value();
}

// What follows a value: another one, the end of the parent, or the end of the text.
bool Scanner::after_value() {
  for (;;) {
    skip_space();
    if (open_ == kNoItem) {
      done_ = true;
      return true;
    }
    const bool in_object = document_.items[open_].kind == JsonKind::kObject;
    if (peek(',')) {
      ++at_;
      skip_space();
      return in_object ? member_name() : true;
    }
    if (!peek(in_object ? '}' : ']')) {
      return fail(in_object ? "expected ',' or '}'" : "expected ',' or ']'");
    }
    ++at_;
    --depth_;
    last_ = open_;
    open_ = document_.items[open_].parent;
  }
}

bool Scanner::member_name() {
  if (!peek('"')) return fail("expected a member name");
  if (!string(name_, name_surrogates_)) return false;
  skip_space();
  if (!peek(':')) return fail("expected ':'");
  ++at_;
  skip_space();
  return true;
}

bool Scanner::value() {
  if (at_ == end_) return fail("the text ends where a value is expected");
  switch (*at_) {
    case '{':
      return open(JsonKind::kObject);
    case '[':
      return open(JsonKind::kArray);
    case '"': {
      const std::uint32_t index = add_item(JsonKind::kString);
      JsonItem& item = document_.items[index];
      return string(item.text, item.surrogates) && after_value();
    }
    case 't':
    case 'f':
    case 'n':
      return literal() && after_value();
    default:
      return number() && after_value();
  }
}

bool Scanner::literal() {
  struct Literal {
    std::string_view text;
    JsonKind kind;
  };
  static constexpr std::array<Literal, 3> kLiterals = {
      {{"true", JsonKind::kTrue}, {"false", JsonKind::kFalse}, {"null", JsonKind::kNull}}};
  for (const Literal& candidate : kLiterals) {
    const std::string_view rest(at_, static_cast<std::size_t>(end_ - at_));
    if (rest.substr(0, candidate.text.size()) != candidate.text) continue;
    add_item(candidate.kind);
    at_ += candidate.text.size();
    return true;
  }
  return fail("expected a value");
}

bool Scanner::number() {
  const char* start = at_;
  const char* at = at_;
  if (at < end_ && *at == '-') ++at;
  if (at == end_ || !is_digit(*at)) return fail("expected a value");
  if (*at == '0') {
    ++at;
    if (at < end_ && is_digit(*at)) return fail("a number has no leading zeros");
  }
  while (at < end_ && is_digit(*at)) ++at;
  if (at < end_ && *at == '.') {
    ++at;
    if (at == end_ || !is_digit(*at)) return fail("a number has digits after its point");
    while (at < end_ && is_digit(*at)) ++at;
  }
  if (at < end_ && (*at == 'e' || *at == 'E')) {
    ++at;
    if (at < end_ && (*at == '+' || *at == '-')) ++at;
    if (at == end_ || !is_digit(*at)) return fail("a number has digits in its exponent");
    while (at < end_ && is_digit(*at)) ++at;
  }
  JsonItem& item = document_.items[add_item(JsonKind::kNumber)];
  item.text = std::string_view(start, static_cast<std::size_t>(at - start));
  at_ = at;
  return true;
}

bool Scanner::hex4(std::uint32_t& code) {
  if (end_ - at_ < 4) return fail("an escape ends early");
  code = 0;
  for (int digit = 0; digit < 4; ++digit, ++at_) {
    const char c = *at_;
    const int value = is_digit(c)              ? c - '0'
                      : (c >= 'a' && c <= 'f') ? c - 'a' + 10
                      : (c >= 'A' && c <= 'F') ? c - 'A' + 10
                                               : -1;
    if (value < 0) return fail("an escape needs four hexadecimal digits");
    code = code * 16 + static_cast<std::uint32_t>(value);
  }
  return true;
}

bool Scanner::escape(char*& out, bool& surrogates) {
  const char* start = at_;
  ++at_;
  if (at_ == end_) return fail("an escape ends early");
  std::uint32_t code = 0;
  switch (*at_++) {
    case '"':
      code = '"';
      break;
    case '\\':
      code = '\\';
      break;
    case '/':
      code = '/';
      break;
    case 'b':
      code = '\b';
      break;
    case 'f':
      code = '\f';
      break;
    case 'n':
      code = '\n';
      break;
    case 'r':
      code = '\r';
      break;
    case 't':
      code = '\t';
      break;
    case 'u':
      if (!hex4(code)) return false;
      break;
    default:
      at_ = start;
      return fail("unknown escape");
  }
  if (code >= 0xD800 && code < 0xE000) {
    std::uint32_t low = 0;
    const bool paired = code < 0xDC00 && end_ - at_ >= 6 && at_[0] == '\\' && at_[1] == 'u';
    if (paired) {
      at_ += 2;
      if (!hex4(low)) return false;
    }
    if (low < 0xDC00 || low >= 0xE000) {
      at_ = start;
      return fail("a surrogate escape stands alone");
    }
    code = 0x10000 + ((code - 0xD800) << 10U) + (low - 0xDC00);
    surrogates = true;
  }
  if (!text::is_yang_character(code)) {
    at_ = start;
    return fail(text::kNoYangCharacter);
  }
  out = text::encode_utf8(code, out);
  return true;
}

bool Scanner::string(std::string_view& text, bool& surrogates) {
  const char* start = ++at_;
  char* out = nullptr;  // set once the string differs from its source
  char* out_start = nullptr;
  for (;;) {
    const char* run = at_;
    while (at_ < end_ && static_cast<unsigned char>(*at_) >= 0x20 &&
           static_cast<unsigned char>(*at_) < 0x80 && *at_ != '"' && *at_ != '\\') {
      ++at_;
    }
    if (out != nullptr && at_ > run) {
      std::memcpy(out, run, static_cast<std::size_t>(at_ - run));
      out += at_ - run;
    }
    if (at_ == end_) return fail("a string has no end");
    if (*at_ == '"') break;
    if (static_cast<unsigned char>(*at_) < 0x20) return fail("a control character in a string");
    if (*at_ == '\\') {
      if (out == nullptr) {
        if (document_.decoded == nullptr) {
          // A decoded string is never longer than its source.
          document_.decoded.reset(new char[static_cast<std::size_t>(end_ - begin_) + 1]);
          decoded_ = document_.decoded.get();
        }
        out_start = out = decoded_;
        std::memcpy(out, start, static_cast<std::size_t>(at_ - start));
        out += at_ - start;
      }
      if (!escape(out, surrogates)) return false;
      continue;
    }
    std::uint32_t code = 0;
    const std::size_t size = text::decode_utf8(at_, end_, code);
    if (size == 0) return fail(text::kNotUtf8);
    if (!text::is_yang_character(code)) return fail(text::kNoYangCharacter);
    if (out != nullptr) {
      std::memcpy(out, at_, size);
      out += size;
    }
    at_ += size;
  }
  text = out == nullptr ? std::string_view(start, static_cast<std::size_t>(at_ - start))
                        : std::string_view(out_start, static_cast<std::size_t>(out - out_start));
  if (out != nullptr) decoded_ = out;
  ++at_;
  return true;
}

bool Scanner::run() {
  document_.items.emplace_back();
  skip_space();
  while (!done_) {
    if (!value()) return false;
  }
  if (at_ != end_) return fail("bytes after the document");
  return true;
}

}  // namespace

std::string_view JsonDocument::keep(std::string text) {
  kept.push_back(std::make_unique<std::string>(std::move(text)));
  return *kept.back();
}

std::string JsonDocument::place(std::size_t offset) const {
  std::size_t line = 1;
  std::size_t start = 0;
  for (std::size_t at = 0; at < offset && at < source.size(); ++at) {
    if (source[at] != '\n') continue;
    ++line;
    start = at + 1;
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(offset - start + 1);
}

text::Done scan_json(std::string_view text, JsonDocument& document) {
  document.source = text;
  document.items.reserve(text.size() / 24 + 8);
  Scanner scanner(text, document);
  if (scanner.run()) return {};
  document.fault_offset = scanner.offset();
  document.fault_parent = scanner.open_item();
  return text::Failure{grpc::StatusCode::INVALID_ARGUMENT, "", scanner.rule()};
}

}  // namespace nexa::translate

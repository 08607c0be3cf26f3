// Which gNMI path does a text of the configuration database name, and how is that path written as a
// keypath? Works on the text and on the request's token; it never reads the schema itself. The scan
// writes straight into the path's own strings, since a large answer holds one such text for each
// leaf.
#include "nexa/xpath_parser.h"

#include <grpc/support/log.h>

#include <cassert>
#include <string>
#include <string_view>
#include <utility>

namespace nexa {
namespace {

bool refuse(int line) {
  gpr_log(GPR_ERROR, "IN PARSER:  at line %d", line);
  return false;
}

// The action of each character that acts, on the parser's own state; false for malformed text.
// Every token lies between token_start_ and position_, which the action of an earlier character has
// set.
class Actions {
 public:
  explicit Actions(XpathParser& parser) : parser_(parser) {}

  bool slash() {
    switch (parser_.state_) {
      case XpathParser::KEY:
        return refuse(__LINE__);
      case XpathParser::VALUE:
        return true;
      case XpathParser::NAME:
        name_element();
        break;
      default:
        break;
    }
    parser_.element_ = parser_.gPath.add_elem();
    enter(XpathParser::NAME);
    return true;
  }

  bool open_bracket() {
    if (parser_.state_ == XpathParser::NAME) {
      name_element();
      log_element_name(__LINE__);
    } else if (parser_.state_ != XpathParser::KEY_END) {
      return refuse(__LINE__);
    }
    enter(XpathParser::KEY);
    return true;
  }

  bool equals_sign() {
    if (parser_.state_ != XpathParser::KEY) return refuse(__LINE__);
    key_ = token();
    gpr_log(GPR_DEBUG, ">>>IN PARSER:  at line %d, cur_key: %.*s", __LINE__,
            static_cast<int>(key_.size()), key_.data());
    enter(XpathParser::VALUE);
    return true;
  }

  bool close_bracket() {
    gpr_log(GPR_DEBUG, ">>>IN PARSER:  at line %d, state = %d", __LINE__, parser_.state_);
    if (parser_.state_ != XpathParser::VALUE) return refuse(__LINE__);
    // The quotes go, whatever they are.
    std::string_view value = token();
    value = value.size() > 2 ? value.substr(1, value.size() - 2) : std::string_view();
    (*parser_.element_->mutable_key())[key_].assign(value);
    enter(XpathParser::KEY_END);
    return true;
  }

  // What is left at the end names the current element, even behind a key or inside one.
  bool finish() {
    // Text before the first slash alone. The token start may stem from an earlier input then.
    if (parser_.element_ == nullptr && parser_.position_ != 0) return refuse(__LINE__);
    if (parser_.element_ == nullptr) return true;
    if (parser_.token_start_ < parser_.position_) {
      name_element();
      log_element_name(__LINE__);
    }
    return true;
  }

 private:
  std::string_view token() const {
    return std::string_view(parser_.input_)
        .substr(parser_.token_start_, parser_.position_ - parser_.token_start_);
  }

  void enter(XpathParser::State state) {
    parser_.state_ = state;
    parser_.token_start_ = parser_.position_ + 1;
  }

  void name_element() { parser_.element_->mutable_name()->assign(token()); }

  void log_element_name(int line) const {
    gpr_log(GPR_DEBUG, ">>>IN PARSER:  at line %d, elem name: %s", line,
            parser_.element_->name().c_str());
  }

  XpathParser& parser_;
  std::string_view key_;
};

constexpr bool acts(char c) { return c == '/' || c == '[' || c == '=' || c == ']'; }

std::string escape_blanks(const std::string& value) {
  std::string escaped = value;
  replaceAll(escaped, " ", "\\ ");
  return escaped;
}

void append_key_values(const gnmi::PathElem& element, std::string& kpath) {
  if (element.key().empty()) return;
  kpath.push_back('{');
  for (const auto& [key, value] : element.key()) {
    const std::string escaped = escape_blanks(value);
    gpr_log(GPR_DEBUG, "in %s at %d kpath key: %s", "gPath_2_kpath", __LINE__, escaped.c_str());
    kpath.append(escaped).push_back(' ');
  }
  kpath.back() = '}';
}

}  // namespace

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
  if (from.empty()) return;
  std::size_t found = text.find(from);
  if (found == std::string::npos) return;
  std::string replaced;
  std::size_t start = 0;
  for (; found != std::string::npos; found = text.find(from, start)) {
    replaced.append(text, start, found - start).append(to);
    start = found + from.size();
  }
  replaced.append(text, start, std::string::npos);
  text = std::move(replaced);
}

XpathParser::XpathParser(Rfc7951MapperToken& token) : token_(token.shared_from_this()) {}

XpathParser::~XpathParser() { gpr_log(GPR_DEBUG, "Entering ~XpathParser()"); }

bool XpathParser::parse() {
  gPath.Clear();
  element_ = nullptr;
  state_ = START;
  Actions actions(*this);
  const std::size_t size = input_.size();
  const char* const text = input_.data();
  std::size_t at = 0;
  for (; at < size; ++at) {
    const char c = text[at];
    if (!acts(c)) continue;
    // A slash at the very end is ignored in every state.
    if (c == '/' && at + 1 == size) break;
    position_ = static_cast<std::uint32_t>(at);
    const bool accepted = c == '/'   ? actions.slash()
                          : c == '[' ? actions.open_bracket()
                          : c == '=' ? actions.equals_sign()
                                     : actions.close_bracket();
    if (!accepted) return false;
  }
  position_ = static_cast<std::uint32_t>(at);
  if (!actions.finish()) return false;
  gpr_log(GPR_DEBUG, "XpathParser::parse --> exit");
  return true;
}

std::string XpathParser::gPath_2_kpath() {
  std::string kpath = "/";
  if (gPath.elem_size() == 0) return kpath;
  for (const gnmi::PathElem& element : gPath.elem()) {
    if (&element != &gPath.elem(0)) kpath.push_back('/');
    kpath.append(element.name());
    append_key_values(element, kpath);
  }
  gpr_log(GPR_DEBUG, "IN FUNCTION XpathParser::Path_2_kpath -->exit , kpath = %s", kpath.c_str());
  return kpath;
}

grpc::Status XpathParser::assignPathToUpdate(gnmi::Update* update_p) {
  assert(0 != gPath.elem_size());
  assert(update_p);
  grpc::Status status =
      token_->transformPath<&gnmi::BaseNamespaceMapper::BaseMapperToken::externalizeEName>(
          gPath, *update_p->mutable_path());
  gPath.Clear();
  element_ = nullptr;
  gpr_log(GPR_DEBUG, "Externalize path to update");
  return status;
}

grpc::Status XpathParser::assignPathToUpdate(gnmi::Update* update_p,
                                             gnmi::rfc7951::KcnPathPointer& pointer) {
  assert(0 != gPath.elem_size());
  assert(update_p);
  grpc::Status status =
      token_->digestPath<ServiceKestrelNamespaceMapperImpl::SchemaIf, gnmi::rfc7951::KcnPathPointer,
                         &Rfc7951MapperToken::digestPathElement>(
          token_->schemaifPtr(), gPath, pointer, *update_p->mutable_path());
  gPath.Clear();
  element_ = nullptr;
  gpr_log(GPR_DEBUG, "Externalize path to update, create path pointer digest");
  return status;
}

}  // namespace nexa

// Works on the serialised text, tag by tag: in it "<" and ">" stand for nothing but tags.
#include "pretty_xml.h"

namespace nexa_tool {
namespace {

constexpr std::string_view kTag = "\033[36m";
constexpr std::string_view kAttribute = "\033[2m";
constexpr std::string_view kDeclaration = "\033[2m";
constexpr std::string_view kText = "\033[1m";
constexpr std::string_view kPlain = "\033[0m";

class Printer {
 public:
  explicit Printer(bool colour) : colour_(colour) {}

  std::string print(std::string_view xml) {
    while (!xml.empty()) {
      const bool is_tag = xml.front() == '<';
      std::size_t end = xml.find(is_tag ? '>' : '<');
      if (end == std::string_view::npos) end = xml.size();
      if (is_tag && end < xml.size()) ++end;
      if (is_tag) {
        tag(xml.substr(0, end));
      } else if (depth_ > 0) {
        painted(kText, xml.substr(0, end));
        after_end_ = false;
      }
      xml.remove_prefix(end);
    }
    out_.push_back('\n');
    return std::move(out_);
  }

 private:
  void painted(std::string_view colour, std::string_view text) {
    if (colour_) out_.append(colour);
    out_.append(text);
    if (colour_) out_.append(kPlain);
  }

  void new_line() {
    if (!out_.empty()) out_.push_back('\n');
    out_.append(2 * depth_, ' ');
  }

  void tag(std::string_view text) {
    if (text.substr(0, 2) == "<?") {
      painted(kDeclaration, text);
      return;
    }
    if (text.substr(0, 2) == "</") {
      --depth_;
      if (after_end_) new_line();
      painted(kTag, text);
      after_end_ = true;
      return;
    }
    new_line();
    const std::size_t space = text.find(' ');
    painted(kTag, text.substr(0, space));
    const std::size_t close = text.size() - (text.substr(text.size() - 2) == "/>" ? 2 : 1);
    if (space != std::string_view::npos) painted(kAttribute, text.substr(space, close - space));
    if (space != std::string_view::npos) painted(kTag, text.substr(close));
    after_end_ = text.substr(text.size() - 2) == "/>";
    if (!after_end_) ++depth_;
  }

  bool colour_;
  std::string out_;
  std::size_t depth_ = 0;
  bool after_end_ = false;  // the last thing printed ended an element
};

}  // namespace

std::string pretty_xml(std::string_view xml, bool colour) { return Printer(colour).print(xml); }

}  // namespace nexa_tool

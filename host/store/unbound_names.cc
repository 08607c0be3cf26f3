// Whatever is no XML ends the search: libyang refuses the text there, and has read no further.
#include "store/unbound_names.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace nexa::store {
namespace {

constexpr std::string_view kXmlSpaces = " \t\r\n";
constexpr std::string_view kDefaultBinding = "xmlns";
constexpr std::string_view kPrefixBinding = "xmlns:";

class NamespaceScanner {
 public:
  explicit NamespaceScanner(std::string_view xml) : rest_(xml) {}

  std::string find() {
    while (skip_behind("<")) {
      // Behind what has no end there is nothing.
      if (take("!--")) {
        skip_behind("-->");
      } else if (take("![CDATA[")) {
        skip_behind("]]>");
      } else if (take("?")) {
        skip_behind("?>");
      } else if (take("/")) {
        if (outer_.empty() || !skip_behind(">")) break;
        leave();
      } else if (!begin_element() || !unbound_.empty()) {
        break;
      }
    }
    return std::move(unbound_);
  }

 private:
  struct Binding {
    std::string_view prefix;  // empty: the default
    bool has_namespace = false;
  };

  bool take(std::string_view text) {
    if (rest_.substr(0, text.size()) != text) return false;
    rest_.remove_prefix(text.size());
    return true;
  }

  bool skip_behind(std::string_view text) {
    const std::size_t at = rest_.find(text);
    rest_.remove_prefix(at == std::string_view::npos ? rest_.size() : at + text.size());
    return at != std::string_view::npos;
  }

  void skip_spaces() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(kXmlSpaces), rest_.size()));
  }

  std::string_view name() {
    const std::string_view found = rest_.substr(0, rest_.find_first_of(" \t\r\n=/>"));
    rest_.remove_prefix(found.size());
    return found;
  }

  // The rest of a start tag. False when it is none.
  bool begin_element() {
    const std::string_view element = name();
    std::vector<std::string_view> attributes;
    outer_.push_back(bindings_.size());
    for (;;) {
      skip_spaces();
      const bool is_empty = take("/");
      if (take(">")) {
        look_at(element, attributes);
        if (is_empty) leave();
        return true;
      }
      const std::string_view attribute = name();
      skip_spaces();
      if (is_empty || attribute.empty() || !take("=")) return false;
      skip_spaces();
      const std::string_view quote = rest_.substr(0, 1);
      if (quote != "'" && quote != "\"") return false;
      rest_.remove_prefix(1);
      const std::string_view value = rest_.substr(0, rest_.find(quote));
      skip_behind(quote);
      if (attribute == kDefaultBinding) {
        bindings_.push_back({{}, !value.empty()});
      } else if (attribute.substr(0, kPrefixBinding.size()) == kPrefixBinding) {
        bindings_.push_back({attribute.substr(kPrefixBinding.size()), !value.empty()});
      } else {
        attributes.push_back(attribute);
      }
    }
  }

  void look_at(std::string_view element, const std::vector<std::string_view>& attributes) {
    const bool is_outermost = outer_.size() == 1;
    const bool has_prefix = element.find(':') != std::string_view::npos;
    if ((has_prefix || !is_outermost) && !is_bound(element)) unbound_ = element;
    for (const std::string_view attribute : attributes) {
      const bool asks = unbound_.empty() && attribute.find(':') != std::string_view::npos;
      if (asks && !is_bound(attribute)) unbound_ = attribute;
    }
  }

  bool is_bound(std::string_view name) const {
    const std::size_t colon = name.find(':');
    const std::string_view prefix =
        colon == std::string_view::npos ? std::string_view() : name.substr(0, colon);
    if (prefix == "xml") return true;
    const auto found =
        std::find_if(bindings_.rbegin(), bindings_.rend(),
                     [prefix](const Binding& binding) { return binding.prefix == prefix; });
    return found != bindings_.rend() && found->has_namespace;
  }

  void leave() {
    bindings_.resize(outer_.back());
    outer_.pop_back();
  }

  std::string_view rest_;
  std::vector<Binding> bindings_;
  std::vector<std::size_t> outer_;  // for each open element, how many of them stand outside
  std::string unbound_;
};

}  // namespace

std::string unbound_name(std::string_view xml) { return NamespaceScanner(xml).find(); }

}  // namespace nexa::store

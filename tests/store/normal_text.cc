// Texts that are equal exactly when two configurations are.
#include <algorithm>
#include <cctype>

#include "store/whole_oracle.h"

namespace nexa_test {
namespace {

std::string normal_nodes(const lyd_node* first);

std::string normal_node(const lyd_node* node) {
  std::string text = std::string(node->schema->module->name) + ":" + node->schema->name;
  if ((node->schema->nodetype & LYD_NODE_TERM) != 0) {
    return text + "=" + lyd_get_value(node) + "\n";
  }
  if ((node->schema->nodetype & LYD_NODE_ANY) != 0) {
    lyd_node* copy = nullptr;
    lyd_dup_single(node, nullptr, LYD_DUP_RECURSIVE, &copy);
    const Forest owner(copy);
    return text + "=" + print_forest(copy, LYD_XML, 0) + "\n";
  }
  const std::string inner = normal_nodes(lyd_child(node));
  if (inner.empty() && is_plain(node->schema)) return "";
  return text + " {\n" + inner + "}\n";
}

std::string normal_nodes(const lyd_node* first) {
  std::vector<std::string> others;
  for (const lyd_node* node = first; node != nullptr; node = node->next) {
    const bool by_user = (node->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0 &&
                         (node->schema->flags & LYS_ORDBY_USER) != 0;
    if (!by_user) {
      others.push_back(normal_node(node));
      continue;
    }
    // All of them are one text; later ones are skipped.
    const lyd_node* earlier = first;
    while (earlier->schema != node->schema) earlier = earlier->next;
    if (earlier != node) continue;
    std::string all;
    for (const lyd_node* each = node; each != nullptr; each = each->next) {
      if (each->schema == node->schema) all += normal_node(each);
    }
    others.push_back(all);
  }
  std::sort(others.begin(), others.end());
  std::string text;
  for (const std::string& one : others) text += one;
  return text;
}

class JsonReader {
 public:
  explicit JsonReader(const std::string& text) : text_(text) {}

  std::string value() {
    skip();
    const char c = peek();
    if (c == '{') return object();
    if (c == '[') return array();
    if (c == '"') return string();
    std::string token;
    while (at_ < text_.size() && std::string(",]}").find(text_[at_]) == std::string::npos &&
           std::isspace(static_cast<unsigned char>(text_[at_])) == 0) {
      token += text_[at_++];
    }
    return token;
  }

 private:
  char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }
  void skip() {
    while (std::isspace(static_cast<unsigned char>(peek())) != 0) ++at_;
  }
  bool more(char end) {
    skip();
    if (peek() == ',') ++at_;
    skip();
    if (peek() != end && peek() != '\0') return true;
    ++at_;
    return false;
  }

  std::string string() {
    std::string token(1, text_[at_++]);
    while (at_ < text_.size() && text_[at_] != '"') {
      if (text_[at_] == '\\') {
        if (at_ + 1 < text_.size() && text_[at_ + 1] == '/')
          ++at_;
        else
          token += text_[at_++];
      }
      if (at_ < text_.size()) token += text_[at_++];
    }
    ++at_;
    return token + "\"";
  }

  // An anydata is compared as XML alone: its JSON is the printer's.
  static bool is_any(const std::string& name) {
    const std::size_t colon = name.rfind(':');
    const std::size_t begin = colon == std::string::npos ? 1 : colon + 1;
    return name.size() > begin + 2 && name[begin] == 'x' &&
           std::isdigit(static_cast<unsigned char>(name[begin + 1])) != 0;
  }

  std::string object() {
    ++at_;
    std::vector<std::string> members;
    while (more('}')) {
      const std::string name = string();
      skip();
      ++at_;  // the colon
      const std::string content = value();
      if (content != "{}" && !is_any(name)) members.push_back(name + ":" + content);
    }
    return sorted(members, '{', '}');
  }

  std::string array() {
    ++at_;
    std::vector<std::string> entries;
    while (more(']')) entries.push_back(value());
    return sorted(entries, '[', ']');
  }

  static std::string sorted(std::vector<std::string>& parts, char open, char close) {
    std::sort(parts.begin(), parts.end());
    std::string text(1, open);
    for (const std::string& part : parts) text += (text.size() > 1 ? "," : "") + part;
    return text + close;
  }

  const std::string& text_;
  std::size_t at_ = 0;
};

}  // namespace

std::string normal_xml(const std::string& inner_xml) {
  Forest forest;
  if (!parse_forest(inner_xml, forest)) return "does not parse: " + inner_xml;
  return normal_nodes(forest.get());
}

std::string normal_json(const std::string& json) { return JsonReader(json).value(); }

}  // namespace nexa_test

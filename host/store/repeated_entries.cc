// One pass over the text, with the schema at its side; no tree is built.
#include "store/repeated_entries.h"

#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "store/tree.h"

namespace nexa::store {
namespace {

constexpr std::string_view kNamespace = " xmlns=\"";

struct TaggedElement {
  std::string_view tag;
  const lysc_node* schema = nullptr;   // null for what the schema does not have
  const lys_module* module = nullptr;  // of the default namespace
  std::string keys;                    // of a list entry, so far
  std::unordered_map<const lysc_node*, std::unordered_set<std::string>> entries;  // below it
};

class Search {
 public:
  explicit Search(std::string_view xml) : xml_(xml) { open_.emplace_back(); }

  std::string cut();

 private:
  void begin(std::string_view tag);
  bool end(std::string_view text);  // whether the element that ends was there before
  std::string cut_behind(std::size_t end) const;

  const std::string_view xml_;
  std::vector<TaggedElement> open_;  // the outermost stands for the document
};

std::string Search::cut() {
  std::size_t at = 0;
  for (;;) {
    const std::size_t less = xml_.find('<', at);
    if (less == std::string_view::npos) return {};
    const std::size_t greater = xml_.find('>', less);
    if (greater == std::string_view::npos || greater == less + 1) return {};
    const std::string_view text = xml_.substr(at, less - at);
    const std::string_view tag = xml_.substr(less + 1, greater - less - 1);
    at = greater + 1;
    if (tag.front() == '?' || tag.front() == '!') continue;
    if (tag.front() == '/') {
      if (open_.size() < 2) return {};
      if (end(text)) return cut_behind(at);
      continue;
    }
    begin(tag);
    if (tag.back() == '/' && end({})) return cut_behind(at);
  }
}

void Search::begin(std::string_view tag) {
  const TaggedElement& parent = open_.back();
  TaggedElement element;
  element.tag = tag.substr(0, tag.find_first_of(" /"));
  element.module = parent.module;
  const std::size_t given = tag.find(kNamespace);
  if (given != std::string_view::npos) {
    const std::string_view rest = tag.substr(given + kNamespace.size());
    const std::string uri(rest.substr(0, rest.find('"')));
    element.module = ly_ctx_get_module_implemented_ns(kestrel::context(), uri.c_str());
  }
  const bool known = open_.size() == 1 ||
                     (parent.schema != nullptr && (parent.schema->nodetype & LYD_NODE_INNER) != 0);
  if (known && element.module != nullptr) {
    element.schema =
        lys_find_child(parent.schema, element.module, element.tag.data(), element.tag.size(), 0, 0);
  }
  open_.push_back(std::move(element));
}

bool Search::end(std::string_view text) {
  const TaggedElement element = std::move(open_.back());
  open_.pop_back();
  if (element.schema == nullptr) return false;
  TaggedElement& parent = open_.back();
  if (lysc_is_key(element.schema)) {
    parent.keys.append(text).push_back('<');  // which no text has
    return false;
  }
  if (element.schema->nodetype == LYS_LEAFLIST) {
    return !parent.entries[element.schema].emplace(text).second;
  }
  if (element.schema->nodetype != LYS_LIST || lysc_is_dup_inst_list(element.schema)) return false;
  return !parent.entries[element.schema].insert(element.keys).second;
}

std::string Search::cut_behind(std::size_t end) const {
  std::string text(xml_.substr(0, end));
  for (std::size_t level = open_.size() - 1; level > 0; --level) {
    text.append("</").append(open_[level].tag).append(">");
  }
  return text;
}

}  // namespace

std::string cut_at_repetition(std::string_view xml) { return Search(xml).cut(); }

}  // namespace nexa::store

// A line is cut off again when nothing of the wanted part turns out to be below it.
#include "store/reading/ascii_text.h"

#include <algorithm>
#include <string_view>

#include "store/image/schema_texts.h"
#include "store/reading/wanted.h"
#include "text/escape.h"

namespace nexa::store {
namespace {

bool is_plain(char character) { return character > ' ' && character <= '~' && character != '"'; }

void append_ascii_scalar(std::string_view value, std::string& text) {
  if (!value.empty() && std::all_of(value.begin(), value.end(), is_plain)) {
    text += value;
  } else {
    text::append_json_string(value, text);
  }
}

// Backslashes and brackets as the string form of a path escapes them.
void append_key_value(std::string_view value, std::string& text) {
  for (const char character : value) {
    if (character == ']' || character == '\\') text += '\\';
    text += character;
  }
}

class AsciiWriter {
 public:
  AsciiWriter(const JsonForm& form, std::string& text)
      : texts_(SchemaTexts::current()), form_(form), left_(form.depth), text_(text) {}

  bool level(const PairLevel& at, bool is_top) {
    bool has_any = false;
    each_child(at, [&](const NodePair& node) { has_any = child(node, is_top) || has_any; });
    return has_any;
  }

  // A leaf, an entry of a leaf-list, or anydata.
  bool value(const NodePair& node, const SchemaText& text) {
    const ImageNode& chosen = pick(node, text.is_config);
    if (chosen.kind() == ImageKind::kAny) return append_value(node, form_, text_);
    if (!is_wanted_value(form_, chosen.leaf())) return false;
    if (chosen.leaf().form() != ScalarForm::kEmpty)
      append_ascii_scalar(chosen.leaf().text(), text_);
    return true;
  }

 private:
  bool child(const NodePair& node, bool is_top) {
    const SchemaText& text = texts_.of(node.any()->schema());
    if (text.is_key || !may_hold_wanted(form_, text, node.any()->schema())) return false;
    const std::string_view name =
        text.path_name((form_.qualify && (is_top || text.changes_module)) || text.shares_name);
    if (node.any()->kind() != ImageKind::kGroup) {
      return text.is_inner ? inner(node, text, name) : leaf(node, text, name);
    }
    bool has_any = false;
    each_entry(node, [&](const NodePair& entry) {
      const bool is_there = text.is_inner ? inner(entry, text, name) : leaf(entry, text, name);
      has_any = has_any || is_there;
    });
    return has_any;
  }

  bool leaf(const NodePair& node, const SchemaText& text, std::string_view name) {
    const std::size_t begin = text_.size();
    begin_line(name);
    text_ += ' ';
    const std::size_t before = text_.size();
    if (!value(node, text)) {
      text_.resize(begin);
      return false;
    }
    if (text_.size() == before) text_.pop_back();  // the value says nothing
    text_ += '\n';
    return true;
  }

  bool inner(const NodePair& node, const SchemaText& text, std::string_view name) {
    if (!left_.shows_inner() || !shows_keys(form_, node.any()->inner())) return false;
    const LevelsLeft::Descent deeper(left_);
    const std::size_t begin = text_.size();
    begin_line(name);
    append_keys(node.any()->inner());
    text_ += '\n';
    ++depth_;
    const bool has_any = level(PairLevel::below(node), false);
    --depth_;
    if (has_any || (!text.is_plain_container && is_in_part(form_.part, text))) return true;
    text_.resize(begin);
    return false;
  }

  void append_keys(const ImageInner& entry) {
    for (const ImageSlot& key : entry.children()) {
      const SchemaText& text = texts_.of(key->schema());
      if (!text.is_key) return;
      text_ += '[';
      text_ += text.name;
      text_ += '=';
      append_key_value(key->leaf().text(), text_);
      text_ += ']';
    }
  }

  void begin_line(std::string_view name) {
    text_.append(2 * depth_, ' ');
    text_ += name;
  }

  const SchemaTexts& texts_;
  const JsonForm form_;
  LevelsLeft left_;
  std::string& text_;
  std::size_t depth_ = 0;
};

}  // namespace

bool append_ascii_value(const NodePair& node, const JsonForm& form, std::string& text) {
  const SchemaText& schema = SchemaTexts::current().of(node.any()->schema());
  if (!may_hold_wanted(form, schema, node.any()->schema())) return false;
  const std::size_t begin = text.size();
  AsciiWriter writer(form, text);
  if (node.any()->kind() == ImageKind::kInner) {
    const bool has_any = writer.level(PairLevel::below(node), true);
    return has_any || (!schema.is_plain_container && is_in_part(form.part, schema));
  }
  if (node.any()->kind() != ImageKind::kGroup) return writer.value(node, schema);
  each_entry(node, [&](const NodePair& entry) {
    if (writer.value(entry, schema)) text += '\n';
  });
  return text.size() > begin;
}

bool append_ascii_tree(const PairLevel& top, const JsonForm& form, std::string& text) {
  return AsciiWriter(form, text).level(top, true);
}

}  // namespace nexa::store

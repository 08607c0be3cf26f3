// Writing walks two images side by side; reading builds what is new bottom up, so that every new
// node is made once, and edits what stays through a draft.
#include "store/image/image_text.h"

#include <charconv>

#include "store/image/image_difference.h"
#include "store/image/image_draft.h"
#include "store/image/image_import.h"

#include "text/byte_search.h"

namespace nexa::store {
namespace {

void append_line_escaped(std::string_view text, std::string& out) {
  using Escaped = text::ByteSearch<false, '\n', '\t', '\\'>;
  for (std::size_t begin = 0;;) {
    const std::size_t found = Escaped::find(text, begin);
    out.append(text, begin, found - begin);
    if (found == text.size()) return;
    const char character = text[found];
    out.push_back('\\');
    out.push_back(character == '\n' ? 'n' : character == '\t' ? 't' : '\\');
    begin = found + 1;
  }
}

char letter_of(ScalarForm form) {
  switch (form) {
    case ScalarForm::kString:
      return '=';
    case ScalarForm::kBare:
      return '#';
    case ScalarForm::kIdentity:
      return '&';
    case ScalarForm::kEmpty:
      break;
  }
  return '0';
}

class TextWriter {
 public:
  std::string text;

  void children(const ImageInner* before, const ImageInner* after) {
    const lysc_node* counted = nullptr;
    std::uint64_t next = 0;  // place that the reader gives an entry without one; 0: not known
    each_child_difference(before, after, [&](const NodeDifference& node) {
      if (node.before != nullptr || node.after == nullptr || node.order_after == 0) {
        return difference(node);
      }
      const lysc_node* const schema = node.after->schema();
      if (counted != schema) {
        counted = schema;
        next = before == nullptr || before->find(schema) == nullptr ? 1 : 0;
      }
      came(*node.after, node.order_after == next ? 0 : node.order_after);
      if (next != 0) next = node.order_after + 1;
    });
  }

 private:
  void difference(const NodeDifference& node) {
    if (node.before == nullptr) {
      if (node.after != nullptr) came(*node.after, node.order_after);
      return;
    }
    if (node.after == nullptr) return gone(*node.before);
    const bool is_moved = node.order_before != node.order_after;
    if (is_moved) place(node.order_after);
    if (node.after->kind() != ImageKind::kInner) {
      if (is_moved || !same_image(*node.before, *node.after)) came(*node.after, 0);
      return;
    }
    const std::size_t begin = text.size();
    line('>', *node.after);
    const std::size_t inside = text.size();
    if (node.before->is_default() != node.after->is_default()) {
      text.append(node.after->is_default() ? "D\n" : "E\n");
    }
    const lysc_node* const outer = parent_;
    parent_ = node.after->schema();
    children(&node.before->inner(), &node.after->inner());
    parent_ = outer;
    if (text.size() == inside && !is_moved) {
      text.resize(begin);
    } else {
      text.append("<\n");
    }
  }

  void came(const ImageNode& node, std::uint64_t order) {
    if (order != 0) place(order);
    switch (node.kind()) {
      case ImageKind::kLeaf:
        if (node.is_default()) text.push_back('~');
        text.push_back(letter_of(node.leaf().form()));
        name(node);
        text.push_back('\t');
        append_line_escaped(node.leaf().text(), text);
        text.push_back('\n');
        return;
      case ImageKind::kAny:
        text.push_back('x');
        name(node);
        text.push_back('\t');
        append_line_escaped(node.any().xml(), text);
        text.push_back('\n');
        return;
      case ImageKind::kInner: {
        line(node.is_default() ? '*' : '+', node);
        const lysc_node* const outer = parent_;
        parent_ = node.schema();
        for (const ImageSlot& child : node.inner().children()) came_with(*child);
        parent_ = outer;
        text.append("<\n");
        return;
      }
      case ImageKind::kGroup:
        return;
    }
  }

  void came_with(const ImageNode& child) {
    if (child.kind() != ImageKind::kGroup) return came(child, 0);
    std::uint64_t next = 1;  // place that the reader gives an entry without one
    for (const GroupEntry* const entry : child.group().in_order()) {
      came(*entry->node, entry->order == next ? 0 : entry->order);
      next = entry->order + 1;
    }
  }

  void gone(const ImageNode& node) { line('-', node); }

  void place(std::uint64_t order) { text.append("@").append(std::to_string(order)).append("\n"); }

  void name(const ImageNode& node) {
    const lysc_node* const schema = node.schema();
    if (parent_ == nullptr || parent_->module != schema->module) {
      text.append(schema->module->name).append(":");
    }
    text.append(schema->name);
  }

  void line(char letter, const ImageNode& node) {
    text.push_back(letter);
    name(node);
    if (node.kind() == ImageKind::kLeaf && node.schema()->nodetype == LYS_LEAFLIST) {
      text.push_back('\t');
      append_line_escaped(node.leaf().text(), text);
    } else if (node.kind() == ImageKind::kInner && node.schema()->nodetype == LYS_LIST) {
      for (const ImageSlot& child : node.inner().children()) {
        if (child->kind() != ImageKind::kLeaf || !lysc_is_key(child->schema())) break;
        text.push_back('\t');
        append_line_escaped(child->leaf().text(), text);
      }
    }
    text.push_back('\n');
  }

  const lysc_node* parent_ = nullptr;
};

// A node that is new: its children are collected before it is made.
struct NewNode {
  const lysc_node* schema = nullptr;
  bool is_default = false;
  std::uint64_t order = 0;
  std::vector<ImageSlot> children;
};

// Reads lines; `at_` is the start of the next one.
class TextReader {
 public:
  explicit TextReader(std::string_view text) : rest_(text) {}

  std::string error;

  // The lines inside of a node that stays.
  bool edit(ImageSlot& node);

 private:
  bool next();
  bool fail(const char* what);
  const lysc_node* child_schema(const lysc_node* parent, std::string_view name);
  std::string_view unescaped(std::string_view text);
  bool split();
  std::string key_text();
  ImageSlot leaf(const lysc_node* schema);
  ImageSlot any(const lysc_node* schema);
  ImageSlot fresh(const lysc_node* schema);
  static void add(std::vector<ImageSlot>& children, ImageSlot node, std::uint64_t order);
  static void put(ImageSlot& parent, ImageSlot node, std::uint64_t order);
  bool enter(ImageSlot& parent, const lysc_node* schema, std::uint64_t order);
  bool remove(ImageSlot& parent, const lysc_node* schema);
  std::uint64_t take_order() { return std::exchange(order_, 0); }

  struct Child {
    std::string_view name;
    const lysc_node* schema;
  };

  std::string_view rest_;
  char letter_ = 0;
  bool is_default_ = false;
  std::string_view name_;
  std::string_view value_;  // behind the first tab, escaped
  bool has_value_ = false;
  std::uint64_t order_ = 0;
  std::string buffer_;
  std::vector<std::vector<Child>> children_;  // by the number of the parent; names as written
};

bool TextReader::fail(const char* what) {
  if (error.empty()) error = std::string(what) + " at \"" + std::string(name_.substr(0, 80)) + "\"";
  return false;
}

// Takes the next line apart. False at the end.
bool TextReader::next() {
  while (!rest_.empty()) {
    const std::size_t end = rest_.find('\n');
    std::string_view line = rest_.substr(0, end);
    rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
    if (line.empty()) continue;
    if (line.front() == '@') {
      std::from_chars(line.data() + 1, line.data() + line.size(), order_);
      continue;
    }
    is_default_ = line.front() == '~' || line.front() == '*';
    if (line.front() == '~') line.remove_prefix(1);
    letter_ = line.empty() ? '?' : line.front();
    if (letter_ == '*') letter_ = '+';
    line.remove_prefix(line.empty() ? 0 : 1);
    const std::size_t tab = line.find('\t');
    name_ = line.substr(0, tab);
    has_value_ = tab != std::string_view::npos;
    value_ = has_value_ ? line.substr(tab + 1) : std::string_view();
    return true;
  }
  return false;
}

const lysc_node* TextReader::child_schema(const lysc_node* parent, std::string_view name) {
  const std::uint32_t number = parent != nullptr ? schema_number(parent) : 0;
  if (children_.size() <= number) children_.resize(number + 1);
  for (const Child& child : children_[number]) {
    if (child.name == name) return child.schema;
  }
  const std::size_t colon = name.find(':');
  const lys_module* module = parent != nullptr ? parent->module : nullptr;
  std::string_view local = name;
  if (colon != std::string_view::npos) {
    module = ly_ctx_get_module_implemented(kestrel::context(),
                                           std::string(name.substr(0, colon)).c_str());
    local.remove_prefix(colon + 1);
  }
  if (module == nullptr) return nullptr;
  const lysc_node* const schema = lys_find_child(parent, module, local.data(), local.size(), 0, 0);
  if (schema != nullptr) children_[number].push_back({name, schema});
  return schema;
}

std::string_view TextReader::unescaped(std::string_view text) {
  if (text.find('\\') == std::string_view::npos) return text;
  buffer_.clear();
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      buffer_.push_back(text[i]);
      continue;
    }
    ++i;
    buffer_.push_back(text[i] == 'n' ? '\n' : text[i] == 't' ? '\t' : text[i]);
  }
  return buffer_;
}

// The line's keys as a group knows them.
std::string TextReader::key_text() {
  std::string key;
  std::string_view rest = value_;
  for (bool is_first = true; has_value_; is_first = false) {
    const std::size_t tab = rest.find('\t');
    if (!is_first) key.push_back('\0');
    key.append(unescaped(rest.substr(0, tab)));
    if (tab == std::string_view::npos) break;
    rest.remove_prefix(tab + 1);
  }
  return key;
}

ImageSlot TextReader::leaf(const lysc_node* schema) {
  const ScalarForm form = letter_ == '='   ? ScalarForm::kString
                          : letter_ == '#' ? ScalarForm::kBare
                          : letter_ == '&' ? ScalarForm::kIdentity
                                           : ScalarForm::kEmpty;
  if (is_default_) return ImageLeaf::make_default(schema, unescaped(value_), form);
  return ImageLeaf::make(schema, unescaped(value_), form, false);
}

ImageSlot TextReader::any(const lysc_node* schema) {
  const TreePtr node = any_of_xml(schema, std::string(unescaped(value_)));
  if (node != nullptr) return ImageAny::make(node.get());
  fail("anydata that cannot be read");
  return nullptr;
}

void TextReader::add(std::vector<ImageSlot>& children, ImageSlot node, std::uint64_t order) {
  const lysc_node* const schema = node->schema();
  if ((schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) == 0) {
    children.push_back(std::move(node));
    return;
  }
  if (children.empty() || children.back()->schema() != schema) {
    children.push_back(ImageGroup::make(schema));
  }
  ImageSlot& group = children.back();
  ImageDraft::put_entry(group, std::move(node), order != 0 ? order : group->group().next_order());
}

void TextReader::put(ImageSlot& parent, ImageSlot node, std::uint64_t order) {
  const lysc_node* const schema = node->schema();
  if ((schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) == 0) {
    ImageDraft::put(parent, std::move(node));
    return;
  }
  ImageSlot* group = ImageDraft::child(parent, schema);
  if (group == nullptr) group = ImageDraft::put(parent, ImageGroup::make(schema));
  ImageDraft::put_entry(*group, std::move(node), order);
}

// The node of a '+' line; reads up to its '<'.
ImageSlot TextReader::fresh(const lysc_node* schema) {
  const bool is_default = is_default_;
  std::vector<ImageSlot> children;
  while (next()) {
    if (letter_ == '<') return ImageInner::make(schema, is_default, std::move(children));
    const std::uint64_t order = take_order();
    const lysc_node* const child = child_schema(schema, name_);
    if (child == nullptr) break;
    ImageSlot node = letter_ == '+' ? fresh(child) : letter_ == 'x' ? any(child) : leaf(child);
    if (!node) return nullptr;
    add(children, std::move(node), order);
  }
  fail("unknown or cut short");
  return nullptr;
}

bool TextReader::enter(ImageSlot& parent, const lysc_node* schema, std::uint64_t order) {
  ImageSlot* slot = ImageDraft::child(parent, schema);
  if (slot != nullptr && schema->nodetype == LYS_LIST) {
    ImageSlot* const group = slot;
    const std::string key = key_text();
    slot = ImageDraft::entry(*group, key);
    if (slot != nullptr && order != 0) {
      ImageDraft::put_entry(*group, ImageSlot(*slot), order);
      slot = ImageDraft::entry(*group, key);
    }
  }
  if (slot == nullptr) return fail("not there");
  return edit(*slot);
}

bool TextReader::remove(ImageSlot& parent, const lysc_node* schema) {
  ImageSlot* const slot = ImageDraft::child(parent, schema);
  if (slot == nullptr) return fail("not there");
  if ((schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) == 0) {
    ImageDraft::remove(parent, schema);
    return true;
  }
  if (!ImageDraft::remove_entry(*slot, key_text())) return fail("not there");
  if ((*slot)->group().size() == 0) ImageDraft::remove(parent, schema);
  return true;
}

bool TextReader::edit(ImageSlot& node) {
  const lysc_node* const schema = node->schema();
  while (next()) {
    if (letter_ == '<') return schema != nullptr || fail("too many ends");
    if (letter_ == 'D' || letter_ == 'E') {
      ImageDraft::set_default(node, letter_ == 'D');
      continue;
    }
    const std::uint64_t order = take_order();
    const lysc_node* const child = child_schema(schema, name_);
    if (child == nullptr) return fail("unknown");
    if (letter_ == '>') {
      if (!enter(node, child, order)) return false;
    } else if (letter_ == '-') {
      if (!remove(node, child)) return false;
    } else {
      ImageSlot made = letter_ == '+' ? fresh(child) : letter_ == 'x' ? any(child) : leaf(child);
      if (!made) return false;
      put(node, std::move(made), order);
    }
  }
  return schema == nullptr || fail("cut short");
}

}  // namespace

std::string difference_text(const ImageInner& before, const ImageInner& after) {
  TextWriter writer;
  writer.children(&before, &after);
  return std::move(writer.text);
}

std::string image_text(const ImageInner& image) {
  TextWriter writer;
  writer.children(nullptr, &image);
  return std::move(writer.text);
}

text::Done apply_text(std::string_view text, ImagePtr& image) {
  TextReader reader(text);
  ImageSlot root = std::move(image);
  const bool done = reader.edit(root);
  image = ImagePtr::share(&root->inner());
  if (!done) return text::unusable("", std::move(reader.error));
  return {};
}

}  // namespace nexa::store

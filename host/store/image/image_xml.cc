// Written from the texts of the schema and the values. Only values that hold paths go through
// libyang, because their prefixes depend on their inner structure.
#include "store/image/image_xml.h"

#include <libyang/plugins_types.h>

#include <functional>

#include "store/image/union_value.h"
#include "text/escape.h"

namespace nexa::store {
namespace {

const lysc_type* leaf_type(const lysc_node* leaf) {
  return leaf->nodetype == LYS_LEAF ? reinterpret_cast<const lysc_node_leaf*>(leaf)->type
                                    : reinterpret_cast<const lysc_node_leaflist*>(leaf)->type;
}

// A value of libyang's, made of its canonical text.
class StoredValue {
 public:
  explicit StoredValue(const ImageLeaf& image) : context_(image.schema()->module->ctx) {
    const lysc_node* const leaf = image.schema();
    const std::string_view text = image.text();
    const lysc_type* const type = leaf_type(leaf);
    ly_err_item* error = nullptr;
    // Canonical texts have the prefixes of JSON. Said so, because libyang 2.1 does not read an
    // instance identifier that is said to be canonical.
    const LY_ERR done = type->plugin->store(
        context_, type, text.data(), text.size(), 0, LY_VALUE_JSON, leaf->module,
        hints_of(image.form(), text), leaf, &value_, nullptr, &error);
    ly_err_free(error);
    is_stored_ = done == LY_SUCCESS || done == LY_EINCOMPLETE;
  }
  ~StoredValue() {
    if (is_stored_) value_.realtype->plugin->free(context_, &value_);
  }
  StoredValue(const StoredValue&) = delete;
  StoredValue& operator=(const StoredValue&) = delete;

  // The text for XML; `modules` receives those whose prefixes it uses. False when libyang fails.
  bool print(ly_set& modules, std::string& text) const {
    if (!is_stored_) return false;
    ly_bool is_ours = 0;
    const void* const printed = value_.realtype->plugin->print(context_, &value_, LY_VALUE_XML,
                                                               &modules, &is_ours, nullptr);
    if (printed == nullptr) return false;
    text = static_cast<const char*>(printed);
    if (is_ours != 0) const TextPtr owner(static_cast<char*>(const_cast<void*>(printed)));
    return true;
  }

 private:
  const ly_ctx* context_;
  lyd_value value_{};
  bool is_stored_ = false;
};

}  // namespace

std::string configuration_xml(const ImageInner& root) {
  constexpr std::string_view kStart = "<config>";
  std::string xml(kStart);
  XmlWriter(xml).node(root);
  if (xml.size() == kStart.size()) return "<config/>";
  return xml += "</config>";
}

void XmlWriter::node(const ImageNode& node, std::string_view attributes) {
  switch (node.kind()) {
    case ImageKind::kLeaf:
      if (!node.is_default()) leaf(node.leaf(), attributes);
      return;
    case ImageKind::kAny:
      return any(node.any(), attributes);
    case ImageKind::kInner:
      return inner(node.inner(), attributes);
    case ImageKind::kGroup:
      for (const GroupEntry* const entry : node.group().in_order()) {
        this->node(*entry->node, attributes);
      }
      return;
  }
}

void XmlWriter::inner(const ImageInner& node, std::string_view attributes) {
  if (node.schema() == nullptr) {
    for (const ImageSlot& child : node.children()) this->node(*child, attributes);
    return;
  }
  if (node.is_default()) return;
  const std::size_t before = out_.size();
  const bool tag_was_open = tag_is_open_;
  const lys_module* const outer = module_;
  begin(node, attributes);
  for (const ImageSlot& child : node.children()) this->node(*child);
  const bool is_empty = tag_is_open_;
  if (!is_empty || !open_.back().text->is_plain_container) return end();
  out_.resize(before);
  tag_is_open_ = tag_was_open;
  module_ = outer;
  open_.pop_back();
}

void XmlWriter::begin(const ImageInner& inner, std::string_view attributes) {
  const SchemaText& text = texts_.of(inner.schema());
  const lys_module* const outer = module_;
  start_tag(text, inner.schema()->module, attributes);
  open_.push_back({&text, outer});
  module_ = inner.schema()->module;
  tag_is_open_ = true;
}

void XmlWriter::end() {
  const Open& last = open_.back();
  if (tag_is_open_) {
    out_ += "/>";
    tag_is_open_ = false;
  } else {
    out_ += "</";
    out_ += last.text->name;
    out_ += '>';
  }
  module_ = last.outer;
  open_.pop_back();
}

void XmlWriter::keys(const ImageInner& entry) {
  for (const ImageSlot& child : entry.children()) {
    if (!lysc_is_key(child->schema())) return;
    leaf(child->leaf());
  }
}

void XmlWriter::leaf(const ImageLeaf& leaf, std::string_view attributes) {
  const SchemaText& text = texts_.of(leaf.schema());
  if (text.mixes_json_types) {
    const std::optional<text::JsonType> mark = mark_of(leaf);
    std::string marked;
    if (mark) marked.append(text::mark_attributes(*mark)).append(attributes);
    start_tag(text, leaf.schema()->module, mark ? std::string_view(marked) : attributes);
  } else {
    start_tag(text, leaf.schema()->module, attributes);
  }
  if (leaf.form() == ScalarForm::kIdentity) return identity(leaf.text(), text);
  if (text.may_have_prefixes && prefixed(leaf, text)) return;
  value(leaf.text(), text);
}

// Finding it out reads the value, and many leaves of a list have the same.
std::optional<text::JsonType> XmlWriter::mark_of(const ImageLeaf& leaf) {
  constexpr std::size_t kMostMarks = 256;
  if (marks_.empty()) marks_.resize(kMostMarks);
  const std::size_t hash =
      std::hash<std::string_view>()(leaf.text()) ^ schema_number(leaf.schema()) * std::size_t{31};
  Mark& last = marks_[hash % kMostMarks];
  if (last.schema != leaf.schema() || last.form != leaf.form() || last.text != leaf.text()) {
    last = {leaf.schema(), leaf.form(), std::string(leaf.text()),
            needed_mark(leaf.schema(), leaf.text(), leaf.form())};
  }
  return last.mark;
}

void XmlWriter::any(const ImageAny& any, std::string_view attributes) {
  const SchemaText& text = texts_.of(any.schema());
  start_tag(text, any.schema()->module, attributes);
  // The node's own text declares the namespace again.
  std::string_view rest = std::string_view(any.xml()).substr(1 + text.name.size());
  if (rest.substr(0, text.xmlns.size()) == text.xmlns) rest.remove_prefix(text.xmlns.size());
  out_ += rest;
}

void XmlWriter::start_tag(const SchemaText& text, const lys_module* module,
                          std::string_view attributes) {
  if (tag_is_open_) out_ += '>';
  tag_is_open_ = false;
  out_ += '<';
  out_ += text.name;
  if (module != module_) out_ += text.xmlns;
  out_ += attributes;
}

void XmlWriter::identity(std::string_view value, const SchemaText& text) {
  const std::size_t colon = value.find(':');
  const lys_module* const module =
      colon == std::string_view::npos ? nullptr : module_named(value.substr(0, colon));
  if (module == nullptr) return this->value(value, text);
  declare(*module);
  out_ += '>';
  out_ += module->prefix;
  out_ += value.substr(colon);
  out_ += "</";
  out_ += text.name;
  out_ += '>';
}

bool XmlWriter::prefixed(const ImageLeaf& leaf, const SchemaText& text) {
  const StoredValue stored(leaf);
  ly_set* made = nullptr;
  if (ly_set_new(&made) != LY_SUCCESS) return false;
  const SetPtr modules(made);
  std::string printed;
  if (!stored.print(*made, printed)) return false;
  for (std::uint32_t i = 0; i < made->count; ++i) {
    declare(*static_cast<const lys_module*>(made->objs[i]));
  }
  value(printed, text);
  return true;
}

void XmlWriter::value(std::string_view value, const SchemaText& text) {
  if (value.empty()) {
    out_ += "/>";
    return;
  }
  out_ += '>';
  text::append_xml_text(value, out_);
  out_ += "</";
  out_ += text.name;
  out_ += '>';
}

void XmlWriter::declare(const lys_module& module) {
  out_ += " xmlns:";
  out_ += module.prefix;
  out_ += "=\"";
  out_ += xml_attribute(module.ns);
  out_ += '"';
}

const lys_module* XmlWriter::module_named(std::string_view name) {
  module_name_.assign(name);
  const auto [place, is_new] = modules_.try_emplace(module_name_);
  if (is_new) {
    place->second = ly_ctx_get_module_implemented(kestrel::context(), module_name_.c_str());
  }
  return place->second;
}

}  // namespace nexa::store

// A value is read again by the type's own callback, with the hints that libyang's JSON reader
// gives. libyang has no annotation for a JSON type and needs a module for every attribute, so a
// mark reaches it as one of its own annotations that stands in no other document of this store.
#include "store/image/union_value.h"

#include <libyang/plugins_types.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "kestrel/json_types.h"
#include "store/image/schema_texts.h"

namespace nexa::store {
namespace {

using text::JsonType;

// What the marks are called while libyang reads them: a number from 1 on.
constexpr char kReadableNamespace[] = "urn:ietf:params:xml:ns:yang:1";
constexpr char kReadableName[] = "orig-position";

// The hints with which the text alone decides.
std::uint32_t any_hints() { return kestrel::hints_of(kestrel::Written::kText); }

std::uint32_t hints_of(JsonType type) {
  switch (type) {
    case JsonType::kString:
      return kestrel::hints_of(kestrel::Written::kString);
    case JsonType::kNumber:
      return kestrel::hints_of(kestrel::Written::kNumber);
    case JsonType::kBoolean:
      return kestrel::hints_of(kestrel::Written::kBoolean);
    case JsonType::kNull:
      return kestrel::hints_of(kestrel::Written::kEmpty);
  }
  return any_hints();
}

// A value of its own, freed with the object unless it was given to a node.
class ReadValue {
 public:
  ReadValue(const lysc_node* leaf, std::string_view text, std::uint32_t hints)
      : context_(leaf->module->ctx) {
    const lysc_type* const type = type_of(leaf);
    ly_err_item* problem = nullptr;
    const LY_ERR done =
        type->plugin->store(context_, type, text.data(), text.size(), 0, LY_VALUE_JSON,
                            leaf->module, hints, leaf, &value_, nullptr, &problem);
    ly_err_free(problem);
    is_read_ = done == LY_SUCCESS || done == LY_EINCOMPLETE;
  }
  ~ReadValue() {
    if (is_read_) value_.realtype->plugin->free(context_, &value_);
  }
  ReadValue(const ReadValue&) = delete;
  ReadValue& operator=(const ReadValue&) = delete;

  bool is_read() const { return is_read_; }
  ScalarForm form() const { return scalar_form(value_); }
  std::string_view text() const { return lyd_value_get_canonical(context_, &value_); }
  LY_DATA_TYPE type() const {
    const LY_DATA_TYPE own = value_.realtype->basetype;
    return own == LY_TYPE_UNION ? value_.subvalue->value.realtype->basetype : own;
  }

  void give_to(lyd_node* leaf) {
    lyd_value& place = reinterpret_cast<lyd_node_term*>(leaf)->value;
    place.realtype->plugin->free(context_, &place);
    place = value_;
    is_read_ = false;
  }

 private:
  const ly_ctx* context_;
  lyd_value value_{};
  bool is_read_ = false;
};

const lyd_value_union* union_of(const lyd_node* leaf) {
  const lyd_value& value = reinterpret_cast<const lyd_node_term*>(leaf)->value;
  return value.realtype->basetype == LY_TYPE_UNION ? value.subvalue : nullptr;
}

// The mark of a node that libyang read; taken out.
std::optional<JsonType> take_mark(lyd_node* node) {
  for (lyd_meta* meta = node->meta; meta != nullptr; meta = meta->next) {
    if (std::strcmp(meta->name, kReadableName) != 0) continue;
    const int number = std::atoi(lyd_get_meta_value(meta));
    lyd_free_meta_single(meta);
    return static_cast<JsonType>(number - 1);
  }
  return std::nullopt;
}

std::string json_text_start() {
  std::string start = text::mark_declaration();
  start.append(" ").append(text::kMarkPrefix).append(":").append(text::kTextAttribute);
  return start.append("=\"");
}

// The marks' own attributes, and what libyang reads in their place.
struct Spelling {
  std::string written;
  std::string readable;
};

std::vector<Spelling> make_spellings() {
  std::string declaration(" xmlns:");
  declaration.append(text::kMarkPrefix).append("=\"").append(kReadableNamespace).append("\" ");
  declaration.append(text::kMarkPrefix).append(":");
  std::vector<Spelling> made;
  for (std::size_t i = 0; i < text::kMarkValues.size(); ++i) {
    Spelling& mark = made.emplace_back();
    mark.written = text::mark_attributes(static_cast<JsonType>(i));
    mark.readable.append(declaration).append(kReadableName);
    mark.readable.append("=\"").append(std::to_string(i + 1)).append("\"");
  }
  Spelling& text = made.emplace_back();
  text.written = json_text_start();
  text.readable.append(declaration).append(text::kTextAttribute).append("=\"");
  return made;
}

const std::vector<Spelling>& spellings() {
  static const std::vector<Spelling> all = make_spellings();
  return all;
}

// Whether a place is inside a tag. The text of an element has no "<", and the attributes that may
// hold a ">" stand behind a mark.
bool is_in_tag(std::string_view xml, std::size_t at) {
  const std::size_t bracket = xml.find_last_of("<>", at);
  return bracket != std::string_view::npos && xml[bracket] == '<';
}

}  // namespace

JsonType json_type(ScalarForm form, std::string_view text) {
  switch (form) {
    case ScalarForm::kEmpty:
      return JsonType::kNull;
    case ScalarForm::kBare:
      return text == "true" || text == "false" ? JsonType::kBoolean : JsonType::kNumber;
    case ScalarForm::kString:
    case ScalarForm::kIdentity:
      break;
  }
  return JsonType::kString;
}

std::uint32_t hints_of(ScalarForm form, std::string_view text) {
  return hints_of(json_type(form, text));
}

LY_DATA_TYPE chosen_member(const ImageLeaf& leaf) {
  const ReadValue value(leaf.schema(), leaf.text(), hints_of(leaf.form(), leaf.text()));
  return value.is_read() ? value.type() : LY_TYPE_UNKNOWN;
}

std::optional<JsonType> needed_mark(const lysc_node* schema, std::string_view text,
                                    ScalarForm form) {
  if (!SchemaTexts::current().of(schema).mixes_json_types) return std::nullopt;
  const bool is_string = json_type(form, text) == JsonType::kString;
  if (is_string && kestrel::is_only_a_string(text)) return std::nullopt;
  const ReadValue by_text(schema, text, any_hints());
  if (by_text.is_read() && by_text.form() == form && by_text.text() == text) return std::nullopt;
  return json_type(form, text);
}

void keep_text(lyd_node* leaf, const char* text) {
  if (!SchemaTexts::current().of(leaf->schema).mixes_json_types) return;
  if (std::strcmp(lyd_get_value(leaf), text) == 0) return;
  for (std::size_t type = 0; type < text::kMarkValues.size(); ++type) {
    ReadValue value(leaf->schema, text, hints_of(static_cast<JsonType>(type)));
    if (!value.is_read() || value.text() != text) continue;
    return value.give_to(leaf);
  }
}

bool has_chosen_member(const lyd_node* leaf) {
  const lyd_value_union* const value = union_of(leaf);
  return value != nullptr && (value->hints & any_hints()) != any_hints();
}

std::string_view readable_marks(std::string_view xml, std::string& storage) {
  static const std::string declaration = text::mark_declaration();
  std::size_t copied = 0;
  for (std::size_t at = xml.find(declaration); at != std::string_view::npos;
       at = xml.find(declaration, at + 1)) {
    if (!is_in_tag(xml, at)) continue;
    for (const Spelling& mark : spellings()) {
      if (xml.substr(at, mark.written.size()) != mark.written) continue;
      storage.append(xml.substr(copied, at - copied)).append(mark.readable);
      copied = at + mark.written.size();
    }
  }
  if (copied == 0) return xml;
  storage.append(xml.substr(copied));
  return storage;
}

const lyd_node* apply_marks(lyd_node* first) {
  for (lyd_node* node = first; node != nullptr; node = node->next) {
    if (node->schema == nullptr) continue;
    if ((node->schema->nodetype & LYD_NODE_TERM) == 0) {
      if (const lyd_node* const fault = apply_marks(lyd_child(node))) return fault;
      continue;
    }
    const std::optional<JsonType> mark = take_mark(node);
    // Under another schema the leaf may be no such union any more: its text says all then.
    if (!mark || !SchemaTexts::current().of(node->schema).mixes_json_types) continue;
    const lyd_value_union* const value = union_of(node);
    const std::string text(static_cast<const char*>(value->original), value->orig_len);
    ReadValue meant(node->schema, text, hints_of(*mark));
    if (meant.is_read()) {
      meant.give_to(node);
    } else if (text != lyd_get_value(node)) {
      return node;
    }
  }
  return nullptr;
}

const lyd_meta* json_text_mark(const lyd_node* any) {
  for (const lyd_meta* meta = any->meta; meta != nullptr; meta = meta->next) {
    if (std::strcmp(meta->name, text::kTextAttribute) == 0) return meta;
  }
  return nullptr;
}

void add_json_text(std::string_view json, std::string& xml) {
  constexpr std::string_view kDeclaration = " xmlns=\"";
  std::size_t place = xml.find_first_of(" />");
  if (xml.compare(place, kDeclaration.size(), kDeclaration) == 0) {
    place = xml.find('"', place + kDeclaration.size()) + 1;
  }
  std::string mark = json_text_start();
  mark.append(xml_attribute(json)).append("\"");
  xml.insert(place, mark);
}

}  // namespace nexa::store

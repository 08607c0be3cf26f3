// One pass over the text with the schema at its side. Every node is made and every value is read by
// libyang's own functions; a value whose meaning depends on prefixes goes through its XML reader.
// A leaf that has been read with the same text a while before is copied, which saves reading it.
#include "store/plain_document.h"

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "store/image/schema_texts.h"
#include "store/node_tools.h"
#include "text/byte_search.h"

namespace nexa::store {
namespace {

constexpr std::uint32_t kParseOptions = LYD_PARSE_ONLY | LYD_PARSE_STRICT | LYD_PARSE_NO_STATE;
constexpr std::pair<std::string_view, char> kEntities[] = {
    {"&lt;", '<'}, {"&gt;", '>'}, {"&amp;", '&'}, {"&quot;", '"'}, {"&apos;", '\''}};

using NotInNames = text::ByteSearch<true, '!', '?', ':', '"', '\''>;
using NotInUris = text::ByteSearch<false, '&', '<'>;

// How a value's text names identities and nodes.
enum class Names : std::uint8_t {
  kNone,
  kIdentity,  // it is the name of an identity
  kColon,     // it is one if it has a colon: the others are numbers and booleans
  kMaybe,     // it may be one: a member of the union is
  kPaths,     // it holds names of nodes, or may do so
};

bool is_identity(const lysc_type* type) {
  if (type->basetype == LY_TYPE_LEAFREF) {
    type = reinterpret_cast<const lysc_type_leafref*>(type)->realtype;
  }
  return type->basetype == LY_TYPE_IDENT;
}

// Numbers and booleans: no value of theirs has a colon.
constexpr LY_DATA_TYPE kWithoutColon[] = {
    LY_TYPE_BOOL,  LY_TYPE_DEC64, LY_TYPE_INT8,   LY_TYPE_INT16,  LY_TYPE_INT32,
    LY_TYPE_INT64, LY_TYPE_UINT8, LY_TYPE_UINT16, LY_TYPE_UINT32, LY_TYPE_UINT64};

bool may_have_colon(const lysc_type* type) {
  return std::find(std::begin(kWithoutColon), std::end(kWithoutColon), type->basetype) ==
         std::end(kWithoutColon);
}

Names names_in(const lysc_node* leaf) {
  if (SchemaTexts::current().of(leaf).may_have_prefixes) return Names::kPaths;
  const lysc_type* type = reinterpret_cast<const lysc_node_leaf*>(leaf)->type;
  if (is_identity(type)) return Names::kIdentity;
  if (type->basetype == LY_TYPE_LEAFREF) {
    type = reinterpret_cast<const lysc_type_leafref*>(type)->realtype;
  }
  if (type->basetype != LY_TYPE_UNION) return Names::kNone;
  const auto* const members = reinterpret_cast<const lysc_type_union*>(type)->types;
  bool has_identity = false;
  bool has_other = false;
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(members, i) {
    has_identity |= is_identity(members[i]);
    has_other |= !is_identity(members[i]) && may_have_colon(members[i]);
  }
  if (!has_identity) return Names::kNone;
  return has_other ? Names::kMaybe : Names::kColon;
}

// Leaves that were read, by their schema and text. Newer ones take the places of older ones.
class ReadLeaves {
 public:
  struct Place {
    const lysc_node* schema = nullptr;
    std::string text;
    const lyd_node* leaf = nullptr;
  };

  // A short document has no places: its leaves are few.
  explicit ReadLeaves(std::size_t document_size)
      : places_(std::min(document_size / kBytesForPlace, kMostPlaces)) {}

  // Where a leaf with this text is or would be; null without places.
  Place* place(const lysc_node* schema, const std::string& text) {
    if (places_.empty()) return nullptr;
    const std::size_t hash =
        std::hash<std::string>()(text) ^ schema_number(schema) * std::size_t{31};
    return &places_[hash % places_.size()];
  }

 private:
  static constexpr std::size_t kBytesForPlace = 256;
  static constexpr std::size_t kMostPlaces = 1024;

  std::vector<Place> places_;
};

struct Tag {
  std::string_view name;
  std::string_view uri;     // of the default namespace, when it is given here
  std::string_view prefix;  // of the one other namespace that is given here
  std::string_view prefix_uri;
  std::string_view attributes;  // all of them, as written
  bool is_empty = false;        // <name/>
};

bool copy_leaf(const lyd_node* leaf, lyd_node* parent) {
  auto* const inner = reinterpret_cast<lyd_node_inner*>(parent);
  return lyd_dup_single(leaf, inner, LYD_DUP_NO_META, nullptr) == LY_SUCCESS;
}

struct Element {
  std::string_view name;
  std::string_view uri;
  const lys_module* module = nullptr;
  const lysc_node* schema = nullptr;
  lyd_node* node = nullptr;  // of an entry: null until its keys are read
  std::vector<std::string> keys;
  std::unordered_map<const lysc_node*, std::unordered_set<std::string>> entries;  // below it
};

class Reader {
 public:
  explicit Reader(std::string_view xml) : xml_(xml), leaves_(xml.size()) {}

  bool read();
  TreePtr take() { return TreePtr(std::exchange(top_, nullptr)); }
  ~Reader() { lyd_free_all(top_); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

 private:
  bool read_tag(Tag& tag);
  bool begin(const Tag& tag);
  bool end(std::string_view name);
  bool begin_inner(Element element);
  bool make_entry(Element& entry);
  bool read_leaf(const Tag& tag, const Element& leaf);
  bool take_text(const Tag& tag, std::string_view& raw);
  bool add_leaf(const Tag& tag, const Element& leaf, std::string_view raw);
  bool read_value(const Tag& tag, const lysc_node* schema, std::string_view raw);
  bool decode(std::string_view raw);
  bool name_identity(const Tag& tag);
  bool parse_leaf(const Tag& tag, const Element& leaf, std::string_view raw);
  const lys_module* module_of(std::string_view uri);

  const std::string_view xml_;
  std::size_t at_ = 0;
  std::vector<Element> open_;
  lyd_node* top_ = nullptr;  // owned
  std::vector<std::pair<std::string_view, const lys_module*>> modules_;
  std::string value_;
  ReadLeaves leaves_;
};

bool Reader::read() {
  while (at_ < xml_.size()) {
    if (xml_[at_] != '<') return false;  // blanks as well: the translation writes none
    if (xml_.substr(at_, 2) == "</") {
      const std::size_t greater = xml_.find('>', at_);
      if (greater == std::string_view::npos) return false;
      const std::string_view name = xml_.substr(at_ + 2, greater - at_ - 2);
      at_ = greater + 1;
      if (!end(name)) return false;
      continue;
    }
    Tag tag;
    if (!read_tag(tag) || !begin(tag)) return false;
  }
  return open_.empty();
}

// Reads a start tag that has no other attributes than namespaces.
bool Reader::read_tag(Tag& tag) {
  const std::size_t greater = xml_.find('>', at_);
  if (greater == std::string_view::npos) return false;
  std::string_view text = xml_.substr(at_ + 1, greater - at_ - 1);
  at_ = greater + 1;
  if (!text.empty() && text.back() == '/') {
    tag.is_empty = true;
    text.remove_suffix(1);
  }
  const std::size_t blank = text.find(' ');
  tag.name = text.substr(0, blank);
  if (tag.name.empty() || NotInNames::find(tag.name, 0) != tag.name.size()) return false;
  text.remove_prefix(tag.name.size());
  tag.attributes = text;
  while (!text.empty()) {
    if (text.substr(0, 6) != " xmlns") return false;
    text.remove_prefix(6);
    const std::size_t open = text.find("=\"");
    const std::size_t close = open == std::string_view::npos ? open : text.find('"', open + 2);
    if (close == std::string_view::npos) return false;
    const std::string_view uri = text.substr(open + 2, close - open - 2);
    if (NotInUris::find(uri, 0) != uri.size()) return false;
    if (open == 0) {
      if (!tag.uri.empty() || uri.empty()) return false;
      tag.uri = uri;
    } else {
      if (text.front() != ':' || !tag.prefix.empty()) return false;
      tag.prefix = text.substr(1, open - 1);
      tag.prefix_uri = uri;
    }
    text.remove_prefix(close + 1);
  }
  return true;
}

const lys_module* Reader::module_of(std::string_view uri) {
  for (const auto& [known, module] : modules_) {
    if (known == uri) return module;
  }
  const lys_module* const module =
      ly_ctx_get_module_implemented_ns(kestrel::context(), std::string(uri).c_str());
  modules_.emplace_back(uri, module);
  return module;
}

bool Reader::begin(const Tag& tag) {
  Element element;
  element.name = tag.name;
  const Element* const parent = open_.empty() ? nullptr : &open_.back();
  if (!tag.uri.empty()) {
    element.uri = tag.uri;
    element.module = module_of(tag.uri);
  } else if (parent != nullptr) {
    element.uri = parent->uri;
    element.module = parent->module;
  }
  if (element.module == nullptr) return false;
  element.schema = lys_find_child(parent != nullptr ? parent->schema : nullptr, element.module,
                                  tag.name.data(), tag.name.size(), 0, 0);
  if (element.schema == nullptr || schema_number(element.schema) == 0 ||
      (element.schema->flags & LYS_CONFIG_W) == 0) {
    return false;
  }
  if ((element.schema->nodetype & (LYS_LEAF | LYS_LEAFLIST)) != 0) {
    return parent != nullptr && read_leaf(tag, element);
  }
  // Prefixes that are given for more than one value are left to libyang.
  if (!tag.prefix.empty() || !begin_inner(std::move(element))) return false;
  return !tag.is_empty || end(tag.name);
}

bool Reader::begin_inner(Element element) {
  const lysc_node* const schema = element.schema;
  if (open_.empty() && schema->nodetype != LYS_CONTAINER) return false;
  if (!open_.empty() && open_.back().node == nullptr) return false;  // a key is missing
  if (schema->nodetype == LYS_LIST) {  // with keys, as all that is configuration
    open_.push_back(std::move(element));
    return true;
  }
  if (schema->nodetype != LYS_CONTAINER) return false;
  lyd_node* const parent = open_.empty() ? nullptr : open_.back().node;
  if (lyd_new_inner(parent, schema->module, schema->name, 0, &element.node) != LY_SUCCESS) {
    return false;
  }
  if (parent == nullptr && lyd_insert_sibling(top_, element.node, &top_) != LY_SUCCESS) {
    lyd_free_tree(element.node);
    return false;
  }
  open_.push_back(std::move(element));
  return true;
}

bool Reader::end(std::string_view name) {
  if (open_.empty() || open_.back().name != name || open_.back().node == nullptr) return false;
  open_.pop_back();
  return true;
}

bool Reader::read_leaf(const Tag& tag, const Element& leaf) {
  std::string_view raw;
  if (!tag.is_empty && !take_text(tag, raw)) return false;
  Element& parent = open_.back();
  if (!lysc_is_key(leaf.schema)) return parent.node != nullptr && add_leaf(tag, leaf, raw);
  // Keys come first, in the order of the schema.
  const lysc_node* expected = lysc_node_child(parent.schema);
  for (std::size_t i = 0; i < parent.keys.size(); ++i) expected = expected->next;
  if (parent.node != nullptr || leaf.schema != expected) return false;
  if (!read_value(tag, leaf.schema, raw)) return false;
  parent.keys.push_back(value_);
  const bool is_last = leaf.schema->next == nullptr || !lysc_is_key(leaf.schema->next);
  return !is_last || make_entry(parent);
}

// Takes the text up to the end tag, and the end tag.
bool Reader::take_text(const Tag& tag, std::string_view& raw) {
  const std::size_t less = xml_.find('<', at_);
  if (less == std::string_view::npos) return false;
  raw = xml_.substr(at_, less - at_);
  const std::string_view rest = xml_.substr(less);
  const std::size_t size = tag.name.size();
  if (rest.size() < size + 3 || rest.substr(0, 2) != "</" || rest.substr(2, size) != tag.name ||
      rest[size + 2] != '>') {
    return false;
  }
  at_ = less + size + 3;
  return true;
}

bool Reader::make_entry(Element& entry) {
  if (entry.keys.size() > kMostKeys) return false;
  std::array<const char*, kMostKeys> keys{};
  std::string all;
  for (std::size_t i = 0; i < entry.keys.size(); ++i) {
    keys[i] = entry.keys[i].c_str();
    all.append(entry.keys[i]).push_back('\0');
  }
  Element& parent = open_[open_.size() - 2];
  if (!parent.entries[entry.schema].insert(std::move(all)).second) return false;
  return new_list_entry(parent.node, entry.schema, {keys.data(), entry.keys.size()}, &entry.node) ==
         LY_SUCCESS;
}

bool Reader::add_leaf(const Tag& tag, const Element& leaf, std::string_view raw) {
  const lysc_node* const schema = leaf.schema;
  Element& parent = open_.back();
  const bool is_plain = read_value(tag, schema, raw);
  if (schema->nodetype == LYS_LEAFLIST) {
    if (!parent.entries[schema].emplace(is_plain ? value_ : raw).second) return false;
  }
  if (!is_plain) return parse_leaf(tag, leaf, raw);
  ReadLeaves::Place* const place = leaves_.place(schema, value_);
  if (place != nullptr && place->schema == schema && place->text == value_) {
    return copy_leaf(place->leaf, parent.node);
  }
  lyd_node* made = nullptr;
  if (lyd_new_term(parent.node, schema->module, schema->name, value_.c_str(), 0, &made) !=
      LY_SUCCESS) {
    return false;
  }
  if (place != nullptr) *place = {schema, value_, made};
  return true;
}

// Puts the value into value_ as JSON has it. False when only libyang's XML reader knows it.
bool Reader::read_value(const Tag& tag, const lysc_node* schema, std::string_view raw) {
  if (!decode(raw)) return false;
  switch (names_in(schema)) {
    case Names::kNone:
      return true;
    case Names::kIdentity:
      return name_identity(tag);
    case Names::kColon:
      return value_.find(':') == std::string::npos || name_identity(tag);
    case Names::kMaybe:
      // Without a prefix it would be an identity of the leaf's own module, here and there. No
      // module's name begins with a digit.
      return value_.find(':') == std::string::npos || (value_[0] >= '0' && value_[0] <= '9');
    case Names::kPaths:
      break;
  }
  return false;
}

// Puts the text into value_. False when it has other characters than printable ASCII.
bool Reader::decode(std::string_view raw) {
  value_.clear();
  for (std::size_t i = 0; i < raw.size(); ++i) {
    const char byte = raw[i];
    if (byte < ' ' || byte > '~' || byte == '>') return false;
    if (byte != '&') {
      value_.push_back(byte);
      continue;
    }
    bool is_known = false;
    for (const auto& [name, meant] : kEntities) {
      if (raw.substr(i, name.size()) != name) continue;
      value_.push_back(meant);
      i += name.size() - 1;
      is_known = true;
      break;
    }
    if (!is_known) return false;
  }
  return true;
}

// Writes the identity in value_ with the name of its module.
bool Reader::name_identity(const Tag& tag) {
  const std::size_t colon = value_.find(':');
  if (colon == std::string::npos || std::string_view(value_).substr(0, colon) != tag.prefix) {
    return false;
  }
  const lys_module* const module = module_of(tag.prefix_uri);
  if (module == nullptr) return false;
  value_.replace(0, colon, module->name);
  return true;
}

bool Reader::parse_leaf(const Tag& tag, const Element& leaf, std::string_view raw) {
  std::string xml = "<";
  xml.append(tag.name);
  if (tag.uri.empty()) xml.append(" xmlns=\"").append(leaf.uri).append("\"");
  xml.append(tag.attributes).append(">").append(raw).append("</").append(tag.name).append(">");
  ly_in* input = nullptr;
  if (ly_in_new_memory(xml.c_str(), &input) != LY_SUCCESS) return false;
  lyd_node* parsed = nullptr;
  const LY_ERR done = lyd_parse_data(kestrel::context(), open_.back().node, input, LYD_XML,
                                     kParseOptions, 0, &parsed);
  ly_in_free(input, 0);
  return done == LY_SUCCESS;
}

}  // namespace

bool read_plain_document(std::string_view xml, TreePtr& tree) {
  Reader reader(xml);
  const bool is_read = reader.read();
  tree = is_read ? reader.take() : nullptr;
  return is_read;
}

}  // namespace nexa::store

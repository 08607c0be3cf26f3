// Values of leaves, judged by the type plugins of libyang. Only schema and types are used here: no
// data tree is built.
#include "kestrel/values.h"

#include <libyang/libyang.h>
#include <libyang/plugins_types.h>

#include <array>
#include <cstring>
#include <unordered_map>

#include "kestrel/loader.h"

namespace kestrel {
namespace {

constexpr std::uint32_t kAnyHint = LYD_VALHINT_STRING | LYD_VALHINT_DECNUM | LYD_VALHINT_NUM64 |
                                   LYD_VALHINT_BOOLEAN | LYD_VALHINT_EMPTY;

std::uint32_t hints_of(Written written) {
  switch (written) {
    case Written::kString:
      return LYD_VALHINT_STRING | LYD_VALHINT_NUM64;
    case Written::kNumber:
      return LYD_VALHINT_DECNUM;
    case Written::kBoolean:
      return LYD_VALHINT_BOOLEAN;
    case Written::kEmpty:
      return LYD_VALHINT_EMPTY;
    case Written::kNull:
      return 0;
    case Written::kText:
      return kAnyHint;
  }
  return 0;
}

std::uint32_t class_of(LY_DATA_TYPE type) {
  switch (type) {
    case LY_TYPE_INT8:
    case LY_TYPE_INT16:
    case LY_TYPE_INT32:
    case LY_TYPE_UINT8:
    case LY_TYPE_UINT16:
    case LY_TYPE_UINT32:
      return kSmallInteger;
    case LY_TYPE_INT64:
    case LY_TYPE_UINT64:
      return kLargeInteger;
    case LY_TYPE_DEC64:
      return kDecimal;
    case LY_TYPE_BOOL:
      return kBoolean;
    case LY_TYPE_EMPTY:
      return kEmptyType;
    case LY_TYPE_IDENT:
      return kIdentity;
    case LY_TYPE_INST:
      return kInstance;
    default:
      return kText;
  }
}

constexpr std::uint32_t kAnyInteger = kSmallInteger | kLargeInteger;

// A type plugin's value, freed with the object.
class Value {
 public:
  explicit Value(const ly_ctx* context) : context_(context) {}
  ~Value() {
    if (type_ != nullptr) type_->plugin->free(context_, &value_);
  }
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;

  bool store(const lysc_node* node, const lysc_type* type, std::string_view text,
             std::uint32_t hints, std::string& rule) {
    ly_err_item* problem = nullptr;
    const LY_ERR result =
        type->plugin->store(context_, type, text.data(), text.size(), 0, LY_VALUE_JSON, nullptr,
                            hints, node, &value_, nullptr, &problem);
    // Incomplete: whether the value's target exists is a question to the data, not to the type.
    const bool taken = result == LY_SUCCESS || result == LY_EINCOMPLETE;
    if (taken) {
      type_ = type;
    } else {
      rule =
          problem != nullptr && problem->msg != nullptr ? problem->msg : "not a value of its type";
      std::memset(&value_, 0, sizeof value_);
    }
    ly_err_free(problem);
    return taken;
  }

  // The type that took the value: the member of a union, the target of a leafref.
  const lysc_type* real_type() const {
    const lyd_value* value = &value_;
    while (value->realtype->basetype == LY_TYPE_UNION) value = &value->subvalue->value;
    return value->realtype;
  }

  std::string print(LY_VALUE_FORMAT format, void* prefixes) const {
    ly_bool dynamic = 0;
    std::size_t size = 0;
    const auto* text = static_cast<const char*>(
        value_.realtype->plugin->print(context_, &value_, format, prefixes, &dynamic, &size));
    if (text == nullptr) return {};
    std::string copy(text, size);
    if (dynamic != 0) std::free(const_cast<char*>(text));
    return copy;
  }

 private:
  const ly_ctx* context_;
  const lysc_type* type_ = nullptr;
  lyd_value value_{};
};

// The prefixes of a text that was printed: a sized array as libyang's printers expect it.
struct PrefixArray {
  LY_ARRAY_COUNT_TYPE count = 0;
  std::array<lysc_prefix, 64> items{};
};

}  // namespace

struct ValueChecker::State {
  struct Leaf {
    const lysc_node* node = nullptr;
    const lysc_type* type = nullptr;
    std::uint32_t classes = 0;
    bool free_text = false;      // any string will do
    bool prefixed_text = false;  // the text of some member depends on prefixes
  };

  const ly_ctx* context = nullptr;
  std::unordered_map<const kestrel_cs_node*, const lysc_node*> nodes;
  std::unordered_map<const kestrel_cs_node*, Leaf> leaves;
  std::unordered_map<std::string, const KestrelNsEntry*> entries;  // by module name

  void refresh() {
    if (context == kestrel::context()) return;
    context = kestrel::context();
    nodes.clear();
    leaves.clear();
    entries.clear();
    KestrelNsEntry* list = nullptr;
    const int count = kestrel_get_nslist(&list);
    for (int index = 0; index < count; ++index) entries[list[index].module] = &list[index];
  }

  const lysc_node* node_of(const kestrel_cs_node* node) {
    const auto known = nodes.find(node);
    if (known != nodes.end()) return known->second;
    const lysc_node* parent = node->parent != nullptr ? node_of(node->parent) : nullptr;
    const char* uri = kestrel_hash2str(node->ns);
    const char* name = kestrel_hash2str(node->tag);
    const lys_module* module =
        uri != nullptr ? ly_ctx_get_module_implemented_ns(context, uri) : nullptr;
    const lysc_node* found = nullptr;
    if (module != nullptr && name != nullptr && (node->parent == nullptr || parent != nullptr)) {
      found = lys_find_child(parent, module, name, 0, 0, 0);
    }
    nodes.emplace(node, found);
    return found;
  }

  static void describe(const lysc_type* type, Leaf& leaf) {
    switch (type->basetype) {
      case LY_TYPE_UNION: {
        const auto* of_union = reinterpret_cast<const lysc_type_union*>(type);
        leaf.classes |= kUnion;
        leaf.prefixed_text = true;
        for (LY_ARRAY_COUNT_TYPE index = 0; index < LY_ARRAY_COUNT(of_union->types); ++index) {
          describe(of_union->types[index], leaf);
        }
        return;
      }
      case LY_TYPE_LEAFREF:
        return describe(reinterpret_cast<const lysc_type_leafref*>(type)->realtype, leaf);
      default: {
        leaf.classes |= class_of(type->basetype);
        const char* id = type->plugin->id != nullptr ? type->plugin->id : "";
        leaf.prefixed_text = leaf.prefixed_text || type->basetype == LY_TYPE_IDENT ||
                             type->basetype == LY_TYPE_INST ||
                             std::strstr(id, "xpath") != nullptr ||
                             std::strstr(id, "instance") != nullptr;
        if (type->basetype != LY_TYPE_STRING || leaf.classes != kestrel::kText) return;
        const auto* of_string = reinterpret_cast<const lysc_type_str*>(type);
        leaf.free_text = of_string->length == nullptr && of_string->patterns == nullptr &&
                         std::strstr(id, "- string") != nullptr;
        return;
      }
    }
  }

  const Leaf* leaf_of(const kestrel_cs_node* node) {
    refresh();
    const auto known = leaves.find(node);
    if (known != leaves.end()) return &known->second;
    Leaf leaf;
    leaf.node = node_of(node);
    if (leaf.node == nullptr) return nullptr;
    if (leaf.node->nodetype == LYS_LEAF) {
      leaf.type = reinterpret_cast<const lysc_node_leaf*>(leaf.node)->type;
    } else if (leaf.node->nodetype == LYS_LEAFLIST) {
      leaf.type = reinterpret_cast<const lysc_node_leaflist*>(leaf.node)->type;
    } else {
      return nullptr;
    }
    describe(leaf.type, leaf);
    return &leaves.emplace(node, leaf).first->second;
  }

  // The text and the declarations of a value whose spelling depends on prefixes.
  // False when the value has no spelling in XML: an XPath with a prefix that is no module's.
  bool spell(const Value& value, std::string_view given, StoredText& out) {
    ly_set* modules = nullptr;
    if (ly_set_new(&modules) != LY_SUCCESS) return false;
    std::string text = value.print(LY_VALUE_XML, modules);
    PrefixArray prefixes;
    bool same = true;
    for (std::uint32_t index = 0; index < modules->count && index < prefixes.items.size();
         ++index) {
      const auto* module = static_cast<const lys_module*>(modules->objs[index]);
      const auto entry = entries.find(module->name);
      const char* prefix = entry != entries.end() ? entry->second->prefix : module->prefix;
      same = same && std::strcmp(prefix, module->prefix) == 0;
      prefixes.items[prefixes.count++] = {const_cast<char*>(prefix), module};
      out.namespaces.emplace_back(prefix, module->ns);
    }
    ly_set_free(modules, nullptr);
    // Two modules may declare one prefix; the namespace list has made theirs distinct.
    if (!same) text = value.print(LY_VALUE_SCHEMA_RESOLVED, prefixes.items.data());
    if (text.empty() && !given.empty()) return false;
    out.as_given = text == given;
    if (!out.as_given) out.text = std::move(text);
    return true;
  }

  bool set(const Leaf& leaf, const Value& value, std::string_view given, StoredText& out,
           std::string& rule) {
    const std::uint32_t real = class_of(value.real_type()->basetype);
    if (real == kEmptyType) {
      out.as_given = given.empty();
    } else if ((real & kAnyInteger) != 0) {
      // JSON strings may hold other bases and blanks, which XML reads as something else.
      out.text = value.print(LY_VALUE_CANON, nullptr);
      out.as_given = out.text == given;
    } else if (leaf.prefixed_text && (real & (kIdentity | kInstance | kestrel::kText)) != 0) {
      const char* id = value.real_type()->plugin->id;
      const bool plain = (real & (kIdentity | kInstance)) == 0 &&
                         (id == nullptr || (std::strstr(id, "xpath") == nullptr &&
                                            std::strstr(id, "instance") == nullptr));
      if (plain || spell(value, given, out)) return true;
      // A union keeps the text: read from XML it is the next member's.
      out.as_given = true;
      if ((leaf.classes & kUnion) != 0) return true;
      rule = "a prefix in \"" + std::string(given) + "\" is no module's";
      return false;
    }
    return true;
  }

  void collect_identities(const lysc_type* type, std::string_view name,
                          std::vector<const lysc_ident*>& found) {
    switch (type->basetype) {
      case LY_TYPE_UNION: {
        const auto* of_union = reinterpret_cast<const lysc_type_union*>(type);
        for (LY_ARRAY_COUNT_TYPE index = 0; index < LY_ARRAY_COUNT(of_union->types); ++index) {
          collect_identities(of_union->types[index], name, found);
        }
        return;
      }
      case LY_TYPE_LEAFREF:
        return collect_identities(reinterpret_cast<const lysc_type_leafref*>(type)->realtype, name,
                                  found);
      case LY_TYPE_IDENT: {
        const auto* of_identity = reinterpret_cast<const lysc_type_identityref*>(type);
        // Several bases all hold (RFC 7950 section 9.10.2): the store below judges that.
        if (LY_ARRAY_COUNT(of_identity->bases) > 0) {
          collect_derived(of_identity->bases[0], name, found);
        }
        return;
      }
      default:
        return;
    }
  }

  static void collect_derived(const lysc_ident* base, std::string_view name,
                              std::vector<const lysc_ident*>& found) {
    for (LY_ARRAY_COUNT_TYPE index = 0; index < LY_ARRAY_COUNT(base->derived); ++index) {
      const lysc_ident* derived = base->derived[index];
      bool known = derived->name != name;
      for (const lysc_ident* one : found) known = known || one == derived;
      if (!known) found.push_back(derived);
      collect_derived(derived, name, found);
    }
  }

  bool check_identity(const Leaf& leaf, std::string_view text, StoredText& out, std::string& rule) {
    std::string_view name = text;
    std::string_view prefix;
    if (const std::size_t colon = text.find(':'); colon != std::string_view::npos) {
      prefix = text.substr(0, colon);
      name = text.substr(colon + 1);
    }
    std::vector<const lysc_ident*> found;
    collect_identities(leaf.type, name, found);
    std::string wanted;
    std::string choices;
    std::size_t taken = 0;
    for (const lysc_ident* identity : found) {
      const auto entry = entries.find(identity->module->name);
      if (!prefix.empty() && (entry == entries.end() || prefix != entry->second->prefix)) continue;
      std::string full = std::string(identity->module->name) + ":" + identity->name;
      std::string ignored;
      Value value(context);
      if (!value.store(leaf.node, leaf.type, full, LYD_VALHINT_STRING, ignored)) continue;
      if (class_of(value.real_type()->basetype) != kIdentity) continue;
      choices += (choices.empty() ? "" : ", ") + full;
      wanted = std::move(full);
      ++taken;
    }
    if (taken > 1)
      rule = "identity \"" + std::string(text) + "\" has more than one meaning: " + choices;
    if (taken != 1) return false;
    Value value(context);
    if (!value.store(leaf.node, leaf.type, wanted, LYD_VALHINT_STRING, rule)) return false;
    out.qualified = std::move(wanted);
    return spell(value, text, out);
  }

  bool check_lenient(const Leaf& leaf, std::string_view text, Written written, StoredText& out,
                     std::string& rule) {
    std::uint32_t wanted = 0;
    if (written == Written::kNumber) wanted = leaf.classes & (kLargeInteger | kDecimal);
    if (written == Written::kString) wanted = leaf.classes & kSmallInteger;
    if (wanted != 0) {
      Value value(context);
      std::string ignored;
      const std::uint32_t hints = LYD_VALHINT_STRING | LYD_VALHINT_DECNUM | LYD_VALHINT_NUM64;
      if (value.store(leaf.node, leaf.type, text, hints, ignored) &&
          (class_of(value.real_type()->basetype) & wanted) != 0) {
        return set(leaf, value, text, out, rule);
      }
      if ((leaf.classes & kUnion) == 0) rule = ignored;
    }
    const bool textual = written == Written::kString || written == Written::kText;
    return textual && (leaf.classes & kIdentity) != 0 && check_identity(leaf, text, out, rule);
  }
};

ValueChecker::ValueChecker() : state_(std::make_unique<State>()) {}
ValueChecker::~ValueChecker() = default;

bool ValueChecker::check(const kestrel_cs_node* node, std::string_view text, Written written,
                         bool lenient, StoredText& out, std::string& rule) {
  const State::Leaf* leaf = state_->leaf_of(node);
  if (leaf == nullptr) {
    rule = "not a leaf";
    return false;
  }
  out.as_given = true;
  if (leaf->free_text && (written == Written::kString || written == Written::kText)) return true;
  Value value(state_->context);
  if (value.store(leaf->node, leaf->type, text, hints_of(written), rule)) {
    return state_->set(*leaf, value, text, out, rule);
  }
  return lenient && state_->check_lenient(*leaf, text, written, out, rule);
}

std::string ValueChecker::canonical(const kestrel_cs_node* node, std::string_view text) {
  const State::Leaf* leaf = state_->leaf_of(node);
  std::string rule;
  if (leaf == nullptr || leaf->free_text) return std::string(text);
  Value value(state_->context);
  if (!value.store(leaf->node, leaf->type, text, kAnyHint, rule)) return std::string(text);
  return value.print(LY_VALUE_CANON, nullptr);
}

namespace {

void append_json_string(std::string_view text, std::string& out) {
  out += '"';
  for (const char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        out += c;
        break;
    }
  }
  out += '"';
}

}  // namespace

std::string ValueChecker::json_token(const kestrel_cs_node* node, std::string_view text) {
  std::string out;
  const State::Leaf* leaf = state_->leaf_of(node);
  std::string rule;
  Value value(state_->context);
  if (leaf == nullptr || leaf->free_text ||
      !value.store(leaf->node, leaf->type, text, kAnyHint, rule)) {
    append_json_string(text, out);
    return out;
  }
  const std::uint32_t real = class_of(value.real_type()->basetype);
  if (real == kEmptyType) return "[null]";
  std::string printed = value.print(LY_VALUE_JSON, nullptr);
  if ((real & (kSmallInteger | kBoolean)) != 0) return printed;
  append_json_string(printed, out);
  return out;
}

bool ValueChecker::takes_any_form(const kestrel_cs_node* node) {
  state_->refresh();
  const lysc_node* found = state_->node_of(node);
  return found != nullptr && found->nodetype == LYS_ANYXML;
}

std::uint32_t ValueChecker::type_classes(const kestrel_cs_node* node) {
  const State::Leaf* leaf = state_->leaf_of(node);
  return leaf != nullptr ? leaf->classes : 0;
}

}  // namespace kestrel

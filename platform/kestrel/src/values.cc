// Values of leaves, judged by the type plugins of libyang. Only schema and types are used here: no
// data tree is built.
#include "kestrel/values.h"

#include <libyang/libyang.h>
#include <libyang/plugins_types.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <unordered_map>

#include "kestrel/json_types.h"
#include "kestrel/loader.h"
#include "type_value.h"

namespace kestrel {
namespace {

// "1" of "1.0" and "1.": a number whose fraction is nothing; else the number.
std::string_view without_zero_fraction(std::string_view number) {
  const std::size_t point = number.find('.');
  if (point == std::string_view::npos) return number;
  const bool is_zero = number.find_first_not_of('0', point + 1) == std::string_view::npos;
  return is_zero ? number.substr(0, point) : number;
}

// The prefixes of a text that was printed: a sized array as libyang's printers expect it.
struct PrefixArray {
  LY_ARRAY_COUNT_TYPE count = 0;
  std::array<lysc_prefix, 64> items{};
};

}  // namespace

struct ValueChecker::State {
  struct Given {
    std::string_view text;
    Written written;
  };
  struct Leaf {
    const lysc_node* node = nullptr;
    const lysc_type* type = nullptr;
    std::uint32_t classes = 0;
    bool free_text = false;  // any string will do
    bool takes_binary = false;
    bool prefixed_text = false;  // the text of some member depends on prefixes
    bool mixes_types = false;    // a text may stand for values of two JSON types
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
        leaf.takes_binary = leaf.takes_binary || type->basetype == LY_TYPE_BINARY;
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
    leaf.mixes_types = mixes_json_types(leaf.type);
    return &leaves.emplace(node, leaf).first->second;
  }

  // The text and the declarations of a value whose spelling depends on prefixes.
  // False when the value has no spelling in XML: an XPath with a prefix that is no module's.
  bool spell(const TypeValue& value, std::string_view given, StoredText& out) {
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
      prefixes.items[index] = {const_cast<char*>(prefix), module};
      ++prefixes.count;
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

  bool set_text(const Leaf& leaf, const TypeValue& value, std::string_view given, StoredText& out,
                std::string& rule) {
    const std::uint32_t real = value.real_class();
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

  // The canonical text that a union makes of a text with these hints, behind a letter for the JSON
  // type; empty when it takes none.
  std::string reading(const Leaf& leaf, std::string_view text, std::uint32_t hints) const {
    TypeValue value(context);
    std::string ignored;
    if (!value.store(leaf.node, leaf.type, text, hints, ignored)) return {};
    const auto letter = static_cast<char>('0' + static_cast<int>(written_as(value.real_class())));
    return letter + value.print(LY_VALUE_CANON, nullptr);
  }

  // RFC 7951, section 6.10: the JSON type takes part in the choice of the member. What reads the
  // text later has to choose the same one. `read`: how `value` was read from `given`, where that
  // is known.
  bool set_mark(const Leaf& leaf, const TypeValue& value, std::string_view given,
                std::optional<Written> read, StoredText& out, std::string& rule) const {
    if (!leaf.mixes_types || !out.namespaces.empty()) return true;
    const Written written = written_as(value.real_class());
    const std::string canonical = value.print(LY_VALUE_CANON, nullptr);
    const std::string wanted = static_cast<char>('0' + static_cast<int>(written)) + canonical;
    const std::string_view text = out.as_given ? given : std::string_view(out.text);
    const bool was_read_so = read == written && text == given;
    const bool is_string = was_read_so && written == Written::kString && text == canonical;
    if (is_string && kestrel::is_only_a_string(text)) return true;
    if ((!was_read_so && reading(leaf, text, hints_of(written)) != wanted) ||
        (text != canonical && reading(leaf, canonical, hints_of(written)) != wanted)) {
      rule = "no text keeps the member of the union that takes the value";
      return false;
    }
    if (reading(leaf, text, hints_of(Written::kText)) != wanted) out.mark = written;
    // A key of a path names the entry by its text: which of two JSON types a payload means counts.
    if (lysc_is_key(leaf.node)) {
      constexpr std::array<Written, 4> kTypes = {Written::kString, Written::kNumber,
                                                 Written::kBoolean, Written::kEmpty};
      const bool has_others = std::any_of(kTypes.begin(), kTypes.end(), [&](Written other) {
        return other != written && !reading(leaf, text, hints_of(other)).empty();
      });
      if (has_others) out.mark = written;
    }
    return true;
  }

  // What to store for a value, as it was given; `read` as for set_mark().
  bool set(const Leaf& leaf, const TypeValue& value, const Given& given,
           std::optional<Written> read, StoredText& out, std::string& rule) {
    if (!set_text(leaf, value, given.text, out, rule)) return false;
    return given.written == Written::kText || set_mark(leaf, value, given.text, read, out, rule);
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
      TypeValue value(context);
      if (!value.store(leaf.node, leaf.type, full, LYD_VALHINT_STRING, ignored)) continue;
      if (value.real_class() != kIdentity) continue;
      choices += (choices.empty() ? "" : ", ") + full;
      wanted = std::move(full);
      ++taken;
    }
    if (taken > 1)
      rule = "identity \"" + std::string(text) + "\" has more than one meaning: " + choices;
    if (taken != 1) return false;
    TypeValue value(context);
    if (!value.store(leaf.node, leaf.type, wanted, LYD_VALHINT_STRING, rule)) return false;
    out.qualified = std::move(wanted);
    return spell(value, text, out);
  }

  // Takes the text as if it were written so, when a member of one of the classes does.
  bool take_as(const Leaf& leaf, std::string_view text, std::uint32_t hints, std::uint32_t classes,
               const Given& given, StoredText& out, std::string& rule) {
    if ((leaf.classes & classes) == 0) return false;
    TypeValue value(context);
    std::string problem;
    if (value.store(leaf.node, leaf.type, text, hints, problem) &&
        (value.real_class() & classes) != 0) {
      return set(leaf, value, given, std::nullopt, out, rule);
    }
    if ((leaf.classes & kUnion) == 0) rule = problem;
    return false;
  }

  // Base64 may be broken into lines anywhere.
  bool take_binary(const Leaf& leaf, const Given& given, StoredText& out) const {
    if (!leaf.takes_binary || given.text.find_first_of("\r\n") == std::string_view::npos)
      return false;
    std::string text(given.text);
    text.erase(
        std::remove_if(text.begin(), text.end(), [](char c) { return c == '\r' || c == '\n'; }),
        text.end());
    TypeValue value(context);
    std::string ignored;
    if (!value.store(leaf.node, leaf.type, text, hints_of(Written::kString), ignored) ||
        value.real_type()->basetype != LY_TYPE_BINARY) {
      return false;
    }
    out.as_given = false;
    out.text = std::move(text);
    return set_mark(leaf, value, out.text, Written::kString, out, ignored);
  }

  bool check_lenient(const Leaf& leaf, const Given& given, StoredText& out, std::string& rule) {
    constexpr std::uint32_t kNumbers = LYD_VALHINT_STRING | LYD_VALHINT_DECNUM | LYD_VALHINT_NUM64;
    const std::string_view text = given.text;
    switch (given.written) {
      case Written::kNumber: {
        if (take_as(leaf, text, kNumbers, kLargeInteger | kDecimal, given, out, rule)) return true;
        const std::string_view whole = without_zero_fraction(text);
        return whole.size() != text.size() &&
               take_as(leaf, whole, kNumbers, kAnyInteger, given, out, rule);
      }
      case Written::kString:
        if (take_as(leaf, text, kNumbers, kSmallInteger, given, out, rule) ||
            take_as(leaf, text, LYD_VALHINT_BOOLEAN, kBoolean, given, out, rule) ||
            take_binary(leaf, given, out)) {
          return true;
        }
        break;
      case Written::kNull:
        return take_as(leaf, {}, LYD_VALHINT_EMPTY, kEmptyType, given, out, rule);
      case Written::kText:
        break;
      case Written::kBoolean:
      case Written::kEmpty:
        return false;
    }
    return (leaf.classes & kIdentity) != 0 && check_identity(leaf, text, out, rule);
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
  out.mark = Written::kText;
  if (leaf->free_text && (written == Written::kString || written == Written::kText)) return true;
  TypeValue value(state_->context);
  if (value.store(leaf->node, leaf->type, text, hints_of(written), rule)) {
    return state_->set(*leaf, value, {text, written}, written, out, rule);
  }
  return lenient && state_->check_lenient(*leaf, {text, written}, out, rule);
}

std::string ValueChecker::canonical(const kestrel_cs_node* node, std::string_view text,
                                    Written written) {
  const State::Leaf* leaf = state_->leaf_of(node);
  std::string rule;
  if (leaf == nullptr || leaf->free_text) return std::string(text);
  TypeValue value(state_->context);
  if (!value.store(leaf->node, leaf->type, text, hints_of(written), rule)) return std::string(text);
  return value.print(LY_VALUE_CANON, nullptr);
}

bool ValueChecker::takes_any_form(const kestrel_cs_node* node) {
  state_->refresh();
  const lysc_node* found = state_->node_of(node);
  return found != nullptr && found->nodetype == LYS_ANYXML;
}

}  // namespace kestrel

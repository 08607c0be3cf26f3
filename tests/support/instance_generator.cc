// Builds an instance along the way to a leaf, then writes it twice: as one strict document, and as
// an update at some place on that way, with keys shuffled and prefixes varied.
#include "support/instance_generator.h"

#include <libyang/plugins_types.h>

#include <algorithm>
#include <cstring>

#include "kestrel/kestrel.h"

namespace nexa_test {
namespace {

constexpr int kData = LYS_CONTAINER | LYS_LEAF | LYS_LEAFLIST | LYS_LIST;

bool is_scalar(const lysc_node* node) { return (node->nodetype & (LYS_LEAF | LYS_LEAFLIST)) != 0; }

const lysc_type* type_of(const lysc_node* node) {
  return node->nodetype == LYS_LEAF ? reinterpret_cast<const lysc_node_leaf*>(node)->type
                                    : reinterpret_cast<const lysc_node_leaflist*>(node)->type;
}

const lysc_node* data_parent(const lysc_node* node) {
  node = node->parent;
  while (node != nullptr && (node->nodetype & kData) == 0) node = node->parent;
  return node;
}

std::vector<const lysc_node*> children_of(const lysc_node* parent) {
  std::vector<const lysc_node*> all;
  const lysc_node* child = nullptr;
  while ((child = lys_getnext(child, parent, nullptr, 0)) != nullptr) {
    if ((child->nodetype & kData) != 0) all.push_back(child);
  }
  return all;
}

void append_quoted(const std::string& text, bool escape_more, std::string& out) {
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
      case '/':
        out += escape_more ? "\\/" : "/";
        break;
      case 'n':
        out += escape_more ? "\\u006e" : "n";
        break;
      default:
        out += c;
        break;
    }
  }
  out += '"';
}

void collect_nodes(const lysc_node* node, std::vector<const lysc_node*>& all) {
  all.push_back(node);
  if (is_scalar(node)) return;
  for (const lysc_node* child : children_of(node)) collect_nodes(child, all);
}

bool has_values(const lysc_type* type) {
  switch (type->basetype) {
    case LY_TYPE_UNION: {
      const auto* of_union = reinterpret_cast<const lysc_type_union*>(type);
      for (LY_ARRAY_COUNT_TYPE index = 0; index < LY_ARRAY_COUNT(of_union->types); ++index) {
        if (has_values(of_union->types[index])) return true;
      }
      return false;
    }
    case LY_TYPE_LEAFREF:
      return has_values(reinterpret_cast<const lysc_type_leafref*>(type)->realtype);
    case LY_TYPE_IDENT: {
      const auto* of_identity = reinterpret_cast<const lysc_type_identityref*>(type);
      return LY_ARRAY_COUNT(of_identity->bases[0]->derived) > 0;
    }
    default:
      return true;
  }
}

bool takes_xpath(const lysc_type* type) {
  if (type->basetype == LY_TYPE_UNION) {
    const auto* of_union = reinterpret_cast<const lysc_type_union*>(type);
    for (LY_ARRAY_COUNT_TYPE index = 0; index < LY_ARRAY_COUNT(of_union->types); ++index) {
      if (takes_xpath(of_union->types[index])) return true;
    }
  }
  return type->plugin->id != nullptr && std::strstr(type->plugin->id, "xpath") != nullptr;
}

}  // namespace

bool in_schema(const char* uri) {
  KestrelNsEntry* list = nullptr;
  const int count = kestrel_get_nslist(&list);
  for (int index = 0; index < count; ++index) {
    if (std::strcmp(list[index].uri, uri) == 0) return true;
  }
  return false;
}

bool can_have_value(const lysc_node* leaf) {
  if (is_scalar(leaf) && !has_values(type_of(leaf))) return false;
  for (const lysc_node* list = data_parent(leaf); list != nullptr; list = data_parent(list)) {
    for (const lysc_node* child : children_of(list)) {
      if ((child->flags & LYS_KEY) != 0 && !has_values(type_of(child))) return false;
    }
  }
  return true;
}

std::vector<const lysc_node*> data_nodes(const ly_ctx* context) {
  std::vector<const lysc_node*> all;
  std::uint32_t index = 0;
  while (const lys_module* module = ly_ctx_get_module_iter(context, &index)) {
    if (!in_schema(module->ns) || module->compiled == nullptr) continue;
    const lysc_node* root = nullptr;
    while ((root = lys_getnext(root, nullptr, module->compiled, 0)) != nullptr) {
      if ((root->nodetype & kData) != 0) collect_nodes(root, all);
    }
  }
  return all;
}

InstanceGenerator::InstanceGenerator(const ly_ctx* context, std::uint32_t seed)
    : context_(context), random_(seed) {}

std::optional<Scalar> InstanceGenerator::value_of(const lysc_node* node) {
  for (int attempt = 0; attempt < 60; ++attempt) {
    Scalar scalar;
    scalar.text = candidate_text(context_, node, type_of(node), random_);
    // libyang's JSON parser lets a prefix of an XPath pass that no module has; its XML parser does
    // not.
    if (takes_xpath(type_of(node)) && scalar.text.find(':') != std::string::npos) continue;
    const lysc_type* real = nullptr;
    const LY_ERR taken = lyd_value_validate(context_, node, scalar.text.data(), scalar.text.size(),
                                            nullptr, &real, nullptr);
    if ((taken != LY_SUCCESS && taken != LY_EINCOMPLETE) || real == nullptr) continue;
    scalar.type = real->basetype;
    switch (real->basetype) {
      case LY_TYPE_INT8:
      case LY_TYPE_INT16:
      case LY_TYPE_INT32:
      case LY_TYPE_UINT8:
      case LY_TYPE_UINT16:
      case LY_TYPE_UINT32:
      case LY_TYPE_BOOL:
        scalar.kind = TokenKind::kBare;
        break;
      case LY_TYPE_EMPTY:
        scalar.kind = TokenKind::kEmpty;
        break;
      default:
        break;
    }
    covered_.insert(node);
    return scalar;
  }
  return std::nullopt;
}

std::optional<Instance> InstanceGenerator::node_instance(const lysc_node* node, const Chain& wanted,
                                                         int depth) {
  Instance instance;
  instance.node = node;
  instance.array = (node->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0;
  if (node->nodetype == LYS_LEAF) {
    const auto scalar = value_of(node);
    if (!scalar) return std::nullopt;
    instance.scalar = *scalar;
    return instance;
  }
  if (!instance.array) {
    covered_.insert(node);
    if (!add_children(instance, wanted, depth)) return std::nullopt;
    return instance;
  }
  const int entries = 1 + (chance(30) ? below(3) : 0);
  for (int entry = 0; entry < entries; ++entry) {
    auto made = entry_of(node, entry == 0 ? wanted : Chain(), depth);
    if (!made) return std::nullopt;
    instance.children.push_back(std::move(*made));
  }
  return instance;
}

std::optional<Instance> InstanceGenerator::entry_of(const lysc_node* list, const Chain& wanted,
                                                    int depth) {
  Instance entry;
  entry.node = list;
  covered_.insert(list);
  if (list->nodetype == LYS_LEAFLIST) {
    const auto scalar = value_of(list);
    if (!scalar) return std::nullopt;
    entry.scalar = *scalar;
    return entry;
  }
  if (!add_children(entry, wanted, depth)) return std::nullopt;
  return entry;
}

bool InstanceGenerator::add_children(Instance& parent, const Chain& wanted, int depth) {
  for (const lysc_node* child : children_of(parent.node)) {
    const bool needed = std::find(wanted.begin(), wanted.end(), child) != wanted.end();
    const bool key = (child->flags & LYS_KEY) != 0;
    const int percent = is_scalar(child) ? 60 : depth > 2 ? 4 : 25;
    if (!needed && !key && !chance(percent)) continue;
    auto made = node_instance(child, needed ? wanted : Chain(), depth + 1);
    if (made) {
      parent.children.push_back(std::move(*made));
    } else if (needed || key) {
      return false;
    }
  }
  std::shuffle(parent.children.begin(), parent.children.end(), random_);
  return true;
}

void InstanceGenerator::emit_scalar(const Scalar& scalar, bool strict, std::string& out) {
  const bool large =
      scalar.type == LY_TYPE_INT64 || scalar.type == LY_TYPE_UINT64 || scalar.type == LY_TYPE_DEC64;
  if (scalar.kind == TokenKind::kEmpty) {
    out += "[null]";
  } else if (scalar.kind == TokenKind::kBare) {
    const bool quote = !strict && scalar.type != LY_TYPE_BOOL && chance(20);
    quote ? append_quoted(scalar.text, false, out) : void(out += scalar.text);
  } else if (!strict && large && chance(40)) {
    out += scalar.text;
  } else {
    append_quoted(scalar.text, chance(5), out);
  }
}

void InstanceGenerator::emit(const Instance& instance, const lys_module* outer, bool strict,
                             bool skip_keys, std::string& out) {
  if (instance.array) {
    out += '[';
    for (std::size_t index = 0; index < instance.children.size(); ++index) {
      if (index > 0) out += ',';
      emit(instance.children[index], outer, strict, false, out);
    }
    out += ']';
  } else if (is_scalar(instance.node)) {
    emit_scalar(instance.scalar, strict, out);
  } else {
    emit_members(instance, outer, strict, skip_keys, out);
  }
}

void InstanceGenerator::emit_members(const Instance& object, const lys_module* outer, bool strict,
                                     bool skip_keys, std::string& out) {
  out += '{';
  bool first = true;
  for (const Instance& member : object.children) {
    if (skip_keys && (member.node->flags & LYS_KEY) != 0) continue;
    if (!first) out += chance(10) ? " , " : ",";
    first = false;
    const bool qualified = member.node->module != outer || chance(10);
    append_quoted((qualified ? std::string(member.node->module->name) + ":" : std::string()) +
                      member.node->name,
                  false, out);
    out += ':';
    emit(member, member.node->module, strict, false, out);
  }
  out += '}';
}

void InstanceGenerator::add_element(const Instance& step, const lys_module* outer,
                                    gnmi::Path& path) {
  gnmi::PathElem* element = path.add_elem();
  const lys_module* module = step.node->module;
  const bool qualified = module != outer || chance(10);
  element->set_name((qualified ? std::string(module->name) + ":" : std::string()) +
                    step.node->name);
  for (const Instance& child : step.children) {
    if (step.node->nodetype != LYS_LIST || (child.node->flags & LYS_KEY) == 0) continue;
    const std::string name =
        chance(10) ? std::string(module->name) + ":" + child.node->name : child.node->name;
    (*element->mutable_key())[name] = child.scalar.text;
  }
}

std::optional<GeneratedUpdate> InstanceGenerator::update_with(const lysc_node* leaf, Forms forms) {
  Chain chain;
  for (const lysc_node* node = leaf; node != nullptr; node = data_parent(node)) {
    chain.insert(chain.begin(), node);
  }
  // The instance above the update's place holds nothing but keys and the way.
  const std::size_t place = static_cast<std::size_t>(below(static_cast<int>(chain.size())));
  GeneratedUpdate made;
  std::vector<Instance> steps;
  for (std::size_t index = 0; index < place; ++index) {
    Instance step;
    step.node = chain[index];
    covered_.insert(step.node);
    for (const lysc_node* child : children_of(step.node)) {
      if (step.node->nodetype != LYS_LIST || (child->flags & LYS_KEY) == 0) continue;
      auto key = node_instance(child, {}, 0);
      for (int again = 0; key && (key->scalar.text == "*" || key->scalar.text == "..."); ++again) {
        if (again > 20) return std::nullopt;
        key = node_instance(child, {}, 0);
      }
      if (!key) return std::nullopt;
      step.children.push_back(std::move(*key));
    }
    // A keyless list cannot stand in a path, and a key is set by its entry.
    if (step.node->nodetype == LYS_LIST && step.children.empty()) return std::nullopt;
    steps.push_back(std::move(step));
  }
  const lysc_node* target = chain[place];
  if (place > 0 && (target->flags & LYS_KEY) != 0) return std::nullopt;
  auto value = node_instance(target, chain, 0);
  if (!value) return std::nullopt;
  const bool one_entry =
      target->nodetype == LYS_LIST && (target->flags & LYS_KEYLESS) == 0 && chance(50);
  if (one_entry) value->children.resize(1);

  const lys_module* outer = nullptr;
  for (const Instance& step : steps) {
    add_element(step, outer, made.path);
    outer = step.node->module;
  }
  const Instance& at_place = one_entry ? value->children.front() : *value;
  add_element(at_place, outer, made.path);
  if (!one_entry) made.path.mutable_elem(made.path.elem_size() - 1)->clear_key();
  for (const auto& [name, text] : made.path.elem(made.path.elem_size() - 1).key()) {
    if (text == "*" || text == "...") return std::nullopt;
  }
  emit(at_place, target->module, forms == Forms::kStrict, one_entry && chance(50), made.json);

  // The whole tree, from the inside out.
  std::string inner;
  emit(*value, target->module, true, false, inner);
  const lysc_node* below_node = target;
  for (std::size_t index = steps.size(); index-- > 0;) {
    const Instance& step = steps[index];
    std::string object;
    emit_members(step, step.node->module, true, false, object);
    object.pop_back();
    object += object.size() > 1 ? "," : "";
    object +=
        "\"" + std::string(below_node->module->name) + ":" + below_node->name + "\":" + inner + "}";
    inner = step.node->nodetype == LYS_LIST ? "[" + object + "]" : object;
    below_node = step.node;
  }
  made.whole_tree =
      "{\"" + std::string(below_node->module->name) + ":" + below_node->name + "\":" + inner + "}";
  return made;
}

std::string InstanceGenerator::damaged(const std::string& json) {
  static const std::string kOdd = "{}[]\",:0e1-.n tx\\/";
  std::string text = json;
  const auto at = static_cast<std::size_t>(below(static_cast<int>(text.size())));
  const char c = kOdd[static_cast<std::size_t>(below(static_cast<int>(kOdd.size())))];
  switch (below(5)) {
    case 0:
      text.erase(at, 1);
      break;
    case 1:
      text.insert(at, 1, c);
      break;
    case 2:
      text[at] = c;
      break;
    case 3:
      text.erase(at, static_cast<std::size_t>(1 + below(12)));
      break;
    default: {
      // A value of another kind, where a value begins.
      static const std::vector<std::string> kValues = {
          "null",   "[]", "{}",  "true", "1",    "\"1\"",
          "[null]", "-1", "1e1", "\"\"", "[{}]", "99999999999999999999"};
      const std::size_t colon = text.find("\":", at);
      if (colon == std::string::npos) break;
      const std::size_t end = text.find_first_of(",}]", colon + 2);
      if (end == std::string::npos) break;
      text.replace(colon + 2, end - colon - 2,
                   kValues[static_cast<std::size_t>(below(static_cast<int>(kValues.size())))]);
    }
  }
  return text;
}

}  // namespace nexa_test

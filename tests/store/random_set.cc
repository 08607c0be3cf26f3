// Documents are written as text, the way a translated request looks: elements below "config", each
// with the namespace where it changes.
#include "store/random_set.h"

#include <cstring>

#include "kestrel/loader.h"
#include "support/libyang_arrays.h"

namespace nexa_test {
namespace {

using nexa::store::Edit;

constexpr char kPrefixes[] = " xmlns:m=\"urn:m\" xmlns:n=\"urn:n\"";

void collect(const lysc_node* parent, const lysc_module* module,
             std::vector<const lysc_node*>& found) {
  const lysc_node* node = nullptr;
  while ((node = lys_getnext(node, parent, module, 0)) != nullptr) {
    if ((node->flags & LYS_CONFIG_R) != 0 || (node->nodetype & (LYS_RPC | LYS_NOTIF)) != 0) {
      continue;
    }
    if (!lysc_is_key(node)) found.push_back(node);
    if ((node->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0) collect(node, nullptr, found);
  }
}

void collect(const lyd_node* first, std::vector<const lyd_node*>& found) {
  for (const lyd_node* node = first; node != nullptr; node = node->next) {
    if (node->schema == nullptr || lysc_is_key(node->schema)) continue;
    found.push_back(node);
    collect(lyd_child(node), found);
  }
}

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '<') {
      result += "&lt;";
    } else if (c == '&') {
      result += "&amp;";
    } else {
      result += c;
    }
  }
  return result;
}

std::string space(const lysc_node* schema, const lys_module* around) {
  return schema->module == around ? "" : " xmlns=\"" + std::string(schema->module->ns) + "\"";
}

std::string qualified(const lysc_node* schema) {
  return std::string(schema->module->name) + ":" + schema->name;
}

// A container that holds nothing is not stored; whether a false `when` of it makes the document
// wrong is nobody's question.
bool depends_on_when(const lysc_node* schema) {
  for (; schema != nullptr; schema = schema->parent) {
    if (lysc_node_when(schema) != nullptr) return true;
  }
  return false;
}

std::vector<const lysc_node*> chain_of(const lysc_node* schema) {
  std::vector<const lysc_node*> chain;
  for (; schema != nullptr; schema = lysc_data_parent(schema)) {
    chain.insert(chain.begin(), schema);
  }
  return chain;
}

void add_keys(const lyd_node* entry, gnmi::PathElem& element) {
  for (const lyd_node* key = lyd_child(entry); key != nullptr && lysc_is_key(key->schema);
       key = key->next) {
    (*element.mutable_key())[key->schema->name] = lyd_get_value(key);
  }
}

// With a prefix at each step, as XML needs it.
std::string instance_identifier(const lyd_node* node) {
  std::string text = node->parent != nullptr ? instance_identifier(lyd_parent(node)) : "";
  text += "/" + qualified(node->schema);
  if (node->schema->nodetype == LYS_LIST) {
    for (const lyd_node* key = lyd_child(node); key != nullptr && lysc_is_key(key->schema);
         key = key->next) {
      text += "[" + qualified(key->schema) + "='" + lyd_get_value(key) + "']";
    }
  }
  if (node->schema->nodetype == LYS_LEAFLIST) {
    text += "[.='" + std::string(lyd_get_value(node)) + "']";
  }
  return text;
}

}  // namespace

RandomSets::RandomSets(Dice& dice) : dice_(dice) {
  std::uint32_t index = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(kestrel::context(), &index)) {
    const std::string name = module->name;
    if (module->implemented && module->compiled != nullptr && (name == "m" || name == "n")) {
      collect(nullptr, module->compiled, targets_);
    }
  }
}

std::vector<Edit> RandomSets::make(const lyd_node* current) {
  current_ = current;
  std::vector<Edit> edits;
  const std::size_t count = dice_.chance(65) ? 1 : 1 + dice_.below(4);
  for (std::size_t i = 0; i < count; ++i) edits.push_back(edit(current));
  return edits;
}

Edit RandomSets::edit(const lyd_node* current) {
  const std::size_t kind = dice_.below(100);
  if (kind < 30 && current != nullptr) return remove(current);
  const lysc_node* const target = dice_.pick(targets_);
  if (kind < 48) return replace(target, current);
  const Place place = place_of(target, current);
  Edit made;
  made.kind = Edit::Kind::kUpdate;
  made.xml =
      "<config>" + place.before + instances(target, place.module, 0, 3) + place.after + "</config>";
  return made;
}

Edit RandomSets::replace(const lysc_node* target, const lyd_node* current) {
  Edit made;
  made.kind = Edit::Kind::kReplace;
  if (dice_.chance(4)) {
    const lysc_node* const top = chain_of(target).front();
    made.xml = "<config>" + instances(top, nullptr, 0, 2) + "</config>";
    return made;
  }
  Place place = place_of(target, current);
  gnmi::PathElem& last = *place.path.add_elem();
  last.set_name(qualified(target));
  std::string inner;
  if (target->nodetype == LYS_LIST && dice_.chance(60)) {
    const std::vector<std::string> keys = new_keys(target);
    std::size_t i = 0;
    for (const lysc_node* key = lysc_node_child(target); key != nullptr && lysc_is_key(key);
         key = key->next) {
      (*last.mutable_key())[key->name] = keys[i++];
    }
    inner = entry(target, place.module, 0, keys);
  } else {
    inner = instances(target, place.module, 0, 4);
  }
  if (inner.empty()) made.kind = Edit::Kind::kDelete;  // a document without the node says as much
  made.target.path = std::move(place.path);
  made.xml = "<config>" + place.before + inner + place.after + "</config>";
  return made;
}

Edit RandomSets::remove(const lyd_node* current) {
  std::vector<const lyd_node*> nodes;
  collect(current, nodes);
  Edit made;
  made.kind = Edit::Kind::kDelete;
  if (nodes.empty() || dice_.chance(2)) return made;
  if (dice_.chance(10)) {
    const lysc_node* const target = dice_.pick(targets_);
    gnmi::Path path = place_of(target, current).path;
    path.add_elem()->set_name(qualified(target));
    made.target.path = std::move(path);
    return made;
  }
  std::vector<const lyd_node*> chain;
  for (const lyd_node* node = dice_.pick(nodes); node != nullptr; node = lyd_parent(node)) {
    chain.insert(chain.begin(), node);
  }
  gnmi::Path path;
  for (std::size_t i = 0; i < chain.size(); ++i) {
    gnmi::PathElem& element = *path.add_elem();
    element.set_name(qualified(chain[i]->schema));
    const bool is_last = i + 1 == chain.size();
    if (is_last && i > 0 && dice_.chance(5)) {
      element.set_name("*");
    } else if (chain[i]->schema->nodetype == LYS_LIST && !dice_.chance(10)) {
      add_keys(chain[i], element);
    }
  }
  made.target.path = std::move(path);
  return made;
}

RandomSets::Place RandomSets::place_of(const lysc_node* target, const lyd_node* current) {
  Place place;
  const std::vector<const lysc_node*> chain = chain_of(target);
  const lyd_node* siblings = current;
  for (std::size_t i = 0; i + 1 < chain.size(); ++i) {
    const lysc_node* const schema = chain[i];
    std::vector<const lyd_node*> there;
    for (const lyd_node* node = siblings; node != nullptr; node = node->next) {
      if (node->schema == schema) there.push_back(node);
    }
    const lyd_node* const chosen = !there.empty() && dice_.chance(85) ? dice_.pick(there) : nullptr;
    siblings = chosen != nullptr ? lyd_child(chosen) : nullptr;
    gnmi::PathElem& element = *place.path.add_elem();
    element.set_name(qualified(schema));
    place.before += "<" + std::string(schema->name) + space(schema, place.module) + ">";
    place.after = "</" + std::string(schema->name) + ">" + place.after;
    place.module = schema->module;
    if (schema->nodetype != LYS_LIST) continue;
    if (chosen != nullptr) {
      add_keys(chosen, element);
    } else {
      const std::vector<std::string> keys = new_keys(schema);
      std::size_t number = 0;
      for (const lysc_node* key = lysc_node_child(schema); key != nullptr && lysc_is_key(key);
           key = key->next) {
        (*element.mutable_key())[key->name] = keys[number++];
      }
    }
    for (const lysc_node* key = lysc_node_child(schema); key != nullptr && lysc_is_key(key);
         key = key->next) {
      place.before += term(key, place.module, element.key().at(key->name));
    }
  }
  return place;
}

std::vector<std::string> RandomSets::new_keys(const lysc_node* list) {
  static const std::string words[] = {"a", "a", "b", "b", "c", "1"};
  std::vector<std::string> keys;
  for (const lysc_node* key = lysc_node_child(list); key != nullptr && lysc_is_key(key);
       key = key->next) {
    const bool is_string =
        reinterpret_cast<const lysc_node_leaf*>(key)->type->basetype == LY_TYPE_STRING;
    keys.push_back(is_string ? dice_.pick(words) : std::to_string(1 + dice_.below(2)));
  }
  return keys;
}

// One or several instances of a node, different ones for the most part.
std::string RandomSets::instances(const lysc_node* schema, const lys_module* around, int depth,
                                  int most) {
  if (schema->nodetype != LYS_LIST && schema->nodetype != LYS_LEAFLIST) {
    return node(schema, around, depth);
  }
  std::string text;
  std::vector<std::string> seen;
  const std::size_t count = 1 + dice_.below(static_cast<std::size_t>(most));
  for (std::size_t i = 0; i < count; ++i) {
    if (schema->nodetype == LYS_LIST) {
      const std::vector<std::string> keys = new_keys(schema);
      std::string all;
      for (const std::string& key : keys) all += key + "/";
      bool is_known = false;
      for (const std::string& other : seen) is_known = is_known || other == all;
      if (is_known && !dice_.chance(2)) continue;
      seen.push_back(all);
      text += entry(schema, around, depth, keys);
    } else {
      const std::string one = value(reinterpret_cast<const lysc_node_leaflist*>(schema)->type);
      bool is_known = false;
      for (const std::string& other : seen) is_known = is_known || other == one;
      if (is_known && !dice_.chance(2)) continue;
      seen.push_back(one);
      text += term(schema, around, one);
    }
  }
  return text;
}

std::string RandomSets::entry(const lysc_node* schema, const lys_module* around, int depth,
                              const std::vector<std::string>& keys) {
  std::string text = "<" + std::string(schema->name) + space(schema, around) + ">";
  std::size_t number = 0;
  for (const lysc_node* key = lysc_node_child(schema); key != nullptr && lysc_is_key(key);
       key = key->next) {
    text += term(key, schema->module, keys[number++]);
  }
  return text + content(schema, depth + 1, false) + "</" + schema->name + ">";
}

std::string RandomSets::node(const lysc_node* schema, const lys_module* around, int depth) {
  switch (schema->nodetype) {
    case LYS_CONTAINER: {
      const std::string inner = content(schema, depth + 1, dice_.chance(15));
      if (inner.empty() && (schema->flags & LYS_PRESENCE) == 0 && depends_on_when(schema)) {
        return "";
      }
      return "<" + std::string(schema->name) + space(schema, around) + ">" + inner + "</" +
             schema->name + ">";
    }
    case LYS_LEAF:
      return term(schema, around, value(reinterpret_cast<const lysc_node_leaf*>(schema)->type));
    case LYS_ANYDATA:
    case LYS_ANYXML:
      return any(schema, around);
    default:
      return instances(schema, around, depth, 2);
  }
}

std::string RandomSets::content(const lysc_node* parent, int depth, bool all) {
  std::string text;
  const bool is_case = parent->nodetype == LYS_CASE;
  const lys_module* const around =
      is_case ? (lysc_data_parent(parent) != nullptr ? lysc_data_parent(parent)->module : nullptr)
              : parent->module;
  for (const lysc_node* child = lysc_node_child(parent); child != nullptr; child = child->next) {
    if (lysc_is_key(child) || (child->flags & LYS_CONFIG_R) != 0) continue;
    const bool must = (child->flags & LYS_MAND_TRUE) != 0 && dice_.chance(93);
    if (child->nodetype == LYS_CHOICE) {
      if (must || all || dice_.chance(35)) text += choice(child, depth, must);
    } else if (must || all || dice_.chance(depth > 3 ? 12 : 30)) {
      text += node(child, around, depth);
    }
  }
  return text;
}

std::string RandomSets::choice(const lysc_node* schema, int depth, bool must) {
  std::vector<const lysc_node*> cases;
  for (const lysc_node* one = lysc_node_child(schema); one != nullptr; one = one->next) {
    cases.push_back(one);
  }
  if (cases.empty()) return "";
  std::string text = content(dice_.pick(cases), depth, must);
  if (dice_.chance(1)) text += content(dice_.pick(cases), depth, true);
  return text;
}

std::string RandomSets::term(const lysc_node* schema, const lys_module* around,
                             const std::string& value) {
  const bool has_prefix = value.find(':') != std::string::npos;
  return "<" + std::string(schema->name) + space(schema, around) + (has_prefix ? kPrefixes : "") +
         ">" + escaped(value) + "</" + schema->name + ">";
}

std::string RandomSets::any(const lysc_node* schema, const lys_module* around) {
  static const std::string texts[] = {"http://h/p", "m:id-a", "plain", "a:b:c"};
  std::string inner;
  switch (dice_.below(4)) {
    case 0:
      inner = "<z xmlns=\"urn:z\">" + dice_.pick(texts) + "</z>";
      break;
    case 1:
      inner = "<z xmlns=\"urn:z\"><y>" + dice_.pick(texts) + "</y><y/></z><w xmlns=\"urn:z\"/>";
      break;
    case 2:
      inner = schema->nodetype == LYS_ANYXML ? dice_.pick(texts)
                                             : "<a xmlns=\"\">" + dice_.pick(texts) + "</a>";
      break;
    default:
      break;
  }
  return "<" + std::string(schema->name) + space(schema, around) + ">" + inner + "</" +
         schema->name + ">";
}

std::string RandomSets::value(const lysc_type* type) {
  static const std::string words[] = {"a", "a", "b",    "b",          "c",
                                      "1", "2", "true", "http://h/p", "m:x"};
  if (dice_.chance(2)) return "no value: 99999";
  switch (type->basetype) {
    case LY_TYPE_BOOL:
      return dice_.chance(50) ? "true" : "false";
    case LY_TYPE_EMPTY:
      return "";
    case LY_TYPE_ENUM: {
      const auto* const enums = reinterpret_cast<const lysc_type_enum*>(type)->enums;
      return enums[dice_.below(count_of(enums))].name;
    }
    case LY_TYPE_BITS: {
      static const std::string bits[] = {"r", "w", "r w", "x", "", "r w x"};
      return dice_.pick(bits);
    }
    case LY_TYPE_IDENT: {
      static const std::string names[] = {"m:id-a", "m:id-b", "m:id-c", "m:id-a"};
      return dice_.pick(names);
    }
    case LY_TYPE_DEC64:
      return std::to_string(dice_.below(3)) + (dice_.chance(50) ? ".5" : ".25");
    case LY_TYPE_BINARY:
      return "AQ==";
    case LY_TYPE_LEAFREF:
      return value(reinterpret_cast<const lysc_type_leafref*>(type)->realtype);
    case LY_TYPE_UNION: {
      const auto* const types = reinterpret_cast<const lysc_type_union*>(type)->types;
      return value(types[dice_.below(count_of(types))]);
    }
    case LY_TYPE_INST: {
      std::vector<const lyd_node*> nodes;
      collect(current_, nodes);
      return nodes.empty() ? "/m:none" : instance_identifier(dice_.pick(nodes));
    }
    case LY_TYPE_STRING:
      return dice_.pick(words);
    default:
      return std::to_string(dice_.chance(90) ? dice_.below(4) : dice_.below(300));
  }
}

}  // namespace nexa_test

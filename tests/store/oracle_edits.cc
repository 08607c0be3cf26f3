// The tree is small, so every search is a walk.
#include "store/oracle_edits.h"

#include <cstdlib>

#include "kestrel/loader.h"

namespace nexa_test {
namespace {

using nexa::store::Edit;

struct Free {
  void operator()(char* text) const { std::free(text); }
};

bool is_order_of_user(const lysc_node* schema) {
  return (schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0 &&
         (schema->flags & LYS_ORDBY_USER) != 0;
}

bool is_same_instance(const lyd_node* one, const lyd_node* other) {
  if (one->schema != other->schema) return false;
  return (one->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) == 0 ||
         lyd_compare_single(one, other, 0) == LY_SUCCESS;
}

// Whether a node says anything: a container without presence only holds others.
bool has_content(const lyd_node* node) {
  if (!is_plain(node->schema)) return true;
  for (const lyd_node* child = lyd_child(node); child != nullptr; child = child->next) {
    if (has_content(child)) return true;
  }
  return false;
}

void drop_empty(lyd_node* node) {
  lyd_node* next = nullptr;
  for (lyd_node* child = lyd_child(node); child != nullptr; child = next) {
    next = child->next;
    if (has_content(child)) {
      drop_empty(child);
    } else {
      lyd_free_tree(child);
    }
  }
}

// The choices that a node stands in, from the inside, with its case of each.
std::vector<std::pair<const lysc_node*, const lysc_node*>> cases_of(const lysc_node* schema) {
  std::vector<std::pair<const lysc_node*, const lysc_node*>> cases;
  for (const lysc_node* node = schema->parent;
       node != nullptr && (node->nodetype & (LYS_CASE | LYS_CHOICE)) != 0; node = node->parent) {
    if (node->nodetype == LYS_CASE) cases.emplace_back(node->parent, node);
  }
  return cases;
}

bool contradict(const lysc_node* one, const lysc_node* other) {
  for (const auto& [choice, chosen] : cases_of(one)) {
    for (const auto& [other_choice, other_chosen] : cases_of(other)) {
      if (choice == other_choice && chosen != other_chosen) return true;
    }
  }
  return false;
}

// Empty when a document says one thing only.
std::string contradiction(const lyd_node* first) {
  for (const lyd_node* node = first; node != nullptr; node = node->next) {
    for (const lyd_node* other = node->next; other != nullptr; other = other->next) {
      if (is_same_instance(node, other)) return "twice " + path_of_node(node);
      if (contradict(node->schema, other->schema)) return "two cases " + path_of_node(node);
    }
    std::string deeper = contradiction(lyd_child(node));
    if (!deeper.empty()) return deeper;
  }
  return "";
}

const lyd_node* find_named(const lyd_node* siblings, const std::string& qualified) {
  for (const lyd_node* node = siblings; node != nullptr; node = node->next) {
    if (qualified == std::string(node->schema->module->name) + ":" + node->schema->name) {
      return node;
    }
  }
  return nullptr;
}

bool fits(const lyd_node* node, const gnmi::PathElem& element) {
  if (element.name() != "*" &&
      element.name() != std::string(node->schema->module->name) + ":" + node->schema->name) {
    return false;
  }
  for (const auto& [name, value] : element.key()) {
    const lyd_node* key = lyd_child(node);
    while (key != nullptr && name != key->schema->name) key = key->next;
    if (key == nullptr || (value != "*" && value != lyd_get_value(key))) return false;
  }
  return true;
}

bool fits(const lysc_node* schema, const gnmi::PathElem& element) {
  if (element.name() != "*" &&
      element.name() != std::string(schema->module->name) + ":" + schema->name) {
    return false;
  }
  for (const auto& [name, value] : element.key()) {
    const lysc_node* key = lysc_node_child(schema);
    while (key != nullptr && (!lysc_is_key(key) || name != key->name)) key = key->next;
    if (key == nullptr) return false;
  }
  return true;
}

bool names_something(const gnmi::Path& path, int depth, const lysc_node* parent,
                     const lysc_module* module) {
  if (depth == path.elem_size()) return true;
  const lysc_node* node = nullptr;
  while ((node = lys_getnext(node, parent, module, 0)) != nullptr) {
    if (fits(node, path.elem(depth)) && names_something(path, depth + 1, node, nullptr)) {
      return true;
    }
  }
  return false;
}

bool names_something(const gnmi::Path& path) {
  std::uint32_t index = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(kestrel::context(), &index)) {
    if (module->implemented && module->compiled != nullptr &&
        names_something(path, 0, nullptr, module->compiled)) {
      return true;
    }
  }
  return false;
}

void flag_as_judged(lyd_node* first) {
  for (lyd_node* node = first; node != nullptr; node = node->next) {
    node->flags &= ~static_cast<std::uint32_t>(LYD_NEW);
    if (node->schema != nullptr && lysc_has_when(node->schema) != nullptr) {
      node->flags |= LYD_WHEN_TRUE;
    }
    flag_as_judged(lyd_child(node));
  }
}

}  // namespace

bool is_plain(const lysc_node* schema) {
  return schema != nullptr && schema->nodetype == LYS_CONTAINER &&
         (schema->flags & LYS_PRESENCE) == 0;
}

std::string path_of_node(const lyd_node* node) {
  const std::unique_ptr<char, Free> text(lyd_path(node, LYD_PATH_STD, nullptr, 0));
  return text != nullptr ? text.get() : "";
}

std::string print_forest(const lyd_node* top, LYD_FORMAT format, std::uint32_t options) {
  if (top == nullptr) return format == LYD_JSON ? "{}" : "";
  char* text = nullptr;
  lyd_print_mem(&text, top, format, LYD_PRINT_WITHSIBLINGS | LYD_PRINT_SHRINK | options);
  const std::unique_ptr<char, Free> owner(text);
  return text != nullptr ? text : "";
}

bool parse_forest(const std::string& inner_xml, Forest& forest) {
  forest.reset();
  if (inner_xml.empty()) return true;
  lyd_node* parsed = nullptr;
  const LY_ERR done =
      lyd_parse_data_mem(kestrel::context(), inner_xml.c_str(), LYD_XML,
                         LYD_PARSE_ONLY | LYD_PARSE_STRICT | LYD_PARSE_NO_STATE, 0, &parsed);
  forest.reset(parsed);
  return done == LY_SUCCESS;
}

std::string without_config(const std::string& xml) {
  const std::string open = "<config>";
  const std::size_t begin = xml.find(open);
  const std::size_t end = xml.rfind("</config>");
  if (begin == std::string::npos || end == std::string::npos) return "";
  return xml.substr(begin + open.size(), end - begin - open.size());
}

bool ExplicitTree::load(const std::string& inner_xml) {
  given_.clear();
  if (!parse_forest(inner_xml, top_)) return false;
  flag_as_judged(top_.get());
  return true;
}

void ExplicitTree::take(lyd_node* any) {
  static_cast<void>(top_.release());
  top_.reset(any != nullptr ? lyd_first_sibling(any) : nullptr);
}

std::string ExplicitTree::xml() const {
  return print_forest(top_.get(), LYD_XML, LYD_PRINT_WD_EXPLICIT);
}

lyd_node* ExplicitTree::children(const lyd_node* parent) const {
  return parent != nullptr ? lyd_child(parent) : top_.get();
}

ExplicitTree::Nodes ExplicitTree::children_of(const lyd_node* parent) const {
  Nodes nodes;
  for (lyd_node* node = children(parent); node != nullptr; node = node->next) {
    nodes.push_back(node);
  }
  return nodes;
}

lyd_node* ExplicitTree::find(const lyd_node* parent, const lyd_node* like) const {
  for (lyd_node* node = children(parent); node != nullptr; node = node->next) {
    if (is_same_instance(node, like)) return node;
  }
  return nullptr;
}

void ExplicitTree::unlink(lyd_node* node) {
  if (node == top_.get()) {
    lyd_node* const rest = node->next;
    static_cast<void>(top_.release());
    top_.reset(rest);
  }
  lyd_unlink_tree(node);
}

void ExplicitTree::remove(lyd_node* node) {
  unlink(node);
  lyd_free_tree(node);
}

void ExplicitTree::strip_defaults() {
  Nodes gone;
  const auto visit = [&gone](const auto& self, lyd_node* first) -> void {
    for (lyd_node* node = first; node != nullptr; node = node->next) {
      if ((node->flags & LYD_DEFAULT) != 0 || !has_content(node)) {
        gone.push_back(node);
      } else {
        self(self, lyd_child(node));
      }
    }
  };
  visit(visit, top_.get());
  for (lyd_node* const node : gone) {
    unlink(node);
    lyd_free_tree(node);
  }
}

void ExplicitTree::put(lyd_node* parent, lyd_node* node) {
  if (parent != nullptr) {
    lyd_insert_child(parent, node);
    return;
  }
  lyd_node* first = top_.release();
  lyd_insert_sibling(first, node, &first);
  take(first);
}

// RFC 7950, section 7.9: a node of one case makes the nodes of all others go.
void ExplicitTree::give_way(lyd_node* parent, const lysc_node* schema) {
  for (lyd_node* const node : children_of(parent)) {
    if (contradict(schema, node->schema)) {
      unlink(node);
      lyd_free_tree(node);
    }
  }
}

void ExplicitTree::merge_all(lyd_node* parent, const lyd_node* sources) {
  for (const lyd_node* source = sources; source != nullptr; source = source->next) {
    if (has_content(source)) merge(parent, source);
  }
}

void ExplicitTree::merge(lyd_node* parent, const lyd_node* source) {
  lyd_node* const match = find(parent, source);
  if (match != nullptr && (source->schema->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0) {
    return merge_all(match, lyd_child(source));
  }
  const bool is_term = (source->schema->nodetype & (LYS_LEAF | LYS_LEAFLIST)) != 0;
  if (match != nullptr && is_term && lyd_compare_single(match, source, 0) == LY_SUCCESS) return;
  if (match != nullptr) {
    unlink(match);
    lyd_free_tree(match);
  }
  give_way(parent, source->schema);
  lyd_node* copy = nullptr;
  lyd_dup_single(source, nullptr, LYD_DUP_RECURSIVE, &copy);
  drop_empty(copy);
  put(parent, copy);
}

void ExplicitTree::replace_one(lyd_node* parent, const lyd_node* source) {
  lyd_node* const match = find(parent, source);
  if (match != nullptr && (source->schema->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0) {
    replace_content(match, lyd_child(source));
  } else if (has_content(source)) {
    merge(parent, source);
  }
}

// Deletes what `sources` do not have; with `only`, of that schema node.
void ExplicitTree::drop_missing(lyd_node* parent, const lysc_node* only, const lyd_node* sources) {
  for (lyd_node* const node : children_of(parent)) {
    if (lysc_is_key(node->schema) || (only != nullptr && node->schema != only)) continue;
    const lyd_node* source = sources;
    while (source != nullptr && !is_same_instance(node, source)) source = source->next;
    if (source != nullptr) continue;
    unlink(node);
    lyd_free_tree(node);
  }
}

void ExplicitTree::replace_content(lyd_node* parent, const lyd_node* sources) {
  drop_missing(parent, nullptr, sources);
  std::set<const lysc_node*> ordered;
  for (const lyd_node* source = sources; source != nullptr; source = source->next) {
    replace_one(parent, source);
    if (is_order_of_user(source->schema)) ordered.insert(source->schema);
  }
  for (const lysc_node* const schema : ordered) reorder(parent, schema, sources);
}

void ExplicitTree::replace_instances(lyd_node* parent, const lysc_node* schema,
                                     const lyd_node* sources) {
  drop_missing(parent, schema, sources);
  for (const lyd_node* source = sources; source != nullptr; source = source->next) {
    if (source->schema == schema) replace_one(parent, source);
  }
  if (is_order_of_user(schema)) reorder(parent, schema, sources);
}

void ExplicitTree::reorder(lyd_node* parent, const lysc_node* schema, const lyd_node* sources) {
  for (const lyd_node* source = sources; source != nullptr; source = source->next) {
    lyd_node* const match = source->schema == schema ? find(parent, source) : nullptr;
    if (match == nullptr) continue;
    unlink(match);
    put(parent, match);
  }
}

void ExplicitTree::note_given(const lyd_node* first) {
  for (const lyd_node* node = first; node != nullptr; node = node->next) {
    if (!is_plain(node->schema)) given_.insert(path_of_node(node));
    note_given(lyd_child(node));
  }
}

bool ExplicitTree::apply(const Edit& edit, std::string& why) {
  if (!names_something(edit.target.path)) {
    why = kNoSuchPath;
    return false;
  }
  if (edit.kind == Edit::Kind::kDelete) {
    remove_path(edit.target.path);
    strip_defaults();
    return true;
  }
  Forest document;
  if (!parse_forest(without_config(edit.xml), document)) {
    why = "the document does not fit the schema";
    return false;
  }
  why = contradiction(document.get());
  if (!why.empty()) return false;
  note_given(document.get());
  if (edit.kind == Edit::Kind::kUpdate) {
    merge_all(nullptr, document.get());
  } else {
    replace(edit.target.path, document.get());
  }
  strip_defaults();
  return true;
}

void ExplicitTree::replace(const gnmi::Path& path, const lyd_node* document) {
  if (path.elem().empty()) return replace_content(nullptr, document);
  lyd_node* parent = nullptr;
  for (int i = 0; i + 1 < path.elem_size(); ++i) {
    const lyd_node* const source = find_named(document, path.elem(i).name());
    if (source == nullptr) return remove_path(path);
    lyd_node* const match = find(parent, source);
    if (match == nullptr) {
      if (has_content(source)) merge(parent, source);
      return;
    }
    parent = match;
    document = lyd_child(source);
  }
  const gnmi::PathElem& last = path.elem(path.elem_size() - 1);
  const lyd_node* const source = find_named(document, last.name());
  if (source == nullptr) return remove_path(path);
  if ((source->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0 && last.key().empty()) {
    replace_instances(parent, source->schema, document);
  } else {
    replace_one(parent, source);
  }
}

void ExplicitTree::select(const gnmi::Path& path, int depth, const lyd_node* parent,
                          Nodes& found) const {
  for (lyd_node* const node : children_of(parent)) {
    if (lysc_is_key(node->schema) || !fits(node, path.elem(depth))) continue;
    if (depth + 1 == path.elem_size()) {
      found.push_back(node);
    } else {
      select(path, depth + 1, node, found);
    }
  }
}

void ExplicitTree::remove_path(const gnmi::Path& path) {
  if (path.elem().empty()) {
    top_.reset();
    return;
  }
  Nodes found;
  select(path, 0, nullptr, found);
  for (lyd_node* const node : found) {
    unlink(node);
    lyd_free_tree(node);
  }
}

}  // namespace nexa_test

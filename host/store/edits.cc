// Operations walk document and tree side by side; instances are found by hash, so the cost is the
// document's, not the tree's.
#include "store/edits.h"

#include <algorithm>
#include <unordered_set>

#include "store/change.h"
#include "store/document_check.h"
#include "store/node_tools.h"
#include "store/reading/selection.h"
#include "store/validation/violation_text.h"

namespace nexa::host {
namespace {

constexpr char kNoDocument[] = "the document has no top element";
constexpr char kKeyDelete[] = "a list key cannot be deleted without its entry";
constexpr char kStateDelete[] = "operational data cannot be deleted";
constexpr char kStateReplace[] = "operational data cannot be set";

EditRefusal refused(grpc::StatusCode code, std::string path, std::string rule) {
  std::string text = path.empty() ? rule : path + ": " + rule;
  return {grpc::Status(code, std::move(text)), std::move(path), std::move(rule)};
}

EditRefusal refused(std::string path, const char* rule) {
  return refused(grpc::StatusCode::INVALID_ARGUMENT, std::move(path), rule);
}

bool is_default(const lyd_node* node) { return (node->flags & LYD_DEFAULT) != 0; }

std::string schema_path(const lysc_node* schema) {
  const TextPtr path(lysc_path(schema, LYSC_PATH_DATA, nullptr, 0));
  return path != nullptr ? std::string(path.get()) : std::string();
}

// From the top-level node down to `schema`, data nodes only.
std::vector<const lysc_node*> data_chain(const lysc_node* schema) {
  std::vector<const lysc_node*> chain;
  for (; schema != nullptr; schema = lysc_data_parent(schema)) chain.push_back(schema);
  std::reverse(chain.begin(), chain.end());
  return chain;
}

bool names_instances(const lysc_node* schema, const gnmi::Path& path) {
  return (schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0 &&
         path.elem(path.elem_size() - 1).key().empty();
}

bool is_wild(const gnmi::Path& path) {
  const std::string& name = path.elem(path.elem_size() - 1).name();
  return name == "*" || name == "...";
}

}  // namespace

std::optional<EditRefusal> EditApplier::apply(const Edit& edit) {
  if (edit.kind == Edit::Kind::kDelete) return remove(edit.path);
  const std::string_view inner = inner_xml(edit.xml);
  if (inner.data() == nullptr) return refused("", kNoDocument);
  TreePtr document;
  if (std::optional<Violation> problem = read_document(inner, document)) {
    return refused(grpc::StatusCode::INVALID_ARGUMENT, problem->path, problem->rule);
  }
  if (edit.kind == Edit::Kind::kReplace) return replace(edit.path, document.get());
  merge(nullptr, document.get());
  return std::nullopt;
}

const lyd_node* EditApplier::children(const lyd_node* parent) const {
  return parent != nullptr ? first_child(parent) : top_;
}

void EditApplier::replace_tree(const lyd_node* source) { replace_content(nullptr, source); }

void EditApplier::finish() {
  if (!dropped_) return;
  std::unordered_set<const lys_module*> configured;
  for (const lyd_node* node = top_; node != nullptr; node = node->next) {
    if (!is_default(node)) configured.insert(node->schema->module);
  }
  for (lyd_node* node = top_; node != nullptr;) {
    lyd_node* const next = node->next;
    const lys_module* const module = node->schema->module;
    if (configured.count(module) == 0 && !standing_.has(module)) drop(node);
    node = next;
  }
}

std::optional<EditRefusal> EditApplier::replace(const gnmi::Path& path, const lyd_node* document) {
  if (path.elem().empty()) {
    replace_tree(document);
    return std::nullopt;
  }
  std::vector<const lysc_node*> found;
  const grpc::Status status = select_schema(path, &found);
  if (!status.ok()) return EditRefusal{status, "", status.error_message()};
  if (found.size() != 1) return refused("", "a replace names one node");
  const lysc_node* const schema = found.front();
  if ((schema->flags & LYS_CONFIG_R) != 0) return refused(schema_path(schema), kStateReplace);

  const std::vector<const lysc_node*> chain = data_chain(schema);
  lyd_node* parent = nullptr;
  for (std::size_t i = 0; i + 1 < chain.size(); ++i) {
    const lyd_node* const source = find_instance(document, chain[i]);
    if (source == nullptr) return remove(path);
    lyd_node* const match = find_match(children(parent), source);
    if (match == nullptr) {
      merge_one(parent, source);
      return std::nullopt;
    }
    parent = match;
    document = first_child(source);
  }
  if (names_instances(schema, path)) {
    replace_instances(parent, schema, document);
  } else if (const lyd_node* const source = find_instance(document, schema)) {
    replace_one(parent, source);
  } else {
    return remove(path);
  }
  return std::nullopt;
}

std::optional<EditRefusal> EditApplier::remove(const gnmi::Path& path) {
  if (!path.elem().empty()) {
    std::vector<const lysc_node*> found;
    const grpc::Status status = select_schema(path, &found);
    if (!status.ok()) return EditRefusal{status, "", status.error_message()};
    const bool all_state =
        !found.empty() && std::all_of(found.begin(), found.end(), [](const lysc_node* node) {
          return (node->flags & LYS_CONFIG_R) != 0;
        });
    if (all_state) return refused(schema_path(found.front()), kStateDelete);
    if (found.size() == 1 && lysc_is_key(found.front()) && !is_wild(path)) {
      return refused(schema_path(found.front()), kKeyDelete);
    }
  }
  std::vector<lyd_node*> nodes;
  std::unordered_set<const lyd_node*> named;
  bool everything = false;
  const grpc::Status status =
      select_nodes(path, top_, nullptr, [&](const NodePair& node, gnmi::Path& /*concrete*/) {
        everything = everything || node.config == nullptr;
        if (node.config == nullptr || is_key(node.config)) return;
        if (named.insert(node.config).second) nodes.push_back(const_cast<lyd_node*>(node.config));
      });
  if (!status.ok()) return EditRefusal{status, "", status.error_message()};
  if (everything) {
    replace_tree(nullptr);
    return std::nullopt;
  }
  const auto goes_with_ancestor = [&named](const lyd_node* node) {
    for (node = lyd_parent(node); node != nullptr; node = lyd_parent(node)) {
      if (named.count(node) != 0) return true;
    }
    return false;
  };
  nodes.erase(std::remove_if(nodes.begin(), nodes.end(), goes_with_ancestor), nodes.end());
  for (lyd_node* const node : nodes) {
    if (!is_default(node)) drop(node);
  }
  return std::nullopt;
}

void EditApplier::merge(lyd_node* parent, const lyd_node* sources) {
  for (const lyd_node* source = sources; source != nullptr; source = source->next) {
    merge_one(parent, source);
  }
}

void EditApplier::merge_one(lyd_node* parent, const lyd_node* source) {
  lyd_node* const match = find_match(children(parent), source);
  if (match != nullptr && (source->schema->nodetype & LYD_NODE_INNER) != 0) {
    return merge(match, first_child(source));
  }
  const bool is_there =
      match != nullptr && !is_default(match) && lyd_compare_single(match, source, 0) == LY_SUCCESS;
  if (!is_there) insert(parent, source);
}

void EditApplier::replace_one(lyd_node* parent, const lyd_node* source) {
  lyd_node* const match = find_match(children(parent), source);
  if (match != nullptr && (source->schema->nodetype & LYD_NODE_INNER) != 0) {
    replace_content(match, first_child(source));
  } else {
    merge_one(parent, source);
  }
}

void EditApplier::replace_content(lyd_node* parent, const lyd_node* sources) {
  std::vector<lyd_node*> gone;
  for (const lyd_node* node = children(parent); node != nullptr; node = node->next) {
    if (is_key(node) || is_default(node) || find_match(sources, node) != nullptr) continue;
    gone.push_back(const_cast<lyd_node*>(node));
  }
  for (lyd_node* const node : gone) drop(node);
  const lysc_node* ordered = nullptr;
  for (const lyd_node* source = sources; source != nullptr; source = source->next) {
    replace_one(parent, source);
  }
  for (const lyd_node* source = sources; source != nullptr; source = source->next) {
    if (!is_user_ordered(source->schema) || source->schema == ordered) continue;
    ordered = source->schema;
    make_order(parent, ordered, source);
  }
}

void EditApplier::replace_instances(lyd_node* parent, const lysc_node* schema,
                                    const lyd_node* sources) {
  std::vector<lyd_node*> gone;
  for (const lyd_node* node = children(parent); node != nullptr; node = node->next) {
    if (node->schema != schema || is_default(node) || find_match(sources, node) != nullptr) {
      continue;
    }
    gone.push_back(const_cast<lyd_node*>(node));
  }
  for (lyd_node* const node : gone) drop(node);
  for (const lyd_node* source = sources; source != nullptr; source = source->next) {
    if (source->schema == schema) replace_one(parent, source);
  }
  if (is_user_ordered(schema)) make_order(parent, schema, sources);
}

// The tree has the document's instances by now; puts them into the document's order.
void EditApplier::make_order(lyd_node* parent, const lysc_node* schema, const lyd_node* sources) {
  std::vector<lyd_node*> wanted;
  for (const lyd_node* source = sources; source != nullptr; source = source->next) {
    if (source->schema != schema) continue;
    lyd_node* const match = find_match(children(parent), source);
    if (match != nullptr) wanted.push_back(match);
  }
  auto next = wanted.begin();
  for (const lyd_node* node = children(parent); node != nullptr; node = node->next) {
    if (node->schema != schema) continue;
    if (next == wanted.end() || node != *next) break;
    ++next;
  }
  if (next == wanted.end()) return;
  touched_.mark_order(wanted.front());
  for (lyd_node* const node : wanted) move_last(top_, node);
}

// Puts a copy of `source` in: beside its siblings, or in the place of a value.
void EditApplier::insert(lyd_node* parent, const lyd_node* source) {
  if (is_plain_container(source) && is_default(source)) return;
  drop_other_cases(parent, source->schema);
  const bool is_leaf_list = source->schema->nodetype == LYS_LEAFLIST;
  if (is_leaf_list) drop_default_instances(parent, source->schema);
  touched_.mark(source);
  if (is_user_ordered(source->schema)) touched_.mark_order(source);
  lyd_node* const old = find_match(children(parent), source);
  if (old != nullptr) remove_node(top_, old);
  lyd_node* const copy = copy_subtree(source);
  if (copy == nullptr || !insert_node(top_, parent, copy)) throw std::bad_alloc();
}

void EditApplier::drop(lyd_node* node) {
  dropped_ = true;
  touched_.mark(node);
  if (is_user_ordered(node->schema)) touched_.mark_order(node);
  lyd_node* const parent = lyd_parent(node);
  remove_node(top_, node);
  settle_container_flags(parent);
}

// RFC 7950, section 7.9: data of one case make all others give way.
void EditApplier::drop_other_cases(const lyd_node* parent, const lysc_node* schema) {
  for (const lysc_node* node = schema; node != nullptr; node = node->parent) {
    if (node != schema && (node->nodetype & (LYS_CHOICE | LYS_CASE)) == 0) return;
    if (node->nodetype != LYS_CASE) continue;
    for (const lysc_node* other = lysc_node_child(node->parent); other != nullptr;
         other = other->next) {
      if (other == node) continue;
      const lysc_node* member = nullptr;
      while ((member = lys_getnext(member, other, nullptr, 0)) != nullptr) {
        while (lyd_node* const instance = find_instance(children(parent), member)) drop(instance);
      }
    }
  }
}

void EditApplier::drop_default_instances(const lyd_node* parent, const lysc_node* schema) {
  lyd_node* first = find_instance(children(parent), schema);
  if (first == nullptr || !is_default(first)) return;
  while (lyd_node* const node = find_instance(children(parent), schema)) drop(node);
}

}  // namespace nexa::host

// Paths of operations: what a replace or a delete means for the nodes that its path names. How
// documents go in is image_merge's.
#include "store/edits.h"

#include <algorithm>
#include <unordered_set>

#include "store/change.h"
#include "store/document_check.h"
#include "store/image/image_draft.h"
#include "store/image/image_import.h"
#include "store/image/union_value.h"
#include "store/image_merge.h"
#include "store/node_tools.h"
#include "store/reading/selection.h"
#include "store/validation/violation_text.h"

namespace nexa::store {
namespace {

constexpr char kNoDocument[] = "the document has no top element";
constexpr char kKeyDelete[] = "a list key cannot be deleted without its entry";
constexpr char kStateDelete[] = "operational data cannot be deleted";
constexpr char kStateReplace[] = "operational data cannot be set";
constexpr char kOneNode[] = "a replace names one node";
constexpr char kOtherOrigin[] = "the node does not belong to the origin that is replaced";
constexpr char kContradiction[] = "another update of the union says something else";

text::Failure refused(std::string path, std::string rule) {
  return {grpc::StatusCode::INVALID_ARGUMENT, std::move(path), std::move(rule)};
}

std::string schema_path(const lysc_node* schema) {
  const TextPtr path(lysc_path(schema, LYSC_PATH_DATA, nullptr, 0));
  return path != nullptr ? std::string(path.get()) : std::string();
}

bool has_instances(const lysc_node* schema) {
  return (schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0;
}

// The key leaf that a path without wildcards at its end names, or null.
const lysc_node* named_key(const model::TargetStep& last) {
  if (last.kind != model::TargetStep::Kind::kName || last.nodes.size() != 1) return nullptr;
  const lysc_node* const schema = last.nodes.front().schema;
  return lysc_is_key(schema) ? schema : nullptr;
}

const lyd_node* instance_among(const lyd_node* siblings, const lysc_node* schema) {
  while (siblings != nullptr && siblings->schema != schema) siblings = siblings->next;
  return siblings;
}

// Whether nothing in the node was configured. A leaf-list at the top level counts as configured:
// rare, and to look at its entries would cost.
bool is_default_only(const ImageNode& node) {
  return node.kind() != ImageKind::kGroup && node.is_default();
}

std::string json_name(ScalarForm form, std::string_view text) {
  return text::mark_value(json_type(form, text));
}

// A key of a document that has another JSON type than the key of the entry that it names, which
// goes on existing; null when there is none. A key without a mark comes from a path and only names.
const lyd_node* contradicting_key(const ImageInner& image, const lyd_node* first,
                                  std::string& rule) {
  for (const lyd_node* node = first; node != nullptr; node = node->next) {
    const ImageNode* match = image.find(node->schema);
    if (match != nullptr && match->kind() == ImageKind::kGroup) {
      const GroupEntry* const entry = match->group().find(tree_key(node));
      match = entry != nullptr ? entry->node.get() : nullptr;
    }
    if (match == nullptr) continue;
    if (match->kind() == ImageKind::kInner) {
      const lyd_node* const fault = contradicting_key(match->inner(), lyd_child(node), rule);
      if (fault != nullptr) return fault;
    }
    if (!lysc_is_key(node->schema) || !has_chosen_member(node)) continue;
    const ScalarForm sent = scalar_form(reinterpret_cast<const lyd_node_term*>(node)->value);
    const ImageLeaf& standing = match->leaf();
    if (sent == standing.form()) continue;
    rule = "the entry's key is a JSON " + json_name(standing.form(), standing.text()) +
           ", and the value names it as a " + json_name(sent, lyd_get_value(node));
    return node;
  }
  return nullptr;
}

std::size_t count_forest(const lyd_node* first) {
  std::size_t count = 0;
  for (; first != nullptr; first = first->next) count += 1 + count_forest(lyd_child(first));
  return count;
}

}  // namespace

ImagePtr EditApplier::result() const {
  if (!union_) return ImagePtr::share(&root_->inner());
  ImageSlot made = root_;
  for (const model::Scope& scope : united_) {
    model::Target root;
    root.scope = scope;
    root.model = model_;
    replace_siblings(made, nullptr, &root);
  }
  for (const ImageSlot& child : union_->inner().children()) ImageDraft::put(made, child);
  return ImagePtr::share(&made->inner());
}

EditApplier::EditApplier(const ImagePtr& before) : root_(before) {
  const auto children = before->children();
  is_all_ = std::all_of(children.begin(), children.end(),
                        [](const ImageSlot& child) { return is_default_only(*child); });
}

TreePtr EditApplier::take_document() {
  is_all_ = false;
  return std::move(document_);
}

// Puts a document beside those before it. A node that stands in a choice at the top level may have
// to make room for another document's, so there must be none.
void EditApplier::add_document(TreePtr document) {
  if (!is_all_) return;
  // An empty container without presence is nothing that was configured.
  strip_defaults(document);
  for (const lyd_node* node = document.get(); node != nullptr; node = node->next) {
    is_all_ = is_all_ && node->schema->parent == nullptr &&
              instance_among(document_.get(), node->schema) == nullptr;
  }
  if (!is_all_) {
    document_.reset();
  } else if (document_ == nullptr) {
    document_ = std::move(document);
  } else if (document != nullptr) {
    lyd_node* top = document_.release();
    is_all_ = lyd_insert_sibling(top, document.release(), &top) == LY_SUCCESS;
    document_.reset(top);
    if (!is_all_) document_.reset();
  }
}

text::Done EditApplier::apply(const Edit& edit) {
  if (edit.kind == Edit::Kind::kDelete) {
    is_all_ = false;
    document_.reset();
    return remove(edit.target);
  }
  const std::string_view inner = inner_xml(edit.xml);
  if (inner.data() == nullptr) return refused("", kNoDocument);
  TreePtr document;
  if (std::optional<Violation> problem = read_document(inner, document)) {
    return refused(problem->path, problem->rule);
  }
  nodes_ += count_forest(document.get());
  // Its values have the members that their JSON types choose, those of a judged tree have not.
  const bool has_marks = inner.find(text::kMarkNamespace) != std::string_view::npos;
  if (edit.kind == Edit::Kind::kUnion) {
    if (text::Done done = unite(edit.target, document.get()); !done.ok()) return done;
  } else if (edit.kind == Edit::Kind::kReplace) {
    is_all_ = edit.target.is_root() && edit.target.scope.is_all();
    document_.reset();
    if (text::Done done = replace(edit.target, document.get()); !done.ok()) return done;
  } else {
    std::string rule;
    const lyd_node* const fault =
        has_marks ? contradicting_key(root_->inner(), document.get(), rule) : nullptr;
    if (fault != nullptr) {
      return refused(instance_path(fault), std::move(rule));
    }
    merge_siblings(root_, document.get());
  }
  if (has_marks) {
    is_all_ = false;
    document_.reset();
  }
  add_document(std::move(document));
  return {};
}

// The union is made beside the image, so that the order of the updates counts nothing.
text::Done EditApplier::unite(const model::Target& target, const lyd_node* document) {
  for (const lyd_node* node = document; node != nullptr; node = node->next) {
    if (!target.may_begin_with(node->schema)) return refused(instance_path(node), kOtherOrigin);
  }
  if (!union_) {
    union_ = empty_image();
    model_ = target.model;
    is_all_ = target.scope.is_all();
    document_.reset();
  }
  const auto is_same = [&target](const model::Scope& scope) {
    return scope.kind == target.scope.kind && scope.ns == target.scope.ns;
  };
  if (std::none_of(united_.begin(), united_.end(), is_same)) united_.push_back(target.scope);
  if (const lyd_node* const fault = contradicting_node(union_->inner(), document)) {
    return refused(instance_path(fault), kContradiction);
  }
  merge_siblings(union_, document);
  return {};
}

text::Done EditApplier::replace(const model::Target& target, const lyd_node* document) {
  if (target.is_root()) {
    replace_siblings(root_, document, &target);
    return {};
  }
  if (target.wild) return refused("", kOneNode);
  const lysc_node* const schema = target.last().schema;
  if (target.only_state) return refused(schema_path(schema), kStateReplace);
  const bool all_instances = has_instances(schema) && target.last().keys.empty();
  std::vector<const lysc_node*> chain;
  for (const model::TargetNode* const node : target.chain()) chain.push_back(node->schema);
  // A document without the node says that it is gone.
  const lyd_node* source = nullptr;
  for (const lysc_node* const step : chain) {
    if (step == schema && all_instances) break;
    source = instance_among(source != nullptr ? lyd_child(source) : document, step);
    if (source == nullptr) return remove(target);
  }
  replace_at(root_, document, chain, all_instances);
  return {};
}

text::Done EditApplier::remove(const model::Target& target) {
  if (target.is_root()) {
    replace_siblings(root_, nullptr, &target);
    return {};
  }
  const model::TargetStep& last = target.steps.back();
  if (target.only_state) {
    return refused(last.nodes.empty() ? "" : schema_path(last.nodes.front().schema), kStateDelete);
  }
  if (const lysc_node* const key = named_key(last)) return refused(schema_path(key), kKeyDelete);
  std::vector<ImageChain> chains;
  const ImagePtr before = result();  // keeps the nodes of the chains alive
  select_chains(target, *before, [&chains](const ImageChain& chain) {
    const ImageNode& node = *chain.back();
    if (!node.is_default() && !lysc_is_key(node.schema())) chains.push_back(chain);
  });
  std::unordered_set<const ImageNode*> named;
  for (const ImageChain& chain : chains) named.insert(chain.back());
  for (const ImageChain& chain : chains) {
    const bool goes_with_ancestor =
        std::any_of(chain.begin(), chain.end() - 1,
                    [&named](const ImageNode* node) { return named.count(node) != 0; });
    if (!goes_with_ancestor) remove_chain(root_, chain);
  }
  return {};
}

}  // namespace nexa::store

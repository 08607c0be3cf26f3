// libyang reads without validating here, so what only validation would notice is looked for.
#include "store/document_check.h"

#include <map>
#include <set>
#include <string>
#include <utility>

#include "store/change.h"
#include "store/image/image_import.h"
#include "store/image/union_value.h"
#include "store/node_tools.h"
#include "store/plain_document.h"
#include "store/repeated_entries.h"
#include "store/validation/violation_text.h"

namespace nexa::store {
namespace {

using ViolationKind = Violation::Kind;

constexpr char kNoMember[] = "no member of the union takes the value with its JSON type";

Violation at(const lyd_node* node, ViolationKind kind, std::string rule) {
  Violation violation;
  violation.kind = kind;
  violation.path = instance_path(node);
  violation.rule = std::move(rule);
  return violation;
}

// Below a parent libyang has a hash table; top-level instances are told apart by their text.
class Duplicates {
 public:
  bool seen(const lyd_node* first, const lyd_node* node) {
    if (node->parent != nullptr) return find_match(first, node) != node;
    return !top_level_.insert(instance_path(node)).second;
  }

 private:
  std::set<std::string> top_level_;
};

std::optional<Violation> check_cases(const lyd_node* node,
                                     std::map<const lysc_node*, const lysc_node*>& chosen) {
  for (const lysc_node* schema = node->schema->parent;
       schema != nullptr && (schema->nodetype & (LYS_CHOICE | LYS_CASE)) != 0;
       schema = schema->parent) {
    if (schema->nodetype != LYS_CASE) continue;
    const lysc_node* const other = chosen.emplace(schema->parent, schema).first->second;
    if (other == schema) continue;
    return at(
        node, ViolationKind::kStructure,
        "data of both cases \"" + std::string(other->name) + "\" and \"" + schema->name + "\"");
  }
  return std::nullopt;
}

std::optional<Violation> check_siblings(const lyd_node* first) {
  Duplicates duplicates;
  std::map<const lysc_node*, const lysc_node*> chosen;
  for (const lyd_node* node = first; node != nullptr; node = node->next) {
    if (node->schema == nullptr) continue;
    if (duplicates.seen(first, node)) {
      return at(node, ViolationKind::kStructure,
                "duplicate \"" + std::string(node->schema->name) + "\"");
    }
    if (auto problem = check_cases(node, chosen)) return problem;
    if (auto problem = check_siblings(first_child(node))) return problem;
  }
  return std::nullopt;
}

}  // namespace

std::optional<Violation> read_nodes(std::string_view xml, TreePtr& tree) {
  tree.reset();
  if (xml.empty()) return std::nullopt;
  ly_err_clean(const_cast<ly_ctx*>(kestrel::context()), nullptr);
  std::string storage;
  const std::string_view readable = readable_marks(xml, storage);
  lyd_node* parsed = nullptr;
  const LY_ERR done =
      lyd_parse_data_mem(kestrel::context(), std::string(readable).c_str(), LYD_XML,
                         LYD_PARSE_ONLY | LYD_PARSE_STRICT | LYD_PARSE_NO_STATE, 0, &parsed);
  tree.reset(parsed);
  if (done == LY_SUCCESS) {
    const lyd_node* const fault = storage.empty() ? nullptr : apply_marks(tree.get());
    if (fault == nullptr) return std::nullopt;
    return at(fault, ViolationKind::kValue, kNoMember);
  }
  tree.reset();
  Violation problem = stored_violation(kestrel::context(), nullptr);
  problem.kind = ViolationKind::kValue;
  return problem;
}

std::optional<Violation> read_document(std::string_view xml, TreePtr& tree) {
  if (read_plain_document(xml, tree)) return check_siblings(tree.get());
  const std::string repetition = cut_at_repetition(xml);
  if (!repetition.empty()) {
    if (auto problem = read_nodes(repetition, tree)) return problem;
    if (auto problem = check_siblings(tree.get())) return problem;
  }
  if (auto problem = read_nodes(xml, tree)) return problem;
  return check_siblings(tree.get());
}

std::optional<Violation> judge_document(std::string_view document) {
  number_schema();
  ly_log_options(LY_LOSTORE_LAST);
  TreePtr tree;
  return read_document(inner_xml(document), tree);
}

}  // namespace nexa::store

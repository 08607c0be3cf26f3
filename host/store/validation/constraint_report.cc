// A `when` of a choice or case is in the index once for each node that it governs, and here once.
#include "store/validation/constraint_report.h"

#include <set>
#include <utility>

#include "store/validation/constraint_index.h"

namespace nexa::store {
namespace {

std::string schema_path(const lysc_node* node) {
  const TextPtr path(lysc_path(node, LYSC_PATH_LOG, nullptr, 0));
  return path != nullptr ? path.get() : "";
}

void append_references(const lysc_type* type, std::string& text) {
  if (type->basetype == LY_TYPE_UNION) {
    const lysc_type* const* const members = reinterpret_cast<const lysc_type_union*>(type)->types;
    LY_ARRAY_COUNT_TYPE i = 0;
    LY_ARRAY_FOR(members, i) { append_references(members[i], text); }
    return;
  }
  if (type->basetype != LY_TYPE_LEAFREF || !needs_instance(type)) return;
  if (!text.empty()) text.append(" ");
  text.append(lyxp_get_expr(reinterpret_cast<const lysc_type_leafref*>(type)->path));
}

std::string expression_of(const Constraint& constraint) {
  if (constraint.must != nullptr) return lyxp_get_expr(constraint.must->cond);
  if (constraint.when != nullptr) return lyxp_get_expr(constraint.when->cond);
  std::string text;
  append_references(reinterpret_cast<const lysc_node_leaf*>(constraint.node)->type, text);
  return text;
}

const char* name_of(Constraint::Kind kind) {
  switch (kind) {
    case Constraint::Kind::kWhen:
      return "when";
    case Constraint::Kind::kReference:
      return "leafref";
    case Constraint::Kind::kMust:
      break;
  }
  return "must";
}

// What tells two constraints of one node apart.
const void* statement_of(const Constraint& constraint) {
  if (constraint.must != nullptr) return constraint.must;
  if (constraint.when != nullptr) return constraint.when;
  return constraint.node;
}

}  // namespace

ConstraintReport report_constraints() {
  // Messages are for nobody here.
  ly_log_options(LY_LOSTORE_LAST);
  const ConstraintIndex index(kestrel::context());
  ConstraintReport report;
  std::set<std::pair<const lysc_node*, const void*>> seen;
  for (const Constraint& constraint : index.constraints()) {
    if (!seen.emplace(constraint.owner, statement_of(constraint)).second) continue;
    ++report.count;
    if (constraint.whole.empty()) continue;
    WholeConstraint& entry = report.whole.emplace_back();
    entry.module = constraint.owner->module->name;
    entry.path = schema_path(constraint.owner);
    entry.kind = name_of(constraint.kind);
    entry.expression = expression_of(constraint);
    entry.reason = constraint.whole;
    entry.every_change = constraint.anywhere;
    entry.is_risky = !constraint.hazard.empty();
  }
  return report;
}

}  // namespace nexa::store

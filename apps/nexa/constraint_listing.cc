// Expressions are printed in one line, however the model breaks them.
#include "constraint_listing.h"

#include "json_writer.h"
#include "store/validation/constraint_report.h"

namespace nexa_tool {
namespace {

using nexa::store::ConstraintReport;
using nexa::store::WholeConstraint;

std::string in_one_line(const std::string& expression) {
  std::string line;
  bool has_gap = false;
  for (const char c : expression) {
    const bool is_space = c == ' ' || c == '\t' || c == '\n' || c == '\r';
    if (!is_space && has_gap && !line.empty()) line.push_back(' ');
    if (!is_space) line.push_back(c);
    has_gap = is_space;
  }
  return line;
}

std::string heading(const ConstraintReport& report) {
  const std::string count = std::to_string(report.count);
  if (report.whole.empty()) {
    if (report.count == 0) return "no constraints\n";
    return report.count == 1 ? "the only constraint is proven\n"
                             : "all " + count + " constraints are proven\n";
  }
  const bool is_one = report.whole.size() == 1;
  return std::to_string(report.whole.size()) + " of " + count + " constraints " +
         (is_one ? "is" : "are") +
         " whole: a change that can reach one is judged by libyang over the whole "
         "tree\n";
}

}  // namespace

std::string constraints_as_text() {
  const ConstraintReport report = nexa::store::report_constraints();
  std::string text = heading(report);
  for (const WholeConstraint& each : report.whole) {
    text.append("\n" + each.module + " " + each.kind + " " + each.path + "\n");
    text.append("  " + in_one_line(each.expression) + "\n");
    text.append("  because of: " + each.reason + "\n");
    if (each.every_change) text.append("  reached by every change\n");
    if (each.is_risky) text.append("  not safe for libyang: judged in a process of its own\n");
  }
  return text;
}

std::string constraints_as_json() {
  const ConstraintReport report = nexa::store::report_constraints();
  const JsonPtr root(cJSON_CreateObject());
  add_item(root.get(), "constraints",
           JsonPtr(cJSON_CreateNumber(static_cast<double>(report.count))));
  JsonPtr list(cJSON_CreateArray());
  for (const WholeConstraint& each : report.whole) {
    JsonPtr item(cJSON_CreateObject());
    add_text(item.get(), "module", each.module);
    add_text(item.get(), "path", each.path);
    add_text(item.get(), "kind", each.kind);
    add_text(item.get(), "expression", each.expression);
    add_text(item.get(), "reason", each.reason);
    add_item(item.get(), "every_change", JsonPtr(cJSON_CreateBool(each.every_change)));
    add_item(item.get(), "risky", JsonPtr(cJSON_CreateBool(each.is_risky)));
    add_item(list.get(), "", std::move(item));
  }
  add_item(root.get(), "whole", std::move(list));
  return to_text(root.get());
}

}  // namespace nexa_tool

// Diffs come from sparse trees, so their cost is the change's. Each one is tried before it is used.
#include "store/change.h"

#include <algorithm>

#include "store/document_check.h"
#include "store/node_tools.h"
#include "store/validation/violation_text.h"

namespace nexa::host {
namespace {

constexpr char kNotApplicable[] = "the change does not fit the configuration before it";

bool make_diff(const lyd_node* before, const lyd_node* after, std::uint16_t options,
               TreePtr& diff) {
  lyd_node* made = nullptr;
  const LY_ERR done = lyd_diff_siblings(before, after, options, &made);
  diff.reset(made);
  if (done == LY_SUCCESS) return true;
  diff.reset();
  return false;
}

std::string wrapped(std::string_view inner) {
  std::string xml;
  xml.reserve(inner.size() + 20);
  if (inner.empty()) return "<config/>";
  return xml.append("<config>").append(inner).append("</config>");
}

bool gives_back(const std::string& text, TreePtr before, const lyd_node* after) {
  std::string error;
  return apply_record(text, before, error) && same_content(before.get(), after);
}

}  // namespace

bool difference(const Touched& touched, const lyd_node* before, const lyd_node* after,
                TreePtr& diff) {
  const TreePtr old_nodes = touched.copy_from(before);
  const TreePtr new_nodes = touched.copy_from(after);
  return make_diff(old_nodes.get(), new_nodes.get(), LYD_DIFF_DEFAULTS, diff);
}

bool describe_change(const Touched& touched, const lyd_node* before, const lyd_node* after,
                     ChangeText& record) {
  TreePtr old_nodes = touched.copy_from(before);
  TreePtr new_nodes = touched.copy_from(after);
  strip_defaults(old_nodes);
  strip_defaults(new_nodes);
  TreePtr diff;
  const bool has_diff = make_diff(old_nodes.get(), new_nodes.get(), 0, diff);
  record.changes = diff != nullptr || !same_content(old_nodes.get(), new_nodes.get());
  if (!record.changes) return true;
  std::string inner;
  if (!print_siblings(old_nodes.get(), inner)) return false;
  record.before = wrapped(inner);
  inner.clear();
  if (!print_siblings(new_nodes.get(), inner)) return false;
  record.after = wrapped(inner);
  if (has_diff && print_siblings(diff.get(), record.text) &&
      gives_back(record.text, std::move(old_nodes), new_nodes.get())) {
    return true;
  }
  record.whole = true;
  record.text = configuration_xml(after);
  return !record.text.empty();
}

bool apply_record(std::string_view text, TreePtr& tree, std::string& error) {
  TreePtr diff;
  if (!parse_nodes(text, diff, error)) return false;
  ly_err_clean(const_cast<ly_ctx*>(kestrel::context()), nullptr);
  lyd_node* top = tree.release();
  const LY_ERR done = lyd_diff_apply_all(&top, diff.get());
  tree.reset(top);
  if (done == LY_SUCCESS) return true;
  error = kNotApplicable;
  return false;
}

bool parse_nodes(std::string_view xml, TreePtr& tree, std::string& error) {
  const std::optional<Violation> problem = read_nodes(xml, tree);
  if (!problem) return true;
  error = problem->path.empty() ? problem->rule : problem->path + ": " + problem->rule;
  return false;
}

std::string configuration_xml(const lyd_node* tree) {
  std::string inner;
  return print_siblings(tree, inner) ? wrapped(inner) : std::string();
}

std::string_view inner_xml(std::string_view document) {
  constexpr std::string_view kBlank = " \t\r\n";
  const auto skip_blanks = [&] {
    document.remove_prefix(std::min(document.find_first_not_of(kBlank), document.size()));
  };
  skip_blanks();
  if (document.substr(0, 5) == "<?xml") {
    const std::size_t end = document.find("?>");
    if (end == std::string_view::npos) return {};
    document.remove_prefix(end + 2);
    skip_blanks();
  }
  document.remove_suffix(document.size() - 1 - document.find_last_not_of(kBlank));
  const std::size_t open = document.find('>');
  if (document.empty() || document.front() != '<' || open == std::string_view::npos) return {};
  if (document[open - 1] == '/') return open + 1 == document.size() ? "" : std::string_view();
  const std::size_t close = document.rfind("</");
  if (close == std::string_view::npos || close < open) return {};
  return document.substr(open + 1, close - open - 1);
}

}  // namespace nexa::host

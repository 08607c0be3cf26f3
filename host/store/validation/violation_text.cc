// Reads libyang's messages, whose spellings are those of libyang 2.1.30; one that is not recognised
// is passed on as it stands.
#include "store/validation/violation_text.h"

#include <vector>

#include "text/display.h"

namespace nexa::store {
namespace {

constexpr std::string_view kDataLocation = "Data location \"";

using ViolationKind = Violation::Kind;

Violation broken(ViolationKind kind, std::string path, std::string rule) {
  Violation violation;
  violation.kind = kind;
  violation.path = std::move(path);
  violation.rule = std::move(rule);
  return violation;
}

// The path between quotes; it may hold quotes itself, so it ends with the last one before a full
// stop or before the next part.
std::string data_place(const char* place) {
  std::string_view text = place != nullptr ? place : "";
  if (text.substr(0, 1) == "/") return std::string(text);
  const std::size_t at = text.find(kDataLocation);
  if (at == std::string_view::npos) return {};
  text.remove_prefix(at + kDataLocation.size());
  std::size_t end = text.rfind("\", line number");
  if (end == std::string_view::npos) end = text.rfind("\".");
  return std::string(text.substr(0, end));
}

// Takes the words of a message apart: `pattern` has an asterisk for each.
bool matches(std::string_view message, std::string_view pattern,
             std::vector<std::string_view>& words) {
  words.clear();
  while (true) {
    const std::size_t star = pattern.find('*');
    const std::string_view head = pattern.substr(0, star);
    if (message.substr(0, head.size()) != head) return false;
    message.remove_prefix(head.size());
    if (star == std::string_view::npos) return message.empty();
    pattern.remove_prefix(star + 1);
    const std::string_view tail = pattern.substr(0, pattern.find('*'));
    const std::size_t end =
        pattern.find('*') == std::string_view::npos
            ? (message.size() < tail.size() ? std::string_view::npos : message.rfind(tail))
            : message.find(tail);
    if (end == std::string_view::npos) return false;
    words.push_back(message.substr(0, end));
    message.remove_prefix(end);
  }
}

// The node with this path. Goes down only where the path goes on.
const lyd_node* node_at(const lyd_node* tree, std::string_view path) {
  const lyd_node* node = tree;
  while (node != nullptr) {
    const std::string own = instance_path(node);
    if (own == path) return node;
    const bool is_above =
        path.size() > own.size() && path.substr(0, own.size()) == own && path[own.size()] == '/';
    node = is_above ? lyd_child(node) : node->next;
  }
  return nullptr;
}

// The rule that has this message of its own, else null.
const lysc_must* must_with(const lyd_node* node, std::string_view message) {
  if (node == nullptr || node->schema == nullptr) return nullptr;
  const lysc_must* const musts = lysc_node_musts(node->schema);
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(musts, i) {
    if (musts[i].emsg != nullptr && message == musts[i].emsg) return &musts[i];
  }
  return nullptr;
}

}  // namespace

std::string instance_path(const lyd_node* node) {
  if (node == nullptr) return {};
  const TextPtr path(lyd_path(node, LYD_PATH_STD, nullptr, 0));
  return path != nullptr ? std::string(path.get()) : std::string();
}

Violation must_violation(const lyd_node* node, const lysc_must& must) {
  std::string rule = "must " + text::quoted(lyxp_get_expr(must.cond));
  if (must.emsg != nullptr) rule.append(": ").append(must.emsg);
  return broken(ViolationKind::kConstraint, instance_path(node), std::move(rule));
}

Violation when_violation(std::string path, const lysc_when& when) {
  return broken(ViolationKind::kConstraint, std::move(path),
                "when " + text::quoted(lyxp_get_expr(when.cond)));
}

Violation leafref_violation(const lyd_node* node, std::string_view target) {
  return broken(
      ViolationKind::kConstraint, instance_path(node),
      "leafref: no " + text::quoted(target) + " with value " + text::quoted(lyd_get_value(node)));
}

Violation instance_violation(const lyd_node* node) {
  return broken(ViolationKind::kConstraint, instance_path(node),
                "instance-identifier: nothing at " + text::quoted(lyd_get_value(node)));
}

Violation missing_violation(std::string path, const lysc_node* node) {
  const std::string name = text::quoted(node->name);
  if (node->nodetype == LYS_CHOICE) {
    return broken(ViolationKind::kConstraint, std::move(path),
                  "mandatory choice " + name + " has no data");
  }
  const std::string kind = lys_nodetype2str(node->nodetype);
  return broken(ViolationKind::kConstraint, std::move(path),
                "mandatory " + kind + " " + name + " is missing");
}

Violation few_violation(std::string path, const lysc_node* node, std::uint32_t min) {
  return broken(ViolationKind::kConstraint, std::move(path),
                "at least " + std::to_string(min) + " entries of " + text::quoted(node->name));
}

Violation many_violation(const lyd_node* node, std::uint32_t max) {
  return broken(
      ViolationKind::kConstraint, instance_path(node),
      "at most " + std::to_string(max) + " entries of " + text::quoted(node->schema->name));
}

Violation unique_violation(const lyd_node* node, std::string_view leafs) {
  return broken(ViolationKind::kConstraint, instance_path(node), "unique " + text::quoted(leafs));
}

Violation both_cases_violation(std::string path, std::string_view one, std::string_view other) {
  return broken(ViolationKind::kStructure, std::move(path),
                "data of both cases " + text::quoted(one) + " and " + text::quoted(other));
}

Violation stored_violation(const ly_ctx* context, const lyd_node* tree) {
  const char* const text = ly_errmsg(context);
  const std::string message = text != nullptr ? text : "the schema";
  const std::string path = data_place(ly_errpath(context));
  const lyd_node* const node = path.empty() ? nullptr : node_at(tree, path);
  if (const lysc_must* const must = must_with(node, message)) return must_violation(node, *must);

  std::vector<std::string_view> word;
  std::string rule = message;
  ViolationKind kind = ViolationKind::kConstraint;
  if (matches(message, "Must condition \"*\" not satisfied.", word)) {
    rule = "must " + text::quoted(word[0]);
  } else if (matches(message, "When condition \"*\" not satisfied.", word)) {
    rule = "when " + text::quoted(word[0]);
  } else if (matches(message,
                     "Invalid leafref value \"*\" - no target instance \"*\" with the same value.",
                     word)) {
    rule = "leafref: no " + text::quoted(word[1]) + " with value " + text::quoted(word[0]);
  } else if (matches(message,
                     "Invalid instance-identifier \"*\" value - required instance not found.",
                     word)) {
    rule = "instance-identifier: nothing at " + text::quoted(word[0]);
  } else if (matches(message, "Unique data leaf(s) \"*\" not satisfied in \"*\" and \"*\".",
                     word)) {
    rule = "unique " + text::quoted(word[0]);
  } else if (matches(message, "Too many \"*\" instances.", word)) {
    rule = "at most fewer entries of " + text::quoted(word[0]);
  } else if (matches(message, "Data for both cases \"*\" and \"*\" exist.", word)) {
    kind = ViolationKind::kStructure;
    rule = "data of both cases " + text::quoted(word[0]) + " and " + text::quoted(word[1]);
  } else if (matches(message, "Duplicate instance of \"*\".", word)) {
    kind = ViolationKind::kStructure;
    rule = "duplicate " + text::quoted(word[0]);
  } else if (matches(message, "Unexpected data * node \"*\" found.", word)) {
    kind = ViolationKind::kStructure;
    rule = text::quoted(word[1]) + " is " + std::string(word[0]) + " data";
  }
  if (node != nullptr && message.substr(0, 9) == "Too many ") {
    const bool is_list = node->schema->nodetype == LYS_LIST;
    const std::uint32_t max = is_list
                                  ? reinterpret_cast<const lysc_node_list*>(node->schema)->max
                                  : reinterpret_cast<const lysc_node_leaflist*>(node->schema)->max;
    return many_violation(node, max);
  }
  return broken(kind, path, rule);
}

}  // namespace nexa::store

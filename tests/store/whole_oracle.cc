// libyang deletes conditional nodes in the order in which it finds them and judges one module
// before it looks at the next, so conditions are settled first, to the end, and only then is the
// tree judged. Where a default depends on another conditional default, libyang looks at both at
// once and the result may break RFC 7950, section 7.21.5; such a result is called uncertain.
#include "store/whole_oracle.h"

#include <set>

#include "kestrel/loader.h"
#include "store/case_messages.h"

namespace nexa_test {
namespace {

constexpr std::uint32_t kOptions = LYD_VALIDATE_PRESENT | LYD_VALIDATE_NO_STATE;
constexpr int kMostRounds = 24;

using Verdict = OracleAnswer::Verdict;

std::string last_message() {
  const char* const text = ly_errmsg(kestrel::context());
  const char* const path = ly_errpath(kestrel::context());
  return (text != nullptr ? std::string(text) : "") +
         (path != nullptr ? " at " + std::string(path) : "");
}

bool add_defaults(ExplicitTree& tree, const std::set<const lys_module*>& modules) {
  for (const lys_module* const module : modules) {
    lyd_node* top = tree.release();
    const LY_ERR done = lyd_new_implicit_module(&top, module, LYD_IMPLICIT_NO_STATE, nullptr);
    tree.take(top);
    if (done != LY_SUCCESS) return false;
  }
  return true;
}

bool validate(ExplicitTree& tree) {
  lyd_node* top = tree.release();
  const LY_ERR done = lyd_validate_all(&top, kestrel::context(), kOptions, nullptr);
  tree.take(top);
  return done == LY_SUCCESS;
}

// RFC 7950, section 7.6.1: defaults that are in use without any data. A module whose defaults are
// not valid alone comes into being with its first node.
std::set<const lys_module*> standing_modules() {
  std::set<const lys_module*> standing;
  std::uint32_t index = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(kestrel::context(), &index)) {
    if (!module->implemented) continue;
    ExplicitTree alone;
    if (add_defaults(alone, {module}) && alone.top() != nullptr && validate(alone)) {
      standing.insert(module);
    }
  }
  ExplicitTree together;
  if (!add_defaults(together, standing) || !validate(together)) standing.clear();
  return standing;
}

std::set<const lys_module*> used_modules(const ExplicitTree& tree) {
  static const std::set<const lys_module*> standing = standing_modules();
  std::set<const lys_module*> modules = standing;
  for (const lyd_node* node = tree.top(); node != nullptr; node = node->next) {
    modules.insert(node->schema->module);
  }
  return modules;
}

// Whether every `when` of the node, and of the choices and cases around it, holds.
bool may_exist(const lyd_node* node) {
  const lysc_node* schema = node->schema;
  do {
    const lysc_when* const* const whens = lysc_node_when(schema);
    LY_ARRAY_COUNT_TYPE i = 0;
    LY_ARRAY_FOR(whens, i) {
      const lyd_node* context = whens[i]->context == schema ? node : lyd_parent(node);
      if (context == nullptr) context = node;  // such conditions are absolute
      ly_bool holds = 0;
      const LY_ERR done =
          lyd_eval_xpath3(context, schema->module, lyxp_get_expr(whens[i]->cond),
                          LY_VALUE_SCHEMA_RESOLVED, whens[i]->prefixes, nullptr, &holds);
      if (done == LY_SUCCESS && holds == 0) return false;
    }
    schema = schema->parent;
  } while (schema != nullptr && (schema->nodetype & (LYS_CASE | LYS_CHOICE)) != 0);
  return true;
}

void collect_false(lyd_node* first, bool defaults, std::vector<lyd_node*>& found) {
  for (lyd_node* node = first; node != nullptr; node = node->next) {
    const bool is_default = (node->flags & LYD_DEFAULT) != 0;
    if (is_default == defaults && !may_exist(node)) {
      found.push_back(node);
    } else {
      collect_false(lyd_child(node), defaults, found);
    }
  }
}

std::set<std::string> explicit_paths(const lyd_node* first) {
  std::set<std::string> paths;
  const auto visit = [&paths](const auto& self, const lyd_node* siblings) -> void {
    for (const lyd_node* node = siblings; node != nullptr; node = node->next) {
      if ((node->flags & LYD_DEFAULT) != 0) continue;
      if (!is_plain(node->schema)) paths.insert(path_of_node(node));
      self(self, lyd_child(node));
    }
  };
  visit(visit, first);
  return paths;
}

void flag_conditions_true(lyd_node* first) {
  for (lyd_node* node = first; node != nullptr; node = node->next) {
    node->flags &= ~static_cast<std::uint32_t>(LYD_NEW);
    if (lysc_has_when(node->schema) != nullptr) node->flags |= LYD_WHEN_TRUE;
    flag_conditions_true(lyd_child(node));
  }
}

// Whether every condition holds, of what is given and of defaults.
bool all_hold(const ExplicitTree& tree) {
  std::vector<lyd_node*> found;
  collect_false(tree.top(), false, found);
  collect_false(tree.top(), true, found);
  return found.empty();
}

// Deletes nodes whose `when` is false until none is left. Empty when that could be done.
std::string settle_conditions(ExplicitTree& tree) {
  for (int round = 0; round < kMostRounds; ++round) {
    flag_conditions_true(tree.top());
    if (!add_defaults(tree, used_modules(tree))) return "defaults: " + last_message();
    std::vector<lyd_node*> gone;
    collect_false(tree.top(), false, gone);
    for (lyd_node* const node : gone) tree.remove(node);
    tree.strip_defaults();
    if (gone.empty()) return "";
  }
  return "conditions without end";
}

OracleAnswer refusal(std::string why) {
  OracleAnswer answer;
  answer.why = std::move(why);
  return answer;
}

OracleAnswer uncertain(std::string why) {
  OracleAnswer answer;
  answer.verdict = Verdict::kUncertain;
  answer.why = std::move(why);
  return answer;
}

// The text of a leaf's or leaf-list's default; null without one.
const char* default_of(const lysc_node* schema) {
  const lyd_value* value = nullptr;
  if (schema->nodetype == LYS_LEAF) {
    value = reinterpret_cast<const lysc_node_leaf*>(schema)->dflt;
  } else if (schema->nodetype == LYS_LEAFLIST) {
    lyd_value* const* const values = reinterpret_cast<const lysc_node_leaflist*>(schema)->dflts;
    value = values != nullptr ? values[0] : nullptr;
  }
  return value != nullptr ? lyd_value_get_canonical(kestrel::context(), value) : nullptr;
}

// Whether a default that `parent` does not hold may stand there; those of cases are left out.
bool lacks_child(lyd_node* parent) {
  const lysc_node* schema = nullptr;
  while ((schema = lys_getnext(schema, parent->schema, nullptr, 0)) != nullptr) {
    const char* const text = default_of(schema);
    const bool is_there =
        text == nullptr || lysc_data_parent(schema) != schema->parent ||
        lyd_find_sibling_val(lyd_child(parent), schema, nullptr, 0, nullptr) != LY_ENOTFOUND;
    lyd_node* added = nullptr;
    if (is_there || lyd_new_term(parent, schema->module, schema->name, text, 0, &added) != 0) {
      continue;
    }
    const bool may_stand = may_exist(added);
    lyd_free_tree(added);
    if (may_stand) return true;
  }
  return false;
}

bool lacks_default(lyd_node* first) {
  for (lyd_node* node = first; node != nullptr; node = node->next) {
    if ((node->schema->nodetype & (LYS_CONTAINER | LYS_LIST)) == 0) continue;
    if (lacks_child(node) || lacks_default(lyd_child(node))) return true;
  }
  return false;
}

}  // namespace

bool WholeOracle::lacks_a_default(const std::string& json) {
  lyd_node* parsed = nullptr;
  lyd_parse_data_mem(kestrel::context(), json.c_str(), LYD_JSON, LYD_PARSE_ONLY, 0, &parsed);
  const Forest all(parsed);
  return lacks_default(parsed);
}

OracleAnswer WholeOracle::judge_here(const std::string& inner_xml,
                                     const std::vector<nexa::store::Edit>& edits) {
  ExplicitTree tree;
  if (!tree.load(inner_xml)) return refusal("the oracle's own configuration does not parse");
  std::string why;
  for (const nexa::store::Edit& edit : edits) {
    if (!tree.apply(edit, why)) return refusal(why);
  }
  const std::set<std::string> edited = explicit_paths(tree.top());
  for (int round = 0; round < kMostRounds; ++round) {
    // deref() may be asked before the default is there that the reference names.
    why = settle_conditions(tree);
    if (!why.empty()) return uncertain(why);
    const std::set<std::string> settled = explicit_paths(tree.top());
    flag_conditions_true(tree.top());
    if (!add_defaults(tree, used_modules(tree))) return uncertain("defaults: " + last_message());
    const bool held = all_hold(tree);
    const bool is_valid = validate(tree);
    if (!is_valid) why = last_message();
    const std::set<std::string> left = explicit_paths(tree.top());
    // Every condition held: a default that does not stand was there while one was asked.
    if (held && left.size() < settled.size())
      return uncertain("nodes go although their when is true");
    for (const std::string& path : tree.given()) {
      if (edited.count(path) != 0 && left.count(path) == 0) {
        return refusal("a condition takes away what the Set gives: " + path);
      }
    }
    std::vector<lyd_node*> wrong;
    collect_false(tree.top(), true, wrong);
    if (!wrong.empty()) {
      return uncertain("the default " + path_of_node(wrong.front()) +
                       " although its when is false");
    }
    if (left == settled) {
      if (!is_valid) return refusal(why);
      OracleAnswer answer;
      answer.verdict = Verdict::kAccepted;
      answer.json = print_forest(tree.top(), LYD_JSON, LYD_PRINT_WD_ALL);
      tree.strip_defaults();
      answer.xml = tree.xml();
      return answer;
    }
    tree.strip_defaults();
  }
  return refusal("validation without end");
}

WholeOracle::WholeOracle(bool in_child) {
  if (!in_child) return;
  process_ = std::make_unique<OracleProcess>([](const std::string& request) {
    std::size_t at = 0;
    const std::string inner_xml = take_part(request, at);
    const OracleAnswer answer = judge_here(inner_xml, take_edits(request, at));
    std::string text;
    add_part(std::to_string(static_cast<int>(answer.verdict)), text);
    for (const std::string& part : {answer.why, answer.xml, answer.json}) add_part(part, text);
    return text;
  });
}

OracleAnswer WholeOracle::judge(const std::vector<nexa::store::Edit>& edits) const {
  if (process_ == nullptr) return judge_here(xml_, edits);
  std::string request;
  add_part(xml_, request);
  add_edits(edits, request);
  const std::string text = process_->ask(request);
  OracleAnswer answer;
  if (text.empty()) {
    answer.verdict = Verdict::kCrashed;
    return answer;
  }
  std::size_t at = 0;
  answer.verdict = static_cast<Verdict>(take_number(text, at));
  answer.why = take_part(text, at);
  answer.xml = take_part(text, at);
  answer.json = take_part(text, at);
  return answer;
}

}  // namespace nexa_test

// One walk over the schema's records. Without wildcards it holds one node at a time; behind a
// wildcard the set of all that the steps so far can mean.
#include "model/resolver.h"

#include <algorithm>
#include <functional>
#include <unordered_set>

#include "model/origin.h"
#include "text/display.h"
#include "text/utf8.h"

namespace nexa::model {
namespace {

using text::printable;
using text::quoted;

constexpr char kNameForm[] = "a name is \"name\" or \"module:name\"";
constexpr char kKeyForm[] = "malformed key name";
constexpr char kDeepHasNoKeys[] = "\"...\" takes no keys";
constexpr char kNoKeys[] = "has no keys";
constexpr char kOnlyOwnValue[] = "is a leaf-list, its only key is \".\"";
constexpr char kTwice[] = "given twice";
constexpr char kOneNode[] = "an update or replace names one node, not a wildcard";
constexpr char kEntryValue[] = ".";
constexpr char kAny[] = "*";
constexpr char kDeep[] = "...";

// Names and rules in a message are cut here.
constexpr std::size_t kMostNameShown = 100;
constexpr std::size_t kMostRuleShown = 300;
// Path elements in a message; a schema is not deeper.
constexpr int kMostElementsShown = 32;

using Records = std::vector<kestrel_cs_node*>;  // null: the place above the top level

class PathWalk {
 public:
  PathWalk(const Schema& schema, Mode mode, KeyValues& keys, Purpose purpose,
           std::vector<std::string>* notes, Target& target)
      : names_(schema.names()),
        schema_(schema),
        rules_(mode == Mode::kStrict ? NameRules::kStrict : NameRules::kPath),
        keys_(keys),
        purpose_(purpose),
        finds_twins_(mode == Mode::kTolerant && purpose == Purpose::kWrite),
        notes_(notes),
        target_(target) {}

  text::Done run();

 private:
  using Verdict = text::Done;

  Verdict add(int element);
  Verdict add_deep(const gnmi::PathElem& element);
  Verdict add_named(const gnmi::PathElem& element, TargetStep::Kind kind);
  void add_whole_scope();
  void children(const kestrel_cs_node* parent, const WrittenName& name, Records& out) const;
  Verdict find(const gnmi::PathElem& element, TargetStep::Kind kind, Records& found);
  Verdict read_keys(const gnmi::PathElem& element, TargetStep& step, Records& found);
  Verdict keys_of(const gnmi::PathElem& element, TargetNode& node);
  Verdict list_keys(const gnmi::PathElem& element, TargetNode& node);
  Verdict add_key(const std::string& name, const std::string& value, kestrel_cs_node* record,
                  TargetNode& node);
  Verdict complete_above() const;
  bool key_is(const std::string& written, const kestrel_cs_node* key) const;
  std::string missing_keys(const TargetNode& node) const;
  void descend_deep();
  void keep_order(TargetStep& step) const;

  std::string quoted_path(int count) const;
  text::Failure refuse(grpc::StatusCode code, std::string rule) const;
  text::Failure refuse(const std::string& rule) const {
    return refuse(grpc::StatusCode::INVALID_ARGUMENT, rule);
  }
  text::Failure malformed(const char* rule) const {
    return refuse("path element " + std::to_string(at_ + 1) + ": " + rule);
  }
  text::Failure at_element(const std::string& rule) const {
    return refuse(quoted_path(at_ + 1) + " " + rule);
  }
  text::Failure at_key(std::string_view key, const std::string& rule) const {
    return at_element("key " + quoted(key, kMostNameShown) + ": " + rule);
  }
  void note(std::string line) const {
    if (notes_ != nullptr) notes_->push_back(std::move(line));
  }

  const SchemaNames& names_;
  const Schema& schema_;
  const NameRules rules_;
  KeyValues& keys_;
  const Purpose purpose_;
  const bool finds_twins_;
  std::vector<std::string>* const notes_;
  Target& target_;
  Records from_ = {nullptr};  // what the steps so far can mean
  int at_ = 0;
};

text::Done PathWalk::run() {
  const int count = target_.path.elem_size();
  target_.steps.reserve(static_cast<std::size_t>(count));
  for (at_ = 0; at_ < count; ++at_) {
    if (Verdict verdict = add(at_); !verdict.ok()) return verdict;
  }
  // At the end "..." adds nothing: a node stands for all below it.
  if (!target_.steps.empty() && target_.steps.back().kind == TargetStep::Kind::kDeep) {
    target_.steps.pop_back();
  }
  if (target_.steps.empty()) add_whole_scope();
  target_.only_state = std::all_of(from_.begin(), from_.end(), [](const kestrel_cs_node* node) {
    return node != nullptr && is_state(node);
  });
  return {};
}

// Reading the root of an origin is reading the top-level nodes that belong to it.
void PathWalk::add_whole_scope() {
  target_.wild = false;
  if (purpose_ != Purpose::kRead || target_.scope.is_all()) return;
  TargetStep& step = target_.steps.emplace_back();
  step.kind = TargetStep::Kind::kAny;
  step.unlimited = true;
  target_.wild = true;
}

PathWalk::Verdict PathWalk::add(int index) {
  const gnmi::PathElem& element = target_.path.elem(index);
  if (element.name() == kDeep) return add_deep(element);
  const WrittenName name = split_name(element.name());
  const bool has_colon = element.name().find(':') != std::string::npos;
  if (name.name.empty() || (has_colon && name.module.empty())) return malformed(kNameForm);
  return add_named(element, name.name == kAny ? TargetStep::Kind::kAny : TargetStep::Kind::kName);
}

PathWalk::Verdict PathWalk::add_deep(const gnmi::PathElem& element) {
  if (element.key_size() != 0) return malformed(kDeepHasNoKeys);
  if (purpose_ == Purpose::kWrite) return refuse(grpc::StatusCode::UNIMPLEMENTED, kOneNode);
  target_.wild = true;
  if (!target_.steps.empty() && target_.steps.back().kind == TargetStep::Kind::kDeep) return {};
  TargetStep& step = target_.steps.emplace_back();
  step.kind = TargetStep::Kind::kDeep;
  step.element = at_;
  descend_deep();
  return {};
}

// Adds everything below what the steps so far can mean.
void PathWalk::descend_deep() {
  std::unordered_set<const kestrel_cs_node*> seen(from_.begin(), from_.end());
  for (std::size_t i = 0; i < from_.size(); ++i) {
    Records below;
    children(from_[i], {}, below);
    for (kestrel_cs_node* child : below) {
      if (seen.insert(child).second) from_.push_back(child);
    }
  }
}

// The children of `parent`, those of one module when `name` has one.
void PathWalk::children(const kestrel_cs_node* parent, const WrittenName& name,
                        Records& out) const {
  const KestrelNsEntry* module = nullptr;
  if (!name.module.empty()) {
    module = names_.module_of(name.module, rules_);
    if (module == nullptr) return;
  }
  const auto take = [&](kestrel_cs_node* child) {
    if (module == nullptr || child->ns == module->hash) out.push_back(child);
  };
  if (parent != nullptr) {
    for (kestrel_cs_node* child = parent->children; child != nullptr; child = child->next) {
      take(child);
    }
    return;
  }
  for (kestrel_cs_node* top : names_.tops()) {
    if (module != nullptr || names_.in_scope(top, target_.scope)) take(top);
  }
}

PathWalk::Verdict PathWalk::add_named(const gnmi::PathElem& element, TargetStep::Kind kind) {
  if (kind == TargetStep::Kind::kAny && purpose_ == Purpose::kWrite) {
    return refuse(grpc::StatusCode::UNIMPLEMENTED, kOneNode);
  }
  if (Verdict verdict = complete_above(); !verdict.ok()) return verdict;
  Records found;
  if (Verdict verdict = find(element, kind, found); !verdict.ok()) return verdict;
  TargetStep& step = target_.steps.emplace_back();
  step.kind = kind;
  step.element = at_;
  const bool is_bare = split_name(element.name()).module.empty();
  step.unlimited = kind == TargetStep::Kind::kAny && is_bare && element.key_size() == 0;
  if (!step.unlimited) {
    if (Verdict verdict = read_keys(element, step, found); !verdict.ok()) return verdict;
    keep_order(step);
  }
  if (kind == TargetStep::Kind::kAny) target_.wild = true;
  from_ = std::move(found);
  return {};
}

// An entry on the way of a write is one entry.
PathWalk::Verdict PathWalk::complete_above() const {
  if (purpose_ != Purpose::kWrite || target_.steps.empty()) return {};
  const TargetNode& above = target_.last();
  const std::string missing = is_list(above.node) ? missing_keys(above) : std::string();
  if (missing.empty()) return {};
  return refuse(quoted_path(at_) + " needs " + missing);
}

std::string PathWalk::missing_keys(const TargetNode& node) const {
  std::string missing;
  for (const std::uint32_t* tag = node.node->keys; tag != nullptr && *tag != 0; ++tag) {
    const bool is_given =
        std::any_of(node.keys.begin(), node.keys.end(), [&](const TargetKey& key) {
          return key.node->tag == *tag && key.node->ns == node.node->ns;
        });
    if (is_given) continue;
    missing.append(missing.empty() ? "the key " : ", ").append(quoted(kestrel_hash2str(*tag)));
  }
  return missing;
}

// The nodes that the element can mean below those before it.
PathWalk::Verdict PathWalk::find(const gnmi::PathElem& element, TargetStep::Kind kind,
                                 Records& found) {
  std::unordered_set<const kestrel_cs_node*> seen;
  const WrittenName name = split_name(element.name());
  for (const kestrel_cs_node* parent : from_) {
    Records meant;
    if (kind == TargetStep::Kind::kAny) {
      children(parent, name, meant);
    } else {
      meant = names_.meanings(parent, element.name(), rules_, target_.scope);
      if (meant.size() > 1 && !target_.wild) {
        return refuse(
            names_.refusal(parent, element.name(), rules_, meant,
                           at_ == 0 ? "at the top of the schema" : "below " + quoted_path(at_)));
      }
    }
    if (from_.size() == 1) {
      found = std::move(meant);
      break;
    }
    for (kestrel_cs_node* node : meant) {
      if (seen.insert(node).second) found.push_back(node);
    }
  }
  if (found.empty()) {
    const bool is_top = from_.size() == 1 && from_.front() == nullptr;
    std::string where = is_top ? "at the top of the schema" : "below " + quoted_path(at_);
    if (is_top && !target_.scope.is_all()) {
      where = "at the top of origin " + quoted(target_.scope.origin, kMostNameShown);
    }
    const kestrel_cs_node* const parent = from_.empty() ? nullptr : from_.front();
    const bool lacks_module = is_top && name.module.empty() && rules_ == NameRules::kStrict;
    return refuse(lacks_module ? grpc::StatusCode::INVALID_ARGUMENT : grpc::StatusCode::NOT_FOUND,
                  names_.refusal(parent, element.name(), rules_, {}, where));
  }
  const bool guessed = !target_.wild && kind == TargetStep::Kind::kName && name.module.empty() &&
                       (from_.front() == nullptr || found.front()->ns != from_.front()->ns);
  if (guessed && notes_ != nullptr) {
    note("path element " + quoted(element.name(), kMostNameShown) + " is " +
         names_.qualified(found.front()));
  }
  return {};
}

// Among the many nodes of a wildcard those count that can have the keys; a name alone must.
PathWalk::Verdict PathWalk::read_keys(const gnmi::PathElem& element, TargetStep& step,
                                      Records& found) {
  Verdict first_refusal;
  Records kept;
  for (kestrel_cs_node* record : found) {
    TargetNode node;
    node.node = record;
    node.schema = schema_.compiled(record);
    node.parent = record->parent != nullptr ? schema_.compiled(record->parent) : nullptr;
    Verdict verdict = element.key_size() == 0 ? Verdict() : keys_of(element, node);
    if (verdict.ok()) {
      kept.push_back(record);
      step.nodes.push_back(std::move(node));
    } else if (first_refusal.ok()) {
      first_refusal = std::move(verdict);
    }
  }
  if (kept.empty()) return first_refusal;
  found = std::move(kept);
  return {};
}

void PathWalk::keep_order(TargetStep& step) const {
  const std::less<const lysc_node*> before;
  std::stable_sort(step.nodes.begin(), step.nodes.end(),
                   [&](const TargetNode& left, const TargetNode& right) {
                     return before(left.parent, right.parent);
                   });
}

PathWalk::Verdict PathWalk::keys_of(const gnmi::PathElem& element, TargetNode& node) {
  if (is_list(node.node) && node.node->keys != nullptr) return list_keys(element, node);
  if (!is_leaf_list(node.node)) return at_element(kNoKeys);
  const auto& [name, value] = *element.key().begin();
  if (element.key_size() != 1 || name != kEntryValue) return at_element(kOnlyOwnValue);
  return add_key(name, value, node.node, node);
}

bool PathWalk::key_is(const std::string& written, const kestrel_cs_node* key) const {
  const WrittenName name = split_name(written);
  if (name.name != local_name(key)) return false;
  if (name.module.empty()) return written.front() != ':';
  const KestrelNsEntry* const module = names_.module_of(name.module, rules_);
  return module != nullptr && module->hash == key->ns;
}

PathWalk::Verdict PathWalk::list_keys(const gnmi::PathElem& element, TargetNode& node) {
  std::unordered_set<const std::string*> used;
  for (const std::uint32_t* tag = node.node->keys; *tag != 0; ++tag) {
    kestrel_cs_node* const key = kestrel_find_cs_node_child(node.node, *tag, node.node->ns);
    bool is_given = false;
    for (const auto& [name, value] : element.key()) {
      if (!key_is(name, key)) continue;
      if (is_given) return at_key(local_name(key), kTwice);
      is_given = true;
      used.insert(&name);
      if (Verdict verdict = add_key(name, value, key, node); !verdict.ok()) return verdict;
    }
  }
  for (const auto& [name, value] : element.key()) {
    if (used.count(&name) != 0) continue;
    if (split_name(name).name.empty() || name.front() == ':') return malformed(kKeyForm);
    return at_element("has no key " + quoted(name, kMostNameShown));
  }
  const std::string missing = purpose_ == Purpose::kWrite ? missing_keys(node) : std::string();
  if (!missing.empty()) return at_element("needs " + missing);
  return {};
}

PathWalk::Verdict PathWalk::add_key(const std::string& name, const std::string& value,
                                    kestrel_cs_node* record, TargetNode& node) {
  TargetKey key;
  key.node = record;
  key.schema = schema_.compiled(record);
  key.name = name;
  key.sent = value;
  key.any = value == kAny;
  if (key.any && purpose_ == Purpose::kWrite) {
    return refuse(grpc::StatusCode::UNIMPLEMENTED, kOneNode);
  }
  std::string rule;
  if (!key.any && !keys_.read(key, rule)) return at_key(name, printable(rule, kMostRuleShown));
  if (!key.any && !key.stored.qualified.empty() && notes_ != nullptr) {
    note("key " + std::string(local_name(record)) + " of " + local_name(node.node) + ": identity " +
         quoted(value, kMostNameShown) + " is " + quoted(key.stored.qualified));
  }
  if (finds_twins_ && is_list(node.node)) key.twin = keys_.twin_of(node.node, key);
  node.keys.push_back(std::move(key));
  return {};
}

// The names of the first `count` elements, as the path writes them.
std::string PathWalk::quoted_path(int count) const {
  std::string shown;
  for (int i = 0; i < std::min(count, kMostElementsShown); ++i) {
    const std::string_view name = target_.path.elem(i).name();
    const std::size_t length = text::prefix_length(name, kMostNameShown);
    shown.append("/").append(name.substr(0, length)).append(length < name.size() ? "..." : "");
  }
  return quoted(shown);
}

text::Failure PathWalk::refuse(grpc::StatusCode code, std::string rule) const {
  const std::string path = quoted_path(at_ + 1);
  return {code, path.substr(1, path.size() - 2), std::move(rule)};
}

}  // namespace

Resolver::Resolver(const Schema& schema, Mode mode)
    : schema_(schema), mode_(mode), keys_(schema, mode == Mode::kTolerant) {}

text::Result<Target> Resolver::resolve(const gnmi::Path& prefix, const gnmi::Path& path,
                                       Purpose purpose, std::vector<std::string>* notes) const {
  text::Result<Scope> scope = scope_of(schema_.names(), mode_, prefix, path);
  if (!scope.ok()) return std::move(scope).failure();
  Target target;
  target.path = join_paths(prefix, path);
  target.path.clear_target();
  target.scope = std::move(scope).value();
  target.model = &schema_;
  PathWalk walk(schema_, mode_, keys_, purpose, notes, target);
  if (text::Done done = walk.run(); !done.ok()) return std::move(done).failure();
  return target;
}

namespace {

// Of elements with the same keys: their texts are written over, which takes no new memory.
void copy_values(const gnmi::PathElem& from, gnmi::PathElem& to) {
  auto& keys = *to.mutable_key();
  if (keys.size() == 1) {
    keys.begin()->second = from.key().begin()->second;
    return;
  }
  for (auto& [name, value] : keys) value = from.key().at(name);
}

}  // namespace

bool Resolver::read_keys(const gnmi::Path& path, Target& target) const {
  const int above = target.path.elem_size() - path.elem_size();
  std::string rule;
  for (TargetStep& step : target.steps) {
    if (step.element < above) continue;
    const gnmi::PathElem& written = path.elem(step.element - above);
    for (TargetNode& meant : step.nodes) {
      for (TargetKey& key : meant.keys) {
        const std::string& value = written.key().at(key.name);
        if (value == key.sent) continue;
        key.sent = value;
        key.stored = {};
        if (!keys_.read(key, rule)) return false;
      }
    }
  }
  for (int i = 0; i < path.elem_size(); ++i) {
    const gnmi::PathElem& read = path.elem(i);
    if (read.key_size() != 0) copy_values(read, *target.path.mutable_elem(above + i));
  }
  return true;
}

}  // namespace nexa::model

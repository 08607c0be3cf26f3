// The schema half: which nodes of the schema can a path mean, and where does it stop to mean any?
#include <algorithm>
#include <unordered_set>

#include "store/reading/selection.h"
#include "store/reading/selection_schema.h"
#include "store/reading/selection_steps.h"
#include "text/display.h"

namespace nexa::host {
namespace {

inline constexpr char kNoNode[] = "no node";
inline constexpr char kAtTop[] = "at the top level";
inline constexpr char kBelow[] = "below";
inline constexpr char kAmbiguous[] = "more than one module has it, name one of";
inline constexpr char kNoKeys[] = "has no keys";
inline constexpr char kOnlyOwnValue[] = "is a leaf-list, its only key is \".\"";
inline constexpr char kNoSuchKey[] = "has no key";
inline constexpr char kTwice[] = "given twice";
inline constexpr char kBadValue[] = "is no value of its type";

// Bytes of a name or value in a message.
constexpr std::size_t kShown = 100;
// Path elements in a message; a schema is not deeper.
constexpr std::size_t kShownSteps = 32;

std::string quoted(std::string_view text) { return text::quoted(text, kShown); }

using Nodes = std::vector<const lysc_node*>;  // null: above the top level

class SchemaWalk {
 public:
  SchemaWalk(const std::vector<SelectionStep>& steps, StepTargets& targets, bool check_values)
      : steps_(steps), targets_(targets), check_values_(check_values) {}

  grpc::Status run(Nodes& last) {
    Nodes at = {nullptr};
    for (at_ = 0; at_ < steps_.size(); ++at_) {
      Nodes next;
      grpc::Status status = advance(at, next);
      if (!status.ok()) return status;
      at = std::move(next);
    }
    last = std::move(at);
    return grpc::Status::OK;
  }

 private:
  const SelectionStep& step() const { return steps_[at_]; }

  grpc::Status advance(const Nodes& from, Nodes& to) {
    if (step().kind == SelectionStep::Kind::kDeep) {
      to = with_descendants(from);
      wildcard_ = true;
      return grpc::Status::OK;
    }
    std::unordered_set<const lysc_node*> seen;
    for (const lysc_node* parent : from) {
      const Nodes& targets = targets_.below(parent, at_);
      const bool named = step().kind == SelectionStep::Kind::kName;
      if (targets.size() > 1 && named && !wildcard_) return ambiguous(targets);
      for (const lysc_node* target : targets) {
        if (seen.insert(target).second) to.push_back(target);
      }
    }
    if (to.empty()) return nothing_here();
    if (step().kind == SelectionStep::Kind::kAny) wildcard_ = true;
    return step().keys.empty() ? grpc::Status::OK : keep_those_with_keys(to);
  }

  static Nodes with_descendants(const Nodes& from) {
    Nodes all = from;
    std::unordered_set<const lysc_node*> seen(from.begin(), from.end());
    for (std::size_t i = 0; i < all.size(); ++i) {
      for (const lysc_node* child : schema_children(all[i])) {
        if (seen.insert(child).second) all.push_back(child);
      }
    }
    return all;
  }

  // Among the many nodes of a wildcard those count that can have the keys; a name alone must.
  grpc::Status keep_those_with_keys(Nodes& nodes) const {
    grpc::Status first_refusal = grpc::Status::OK;
    Nodes kept;
    for (const lysc_node* node : nodes) {
      grpc::Status status = check_keys(node);
      if (status.ok()) {
        kept.push_back(node);
      } else if (first_refusal.ok()) {
        first_refusal = status;
      }
    }
    if (kept.empty()) return first_refusal;
    nodes = std::move(kept);
    return grpc::Status::OK;
  }

  grpc::Status check_keys(const lysc_node* node) const {
    std::unordered_set<const lysc_node*> seen;
    for (const SelectionKey& key : step().keys) {
      const lysc_node* leaf = nullptr;
      if (node->nodetype == LYS_LEAFLIST) {
        if (*key.written != ".") return refuse(kOnlyOwnValue);
        leaf = node;
      } else if (node->nodetype == LYS_LIST && (node->flags & LYS_KEYLESS) == 0) {
        leaf = key_leaf(key, node);
        if (leaf == nullptr) return refuse(std::string(kNoSuchKey) + " " + quoted(*key.written));
      } else {
        return refuse(kNoKeys);
      }
      if (!seen.insert(leaf).second) return refuse_key(leaf->name, kTwice);
      if (check_values_ && key.value != nullptr && !takes_value(leaf, *key.value)) {
        return refuse_key(*key.written, quoted(*key.value) + " " + kBadValue);
      }
    }
    return grpc::Status::OK;
  }

  grpc::Status refuse(const std::string& rule) const {
    return {grpc::StatusCode::INVALID_ARGUMENT, quoted_path(at_ + 1) + " " + rule};
  }

  grpc::Status refuse_key(std::string_view key, const std::string& rule) const {
    return refuse("key " + quoted(key) + ": " + rule);
  }

  grpc::Status nothing_here() const {
    std::string text = std::string(kNoNode) + " " + quoted(step().element->name());
    text += " " + (at_ == 0 ? std::string(kAtTop) : std::string(kBelow) + " " + quoted_path(at_));
    return {grpc::StatusCode::NOT_FOUND, text};
  }

  grpc::Status ambiguous(const Nodes& targets) const {
    std::string text = quoted_path(at_ + 1) + ": " + kAmbiguous;
    for (const lysc_node* target : targets) {
      text += std::string(target == targets.front() ? " \"" : ", \"") + target->module->name + ":" +
              target->name + "\"";
    }
    return {grpc::StatusCode::INVALID_ARGUMENT, text};
  }

  // The names of the first `count` steps, as the path writes them.
  std::string quoted_path(std::size_t count) const {
    std::string text = "\"";
    for (std::size_t i = 0; i < std::min(count, kShownSteps); ++i) {
      const std::string name = quoted(steps_[i].element->name());
      text += "/" + name.substr(1, name.size() - 2);
    }
    return text + "\"";
  }

  const std::vector<SelectionStep>& steps_;
  StepTargets& targets_;
  const bool check_values_;
  std::size_t at_ = 0;
  bool wildcard_ = false;
};

}  // namespace

grpc::Status walk_schema(const std::vector<SelectionStep>& steps, StepTargets& targets,
                         bool check_values, std::vector<const lysc_node*>& last) {
  return SchemaWalk(steps, targets, check_values).run(last);
}

grpc::Status select_schema(const gnmi::Path& path, std::vector<const lysc_node*>* schema) {
  std::vector<SelectionStep> steps;
  grpc::Status split = split_path(path, steps);
  if (!split.ok()) return split;
  Nodes last;
  StepTargets targets(steps);
  grpc::Status status = walk_schema(steps, targets, true, last);
  if (!status.ok()) return status;
  if (schema != nullptr) {
    last.erase(std::remove(last.begin(), last.end(), nullptr), last.end());
    *schema = std::move(last);
  }
  return grpc::Status::OK;
}

}  // namespace nexa::host

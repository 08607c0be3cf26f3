// A walk keeps the set of levels that the way so far can stand for: one without wildcards, several
// where "*", "..." or keys left out name the same node beside it.
#include "telemetry/change_index.h"

#include <algorithm>
#include <utility>

namespace nexa::telemetry {

using model::TargetKey;
using model::TargetNode;
using model::TargetStep;

// Where a step has led to: who ends here, and how the others go on.
struct ChangeIndex::Level {
  std::vector<Watch*> watches;
  std::unordered_map<const lysc_node*, Branch> named;
  std::unique_ptr<Level> any;   // "*": every child
  std::unique_ptr<Level> deep;  // "...": its steps follow at any depth below
  bool is_deep = false;
};

// The instances of one schema node: all of them, or those of some keys.
struct ChangeIndex::Branch {
  // Entries by the same keys; the values are joined as image keys are.
  struct Keyed {
    // Whether the node names none of its entries.
    static bool has_none(const TargetNode& meant) {
      return std::all_of(meant.keys.begin(), meant.keys.end(),
                         [](const TargetKey& key) { return key.any; });
    }
    // Whether the node names one by these keys.
    bool is_of(const TargetNode& meant) const {
      std::size_t met = 0;
      for (const TargetKey& key : meant.keys) {
        if (key.any) continue;
        if (met == keys.size() || keys[met] != key.schema) return false;
        ++met;
      }
      return met == keys.size();
    }

    std::vector<const lysc_node*> keys;
    std::unordered_map<std::string, std::unique_ptr<Level>> entries;
  };
  std::unique_ptr<Level> all;
  std::vector<Keyed> keyed;
};

ChangeIndex::ChangeIndex() : root_(std::make_unique<Level>()) {}

ChangeIndex::~ChangeIndex() = default;

bool ChangeIndex::is_free(const Level& level) {
  return level.watches.empty() && level.named.empty() && !level.any && !level.deep;
}

void ChangeIndex::add(Watch& watch) {
  try {
    add_at(*root_, watch, 0, nullptr);
  } catch (...) {
    remove_at(*root_, watch, 0, nullptr);  // the part that is there
    throw;
  }
  watch.is_in = true;
  ++watches_;
}

void ChangeIndex::remove(Watch& watch) noexcept {
  if (!watch.is_in) return;
  remove_at(*root_, watch, 0, nullptr);
  watch.is_in = false;
  --watches_;
}

// `parent` is the schema node that the steps so far lead to. Behind a wildcard the level stands for
// several schema nodes; those that are no parents of a node never meet it.
template <typename Named>
void ChangeIndex::for_each_meant(const Level& level, const Watch& watch, std::size_t step,
                                 const lysc_node* parent, const Named& named) {
  const std::vector<TargetStep>& steps = watch.target->steps;
  const bool is_open = level.is_deep || (step > 0 && steps[step - 1].unlimited);
  if (is_open) {
    for (const TargetNode& meant : steps[step].nodes) named(meant);
    return;
  }
  const auto [first, end] = steps[step].below(parent);
  for (const TargetNode* meant = first; meant != end; ++meant) named(*meant);
}

void ChangeIndex::add_at(Level& level, Watch& watch, std::size_t step, const lysc_node* parent) {
  const std::vector<TargetStep>& steps = watch.target->steps;
  if (step == steps.size()) {
    level.watches.push_back(&watch);
    return;
  }
  const TargetStep& at = steps[step];
  const bool is_deep = at.kind == TargetStep::Kind::kDeep;
  if (is_deep || at.unlimited) {
    std::unique_ptr<Level>& next = is_deep ? level.deep : level.any;
    if (next == nullptr) next = std::make_unique<Level>();
    next->is_deep = is_deep;
    add_at(*next, watch, step + 1, nullptr);
    return;
  }
  for_each_meant(level, watch, step, parent,
                 [&](const TargetNode& meant) { add_named(level, watch, step, meant); });
}

void ChangeIndex::add_named(Level& level, Watch& watch, std::size_t step, const TargetNode& meant) {
  std::vector<const lysc_node*> keys;
  for (const TargetKey& key : meant.keys) {
    if (!key.any) keys.push_back(key.schema);
  }
  Branch& branch = level.named[meant.schema];
  std::unique_ptr<Level>* next = &branch.all;
  if (!keys.empty()) {
    auto place = std::find_if(branch.keyed.begin(), branch.keyed.end(),
                              [&](const Branch::Keyed& each) { return each.keys == keys; });
    if (place == branch.keyed.end()) {
      place = branch.keyed.insert(place, {std::move(keys), {}});
    }
    write_values(meant);
    next = &place->entries[values_];
  }
  if (*next == nullptr) *next = std::make_unique<Level>();
  add_at(**next, watch, step + 1, meant.schema);
}

// Also of a watch that was added in part: whatever is not there is passed over.
void ChangeIndex::remove_at(Level& level, Watch& watch, std::size_t step,
                            const lysc_node* parent) noexcept {
  const std::vector<TargetStep>& steps = watch.target->steps;
  if (step == steps.size()) {
    std::erase(level.watches, &watch);
    return;
  }
  const TargetStep& at = steps[step];
  const bool is_deep = at.kind == TargetStep::Kind::kDeep;
  if (is_deep || at.unlimited) {
    std::unique_ptr<Level>& next = is_deep ? level.deep : level.any;
    if (next == nullptr) return;
    remove_at(*next, watch, step + 1, nullptr);
    if (is_free(*next)) next.reset();
    return;
  }
  for_each_meant(level, watch, step, parent,
                 [&](const TargetNode& meant) { remove_named(level, watch, step, meant); });
}

void ChangeIndex::remove_named(Level& level, Watch& watch, std::size_t step,
                               const TargetNode& meant) noexcept {
  const auto named = level.named.find(meant.schema);
  if (named == level.named.end()) return;
  Branch& branch = named->second;
  const auto place = std::find_if(branch.keyed.begin(), branch.keyed.end(),
                                  [&](const Branch::Keyed& each) { return each.is_of(meant); });
  if (Branch::Keyed::has_none(meant)) {
    if (branch.all != nullptr) remove_at(*branch.all, watch, step + 1, meant.schema);
    if (branch.all != nullptr && is_free(*branch.all)) branch.all.reset();
  } else if (place != branch.keyed.end() && can_write_values(meant)) {
    write_values(meant);
    const auto entry = place->entries.find(values_);
    if (entry != place->entries.end()) {
      if (entry->second != nullptr) remove_at(*entry->second, watch, step + 1, meant.schema);
      if (entry->second == nullptr || is_free(*entry->second)) place->entries.erase(entry);
    }
  }
  if (place != branch.keyed.end() && place->entries.empty()) branch.keyed.erase(place);
  if (branch.all == nullptr && branch.keyed.empty()) level.named.erase(named);
}

void ChangeIndex::write_values(const TargetNode& meant) {
  values_.clear();
  bool is_first = true;
  for (const TargetKey& key : meant.keys) {
    if (key.any) continue;
    if (!is_first) values_ += '\0';
    values_ += key.canonical;
    is_first = false;
  }
}

// What was never written is in no entry.
bool ChangeIndex::can_write_values(const TargetNode& meant) const noexcept {
  std::size_t length = 0;
  bool is_first = true;
  for (const TargetKey& key : meant.keys) {
    if (key.any) continue;
    length += key.canonical.size() + (is_first ? 0 : 1);
    is_first = false;
  }
  return length <= values_.capacity();
}

class ChangeIndex::Walk final : public store::ChangeVisitor {
 public:
  Walk(Level& root, std::uint64_t number, std::vector<Watch*>& touched)
      : number_(number), touched_(touched) {
    open(root);
    starts_.push_back(0);
  }

  bool enter(const lysc_node* schema, const store::EntryKeys& keys) override {
    const std::size_t first = starts_.back();
    const std::size_t end = open_.size();
    for (std::size_t i = first; i < end; ++i) {
      Level& level = *open_[i];
      if (level.is_deep) open_.push_back(&level);
      if (level.any) open(*level.any);
      const auto named = level.named.find(schema);
      if (named != level.named.end()) open_branch(named->second, keys);
    }
    // Two ways of "..." may lead to one level.
    if (open_.size() > end + 1) {
      const auto begin = open_.begin() + static_cast<std::ptrdiff_t>(end);
      std::sort(begin, open_.end());
      open_.erase(std::unique(begin, open_.end()), open_.end());
    }
    if (open_.size() == end) return false;
    starts_.push_back(end);
    return true;
  }

  void leave() override {
    open_.resize(starts_.back());
    starts_.pop_back();
  }

 private:
  void open_branch(const Branch& branch, const store::EntryKeys& keys) {
    if (branch.all) open(*branch.all);
    for (const Branch::Keyed& keyed : branch.keyed) {
      const auto entry = keyed.entries.find(values_of(keyed.keys, keys));
      if (entry != keyed.entries.end()) open(*entry->second);
    }
  }

  const std::string& values_of(const std::vector<const lysc_node*>& wanted,
                               const store::EntryKeys& keys) {
    values_.clear();
    bool is_first = true;
    for (const auto& [schema, text] : keys) {
      if (std::find(wanted.begin(), wanted.end(), schema) == wanted.end()) continue;
      if (!is_first) values_ += '\0';
      values_ += text;
      is_first = false;
    }
    return values_;
  }

  // The way has come to `level`: who ends here is touched, who goes on is kept.
  void open(Level& level) {
    for (Watch* const watch : level.watches) {
      if (watch->touched_by == number_) continue;
      watch->touched_by = number_;
      touched_.push_back(watch);
    }
    if (!level.named.empty() || level.any) open_.push_back(&level);
    if (level.deep) open(*level.deep);
  }

  const std::uint64_t number_;
  std::vector<Watch*>& touched_;
  std::vector<Level*> open_;
  std::vector<std::size_t> starts_;
  std::string values_;
};

void ChangeIndex::find_touched(const store::CommitStep& step, std::vector<Watch*>& touched) {
  if (empty()) return;
  Walk walk(*root_, ++walks_, touched);
  step.after->visit_changes(*step.before, walk);
}

}  // namespace nexa::telemetry

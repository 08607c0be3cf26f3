// Children stand in the order of the schema on both sides, entries are found by key.
#include "store/image/image_comparison.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "store/image/image_path.h"

namespace nexa::store {
namespace {

class Comparison {
 public:
  explicit Comparison(Compared compared) : compared_(compared) {}

  // False with the nodes from the difference up to the top in `way_`.
  bool same_children(const ImageInner& left, const ImageInner& right) {
    auto mine = left.children().begin();
    auto others = right.children().begin();
    for (;;) {
      while (mine != left.children().end() && !counts(**mine)) ++mine;
      while (others != right.children().end() && !counts(**others)) ++others;
      const ImageNode* const one = mine != left.children().end() ? mine->get() : nullptr;
      const ImageNode* const two = others != right.children().end() ? others->get() : nullptr;
      if (one == nullptr && two == nullptr) return true;
      if (one == nullptr || two == nullptr || one->schema() != two->schema()) {
        return differ(
            two == nullptr || (one != nullptr && number_of(*one) < number_of(*two)) ? *one : *two);
      }
      if (!same(*one, *two)) return false;
      ++mine;
      ++others;
    }
  }

  std::string path() const {
    std::string text;
    const lysc_node* parent = nullptr;
    for (auto node = way_.rbegin(); node != way_.rend(); ++node) {
      append_path_step(**node, parent, text);
      parent = (*node)->schema();
    }
    return text;
  }

 private:
  static std::uint32_t number_of(const ImageNode& node) { return schema_number(node.schema()); }

  bool counts(const ImageNode& node) const {
    if (node.kind() != ImageKind::kGroup) {
      return compared_ == Compared::kAll || !node.is_default();
    }
    return count(node.group()) != 0;
  }

  std::size_t count(const ImageGroup& group) const {
    if (compared_ == Compared::kAll) return group.size();
    std::size_t entries = 0;
    group.each([&entries](const GroupEntry& entry) { entries += !entry.node->is_default(); });
    return entries;
  }

  bool differ(const ImageNode& node) {
    if (node.kind() != ImageKind::kGroup) {
      way_.push_back(&node);
      return false;
    }
    const std::vector<const GroupEntry*> entries = node.group().in_order();
    const auto first = std::find_if(entries.begin(), entries.end(),
                                    [this](const auto* entry) { return counts(*entry->node); });
    way_.push_back((*first)->node.get());
    return false;
  }

  bool same(const ImageNode& left, const ImageNode& right) {
    if (left.kind() == ImageKind::kGroup) return same_entries(left.group(), right.group());
    if (compared_ == Compared::kAll && left.is_default() != right.is_default()) return differ(left);
    switch (left.kind()) {
      case ImageKind::kLeaf:
        return (left.leaf().text() == right.leaf().text() &&
                left.leaf().form() == right.leaf().form()) ||
               differ(left);
      case ImageKind::kAny:
        return left.any().xml() == right.any().xml() || differ(left);
      case ImageKind::kInner:
        if (same_children(left.inner(), right.inner())) return true;
        way_.push_back(&left);
        return false;
      case ImageKind::kGroup:
        break;
    }
    return true;
  }

  bool same_entries(const ImageGroup& left, const ImageGroup& right) {
    const std::vector<const GroupEntry*> mine = entries_of(left);
    const std::vector<const GroupEntry*> others = entries_of(right);
    for (const GroupEntry* const entry : mine) {
      const GroupEntry* const match = right.find(image_key(*entry->node));
      if (match == nullptr || !counts(*match->node)) return differ(*entry->node);
      if (!same(*entry->node, *match->node)) return false;
    }
    if (mine.size() != others.size()) {
      const auto extra = std::find_if(others.begin(), others.end(), [&left](const auto* entry) {
        return left.find(image_key(*entry->node)) == nullptr;
      });
      return differ(*(extra != others.end() ? *extra : others.back())->node);
    }
    if (!lysc_is_userordered(left.schema())) return true;
    for (std::size_t i = 0; i < mine.size(); ++i) {
      if (image_key(*mine[i]->node) != image_key(*others[i]->node)) return differ(*mine[i]->node);
    }
    return true;
  }

  std::vector<const GroupEntry*> entries_of(const ImageGroup& group) const {
    std::vector<const GroupEntry*> entries = group.in_order();
    std::erase_if(entries, [this](const GroupEntry* entry) { return !counts(*entry->node); });
    return entries;
  }

  const Compared compared_;
  std::vector<const ImageNode*> way_;  // the node at fault first
};

}  // namespace

std::optional<std::string> first_difference(const ImageInner& left, const ImageInner& right,
                                            Compared compared) {
  Comparison comparison(compared);
  if (comparison.same_children(left, right)) return std::nullopt;
  return comparison.path();
}

}  // namespace nexa::store

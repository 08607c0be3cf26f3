// Children of both sides are ordered by the schema, so one step through both lists finds the pairs.
#include "store/image/image_difference.h"

#include <algorithm>

namespace nexa::store {
namespace {

class Walk {
 public:
  explicit Walk(const DifferenceSink& visit) : visit_(visit) {}

  void only_before(const ImageNode& node) {
    if (node.kind() != ImageKind::kGroup) return visit_({&node, nullptr, 0, 0});
    node.group().each([this](const GroupEntry& entry) {
      visit_({entry.node.get(), nullptr, entry.order, 0});
    });
  }

  void only_after(const ImageNode& node) {
    if (node.kind() != ImageKind::kGroup) return visit_({nullptr, &node, 0, 0});
    for (const GroupEntry* const entry : node.group().in_order()) {
      visit_({nullptr, entry->node.get(), 0, entry->order});
    }
  }

  void both(const ImageNode& before, const ImageNode& after) {
    if (&before == &after) return;
    if (before.kind() != ImageKind::kGroup) return visit_({&before, &after, 0, 0});
    std::vector<const GroupEntry*> came;
    before.group().each_difference(after.group(), [&](const GroupEntry* old_entry,
                                                      const GroupEntry* new_entry) {
      if (old_entry == nullptr) {
        came.push_back(new_entry);
      } else if (new_entry == nullptr) {
        visit_({old_entry->node.get(), nullptr, old_entry->order, 0});
      } else {
        visit_({old_entry->node.get(), new_entry->node.get(), old_entry->order, new_entry->order});
      }
    });
    std::sort(came.begin(), came.end(), [](const GroupEntry* left, const GroupEntry* right) {
      return left->order < right->order;
    });
    for (const GroupEntry* const entry : came) {
      visit_({nullptr, entry->node.get(), 0, entry->order});
    }
  }

 private:
  const DifferenceSink& visit_;
};

}  // namespace

void each_child_difference(const ImageInner* before, const ImageInner* after,
                           const DifferenceSink& visit) {
  if (before == after) return;
  const auto old_children = before != nullptr ? before->children() : std::span<const ImageSlot>();
  const auto new_children = after != nullptr ? after->children() : std::span<const ImageSlot>();
  Walk walk(visit);
  auto old_child = old_children.begin();
  auto new_child = new_children.begin();
  while (old_child != old_children.end() || new_child != new_children.end()) {
    const bool has_old = old_child != old_children.end();
    const bool has_new = new_child != new_children.end();
    const std::uint32_t old_number = has_old ? schema_number((*old_child)->schema()) : 0;
    const std::uint32_t new_number = has_new ? schema_number((*new_child)->schema()) : 0;
    if (has_old && (!has_new || old_number < new_number)) {
      walk.only_before(**old_child++);
    } else if (has_new && (!has_old || new_number < old_number)) {
      walk.only_after(**new_child++);
    } else {
      walk.both(**old_child++, **new_child++);
    }
  }
}

}  // namespace nexa::store

// The depth of the recursion is that of the schema.
#include "store/state_overlay.h"

#include "store/image/image_draft.h"
#include "store/node_pairs.h"

namespace nexa::store {
namespace {

void lay_group_over(ImageSlot& below, const ImageGroup& above) {
  std::string kept;
  above.each([&](const GroupEntry& entry) {
    const std::string_view key = key_of(*entry.node, kept);
    ImageSlot* const mine = ImageDraft::entry(below, key);
    if (mine == nullptr) {
      ImageDraft::put_entry(below, entry.node);
    } else {
      lay_over(*mine, entry.node->inner());
    }
  });
}

}  // namespace

void lay_over(ImageSlot& below, const ImageInner& above) {
  for (const ImageSlot& child : above.children()) {
    const lysc_node* const schema = child->schema();
    ImageSlot* const mine = ImageDraft::child(below, schema);
    const bool has_entries =
        child->kind() == ImageKind::kGroup && schema->nodetype == LYS_LIST && !may_repeat(schema);
    if (mine != nullptr && child->kind() == ImageKind::kInner) {
      lay_over(*mine, child->inner());
    } else if (mine != nullptr && has_entries) {
      lay_group_over(*mine, child->group());
    } else {
      ImageDraft::put(below, child);
    }
  }
}

}  // namespace nexa::store

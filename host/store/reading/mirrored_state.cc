// Both sides are ordered by the schema, so one pass joins them. The leaves are new nodes, for a
// node knows which node of the schema it stands for.
#include "store/reading/mirrored_state.h"

#include <span>
#include <utility>
#include <vector>

#include "store/image/image_draft.h"

namespace nexa::store {
namespace {

ImageSlot leaf_as(const lysc_node* schema, const ImageLeaf& shown) {
  return ImageLeaf::make(schema, shown.text(), shown.form(), false);
}

// `shown` is a leaf, or the group of a leaf-list.
ImageSlot node_as(const lysc_node* schema, const ImageNode& shown) {
  if (shown.kind() == ImageKind::kLeaf) return leaf_as(schema, shown.leaf());
  ImageSlot group = ImageGroup::make(schema);
  for (const GroupEntry* const entry : shown.group().in_order()) {
    ImageDraft::put_entry(group, leaf_as(schema, entry->node->leaf()));
  }
  return group;
}

}  // namespace

ImageSlot mirrored_state(const model::MirroredContainer& pair, const ImageInner& config,
                         const ImageInner* state) {
  const ImageNode* const configured = config.find(pair.config);
  if (configured == nullptr || configured->inner().children().empty()) return nullptr;
  const ImageNode* const given = state == nullptr ? nullptr : state->find(pair.state);
  std::span<const ImageSlot> provided;
  if (given != nullptr) provided = given->inner().children();
  std::vector<ImageSlot> children;
  children.reserve(provided.size() + pair.leaves.size());
  bool shows_any = false;
  for (const model::MirroredLeaf& leaf : pair.leaves) {
    const std::uint32_t number = schema_number(leaf.state);
    while (!provided.empty() && schema_number(provided.front()->schema()) < number) {
      children.push_back(provided.front());
      provided = provided.subspan(1);
    }
    if (!provided.empty() && provided.front()->schema() == leaf.state) continue;
    const ImageNode* const shown = configured->inner().find(leaf.config);
    if (shown == nullptr) continue;
    children.push_back(node_as(leaf.state, *shown));
    shows_any = true;
  }
  if (!shows_any) return nullptr;
  children.insert(children.end(), provided.begin(), provided.end());
  return ImageInner::make(pair.state, false, std::move(children));
}

}  // namespace nexa::store

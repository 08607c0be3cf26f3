// The writer's libyang tree: brought in step with an image, changed by judgements, and taken back.
// It holds the same nodes as the image of the newest commit, defaults included; entries that the
// system orders may stand in another order.
#ifndef HOST_STORE_WORKSPACE_H_
#define HOST_STORE_WORKSPACE_H_

#include <functional>

#include "store/image/image.h"
#include "store/tree_change.h"

namespace nexa::store {

// Whether a verdict may depend on where an entry of this list or leaf-list stands, though the
// system orders it.
using PlaceMatters = std::function<bool(const lysc_node*)>;

// Changes `top`, which stands for `before`, so that it stands for `after`; `changes` receives what
// was done. Costs what differs. Throws std::bad_alloc when libyang fails: the tree is undefined
// then.
void bring_in_step(const ImageInner& before, const ImageInner& after, lyd_node*& top,
                   TreeChanges& changes, const PlaceMatters& place_matters);

// Makes in `image` the changes that a judgement made to the tree, which are those with is_implicit
// from `first` on. The image stood for the tree before them.
void take_over(const TreeChanges& changes, std::size_t first, ImagePtr& image);

// The image of `top`, a judged tree. What is the same is shared with `like`, and so are the places
// of entries, but for those that stand in another order and whose places matter.
ImagePtr judged_image(const lyd_node* top, const ImageInner& like,
                      const PlaceMatters& place_matters);

}  // namespace nexa::store

#endif  // HOST_STORE_WORKSPACE_H_

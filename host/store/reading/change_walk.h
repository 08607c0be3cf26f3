// What became of a node between two moments, leaf by leaf: the updates and deletes that a follower
// of the data needs.
#ifndef HOST_STORE_READING_CHANGE_WALK_H_
#define HOST_STORE_READING_CHANGE_WALK_H_

#include <functional>

#include "store/reading/selection.h"
#include "store/reading/typed_value.h"

namespace nexa::store {

// The tree that stands beside the one that changes: operational data beside the configuration, or
// the other way round. Null: none.
using OtherTree = std::function<const ImageInner*()>;

struct ChangeForm {
  ValueForm value;  // `part` says which tree changes: kConfig or kState
  OtherTree other;  // asked once at most
};

// Gives what differs at or below `node` (`config`: before, `state`: after). `way` leads to it from
// the top, itself included, and `path` is its own; both are unchanged at the end. A branch that
// went is one path, unless it lives on in the other tree. Leaves that have the value they had, now
// as a default or no longer as one, do not differ.
void for_each_change(const NodePair& node, gnmi::Path& path, ImageChain& way,
                     const ChangeForm& form, const ChangeSink& sink);

// The same for all top-level nodes.
void for_each_change_of_tree(const ImageInner* before, const ImageInner* after,
                             const ChangeForm& form, const ChangeSink& sink);

}  // namespace nexa::store

#endif  // HOST_STORE_READING_CHANGE_WALK_H_

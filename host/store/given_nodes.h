// Does validation take away what the same transaction gives? A `when` that turns false deletes its
// node without a word (RFC 7950, section 8.3.2); a client that sent the node is to hear of it.
#ifndef HOST_STORE_GIVEN_NODES_H_
#define HOST_STORE_GIVEN_NODES_H_

#include <optional>
#include <vector>

#include "store/config_store.h"
#include "store/image/image.h"
#include "store/validation/validation.h"

namespace nexa::store {

struct LostNode {
  Violation violation;
  int edit = -1;  // the last one that gives the node
};

// The first configured node of `edited` that `judged`, what a judgement made of it, does not have
// although an update or replace of `edits` names it.
std::optional<LostNode> lost_node(const std::vector<Edit>& edits, const ImageInner& edited,
                                  const ImageInner& judged);

}  // namespace nexa::store

#endif  // HOST_STORE_GIVEN_NODES_H_

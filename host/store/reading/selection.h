// Which data nodes does a resolved path name? Walks its steps over images.
#ifndef HOST_STORE_READING_SELECTION_H_
#define HOST_STORE_READING_SELECTION_H_

#include <cstdint>
#include <functional>

#include "gnmi.pb.h"
#include "model/state_mirror.h"
#include "model/target.h"
#include "store/image/image.h"

namespace nexa::store {

// A data node that stands in one or both of two trees: the configuration, and operational data. For
// all entries of a list or leaf-list their groups. Valid during the call that it is given to.
struct NodePair {
  const ImageNode* config = nullptr;
  const ImageNode* state = nullptr;
  // By which the configuration below shows in operational data; null: it does not.
  const model::StateMirror* mirror = nullptr;

  const ImageNode* any() const { return config != nullptr ? config : state; }
};

// What a path means that names a leaf-list and no entry of it.
enum class LeafLists : std::uint8_t {
  kEntries,  // each entry, all with the path of the leaf-list
  kWhole,    // the leaf-list, once, as a pair of groups: one value for a reader
};

// Calls `found` for every node that the target names in the two trees, either of which may be null;
// several matches of "..." give a node once. `concrete` is the path with wildcards and keys filled
// in, names and keys as the path wrote them; for the root it is called once with an empty pair.
// "..." takes no level or several. With a mirror the containers "state" that the configuration
// fills are there as well. The trees are only read. Any thread.
using NodeSink = std::function<void(const NodePair& node, gnmi::Path& concrete)>;
void select_nodes(const model::Target& target, const ImageInner* config, const ImageInner* state,
                  const NodeSink& found, LeafLists leaf_lists = LeafLists::kEntries,
                  const model::StateMirror* mirror = nullptr);

// The same for what differs between two trees: nodes whose subtrees are not shared, each as the
// pair of its two states (`config`: before, `state`: after), with the way to it from the top. Costs
// what differs. Leaf-lists whole. For the root the pair is empty.
using DifferingNodeSink =
    std::function<void(const NodePair& node, gnmi::Path& concrete, const ImageChain& way)>;
void select_differing(const model::Target& target, const ImageInner* before,
                      const ImageInner* after, const DifferingNodeSink& found);

// The same for one tree, with the way to each node instead of its path; for the root the way is
// empty. Leaf-lists give their entries. The ways are valid as long as the tree.
using ChainSink = std::function<void(const ImageChain& chain)>;
void select_chains(const model::Target& target, const ImageInner& root, const ChainSink& found);

}  // namespace nexa::store

#endif  // HOST_STORE_READING_SELECTION_H_

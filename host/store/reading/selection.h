// Which nodes does a gNMI path name? Walks names and keys over the schema and over images; the
// client's text never reaches libyang's path functions.
#ifndef HOST_STORE_READING_SELECTION_H_
#define HOST_STORE_READING_SELECTION_H_

#include <grpcpp/support/status.h>

#include <cstdint>
#include <functional>
#include <vector>

#include "gnmi.pb.h"
#include "store/image/image.h"

namespace nexa::host {

// A data node that stands in one or both of two trees: the configuration, and operational data. For
// all entries of a list or leaf-list their groups. Valid as long as the trees.
struct NodePair {
  const ImageNode* config = nullptr;
  const ImageNode* state = nullptr;

  const ImageNode* any() const { return config != nullptr ? config : state; }
};

// What a path means that names a leaf-list and no entry of it.
enum class LeafLists : std::uint8_t {
  kEntries,  // each entry, all with the path of the leaf-list
  kWhole,    // the leaf-list, once, as a pair of groups: one value for a reader
};

// Calls `found` for every node that `path` (absolute; "*" and "..." as names, keys left out or "*")
// names in the two trees, either of which may be null; several matches of "..." give a node once.
// `concrete` is the path with wildcards and keys filled in, names as the path wrote them; for the
// empty path it is called once with an empty pair. "..." takes no level or several; at the end of a
// path it adds nothing, since a node stands for all below it. INVALID_ARGUMENT when the path is
// malformed or a bare name is that of several modules, NOT_FOUND when it names nothing in the
// schema: the message names the element. A key value that its type does not take matches nothing.
// The trees are only read. Any thread.
using NodeSink = std::function<void(const NodePair& node, gnmi::Path& concrete)>;
grpc::Status select_nodes(const gnmi::Path& path, const ImageInner* config, const ImageInner* state,
                          const NodeSink& found, LeafLists leaf_lists = LeafLists::kEntries);

// The same for one tree, with the way to each node instead of its path; for the empty path the way
// is empty. Leaf-lists give their entries. The ways are valid as long as the tree.
using ChainSink = std::function<void(const ImageChain& chain)>;
grpc::Status select_chains(const gnmi::Path& path, const ImageInner& root, const ChainSink& found);

// The schema half alone: OK, NOT_FOUND or INVALID_ARGUMENT as above, plus INVALID_ARGUMENT for a
// key value that the key's type does not take. `schema`, when given, receives the last node of
// each match, more than one only with wildcards.
grpc::Status select_schema(const gnmi::Path& path, std::vector<const lysc_node*>* schema = nullptr);

}  // namespace nexa::host

#endif  // HOST_STORE_READING_SELECTION_H_

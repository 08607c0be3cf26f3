// A node's value as a client asked for it, and each leaf below a node.
#ifndef HOST_STORE_READING_TYPED_VALUE_H_
#define HOST_STORE_READING_TYPED_VALUE_H_

#include "gnmi.pb.h"
#include "store/config_store.h"
#include "store/node_pairs.h"
#include "store/reading/json_value.h"

namespace nexa::store {

// What of the data is read, and how it is written.
struct ValueForm {
  DataPart part = DataPart::kAll;
  gnmi::Encoding encoding = gnmi::JSON_IETF;
  bool qualify_names = true;  // modules in the paths of leaves, where they change
  const model::ModelSet* models = nullptr;
  const LeafFilter* wanted = nullptr;  // of for_each_leaf(); null or empty: every leaf
  std::uint32_t depth = 0;             // Query::depth
};

inline bool is_wanted_leaf(const ValueForm& form, const lysc_node* leaf) {
  return form.wanted == nullptr || !*form.wanted || (*form.wanted)(leaf);
}

// What `form` says of JSON, and of which nodes there are.
JsonForm json_form(const ValueForm& form);

// Writes the keys of an entry below a query's own elements.
void set_entry_keys(const ImageInner& entry, gnmi::PathElem& element);

// Gives the value of `node` to `sink`, or nothing when nothing of the wanted part is there. PROTO,
// which has no values of subtrees, gives those of the leaves.
void give_value(const NodePair& node, gnmi::Path& path, const ValueForm& form,
                const ValueSink& sink);

// The same for all top-level nodes of the two trees.
void give_tree(const PairLevel& top, gnmi::Path& path, const ValueForm& form,
               const ValueSink& sink);

// Gives each leaf at or below `node` to `sink`, and each leaf-list below it as one value. `path` is
// the node's own path, unchanged at the end. Anydata count as leaves.
void for_each_leaf(const NodePair& node, gnmi::Path& path, const ValueForm& form,
                   const ValueSink& sink);

// The same for all top-level nodes of the two trees.
void for_each_leaf_of_tree(const PairLevel& top, const ValueForm& form, const ValueSink& sink);

}  // namespace nexa::store

#endif  // HOST_STORE_READING_TYPED_VALUE_H_

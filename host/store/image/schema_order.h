// The place of every schema node of the loaded schema in one dense numbering: children after their
// parents and in the order in which data of them stand, modules in the order of the context. Kept
// in the `priv` member of libyang's compiled nodes, which nothing else uses.
#ifndef HOST_STORE_IMAGE_SCHEMA_ORDER_H_
#define HOST_STORE_IMAGE_SCHEMA_ORDER_H_

#include <cstddef>
#include <cstdint>

#include "store/tree.h"

namespace nexa::store {

// Numbers the nodes of kestrel::context() if that is not done yet; returns how many there are. To
// be called after the schema was loaded and before any image is made. Not thread-safe the first
// time.
std::size_t number_schema();

// How many schemas were numbered in this process. What is kept by schema_number() belongs to the
// schema of one value. Any thread.
std::uint64_t schema_generation();

// From 1. 0 for a node that is no data node (an RPC's, a notification's).
inline std::uint32_t schema_number(const lysc_node* node) {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(node->priv));
}

}  // namespace nexa::store

#endif  // HOST_STORE_IMAGE_SCHEMA_ORDER_H_

// A value has one slot; who comes last has it. Values that all differ push the common ones out now
// and then, which costs one more copy of each.
#include "store/image/shared_leafs.h"

#include <functional>

namespace nexa::store {

bool SharedLeafs::may_hold(const lysc_node* schema, std::string_view text) {
  return text.size() <= kLongest && !lysc_is_key(schema);
}

std::size_t SharedLeafs::hash_of(const lysc_node* schema, std::string_view text) {
  constexpr auto kSpread = static_cast<std::size_t>(0x9E3779B97F4A7C15U);
  return std::hash<std::string_view>()(text) ^ schema_number(schema) * kSpread;
}

ImageRef<ImageLeaf>& SharedLeafs::slot(Part& part, std::size_t hash) {
  if (part.generation != schema_generation()) {
    part.generation = schema_generation();
    part.leafs.clear();
  }
  if (part.leafs.empty()) part.leafs.resize(kSlots);
  return part.leafs[hash % kSlots];
}

}  // namespace nexa::store

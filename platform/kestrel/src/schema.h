// One generation of the schema: the node records, their look-up tables, the namespace list and all
// strings, in a few arrays. Must not know where the schema came from, nor which generation readers
// see.
#ifndef KESTREL_SRC_SCHEMA_H_
#define KESTREL_SRC_SCHEMA_H_

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "kestrel/kestrel.h"
#include "string_table.h"

namespace kestrel {

// A record with the table of its children behind it. Readers hold pointers to the record, its first
// member; the look-up of a child goes from there to the table.
//
// The table: child_table[0] is the number of slots, a power of two, less one; then the slots. A
// slot holds a child's place in the block of siblings that begins at record.children, or
// kEmptySlot. On 64-bit machines a node fills one cache line.
struct alignas(sizeof(void*) == 8 ? 64 : alignof(void*)) Node {
  kestrel_cs_node record{};
  const std::uint32_t* child_table = nullptr;
};

inline constexpr std::uint32_t kEmptySlot = std::numeric_limits<std::uint32_t>::max();
inline constexpr std::uint32_t kNoChildren[] = {0, kEmptySlot};

// Where the search for a child begins. The mask takes the low bits, which the hashes fill evenly.
constexpr std::uint32_t child_slot(std::uint32_t tag, std::uint32_t ns) noexcept {
  return tag ^ ns;
}

inline kestrel_cs_node* find_child(const kestrel_cs_node* parent, std::uint32_t tag,
                                   std::uint32_t ns) noexcept {
  const std::uint32_t* const table = reinterpret_cast<const Node*>(parent)->child_table;
  Node* const siblings = reinterpret_cast<Node*>(parent->children);
  const std::uint32_t mask = table[0];
  for (std::uint32_t slot = child_slot(tag, ns) & mask;; slot = (slot + 1) & mask) {
    const std::uint32_t place = table[slot + 1];
    if (place == kEmptySlot) return nullptr;
    kestrel_cs_node& child = siblings[place].record;
    if (child.tag == tag && child.ns == ns) return &child;
  }
}

// The first top-level node of a namespace; an empty slot has no node.
struct RootSlot {
  std::uint32_t ns = 0;
  kestrel_cs_node* node = nullptr;
};

// A generation as readers see it: plain data, so that readers need neither a constructor at
// start-up nor a destructor at exit.
struct SchemaView {
  StringSlots strings;
  const RootSlot* roots;
  std::uint32_t root_mask;
  KestrelNsEntry* namespaces;
  int namespace_count;
  std::size_t node_count;

  kestrel_cs_node* find_root(std::uint32_t ns) const noexcept {
    std::uint32_t slot = ns & root_mask;
    while (roots[slot].ns != ns && roots[slot].node != nullptr) slot = (slot + 1) & root_mask;
    return roots[slot].node;
  }
};

// The view of a process that has loaded nothing.
inline constexpr StringSlot kNoStrings[1] = {};
inline constexpr RootSlot kNoRoots[1] = {};
inline constexpr SchemaView kEmptySchema = {{kNoStrings, 0}, kNoRoots, 0, nullptr, 0, 0};

// Filled by the schema builder, in the order of the functions below; unchanged from then on.
class Schema {
 public:
  explicit Schema(StringTable table) : strings(std::move(table)) {}
  Schema(const Schema&) = delete;
  Schema& operator=(const Schema&) = delete;

  // Makes the tables from `nodes` and `namespaces`, whose places do not change any more.
  void index();

  SchemaView view() noexcept;

  StringTable strings;
  std::vector<Node> nodes;  // siblings stand together, in schema order
  std::vector<std::uint32_t> keys;
  std::vector<kestrel_meta_data> meta_data;
  std::vector<KestrelNsEntry> namespaces;
  std::vector<kestrel_cs_node*> roots;  // of namespaces[i], or null
  std::size_t node_count = 0;           // data nodes: without the meta-data nodes

 private:
  void index_children();
  void index_roots();

  std::vector<std::uint32_t> child_tables_;
  std::vector<RootSlot> root_slots_;
};

}  // namespace kestrel

#endif  // KESTREL_SRC_SCHEMA_H_

// The look-up tables of a generation.
#include "schema.h"

#include <bit>
#include <type_traits>
#include <utility>

namespace kestrel {

// Readers' pointers to the record are pointers to the node.
static_assert(std::is_standard_layout_v<Node> && offsetof(Node, record) == 0);

namespace {

// Slots for `count` entries: at most half are used, so searches stay short.
std::size_t slots_for(std::size_t count) { return std::bit_ceil(count * 2); }

std::size_t count_children(const kestrel_cs_node& parent) {
  std::size_t count = 0;
  for (const kestrel_cs_node* child = parent.children; child != nullptr; child = child->next)
    ++count;
  return count;
}

void fill_child_table(const kestrel_cs_node& parent, std::uint32_t* table, std::size_t slots) {
  const auto mask = static_cast<std::uint32_t>(slots - 1);
  table[0] = mask;
  std::uint32_t place = 0;
  for (const kestrel_cs_node* child = parent.children; child != nullptr; child = child->next) {
    std::uint32_t slot = child_slot(child->tag, child->ns) & mask;
    while (table[slot + 1] != kEmptySlot) slot = (slot + 1) & mask;
    table[slot + 1] = place++;
  }
}

}  // namespace

void Schema::index() {
  index_children();
  index_roots();
}

void Schema::index_children() {
  std::vector<std::size_t> slots(nodes.size(), 0);
  std::size_t total = 0;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const std::size_t children = count_children(nodes[i].record);
    if (children == 0) continue;
    slots[i] = slots_for(children);
    total += slots[i] + 1;
  }
  child_tables_.assign(total, kEmptySlot);
  std::uint32_t* table = child_tables_.data();
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    nodes[i].child_table = slots[i] == 0 ? kNoChildren : table;
    if (slots[i] == 0) continue;
    fill_child_table(nodes[i].record, table, slots[i]);
    table += slots[i] + 1;
  }
}

void Schema::index_roots() {
  root_slots_.assign(slots_for(namespaces.size() + 1), RootSlot{});
  const std::size_t mask = root_slots_.size() - 1;
  for (std::size_t i = 0; i < namespaces.size(); ++i) {
    if (roots[i] == nullptr) continue;
    std::size_t slot = namespaces[i].hash & mask;
    while (root_slots_[slot].node != nullptr) slot = (slot + 1) & mask;
    root_slots_[slot] = {namespaces[i].hash, roots[i]};
  }
}

SchemaView Schema::view() noexcept {
  return {strings.slots(),
          root_slots_.data(),
          static_cast<std::uint32_t>(root_slots_.size() - 1),
          namespaces.empty() ? nullptr : namespaces.data(),
          static_cast<int>(namespaces.size()),
          node_count};
}

}  // namespace kestrel

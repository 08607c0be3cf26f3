// Blocks of memory with an array behind the object; a block that changes its size is made anew.
#include "store/image/group_trie.h"

#include <memory>
#include <new>

namespace nexa::store {

static_assert(sizeof(GroupTrie) % alignof(GroupEntry) == 0, "the array follows the object");

GroupTrie* GroupTrie::allocate(bool is_branch, std::size_t size, std::uint32_t bits) {
  const std::size_t element = is_branch ? sizeof(void*) : sizeof(GroupEntry);
  void* const memory = ::operator new(sizeof(GroupTrie) + size * element);
  return new (memory) GroupTrie(is_branch, static_cast<std::uint32_t>(size), bits);
}

GroupTrie* GroupTrie::make_bucket(std::size_t size) {
  GroupTrie* const bucket = allocate(false, size, 0);
  std::uninitialized_default_construct_n(&bucket->entry(0), size);
  return bucket;
}

GroupTrie* GroupTrie::make_branch() { return allocate(true, 0, 0); }

void GroupTrie::destroy(const GroupTrie* trie) {
  auto* const gone = const_cast<GroupTrie*>(trie);
  if (gone->is_branch_) {
    for (const GroupTrie* const child : gone->children()) {
      if (child != nullptr) child->release();
    }
  } else {
    std::destroy_n(&gone->entry(0), gone->size_);
  }
  gone->~GroupTrie();
  ::operator delete(gone);
}

GroupTrie* GroupTrie::copy() const {
  GroupTrie* const copy = allocate(is_branch_, size_, bits_);
  if (is_branch_) {
    const auto shared = children();
    auto* const slots = reinterpret_cast<const GroupTrie**>(copy + 1);
    for (std::size_t i = 0; i < shared.size(); ++i) {
      shared[i]->retain();
      slots[i] = shared[i];
    }
  } else {
    std::uninitialized_copy_n(entries().data(), size_, &copy->entry(0));
  }
  return copy;
}

GroupTrie* GroupTrie::with_slot(unsigned bit) {
  GroupTrie* const made = allocate(true, size_ + 1U, bits_ | (1U << bit));
  const std::size_t place = place_of(bit);
  const auto old = children();
  auto* const slots = reinterpret_cast<const GroupTrie**>(made + 1);
  std::copy(old.begin(), old.begin() + static_cast<std::ptrdiff_t>(place), slots);
  slots[place] = nullptr;
  std::copy(old.begin() + static_cast<std::ptrdiff_t>(place), old.end(), slots + place + 1);
  size_ = 0;
  release();
  return made;
}

const GroupTrie* GroupTrie::without_child(unsigned bit) {
  const std::size_t place = place_of(bit);
  GroupTrie* made = nullptr;
  if (size_ > 1) {
    made = allocate(true, size_ - 1U, bits_ & ~(1U << bit));
    const auto old = children();
    auto* const slots = reinterpret_cast<const GroupTrie**>(made + 1);
    std::copy(old.begin(), old.begin() + static_cast<std::ptrdiff_t>(place), slots);
    std::copy(old.begin() + static_cast<std::ptrdiff_t>(place) + 1, old.end(), slots + place);
  }
  size_ = 0;
  release();
  return made;
}

}  // namespace nexa::store

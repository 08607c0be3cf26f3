// The nodes of a group's trie, for the group and for drafts alone. Counted references, as those of
// image nodes.
#ifndef HOST_STORE_IMAGE_GROUP_TRIE_H_
#define HOST_STORE_IMAGE_GROUP_TRIE_H_

#include <atomic>
#include <bit>
#include <cstdint>
#include <span>

#include "store/image/image.h"
#include "store/image/order_index.h"

namespace nexa::store {

class GroupTrie {
 public:
  GroupTrie(const GroupTrie&) = delete;
  GroupTrie& operator=(const GroupTrie&) = delete;

  // Empty entries, to be filled by the caller.
  static GroupTrie* make_bucket(std::size_t size);
  static GroupTrie* make_branch();

  void retain() const { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() const {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) destroy(this);
  }
  bool is_own() const { return references_.load(std::memory_order_acquire) == 1; }

  bool is_branch() const { return is_branch_; }

  // Of a bucket.
  std::span<const GroupEntry> entries() const {
    return {reinterpret_cast<const GroupEntry*>(this + 1), size_};
  }
  GroupEntry& entry(std::size_t at) { return reinterpret_cast<GroupEntry*>(this + 1)[at]; }

  // Of a branch.
  std::span<const GroupTrie* const> children() const {
    return {reinterpret_cast<const GroupTrie* const*>(this + 1), size_};
  }
  std::uint32_t bits() const { return bits_; }
  static unsigned bit_of(std::uint64_t hash, unsigned shift) {
    return static_cast<unsigned>(hash >> shift) & 31U;
  }
  const GroupTrie* child(unsigned bit) const {
    return (bits_ >> bit & 1U) != 0 ? children()[place_of(bit)] : nullptr;
  }
  const GroupTrie* child_at(std::uint64_t hash, unsigned shift) const {
    return child(bit_of(hash, shift));
  }
  const GroupTrie*& child_slot(unsigned bit) {  // of a child that is there
    return reinterpret_cast<const GroupTrie**>(this + 1)[place_of(bit)];
  }

  // Copies that share the children. The next two take over the references of this branch, which
  // is the caller's own and gone afterwards unless memory is wanting.
  GroupTrie* copy() const;
  GroupTrie* with_slot(unsigned bit);            // with an empty slot for a child
  const GroupTrie* without_child(unsigned bit);  // whose slot is null; null when none is left

 private:
  GroupTrie(bool is_branch, std::uint32_t size, std::uint32_t bits)
      : size_(size), bits_(bits), is_branch_(is_branch) {}
  ~GroupTrie() = default;
  static GroupTrie* allocate(bool is_branch, std::size_t size, std::uint32_t bits);
  static void destroy(const GroupTrie* trie);

  std::size_t place_of(unsigned bit) const {
    return static_cast<std::size_t>(std::popcount(bits_ & ((1U << bit) - 1U)));
  }

  mutable std::atomic<std::uint32_t> references_{1};
  std::uint32_t size_;
  std::uint32_t bits_;  // of a branch: which children are there
  bool is_branch_;
};

// Puts the entry in, in the place of one with the same key, whose order is `replaced` then, else 0.
// `root` may be null.
void trie_put(const GroupTrie*& root, GroupEntry&& entry, std::uint64_t& replaced);
// Takes out the entry of the same key, which is there; `root` is null when it was the last one.
void trie_remove(const GroupTrie*& root, const GroupEntry& like);
// The entry of a key, which is there, to be changed in place: all on the way to it is the caller's
// own afterwards.
GroupEntry& trie_own_entry(const GroupTrie*& root, std::string_view key);
// Where the trie has the entry.
OrderIndex::Place trie_place(const GroupEntry& entry);

}  // namespace nexa::store

#endif  // HOST_STORE_IMAGE_GROUP_TRIE_H_

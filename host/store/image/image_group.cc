// A branch has one child for each value of five bits of the hash that occurs; a bucket has entries
// whose hashes agree up to its level. The hash is seeded for the process: nobody outside can make
// keys that meet in one bucket.
#include "store/image/image_group.h"

#include <algorithm>
#include <bit>
#include <random>

#include "store/image/group_trie.h"

namespace nexa::store {
namespace {

constexpr std::size_t kBucketSize = 16;
constexpr unsigned kBits = 5;
constexpr unsigned kDeepest = 60;  // shift of the last level

std::uint64_t process_seed() {
  static const std::uint64_t seed = [] {
    std::random_device device;
    return (static_cast<std::uint64_t>(device()) << 32U) | device();
  }();
  return seed;
}

class Hash {
 public:
  void add(std::string_view text) {
    for (const char byte : text) add(byte);
  }
  void add(char byte) {
    state_ = (state_ ^ static_cast<unsigned char>(byte)) * 0x9E3779B97F4A7C15U;
    state_ ^= state_ >> 29U;
  }
  std::uint64_t get() const { return state_ ^ (state_ >> 32U); }

 private:
  std::uint64_t state_ = process_seed();
};

bool is_key(const ImageSlot& child) {
  return child->kind() == ImageKind::kLeaf && lysc_is_key(child->schema());
}

// Calls `take` for each part of an entry's key, the separators among them; stops at false.
template <typename Take>
bool each_key_part(const ImageNode& entry, const Take& take) {
  if (entry.kind() == ImageKind::kLeaf) return take(entry.leaf().text());
  bool is_first = true;
  for (const ImageSlot& child : entry.inner().children()) {
    if (!is_key(child)) break;
    if (!is_first && !take(std::string_view("\0", 1))) return false;
    if (!take(child->leaf().text())) return false;
    is_first = false;
  }
  return true;
}

std::uint64_t hash_of(std::string_view key) {
  Hash hash;
  hash.add(key);
  return hash.get();
}

std::uint64_t hash_of(const GroupEntry& entry) {
  Hash hash;
  if (lysc_is_dup_inst_list(entry.node->schema())) {
    // Equal instances stand side by side; their places tell them apart.
    for (unsigned shift = 0; shift < 64; shift += 8) {
      hash.add(static_cast<char>((entry.order >> shift) & 0xFFU));
    }
    return hash.get();
  }
  each_key_part(*entry.node, [&hash](std::string_view part) {
    hash.add(part);
    return true;
  });
  return hash.get();
}

bool has_key(const ImageNode& entry, std::string_view key) {
  const bool fits = each_key_part(entry, [&key](std::string_view part) {
    if (key.substr(0, part.size()) != part) return false;
    key.remove_prefix(part.size());
    return true;
  });
  return fits && key.empty();
}

bool same_key(const GroupEntry& left, const GroupEntry& right) {
  if (lysc_is_dup_inst_list(left.node->schema())) return left.order == right.order;
  if (left.node->kind() == ImageKind::kLeaf) {
    return left.node->leaf().text() == right.node->leaf().text();
  }
  const auto ours = left.node->inner().children();
  const auto others = right.node->inner().children();
  for (std::size_t i = 0; i < ours.size() && is_key(ours[i]); ++i) {
    if (i >= others.size() || ours[i]->leaf().text() != others[i]->leaf().text()) return false;
  }
  return true;
}

const GroupEntry* find_same(const GroupTrie* trie, const GroupEntry& like) {
  unsigned shift = 0;
  const std::uint64_t hash = hash_of(like);
  for (; trie != nullptr && trie->is_branch(); shift += kBits) trie = trie->child_at(hash, shift);
  if (trie == nullptr) return nullptr;
  for (const GroupEntry& entry : trie->entries()) {
    if (same_key(entry, like)) return &entry;
  }
  return nullptr;
}

template <typename Visit>
void each_entry(const GroupTrie* trie, const Visit& visit) {
  if (trie == nullptr) return;
  if (!trie->is_branch()) {
    for (const GroupEntry& entry : trie->entries()) visit(entry);
    return;
  }
  for (const GroupTrie* const child : trie->children()) each_entry(child, visit);
}

using Differ = std::function<void(const GroupEntry*, const GroupEntry*)>;

void compare(const GroupEntry& mine, const GroupEntry& others, const Differ& visit) {
  if (mine.node.get() != others.node.get() || mine.order != others.order) visit(&mine, &others);
}

// Where one side is a bucket: it has few entries, or the levels differ.
void compare_unlike(const GroupTrie* mine, const GroupTrie* others, const GroupTrie* my_root,
                    const GroupTrie* other_root, const Differ& visit) {
  each_entry(mine, [&](const GroupEntry& entry) {
    const GroupEntry* const match = find_same(other_root, entry);
    if (match == nullptr) return visit(&entry, nullptr);
    compare(entry, *match, visit);
  });
  each_entry(others, [&](const GroupEntry& entry) {
    if (find_same(my_root, entry) == nullptr) visit(nullptr, &entry);
  });
}

void compare_tries(const GroupTrie* mine, const GroupTrie* others, const GroupTrie* my_root,
                   const GroupTrie* other_root, const Differ& visit) {
  if (mine == others) return;
  if (mine == nullptr || others == nullptr || !mine->is_branch() || !others->is_branch()) {
    return compare_unlike(mine, others, my_root, other_root, visit);
  }
  for (std::uint32_t left = mine->bits() | others->bits(); left != 0; left &= left - 1) {
    const auto bit = static_cast<unsigned>(std::countr_zero(left));
    compare_tries(mine->child(bit), others->child(bit), my_root, other_root, visit);
  }
}

}  // namespace

// Makes a trie that differs in one entry, in the place of the one in `slot`. Whatever memory is
// wanting for, each slot holds a whole trie or none.
struct TrieEdit {
  static void put(const GroupTrie*& slot, unsigned shift, std::uint64_t hash, GroupEntry&& entry,
                  std::uint64_t& replaced) {
    if (slot == nullptr) {
      GroupTrie* const bucket = GroupTrie::make_bucket(1);
      bucket->entry(0) = std::move(entry);
      slot = bucket;
      return;
    }
    if (slot->is_branch()) {
      GroupTrie* branch = own(slot);
      const unsigned bit = GroupTrie::bit_of(hash, shift);
      if (branch->child(bit) == nullptr) slot = branch = branch->with_slot(bit);
      return put(branch->child_slot(bit), shift + kBits, hash, std::move(entry), replaced);
    }
    const auto entries = slot->entries();
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (!same_key(entries[i], entry)) continue;
      replaced = entries[i].order;
      own(slot)->entry(i) = std::move(entry);
      return;
    }
    if (entries.size() < kBucketSize || shift > kDeepest) {
      GroupTrie* const bucket = GroupTrie::make_bucket(entries.size() + 1);
      for (std::size_t i = 0; i < entries.size(); ++i) bucket->entry(i) = entries[i];
      bucket->entry(entries.size()) = std::move(entry);
      slot->release();
      slot = bucket;
      return;
    }
    split(slot, shift, hash, std::move(entry));
  }

  static void remove(const GroupTrie*& slot, unsigned shift, const GroupEntry& like,
                     std::uint64_t hash) {
    if (slot->is_branch()) {
      GroupTrie* const branch = own(slot);
      const unsigned bit = GroupTrie::bit_of(hash, shift);
      remove(branch->child_slot(bit), shift + kBits, like, hash);
      if (branch->child(bit) == nullptr) slot = branch->without_child(bit);
      return;
    }
    const auto entries = slot->entries();
    GroupTrie* bucket = nullptr;
    if (entries.size() > 1) {
      bucket = GroupTrie::make_bucket(entries.size() - 1);
      std::size_t at = 0;
      for (const GroupEntry& entry : entries) {
        if (!same_key(entry, like)) bucket->entry(at++) = entry;
      }
    }
    slot->release();
    slot = bucket;
  }

  // Makes the trie in the slot one that nobody else has.
  static GroupTrie* own(const GroupTrie*& slot) {
    if (!slot->is_own()) {
      const GroupTrie* const copy = slot->copy();
      slot->release();
      slot = copy;
    }
    return const_cast<GroupTrie*>(slot);
  }

 private:
  static void split(const GroupTrie*& slot, unsigned shift, std::uint64_t hash,
                    GroupEntry&& entry) {
    struct Made {
      const GroupTrie* trie = GroupTrie::make_branch();
      ~Made() { trie->release(); }
    } made;
    std::uint64_t replaced = 0;
    for (const GroupEntry& old : slot->entries()) {
      put(made.trie, shift, hash_of(old), GroupEntry(old), replaced);
    }
    put(made.trie, shift, hash, std::move(entry), replaced);
    std::swap(slot, made.trie);
  }
};

void trie_put(const GroupTrie*& root, GroupEntry&& entry, std::uint64_t& replaced) {
  replaced = 0;
  const std::uint64_t hash = hash_of(entry);
  TrieEdit::put(root, 0, hash, std::move(entry), replaced);
}

void trie_remove(const GroupTrie*& root, const GroupEntry& like) {
  TrieEdit::remove(root, 0, like, hash_of(like));
}

GroupEntry& trie_own_entry(const GroupTrie*& root, std::string_view key) {
  const std::uint64_t hash = hash_of(key);
  GroupTrie* trie = TrieEdit::own(root);
  for (unsigned shift = 0; trie->is_branch(); shift += kBits) {
    trie = TrieEdit::own(trie->child_slot(GroupTrie::bit_of(hash, shift)));
  }
  std::size_t at = 0;
  while (!has_key(*trie->entry(at).node, key)) ++at;
  return trie->entry(at);
}

OrderIndex::Place trie_place(const GroupEntry& entry) { return {entry.order, hash_of(entry)}; }

ImageGroup::~ImageGroup() {
  if (root_ != nullptr) root_->release();
}

ImageRef<ImageGroup> ImageGroup::make(const lysc_node* schema) {
  return ImageRef<ImageGroup>::adopt(new ImageGroup(schema));
}

const GroupEntry* ImageGroup::find(std::string_view key) const {
  if (lysc_is_dup_inst_list(schema_)) {
    const GroupEntry* found = nullptr;
    each_entry(root_, [&](const GroupEntry& entry) {
      if (found == nullptr && has_key(*entry.node, key)) found = &entry;
    });
    return found;
  }
  const GroupTrie* trie = root_;
  if (trie != nullptr && trie->is_branch()) {
    const std::uint64_t hash = hash_of(key);
    for (unsigned shift = 0; trie != nullptr && trie->is_branch(); shift += kBits) {
      trie = trie->child_at(hash, shift);
    }
  }
  if (trie == nullptr) return nullptr;
  for (const GroupEntry& entry : trie->entries()) {
    if (has_key(*entry.node, key)) return &entry;
  }
  return nullptr;
}

std::vector<const GroupEntry*> ImageGroup::in_order() const {
  std::vector<const GroupEntry*> sorted;
  sorted.reserve(count_);
  each_entry(root_, [&sorted](const GroupEntry& entry) { sorted.push_back(&entry); });
  const auto before = [](const GroupEntry* left, const GroupEntry* right) {
    return left->order < right->order;
  };
  if (!std::is_sorted(sorted.begin(), sorted.end(), before)) {
    std::sort(sorted.begin(), sorted.end(), before);
  }
  return sorted;
}

const GroupEntry* ImageGroup::before(std::uint64_t order) const {
  const GroupEntry* nearest = nullptr;
  if (orders_.empty()) {
    each_entry(root_, [&nearest, order](const GroupEntry& entry) {
      const bool is_before = entry.order < order;
      if (is_before && (nearest == nullptr || nearest->order < entry.order)) nearest = &entry;
    });
    return nearest;
  }
  const auto place = orders_.before(order);
  if (!place) return nullptr;
  const GroupTrie* trie = root_;
  for (unsigned shift = 0; trie != nullptr && trie->is_branch(); shift += kBits) {
    trie = trie->child_at(place->hash, shift);
  }
  if (trie == nullptr) return nullptr;
  for (const GroupEntry& entry : trie->entries()) {
    if (entry.order == place->order) return &entry;
  }
  return nullptr;
}

void ImageGroup::each(const std::function<void(const GroupEntry&)>& visit) const {
  each_entry(root_, visit);
}

void ImageGroup::each_difference(
    const ImageGroup& other,
    const std::function<void(const GroupEntry*, const GroupEntry*)>& visit) const {
  compare_tries(root_, other.root_, root_, other.root_, visit);
}

std::string image_key(const ImageNode& entry) {
  std::string key;
  each_key_part(entry, [&key](std::string_view part) {
    key.append(part);
    return true;
  });
  return key;
}

}  // namespace nexa::store

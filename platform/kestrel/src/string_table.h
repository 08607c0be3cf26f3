// Gives every string of the schema a number of the 32-bit hash space, and finds either by the
// other. Must not know what the strings mean.
//
// The number is the hash of the string. When two strings meet at one number, the later one takes
// its hash under the next salt, and so on until a number is free: with the same strings in the same
// order the result is the same in every run, and no number ever stands for two strings. 0 is never
// given.
//
// One open-addressing array of slots, found by the number itself, serves both directions: a look-up
// by string walks the same chain of salts that the insertion walked.
#ifndef KESTREL_SRC_STRING_TABLE_H_
#define KESTREL_SRC_STRING_TABLE_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "string_arena.h"
#include "string_hash.h"

namespace kestrel {

// `text` is null in an empty slot, whose hash is 0.
struct StringSlot {
  char* text = nullptr;
  std::uint32_t hash = 0;
  std::uint32_t length = 0;
  bool current = false;  // whether a string of the present schema, not only of an earlier one
};

// The slots as a look-up sees them: plain data that is valid as long as the table is unchanged.
struct StringSlots {
  const StringSlot* slots;
  std::uint32_t mask;  // number of slots, a power of two, less one

  // The slot of this number, or an empty one.
  const StringSlot& at(std::uint32_t hash) const noexcept {
    std::uint32_t index = hash & mask;
    while (slots[index].hash != hash && slots[index].hash != 0) index = (index + 1) & mask;
    return slots[index];
  }

  // The string of this number, or null.
  char* text(std::uint32_t hash) const noexcept {
    const StringSlot& slot = at(hash);
    return slot.hash == hash ? slot.text : nullptr;
  }

  // The number of this string, or 0.
  template <class Hasher>
  std::uint32_t find(std::string_view wanted, Hasher hasher) const noexcept {
    for (std::uint32_t salt = 0;; ++salt) {
      const std::uint32_t hash = hasher(wanted, salt);
      if (hash == 0) continue;
      const StringSlot& slot = at(hash);
      if (slot.hash == 0) return 0;
      if (slot.length == wanted.size() &&
          std::memcmp(slot.text, wanted.data(), wanted.size()) == 0) {
        return slot.current ? hash : 0;
      }
    }
  }
};

// `Hasher` is called with a string and a salt; over all salts it must reach a free number.
template <class Hasher>
class BasicStringTable {
 public:
  explicit BasicStringTable(Hasher hasher = Hasher()) : hasher_(hasher), slots_(kFirstSize) {}

  // A table in which the strings of `earlier` keep their numbers, and count as known by number only
  // until they are interned again. Their text stays in the arena of `earlier`, which must outlive
  // this.
  static BasicStringTable successor(const BasicStringTable& earlier) {
    BasicStringTable result(earlier.hasher_);
    result.slots_ = earlier.slots_;
    result.used_ = earlier.used_;
    for (StringSlot& slot : result.slots_) slot.current = false;
    return result;
  }

  // The number of `text`, which is added when it is new.
  std::uint32_t intern(std::string_view text) {
    for (std::uint32_t salt = 0;; ++salt) {
      const std::uint32_t hash = hasher_(text, salt);
      if (hash == 0) continue;
      StringSlot& slot = slots_[index_of(hash)];
      if (slot.hash == 0) return add(slot, hash, text);
      if (std::string_view(slot.text, slot.length) != text) continue;
      slot.current = true;
      return hash;
    }
  }

  // A copy of a string outside the hash space, which lives as long as the table.
  const char* store(std::string_view text) { return arena_.store(text); }

  StringSlots slots() const noexcept {
    return {slots_.data(), static_cast<std::uint32_t>(slots_.size() - 1)};
  }
  char* text(std::uint32_t hash) const noexcept { return slots().text(hash); }
  std::uint32_t find(std::string_view text) const noexcept { return slots().find(text, hasher_); }
  std::size_t size() const noexcept { return used_; }

 private:
  static constexpr std::size_t kFirstSize = 1024;

  std::size_t index_of(std::uint32_t hash) const noexcept {
    return static_cast<std::size_t>(&slots().at(hash) - slots_.data());
  }

  std::uint32_t add(StringSlot& slot, std::uint32_t hash, std::string_view text) {
    slot = {arena_.store(text), hash, static_cast<std::uint32_t>(text.size()), true};
    ++used_;
    // Half empty at least, so that the way to a string or to an empty slot stays short.
    if (used_ * 2 > slots_.size()) grow();
    return hash;
  }

  void grow() {
    std::vector<StringSlot> old(slots_.size() * 2);
    old.swap(slots_);
    for (const StringSlot& slot : old) {
      if (slot.hash != 0) slots_[index_of(slot.hash)] = slot;
    }
  }

  Hasher hasher_;
  StringArena arena_;
  std::vector<StringSlot> slots_;
  std::size_t used_ = 0;
};

using StringTable = BasicStringTable<StringHash>;

}  // namespace kestrel

#endif  // KESTREL_SRC_STRING_TABLE_H_

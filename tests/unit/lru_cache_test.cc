// The least-recently-used cache: order of use, eviction, and a plain model that it must agree with.
#include "kitbase/lru_cache.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <boost/optional/optional_io.hpp>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace lru_cache_test {

using Cache = kitbase::lru_cache<std::string, int>;

TEST(LruCache, GetOfAnAbsentKeyIsNone) {
  Cache cache(2);
  EXPECT_EQ(cache.get("a"), boost::none);
}

TEST(LruCache, GetReturnsTheInsertedValue) {
  Cache cache(2);
  cache.insert("a", 1);
  EXPECT_EQ(cache.get("a"), boost::optional<int>(1));
}

TEST(LruCache, NeverHoldsMoreThanItsCapacity) {
  Cache cache(256);
  for (int i = 0; i < 1000; ++i) {
    cache.insert(std::to_string(i), i);
    EXPECT_LE(cache.size(), 256U);
  }
  EXPECT_EQ(cache.size(), 256U);
  EXPECT_EQ(cache.capacity(), 256U);
}

TEST(LruCache, TheInsertionBeyondCapacityEvictsTheLeastRecentlyUsedKey) {
  Cache cache(256);
  for (int i = 0; i < 256; ++i) cache.insert(std::to_string(i), i);
  cache.insert("256", 256);
  EXPECT_EQ(cache.get("0"), boost::none);
  for (int i = 1; i <= 256; ++i) EXPECT_EQ(cache.get(std::to_string(i)), boost::optional<int>(i));
}

TEST(LruCache, AKeyReadJustBeforeIsKept) {
  Cache cache(256);
  for (int i = 0; i < 256; ++i) cache.insert(std::to_string(i), i);
  EXPECT_EQ(cache.get("0"), boost::optional<int>(0));
  cache.insert("256", 256);
  EXPECT_EQ(cache.get("0"), boost::optional<int>(0));
  EXPECT_EQ(cache.get("1"), boost::none);
}

TEST(LruCache, InsertOfAPresentKeyKeepsTheOldValue) {
  Cache cache(2);
  cache.insert("a", 1);
  cache.insert("a", 2);
  EXPECT_EQ(cache.get("a"), boost::optional<int>(1));
  EXPECT_EQ(cache.size(), 1U);
}

TEST(LruCache, InsertOfAPresentKeyKeepsItsPlace) {
  Cache cache(2);
  cache.insert("a", 1);
  cache.insert("b", 2);
  cache.insert("a", 3);
  cache.insert("c", 4);
  EXPECT_EQ(cache.get("a"), boost::none);
  EXPECT_EQ(cache.get("b"), boost::optional<int>(2));
}

TEST(LruCache, InsertOfAPresentKeyIntoAFullCacheEvictsNothing) {
  Cache cache(2);
  cache.insert("a", 1);
  cache.insert("b", 2);
  cache.insert("b", 3);
  EXPECT_EQ(cache.get("a"), boost::optional<int>(1));
  EXPECT_EQ(cache.get("b"), boost::optional<int>(2));
}

TEST(LruCache, InvalidateOfAnAbsentKeyIsFalseAndChangesNothing) {
  Cache cache(2);
  cache.insert("a", 1);
  cache.insert("b", 2);
  EXPECT_FALSE(cache.invalidate("c"));
  EXPECT_EQ(cache.size(), 2U);
  cache.insert("c", 3);
  EXPECT_EQ(cache.get("a"), boost::none);
  EXPECT_EQ(cache.get("b"), boost::optional<int>(2));
}

TEST(LruCache, InvalidateDropsExactlyThisKey) {
  Cache cache(3);
  cache.insert("a", 1);
  cache.insert("b", 2);
  cache.insert("c", 3);
  EXPECT_TRUE(cache.invalidate("b"));
  EXPECT_EQ(cache.get("b"), boost::none);
  EXPECT_EQ(cache.get("a"), boost::optional<int>(1));
  EXPECT_EQ(cache.get("c"), boost::optional<int>(3));
  EXPECT_FALSE(cache.invalidate("b"));
}

TEST(LruCache, AnInvalidatedKeyTakesANewValue) {
  Cache cache(2);
  cache.insert("a", 1);
  cache.invalidate("a");
  cache.insert("a", 2);
  EXPECT_EQ(cache.get("a"), boost::optional<int>(2));
}

TEST(LruCache, TouchIsGetWithoutACopy) {
  Cache cache(2);
  cache.insert("a", 1);
  cache.insert("b", 2);
  ASSERT_NE(cache.touch("a"), nullptr);
  EXPECT_EQ(*cache.touch("a"), 1);
  EXPECT_EQ(cache.touch("c"), nullptr);
  cache.insert("c", 3);
  EXPECT_EQ(cache.get("b"), boost::none);
}

TEST(LruCache, ClearDropsEverythingAndTheCacheGoesOn) {
  Cache cache(2);
  cache.insert("a", 1);
  cache.insert("b", 2);
  cache.clear();
  EXPECT_EQ(cache.size(), 0U);
  EXPECT_EQ(cache.get("a"), boost::none);
  cache.insert("a", 3);
  EXPECT_EQ(cache.get("a"), boost::optional<int>(3));
}

TEST(LruCache, WithoutCapacityHoldsNothing) {
  Cache cache(0);
  cache.insert("a", 1);
  EXPECT_EQ(cache.size(), 0U);
  EXPECT_EQ(cache.get("a"), boost::none);
  EXPECT_FALSE(cache.invalidate("a"));
}

TEST(LruCache, OfOneEntryReplacesItEachTime) {
  Cache cache(1);
  for (int i = 0; i < 5; ++i) {
    cache.insert(std::to_string(i), i);
    EXPECT_EQ(cache.get(std::to_string(i)), boost::optional<int>(i));
    EXPECT_EQ(cache.size(), 1U);
  }
}

// A key whose n-th copy throws.
struct Fragile {
  static int copies_left;
  int id = 0;

  explicit Fragile(int number) : id(number) {}
  Fragile(const Fragile& other) : id(other.id) {
    if (copies_left == 0) throw std::runtime_error("copy");
    --copies_left;
  }
  Fragile(Fragile&&) noexcept = default;
  Fragile& operator=(const Fragile&) = default;
  Fragile& operator=(Fragile&&) noexcept = default;
  ~Fragile() = default;
  friend bool operator<(const Fragile& left, const Fragile& right) { return left.id < right.id; }
};
int Fragile::copies_left = -1;

TEST(LruCache, AnInsertionThatThrowsLeavesMapAndListWithTheSameKeys) {
  for (int entries = 0; entries <= 3; ++entries) {
    for (int copies = 0; copies < 2; ++copies) {
      Fragile::copies_left = -1;
      kitbase::lru_cache<Fragile, int> cache(3);
      for (int i = 0; i < entries; ++i) cache.insert(Fragile(i), i);
      Fragile::copies_left = copies;
      EXPECT_THROW(cache.insert(Fragile(9), 9), std::runtime_error);
      Fragile::copies_left = -1;
      EXPECT_EQ(cache.size(), static_cast<std::size_t>(entries));
      EXPECT_EQ(cache.get(Fragile(9)), boost::none);
      for (int i = 10; i < 13; ++i) cache.insert(Fragile(i), i);
      for (int i = 10; i < 13; ++i) EXPECT_EQ(cache.get(Fragile(i)), boost::optional<int>(i));
      EXPECT_EQ(cache.size(), 3U);
    }
  }
}

// The cache said again in the plainest way: a sequence of entries, used last first.
class Model {
 public:
  explicit Model(std::size_t capacity) : capacity_(capacity) {}

  boost::optional<int> get(int key) {
    const auto found = find(key);
    if (found == entries_.end()) return boost::none;
    std::rotate(entries_.begin(), found, found + 1);
    return entries_.front().second;
  }
  void insert(int key, int value) {
    if (find(key) != entries_.end()) return;
    if (entries_.size() >= capacity_) entries_.pop_back();
    entries_.insert(entries_.begin(), {key, value});
  }
  bool invalidate(int key) {
    const auto found = find(key);
    if (found == entries_.end()) return false;
    entries_.erase(found);
    return true;
  }
  std::size_t size() const { return entries_.size(); }
  // The keys of [first, last) that are not held.
  std::vector<int> absent(int first, int last) {
    std::vector<int> keys;
    for (int key = first; key < last; ++key) {
      if (find(key) == entries_.end()) keys.push_back(key);
    }
    return keys;
  }

 private:
  std::vector<std::pair<int, int>>::iterator find(int key) {
    return std::find_if(entries_.begin(), entries_.end(),
                        [key](const auto& entry) { return entry.first == key; });
  }
  std::size_t capacity_;
  std::vector<std::pair<int, int>> entries_;
};

RC_GTEST_PROP(LruCache, AgreesWithAPlainModelOverRandomSequences, ()) {
  const auto capacity = *rc::gen::inRange<std::uint32_t>(1, 6);
  const auto steps = *rc::gen::container<std::vector<std::pair<int, int>>>(
      rc::gen::pair(rc::gen::inRange(0, 4), rc::gen::inRange(0, 9)));
  kitbase::lru_cache<int, int> cache(capacity);
  Model model(capacity);
  int value = 0;
  for (const auto& [operation, key] : steps) {
    if (operation == 0) RC_ASSERT(cache.get(key) == model.get(key));
    if (operation == 1) RC_ASSERT(cache.invalidate(key) == model.invalidate(key));
    if (operation >= 2) {
      cache.insert(key, ++value);
      model.insert(key, value);
    }
    RC_ASSERT(cache.size() == model.size());
  }
  // The order in which the rest goes: each new key pushes out one entry, in both the same.
  for (int key = 100; key < 100 + static_cast<int>(capacity); ++key) {
    cache.insert(key, key);
    model.insert(key, key);
    for (const int other : model.absent(0, 9)) RC_ASSERT(cache.get(other) == boost::none);
    RC_ASSERT(cache.size() == model.size());
  }
}

}  // namespace lru_cache_test

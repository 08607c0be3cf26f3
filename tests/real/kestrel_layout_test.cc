// The records that a caller of another library reads by their places: what their fields are and
// where they stand, with pointers of 32 bits and of 64.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "kestrel/kestrel.h"

namespace nexa_test {
namespace {

constexpr std::size_t kPointer = sizeof(void*);

// Where the record has the fields that stand before, `words` of 32 bits and `pointers`, and no
// hole.
constexpr std::size_t after(std::size_t words, std::size_t pointers) {
  return words * sizeof(std::uint32_t) + pointers * kPointer;
}

static_assert(std::is_standard_layout_v<kestrel_cs_node> && std::is_trivial_v<kestrel_cs_node>);
static_assert(offsetof(kestrel_cs_node, tag) == 0);
static_assert(offsetof(kestrel_cs_node, ns) == after(1, 0));
static_assert(offsetof(kestrel_cs_node, keys) == after(2, 0));
static_assert(offsetof(kestrel_cs_node, shallow_type) == after(2, 1));
static_assert(offsetof(kestrel_cs_node, flags) == after(3, 1));
static_assert(offsetof(kestrel_cs_node, meta_data) == after(4, 1));
static_assert(offsetof(kestrel_cs_node, parent) == after(4, 2));
static_assert(offsetof(kestrel_cs_node, children) == after(4, 3));
static_assert(offsetof(kestrel_cs_node, next) == after(4, 4));
static_assert(sizeof(kestrel_cs_node) == after(4, 5));

// Behind the hash stands a hole where pointers have 64 bits.
static_assert(std::is_standard_layout_v<KestrelNsEntry> && std::is_trivial_v<KestrelNsEntry>);
static_assert(offsetof(KestrelNsEntry, uri) == 0);
static_assert(offsetof(KestrelNsEntry, prefix) == kPointer);
static_assert(offsetof(KestrelNsEntry, hash) == 2 * kPointer);
static_assert(offsetof(KestrelNsEntry, revision) == 3 * kPointer);
static_assert(offsetof(KestrelNsEntry, module) == 4 * kPointer);
static_assert(sizeof(KestrelNsEntry) == 5 * kPointer);

static_assert(std::is_standard_layout_v<kestrel_meta_data>);
static_assert(offsetof(kestrel_meta_data, key) == 0);
static_assert(offsetof(kestrel_meta_data, value) == kPointer);
static_assert(sizeof(kestrel_meta_data) == 2 * kPointer);

// As a caller sees it that knows no field by name: the record as words of 32 bits.
TEST(KestrelLayout, ARecordIsReadByItsPlaces) {
  const std::uint32_t keys[] = {5, 0};
  const kestrel_meta_data meta[] = {{"k", "v"}, {nullptr, nullptr}};
  kestrel_cs_node parent{};
  kestrel_cs_node child{};
  kestrel_cs_node sibling{};
  const kestrel_cs_node node{1, 2, keys, 44, KESTREL_FLAG_LIST, meta, &parent, &child, &sibling};
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&node);
  const auto word = [&](std::size_t at) {
    return *reinterpret_cast<const std::uint32_t*>(bytes + at);
  };
  const auto pointer = [&](std::size_t at) { return *reinterpret_cast<void* const*>(bytes + at); };
  EXPECT_EQ(word(after(0, 0)), 1U);
  EXPECT_EQ(word(after(1, 0)), 2U);
  EXPECT_EQ(pointer(after(2, 0)), keys);
  EXPECT_EQ(word(after(2, 1)), 44U);
  EXPECT_EQ(word(after(3, 1)), 1U);
  EXPECT_EQ(pointer(after(4, 1)), meta);
  EXPECT_EQ(pointer(after(4, 2)), &parent);
  EXPECT_EQ(pointer(after(4, 3)), &child);
  EXPECT_EQ(pointer(after(4, 4)), &sibling);
}

}  // namespace
}  // namespace nexa_test

// The 32-bit hash space: what is given to whom, above all when two strings meet at one hash.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "string_hash.h"
#include "string_table.h"

namespace nexa_test {
namespace {

using kestrel::BasicStringTable;
using kestrel::StringHash;
using kestrel::StringTable;

// Everything collides: under salt s, each string gets s + 1.
struct OneForAll {
  std::uint32_t operator()(std::string_view, std::uint32_t salt) const { return salt + 1; }
};

// Strings collide by their first letter, and the first try is 0 for those with a 'z'.
struct ByFirstLetter {
  std::uint32_t operator()(std::string_view text, std::uint32_t salt) const {
    const auto letter = static_cast<std::uint32_t>(text.empty() ? 'a' : text.front());
    return (letter == 'z' ? 0 : letter) + 1000 * salt;
  }
};

TEST(KestrelStringTable, AStringHasOneHashAndAHashOneString) {
  StringTable table;
  std::set<std::uint32_t> hashes;
  for (int i = 0; i < 20000; ++i) {
    const std::string text = "name-" + std::to_string(i);
    const std::uint32_t hash = table.intern(text);
    EXPECT_NE(hash, 0U);
    EXPECT_TRUE(hashes.insert(hash).second) << text;
    EXPECT_EQ(table.intern(text), hash);
  }
  EXPECT_EQ(table.size(), 20000U);
  for (int i = 0; i < 20000; ++i) {
    const std::string text = "name-" + std::to_string(i);
    EXPECT_EQ(table.text(table.find(text)), text);
  }
}

TEST(KestrelStringTable, ACollisionGivesTheLaterStringAnotherHash) {
  BasicStringTable<OneForAll> table;
  EXPECT_EQ(table.intern("first"), 1U);
  EXPECT_EQ(table.intern("second"), 2U);
  EXPECT_EQ(table.intern("third"), 3U);
  EXPECT_EQ(table.intern("second"), 2U);
  EXPECT_STREQ(table.text(1), "first");
  EXPECT_STREQ(table.text(2), "second");
  EXPECT_STREQ(table.text(3), "third");
  EXPECT_EQ(table.text(4), nullptr);
  EXPECT_EQ(table.find("first"), 1U);
  EXPECT_EQ(table.find("third"), 3U);
  EXPECT_EQ(table.find("fourth"), 0U) << "shares the hash of others and is unknown";
}

TEST(KestrelStringTable, CollisionsEndTheSameWayInEveryRun) {
  BasicStringTable<ByFirstLetter> one;
  BasicStringTable<ByFirstLetter> two;
  for (const char* text : {"ape", "ant", "bee", "ass", "bat"}) {
    EXPECT_EQ(one.intern(text), two.intern(text)) << text;
  }
  EXPECT_EQ(one.find("ape"), 97U);
  EXPECT_EQ(one.find("ant"), 1097U);
  EXPECT_EQ(one.find("ass"), 2097U);
  EXPECT_EQ(one.find("bat"), 1098U);
}

TEST(KestrelStringTable, ZeroIsNeverGiven) {
  BasicStringTable<ByFirstLetter> table;
  EXPECT_EQ(table.intern("zebra"), 1000U);
  EXPECT_EQ(table.find("zebra"), 1000U);
  EXPECT_EQ(table.find("zoo"), 0U);
  EXPECT_EQ(table.text(0), nullptr);
}

TEST(KestrelStringTable, CollisionsSurviveGrowth) {
  BasicStringTable<ByFirstLetter> table;
  for (int i = 0; i < 3000; ++i) table.intern("a" + std::to_string(i));
  for (int i = 0; i < 3000; ++i) {
    const std::string text = "a" + std::to_string(i);
    EXPECT_EQ(table.find(text), 97U + 1000U * static_cast<std::uint32_t>(i));
    EXPECT_EQ(table.text(table.find(text)), text);
  }
}

TEST(KestrelStringTable, TheAddressOfAStringDoesNotChange) {
  StringTable table;
  const char* const text = table.text(table.intern("stays"));
  for (int i = 0; i < 5000; ++i) table.intern(std::to_string(i));
  EXPECT_EQ(table.text(table.find("stays")), text);
}

TEST(KestrelStringTable, EmptyAndLongStringsAreStrings) {
  StringTable table;
  const std::string long_text(200000, 'x');
  const std::uint32_t empty = table.intern("");
  const std::uint32_t large = table.intern(long_text);
  EXPECT_STREQ(table.text(empty), "");
  EXPECT_EQ(table.text(large), long_text);
  EXPECT_EQ(table.find(""), empty);
  EXPECT_EQ(table.find(long_text), large);
}

TEST(KestrelStringTable, ASuccessorKnowsEarlierStringsByHashOnly) {
  BasicStringTable<OneForAll> earlier;
  earlier.intern("old");
  earlier.intern("both");
  auto later = BasicStringTable<OneForAll>::successor(earlier);
  EXPECT_STREQ(later.text(1), "old");
  EXPECT_EQ(later.find("old"), 0U);
  EXPECT_EQ(later.intern("new"), 3U) << "hashes of earlier strings are never given again";
  EXPECT_EQ(later.intern("both"), 2U) << "a string keeps its hash";
  EXPECT_EQ(later.find("both"), 2U);
  EXPECT_EQ(later.find("old"), 0U);
  EXPECT_EQ(earlier.find("old"), 1U);
  EXPECT_EQ(earlier.find("new"), 0U);
}

TEST(KestrelStringHash, IsTheSameEverywhere) {
  const StringHash hash;
  // Published values of the construction.
  EXPECT_EQ(hash("", 0), 0U);
  EXPECT_EQ(hash("", 1), 0x514E28B7U);
  EXPECT_EQ(hash("test", 0x9747b28cU), 0x704b81dcU);
  EXPECT_EQ(hash("Hello, world!", 0x9747b28cU), 0x24884CBAU);
  EXPECT_EQ(hash("The quick brown fox jumps over the lazy dog", 0x9747b28cU), 0x2FA826CDU);
}

TEST(KestrelStringHash, ReadsAllBytesAsUnsigned) {
  const StringHash hash;
  std::set<std::uint32_t> hashes;
  for (int c = 0; c < 256; ++c) {
    for (std::size_t length = 1; length <= 5; ++length) {
      std::string text(length, 'x');
      text.back() = static_cast<char>(c);
      if (c != 'x') hashes.insert(hash(text, 0));
    }
  }
  EXPECT_EQ(hashes.size(), 255U * 5);
}

}  // namespace
}  // namespace nexa_test

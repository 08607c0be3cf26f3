// Long texts as the log stores them.
#include "store/log/packed_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "store/log/log_rows.h"

namespace nexa::store {
namespace {

std::string lines(std::size_t size) {
  std::string text;
  for (int i = 0; text.size() < size; ++i) text += "<entry>" + std::to_string(i) + "</entry>\n";
  text.resize(size);
  return text;
}

TEST(PackedText, ComesBackAsItWas) {
  for (const std::size_t size :
       {kShortestPacked, kShortestPacked + 1, std::size_t{100'000}, std::size_t{3'000'000}}) {
    const std::string text = lines(size);
    std::optional<std::string> packed = pack(text);
    ASSERT_TRUE(packed) << size;
    EXPECT_LT(packed->size(), size / 2);
    EXPECT_TRUE(is_packed(*packed));
    EXPECT_EQ(unpacked_size(*packed), size);
    ASSERT_TRUE(unpack(*packed));
    EXPECT_TRUE(*packed == text);
  }
}

TEST(PackedText, ShortTextsAndNoiseStayAsTheyAre) {
  EXPECT_FALSE(pack(""));
  EXPECT_FALSE(pack(lines(kShortestPacked - 1)));
  std::mt19937 random(1);
  std::string noise(20'000, '\0');
  for (char& byte : noise) byte = static_cast<char>(random() & 0xFFU);
  EXPECT_FALSE(pack(noise));
}

TEST(PackedText, WhatIsNotPackedIsItsOwnText) {
  for (const std::string text : {"", "(", "(\xb5", "<config>", "\xb5/\xfd("}) {
    std::string stored = text;
    EXPECT_FALSE(is_packed(stored));
    EXPECT_EQ(unpacked_size(stored), text.size());
    EXPECT_TRUE(unpack(stored));
    EXPECT_EQ(stored, text);
  }
}

TEST(PackedText, NothingIsMadeOfHalfAFrame) {
  const std::string packed = *pack(lines(10'000));
  for (std::size_t size = 4; size < packed.size(); ++size) {
    const std::string cut = packed.substr(0, size);
    std::string stored = cut;
    EXPECT_FALSE(unpack(stored)) << size;
    EXPECT_EQ(stored, cut);
  }
}

// Two frames, or bytes behind one: more than one text.
TEST(PackedText, NothingIsMadeOfMoreThanAFrame) {
  const std::string packed = *pack(lines(10'000));
  for (const std::string& more : {packed, std::string("x")}) {
    std::string stored = packed + more;
    EXPECT_FALSE(unpack(stored));
  }
}

// No frame of the log is without its text's length; one that claims more than there can be is none.
TEST(PackedText, NothingIsMadeOfAFrameWithoutALengthThatCanBe) {
  const std::string kFrame = "\x28\xb5\x2f\xfd";
  const std::string unknown = kFrame + std::string("\x00\x00\x09\x00\x00x", 6);
  const std::string huge = kFrame + std::string("\xc0\x00", 2) + std::string(8, '\x88');
  for (const std::string& frame : {kFrame, unknown, huge}) {
    std::string stored = frame;
    EXPECT_FALSE(unpack(stored));
    EXPECT_EQ(stored, frame);
  }
  EXPECT_EQ(unpacked_size(kFrame), kFrame.size());
  EXPECT_EQ(unpacked_size(unknown), unknown.size());
}

TEST(PackedText, EachTextOfACommitIsPackedForItself) {
  LogEntry entry;
  entry.number = 7;
  EXPECT_FALSE(packed_entry(entry));
  entry.change = lines(10'000);
  entry.effect = "short";
  const std::optional<LogEntry> packed = packed_entry(entry);
  ASSERT_TRUE(packed);
  EXPECT_EQ(packed->number, 7U);
  EXPECT_TRUE(is_packed(packed->change));
  EXPECT_EQ(packed->effect, "short");
  std::swap(entry.change, entry.effect);
  ASSERT_TRUE(packed_entry(entry));
  EXPECT_TRUE(is_packed(packed_entry(entry)->effect));
}

}  // namespace
}  // namespace nexa::store

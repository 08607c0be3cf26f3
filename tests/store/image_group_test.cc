// Entries of large lists: each is changed by itself, trees that share the others stay as they were,
// and the last one that goes leaves an empty group behind.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "real/temp_folder.h"
#include "store/image/image_draft.h"
#include "store_module.h"

namespace nexa::store {
namespace image_group_test {

class ImageGroupTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_EQ(nexa_test::load_module("s", nexa_test::kStoreModule), "");
    number_schema();
  }

  static const lysc_node* schema(const char* path) {
    return lys_find_path(kestrel::context(), nullptr, path, 0);
  }
  static ImageSlot leaf(const char* path, const std::string& text, ScalarForm form) {
    return ImageLeaf::make(schema(path), text, form, false);
  }
  static ImageSlot port(const std::string& id) {
    std::vector<ImageSlot> leafs;
    leafs.push_back(leaf("/s:top/port/id", id, ScalarForm::kString));
    return ImageInner::make(schema("/s:top/port"), false, std::move(leafs));
  }
  static ImageSlot rule(const std::string& id) {
    std::vector<ImageSlot> leafs;
    leafs.push_back(leaf("/s:top/rule/id", id, ScalarForm::kBare));
    return ImageInner::make(schema("/s:top/rule"), false, std::move(leafs));
  }
  static std::string mode_of(const ImageSlot& group, const std::string& id) {
    const GroupEntry* const entry = group->group().find(id);
    if (entry == nullptr) return "no entry";
    const ImageNode* const mode = entry->node->inner().find(schema("/s:top/port/mode"));
    return mode != nullptr ? std::string(mode->leaf().text()) : "";
  }
  static std::vector<std::string> in_order(const ImageSlot& group) {
    std::vector<std::string> ids;
    for (const GroupEntry* const entry : group->group().in_order()) {
      ids.emplace_back(entry->node->inner().children()[0]->leaf().text());
    }
    return ids;
  }
};

TEST_F(ImageGroupTest, AnEntryIsChangedAloneHoweverManyThereAre) {
  for (const int count : {1, 8, 9, 100, 3000}) {
    ImageSlot group = ImageGroup::make(schema("/s:top/port"));
    for (int i = 0; i < count; ++i) ImageDraft::put_entry(group, port(std::to_string(i)));
    const ImageSlot before = group;
    for (int i = 0; i < count; i += 1 + count / 50) {
      ImageSlot* const entry = ImageDraft::entry(group, std::to_string(i));
      ASSERT_NE(entry, nullptr) << i << " of " << count;
      ImageDraft::put(*entry,
                      leaf("/s:top/port/mode", "m" + std::to_string(i), ScalarForm::kString));
    }
    EXPECT_EQ(ImageDraft::entry(group, "none"), nullptr);
    for (int i = 0; i < count; ++i) {
      const std::string id = std::to_string(i);
      EXPECT_EQ(mode_of(before, id), "") << id << " of " << count;
      EXPECT_EQ(mode_of(group, id), i % (1 + count / 50) == 0 ? "m" + id : "") << id;
    }
    EXPECT_EQ(group->group().size(), static_cast<std::size_t>(count));
    std::size_t different = 0;
    before->group().each_difference(group->group(),
                                    [&](const GroupEntry* mine, const GroupEntry* other) {
                                      ASSERT_NE(mine, nullptr);
                                      ASSERT_NE(other, nullptr);
                                      EXPECT_EQ(mine->order, other->order);
                                      ++different;
                                    });
    const int step = 1 + count / 50;
    EXPECT_EQ(different, static_cast<std::size_t>((count + step - 1) / step));
  }
}

TEST_F(ImageGroupTest, EntriesGoInAnyOrderAndTheLastLeavesNothing) {
  std::mt19937 random(11);
  for (const std::size_t count : {1U, 7U, 33U, 1000U}) {
    ImageSlot group = ImageGroup::make(schema("/s:top/port"));
    std::vector<std::string> ids;
    for (std::size_t i = 0; i < count; ++i) {
      ids.push_back("p" + std::to_string(i));
      ImageDraft::put_entry(group, port(ids.back()));
    }
    const ImageSlot full = group;
    std::shuffle(ids.begin(), ids.end(), random);
    while (!ids.empty()) {
      const std::string id = ids.back();
      ids.pop_back();
      EXPECT_TRUE(ImageDraft::remove_entry(group, id));
      EXPECT_FALSE(ImageDraft::remove_entry(group, id));
      EXPECT_EQ(group->group().size(), ids.size());
      EXPECT_EQ(group->group().find(id), nullptr);
      EXPECT_EQ(group->group().find("p0") == nullptr,
                std::find(ids.begin(), ids.end(), "p0") == ids.end());
    }
    EXPECT_TRUE(group->group().in_order().empty());
    ImageDraft::put_entry(group, port("again"));
    EXPECT_EQ(in_order(group), std::vector<std::string>{"again"});
    EXPECT_EQ(full->group().size(), count);
    EXPECT_EQ(full->group().in_order().size(), count);
  }
}

// Places of entries that the user orders: given, kept, and changed by putting the entry in again.
TEST_F(ImageGroupTest, PlacesAreKeptAmongMany) {
  ImageSlot group = ImageGroup::make(schema("/s:top/rule"));
  for (int i = 0; i < 200; ++i) {
    ImageDraft::put_entry(group, rule(std::to_string(i)), static_cast<std::uint64_t>(i) * 10 + 10);
  }
  ImageDraft::put_entry(group, rule("last"));
  EXPECT_EQ(in_order(group).back(), "last");
  // Behind the third, in front of the first, and at the end.
  ImageDraft::put_entry(group, rule("150"), 35);
  ImageDraft::put_entry(group, rule("7"), 5);
  ImageDraft::put_entry(group, rule("0"), group->group().next_order());
  std::vector<std::string> ids = in_order(group);
  ASSERT_EQ(ids.size(), 201U);
  EXPECT_EQ(ids[0], "7");
  EXPECT_EQ(ids[1], "1");
  EXPECT_EQ(ids[2], "2");
  EXPECT_EQ(ids[3], "150");
  EXPECT_EQ(ids[4], "3");
  EXPECT_EQ(ids[199], "last");
  EXPECT_EQ(ids[200], "0");
  // Who stands in front of a place, with the places of all of them and with few.
  for (const std::uint64_t place : {0U, 5U, 6U, 20U, 21U, 35U, 36U, 1000U}) {
    const GroupEntry* nearest = nullptr;
    for (const GroupEntry* const entry : group->group().in_order()) {
      if (entry->order < place) nearest = entry;
    }
    EXPECT_EQ(group->group().before(place), nearest) << place;
  }
  // One that is put in without a place stays where it was.
  ImageDraft::put_entry(group, rule("150"));
  EXPECT_EQ(in_order(group), ids);
  ASSERT_TRUE(ImageDraft::remove_entry(group, "150"));
  ids.erase(ids.begin() + 3);
  EXPECT_EQ(in_order(group), ids);
}

TEST_F(ImageGroupTest, ALeafIsADefaultOrNot) {
  ImageSlot node = leaf("/s:top/speed", "100", ScalarForm::kBare);
  const ImageSlot given = node;
  ImageDraft::set_default(node, true);
  EXPECT_TRUE(node->is_default());
  EXPECT_FALSE(given->is_default());
  EXPECT_EQ(node->leaf().text(), "100");
  EXPECT_EQ(node->leaf().form(), ScalarForm::kBare);
  ImageDraft::set_default(node, false);
  EXPECT_TRUE(same_image(*node, *given));
}

}  // namespace image_group_test
}  // namespace nexa::store

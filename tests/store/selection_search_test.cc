// Searches in long lists and by many readers at once: what is found, and that it is not found by
// looking at every entry.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "shop_models.h"
#include "store/reading/json_value.h"
#include "support/processor_time.h"
#include "support/targets.h"
#include "translate/path_string.h"

namespace nexa::store {
namespace selection_search_test {

constexpr JsonForm kIetf{DataPart::kAll, true};

gnmi::Path path_of(const std::string& text) {
  translate::PathStringError error;
  return translate::parse_path_string(text, &error).value_or(gnmi::Path());
}

model::Target target_of(const std::string& text) { return nexa_test::target_of(path_of(text)); }

// `count` items from "i0"; those of state have the counter, those of config the rest.
ImagePtr stock(int count, bool is_state) {
  std::string xml = "<stock xmlns=\"urn:shop\">";
  if (!is_state) xml += "<owner>A</owner>";
  for (int i = 0; i < count; ++i) {
    xml += "<item><name>i" + std::to_string(i) + "</name>";
    xml += is_state ? "<sold>" + std::to_string(i) + "</sold></item>"
                    : "<price>1.5</price><tag>x</tag></item>";
  }
  if (!is_state) xml += "<door>1</door>";
  return nexa_test::shop_image(xml + "</stock>");
}

ImagePtr shelves(int count, bool is_state) {
  std::string xml;
  for (int i = 0; i < count; ++i) {
    xml += "<shelf xmlns=\"urn:shop\"><row>" + std::to_string(i - 128) + "</row>";
    xml += is_state ? "<load>1</load></shelf>" : "<label>l</label></shelf>";
  }
  return nexa_test::shop_image(xml);
}

class SelectionSearch : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { nexa_test::load_shop(); }
};

TEST_F(SelectionSearch, EntryIsFoundWithoutLookingAtTheOthers) {
  const auto seconds = [](int count, const std::string& name) {
    const ImagePtr config = stock(count, false);
    const ImagePtr state = stock(count, true);
    int found = 0;
    const auto count_it = [&](const NodePair&, gnmi::Path&) { ++found; };
    const model::Target path = target_of("/shop:stock/item[name=" + name + "]/sold");
    const double taken = nexa_test::least_processor_seconds([&] {
      for (int i = 0; i < 100; ++i) select_nodes(path, config.get(), state.get(), count_it);
    });
    EXPECT_EQ(found, 500);
    return taken;
  };
  // A walk over the entries would take a thousand times longer.
  EXPECT_LT(seconds(20000, "i15000"), 20 * seconds(20, "i15"));
}

TEST_F(SelectionSearch, NodesBesideALongListAreFoundFromBothEnds) {
  const auto seconds = [](int count, const char* leaf) {
    const ImagePtr config = stock(count, false);
    int found = 0;
    const auto count_it = [&](const NodePair&, gnmi::Path&) { ++found; };
    const model::Target path = target_of(std::string("/shop:stock/") + leaf);
    const double taken = nexa_test::least_processor_seconds([&] {
      for (int i = 0; i < 100; ++i) select_nodes(path, config.get(), nullptr, count_it);
    });
    EXPECT_EQ(found, std::string(leaf) == "coins" ? 0 : 500);
    return taken;
  };
  for (const char* leaf : {"owner", "door", "coins"}) {
    EXPECT_LT(seconds(20000, leaf), 20 * seconds(20, leaf)) << leaf;
  }
}

TEST_F(SelectionSearch, OverlayTakesTimeByTheEntry) {
  const auto seconds = [](int count) {
    const ImagePtr config = stock(count, false);
    const ImagePtr state = stock(count, true);
    std::string json;
    return nexa_test::least_processor_seconds([&] {
      json.clear();
      EXPECT_TRUE(append_tree({config.get(), state.get()}, kIetf, json));
    });
  };
  // Eight times the entries; looking at every one for each would take 64 times as long.
  EXPECT_LT(seconds(40000), 40 * seconds(5000));
}

TEST_F(SelectionSearch, TopLevelListsAreOverlaidByTheirKeys) {
  const ImagePtr config = shelves(256, false);
  const ImagePtr state = shelves(200, true);
  std::string json;
  ASSERT_TRUE(append_tree({config.get(), state.get()}, kIetf, json));
  const auto count_of = [&](const std::string& text) {
    int count = 0;
    for (std::size_t at = json.find(text); at != std::string::npos; at = json.find(text, at + 1)) {
      ++count;
    }
    return count;
  };
  EXPECT_EQ(count_of("\"row\":"), 256);
  EXPECT_EQ(count_of("\"label\":\"l\",\"load\":1}"), 200);
}

TEST_F(SelectionSearch, SeveralReadersFindWhatOneFinds) {
  const ImagePtr config = stock(500, false);
  const ImagePtr state = stock(400, true);
  std::string expected;
  ASSERT_TRUE(append_tree({config.get(), state.get()}, kIetf, expected));
  std::atomic<int> wrong = 0;
  const auto read = [&](int seed) {
    for (int round = 0; round < 20; ++round) {
      std::string json;
      append_tree({config.get(), state.get()}, kIetf, json);
      if (json != expected) ++wrong;
      for (int i = seed; i < 400; i += 7) {
        int found = 0;
        select_nodes(target_of("/stock/item[name=i" + std::to_string(i) + "]/sold"), config.get(),
                     state.get(), [&](const NodePair& node, gnmi::Path&) {
                       if (node.state->leaf().text() == std::to_string(i)) ++found;
                     });
        if (found != 1) ++wrong;
      }
    }
  };
  std::vector<std::thread> readers;
  for (int i = 0; i < 4; ++i) readers.emplace_back(read, i);
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace selection_search_test
}  // namespace nexa::store

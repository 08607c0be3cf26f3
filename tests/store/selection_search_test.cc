// Searches in long lists and by many readers at once: what is found, and that it is not found by
// looking at every entry.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "shop_models.h"
#include "store/reading/json_value.h"
#include "store/siblings.h"
#include "translate/path_string.h"

namespace nexa::host {
namespace {

constexpr JsonForm kIetf{DataPart::kAll, true};

gnmi::Path path_of(const std::string& text) {
  PathStringError error;
  return parse_path_string(text, &error).value_or(gnmi::Path());
}

// `count` items from "i0"; those of state have the counter, those of config the rest.
TreePtr stock(int count, bool is_state) {
  std::string xml = "<stock xmlns=\"urn:shop\">";
  if (!is_state) xml += "<owner>A</owner>";
  for (int i = 0; i < count; ++i) {
    xml += "<item><name>i" + std::to_string(i) + "</name>";
    xml += is_state ? "<sold>" + std::to_string(i) + "</sold></item>"
                    : "<price>1.5</price><tag>x</tag></item>";
  }
  if (!is_state) xml += "<door>1</door>";
  return nexa_test::shop_tree(xml + "</stock>");
}

TreePtr shelves(int count, bool is_state) {
  std::string xml;
  for (int i = 0; i < count; ++i) {
    xml += "<shelf xmlns=\"urn:shop\"><row>" + std::to_string(i - 128) + "</row>";
    xml += is_state ? "<load>1</load></shelf>" : "<label>l</label></shelf>";
  }
  return nexa_test::shop_tree(xml);
}

class SelectionSearch : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { nexa_test::load_shop(); }
};

template <typename Work>
double best_seconds(Work&& work) {
  double best = 1e9;
  for (int i = 0; i < 5; ++i) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    best = std::min(best, taken.count());
  }
  return best;
}

TEST_F(SelectionSearch, EntryIsFoundWithoutLookingAtTheOthers) {
  const auto seconds = [](int count, const std::string& name) {
    const TreePtr config = stock(count, false);
    const TreePtr state = stock(count, true);
    int found = 0;
    const auto count_it = [&](const NodePair&, gnmi::Path&) { ++found; };
    const gnmi::Path path = path_of("/shop:stock/item[name=" + name + "]/sold");
    const double taken = best_seconds([&] {
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
    const TreePtr config = stock(count, false);
    int found = 0;
    const auto count_it = [&](const NodePair&, gnmi::Path&) { ++found; };
    const gnmi::Path path = path_of(std::string("/shop:stock/") + leaf);
    const double taken = best_seconds([&] {
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
    const TreePtr config = stock(count, false);
    const TreePtr state = stock(count, true);
    std::string json;
    return best_seconds([&] {
      json.clear();
      EXPECT_TRUE(append_tree(config.get(), state.get(), kIetf, json));
    });
  };
  EXPECT_LT(seconds(20000), 100 * seconds(1000));
}

TEST_F(SelectionSearch, TopLevelListsAreOverlaidByTheirKeys) {
  const TreePtr config = shelves(256, false);
  const TreePtr state = shelves(200, true);
  std::string json;
  ASSERT_TRUE(append_tree(config.get(), state.get(), kIetf, json));
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

TEST_F(SelectionSearch, FinderFindsEveryEntryOfTheTopLevel) {
  const TreePtr some = shelves(100, false);
  const TreePtr all = shelves(256, true);
  EntryFinder finder(some.get(), some->schema);
  int found = 0;
  for (const lyd_node* like = all.get(); like != nullptr; like = like->next) {
    const lyd_node* entry = finder.find(like);
    if (entry == nullptr) continue;
    ++found;
    EXPECT_STREQ(lyd_get_value(lyd_child(entry)), lyd_get_value(lyd_child(like)));
  }
  EXPECT_EQ(found, 100);
}

TEST_F(SelectionSearch, SeveralReadersFindWhatOneFinds) {
  const TreePtr config = stock(500, false);
  const TreePtr state = stock(400, true);
  std::string expected;
  ASSERT_TRUE(append_tree(config.get(), state.get(), kIetf, expected));
  std::atomic<int> wrong = 0;
  const auto read = [&](int seed) {
    for (int round = 0; round < 20; ++round) {
      std::string json;
      append_tree(config.get(), state.get(), kIetf, json);
      if (json != expected) ++wrong;
      for (int i = seed; i < 400; i += 7) {
        int found = 0;
        select_nodes(path_of("/stock/item[name=i" + std::to_string(i) + "]/sold"), config.get(),
                     state.get(), [&](const NodePair& node, gnmi::Path&) {
                       if (lyd_get_value(node.state) == std::to_string(i)) ++found;
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

// libyang makes the texts of some types when they are first asked for, and keeps them.
TEST_F(SelectionSearch, ReadingLeavesValuesAsTheyAre) {
  const TreePtr tree = nexa_test::shop_tree(
      "<values xmlns=\"urn:shop\"><flags>c a</flags><v6>2001:DB8::1</v6></values>");
  std::string json;
  ASSERT_TRUE(append_tree(tree.get(), nullptr, kIetf, json));
  EXPECT_EQ(json, R"({"shop:values":{"flags":"a c","v6":"2001:db8::1"}})");
  for (const lyd_node* leaf = lyd_child(tree.get()); leaf != nullptr; leaf = leaf->next) {
    EXPECT_EQ(reinterpret_cast<const lyd_node_term*>(leaf)->value._canonical, nullptr)
        << leaf->schema->name;
  }
}

}  // namespace
}  // namespace nexa::host

// Operational data that is told piece by piece, and trees of several sources in one.
#include "store/held_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shop_models.h"
#include "store/tree_snapshot.h"
#include "support/results.h"
#include "support/targets.h"
#include "translate/path_string.h"

namespace nexa::store {
namespace {

using ::testing::HasSubstr;

model::Target target(std::string_view path) {
  translate::PathStringError error;
  return nexa_test::target_of(*translate::parse_path_string(path, &error), model::Purpose::kRead);
}

std::string read(const StateTree& tree, const model::Target& what) {
  const TreeSnapshot nothing(empty_image(), 0);
  Query query;
  query.target = what;
  std::string text;
  nothing.read(query, &tree,
               [&](gnmi::Path&, gnmi::TypedValue& value) { text += value.json_ietf_val(); });
  return text;
}
std::string read(const StateTree& tree, std::string_view path) { return read(tree, target(path)); }

class HeldStateTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { nexa_test::load_shop(); }

  // "" or the fault.
  std::string update(std::string_view path, std::string_view json) {
    return nexa_test::line_of(held_.update(target(path), json));
  }
  std::string read(std::string_view path) const { return store::read(*held_.tree(), path); }

  HeldState held_;
};

TEST_F(HeldStateTest, HoldsWhatItWasTold) {
  EXPECT_TRUE(held_.is_empty());
  EXPECT_EQ(update("/shop:stock/item[name=a]/sold", "\"5\""), "");
  EXPECT_EQ(update("/shop:stock/item[name=b]", R"({"name":"b","sold":"6"})"), "");
  EXPECT_EQ(update("/shop:stock/code", R"(["x","y"])"), "");
  EXPECT_EQ(
      read("/shop:stock"),
      R"({"shop:item":[{"name":"a","sold":"5"},{"name":"b","sold":"6"}],"shop:code":["x","y"]})");
  const auto before = held_.tree();
  EXPECT_EQ(update("/shop:stock/item[name=a]/sold", "\"7\""), "");
  EXPECT_EQ(update("/shop:stock/code", R"(["z"])"), "");
  EXPECT_EQ(read("/shop:stock/item[name=a]/sold"), "\"7\"");
  EXPECT_EQ(read("/shop:stock/code"), R"(["z"])");
  EXPECT_EQ(store::read(*before, "/shop:stock/item[name=a]/sold"), "\"5\"");
  EXPECT_TRUE(held_.holds(target("/shop:stock/item[name=a]/sold")));
  EXPECT_FALSE(held_.holds(target("/shop:stock/item[name=c]/sold")));
}

TEST_F(HeldStateTest, RefusesWhatDoesNotFitAndChangesNothing) {
  EXPECT_EQ(update("/", "{}"), "the path names no node");
  EXPECT_EQ(update("/shop:stock/item[name=*]/sold", "\"1\""), "an update names one node");
  EXPECT_EQ(update("/shop:stock/item[name=a]/name", "\"a\""),
            "the path names a key, which is told with its entry");
  EXPECT_THAT(update("/shop:stock/owner", "\"Ann\""), HasSubstr(" is configuration"));
  EXPECT_THAT(update("/shop:stock/item[name=a]", R"({"sold":"1","price":"1.5"})"),
              HasSubstr("price is configuration"));
  EXPECT_EQ(update("/shop:stock/item[name=a]", R"({"name":"b"})"),
            "a key of the value contradicts the path");
  EXPECT_NE(update("/shop:stock/item[name=a]/sold", "\"many\""), "");
  EXPECT_NE(update("/shop:stock/item[name=a]/sold", "[1,2]"), "");
  EXPECT_NE(update("/shop:stock/item[name=a]", R"({"unknown":1})"), "");
  EXPECT_NE(update("/shop:stock/item[name=a]", "5"), "");
  EXPECT_TRUE(held_.is_empty());
  EXPECT_EQ(held_.count(), HeldState().count());
}

TEST_F(HeldStateTest, ALeafListIsOneValueAndAnEmptyOneIsNone) {
  EXPECT_EQ(update("/shop:stock/code", R"(["x","y"])"), "");
  EXPECT_EQ(update("/shop:stock/code", "[]"), "");
  EXPECT_EQ(read("/shop:stock/code"), "");
  EXPECT_FALSE(held_.holds(target("/shop:stock/code")));
}

TEST(HeldStateAtTheTop, LeafsAndLeafListsAreTold) {
  ASSERT_EQ(nexa_test::load_module("top", R"yang(module top { namespace "urn:top"; prefix t;
    leaf load { config false; type uint8; } leaf-list user { config false; type string; } })yang"),
            "");
  number_schema();
  HeldState held;
  const auto update = [&held](std::string_view path, std::string_view json) {
    return nexa_test::line_of(held.update(target(path), json));
  };
  const auto all = [&held] { return read(*held.tree(), "/"); };
  EXPECT_EQ(update("/top:load", "5"), "");
  EXPECT_EQ(update("/top:user", R"(["x","y"])"), "");
  EXPECT_EQ(all(), R"({"top:load":5,"top:user":["x","y"]})");
  EXPECT_EQ(update("/top:user", R"(["z"])"), "");
  EXPECT_EQ(all(), R"({"top:load":5,"top:user":["z"]})");
  EXPECT_EQ(update("/top:load", R"(6,"top:user":["x"])"), "the value is not one value");
  EXPECT_EQ(update("/top:user", R"(["x"],"top:load":6)"), "the value is not one value");
  EXPECT_EQ(update("/top:user", "[]"), "");
  EXPECT_EQ(all(), R"({"top:load":5})");
}

TEST_F(HeldStateTest, TakesOutWhatATargetNames) {
  for (const char* const name : {"a", "b", "c"}) {
    ASSERT_EQ(update("/shop:stock/item[name=" + std::string(name) + "]/sold", "\"1\""), "");
  }
  held_.remove(target("/shop:stock/item[name=b]"));
  EXPECT_EQ(read("/shop:stock/item/name"), R"("a""c")");
  held_.remove(target("/shop:stock/item[name=*]/sold"));
  EXPECT_EQ(read("/shop:stock/item/sold"), "");
  held_.remove(target("/"));
  EXPECT_TRUE(held_.is_empty());
}

TEST_F(HeldStateTest, LaterTreesCountMore) {
  HeldState later;
  ASSERT_EQ(update("/shop:stock/item[name=a]/sold", "\"1\""), "");
  ASSERT_EQ(update("/shop:stock/item[name=b]/sold", "\"2\""), "");
  ASSERT_EQ(update("/shop:stock/code", R"(["x","x"])"), "");
  const auto update_later = [&later](std::string_view path, std::string_view json) {
    return nexa_test::line_of(later.update(target(path), json));
  };
  ASSERT_EQ(update_later("/shop:stock/item[name=b]/sold", "\"3\""), "");
  ASSERT_EQ(update_later("/shop:stock/item[name=c]/sold", "\"4\""), "");
  ASSERT_EQ(update_later("/shop:stock/code", R"(["y"])"), "");
  const std::shared_ptr<const StateTree> trees[] = {held_.tree(), later.tree()};
  EXPECT_EQ(
      store::read(*join_state_trees(trees), "/shop:stock"),
      R"({"shop:item":[{"name":"a","sold":"1"},{"name":"b","sold":"3"},{"name":"c","sold":"4"}],)"
      R"("shop:code":["y"]})");
  EXPECT_EQ(read("/shop:stock/item[name=b]/sold"), "\"2\"");
}

TEST_F(HeldStateTest, OneLaidOverAnotherCountsMore) {
  HeldState later;
  ASSERT_EQ(update("/shop:stock/item[name=a]/sold", "\"1\""), "");
  ASSERT_EQ(update("/shop:stock/code", R"(["x"])"), "");
  ASSERT_EQ(nexa_test::line_of(later.update(target("/shop:stock/item[name=a]/sold"), "\"3\"")), "");
  ASSERT_EQ(nexa_test::line_of(later.update(target("/shop:stock/item[name=b]/sold"), "\"4\"")), "");
  held_.lay_over(later);
  EXPECT_EQ(read("/shop:stock"),
            R"({"shop:item":[{"name":"a","sold":"3"},{"name":"b","sold":"4"}],"shop:code":["x"]})");
  EXPECT_EQ(store::read(*later.tree(), "/shop:stock/code"), "");
}

constexpr char kDevices[] = R"yang(module devices {
  yang-version 1.1; namespace "urn:devices"; prefix d;
  identity kind;
  container devices {
    list device { key "kind name"; leaf kind { type identityref { base kind; } }
      leaf name { type string; } leaf seen { config false; type uint32; }
      list sample { config false; leaf what { type string; } } }
    list log { config false; leaf line { type string; } }
    leaf-list code { config false; type string; }
  }
})yang";
constexpr char kCards[] = R"yang(module cards {
  yang-version 1.1; namespace "urn:cards"; prefix c;
  import devices { prefix d; }
  identity card { base d:kind; }
})yang";

class HeldDevices : public HeldStateTest {
 protected:
  void SetUp() override {
    const nexa_test::TempFolder folder;
    folder.write("devices.yang", kDevices);
    folder.write("cards.yang", kCards);
    ASSERT_EQ(nexa_test::load_text(folder), "");
    number_schema();
  }
  // The schema of the others.
  void TearDown() override {
    held_.clear();
    nexa_test::load_shop();
  }
};

// The identity of another module is written with a prefix that the entry has to declare.
TEST_F(HeldDevices, AnEntryIsNamedByAnIdentityOfAnotherModule) {
  EXPECT_EQ(update("/devices:devices/device[kind=cards:card][name=a]/seen", "7"), "");
  EXPECT_EQ(read("/devices:devices"),
            R"({"devices:device":[{"kind":"cards:card","name":"a","seen":7}]})");
  EXPECT_TRUE(held_.holds(target("/devices:devices/device[kind=cards:card][name=a]/seen")));
}

TEST_F(HeldDevices, WhatOneUpdateCannotMeanIsRefused) {
  const std::string keys = "the list has no keys, or the path does not give them all";
  EXPECT_EQ(update("/devices:devices/device[name=a]/seen", "7"), keys);
  EXPECT_EQ(update("/devices:devices/device/seen", "7"), keys);
  EXPECT_EQ(update("/devices:devices/log", R"({"line":"x"})"), keys);
  EXPECT_EQ(update("/devices:devices/code[.=x]", R"(["x"])"), "an update names one node");
  EXPECT_EQ(update("/devices:devices/*", R"({})"), "an update names one node");
  EXPECT_TRUE(held_.is_empty());
}

}  // namespace
}  // namespace nexa::store

// Changes to a tree are taken back one by one, until it is what it was: nodes, values, flags, and
// the order of what the user orders.
#include "store/random_edit.h"
#include "store/random_module.h"
#include "store/validation_fixture.h"
#include "tree_content.h"

namespace nexa::store {
namespace tree_change_test {

constexpr std::uint32_t kModules = 60;
constexpr int kChanges = 60;

constexpr char kModule[] = R"y(module m { yang-version 1.1; namespace "urn:m"; prefix m;
  container c {
    leaf a { type int32; default 5; }
    container n { leaf z { type string; default "z"; } leaf y { type string; } }
    list u { key "k"; ordered-by user; leaf k { type string; } leaf v { type string; } }
    leaf-list w { ordered-by user; type string; }
    list s { key "k"; leaf k { type string; } } }
  leaf-list t { ordered-by user; type string; } })y";

class TakenBack : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(nexa_test::load_module("m", kModule), ""); }

  // Makes the change, judges it and takes both back.
  static void expect_undone(const std::string& before, const std::string& after) {
    Configuration configuration;
    configuration.set(before);
    const TreePtr wanted = parse(after);
    const Judgement judgement =
        configuration.change([&wanted](TreePtr& tree) { tree = copy(wanted.get()); });
    EXPECT_FALSE(judgement.outcome.violation);
  }

  static std::string c(const std::string& inner) { return "<c xmlns=\"urn:m\">" + inner + "</c>"; }
  static std::string u(const std::string& key) { return "<u><k>" + key + "</k></u>"; }
  static std::string t(const std::string& value) { return "<t xmlns=\"urn:m\">" + value + "</t>"; }
};

TEST_F(TakenBack, CreationsDeletionsAndValues) {
  expect_undone(c("<a>7</a><n><y>1</y></n><s><k>1</k></s>"), c("<a>8</a><s><k>2</k></s>"));
  expect_undone(c("<a>7</a>"), c("<n><z>other</z></n>"));
  expect_undone(c("<n><y>1</y></n>"), "");
  expect_undone("", c("<n><z>z</z></n>"));
  expect_undone(c("<a>5</a>"), c("<s><k>1</k></s>"));
}

TEST_F(TakenBack, TheOrderThatTheUserGave) {
  expect_undone(c(u("1") + u("2") + u("3") + u("4")), c(u("4") + u("2") + u("1") + u("3")));
  expect_undone(c(u("1") + u("2") + u("3") + u("4")), c(u("3") + u("5") + u("1")));
  expect_undone(c("<w>a</w><w>b</w><w>c</w>"), c("<w>c</w><w>x</w><w>a</w>"));
  expect_undone(t("a") + t("b") + t("c"), t("c") + t("a"));
  expect_undone(t("a") + t("b"), "");
}

TEST(TreeChange, RandomChangesAreTakenBack) {
  each_random_change(
      kModules, kChanges, [](RandomSource&, const lyd_node* before, const TreePtr& after) {
        TreeChanges changes;
        lyd_node* top = copy(before).release();
        bring_in_step(top, after.get(), changes);
        EXPECT_TRUE(nexa_test::same_content(top, after.get(), true))
            << print(top) << print(after.get());
        EXPECT_TRUE(undo_changes(top, changes));
        EXPECT_TRUE(changes.empty());
        EXPECT_TRUE(nexa_test::same_content(top, before, true)) << print(top) << print(before);
        EXPECT_TRUE(have_equal_flags(top, before));
        lyd_free_all(top);
      });
}

}  // namespace tree_change_test
}  // namespace nexa::store

// nexa capabilities --constraints: what the constraints of a set of modules cost.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "real/temp_folder.h"
#include "run_program.h"

namespace nexa_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kShop[] = R"(module shop { namespace "urn:shop"; prefix shop;
  container shop {
    leaf open { type boolean; }
    list item { key name; leaf name { type string; }
      must "count(preceding-sibling::shop:item)
            < 10";
      must "../open = 'true'"; }
    choice kind { when "following::x"; case a { leaf a1 { type string; } leaf a2 { type string; } } }
    leaf best { type leafref { path "../item/name"; } } } })";

Outcome run_over(const char* text, std::vector<std::string> more) {
  const TempFolder folder;
  folder.write("shop.yang", text);
  std::vector<std::string> arguments = {"capabilities", "-p", folder.path(), "--constraints"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return run_nexa(arguments);
}

TEST(NexaConstraints, ListsThoseThatAreWhole) {
  const Outcome outcome = run_over(kShop, {});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out,
            "2 of 4 constraints are whole: a change that can reach one is judged by libyang over "
            "the whole tree\n"
            "\n"
            "shop must /shop:shop/item\n"
            "  count(preceding-sibling::shop:item) < 10\n"
            "  because of: axis preceding-sibling\n"
            "  not safe for libyang: judged in a process of its own\n"
            "\n"
            "shop when /shop:shop/kind\n"
            "  following::x\n"
            "  because of: axis following\n"
            "  reached by every change\n"
            "  not safe for libyang: judged in a process of its own\n");
}

TEST(NexaConstraints, WritesJson) {
  const Outcome outcome = run_over(kShop, {"--format", "json"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("\"constraints\":\t4,"));
  EXPECT_THAT(outcome.out, HasSubstr("\"path\":\t\"/shop:shop/item\",\n"));
  EXPECT_THAT(outcome.out, HasSubstr("\"kind\":\t\"must\",\n"));
  EXPECT_THAT(outcome.out, HasSubstr("\"reason\":\t\"axis preceding-sibling\",\n"));
  EXPECT_THAT(outcome.out, HasSubstr("\"every_change\":\ttrue,\n"));
  EXPECT_THAT(outcome.out, Not(HasSubstr("../open")));
}

TEST(NexaConstraints, SaysThatAllAreProven) {
  const Outcome outcome = run_over(
      "module shop { namespace \"urn:shop\"; prefix shop; leaf a { type string; must \"../b\"; } "
      "leaf b { type string; must \"../a\"; } }",
      {});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "all 2 constraints are proven\n");
}

TEST(NexaConstraints, SaysThatThereAreNone) {
  const Outcome outcome =
      run_over("module shop { namespace \"urn:shop\"; prefix shop; leaf a { type string; } }", {});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "no constraints\n");
}

}  // namespace
}  // namespace nexa_test

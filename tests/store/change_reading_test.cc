// What the log says of a commit, applied to what was before it, gives what was after it: in our own
// words, and in libyang's, which older programs wrote.
#include "store/change_reading.h"

#include "store/change.h"
#include "store/image/image_comparison.h"
#include "store/image/image_import.h"
#include "store/random_edit.h"
#include "store/random_module.h"
#include "store/validation_fixture.h"

namespace nexa::store {
namespace change_reading_test {

constexpr std::uint32_t kModules = 80;
constexpr int kChanges = 40;

constexpr char kModule[] = R"y(module m { yang-version 1.1; namespace "urn:m"; prefix m;
  container c {
    leaf a { type int32; }
    list u { key "k j"; ordered-by user; leaf k { type string; } leaf j { type string; }
      leaf v { type string; } container in { leaf x { type string; } } }
    anydata any;
    leaf-list w { ordered-by user; type string; }
    list s { key "k"; leaf k { type string; } leaf v { type string; } } } })y";

std::string libyangs_difference(const lyd_node* before, const lyd_node* after) {
  lyd_node* made = nullptr;
  EXPECT_EQ(lyd_diff_siblings(before, after, 0, &made), LY_SUCCESS);
  const TreePtr difference(made);
  return print(difference.get());
}

void expect_applied(const std::string& difference, const lyd_node* before, const lyd_node* after) {
  ImagePtr image = image_of_tree(before);
  const text::Done done = apply_change(difference, image);
  ASSERT_TRUE(done.ok()) << done.failure().rule << "\n" << difference;
  const ImagePtr wanted = image_of_tree(after);
  EXPECT_EQ(first_difference(*image, *wanted, Compared::kConfigured), std::nullopt)
      << "before:\n"
      << print(before) << "difference:\n"
      << difference << "\nafter:\n"
      << print(after);
}

void expect_both_applied(const lyd_node* before, const lyd_node* after) {
  std::string ours;
  ASSERT_TRUE(change_xml(*image_of_tree(before), *image_of_tree(after), ours));
  expect_applied(ours, before, after);
  expect_applied(libyangs_difference(before, after), before, after);
}

class ChangeReading : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(nexa_test::load_module("m", kModule), "");
    number_schema();
  }

  static void expect_read(const std::string& before, const std::string& after) {
    expect_both_applied(parse(c(before)).get(), parse(c(after)).get());
  }
  static std::string c(const std::string& inner) {
    return inner.empty() ? "" : "<c xmlns=\"urn:m\">" + inner + "</c>";
  }
  static std::string u(const std::string& key, const std::string& value = "") {
    return "<u><k>" + key + "</k><j>a</j>" + (value.empty() ? "" : "<v>" + value + "</v>") + "</u>";
  }
  // False when the difference cannot be said.
  static bool say(const std::string& before, const std::string& after, std::string& difference) {
    return change_xml(*image_of_tree(parse(c(before)).get()), *image_of_tree(parse(c(after)).get()),
                      difference);
  }
  static std::string refusal(const std::string& before, const std::string& difference) {
    ImagePtr image = image_of_tree(parse(c(before)).get());
    const text::Done done = apply_change(difference, image);
    return done.ok() ? "" : done.failure().rule;
  }
};

TEST_F(ChangeReading, CreationsDeletionsAndValues) {
  expect_read("<a>7</a><s><k>1</k></s>", "<a>8</a><s><k>2</k></s>");
  expect_read("", "<a>1</a><s><k>1</k><v>x</v></s>");
  expect_read("<a>1</a><s><k>1</k><v>x</v></s>", "");
  expect_read("<s><k>1</k><v>x</v></s><s><k>2</k></s>", "<s><k>1</k></s><s><k>2</k><v>y</v></s>");
}

TEST_F(ChangeReading, Anydata) {
  const std::string one = "<any><x xmlns=\"urn:x\">1</x></any>";
  const std::string other = "<any><x xmlns=\"urn:x\">2</x></any>";
  expect_read("<a>7</a>", "<a>7</a>" + one);
  expect_read("", one);
  expect_read(one + "<a>7</a>", "<a>7</a>" + other);
  expect_read(one, "");
}

TEST_F(ChangeReading, EntriesThatTheUserOrders) {
  expect_read(u("1") + u("2") + u("3"), u("3") + u("1") + u("2"));
  expect_read(u("1") + u("2") + u("3"), u("1") + u("4", "x") + u("2") + u("3"));
  expect_read(u("1", "x") + u("2") + u("3"), u("2") + u("1", "y") + u("5") + u("3"));
  expect_read(u("1"), u("0") + u("1") + u("2"));
  expect_read(u("1", "x") + u("2", "y") + u("3", "z"), u("3", "z") + u("2", "y") + u("1", "x"));
  expect_read(u("1", "x") + u("2", "y"), u("2", "y") + u("3", "z") + u("1", "x"));
  expect_read(u("it's") + u("2"), u("2") + u("it's") + u("3"));
  expect_read(u("a]b") + u("c='d'"), u("c='d'") + u("a]b"));
}

// No literal of XPath holds both quotes.
TEST_F(ChangeReading, ThePlaceBehindAnEntryThatCannotBeNamedCannotBeSaid) {
  std::string difference;
  const auto is_said = [&difference](const std::string& before, const std::string& after) {
    return say(before, after, difference);
  };
  const std::string quotes = u("it's \"");
  EXPECT_FALSE(is_said(quotes, quotes + u("2")));
  EXPECT_TRUE(is_said(u("it's"), u("it's") + u("2")));
  EXPECT_TRUE(is_said(u("1"), u("2") + quotes));
  EXPECT_TRUE(is_said(u("1"), u("1") + u("2")));
  EXPECT_NE(difference.find("yang:key=\"[k='1'][j='a']\""), std::string::npos) << difference;
  const std::string value = u("1", "it's \"");
  EXPECT_TRUE(is_said(value, value + u("2")));
  EXPECT_NE(difference.find("yang:key=\"[k='1'][j='a']\""), std::string::npos) << difference;
}

// An operation stands where it differs from the one around it.
TEST_F(ChangeReading, TheTextOfADifference) {
  const auto said = [](const std::string& before, const std::string& after) {
    std::string text;
    EXPECT_TRUE(say(before, after, text));
    return text;
  };
  const std::string begin =
      "<c xmlns=\"urn:m\" xmlns:yang=\"urn:ietf:params:xml:ns:yang:1\" yang:operation=";
  const std::string none = begin + "\"none\">";
  EXPECT_EQ(said("<a>7</a>", "<a>8</a>"),
            none +
                "<a yang:operation=\"replace\" yang:orig-default=\"false\" "
                "yang:orig-value=\"7\">8</a></c>");
  EXPECT_EQ(said("<w>a</w><w>b</w>", "<w>b</w><w>a</w>"),
            none +
                "<w yang:operation=\"replace\" yang:value=\"\">b</w>"
                "<w yang:operation=\"replace\" yang:value=\"b\">a</w></c>");
  const std::string replace =
      "<v yang:operation=\"replace\" yang:orig-default=\"false\" yang:orig-value=";
  EXPECT_EQ(
      said("<s><k>1</k><v>x</v></s><a>1</a>", "<s><k>1</k><v>&lt;</v></s>"),
      none + "<a yang:operation=\"delete\">1</a><s><k>1</k>" + replace + "\"x\">&lt;</v></s></c>");
  EXPECT_EQ(said("<s><k>1</k><v>&lt;</v></s>", "<s><k>1</k><v>y</v></s>"),
            none + "<s><k>1</k>" + replace + "\"&lt;\">y</v></s></c>");
  const auto deep = [](const std::string& key, const std::string& value) {
    return "<u><k>" + key + "</k><j>a</j><in><x>" + value + "</x></in></u>";
  };
  EXPECT_EQ(
      said(deep("1", "x") + deep("2", "y"), deep("2", "z") + deep("1", "x")),
      none +
          "<u yang:operation=\"replace\" yang:key=\"\"><k>2</k><j>a</j>"
          "<in yang:operation=\"none\"><x yang:operation=\"replace\" "
          "yang:orig-default=\"false\" yang:orig-value=\"y\">z</x></in></u>"
          "<u yang:operation=\"replace\" yang:key=\"[k='2'][j='a']\"><k>1</k><j>a</j></u></c>");
  EXPECT_EQ(said(deep("1", "x"), deep("1", "y")),
            none +
                "<u><k>1</k><j>a</j><in><x yang:operation=\"replace\" "
                "yang:orig-default=\"false\" yang:orig-value=\"x\">y</x></in></u></c>");
  EXPECT_EQ(said("", "<a>1</a>"), begin + "\"create\"><a>1</a></c>");
  EXPECT_EQ(said("<a>1</a>", ""), begin + "\"delete\"><a>1</a></c>");
  EXPECT_EQ(said("<a>1</a>", "<a>1</a>"), "");
}

TEST_F(ChangeReading, ADocumentIsWhatStandsInItsElement) {
  const auto is_none = [](std::string_view inner) { return inner.data() == nullptr; };
  for (const char* const document :
       {"<config><a/></config>", " \n<config><a/></config>\t\r\n",
        "<?xml version=\"1.0\"?><config><a/></config>", "\n<?xml?> \n<config><a/></config> "}) {
    EXPECT_EQ(inner_xml(document), "<a/>") << document;
  }
  EXPECT_EQ(inner_xml("<config></config>"), "");
  EXPECT_FALSE(is_none(inner_xml("<config></config>")));
  EXPECT_FALSE(is_none(inner_xml(" <config/> ")));
  EXPECT_EQ(inner_xml(" <config/> "), "");
  for (const char* const document : {"", " ", "config", "<config", "<config>", "<?xml <config/>",
                                     "<config/>x", "x<config/>", "<?xml?>", "</config"}) {
    EXPECT_TRUE(is_none(inner_xml(document))) << document;
  }
}

TEST_F(ChangeReading, ValuesThatTheUserOrders) {
  expect_read("<w>a</w><w>b</w><w>c</w>", "<w>c</w><w>x</w><w>a</w>");
  expect_read("<w>a</w><w>b</w>", "<w>b</w><w>a</w>");
}

TEST_F(ChangeReading, WhatDoesNotFitIsRefused) {
  const std::string misfit = "the change does not fit the configuration before it";
  const std::string in_c =
      "<c xmlns=\"urn:m\" xmlns:yang=\"urn:ietf:params:xml:ns:yang:1\" "
      "yang:operation=\"none\">";
  const auto entry = [&](const std::string& attributes, const std::string& key) {
    return in_c + "<u " + attributes + "><k>" + key + "</k><j>a</j></u></c>";
  };
  const std::string two = u("1") + u("2");
  EXPECT_EQ(refusal("", in_c + "<a yang:operation=\"delete\">1</a></c>"), misfit);
  EXPECT_EQ(refusal("<a>1</a>", in_c + "<s yang:operation=\"delete\"><k>1</k></s></c>"), misfit);
  EXPECT_EQ(refusal("<s><k>2</k></s>", in_c + "<s yang:operation=\"delete\"><k>1</k></s></c>"),
            misfit);
  EXPECT_EQ(refusal("<a>1</a>", in_c + "<s yang:operation=\"none\"><k>1</k></s></c>"), misfit);
  // A new entry whose place is not told is the last.
  EXPECT_EQ(refusal(two, entry("yang:operation=\"create\"", "3")), "");
  // Moves: of what is not there, behind what is not there, behind what is no key.
  const std::string replace = "yang:operation=\"replace\" yang:orig-key=\"\" yang:key=";
  EXPECT_EQ(refusal("<a>1</a>", entry(replace + "\"\"", "1")), misfit);
  EXPECT_EQ(refusal(two, entry(replace + "\"\"", "3")), misfit);
  EXPECT_EQ(refusal(two, entry(replace + "\"[k='9'][j='a']\"", "1")), misfit);
  EXPECT_EQ(refusal(two, entry(replace + "\"[k='2']\"", "1")), misfit);
  for (const std::string key : {"k='2'", "[k='2", "[k=", "[k"}) {
    EXPECT_EQ(refusal(two, entry(replace + "\"" + key + "\"", "1")),
              "Invalid union value \"" + key + "\" - no matching subtype found.");
  }
}

TEST(ChangeReadingAtRandom, EveryChangeIsApplied) {
  each_random_change(kModules, kChanges,
                     [](RandomSource&, const lyd_node* before, const TreePtr& after) {
                       expect_both_applied(before, after.get());
                     });
}

}  // namespace change_reading_test
}  // namespace nexa::store

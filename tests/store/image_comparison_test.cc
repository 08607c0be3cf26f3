// Two images that were made apart from each other: where they differ.
#include "store/image/image_comparison.h"

#include <gtest/gtest.h>

#include "real/temp_folder.h"
#include "store/image/image_import.h"
#include "store_module.h"

namespace nexa::store {
namespace {

class ImageComparison : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_EQ(nexa_test::load_module("s", nexa_test::kStoreModule), "");
    number_schema();
  }

  static ImagePtr image(const std::string& inner, bool with_defaults = false) {
    const std::string xml = "<top xmlns=\"urn:s\">" + inner + "</top>";
    lyd_node* tree = nullptr;
    EXPECT_EQ(lyd_parse_data_mem(kestrel::context(), xml.c_str(), LYD_XML,
                                 LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &tree),
              LY_SUCCESS);
    if (with_defaults) lyd_new_implicit_all(&tree, nullptr, LYD_IMPLICIT_NO_STATE, nullptr);
    return image_of_tree(TreePtr(tree).get());
  }

  // Empty when there is no difference. Both ways must agree on that.
  static std::string difference(const std::string& left, const std::string& right,
                                Compared compared = Compared::kAll) {
    const ImagePtr one = image(left);
    const ImagePtr two = image(right);
    const auto found = first_difference(*one, *two, compared);
    EXPECT_EQ(first_difference(*two, *one, compared).has_value(), found.has_value());
    return found.value_or("");
  }
};

TEST_F(ImageComparison, TheSameTextsMakeTheSameImages) {
  const std::string inner =
      "<name>a</name><port><id>1</id><inner><deep>x</deep></inner></port><rule><id>2</id></rule>"
      "<tag>t</tag><on><must-be>y</must-be></on><vendor><v xmlns=\"urn:v\">1</v></vendor>";
  EXPECT_EQ(difference(inner, inner), "");
  EXPECT_EQ(difference(inner, inner, Compared::kConfigured), "");
}

TEST_F(ImageComparison, NamesTheNodeThatOnlyOneHas) {
  EXPECT_EQ(difference("<name>a</name>", ""), "/s:top");
  EXPECT_EQ(difference("<name>a</name><tag>t</tag>", "<tag>t</tag>"), "/s:top/name");
  EXPECT_EQ(difference("<tag>t</tag>", "<name>a</name><tag>t</tag>"), "/s:top/name");
  EXPECT_EQ(difference("<port><id>1</id></port><tag>t</tag>", "<tag>t</tag>"),
            "/s:top/port[id='1']");
  EXPECT_EQ(difference("<port><id>1</id></port>", "<port><id>1</id></port><port><id>2</id></port>"),
            "/s:top/port[id='2']");
  EXPECT_EQ(difference("<tag>b</tag><tag>a</tag>", "<tag>a</tag>"), "/s:top/tag[.='b']");
}

TEST_F(ImageComparison, NamesTheFirstEntryThatTheOtherDoesNotHave) {
  const auto port = [](const std::string& id) { return "<port><id>" + id + "</id></port>"; };
  EXPECT_EQ(difference(port("1") + port("4"), port("1") + port("2") + port("3") + port("4")),
            "/s:top/port[id='2']");
  EXPECT_EQ(difference(port("1"), port("2") + port("1") + port("3")), "/s:top/port[id='2']");
}

TEST_F(ImageComparison, DefaultsOfALeafListAreNodes) {
  const ImagePtr without = image("<name>a</name>");
  const ImagePtr with = image("<name>a</name>", true);
  EXPECT_EQ(first_difference(*without, *with, Compared::kConfigured), std::nullopt);
  EXPECT_NE(first_difference(*without, *with, Compared::kAll), std::nullopt);
  const ImagePtr others = image("<name>a</name><def>1</def>", true);
  EXPECT_EQ(first_difference(*others, *with, Compared::kAll), "/s:top/def[.='1']");
  EXPECT_EQ(first_difference(*others, *with, Compared::kConfigured), "/s:top/def[.='1']");
}

TEST_F(ImageComparison, NamesTheNodeWithAnotherValue) {
  EXPECT_EQ(
      difference("<port><id>1</id><mode>a</mode></port>", "<port><id>1</id><mode>b</mode></port>"),
      "/s:top/port[id='1']/mode");
  EXPECT_EQ(difference("<vendor><v xmlns=\"urn:v\">1</v></vendor>",
                       "<vendor><v xmlns=\"urn:v\">2</v></vendor>"),
            "/s:top/vendor");
}

TEST_F(ImageComparison, NamesTheFirstOfSeveralNodes) {
  EXPECT_EQ(difference("<name>a</name><speed>1</speed>", "<name>b</name><speed>2</speed>"),
            "/s:top/name");
  EXPECT_EQ(
      difference("<port><id>1</id><mode>a</mode></port><port><id>2</id><mode>a</mode></port>",
                 "<port><id>2</id><mode>b</mode></port><port><id>1</id><mode>a</mode></port>"),
      "/s:top/port[id='2']/mode");
  EXPECT_EQ(difference("<order>1</order><order>2</order>", "<order>3</order><order>4</order>"),
            "/s:top/order[.='1']");
  EXPECT_EQ(difference("<limits><low>1</low></limits>", "<limits><high>9</high></limits>"),
            "/s:top/limits/low");
}

// The defaults of a leaf-list beside values that somebody gave.
TEST_F(ImageComparison, DefaultsOfALeafListAreNoValuesOfIts) {
  const ImagePtr given = image("<def>1</def><def>2</def>", true);
  const ImagePtr both = image("<name>a</name>", true);
  const ImagePtr named = image("<name>a</name><def>1</def><def>2</def>", true);
  EXPECT_EQ(first_difference(*both, *named, Compared::kConfigured), "/s:top/def[.='1']");
  EXPECT_EQ(first_difference(*named, *both, Compared::kConfigured), "/s:top/def[.='1']");
  EXPECT_EQ(first_difference(*both, *named, Compared::kAll), "/s:top/def[.='1']");
  EXPECT_EQ(first_difference(*given, *given, Compared::kAll), std::nullopt);
}

TEST_F(ImageComparison, OrderCountsWhereTheUserDecidesIt) {
  EXPECT_EQ(difference("<order>1</order><order>2</order><order>3</order>",
                       "<order>1</order><order>3</order><order>2</order>"),
            "/s:top/order[.='2']");
  EXPECT_EQ(difference("<port><id>1</id></port><port><id>2</id></port>",
                       "<port><id>2</id></port><port><id>1</id></port>"),
            "");
  EXPECT_EQ(difference("<rule><id>1</id></rule><rule><id>2</id></rule>",
                       "<rule><id>2</id></rule><rule><id>1</id></rule>"),
            "/s:top/rule[id='1']");
  EXPECT_EQ(difference("<order>1</order><order>2</order>", "<order>2</order><order>1</order>"),
            "/s:top/order[.='1']");
}

TEST_F(ImageComparison, DefaultsCountWhereTheyAreAsked) {
  const ImagePtr with = image("<name>a</name>", true);
  const ImagePtr without = image("<name>a</name>");
  EXPECT_EQ(first_difference(*with, *without, Compared::kConfigured), std::nullopt);
  EXPECT_EQ(first_difference(*without, *with, Compared::kConfigured), std::nullopt);
  EXPECT_EQ(first_difference(*with, *without, Compared::kAll), "/s:top/speed");
  // The same value, set by somebody.
  const ImagePtr set = image("<name>a</name><speed>100</speed>", true);
  EXPECT_EQ(first_difference(*with, *set, Compared::kAll), "/s:top/speed");
  EXPECT_EQ(first_difference(*with, *set, Compared::kConfigured), "/s:top/speed");
}

}  // namespace
}  // namespace nexa::store

// What a hook is shown of a change: the nodes that differ, as they were and as they are.
#include <gmock/gmock.h>

#include "shop_models.h"
#include "store/change.h"

namespace nexa::store {
namespace changed_nodes_test {

using testing::Pair;

class ChangedNodes : public testing::Test {
 protected:
  static void SetUpTestSuite() { nexa_test::load_shop(); }

  // Both sides, without what stands around the changed nodes of the stock.
  static std::pair<std::string, std::string> sides(const std::string& before,
                                                   const std::string& after) {
    const ImagePtr old = stock(before);
    const ImagePtr now = stock(after);
    return {inside(changed_nodes_xml(*old, *now, *old)),
            inside(changed_nodes_xml(*old, *now, *now))};
  }

  static std::string item(const std::string& parts) {
    return "<item><name>a</name>" + parts + "</item>";
  }
  static std::string part(const std::string& id, const std::string& note = "") {
    return "<part><id>" + id + "</id><kind xmlns:s=\"urn:shop\">s:red</kind>" +
           (note.empty() ? "" : "<note>" + note + "</note>") + "</part>";
  }

 private:
  static ImagePtr stock(const std::string& inner) {
    return nexa_test::shop_image(inner.empty() ? ""
                                               : "<stock xmlns=\"urn:shop\">" + inner + "</stock>");
  }
  static std::string inside(const std::string& xml) {
    constexpr std::string_view kFront = "<config><stock xmlns=\"urn:shop\">";
    constexpr std::string_view kBack = "</stock></config>";
    if (xml == "<config/>" || xml == "<config><stock xmlns=\"urn:shop\"/></config>") return "";
    EXPECT_EQ(xml.substr(0, kFront.size()), kFront);
    if (xml.size() < kFront.size() + kBack.size()) return xml;
    return xml.substr(kFront.size(), xml.size() - kFront.size() - kBack.size());
  }
};

TEST_F(ChangedNodes, NothingDiffers) {
  EXPECT_THAT(sides("<owner>x</owner>", "<owner>x</owner>"), Pair("", ""));
}

TEST_F(ChangedNodes, OnlyWhatDiffersIsShown) {
  EXPECT_THAT(sides("<owner>x</owner><open>true</open>", "<owner>y</owner><open>true</open>"),
              Pair("<owner>x</owner>", "<owner>y</owner>"));
  EXPECT_THAT(sides("", "<owner>y</owner>"), Pair("", "<owner>y</owner>"));
  EXPECT_THAT(sides(item("<price>1.5</price><tag>t</tag>") + "<owner>x</owner>",
                    item("<price>2.5</price><tag>t</tag>") + "<owner>x</owner>"),
              Pair(item("<price>1.5</price>"), item("<price>2.5</price>")));
}

TEST_F(ChangedNodes, AnEntryThatCameOrWentStandsOnOneSide) {
  EXPECT_THAT(sides(item("<tag>t</tag>") + "<owner>x</owner>", "<owner>x</owner>"),
              Pair(item("<tag>t</tag>"), ""));
  EXPECT_THAT(sides(item("<tag>t</tag>"), item("<tag>t</tag><tag>u</tag>")),
              Pair(item(""), item("<tag>u</tag>")));
}

TEST_F(ChangedNodes, AListThatTheUserOrdersIsShownWholeWhereItsOrderChanged) {
  const std::string three = part("1", "n") + part("2") + part("3");
  EXPECT_THAT(
      sides(item(three), item(part("3") + part("1", "n") + part("2"))),
      Pair(item(part("1") + part("2") + part("3")), item(part("3") + part("1") + part("2"))));
  EXPECT_THAT(sides(item(three), item(three + part("4", "new"))),
              Pair(item(part("1") + part("2") + part("3")),
                   item(part("1") + part("2") + part("3") + part("4", "new"))));
  EXPECT_THAT(sides(item(three), item(part("1", "n") + part("3"))),
              Pair(item(part("1") + part("2") + part("3")), item(part("1") + part("3"))));
  EXPECT_THAT(sides(item(""), item(part("1", "n"))), Pair(item(""), item(part("1", "n"))));
}

TEST_F(ChangedNodes, AnEntryThatStaysWhereItIsIsShownAlone) {
  EXPECT_THAT(sides(item(part("1") + part("2", "n")), item(part("1") + part("2", "m"))),
              Pair(item(part("2", "n")), item(part("2", "m"))));
}

}  // namespace changed_nodes_test
}  // namespace nexa::store

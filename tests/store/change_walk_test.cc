// Which paths tell what went, where operational data stand beside the configuration.
#include "store/reading/change_walk.h"

#include <gmock/gmock.h>

#include "shop_models.h"
#include "translate/path_string.h"

namespace change_walk_test {

using namespace nexa_test;
using nexa::store::ChangeForm;
using nexa::store::ChangeSink;
using nexa::store::DataPart;
using nexa::store::ImagePtr;
using testing::UnorderedElementsAre;

class ChangeWalk : public testing::Test {
 protected:
  static void SetUpTestSuite() { load_shop(); }

  static std::string stock(const std::string& inner) {
    return "<stock xmlns=\"urn:shop\">" + inner + "</stock>";
  }

  // The paths that went, and "PATH came" for those that are told a value.
  static std::vector<std::string> changes(const std::string& before, const std::string& after,
                                          const std::string& state) {
    return changes(before, after, shop_image(state));
  }

  // `beside`: null where nobody tells operational data.
  static std::vector<std::string> changes(const std::string& before, const std::string& after,
                                          const ImagePtr& beside) {
    const ImagePtr old = shop_image(before);
    const ImagePtr now = shop_image(after);
    const ChangeForm form{{DataPart::kConfig, gnmi::JSON_IETF, false},
                          [&beside] { return beside.get(); }};
    std::vector<std::string> told;
    ChangeSink sink;
    sink.update = [&told](gnmi::Path& path, gnmi::TypedValue&) {
      told.push_back(nexa::translate::format_path_string(path) + " came");
    };
    sink.gone = [&told](gnmi::Path& path) {
      told.push_back(nexa::translate::format_path_string(path));
    };
    for_each_change_of_tree(old.get(), now.get(), form, sink);
    return told;
  }
};

constexpr char kItems[] =
    "<item><name>a</name><price>1.5</price></item>"
    "<item><name>b</name><price>2.5</price><size><width>1</width></size></item>";

TEST_F(ChangeWalk, ABranchThatWentIsOnePath) {
  EXPECT_THAT(changes(stock(kItems), "", ""), UnorderedElementsAre("/stock"));
  EXPECT_THAT(
      changes(stock(std::string(kItems) + "<owner>x</owner>"), stock("<owner>x</owner>"), ""),
      UnorderedElementsAre("/stock/item[name=a]", "/stock/item[name=b]"));
}

TEST_F(ChangeWalk, ABranchThatLivesOnInTheStateLosesItsLeaves) {
  const std::string state = stock("<item><name>a</name><sold>3</sold></item>");
  EXPECT_THAT(changes(stock(kItems), "", state),
              UnorderedElementsAre("/stock/item[name=a]/name", "/stock/item[name=a]/price",
                                   "/stock/item[name=b]"));
  const std::string both =
      "<item><name>a</name><sold>3</sold></item><item><name>b</name><sold>4</sold></item>";
  EXPECT_THAT(changes(stock(kItems), "", stock(both)),
              UnorderedElementsAre("/stock/item[name=a]/name", "/stock/item[name=a]/price",
                                   "/stock/item[name=b]/name", "/stock/item[name=b]/price",
                                   "/stock/item[name=b]/size"));
}

TEST_F(ChangeWalk, AnEntryThatTheStateDoesNotHaveIsOnePath) {
  const std::string other = "<shelf xmlns=\"urn:shop\"><row>1</row><load>1</load></shelf>";
  EXPECT_THAT(changes(stock(kItems), "", other), UnorderedElementsAre("/stock"));
  EXPECT_THAT(changes(stock(kItems), "", stock("<code>k</code>")),
              UnorderedElementsAre("/stock/item[name=a]", "/stock/item[name=b]"));
}

// The key is told with the configuration, where it still stands.
TEST_F(ChangeWalk, AnEntryWhoseStateWentKeepsItsKey) {
  const ImagePtr config = shop_image(stock(kItems));
  const ImagePtr before =
      shop_image(stock("<item><name>a</name><sold>3</sold></item><code>k</code>"));
  const ImagePtr after = shop_image("");
  const ChangeForm form{{DataPart::kState, gnmi::JSON_IETF, false},
                        [&config] { return config.get(); }};
  std::vector<std::string> told;
  ChangeSink sink;
  sink.update = [](gnmi::Path& path, gnmi::TypedValue&) { FAIL() << path.DebugString(); };
  sink.gone = [&told](gnmi::Path& path) {
    told.push_back(nexa::translate::format_path_string(path));
  };
  for_each_change_of_tree(before.get(), after.get(), form, sink);
  EXPECT_THAT(told, UnorderedElementsAre("/stock/item[name=a]/sold", "/stock/code"));
}

TEST_F(ChangeWalk, AKeyThatIsAskedForGoesWithTheConfigurationAlone) {
  const ImagePtr before = shop_image(stock("<item><name>a</name><sold>3</sold></item>"));
  const nexa::store::ImageNode& items = *before->children()[0]->inner().children()[0];
  const nexa::store::ImageNode& key =
      *items.group().in_order().front()->node->inner().children()[0];
  ASSERT_STREQ(key.schema()->name, "name");
  for (const DataPart part : {DataPart::kConfig, DataPart::kState}) {
    std::size_t gone = 0;
    std::size_t came = 0;
    ChangeSink sink;
    sink.gone = [&gone](gnmi::Path&) { ++gone; };
    sink.update = [&came](gnmi::Path&, gnmi::TypedValue&) { ++came; };
    gnmi::Path path;
    nexa::store::ImageChain way;
    for_each_change({&key, nullptr}, path, way, {{part, gnmi::JSON_IETF, false}, nullptr}, sink);
    for_each_change({nullptr, &key}, path, way, {{part, gnmi::JSON_IETF, false}, nullptr}, sink);
    EXPECT_EQ(gone, part == DataPart::kConfig ? 1U : 0U);
    EXPECT_EQ(came, part == DataPart::kConfig ? 1U : 0U);
  }
}

TEST_F(ChangeWalk, ABranchIsOnePathWhereThereIsNoState) {
  EXPECT_THAT(changes(stock(kItems), "", ImagePtr()), UnorderedElementsAre("/stock"));
}

TEST_F(ChangeWalk, WhatChangedAndWhatCameIsTold) {
  EXPECT_THAT(changes(stock(kItems),
                      stock("<item><name>a</name><price>3.5</price></item>"
                            "<item><name>c</name></item>"),
                      ""),
              UnorderedElementsAre("/stock/item[name=a]/price came", "/stock/item[name=b]",
                                   "/stock/item[name=c]/name came"));
}

// Levels below the root are told; with two of them, what stands in a top-level container.
class ChangeWalkOfLevels : public ChangeWalk {
 protected:
  static std::vector<std::string> told(ChangeForm form, const ImagePtr& before,
                                       const ImagePtr& after) {
    std::vector<std::string> lines;
    ChangeSink sink;
    sink.update = [&lines](gnmi::Path& path, gnmi::TypedValue& value) {
      lines.push_back(nexa::translate::format_path_string(path) + "=" + value.json_ietf_val());
    };
    sink.gone = [&lines](gnmi::Path& path) {
      lines.push_back(nexa::translate::format_path_string(path));
    };
    for_each_change_of_tree(before.get(), after.get(), form, sink);
    return lines;
  }
  static std::vector<std::string> told(std::uint32_t depth, const std::string& before,
                                       const std::string& after) {
    ChangeForm form{{DataPart::kConfig, gnmi::JSON_IETF, false}, nullptr};
    form.value.depth = depth;
    return told(form, shop_image(before), shop_image(after));
  }
  // Of operational data.
  static std::vector<std::string> told_of_state(const std::string& before,
                                                const std::string& after) {
    return told({{DataPart::kState, gnmi::JSON_IETF, false}, nullptr}, shop_image(before),
                shop_image(after));
  }
};

constexpr char kDeep[] =
    "<owner>x</owner><card><number>1</number></card>"
    "<item><name>a</name><size><width>1</width></size></item>";

TEST_F(ChangeWalkOfLevels, WhatCameIsToldAsDeepAsIsAsked) {
  EXPECT_THAT(
      told(0, "", stock(kDeep)),
      UnorderedElementsAre("/stock/owner=\"x\"", "/stock/card/number=\"1\"",
                           "/stock/item[name=a]/name=\"a\"", "/stock/item[name=a]/size/width=1"));
  EXPECT_THAT(told(1, "", stock(kDeep)), UnorderedElementsAre());
  EXPECT_THAT(told(2, "", stock(kDeep)), UnorderedElementsAre("/stock/owner=\"x\""));
  EXPECT_THAT(told(3, "", stock(kDeep)),
              UnorderedElementsAre("/stock/owner=\"x\"", "/stock/card/number=\"1\"",
                                   "/stock/item[name=a]/name=\"a\""));
}

TEST_F(ChangeWalkOfLevels, OnlyWhatWasToldIsGone) {
  EXPECT_THAT(told(0, stock(kDeep), ""), UnorderedElementsAre("/stock"));
  EXPECT_THAT(told(1, stock(kDeep), ""), UnorderedElementsAre());
  EXPECT_THAT(told(2, stock(kDeep), ""), UnorderedElementsAre("/stock"));
  const std::string card = "<card><number>1</number></card>";
  EXPECT_THAT(told(2, stock(card), ""), UnorderedElementsAre());
  EXPECT_THAT(told(3, stock(card), ""), UnorderedElementsAre("/stock"));
  EXPECT_THAT(told(2, stock(kDeep), stock("<owner>x</owner>")), UnorderedElementsAre());
  EXPECT_THAT(told(3, stock(kDeep), stock("<owner>x</owner>")),
              UnorderedElementsAre("/stock/card", "/stock/item[name=a]"));
  EXPECT_THAT(told(2, stock("<owner>x</owner>"), stock("<owner>y</owner>")),
              UnorderedElementsAre("/stock/owner=\"y\""));
}

TEST_F(ChangeWalkOfLevels, OrderIsPartOfTheValueOfALeafList) {
  EXPECT_THAT(told(0, stock("<door>1</door><door>2</door>"), stock("<door>2</door><door>1</door>")),
              UnorderedElementsAre("/stock/door=[2,1]"));
  EXPECT_THAT(told(0, stock("<door>1</door><door>2</door>"), stock("<door>1</door>")),
              UnorderedElementsAre("/stock/door=[1]"));
  EXPECT_THAT(told(0, stock("<door>1</door>"), ""), UnorderedElementsAre("/stock"));
  EXPECT_THAT(told(0, stock("<door>1</door><owner>x</owner>"), stock("<owner>x</owner>")),
              UnorderedElementsAre("/stock/door"));
}

TEST_F(ChangeWalkOfLevels, AnydataChangeByTheirContent) {
  const auto values = [](const std::string& number) {
    return "<values xmlns=\"urn:shop\"><any><x xmlns=\"urn:none\">" + number +
           "</x></any></values>";
  };
  EXPECT_THAT(told(0, values("1"), values("2")), UnorderedElementsAre("/values/any={\"x\":\"2\"}"));
  EXPECT_THAT(told(0, values("1"), values("1")), UnorderedElementsAre());
}

// Entries that nothing tells apart: those that are there are told again, all of them.
TEST_F(ChangeWalkOfLevels, EntriesWithoutKeysAreToldAgain) {
  const std::string in = "<event><what>in</what></event>";
  const std::string out = "<event><what>out</what></event>";
  EXPECT_THAT(told_of_state(stock(in), stock(in + out)),
              UnorderedElementsAre("/stock/event/what=\"in\"", "/stock/event/what=\"out\""));
  EXPECT_THAT(told_of_state(stock(in + "<code>a</code>"), stock("<code>a</code>")),
              UnorderedElementsAre("/stock/event"));
  EXPECT_THAT(told_of_state(stock("<code>a</code>"), stock("<code>a</code><code>a</code>")),
              UnorderedElementsAre("/stock/code=[\"a\",\"a\"]"));
}

}  // namespace change_walk_test

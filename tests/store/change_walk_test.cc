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
}

TEST_F(ChangeWalk, AnEntryThatTheStateDoesNotHaveIsOnePath) {
  const std::string other = "<shelf xmlns=\"urn:shop\"><row>1</row><load>1</load></shelf>";
  EXPECT_THAT(changes(stock(kItems), "", other), UnorderedElementsAre("/stock"));
  EXPECT_THAT(changes(stock(kItems), "", stock("<code>k</code>")),
              UnorderedElementsAre("/stock/item[name=a]", "/stock/item[name=b]"));
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

}  // namespace change_walk_test

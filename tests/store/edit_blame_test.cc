// Which edit of several a refusal is put down to: the last one that touched the named node, or the
// only one that touched something below it.
#include "store/edit_blame.h"

#include "store/edits.h"
#include "store_fixture.h"

namespace nexa::store {
namespace edit_blame_test {

using nexa_test::drop;
using nexa_test::put;
using nexa_test::update;

constexpr char kModule[] = R"yang(module s {
  yang-version 1.1;
  namespace "urn:s";
  prefix s;
  container top {
    leaf name { type string; }
    leaf tag { type string; }
    leaf tagged { type string; }
    container tags { leaf one { type string; } leaf two { type string; } }
    list port { key "id"; leaf id { type string; } leaf mode { type string; }
      container inner { leaf deep { type string; } } }
  }
})yang";

class EditToBlame : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_EQ(nexa_test::load_module("s", kModule), "");
    number_schema();
  }

  // The configuration that the edits are made to.
  void given(const std::string& inner) {
    EditApplier applier(empty_image());
    ASSERT_TRUE(applier.apply(update(inner)).ok());
    before_ = applier.result();
  }
  int blamed(const std::vector<Edit>& edits, std::string_view path) const {
    return edit_to_blame(before_, edits, path);
  }

  ImagePtr before_ = empty_image();
};

TEST_F(EditToBlame, TheLastThatTouchedTheNode) {
  EXPECT_EQ(blamed({update("<tag>a</tag>"), update("<tagged>a</tagged>")}, "/s:top/tag"), 0);
  EXPECT_EQ(blamed({update("<tagged>a</tagged>"), update("<tag>a</tag>")}, "/s:top/tag"), 1);
  EXPECT_EQ(blamed({update("<tag>a</tag>"), update("<tag>b</tag>"), update("<tagged>a</tagged>")},
                   "/s:top/tag"),
            1);
}

TEST_F(EditToBlame, NobodyWhenNothingTouchedIt) {
  given("<name>n</name>");
  EXPECT_EQ(blamed({update("<tag>a</tag>"), update("<tagged>a</tagged>")}, "/s:top/port[id='1']"),
            -1);
  EXPECT_EQ(blamed({update("<tag>a</tag>")}, ""), -1);
  EXPECT_EQ(blamed({}, "/s:top/tag"), -1);
  given("<tag>a</tag>");
  EXPECT_EQ(blamed({update("<tag>a</tag>"), update("<tagged>a</tagged>")}, "/s:top/tag"), -1);
}

// A name that begins with another is no node below it.
TEST_F(EditToBlame, NamesThatBeginAlikeAreOthers) {
  given("<tags><one>1</one></tags>");
  EXPECT_EQ(blamed({update("<tag>a</tag>"), update("<tagged>a</tagged>")}, "/s:top/tags"), -1);
  EXPECT_EQ(blamed({update("<tagged>a</tagged>"), update("<tag>a</tag>")}, "/s:top/tagged"), 0);
  EXPECT_EQ(blamed({drop("/s:top/tags"), update("<tag>a</tag>")}, "/s:top/tag"), 1);
}

TEST_F(EditToBlame, WhatGoesWithANodeAboveIsTouched) {
  given("<port><id>1</id><inner><deep>x</deep></inner></port><port><id>2</id></port>");
  const char* const deep = "/s:top/port[id='1']/inner/deep";
  EXPECT_EQ(
      blamed({drop("/s:top/port[id=2]"), drop("/s:top/port[id=1]"), update("<tag>a</tag>")}, deep),
      1);
  EXPECT_EQ(blamed({drop("/s:top/port[id=1]/inner/deep"), drop("/s:top/port[id=2]")}, deep), 0);
  EXPECT_EQ(blamed({drop("/s:top/port[id=2]"), drop("/s:top/port[id=1]")}, "/s:top/port[id='2']"),
            0);
}

// A rule over a container that stands: what is below it was touched by one edit, or by several, of
// which no one more than another.
TEST_F(EditToBlame, TheOnlyOneThatTouchedSomethingBelow) {
  given("<tags><one>1</one></tags>");
  EXPECT_EQ(blamed({update("<tag>a</tag>"), update("<tags><two>2</two></tags>")}, "/s:top/tags"),
            1);
  EXPECT_EQ(blamed({update("<tags><two>2</two></tags>"), update("<tag>a</tag>")}, "/s:top/tags"),
            0);
  EXPECT_EQ(blamed({update("<tags><two>2</two></tags>"), update("<tags><one>3</one></tags>")},
                   "/s:top/tags"),
            -1);
  EXPECT_EQ(
      blamed({update("<tags><two>2</two></tags>"), drop("/s:top/tags"), update("<tag>a</tag>")},
             "/s:top/tags"),
      1);
}

TEST_F(EditToBlame, OnlyEditsBeforeTheOneThatCannotBeMade) {
  EXPECT_EQ(blamed({update("<tag>a</tag>"), update("<none>1</none>"), update("<tag>b</tag>")},
                   "/s:top/tag"),
            0);
}

}  // namespace edit_blame_test
}  // namespace nexa::store

// Updates, replaces and deletes, through commits of a store.
#include "store_fixture.h"

namespace {

using namespace nexa_test;
using EditsApply = StoreTest;

TEST_F(EditsApply, UpdateMergesAndDeletesNothing) {
  ASSERT_NE(store_, nullptr) << error_;
  EXPECT_EQ(commit_text({update("<name>n</name><port><id>1</id></port>")}), "");
  EXPECT_EQ(commit_text({update("<speed>5</speed><port><id>1</id><mode>b</mode></port>")}), "");
  EXPECT_EQ(xml(),
            config_xml("<name>n</name><speed>5</speed><port><id>1</id><mode>b</mode></port>"));
}

TEST_F(EditsApply, DefaultsInUseAreRead) {
  EXPECT_EQ(commit_text({update("<name>n</name>")}), "");
  EXPECT_EQ(xml(), config_xml("<name>n</name>"));
  EXPECT_EQ(read_text(*store_, "/s:top/speed"), "/s:top/speed=100\n");
}

TEST_F(EditsApply, AnotherCaseGivesWay) {
  EXPECT_EQ(commit_text({update("<colour>blue</colour>")}), "");
  EXPECT_EQ(commit_text({update("<shine>1</shine>")}), "");
  EXPECT_EQ(xml(), config_xml("<shine>1</shine>"));
  EXPECT_EQ(read_text(*store_, "/top/colour"), "");
  EXPECT_EQ(commit_text({update("<box><lid>x</lid></box>")}), "");
  EXPECT_EQ(xml(), config_xml("<shine>1</shine><box><lid>x</lid></box>"));
  EXPECT_EQ(commit_text({drop("/top/shine"), drop("/top/box")}), "");
  EXPECT_EQ(read_text(*store_, "/top/colour"), "/top/colour=\"red\"\n");
}

TEST_F(EditsApply, ADocumentThatContradictsItselfIsRefused) {
  EXPECT_EQ(commit_text({update("<colour>a</colour><shine>1</shine>")}),
            "/s:top/shine: data of both cases \"plain\" and \"fancy\"");
  EXPECT_EQ(commit_text({update("<port><id>1</id></port><port><id>1</id></port>")}),
            "/s:top/port[id='1']: duplicate \"port\"");
  EXPECT_EQ(commit_text({update("<name>a</name><name>b</name>")}),
            "/s:top/name: duplicate \"name\"");
  EXPECT_EQ(xml(), "<config/>");
}

TEST_F(EditsApply, ReplacePrunesAndRestoresDefaults) {
  EXPECT_EQ(
      commit_text({update("<name>n</name><speed>5</speed><tag>x</tag><port><id>1</id></port>")}),
      "");
  EXPECT_EQ(commit_text({put("/s:top", "<tag>y</tag>")}), "");
  EXPECT_EQ(xml(), config_xml("<tag>y</tag>"));
  EXPECT_EQ(read_text(*store_, "/top/speed"), "/top/speed=100\n");
}

TEST_F(EditsApply, ReplaceOfAnEntryKeepsItsPlace) {
  EXPECT_EQ(commit_text({update("<rule><id>1</id></rule><rule><id>2</id><text>t</text></rule>"
                                "<rule><id>3</id></rule>")}),
            "");
  EXPECT_EQ(commit_text({put("/top/rule[id=2]", "<rule><id>2</id></rule>")}), "");
  EXPECT_EQ(xml(),
            config_xml("<rule><id>1</id></rule><rule><id>2</id></rule><rule><id>3</id></rule>"));
}

TEST_F(EditsApply, ReplaceOfAListReplacesAllEntriesAndTheirOrder) {
  EXPECT_EQ(commit_text({update("<name>n</name><rule><id>1</id></rule><rule><id>2</id></rule>"
                                "<order>1</order><order>2</order><order>3</order>")}),
            "");
  EXPECT_EQ(commit_text({put("/top/rule", "<rule><id>3</id></rule><rule><id>1</id></rule>"),
                         put("/top/order", "<order>3</order><order>1</order>")}),
            "");
  EXPECT_EQ(xml(), config_xml("<name>n</name><rule><id>3</id></rule><rule><id>1</id></rule>"
                              "<order>3</order><order>1</order>"));
}

TEST_F(EditsApply, ReplaceOfTheWholeTree) {
  EXPECT_EQ(commit_text({update("<name>n</name>")}), "");
  EXPECT_EQ(commit_text({put("/", "<speed>1</speed>")}), "");
  EXPECT_EQ(xml(), config_xml("<speed>1</speed>"));
  EXPECT_EQ(commit_text({Edit{Edit::Kind::kReplace, {}, "<config/>"}}), "");
  EXPECT_EQ(xml(), "<config/>");
}

TEST_F(EditsApply, ReplaceWithNothingRemovesContent) {
  EXPECT_EQ(commit_text({update("<limits><low>1</low></limits><order>4</order>")}), "");
  EXPECT_EQ(commit_text({put("/top/limits", "<limits/>"), put("/top/order", "")}), "");
  EXPECT_EQ(xml(), "<config/>");
}

TEST_F(EditsApply, DeletesExpandWildcardsAndPartialKeys) {
  EXPECT_EQ(
      commit_text({update("<port><id>1</id><mode>b</mode></port><port><id>2</id><mode>b</mode>"
                          "</port><tag>a</tag><tag>b</tag>")}),
      "");
  EXPECT_EQ(commit_text({drop("/top/port[id=*]/mode")}), "");
  EXPECT_EQ(xml(),
            config_xml("<port><id>1</id></port><port><id>2</id></port><tag>a</tag><tag>b</tag>"));
  EXPECT_EQ(commit_text({drop("/top/port"), drop("/top/tag")}), "");
  EXPECT_EQ(xml(), "<config/>");
}

TEST_F(EditsApply, AbsentNodesMayBeDeleted) {
  const CommitResult result = commit({drop("/top/port[id=7]"), drop("/top/name")});
  EXPECT_TRUE(result.status.ok());
  EXPECT_EQ(result.number, 0U);
}

TEST_F(EditsApply, DeletesThatCannotBe) {
  EXPECT_EQ(commit_text({update("<port><id>1</id></port>")}), "");
  const CommitResult key = commit({drop("/top/port[id=1]/id")});
  EXPECT_EQ(key.status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
  EXPECT_EQ(key.status.error_message(),
            "/s:top/port/id: a list key cannot be deleted without its entry");
  EXPECT_EQ(key.edit, 0);
  EXPECT_EQ(commit_text({drop("/top/counter")}),
            "/s:top/counter: operational data cannot be deleted");
  EXPECT_EQ(xml(), config_xml("<port><id>1</id></port>"));
}

TEST_F(EditsApply, OperationalDataCannotBeSet) {
  const CommitResult result = commit({update("<name>n</name>"), update("<counter>1</counter>")});
  EXPECT_EQ(result.status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
  EXPECT_EQ(result.edit, 1);
  EXPECT_EQ(result.path, "/s:top/counter");
  EXPECT_EQ(xml(), "<config/>");
}

TEST_F(EditsApply, BadValuesNameThePlace) {
  const CommitResult result = commit({update("<limits><low>x</low></limits>")});
  EXPECT_EQ(result.status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
  EXPECT_EQ(result.path, "/s:top/limits/low");
  EXPECT_EQ(xml(), "<config/>");
}

TEST_F(EditsApply, EmptyContainersAreNoDataButPresenceIs) {
  const CommitResult result = commit({update("<limits/>")});
  EXPECT_TRUE(result.status.ok());
  EXPECT_EQ(result.number, 0U);
  EXPECT_EQ(commit_text({update("<on><must-be>x</must-be></on>")}), "");
  EXPECT_EQ(xml(), config_xml("<on><must-be>x</must-be></on>"));
}

TEST_F(EditsApply, AnExplicitDefaultIsConfiguration) {
  EXPECT_EQ(commit({update("<speed>100</speed>")}).number, 1U);
  EXPECT_EQ(xml(), config_xml("<speed>100</speed>"));
  EXPECT_EQ(commit({drop("/top/speed")}).number, 2U);
  EXPECT_EQ(xml(), "<config/>");
  EXPECT_EQ(commit({drop("/top/speed")}).number, 2U);
}

TEST_F(EditsApply, DefaultsOfALeafListGiveWay) {
  EXPECT_EQ(commit_text({update("<def>2</def>")}), "");
  EXPECT_EQ(read_text(*store_, "/top/def"), "/top/def=[2]\n");
  EXPECT_EQ(commit_text({drop("/top/def")}), "");
  EXPECT_EQ(read_text(*store_, "/top/def"), "/top/def=[1,2]\n");
}

TEST_F(EditsApply, DefaultsOfALeafListGiveWayToEachOtherValue) {
  ASSERT_EQ(commit_text({update("<name>n</name>")}), "");
  EXPECT_EQ(read_text(*store_, "/top/def"), "/top/def=[1,2]\n");
  EXPECT_EQ(commit_text({update("<def>3</def>")}), "");
  EXPECT_EQ(read_text(*store_, "/top/def"), "/top/def=[3]\n");
  EXPECT_EQ(commit_text({update("<def>1</def>")}), "");
  EXPECT_EQ(read_text(*store_, "/top/def"), "/top/def=[3,1]\n");
  EXPECT_EQ(commit_text({drop("/top/def[.=3]"), drop("/top/def[.=1]")}), "");
  EXPECT_EQ(read_text(*store_, "/top/def"), "/top/def=[1,2]\n");
}

TEST_F(EditsApply, AnEmptyContainerOfAFirstDocumentIsNoConfiguration) {
  std::string tags;
  for (int i = 100; i < 200; ++i) tags += "<tag>" + std::to_string(i) + "</tag>";
  EXPECT_EQ(commit({update("<limits/>")}).number, 0U);
  EXPECT_EQ(commit({update("")}).number, 0U);
  EXPECT_EQ(xml(), "<config/>");
  EXPECT_EQ(commit({update("<limits/>" + tags)}).number, 1U);
  EXPECT_EQ(xml(), config_xml(tags));
  open();
  EXPECT_EQ(xml(), config_xml(tags));
  EXPECT_EQ(commit({drop("/top/tag")}).number, 2U);
  EXPECT_EQ(xml(), "<config/>");
  EXPECT_EQ(read_text(*store_, "/top/limits"), "/top/limits={\"s:high\":9}\n");
}

TEST_F(EditsApply, ARefusedTransactionLeavesNothing) {
  EXPECT_EQ(commit_text({update("<name>n</name><rule><id>1</id></rule>")}), "");
  const std::string before = xml();
  const CommitResult result =
      commit({update("<rule><id>2</id></rule><tag>t</tag>"), drop("/top/name"),
              update("<port><id>1</id><peer>9</peer></port>")});
  EXPECT_EQ(result.status.error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(result.edit, 2);
  EXPECT_EQ(result.path, "/s:top/port[id='1']/peer");
  EXPECT_EQ(xml(), before);
  EXPECT_EQ(commit_text({update("<speed>1</speed>")}), "");
  EXPECT_EQ(xml(), config_xml("<name>n</name><speed>1</speed><rule><id>1</id></rule>"));
}

TEST_F(EditsApply, AWhenThatTurnsFalseTakesItsNodeAlong) {
  EXPECT_EQ(commit_text({update("<port><id>1</id><note>x</note></port>")}), "");
  EXPECT_EQ(commit_text({update("<port><id>1</id><mode>b</mode></port>")}), "");
  EXPECT_EQ(xml(), config_xml("<port><id>1</id><mode>b</mode></port>"));
  store_.reset();
  open();
  EXPECT_EQ(xml(), config_xml("<port><id>1</id><mode>b</mode></port>"));
}

TEST_F(EditsApply, AWhenTakesNothingThatTheSameTransactionGives) {
  EXPECT_EQ(commit_text({update("<port><id>1</id><note>x</note></port>")}), "");
  const CommitResult result = commit(
      {update("<name>n</name>"), update("<port><id>1</id><mode>b</mode><note>x</note></port>")});
  EXPECT_EQ(result.status.error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(result.edit, 1);
  EXPECT_EQ(result.path, "/s:top/port[id='1']/note");
  EXPECT_EQ(result.rule, "when \"../mode = 'a'\"");
  EXPECT_EQ(xml(), config_xml("<port><id>1</id><note>x</note></port>"));
}

TEST_F(EditsApply, DefaultsAreInUseWithoutAnyData) {
  EXPECT_EQ(read_text(*store_, "/top/speed"), "/top/speed=100\n");
  EXPECT_EQ(commit_text({update("<name>n</name>")}), "");
  EXPECT_EQ(commit_text({drop("/top/name")}), "");
  EXPECT_EQ(read_text(*store_, "/top/speed"), "/top/speed=100\n");
  EXPECT_EQ(commit_text({drop("/")}), "");
  EXPECT_EQ(read_text(*store_, "/top/speed"), "/top/speed=100\n");
}

}  // namespace

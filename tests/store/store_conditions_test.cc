// Conditions that look far, at each other, or at what comes later.
#include <ostream>

#include "store_findings.h"

namespace nexa_test::findings {
namespace {

using StoreConditions = StoreFindings;

// The refused Set was judged over a tree in which the condition had taken its container out. The
// tree that is made anew has it.
TEST_F(StoreConditions, AConditionIsAskedAfterARefusalThatFollowsAStart) {
  start(R"yang(container top { leaf f { type string; } container n { choice ch { case a {
    container o { when "string-length(../../s:f) < 2"; leaf p { type string; }
                  leaf q { type string; } } } } } })yang");
  ASSERT_EQ(text(top("<n><o><p>1</p></o></n>")), "");
  restart();
  EXPECT_EQ(text(top("<n><o><q>1</q></o></n><f>long</f>")),
            "/s:top/n/o: when \"string-length(../../s:f) < 2\"");
  EXPECT_EQ(text(top("<f>long</f>")), "");
  expect_json(R"({"s:top":{"f":"long"}})");
}

// libyang judges the musts of a module before it looks at the conditions of the next one.
TEST_F(StoreConditions, AMustMayLookAtTheConditionalNodesOfALaterModule) {
  const TempFolder modules;
  modules.write("s.yang", module_of(R"yang(import t { prefix t; }
    container top { leaf f { type string; must "/t:box/t:v or //s:f"; } })yang"));
  modules.write("t.yang", R"yang(module t { namespace "urn:t"; prefix t;
    container box { leaf on { type string; } leaf v { when "../t:on"; type string; } } })yang");
  ASSERT_EQ(load_text(modules), "");
  restart();
  const Edit box = update("<box xmlns=\"urn:t\"><on>1</on><v>1</v></box>");
  CommitRequest request;
  request.edits = {top("<f>1</f>"), box};
  EXPECT_EQ(store_->commit(request).status.error_message(), "");
  expect_json(R"({"s:top":{"f":"1"},"t:box":{"on":"1","v":"1"}})");
}

// Where the order of the schema lets libyang judge the second condition while the first default is
// still there, it goes on with a default that does not stand, and so do its musts.
TEST_F(StoreConditions, AMustDoesNotCountADefaultOfADefaultThatDoesNotStand) {
  start(R"yang(container top { leaf a { type string; }
    leaf guard { type string; must "count(//s:c) = 1"; }
    leaf b { when "../s:a"; type string; default "x"; }
    leaf c { when "../s:b"; type string; default "y"; } })yang");
  EXPECT_EQ(text(top("<guard>1</guard>")), "/s:top/guard: must \"count(//s:c) = 1\"");
  EXPECT_EQ(text(top("<a>1</a><guard>1</guard>")), "");
  expect_json(R"({"s:top":{"a":"1","guard":"1","b":"x","c":"y"}})");
  EXPECT_EQ(commit(drop("/s:top/a")).error_code(), grpc::StatusCode::FAILED_PRECONDITION);
}

TEST_F(StoreConditions, ADefaultOfAnEmptyConfigurationComesBackWhenTheLastNodeGoes) {
  start(
      R"yang(leaf y { type string; } leaf x { when "not(/s:y)"; type string; default "1"; })yang");
  const std::string alone = json();
  ASSERT_EQ(text(update("<y xmlns=\"urn:s\">1</y>")), "");
  expect_json(R"({"s:y":"1"})");
  EXPECT_EQ(text(drop("/s:y")), "");
  expect_json(alone);
}

// Of a leaf that stands a condition may take the old value out, but not the one that is given.
TEST_F(StoreConditions, AValueGivenWhereTheConditionGoesIsRefused) {
  start(R"yang(container top { leaf on { type string; }
    leaf x { when "../s:on"; type string; default "d"; }
    leaf a { type string; } leaf b { type string; } leaf c { type string; } })yang");
  const std::string rest = "<a>1</a><b>1</b><c>1</c>";
  for (const bool is_given : {false, true}) {
    ASSERT_EQ(text(top(is_given ? "<on>1</on><x>old</x>" : "<on>1</on>")), "");
    EXPECT_EQ(commit({drop("/s:top/on"), top("<x>new</x>" + rest)}).error_message(),
              "/s:top/x: when \"../s:on\"");
  }
  EXPECT_EQ(commit({drop("/s:top/on"), top(rest)}).error_message(), "");
  expect_json(R"({"s:top":{"a":"1","b":"1","c":"1"}})");
}

TEST_F(StoreConditions, EntriesGoWithTheirCondition) {
  start(R"yang(container top { leaf on { type string; }
    list l { when "../s:on"; key "k"; leaf k { type string; } leaf v { type string; } }
    leaf-list m { when "../s:on != 'few'"; type string; }
    container box { list n { when "../../s:on"; key "k"; leaf k { type string; } } }
    leaf-list a { type uint8; } })yang");
  const std::string rest = "<a>1</a><a>2</a><a>3</a><a>4</a><box><n><k>1</k></n></box>";
  ASSERT_EQ(text(top("<on>1</on><l><k>1</k></l><l><k>2</k><v/></l><m>x</m><m>y</m>" + rest)), "");
  restart();
  EXPECT_EQ(text(top("<on>few</on>")), "");
  expect_json(
      R"({"s:top":{"on":"few","l":[{"k":"1"},{"k":"2","v":""}],"box":{"n":[{"k":"1"}]},"a":[1,2,3,4]}})");
  EXPECT_EQ(text(drop("/s:top/on")), "");
  expect_json(R"({"s:top":{"a":[1,2,3,4]}})");
}

// Nothing that somebody configured is in it any more.
TEST_F(StoreConditions, AContainerWhoseLastNodeGoesWithItsConditionIsNoConfiguration) {
  start(R"yang(container top { leaf on { type string; } leaf-list a { type uint8; }
    container n { leaf w { when "../../s:on"; type string; } leaf z { type string; default "d"; } }
    })yang");
  ASSERT_EQ(text(top("<on>1</on><n><w>1</w></n><a>1</a><a>2</a><a>3</a>")), "");
  ASSERT_EQ(text(drop("/s:top/on")), "");
  EXPECT_EQ(store_->snapshot()->xml(),
            "<config><top xmlns=\"urn:s\"><a>1</a><a>2</a><a>3</a></top></config>");
  ASSERT_EQ(text(drop("/s:top/a")), "");
  EXPECT_EQ(store_->snapshot()->xml(), "<config/>");
}

// Without presence it says nothing (RFC 7950, section 7.5.1), so nothing is refused.
TEST_F(StoreConditions, AnEmptyContainerMayBeGivenWhereItsConditionIsFalse) {
  start(R"yang(container top { leaf on { type string; } leaf-list a { type uint8; }
    container n { when "../s:on"; leaf v { type string; } } })yang");
  EXPECT_EQ(text(top("<n/><a>1</a><a>2</a><a>3</a>")), "");
  EXPECT_EQ(text(top("<n/><a>4</a>")), "");
  EXPECT_EQ(text(top("<n/>")), "");
  expect_json(R"({"s:top":{"a":[1,2,3,4]}})");
  EXPECT_EQ(text(top("<n><v/></n>")), "/s:top/n: when \"../s:on\"");
}

// Nothing is configured; libyang divides by zero as soon as it makes the default.
TEST_F(StoreConditions, AStartOutlivesTheConditionOfADefault) {
  start(R"yang(container top { leaf n { type uint8; }
    leaf d { when "1 mod ../s:n = 0"; type string; default "D"; } })yang");
  ASSERT_NE(store_, nullptr);
  expect_json("{}");
}

// For libyang the root is an ancestor of any name, and its text is that of all there is.
TEST_F(StoreConditions, AMustThatAsksForTheTextOfItsAncestorsAtTheTop) {
  start(R"yang(container top { leaf f { type string; } leaf g { type string; }
    must "not(normalize-space(ancestor::*) = 'c')"; })yang");
  ASSERT_EQ(text(top("<f>a</f><g>b</g>")), "");
  EXPECT_EQ(commit(update("<top xmlns=\"urn:s\"><f/><g>c</g></top>")).error_code(),
            grpc::StatusCode::FAILED_PRECONDITION);
  expect_json(R"({"s:top":{"f":"a","g":"b"}})");
}

// libyang asks for the text of the empty anydata, which it dies of; the outer condition makes its
// condition void.
TEST_F(StoreConditions, AnOuterConditionAnswersWhereLibyangDiesOfAnInnerOne) {
  start(R"yang(grouping g { anydata deep; }
    list l { key "k"; leaf k { type string; }
      container n { when "/s:l/s:k > 'c'"; uses g { when "current() = '2'"; } } })yang");
  const Edit given = update("<l xmlns=\"urn:s\"><k>a</k><n><deep/></n></l>");
  EXPECT_EQ(commit(given).error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(text(given), "/s:l[k='a']/n: when \"/s:l/s:k > 'c'\"");
  EXPECT_EQ(store_->health().deaths, 2U);
  expect_json("{}");
}

struct Way {
  const char* name;
  const char* condition;  // true when the leaf "flag" is "on"
};

void PrintTo(const Way& way, std::ostream* out) { *out << way.condition; }

class StoreConditionsWay : public StoreFindings, public testing::WithParamInterface<Way> {
 protected:
  std::string body(const std::string& node) const {
    return "container top { leaf first { type string; }\n" + node +
           "leaf flag { type string; } leaf ref { type leafref { path \"../flag\"; } } }\n";
  }
  std::string when() const { return "when \"" + std::string(GetParam().condition) + "\"; "; }
};

TEST_P(StoreConditionsWay, ThatBecomesTrueBringsTheDefault) {
  start(body("leaf d { " + when() + " type string; default \"x\"; }"));
  ASSERT_EQ(text(top("<first>1</first>")), "");
  ASSERT_EQ(text(top("<flag>on</flag><ref>on</ref>")), "");
  expect_json(R"({"s:top":{"first":"1","d":"x","flag":"on","ref":"on"}})");
  ASSERT_EQ(text(top("<flag>off</flag><ref>off</ref>")), "");
  expect_json(R"({"s:top":{"first":"1","flag":"off","ref":"off"}})");
}

TEST_P(StoreConditionsWay, ThatBecomesTrueAsksForTheMandatoryLeaf) {
  start(body("leaf d { " + when() + " type string; mandatory true; }"));
  ASSERT_EQ(text(top("<first>1</first>")), "");
  EXPECT_EQ(commit(top("<flag>on</flag><ref>on</ref>")).error_code(),
            grpc::StatusCode::FAILED_PRECONDITION);
  expect_json(R"({"s:top":{"first":"1"}})");
  EXPECT_EQ(text(top("<d>y</d><flag>on</flag><ref>on</ref>")), "");
}

TEST_P(StoreConditionsWay, ThatBecomesTrueAsksForTheEntries) {
  start(body("leaf-list d { " + when() + " type string; min-elements 1; }"));
  ASSERT_EQ(text(top("<first>1</first>")), "");
  EXPECT_EQ(commit(top("<flag>on</flag><ref>on</ref>")).error_code(),
            grpc::StatusCode::FAILED_PRECONDITION);
  expect_json(R"({"s:top":{"first":"1"}})");
}

TEST_P(StoreConditionsWay, ThatBecomesTrueAsksForTheMandatoryChoice) {
  // The context of a choice's condition is the container around it.
  const bool from_child = GetParam().name == std::string("Axis");
  const std::string condition = from_child ? "when \"descendant::s:flag = 'on'\"; " : when();
  start(body("choice d { " + condition +
             "mandatory true; leaf d1 { type string; } leaf d2 { type string; } }"));
  EXPECT_EQ(commit(top("<flag>on</flag><ref>on</ref>")).error_code(),
            grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(text(top("<d2>y</d2><flag>on</flag><ref>on</ref>")), "");
}

INSTANTIATE_TEST_SUITE_P(Ways, StoreConditionsWay,
                         testing::Values(Way{"Everywhere", "//s:flag = 'on'"},
                                         Way{"Axis", "ancestor::s:top/child::s:flag = 'on'"},
                                         Way{"Descendants", "/descendant::s:flag = 'on'"},
                                         Way{"Deref", "deref(/s:top/s:ref) = 'on'"}),
                         [](const testing::TestParamInfo<Way>& way) {
                           return std::string(way.param.name);
                         });

TEST_F(StoreConditions, DefaultWhoseWhenAsksForAnotherDefault) {
  start(R"yang(container top { leaf on { type string; }
    leaf b { when "../a"; type string; default "2"; }
    leaf a { when "../on"; type string; default "1"; }
    leaf c { when "../b"; type string; default "3"; } })yang");
  EXPECT_EQ(json(), "{}");
  ASSERT_EQ(text(top("<on>x</on>")), "");
  expect_json(R"({"s:top":{"on":"x","b":"2","a":"1","c":"3"}})");
  ASSERT_EQ(text(drop("/s:top/on")), "");
  expect_json("{}");
}

TEST_F(StoreConditions, DefaultWhoseWhenDeniesAnotherDefault) {
  start(R"yang(container top { leaf on { type string; }
    leaf b { when "not(../a)"; type string; default "2"; }
    leaf a { when "../on"; type string; default "1"; } })yang");
  EXPECT_EQ(json(), R"({"s:top":{"b":"2"}})");
  ASSERT_EQ(text(top("<on>x</on>")), "");
  expect_json(R"({"s:top":{"on":"x","a":"1"}})");
  ASSERT_EQ(text(drop("/s:top/on")), "");
  expect_json(R"({"s:top":{"b":"2"}})");
}

// libyang waits for ever for the outcome of a condition that looks at its own node, and then takes
// the node as it is.
TEST_F(StoreConditions, WhenThatLooksAtItsOwnNodeOnTheWay) {
  start(R"yang(container top { leaf a { type string; } leaf f { type string; }
      uses g { when "self::s:top//s:f = 'x'"; } }
    grouping g { list l { key k; leaf k { type string; } } })yang");
  EXPECT_FALSE(commit(top("<l><k>1</k></l>")).ok());
  expect_json("{}");
  EXPECT_EQ(text(top("<f>x</f><l><k>1</k></l>")), "");
  expect_json(R"({"s:top":{"f":"x","l":[{"k":"1"}]}})");
}

// A name that the schema does not have selects nothing, which is false.
TEST_F(StoreConditions, WhenOverANameThatTheSchemaDoesNotHave) {
  const char* const conditions[] = {
      "/s:top/s:none = 'x'",          "//s:none = 'x'",
      "/s:top//s:none = 'x'",         "ancestor-or-self::s:top//s:none >= 'a'",
      "string(/s:top//s:none) = 'x'", "../s:none"};
  std::string body;
  for (int i = 0; i < 6; ++i) {
    const std::string number = std::to_string(i);
    body +=
        "list l" + number + " { when \"" + conditions[i] + "\"; key k; leaf k { type string; } }\n";
  }
  start("container top { leaf a { type string; } " + body + "}");
  for (int i = 0; i < 6; ++i) {
    const std::string name = "l" + std::to_string(i);
    EXPECT_FALSE(commit(top("<" + name + "><k>1</k></" + name + ">")).ok()) << conditions[i];
  }
  expect_json("{}");
}

// The one is there while the other is not, the other while the one is: RFC 7950 knows no answer,
// and looking for one ends. The schema does not tell, because both look at the text of what they
// stand in.
TEST_F(StoreConditions, ThatTurnEachOtherRoundForEver) {
  start(R"yang(container top { leaf on { type string; } leaf-list other { type uint8; }
    leaf a { when "../on and not(contains(string(..), 'B'))"; type string; default "A"; }
    leaf b { when "contains(string(..), 'A')"; type string; default "B"; } })yang");
  EXPECT_EQ(text(top("<other>1</other><other>2</other><other>3</other>")), "");
  const std::string before = json();
  EXPECT_EQ(text(top("<on>x</on>")), "");
  const std::string during = json();
  EXPECT_NE(during, before);
  expect_json(during);
  EXPECT_EQ(text(drop("/s:top/on")), "");
  expect_json(before);
}

// Defaults that come and go with each other, each before those that look at it.
TEST_F(StoreConditions, DefaultsComeAndGoWithEachOther) {
  start(R"yang(container top { leaf m { type string; }
    leaf a { when "../m = '1' or ../b"; type string; default "x"; }
    leaf b { type string; }
    leaf c { when "../a"; type string; default "y"; }
    leaf d { when "not(../a)"; type string; default "z"; }
    leaf e { when "../c and not(../d)"; type string; default "w"; } })yang");
  EXPECT_EQ(text(top("<m>2</m>")), "");
  expect_json(R"({"s:top":{"m":"2","d":"z"}})");
  EXPECT_EQ(text(top("<m>1</m>")), "");
  expect_json(R"({"s:top":{"m":"1","a":"x","c":"y","e":"w"}})");
  EXPECT_EQ(text(top("<m>3</m>")), "");
  EXPECT_EQ(json(), R"({"s:top":{"m":"3","d":"z"}})");
  EXPECT_EQ(text(top("<m>4</m>")), "");
  EXPECT_EQ(text(top("<b>1</b><m>5</m>")), "");
  EXPECT_EQ(json(), R"({"s:top":{"m":"5","a":"x","b":"1","c":"y","e":"w"}})");
  EXPECT_EQ(text(drop("/s:top/b")), "");
  EXPECT_EQ(json(), R"({"s:top":{"m":"5","d":"z"}})");
}

// What a Set gives does not go without a word, whoever judges: the value is this Set's own, though
// the node stood before.
TEST_F(StoreConditions, AValueThatIsGivenDoesNotGoWithItsCondition) {
  start(R"yang(container top { leaf mode { type string; } leaf far { type string; }
    leaf near { when "//mode = 'a'"; type string; } } )yang");
  ASSERT_EQ(text(top("<mode>a</mode><near>1</near>")), "");
  EXPECT_EQ(text(top("<mode>b</mode><near>2</near>")), "/s:top/near: when \"//mode = 'a'\"");
  EXPECT_EQ(json(), R"({"s:top":{"mode":"a","near":"1"}})");
  // Nothing else of the configuration is given: the whole of it is judged.
  EXPECT_EQ(text({Edit::Kind::kReplace, nexa_test::target_of(gnmi::Path()),
                  "<config><top xmlns=\"urn:s\"><mode>b</mode><near>2</near></top></config>"}),
            "/s:top/near: when \"//mode = 'a'\"");
  EXPECT_EQ(text(top("<mode>b</mode>")), "");
  expect_json(R"({"s:top":{"mode":"b"}})");
}

// Each of the two stands alone, both of them do not.
TEST_F(StoreConditions, DefaultsThatDoNotStandTogetherAreNotThereFromTheStart) {
  const TempFolder modules;
  modules.write("s.yang", R"yang(module s { yang-version 1.1; namespace "urn:s"; prefix s;
    import t { prefix t; }
    leaf one { type string; default "1"; must "not(/t:two)"; } leaf y { type string; } })yang");
  modules.write("t.yang", R"yang(module t { yang-version 1.1; namespace "urn:t"; prefix t;
    leaf two { type string; default "2"; } })yang");
  ASSERT_EQ(load_text(modules), "");
  restart();
  expect_json("{}");
  EXPECT_EQ(text(update("<two xmlns=\"urn:t\">3</two>")), "");
  expect_json(R"({"t:two":"3"})");
}

// A container whose last node goes with its condition is nothing that anybody configured.
TEST_F(StoreConditions, AContainerThatIsLeftEmptyIsNoConfiguration) {
  start(R"yang(container top { leaf mode { type string; }
    container out { container box { leaf near { when "../../../mode = 'a'"; type string; } } }
    choice ch { default no;
      case yes { container in { leaf only { when "../../mode = 'a'"; type string; } } }
      case no { leaf d { type string; default "D"; } } } })yang");
  ASSERT_EQ(text(top("<mode>a</mode><out><box><near>1</near></box></out><in><only>1</only></in>")),
            "");
  ASSERT_EQ(text(top("<mode>b</mode>")), "");
  EXPECT_EQ(store_->snapshot()->xml(),
            "<config><top xmlns=\"urn:s\"><mode>b</mode></top></config>");
  expect_json(R"({"s:top":{"mode":"b","d":"D"}})");
  ASSERT_EQ(text(drop("/s:top/mode")), "");
  EXPECT_EQ(store_->snapshot()->xml(), "<config/>");
}

}  // namespace
}  // namespace nexa_test::findings

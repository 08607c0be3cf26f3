// Which nodes and defaults there have to be, where cases, modules and conditions come and go.
#include "store_findings.h"

namespace nexa_test::findings {
namespace {

TEST_F(StoreFindings, MinElementsOfACaseThatBecomesActive) {
  start(R"yang(container top { leaf other { type string; }
    choice ch {
      case a { leaf a1 { type string; } }
      case b { leaf-list need { type string; min-elements 1; } leaf b1 { type string; } } } })yang");
  ASSERT_EQ(text(top("<other>x</other>")), "");
  EXPECT_EQ(commit(top("<b1>y</b1>")).error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  expect_json(R"({"s:top":{"other":"x"}})");
  EXPECT_EQ(text(top("<b1>y</b1><need>z</need>")), "");
  expect_json(R"({"s:top":{"other":"x","need":["z"],"b1":"y"}})");
}

TEST_F(StoreFindings, MandatoryOfACaseThatBecomesActive) {
  start(R"yang(container top { leaf other { type string; }
    choice ch {
      case a { leaf a1 { type string; } }
      case b { leaf need { type string; mandatory true; } leaf b1 { type string; } } } })yang");
  ASSERT_EQ(text(top("<other>x</other>")), "");
  EXPECT_EQ(commit(top("<b1>y</b1>")).error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  expect_json(R"({"s:top":{"other":"x"}})");
}

TEST_F(StoreFindings, DefaultsOfAModuleStandWhereThoseOfAnotherDoNot) {
  const TempFolder modules;
  modules.write("s.yang", module_of(R"yang(container top { must "s:f"; leaf f { type string; }
    leaf g { when "../s:f"; type string; default "g"; }
    leaf h { when "../s:g"; type string; default "h"; } })yang"));
  modules.write("t.yang",
                "module t { namespace \"urn:t\"; prefix t; leaf d { type string; default D; } }");
  ASSERT_EQ(load_text(modules), "");
  restart();
  expect_json(R"({"t:d":"D"})");
}

// The condition looks at the whole tree, and what it takes out is all that there is.
TEST_F(StoreFindings, DefaultsComeBackWithTheLastNodeThatAConditionTakesOut) {
  start(R"yang(container top { presence "There."; leaf f { type string; default "F"; }
      list l { key "k"; leaf k { type string; } } }
    choice ch { default usual;
      case usual { leaf-list d { type string; default "D"; } }
      case other { when "/s:top/s:f and (/s:top/s:l[last()] or true())";
        container o { leaf v { type string; } } } })yang");
  expect_json(R"({"s:d":["D"]})");
  ASSERT_EQ(text(update("<top xmlns=\"urn:s\"/><o xmlns=\"urn:s\"><v>1</v></o>")), "");
  EXPECT_EQ(text(drop("/s:top")), "");
  expect_json(R"({"s:d":["D"]})");
}

// Not as RFC 7950 has it, sections 7.9.3 and 7.6.1: the case has data, so its default is in use.
// libyang completes the innermost case alone, and the store does as libyang does.
TEST_F(StoreFindings, ADefaultBesideTheDataOfANestedChoiceIsNotThere) {
  start(R"yang(container top { leaf f { type string; }
    choice outer {
      case a { leaf d { type string; default "D"; } leaf e { type string; }
               choice inner { case x { leaf x1 { type string; }
                                       leaf x2 { type string; default "X"; } } } }
      case b { leaf b1 { type string; } } } })yang");
  ASSERT_EQ(text(top("<x1>1</x1>")), "");
  expect_json(R"({"s:top":{"x1":"1","x2":"X"}})");
  EXPECT_EQ(text(top("<f>1</f>")), "");
  expect_json(R"({"s:top":{"f":"1","x1":"1","x2":"X"}})");
  EXPECT_EQ(text(top("<e>1</e>")), "");
  expect_json(R"({"s:top":{"f":"1","d":"D","e":"1","x1":"1","x2":"X"}})");
}

// The module of the reference is judged before the container comes as a default.
TEST_F(StoreFindings, AnInstanceIdentifierMayNameAContainerOfALaterModule) {
  const TempFolder modules;
  modules.write("s.yang", module_of("leaf ref { type instance-identifier; }"));
  modules.write("t.yang", R"yang(module t { namespace "urn:t"; prefix t;
    container box { list l { key "k"; leaf k { type string; }
      container c { leaf v { type string; } } must "count(../l[2]) < 9"; } } })yang");
  ASSERT_EQ(load_text(modules), "");
  restart();
  const auto entry = [](const std::string& key) {
    return update("<box xmlns=\"urn:t\"><l><k>" + key + "</k></l></box>");
  };
  ASSERT_EQ(text(entry("a")), "");
  ASSERT_EQ(text(update("<ref xmlns=\"urn:s\" xmlns:t=\"urn:t\">/t:box/t:l[t:k='a']/t:c</ref>")),
            "");
  EXPECT_EQ(text(entry("b")), "");
}

// The default belongs to a case whose last node goes with a condition.
TEST_F(StoreFindings, DefaultsOfACaseGoWithWhatAConditionTakesOut) {
  start(R"yang(container top { leaf f { type string; } must "not(s:f) or s:d"; choice outer {
    case a { leaf a1 { type string; } }
    case b { choice inner { default x;
        case x { leaf g { type string; } choice deep { default usual;
            case other { leaf o { type string; } }
            case usual { leaf d { type string; default "D"; } } } } }
      leaf b1 { when "../s:g"; type string; } } } })yang");
  ASSERT_EQ(text(top("<g>1</g>")), "");
  ASSERT_EQ(text(top("<b1>1</b1><f>1</f>")), "");
  EXPECT_EQ(commit(drop("/s:top/g")).error_code(), grpc::StatusCode::FAILED_PRECONDITION);
}

// The condition of a choice at the top finds a default that stands below another condition.
TEST_F(StoreFindings, AChoiceAtTheTopWaitsForTheConditionsAroundWhatItsOwnFinds) {
  start(R"yang(container top { leaf f { type string; }
      container c { when "../s:f != 'b'"; leaf d { type string; default "D"; } } }
    choice ch { when "//s:d = //s:d"; container o { leaf v { type string; } } })yang");
  const Edit both = update("<o xmlns=\"urn:s\"><v>1</v></o><top xmlns=\"urn:s\"><f>b</f></top>");
  EXPECT_EQ(commit(both).error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  expect_json("{}");
  ASSERT_EQ(text(update("<o xmlns=\"urn:s\"><v>1</v></o><top xmlns=\"urn:s\"><f>a</f></top>")), "");
  expect_json(R"({"s:top":{"f":"a","c":{"d":"D"}},"s:o":{"v":"1"}})");
}

// A condition may ask which leaf comes first, whatever entry it stands in.
TEST_F(StoreFindings, AnEntryThatMovesTakesWithItWhatAConditionFindsInIt) {
  start(R"yang(container top { list l { key k; ordered-by user; leaf k { type string; }
        container c { leaf v { type string; } } }
      leaf f { must "concat(//s:v, '') != 'a'"; type string; } })yang");
  const std::string entries = "<l><k>2</k><c><v>b</v></c></l><l><k>1</k><c><v>a</v></c></l>";
  ASSERT_EQ(text(top("<f>x</f>" + entries)), "");
  const Edit turned{Edit::Kind::kReplace,
                    nexa_test::target_of(*nexa::translate::parse_path_string("/s:top", nullptr)),
                    "<config><top xmlns=\"urn:s\"><f>x</f><l><k>1</k><c><v>a</v></c></l>"
                    "<l><k>2</k><c><v>b</v></c></l></top></config>"};
  EXPECT_EQ(commit(turned).error_code(), grpc::StatusCode::FAILED_PRECONDITION);
}

// What was valid in the order in which its entries came is valid again.
TEST_F(StoreFindings, ARollbackRestoresThePlacesThatAConditionDependsOn) {
  start(R"yang(container top { list l { key k; leaf k { type string; }
        leaf v { type string; } }
      leaf f { must "concat(//s:v, '') != 'a'"; type string; } })yang");
  ASSERT_EQ(text(top("<l><k>1</k><v>a</v></l><l><k>2</k><v>b</v></l>")), "");
  // Entry 1 goes and comes again behind entry 2.
  ASSERT_EQ(commit({drop("/s:top/l[k=1]"), top("<l><k>1</k><v>a</v></l><f>x</f>")}).error_message(),
            "");
  const std::string wanted = json();
  ASSERT_EQ(commit({drop("/s:top/f"), drop("/s:top/l[k=2]")}).error_message(), "");
  const CommitResult restored = store_->rollback(2, "tester", nullptr);
  EXPECT_EQ(restored.status.error_message(), "");
  EXPECT_EQ(text(top("<f>y</f>")), "");
  EXPECT_EQ(text(top("<f>x</f>")), "");
  expect_json(wanted);
}

// An entry that stood keeps its place, also where the whole configuration is given in another
// order.
TEST_F(StoreFindings, AReplaceIsJudgedInTheOrderThatItLeaves) {
  start(R"yang(list l { key k; leaf k { type string; } leaf v { type string; }
      leaf w { when "(substring(/s:l/s:k, 1, 1) = 'a') and (../s:v > '2' or true())";
        type string; } })yang");
  ASSERT_EQ(text(update("<l xmlns=\"urn:s\"><k>1</k></l>")), "");
  const auto replace = [](const std::string& inner) {
    return Edit{Edit::Kind::kReplace, {}, "<config>" + inner + "</config>"};
  };
  const std::string a = "<l xmlns=\"urn:s\"><k>a</k><v>x</v><w>y</w></l>";
  EXPECT_EQ(commit(replace(a + "<l xmlns=\"urn:s\"><k>1</k><v>x</v></l>")).error_code(),
            grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(text(replace(a)), "");
}

TEST_F(StoreFindings, AChoiceAtTheTopLooksDownFromTheRoot) {
  start(R"yang(container top { leaf f { type string; } }
    choice ch { when "s:top/s:f = 'a'"; default usual;
      case usual { leaf d { type string; default "D"; } leaf e { type string; } } })yang");
  ASSERT_EQ(text(top("<f>b</f>")), "");
  expect_json(R"({"s:top":{"f":"b"}})");
  ASSERT_EQ(text(top("<f>a</f>")), "");
  expect_json(R"({"s:top":{"f":"a"},"s:d":"D"})");
  ASSERT_EQ(text(update("<e xmlns=\"urn:s\">1</e>")), "");
  expect_json(R"({"s:top":{"f":"a"},"s:d":"D","s:e":"1"})");
  ASSERT_EQ(text(top("<f>b</f>")), "");
  expect_json(R"({"s:top":{"f":"b"}})");
}

TEST_F(StoreFindings, DefaultsStandAfterTheLastNodeOfAModuleIsDeleted) {
  start(
      R"yang(container top { leaf name { type string; } leaf speed { type uint8; default 7; } })yang");
  EXPECT_EQ(json(), R"({"s:top":{"speed":7}})");
  ASSERT_EQ(text(top("<name>x</name>")), "");
  ASSERT_EQ(text(drop("/s:top")), "");
  EXPECT_EQ(json(), R"({"s:top":{"speed":7}})");
  ASSERT_EQ(text(top("<name>x</name>")), "");
  ASSERT_EQ(text(drop("/")), "");
  expect_json(R"({"s:top":{"speed":7}})");
}

TEST_F(StoreFindings, RulesSeeTheDefaultsOfADeletedModule) {
  const TempFolder modules;
  modules.write("s.yang", module_of("container top { leaf name { type string; } "
                                    "leaf speed { type uint8; default 7; } }"));
  modules.write("t.yang", R"yang(module t { yang-version 1.1; namespace "urn:t"; prefix t;
    import s { prefix s; }
    leaf needs { type string; must "/s:top/s:speed = 7"; }
    leaf hates { type string; must "not(/s:top/s:speed)"; } })yang");
  ASSERT_EQ(load_text(modules), "");
  restart();
  ASSERT_EQ(text(top("<name>x</name>")), "");
  ASSERT_EQ(text(drop("/s:top")), "");
  EXPECT_EQ(text(update("<needs xmlns=\"urn:t\">x</needs>")), "");
  EXPECT_EQ(commit(update("<hates xmlns=\"urn:t\">x</hates>")).error_code(),
            grpc::StatusCode::FAILED_PRECONDITION);
  expect_json(R"({"s:top":{"speed":7},"t:needs":"x"})");
}

// What the condition takes out is the last that the module has, so its mandatory leaf is not
// missed.
TEST_F(StoreFindings, MandatoryLeafGoesWithTheLastNodeThatAConditionTakesOut) {
  start(R"(
    container c {
      leaf f { type string; mandatory true; }
      leaf x { when "../f"; type string; }
      leaf y { type string; }
    })");
  ASSERT_EQ(text(update("<c xmlns=\"urn:s\"><f>a</f><x>b</x></c>")), "");
  EXPECT_EQ(text(drop("/s:c/f")), "");
  expect_json("{}");
  ASSERT_EQ(text(update("<c xmlns=\"urn:s\"><f>a</f><x>b</x><y>c</y></c>")), "");
  EXPECT_EQ(commit(drop("/s:c/f")).error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  expect_json(R"({"s:c":{"f":"a","x":"b","y":"c"}})");
}

TEST_F(StoreFindings, DefaultsOfALeafListKeepTheirOrder) {
  start(R"yang(container top { leaf other { type string; }
    leaf-list d { type string; default "a"; default "b"; } })yang");
  ASSERT_EQ(text(top("<d>b</d>")), "");
  ASSERT_EQ(text(drop("/s:top/d")), "");
  ASSERT_EQ(text(top("<other>x</other>")), "");
  expect_json(R"({"s:top":{"other":"x","d":["a","b"]}})");
}

// RFC 7950, section 7.7.1: the system may order the entries as it likes, but what is judged, served
// and opened again has to be one order. The entry that goes and comes again stands last.
TEST_F(StoreFindings, AnEntryThatGoesAndComesAgainIsJudgedAtItsNewPlace) {
  start(R"yang(list l { key "k"; leaf k { type string; } anyxml x;
    must "normalize-space(/s:l/s:k) = 'b'"; }
    leaf-list t { type string; must "normalize-space(/s:t) = 'b'"; })yang");
  const auto entry = [](const std::string& key, const std::string& inner) {
    return update("<l xmlns=\"urn:s\"><k>" + key + "</k>" + inner + "</l>");
  };
  ASSERT_EQ(text(entry("b", "<x>1</x>")), "");
  ASSERT_EQ(text(entry("a", "")), "");
  EXPECT_EQ(commit({drop("/s:l[k=b]"), entry("b", "<x>2</x>")}).error_code(),
            grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(commit({drop("/s:l[k=b]"), entry("b", "<x>1</x>")}).error_code(),
            grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(commit({drop("/s:l[k=a]"), entry("a", "<x>3</x>")}).error_message(), "");
  ASSERT_EQ(text(update("<t xmlns=\"urn:s\">b</t><t xmlns=\"urn:s\">a</t>")), "");
  EXPECT_EQ(commit({drop("/s:t[.=b]"), update("<t xmlns=\"urn:s\">b</t>")}).error_code(),
            grpc::StatusCode::FAILED_PRECONDITION);
  expect_json(R"({"s:l":[{"k":"b","x":"1"},{"k":"a","x":"3"}],"s:t":["b","a"]})");
}

// The default is made before the condition of the container around it is asked.
TEST_F(StoreFindings, ADefaultBelowAFalseConditionIsNotSeenFromAnywhere) {
  start(R"yang(leaf on { type string; }
    container c { when "/s:on and /s:on[position()=1]"; leaf d { type string; default "D"; } }
    leaf with { when "//s:d"; type string; }
    leaf without { when "not(//s:d)"; type string; })yang");
  const auto leaf = [](const std::string& name) {
    return update("<" + name + " xmlns=\"urn:s\">1</" + name + ">");
  };
  EXPECT_EQ(commit(leaf("with")).error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(text(leaf("without")), "");
  expect_json(R"({"s:without":"1"})");
  EXPECT_EQ(commit({drop("/s:without"), leaf("on"), leaf("with")}).error_message(), "");
  expect_json(R"({"s:on":"1","s:c":{"d":"D"},"s:with":"1"})");
  EXPECT_EQ(commit(leaf("without")).error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(text(drop("/s:on")), "");
  expect_json("{}");
}

// What the condition takes out is old, and all that the container has; given again, it has nothing.
TEST_F(StoreFindings, AnEmptyContainerDoesNotGiveWay) {
  // The whole tree is judged, and without the mandatory leaf there are no defaults to stand for it.
  start(R"yang(container c { leaf f { type string; mandatory true; } leaf e { type string; }
    leaf-list s { when "namespace-uri(../f) != ''"; type string; }
    container d { leaf g { when "../../f"; type string; } } })yang");
  const auto c = [](const std::string& inner) {
    return update("<c xmlns=\"urn:s\">" + inner + "</c>");
  };
  for (const char* given : {"", "<d/>"}) {
    ASSERT_EQ(text(c("<f>1</f><s>a</s><d><g>1</g></d>")), "");
    EXPECT_EQ(commit({drop("/s:c/f"), c(given)}).error_message(), "") << given;
    expect_json("{}");
  }
  ASSERT_EQ(text(c("<f>1</f><s>a</s>")), "");
  EXPECT_EQ(commit({drop("/s:c/f"), c("<e>1</e>"), drop("/s:c/e")}).error_message(), "");
  expect_json("{}");
  ASSERT_EQ(text(c("<f>1</f><s>a</s>")), "");
  EXPECT_EQ(commit({drop("/s:c/f"), c("<d><g>1</g></d>")}).error_code(),
            grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(commit({drop("/s:c/f"), c("<s>a</s>")}).error_code(),
            grpc::StatusCode::FAILED_PRECONDITION);
  expect_json(R"({"s:c":{"f":"1","s":["a"]}})");
}

// libyang forgets how to read the leafref of the inner union, and dies of the first value.
TEST_F(StoreFindings, ALeafrefInAUnionInAUnion) {
  start(R"yang(container top { leaf-list to { type string; }
    leaf u { type union { type uint8; type union { type boolean;
      type leafref { path "../to"; } } } } })yang");
  EXPECT_EQ(text(top("<u>7</u>")), "");
  EXPECT_EQ(text(top("<u>true</u>")), "");
  EXPECT_EQ(commit(top("<u>b</u>")).error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(text(top("<to>a</to><to>b</to><u>b</u>")), "");
  expect_json(R"({"s:top":{"to":["a","b"],"u":"b"}})");
  EXPECT_EQ(commit(drop("/s:top/to[.=b]")).error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(text(top("<u>a</u>")), "");
  EXPECT_EQ(text(drop("/s:top/to[.=b]")), "");
  expect_json(R"({"s:top":{"to":["a"],"u":"a"}})");
}

// After a start the tree is made anew; its nodes stand all the same, and what a condition leaves of
// them goes without a word.
TEST_F(StoreFindings, AWhenThatTurnsFalseAfterAStartTakesItsNodeAlong) {
  start(R"yang(container top { leaf mode { type string; } leaf far { type string; }
    leaf near { when "../mode = 'a'"; type string; }
    leaf whole { when "//far = 'a'"; type string; }
    list l { key k; leaf k { type string; } leaf v { when "../../mode = 'a'"; type string; } } })yang");
  const std::string all =
      "<mode>a</mode><far>a</far><near>n</near><whole>w</whole><l><k>1</k><v>v</v></l>";
  ASSERT_EQ(text(top(all)), "");
  restart();
  EXPECT_EQ(text(top("<mode>b</mode>")), "");
  expect_json(R"({"s:top":{"mode":"b","far":"a","whole":"w","l":[{"k":"1"}]}})");
  EXPECT_EQ(text(top("<far>b</far>")), "");
  expect_json(R"({"s:top":{"mode":"b","far":"b","l":[{"k":"1"}]}})");
  ASSERT_EQ(text(top(all)), "");
  restart();
  EXPECT_EQ(text(top("<far>b</far><mode>b</mode>")), "");
  expect_json(R"({"s:top":{"mode":"b","far":"b","l":[{"k":"1"}]}})");
}

TEST_F(StoreFindings, WhatHasAConditionIsSeenByRulesAfterAStart) {
  start(R"yang(container top { leaf mode { type string; }
    leaf near { when "../mode = 'a'"; type string; }
    leaf far { when "//mode = 'a'"; type string; }
    leaf one { type string; must ". = ../near"; } leaf two { type string; must ". = ../far"; }
    leaf to { type leafref { path "../near"; } } leaf of { type leafref { path "../far"; } } })yang");
  ASSERT_EQ(text(top("<mode>a</mode><near>n</near><far>f</far>")), "");
  restart();
  EXPECT_EQ(text(top("<one>n</one>")), "");
  EXPECT_EQ(text(top("<two>f</two>")), "");
  EXPECT_EQ(text(top("<to>n</to>")), "");
  EXPECT_EQ(text(top("<of>f</of>")), "");
  restart();
  EXPECT_EQ(commit(top("<near>m</near>")).error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(commit(top("<mode>b</mode>")).error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(text(top("<near>m</near><one>m</one><to>m</to>")), "");
}

}  // namespace
}  // namespace nexa_test::findings

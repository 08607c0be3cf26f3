// Each kind of constraint, kept and broken, over small modules: the verdict, the words, and that
// the check of the change was enough.
#include "store/validation_rules_fixture.h"

namespace nexa::store {
namespace {

class ValidationRules : public ValidationRulesFixture {};

TEST_F(ValidationRules, MustOfTheNodeAndOfAnAncestor) {
  start(R"y(container c { must "not(a > 5) or b = 'yes'" { error-message "a needs b"; }
             leaf a { type int32; must ". != 3"; } leaf b { type string; } leaf d { type string; } })y",
        "<b>no</b>");
  EXPECT_EQ(merge("<a>4</a>"), "valid");
  EXPECT_EQ(merge("<a>3</a>"), "/m:c/a: must \". != 3\"");
  EXPECT_EQ(merge("<a>6</a>"), "/m:c: must \"not(a > 5) or b = 'yes'\": a needs b");
  EXPECT_EQ(merge("<b>yes</b><a>6</a>"), "valid");
  EXPECT_EQ(remove("/m:c/b"), "/m:c: must \"not(a > 5) or b = 'yes'\": a needs b");
  EXPECT_EQ(merge("<d>x</d>"), "valid");
}

TEST_F(ValidationRules, WhenDeletesOldNodesAndRefusesNewOnes) {
  start(R"y(container c { leaf kind { type string; }
             leaf speed { when "../kind = 'fast'"; type int32; }
             container more { when "../kind = 'fast'"; leaf x { type string; default "d"; } } })y",
        "<kind>fast</kind><speed>9</speed>");
  EXPECT_TRUE(has("/m:c/more/x"));
  EXPECT_EQ(merge("<kind>slow</kind>"), "valid");
  EXPECT_FALSE(has("/m:c/speed"));
  EXPECT_FALSE(has("/m:c/more"));
  EXPECT_EQ(merge("<speed>1</speed>"), "/m:c/speed: when \"../kind = 'fast'\"");
  EXPECT_EQ(merge("<kind>fast</kind>"), "valid");
  EXPECT_TRUE(has("/m:c/more/x"));
}

TEST_F(ValidationRules, WhensThatDependOnEachOther) {
  start(R"y(container c { leaf a { type string; }
             leaf b { when "../a"; type string; default "b"; }
             leaf d { when "../b"; type string; default "d"; }
             leaf e { when "not(../d)"; type string; default "e";
}
})y",
        "<a>x</a>");
  is_whole_ = true;
  EXPECT_TRUE(has("/m:c/d"));
  EXPECT_FALSE(has("/m:c/e"));
  EXPECT_EQ(remove("/m:c/a"), "valid");
  EXPECT_FALSE(has("/m:c/b"));
  EXPECT_FALSE(has("/m:c/d"));
  EXPECT_TRUE(has("/m:c/e"));
  EXPECT_EQ(merge("<a>x</a>"), "valid");
  EXPECT_TRUE(has("/m:c/d"));
}

// libyang by itself reads a default leaf here that it freed together with the container around it.
TEST_F(ValidationRules, WhensInsideOfEachOther) {
  start(R"y(container c { leaf a { type string; }
             container o { presence p; when "../a = 'x'"; leaf v { type string; }
               container i { when "../v = 'x'";
                 leaf b { when "../../../a"; type string; default "b"; } } } })y",
        "<a>x</a>");
  EXPECT_EQ(merge("<o/>"), "valid");
  EXPECT_TRUE(has("/m:c/o"));
  EXPECT_FALSE(has("/m:c/o/i"));
  EXPECT_EQ(merge("<o><v>x</v></o>"), "valid");
  EXPECT_TRUE(has("/m:c/o/i/b"));
  EXPECT_EQ(remove("/m:c/o"), "valid");
  EXPECT_EQ(merge("<a>y</a>"), "valid");
  EXPECT_EQ(merge("<o/>"), "/m:c/o: when \"../a = 'x'\"");
}

TEST_F(ValidationRules, LeafrefsByKeyByPredicateAndByNeighbour) {
  start(R"y(container c {
             list l { key "k"; leaf k { type string; } leaf-list n { type string; }
               leaf same { type leafref { path "../n"; } } }
             leaf r { type leafref { path "/m:c/m:l/m:k"; } }
             leaf p { type leafref { path "../l[k = current()/../r]/n"; } } })y",
        "<l><k>1</k><n>x</n></l><l><k>2</k></l>");
  EXPECT_EQ(merge("<r>1</r>"), "valid");
  EXPECT_EQ(merge("<r>3</r>"), "/m:c/r: leafref: no \"/m:c/m:l/m:k\" with value \"3\"");
  EXPECT_EQ(merge("<p>x</p>"), "valid");
  EXPECT_EQ(merge("<r>2</r>"),
            "/m:c/p: leafref: no \"../l[k = current()/../r]/n\" with value \"x\"");
  EXPECT_EQ(merge("<l><k>1</k><same>x</same></l>"), "valid");
  EXPECT_EQ(remove("/m:c/l[k='2']"), "valid");
  EXPECT_EQ(remove("/m:c/p"), "valid");
  EXPECT_EQ(remove("/m:c/l[k='1']/n[.='x']"),
            "/m:c/l[k='1']/same: leafref: no \"../n\" with value \"x\"");
  EXPECT_EQ(remove("/m:c/l[k='1']"), "/m:c/r: leafref: no \"/m:c/m:l/m:k\" with value \"1\"");
}

TEST_F(ValidationRules, InstanceIdentifier) {
  start(R"y(container c { leaf a { type string; } leaf i { type instance-identifier; } })y",
        "<a>1</a>");
  EXPECT_EQ(merge("<i xmlns:m=\"urn:m\">/m:c/m:a</i>"), "valid");
  EXPECT_EQ(remove("/m:c/a"), "/m:c/i: instance-identifier: nothing at \"/m:c/a\"");
}

TEST_F(ValidationRules, MandatoryInCreatedAndInOldNodes) {
  start(R"y(container c { list l { key "k"; leaf k { type string; }
             leaf mtu { type int32; mandatory true; } }
             container p { presence "x"; choice ch { mandatory true;
               leaf a { type string; } leaf b { type string; } } } })y",
        "<l><k>1</k><mtu>1</mtu></l>");
  EXPECT_EQ(merge("<l><k>2</k></l>"), "/m:c/l[k='2']/mtu: mandatory leaf \"mtu\" is missing");
  EXPECT_EQ(remove("/m:c/l[k='1']/mtu"), "/m:c/l[k='1']/mtu: mandatory leaf \"mtu\" is missing");
  EXPECT_EQ(merge("<p/>"), "/m:c/p: mandatory choice \"ch\" has no data");
  EXPECT_EQ(merge("<p><a>1</a></p>"), "valid");
  EXPECT_EQ(remove("/m:c/p/a"), "/m:c/p: mandatory choice \"ch\" has no data");
}

TEST_F(ValidationRules, ConditionalMandatoryIsMissedOnlyWhenItsConditionHolds) {
  start(R"y(container c { list l { key "k"; leaf k { type string; } leaf kind { type string; }
             leaf id { when "../kind = 'x'"; type string; mandatory true; } } })y",
        "<l><k>1</k></l>");
  EXPECT_EQ(merge("<l><k>2</k><kind>y</kind></l>"), "valid");
  EXPECT_EQ(merge("<l><k>1</k><kind>x</kind></l>"),
            "/m:c/l[k='1']/id: mandatory leaf \"id\" is missing");
  EXPECT_EQ(merge("<l><k>1</k><kind>x</kind><id>7</id></l>"), "valid");
}

TEST_F(ValidationRules, CountsOfEntries) {
  start(R"y(container c { list l { key "k"; max-elements 2; leaf k { type string; } }
             leaf-list server { type string; min-elements 2; } })y",
        "<server>a</server><server>b</server>");
  EXPECT_EQ(merge("<l><k>1</k></l><l><k>2</k></l>"), "valid");
  EXPECT_EQ(merge("<l><k>3</k></l>"), "/m:c/l[k='3']: at most 2 entries of \"l\"");
  EXPECT_EQ(remove("/m:c/server[.='a']"), "/m:c/server: at least 2 entries of \"server\"");
  EXPECT_EQ(merge("<server>d</server>"), "valid");
}

TEST_F(ValidationRules, UniqueValues) {
  start(R"y(container c { list l { key "k"; unique "ip n/port"; leaf k { type string; }
             leaf ip { type string; } container n { leaf port { type int32; default 80; } } } })y",
        "<l><k>1</k><ip>a</ip></l>");
  EXPECT_EQ(merge("<l><k>2</k><ip>a</ip><n><port>81</port></n></l>"), "valid");
  EXPECT_EQ(merge("<l><k>3</k><ip>a</ip></l>"), "/m:c/l[k='3']: unique \"ip n/port\"");
  EXPECT_EQ(remove("/m:c/l[k='2']/n/port"), "/m:c/l[k='2']: unique \"ip n/port\"");
}

TEST_F(ValidationRules, TheCaseThatTheChangeBringsWins) {
  start(R"y(container c { choice ch { default d;
             case a { leaf a1 { type string; } leaf a2 { type string; default "A"; } }
             case b { leaf b1 { type string; } leaf b2 { type string; } }
             case d { leaf d1 { type string; default "D"; } } } })y",
        "");
  EXPECT_EQ(merge("<a1>x</a1>"), "valid");
  EXPECT_TRUE(has("/m:c/a2"));
  EXPECT_FALSE(has("/m:c/d1"));
  EXPECT_EQ(merge("<b1>x</b1>"), "valid");
  EXPECT_FALSE(has("/m:c/a1"));
  EXPECT_FALSE(has("/m:c/a2"));
  EXPECT_EQ(remove("/m:c/b1"), "valid");
  EXPECT_TRUE(has("/m:c/d1"));
  EXPECT_EQ(merge("<a1>x</a1><b1>y</b1>"), "/m:c: data of both cases \"a\" and \"b\"");
}

TEST_F(ValidationRules, DefaultsComeBack) {
  start(R"y(container c { leaf x { type string; } leaf a { type int32; default 5; }
             leaf-list s { ordered-by user; type string; default "p"; default "q"; }
             container n { leaf z { type string; default "z"; } } })y",
        "<x>1</x><a>7</a><s>only</s>");
  EXPECT_FALSE(has("/m:c/s[.='p']"));
  EXPECT_EQ(remove("/m:c/a"), "valid");
  EXPECT_TRUE(has("/m:c/a"));
  EXPECT_EQ(remove("/m:c/s[.='only']"), "valid");
  EXPECT_TRUE(has("/m:c/s[.='p']"));
  EXPECT_EQ(remove("/m:c/n"), "valid");
  EXPECT_TRUE(has("/m:c/n/z"));
}

// libyang takes the defaults out beside a given value, so what stays is its to say.
TEST_F(ValidationRules, DefaultsBesideAGivenValueAreLeftToTheWholeTree) {
  start("container c { leaf x { type string; } leaf-list s { type uint8; default 1; default 2; } }",
        "<x>1</x>");
  EXPECT_TRUE(has("/m:c/s[.='1']"));
  is_whole_ = true;
  EXPECT_EQ(merge("<s>3</s>"), "valid");
  EXPECT_TRUE(has("/m:c/s[.='3']"));
  EXPECT_FALSE(has("/m:c/s[.='1']"));
}

TEST_F(ValidationRules, ATreeWithoutDataIsValid) {
  start(R"y(leaf top { type string; mandatory true; } container c { leaf a { type string; } })y",
        "");
  lyd_node* tree = nullptr;
  EXPECT_FALSE(configuration_->validator().judge_whole(tree));
  EXPECT_EQ(tree, nullptr);
}

}  // namespace
}  // namespace nexa::store

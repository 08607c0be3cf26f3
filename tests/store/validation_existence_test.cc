// What has to be there: counts, mandatory nodes and defaults, wherever a change makes a parent, a
// case or a condition active.
#include "store/validation_rules_fixture.h"

namespace nexa::store {
namespace {

class ValidationExistence : public ValidationRulesFixture {};

TEST_F(ValidationExistence, CountsOfACaseThatBecomesTheActiveOne) {
  start(R"y(container c { leaf other { type string; }
             choice ch { case a { leaf a1 { type string; } }
                         case b { leaf-list need { type string; min-elements 1; }
                                  leaf b1 { type string; } } } })y",
        "");
  EXPECT_EQ(merge("<other>x</other>"), "valid");
  EXPECT_EQ(merge("<b1>x</b1>"), "/m:c/need: at least 1 entries of \"need\"");
  EXPECT_EQ(merge("<b1>x</b1><need>1</need>"), "valid");
  EXPECT_EQ(merge("<a1>x</a1>"), "valid");
  EXPECT_FALSE(has("/m:c/need[.='1']"));
  EXPECT_EQ(merge("<b1>x</b1>"), "/m:c/need: at least 1 entries of \"need\"");
}

TEST_F(ValidationExistence, NodesThatAConditionTurnedTrueAsksFor) {
  start(R"y(container c { leaf k { type string; }
             leaf d { when "../k = 'd'"; type string; default "D"; }
             leaf m { when "../k = 'm'"; type string; mandatory true; }
             leaf-list l { when "../k = 'l'"; type string; min-elements 1; }
             choice ch { when "k = 'c'"; mandatory true; leaf x { type string; } }
             choice dc { when "k = 'dc'"; default y; leaf y { type string; default "Y"; } } })y",
        "");
  EXPECT_FALSE(has("/m:c/d"));
  EXPECT_EQ(merge("<k>d</k>"), "valid");
  EXPECT_TRUE(has("/m:c/d"));
  EXPECT_EQ(merge("<k>m</k>"), "/m:c/m: mandatory leaf \"m\" is missing");
  EXPECT_EQ(merge("<k>l</k>"), "/m:c/l: at least 1 entries of \"l\"");
  EXPECT_EQ(merge("<k>c</k>"), "/m:c: mandatory choice \"ch\" has no data");
  EXPECT_EQ(merge("<k>dc</k>"), "valid");
  EXPECT_TRUE(has("/m:c/y"));
  EXPECT_FALSE(has("/m:c/d"));
}

TEST_F(ValidationExistence, NodesThatAConditionOverTheWholeTreeAsksFor) {
  start(R"y(container c { leaf k { type string; }
             leaf d { when "//m:k = 'd'"; type string; default "D"; }
             leaf m { when "preceding::m:k = 'm' or /m:c//m:k = 'm'"; type string;
               mandatory true; } })y",
        "");
  is_whole_ = true;
  EXPECT_EQ(merge("<k>d</k>"), "valid");
  EXPECT_TRUE(has("/m:c/d"));
  EXPECT_EQ(merge("<k>m</k>"), "/m:c/m: mandatory leaf \"m\" is missing");
  EXPECT_EQ(merge("<k>x</k>"), "valid");
  EXPECT_FALSE(has("/m:c/d"));
}

TEST_F(ValidationExistence, ADefaultWhoseConditionAsksForAnotherDefault) {
  start(R"y(container c { leaf a { type string; }
             leaf b { when "../a = 'x'"; type string; default "b"; }
             leaf d { when "../b = 'b'"; type string; default "d"; }
             leaf e { when "not(../b)"; type string; default "e"; } })y",
        "");
  is_whole_ = true;
  EXPECT_FALSE(has("/m:c/b"));
  EXPECT_FALSE(has("/m:c/d"));
  EXPECT_EQ(merge("<a>x</a>"), "valid");
  EXPECT_TRUE(has("/m:c/d"));
  EXPECT_FALSE(has("/m:c/e"));
  EXPECT_EQ(merge("<a>y</a>"), "valid");
  EXPECT_FALSE(has("/m:c/b"));
  EXPECT_FALSE(has("/m:c/d"));
  EXPECT_TRUE(has("/m:c/e"));
}

// A stand-in for the absent leaf would not have its name.
TEST_F(ValidationExistence, ADefaultWhoseConditionAsksForItsOwnNode) {
  start(R"y(container c { leaf f { type string; }
             choice ch { case a { leaf d { when "count(self::m:d/../m:f) = count(/m:c/m:f)";
                                           type string; default "D"; }
                                  leaf a1 { type string; } }
                         case b { leaf b1 { type string; } } } })y",
        "<f>1</f><b1>x</b1>");
  EXPECT_FALSE(has("/m:c/d"));
  EXPECT_EQ(merge("<a1>x</a1>"), "valid");
  EXPECT_TRUE(has("/m:c/d"));
}

// The change does not reach the condition, but nobody asked for the leaf before.
TEST_F(ValidationExistence, NodesOfACaseThatBecomesActiveWithAConditionOverTheWholeTree) {
  start(R"y(container c { list l { key "k"; leaf k { type string; }
             choice ch { case a { leaf m { when "string-length(/m:c/m:l/m:k) < 2"; type string;
                                           mandatory true; }
                                  leaf a1 { type string; } }
                         case b { leaf b1 { type string; } }
                         case d { leaf-list n { when "string-length(/m:c/m:l/m:k) < 2"; type string;
                                                min-elements 2; }
                                  leaf d1 { type string; } } } } })y",
        "<l><k>1</k><b1>x</b1></l>");
  is_whole_ = true;
  EXPECT_EQ(merge("<l><k>1</k><a1>x</a1></l>"), "/m:c/l[k='1']/m: mandatory leaf \"m\" is missing");
  EXPECT_EQ(merge("<l><k>1</k><d1>x</d1></l>"), "/m:c/l[k='1']/n: at least 2 entries of \"n\"");
}

// libyang makes the default b before it judges the condition of n.
TEST_F(ValidationExistence, AConditionThatAsksForADefaultTakesNothingGivenAway) {
  start(R"y(container c { leaf a { type string; }
             leaf b { when "../a = 'x'"; type string; default "b"; }
             container n { when "not(../b)"; leaf v { type string; } } leaf k { type string; } })y",
        "<n><v>1</v></n>");
  EXPECT_TRUE(has("/m:c/n/v"));
  EXPECT_EQ(merge("<k>1</k>"), "valid");
  EXPECT_EQ(merge("<a>y</a>"), "valid");
  EXPECT_TRUE(has("/m:c/n/v"));
  is_whole_ = true;
  EXPECT_EQ(merge("<a>x</a>"), "valid");
  EXPECT_FALSE(has("/m:c/n"));
  EXPECT_NE(merge("<n><v>1</v></n>"), "valid");
}

TEST_F(ValidationExistence, AConditionThatLooksAtItsOwnNode) {
  start(R"y(container c { leaf f { type string; } leaf g { type string; }
             list l { when "//m:f = 'x'"; key "k"; leaf k { type string; } } })y",
        "");
  is_whole_ = true;
  EXPECT_EQ(merge("<l><k>1</k></l>"), "/m:c/l[k='1']: when \"//m:f = 'x'\"");
  EXPECT_EQ(merge("<f>x</f><l><k>1</k></l>"), "valid");
  EXPECT_EQ(merge("<f>y</f>"), "valid");
  EXPECT_FALSE(has("/m:c/l[k='1']"));
}

TEST_F(ValidationExistence, StandingDefaultsComeBackWithTheLastNodeThatGoes) {
  start(R"y(container c { leaf a { type string; default "A"; } leaf b { type string; } }
             container e { leaf f { type string; default "F"; } } leaf g { type string; })y",
        "");
  EXPECT_TRUE(has("/m:c/a"));
  EXPECT_EQ(merge("<b>x</b>"), "valid");
  EXPECT_EQ(remove("/m:c"), "valid");
  EXPECT_TRUE(has("/m:c/a"));
  EXPECT_TRUE(has("/m:e/f"));
  EXPECT_EQ(change([](TreePtr& tree) { tree.reset(); }), "valid");
  EXPECT_TRUE(has("/m:c/a"));
  EXPECT_TRUE(has("/m:e/f"));
}

TEST_F(ValidationExistence, DefaultsThatDoNotStandAloneGoWithTheLastNode) {
  start(R"y(container c { leaf a { type string; default "A"; }
             leaf b { type string; mandatory true; } })y",
        "");
  EXPECT_EQ(configuration_->tree(), nullptr);
  EXPECT_EQ(merge("<b>x</b>"), "valid");
  EXPECT_TRUE(has("/m:c/a"));
  EXPECT_EQ(remove("/m:c"), "valid");
  EXPECT_EQ(configuration_->tree(), nullptr);
}

// libyang judges the modules in the order of their names.
TEST_F(ValidationExistence, RulesOverDefaultsOfALaterModule) {
  const nexa_test::TempFolder folder;
  folder.write("a.yang", R"y(module a { yang-version 1.1; namespace "urn:a"; prefix a;
    import b { prefix b; }
    container x { leaf y { type string; must "/b:z/b:l/b:d = 'D'"; } } })y");
  folder.write("b.yang", R"y(module b { yang-version 1.1; namespace "urn:b"; prefix b;
    container z { list l { key "k"; leaf k { type string; }
      leaf d { type string; default "D"; } } } })y");
  kestrel::LoadOptions options;
  options.search_dirs = {folder.path()};
  options.modules = {"a", "b"};
  ASSERT_EQ(nexa_test::load_text(options), "");
  configuration_ = std::make_unique<Configuration>();
  const std::string list = "<z xmlns=\"urn:b\"><l><k>1</k></l></z>";
  EXPECT_EQ(verdict(configuration_->merge("<x xmlns=\"urn:a\"><y>1</y></x>" + list)), "valid");
  configuration_->set("<x xmlns=\"urn:a\"><y>1</y></x>" + list);
  EXPECT_NE(remove("/b:z/l[k='1']"), "valid");
}

TEST_F(ValidationExistence, OneMoreEntryInACaseWithDefaults) {
  start(R"y(container c { choice ch { default d;
             case l { list l { key "k"; leaf k { type string; } }
                      leaf x { type string; default "X"; } }
             case d { leaf y { type string; default "Y"; } } } })y",
        "");
  EXPECT_TRUE(has("/m:c/y"));
  EXPECT_EQ(merge("<l><k>1</k></l>"), "valid");
  EXPECT_FALSE(has("/m:c/y"));
  EXPECT_TRUE(has("/m:c/x"));
  EXPECT_EQ(merge("<l><k>2</k></l>"), "valid");
  EXPECT_EQ(remove("/m:c/l[k='1']"), "valid");
  EXPECT_EQ(remove("/m:c/l[k='2']"), "valid");
  EXPECT_TRUE(has("/m:c/y"));
  EXPECT_FALSE(has("/m:c/x"));
}

TEST_F(ValidationExistence, AContainerOfADefaultCaseBesideANestedDefault) {
  start(R"y(container c { leaf x { type string; } choice ch { default a;
             case a { container e { when "../x = '1'"; leaf d { type string; default "D"; } }
                      choice in { default i; case i { leaf l { type string; default "L"; } } } }
             case b { leaf b { type string; } } } })y",
        "<x>1</x><b>B</b>");
  EXPECT_FALSE(has("/m:c/e"));
  EXPECT_EQ(remove("/m:c/b"), "valid");
  EXPECT_TRUE(has("/m:c/e/d"));
  EXPECT_TRUE(has("/m:c/l"));
}

TEST_F(ValidationExistence, RulesOverTheOrderOfASystemOrderedListAreJudgedWithTheWholeTree) {
  start(R"y(container c { list l { key "k"; leaf k { type string; } leaf v { type int32; } }
             leaf limit { type int32; must "not(../l[1]/v > .)"; } })y",
        "<l><k>b</k><v>1</v></l><limit>5</limit>");
  is_whole_ = true;
  EXPECT_EQ(merge("<l><k>a</k><v>3</v></l>"), "valid");
}

}  // namespace
}  // namespace nexa::store

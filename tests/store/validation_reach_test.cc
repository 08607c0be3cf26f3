// Changes at the top level, below conditions and beside unions, judged both ways; and what the
// conditions' own order finds in a tree that libyang does not judge.
#include "store/validation_rules_fixture.h"

namespace nexa::store {
namespace validation_reach_test {

class ValidationReach : public ValidationRulesFixture {
 protected:
  // Merges at the top level.
  std::string merge_top(const std::string& xml) { return verdict(configuration_->merge(xml)); }
  static std::string leaf(const std::string& name, const std::string& value) {
    return "<" + name + " xmlns=\"urn:m\">" + value + "</" + name + ">";
  }

  // All that is new, by the order of the conditions alone.
  std::string found(const std::string& xml, const std::string& old = "") {
    const TreePtr before = parse(old);
    TreePtr owner = parse(xml);
    mark(owner.get(), before.get());
    lyd_node* tree = owner.release();
    const std::optional<Violation> violation = configuration_->validator().find_violation(tree);
    owner.reset(tree);
    EXPECT_FALSE(has_private_data(tree));
    return violation ? violation->path + ": " + violation->rule : "";
  }

 private:
  void mark(lyd_node* first, const lyd_node* before) {
    for (lyd_node* node = first; node != nullptr; node = node->next) {
      const lyd_node* const match = find_match(before, node);
      configuration_->validator().mark_node(node, match == nullptr);
      mark(lyd_child(node), match != nullptr ? lyd_child(match) : nullptr);
    }
  }
};

TEST_F(ValidationReach, AProblemIsFoundWithoutLibyang) {
  start(R"y(container c { leaf k { type string; }
             leaf w { when "../k = 'w'"; type string; }
             container n { when "../k = 'n'";
               leaf v { when "../../k != 'x'"; type string; } leaf o { type string; } }
             leaf m { type string; must ". != 'bad'"; }
             leaf r { type leafref { path "../k"; } }
             list l { key "i"; unique "u"; max-elements 2; leaf i { type string; }
               leaf u { type string; } leaf need { type string; mandatory true; } }
             leaf d { when "../k = 'd'"; type string; default "D"; must "../m"; } })y",
        "");
  EXPECT_EQ(found(""), "");
  EXPECT_EQ(found(in_c("<k>w</k><w>1</w><m>good</m><r>w</r>")), "");
  EXPECT_EQ(found(in_c("<k>x</k><w>1</w>")), "/m:c/w: when \"../k = 'w'\"");
  EXPECT_EQ(found(in_c("<m>bad</m>")), "/m:c/m: must \". != 'bad'\"");
  EXPECT_EQ(found(in_c("<k>a</k><r>b</r>")), "/m:c/r: leafref: no \"../k\" with value \"b\"");
  EXPECT_EQ(found(in_c("<l><i>1</i></l>")),
            "/m:c/l[i='1']/need: mandatory leaf \"need\" is missing");
  const auto entry = [](const std::string& key, const std::string& value) {
    return "<l><i>" + key + "</i><u>" + value + "</u><need>n</need></l>";
  };
  EXPECT_EQ(found(in_c(entry("1", "a") + entry("2", "b"))), "");
  EXPECT_EQ(found(in_c(entry("1", "a") + entry("2", "a"))), "/m:c/l[i='2']: unique \"u\"");
  EXPECT_EQ(found(in_c(entry("1", "a") + entry("2", "b") + entry("3", "c"))),
            "/m:c/l[i='3']: at most 2 entries of \"l\"");
  // A default that comes is judged as well.
  EXPECT_EQ(found(in_c("<k>d</k>")), "/m:c/d: must \"../m\"");
  EXPECT_EQ(found(in_c("<k>d</k><m>1</m>")), "");
  // What stood before goes without a word, what is new does not.
  EXPECT_EQ(found(in_c("<k>x</k><w>1</w>"), in_c("<k>w</k><w>1</w>")), "");
  EXPECT_EQ(found(in_c("<k>x</k><n><o>1</o></n>"), in_c("<k>n</k><n><o>1</o></n>")), "");
  EXPECT_EQ(found(in_c("<k>y</k><n><v>1</v></n>"), in_c("<k>n</k><n><o>1</o></n>")),
            "/m:c/n/v: when \"../../k != 'x'\"");
}

// A case that stood may have given way to a new one, and takes with it what is given in it.
TEST_F(ValidationReach, WhatIsGivenInAnOldCaseGoesWithWhatItStandsIn) {
  start(R"y(container c { leaf k { type string; }
             container n { presence p; when "../k = 'n'"; leaf o { type string; }
               choice ch { case a { container b { leaf v { when "../../../k != 'x'"; type string; }
                                                  leaf w { type string; } } }
                           case d { leaf e { type string; } } } } })y",
        "");
  const std::string old = in_c("<k>n</k><n><b><w>1</w></b></n>");
  configuration_->set(old);
  EXPECT_EQ(merge("<k>y</k><n><b><v>1</v></b></n>"), "valid");
  EXPECT_FALSE(has("/m:c/n"));
  configuration_->set(in_c("<k>n</k><n><o>1</o></n>"));
  EXPECT_EQ(merge("<k>y</k><n><b><v>1</v></b></n>"), "/m:c/n/b/v: when \"../../../k != 'x'\"");
  EXPECT_TRUE(has("/m:c/n/o"));
}

TEST_F(ValidationReach, ConditionsAtTheTop) {
  start(R"y(leaf k { type string; } leaf other { type string; }
             leaf w { when "/m:k = 'w'"; type string; }
             leaf d { when "/m:k = 'd'"; type string; default "D"; }
             container n { when "/m:k = 'n'"; leaf v { type string; default "V"; } })y",
        "");
  EXPECT_EQ(merge_top(leaf("other", "1")), "valid");
  EXPECT_FALSE(has("/m:d"));
  EXPECT_EQ(merge_top(leaf("w", "1")), "/m:w: when \"/m:k = 'w'\"");
  EXPECT_EQ(merge_top(leaf("k", "w") + leaf("w", "1")), "valid");
  EXPECT_EQ(merge_top(leaf("k", "d")), "valid");
  EXPECT_FALSE(has("/m:w"));
  EXPECT_TRUE(has("/m:d"));
  EXPECT_EQ(merge_top(leaf("k", "n")), "valid");
  EXPECT_FALSE(has("/m:d"));
  EXPECT_TRUE(has("/m:n/v"));
  EXPECT_EQ(remove("/m:k"), "valid");
  EXPECT_FALSE(has("/m:n"));
}

// The root is no node that libyang would ask a condition of.
TEST_F(ValidationReach, ConditionsOfTheRootAreLeftToLibyang) {
  start(R"y(leaf k { type string; } leaf w { when "../k = 'w'"; type string; }
             choice ch { when "k = 'c'"; leaf x { type string; } })y",
        "");
  EXPECT_EQ(merge_top(leaf("k", "y")), "valid");
  is_whole_ = false;
  EXPECT_EQ(merge_top(leaf("w", "1")), "/m:w: when \"../k = 'w'\"");
  is_whole_ = true;
  EXPECT_NE(merge_top(leaf("x", "1")), "valid");
  EXPECT_EQ(merge_top(leaf("k", "c") + leaf("x", "1")), "valid");
}

TEST_F(ValidationReach, AUnionFindsAnInstanceOrNeedsNone) {
  start(R"y(container c { list l { key "k"; leaf k { type string; } leaf v { type string; } }
             leaf-list ll { type string; } leaf s { type string; }
             leaf u { type union { type uint8; type leafref { path "../l/k"; }
                                   type leafref { path "../ll"; } type leafref { path "../s"; }
                                   type leafref { path "../l/v"; } } } })y",
        "<l><k>a</k><v>x</v></l><l><k>b</k><v>y</v></l><ll>p</ll><ll>q</ll><s>z</s>");
  for (const char* const value : {"7", "a", "b", "p", "q", "z", "x", "y"}) {
    SCOPED_TRACE(value);
    EXPECT_EQ(merge("<u>" + std::string(value) + "</u>"), "valid");
  }
  is_whole_ = true;
  EXPECT_NE(merge("<u>none</u>"), "valid");
  EXPECT_EQ(remove("/m:c/l[k='b']/v").substr(0, 6), "/m:c/u");
  is_whole_ = false;
  EXPECT_EQ(remove("/m:c/l[k='a']"), "valid");
  EXPECT_EQ(remove("/m:c/ll[.='p']"), "valid");
}

TEST_F(ValidationReach, AReferenceToALeafOfAListWithSeveralKeys) {
  start(R"y(container c { list l { key "j k"; leaf j { type string; } leaf k { type string; }
               leaf v { type string; } }
             container e { presence p; list i { key "k"; leaf k { type string; } } }
             leaf u { type union { type leafref { path "../l/j"; }
                                   type leafref { path "../l/k"; }
                                   type leafref { path "../e/i/k"; } } } })y",
        "<l><j>a</j><k>b</k><v>v</v></l><l><j>c</j><k>d</k></l>");
  for (const char* const value : {"a", "b", "c", "d"}) {
    SCOPED_TRACE(value);
    EXPECT_EQ(merge("<u>" + std::string(value) + "</u>"), "valid");
  }
  is_whole_ = true;
  EXPECT_NE(merge("<u>v</u>"), "valid");
  EXPECT_NE(merge("<u>e</u>"), "valid");
  is_whole_ = false;
  EXPECT_EQ(merge("<e/>"), "valid");
  EXPECT_EQ(merge("<e><i><k>e</k></i></e><u>e</u>"), "valid");
  is_whole_ = true;
  EXPECT_NE(merge("<u>v</u>"), "valid");
}

// The second key alone finds no entry of a list at the top either.
TEST_F(ValidationReach, AReferenceToALastKeyAtTheTop) {
  start(R"y(list l { key "j k"; leaf j { type string; } leaf k { type string; } }
             list o { key "k"; leaf k { type string; } }
             container c { leaf r { type leafref { path "/m:l/m:k"; } }
                           leaf f { type leafref { path "/m:l/m:j"; } }
                           leaf u { type union { type leafref { path "/m:o/m:k"; }
                                                 type leafref { path "/m:l/m:k"; } } } })y",
        "");
  const auto entry = [](const std::string& j, const std::string& k) {
    return leaf("l", "<j>" + j + "</j><k>" + k + "</k>");
  };
  EXPECT_EQ(merge_top(entry("a", "b") + entry("c", "d") + leaf("o", "<k>x</k>")), "valid");
  EXPECT_EQ(merge("<r>d</r><f>c</f>"), "valid");
  EXPECT_EQ(merge("<r>c</r>"), "/m:c/r: leafref: no \"/m:l/m:k\" with value \"c\"");
  EXPECT_EQ(merge("<f>d</f>"), "/m:c/f: leafref: no \"/m:l/m:j\" with value \"d\"");
  EXPECT_EQ(merge("<u>x</u>"), "valid");
  EXPECT_EQ(merge("<u>b</u>"), "valid");
  is_whole_ = true;
  EXPECT_NE(merge("<u>a</u>"), "valid");
}

TEST_F(ValidationReach, WhatAnExtensionJudgesIsLeftToLibyang) {
  ASSERT_EQ(nexa_test::load_module("m", R"y(module m { yang-version 1.1; namespace "urn:m";
              prefix m; import ietf-yang-schema-mount { prefix mount; }
              container c { leaf a { type string; }
                container at { presence p; mount:mount-point "x"; leaf b { type string; } } } })y"),
            "");
  configuration_ = std::make_unique<Configuration>();
  configuration_->set(in_c("<a>1</a>"));
  EXPECT_EQ(merge("<a>2</a>"), "valid");
  is_whole_ = true;
  EXPECT_EQ(merge("<at><b>1</b></at>"), "valid");
  EXPECT_TRUE(has("/m:c/at/b"));
  EXPECT_EQ(remove("/m:c/at"), "valid");
  EXPECT_FALSE(has("/m:c/at"));
}

}  // namespace validation_reach_test
}  // namespace nexa::store

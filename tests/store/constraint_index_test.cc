// What the index knows of a schema: who watches whom, what is whole, what is missed when absent.
#include "store/validation/constraint_index.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>

#include "store/validation_fixture.h"
#include "store/xpath_models.h"

namespace nexa::store {
namespace constraint_index_test {

using Kind = Constraint::Kind;

class ConstraintIndexTest : public ::testing::Test {
 protected:
  // Over `module m` with this body.
  void load(const std::string& body) {
    const std::string text =
        "module m { yang-version 1.1; namespace \"urn:m\"; prefix m; " + body + " }";
    ASSERT_EQ(nexa_test::load_module("m", text), "");
    index_ = std::make_unique<ConstraintIndex>(kestrel::context());
  }

  const ConstraintIndex& index() const { return *index_; }
  const NodeRules& rules(const std::string& path) const { return index_->rules(node_at(path)); }
  void see(const std::string& xml) { index_->see(parse(xml).get()); }

  // Of the only constraint of this kind that the node states.
  const Constraint& own(const std::string& path, Kind kind) const {
    const Constraint* found = nullptr;
    for (const Constraint* const constraint : rules(path).own) {
      if (constraint->kind != kind) continue;
      EXPECT_EQ(found, nullptr) << "two at " << path;
      found = constraint;
    }
    EXPECT_NE(found, nullptr) << "none at " << path;
    static const Constraint kNone;
    return found != nullptr ? *found : kNone;
  }

  // The nodes whose constraints look at `path`.
  std::string watchers(const std::string& path) const {
    std::set<const lysc_node*> nodes;
    for (const Constraint* const constraint : rules(path).watchers) nodes.insert(constraint->node);
    return words({nodes.begin(), nodes.end()});
  }

 private:
  std::unique_ptr<ConstraintIndex> index_;
};

TEST_F(ConstraintIndexTest, NodesKnowWhoLooksAtThem) {
  load(R"(container c { leaf a { type string; } leaf b { type string; must "../a = 'x'"; }
            list l { key k; leaf k { type string; } leaf w { when "../../a"; type string; } } })");
  EXPECT_EQ(watchers("/m:c/a"), "c/b c/l/w");
  EXPECT_EQ(watchers("/m:c/b"), "");
  EXPECT_EQ(own("/m:c/b", Kind::kMust).reach, node_at("/m:c"));
  EXPECT_EQ(own("/m:c/l/w", Kind::kWhen).reach, node_at("/m:c"));
  EXPECT_TRUE(rules("/m:c/l/w").conditional);
  EXPECT_TRUE(index().whole().empty());
  EXPECT_FALSE(index().is_risky());
}

TEST_F(ConstraintIndexTest, WholeConstraintsAreReachedByWhatTheyLookAt) {
  load(R"(container c { leaf a { type string; } leaf b { type string; } leaf d { type string; }
            container e { leaf f { type string; } }
            container t { must "count(../e/*) < 2 and ../b"; } })");
  const Constraint& must = own("/m:c/t", Kind::kMust);
  EXPECT_EQ(must.whole, "wildcard *");
  EXPECT_EQ(index().whole().size(), 1U);
  EXPECT_TRUE(index().reaches_whole(node_at("/m:c/b")));
  EXPECT_TRUE(index().reaches_whole(node_at("/m:c/e/f")));
  EXPECT_TRUE(index().reaches_whole(node_at("/m:c/t")));
  EXPECT_FALSE(index().reaches_whole(node_at("/m:c/a")));
  EXPECT_FALSE(index().reaches_whole(node_at("/m:c/d")));
  EXPECT_EQ(watchers("/m:c/b"), "") << "libyang judges it, nobody else";
  EXPECT_FALSE(index().whole_everywhere());
}

TEST_F(ConstraintIndexTest, WholeConstraintsOfWhatWasNeverSeenCountForNothing) {
  load(R"(container c { leaf a { type string; } list l { key k; must "following::x";
            leaf k { type string; } must "../*" ; } })");
  EXPECT_TRUE(index().whole_everywhere());
  see("<c xmlns='urn:m'><a>1</a></c>");
  EXPECT_FALSE(index().whole_everywhere());
  EXPECT_FALSE(index().reaches_whole(node_at("/m:c/a")));
  see("<c xmlns='urn:m'><l><k>1</k></l></c>");
  EXPECT_TRUE(index().whole_everywhere());
  EXPECT_TRUE(index().reaches_whole(node_at("/m:c/a")));
}

TEST_F(ConstraintIndexTest, ConditionsOfWhatMattersAbsentAlwaysCount) {
  load(R"(container c { presence p; leaf a { type string; }
            leaf plain { when "../*[. = 'x']"; type string; }
            leaf usual { when "../*[. = 'y']"; type string; default "u"; } })");
  see("<c xmlns='urn:m'><a>1</a></c>");
  EXPECT_FALSE(own("/m:c/plain", Kind::kWhen).absent_matters);
  EXPECT_TRUE(own("/m:c/usual", Kind::kWhen).absent_matters);
  EXPECT_EQ(own("/m:c/usual", Kind::kWhen).absent_parent, node_at("/m:c"));
  EXPECT_TRUE(index().reaches_whole(node_at("/m:c/a")));
}

TEST_F(ConstraintIndexTest, AConditionOfAChoiceGovernsTheNodesOfAllItsCases) {
  load(R"(container c { leaf a { type string; }
            choice ch { when "a = 'x'"; mandatory true;
              case one { leaf b { type string; } }
              case two { choice deep { case three { when "a = 'y'"; leaf d { type string; }
                container e { presence p; } } } } } })");
  EXPECT_EQ(watchers("/m:c/a"), "c/b c/d c/e");
  EXPECT_EQ(rules("/m:c/d").own.size(), 2U);
  const Constraint& b = own("/m:c/b", Kind::kWhen);
  EXPECT_TRUE(b.absent_matters);
  EXPECT_EQ(b.absent_parent, node_at("/m:c"));
  EXPECT_STREQ(b.owner->name, "ch");
}

TEST_F(ConstraintIndexTest, AConditionAtTheTopHangsFromNoNode) {
  load(R"(leaf a { type string; } leaf b { when "/m:a"; type string; default "x"; })");
  const Constraint& when = own("/m:b", Kind::kWhen);
  EXPECT_TRUE(when.absent_matters);
  EXPECT_EQ(when.absent_parent, nullptr);
  EXPECT_EQ(when.reach, nullptr);
}

TEST_F(ConstraintIndexTest, ConditionsAreRankedBehindThoseTheyDependOn) {
  load(R"(container c { leaf a { type string; } leaf b { when "../a"; type string; default "b"; }
            leaf d { when "../b = 'b'"; type string; } leaf e { when "../a"; type string; } })");
  const int b = own("/m:c/b", Kind::kWhen).rank;
  EXPECT_GT(own("/m:c/d", Kind::kWhen).rank, b);
  EXPECT_EQ(own("/m:c/e", Kind::kWhen).rank, b);
  EXPECT_TRUE(index().has_when_chains());
}

TEST_F(ConstraintIndexTest, PlainReferencesKnowTheirTarget) {
  load(R"(container c { list l { key k; leaf k { type string; } leaf v { type string; } }
            leaf up { type leafref { path "../l/k"; } }
            leaf top { type leafref { path "/m:c/m:l/m:v"; } }
            leaf by { type leafref { path "../l[k = current()/../up]/v"; } }
            leaf any { type union { type leafref { path "../l/v"; } type uint8; } } })");
  EXPECT_EQ(own("/m:c/up", Kind::kReference).target, node_at("/m:c/l/k"));
  EXPECT_EQ(own("/m:c/up", Kind::kReference).reach, node_at("/m:c"));
  EXPECT_EQ(own("/m:c/top", Kind::kReference).target, node_at("/m:c/l/v"));
  EXPECT_EQ(own("/m:c/top", Kind::kReference).reach, nullptr);
  EXPECT_EQ(own("/m:c/by", Kind::kReference).target, nullptr);
  EXPECT_EQ(own("/m:c/by", Kind::kReference).whole, "");
  const Constraint& any = own("/m:c/any", Kind::kReference);
  ASSERT_EQ(any.members.size(), 1U);
  EXPECT_EQ(any.members[0].target, node_at("/m:c/l/v"));
  EXPECT_EQ(watchers("/m:c/l/v"), "c/any c/by c/top");
}

TEST_F(ConstraintIndexTest, LevelsWhereNodesAreCountedAreStructured) {
  constexpr char kPlain[] =
      "leaf l { type string; } leaf-list ll { type string; } container in { }"
      " list e { key k; leaf k { type string; } }";
  load(std::string("container none { ") + kPlain + " }");
  EXPECT_FALSE(rules("/m:none").structured);
  const char* const kBodies[] = {
      "choice ch { leaf a { type string; } }",
      "leaf a { type string; mandatory true; }",
      "list a { key k; leaf k { type string; } min-elements 1; }",
      "list a { key k; leaf k { type string; } max-elements 2; }",
      "list a { key k; unique v; leaf k { type string; } leaf v { type string; } }",
      "leaf-list a { type string; min-elements 1; }",
      "leaf-list a { type string; max-elements 2; }",
  };
  for (const char* const body : kBodies) {
    SCOPED_TRACE(body);
    load(std::string("container c { presence p; ") + kPlain + body + " }");
    EXPECT_TRUE(rules("/m:c").structured);
  }
}

TEST_F(ConstraintIndexTest, WhatLibyangMayDieOfIsWholeAndRisky) {
  const char* const kBodies[] = {
      "leaf m { when \"../a = 'x' and .. = ''\"; type string; mandatory true; }",
      "leaf-list m { when \"string(..) = ''\"; type string; min-elements 1; }",
      "choice ch { when \". = ''\"; mandatory true; leaf m { type string; } }",
      "leaf m { type string; must \"preceding-sibling::m:a\"; }",
      "leaf m { type string; must \"1 mod ../n = 0\"; }",
      "leaf m { type string; must \"deref(../a)/../n\"; }",
      "anydata any; leaf m { type string; must \"../any = ''\"; }",
      "leaf m { type string; must \"../a/text() = 'x'\"; }",
      "leaf m { type string; must \"../a/self::text() = 'x'\"; }",
  };
  for (const char* const body : kBodies) {
    SCOPED_TRACE(body);
    load(std::string("container c { presence p; leaf a { type string; } leaf n { type int8; } ") +
         body + " }");
    EXPECT_TRUE(index().is_risky());
    ASSERT_EQ(rules("/m:c/m").own.size(), 1U);
    const Constraint& constraint = *rules("/m:c/m").own[0];
    EXPECT_NE(constraint.hazard, "");
    EXPECT_NE(constraint.whole, "");
  }
}

TEST_F(ConstraintIndexTest, TheSameExpressionsAreSafeWhereNothingIsMissed) {
  load(R"(container c { leaf a { type string; } leaf m { when "../a = 'x'"; type string; }
            leaf o { when "string(../a) = 'y'"; type string; mandatory true; }
            leaf p { type string; must "../q mod 2 = 0"; } leaf q { type int8; } })");
  EXPECT_FALSE(index().is_risky());
  EXPECT_TRUE(index().whole().empty());
}

TEST_F(ConstraintIndexTest, StateDataStatesNothingThatIsJudged) {
  load(R"(container c { leaf a { type string; must "../s/t"; }
            container s { config false; leaf t { type string; must "following::x"; } } })");
  EXPECT_EQ(index().constraints().size(), 1U);
  EXPECT_FALSE(index().whole_everywhere());
}

TEST_F(ConstraintIndexTest, OperationsAndNotificationsAreNoData) {
  load(R"y(rpc go { input { leaf x { type string; must "../y"; } leaf y { type string; } } }
          notification news { must "x"; leaf x { type string; must "."; } }
          container c { container d { leaf e { type string; }
              action deep { input { leaf x { type string; must "."; } } } }
            action act { input { leaf x { type string; must "."; } } }
            notification told { must "x"; leaf x { type string; } }
            leaf a { type string; must "/m:go or ../m:act or ../m:told or /m:news"; }
            leaf b { type string; must "not(//m:act or //m:told)";
}
})y");
  EXPECT_EQ(index().constraints().size(), 2U);
  ExpressionSite site;
  site.context = kestrel::context();
  site.node = node_at("/m:c/a");
  site.module = site.node->module;
  site.prefixes = lysc_node_musts(site.node)[0].prefixes;
  for (const char* const path : {"/m:go", "/m:news", "../m:act", "../m:told", "//m:act"}) {
    EXPECT_EQ(words(paths_of(path, site).visited), "") << path;
  }
  EXPECT_EQ(words(paths_of("/m:c/descendant::node()", site).visited), "c c/a c/b c/d c/d/e");
}

TEST_F(ConstraintIndexTest, NothingIsKnownOfWhatNobodyLooksAt) {
  load(R"(container c { leaf a { type string; must "."; }
            choice ch { leaf b { type string; } }
            container s { config false; leaf t { type string; } } })");
  const lysc_node* const choice = node_at("/m:c/b")->parent->parent;
  for (const lysc_node* const node : {node_at("/m:c/s"), node_at("/m:c/s/t"), choice}) {
    const NodeRules& none = index().rules(node);
    EXPECT_TRUE(none.own.empty() && none.watchers.empty() && none.whole.empty()) << node->name;
    EXPECT_FALSE(none.conditional || none.foreign || none.structured || none.in_unique)
        << node->name;
  }
  EXPECT_EQ(rules("/m:c/a").own.size(), 1U);
}

// libyang keeps data that it has no schema for.
TEST_F(ConstraintIndexTest, DataWithoutASchemaIsPassedOver) {
  load(R"(container c { leaf a { type string; } list l { key k; leaf k { type string; }
            must "../*"; } })");
  lyd_node* tree = nullptr;
  ASSERT_EQ(lyd_new_opaq2(nullptr, kestrel::context(), "x", nullptr, nullptr, "urn:none", &tree),
            LY_SUCCESS);
  const TreePtr unknown(tree);
  ConstraintIndex index(kestrel::context());
  index.see(unknown.get());
  EXPECT_FALSE(index.reaches_whole(node_at("/m:c/a")));
  // What stands beside it is seen.
  lyd_node* const data = parse("<c xmlns='urn:m'><l><k>1</k></l></c>").release();
  unknown->next = data;
  index.see(unknown.get());
  unknown->next = nullptr;
  const TreePtr owner(data);
  EXPECT_TRUE(index.reaches_whole(node_at("/m:c/a")));
}

// Each of several entries may pick another one, and their order says how the values are read.
TEST_F(ConstraintIndexTest, ReferencesThatLookAtSeveralEntriesAreNoPlainOnes) {
  load(R"(container c { list l { key k; leaf k { type string; } leaf v { type string; } }
            list p { key j; leaf j { type union { type uint8; type string; } } }
            leaf d { type leafref { path "../l[k = current()/../p/j]/v"; } }
            leaf u { type union { type leafref { path "../l[k = current()/../p/j]/v"; }
                                  type leafref { path "../l/k"; }
                                  type leafref { path "../l/v"; require-instance false; } } } })");
  const Constraint& far = own("/m:c/d", Kind::kReference);
  EXPECT_EQ(far.target, nullptr);
  EXPECT_EQ(far.whole, "order of entries of list p");
  const Constraint& either = own("/m:c/u", Kind::kReference);
  EXPECT_EQ(either.whole, "order of entries of list p") << "one member is enough";
  EXPECT_EQ(either.target, nullptr);
  EXPECT_EQ(either.reach, nullptr);
  ASSERT_EQ(either.members.size(), 2U);
  EXPECT_EQ(either.members[0].target, nullptr);
  EXPECT_EQ(either.members[1].target, node_at("/m:c/l/k"));
  EXPECT_EQ(either.members[1].top, node_at("/m:c"));
}

}  // namespace constraint_index_test
}  // namespace nexa::store

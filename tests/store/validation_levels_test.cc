// Levels with a neighbour that the rules seldom meet: the top, entries that the user orders, nodes
// of another module, data without a schema.
#include "store/validation_rules_fixture.h"

namespace nexa::store {
namespace validation_levels_test {

class ValidationLevels : public ValidationRulesFixture {
 protected:
  std::string merge_top(const std::string& xml) { return verdict(configuration_->merge(xml)); }
  static std::string entry(const std::string& inner) {
    return "<l xmlns=\"urn:m\">" + inner + "</l>";
  }

  // The whole tree, all of it new.
  std::optional<Violation> judge(const std::string& xml) {
    TreePtr owner = parse(xml);
    for (lyd_node* top = owner.get(); top != nullptr; top = top->next) {
      configuration_->validator().mark_node(top, true);
      for (lyd_node* child = lyd_child(top); child != nullptr; child = child->next) {
        configuration_->validator().mark_node(child, true);
      }
    }
    lyd_node* tree = owner.release();
    std::optional<Violation> violation = configuration_->validator().judge_whole(tree);
    owner.reset(tree);
    return violation;
  }
};

TEST_F(ValidationLevels, UniqueValuesAtTheTop) {
  start(R"y(list l { key "k"; unique "u"; max-elements 3; leaf k { type string; }
             leaf u { type string; } })y",
        "");
  EXPECT_EQ(merge_top(entry("<k>1</k><u>a</u>") + entry("<k>2</k><u>b</u>")), "valid");
  EXPECT_EQ(merge_top(entry("<k>2</k><u>a</u>")), "/m:l[k='2']: unique \"u\"");
  EXPECT_EQ(merge_top(entry("<k>3</k><u>b</u>")), "/m:l[k='3']: unique \"u\"");
  EXPECT_EQ(merge_top(entry("<k>3</k>")), "valid");
  EXPECT_EQ(merge_top(entry("<k>4</k>")), "/m:l[k='4']: at most 3 entries of \"l\"");
  EXPECT_EQ(remove("/m:l[k='1']"), "valid");
  EXPECT_EQ(merge_top(entry("<k>2</k><u>a</u>")), "valid");
}

// What goes with its entry is not compared any more.
TEST_F(ValidationLevels, UniqueValuesOfAListThatGoes) {
  start(R"y(container c { leaf k { type string; }
             container n { when "../k = 'n'"; list l { key "k"; unique "u"; leaf k { type string; }
               leaf u { type string; } } } })y",
        "<k>n</k><n><l><k>1</k><u>a</u></l><l><k>2</k><u>b</u></l></n>");
  EXPECT_EQ(change([](TreePtr& tree) {
              for (const char* const path : {"/m:c/n/l[k='1']/u", "/m:c/k"}) {
                lyd_node* node = nullptr;
                ASSERT_EQ(lyd_find_path(tree.get(), path, 0, &node), LY_SUCCESS);
                ASSERT_EQ(lyd_change_term(node, "b"), LY_SUCCESS);
              }
            }),
            "valid");
  EXPECT_FALSE(has("/m:c/n"));
}

// Every entry comes back to its place, as the fixture sees to.
TEST_F(ValidationLevels, EntriesThatTheUserOrdersGoWithTheirCaseOrCondition) {
  start(R"y(container c { leaf k { type string; }
             list w { when "../k = 'w'"; key "i"; ordered-by user; leaf i { type string; } }
             leaf-list x { when "../k = 'w'"; ordered-by user; type string; }
             choice ch { case a { list u { key "i"; ordered-by user; leaf i { type string; } }
                                  leaf-list v { ordered-by user; type string; } }
                         case b { leaf b { type string; } } } })y",
        "<k>w</k><w><i>2</i></w><w><i>1</i></w><w><i>3</i></w><x>2</x><x>1</x><u><i>2</i></u>"
        "<u><i>1</i></u><u><i>3</i></u><v>3</v><v>1</v><v>2</v>");
  EXPECT_EQ(merge("<b>1</b>"), "valid");
  EXPECT_FALSE(has("/m:c/u[i='1']"));
  EXPECT_FALSE(has("/m:c/v[.='1']"));
  EXPECT_TRUE(has("/m:c/w[i='1']"));
  EXPECT_EQ(merge("<k>x</k>"), "valid");
  EXPECT_FALSE(has("/m:c/w[i='1']"));
  EXPECT_FALSE(has("/m:c/x[.='2']"));
}

TEST_F(ValidationLevels, WhatAnotherModuleMissesIsNamedWithIt) {
  const nexa_test::TempFolder folder;
  folder.write("m.yang", R"y(module m { yang-version 1.1; namespace "urn:m"; prefix m;
    container c { leaf k { type string; } leaf-list own { when "../k = 'o'"; type string;
                                                          min-elements 1; } } })y");
  folder.write("n.yang", R"y(module n { yang-version 1.1; namespace "urn:n"; prefix n;
    import m { prefix m; }
    augment "/m:c" { when "m:k = 'n'"; leaf need { type string; mandatory true; } }
    augment "/m:c" { when "m:k = 'p'"; leaf-list some { type string; min-elements 2; } } })y");
  ASSERT_EQ(nexa_test::load_text(folder), "");
  configuration_ = std::make_unique<Configuration>();
  EXPECT_EQ(merge("<k>x</k>"), "valid");
  EXPECT_EQ(merge("<k>n</k>"), "/m:c/n:need: mandatory leaf \"need\" is missing");
  EXPECT_EQ(merge("<k>p</k>"), "/m:c/n:some: at least 2 entries of \"some\"");
  EXPECT_EQ(merge("<k>o</k>"), "/m:c/own: at least 1 entries of \"own\"");
  EXPECT_EQ(merge("<k>n</k><need xmlns=\"urn:n\">1</need>"), "valid");
}

TEST_F(ValidationLevels, ALeafThatStandsTwiceIsOfNoStructure) {
  start(R"y(container c { leaf a { type string; } } leaf t { type string; })y", "");
  const std::optional<Violation> inner = judge(in_c("<a>1</a><a>2</a>"));
  ASSERT_TRUE(inner);
  EXPECT_EQ(inner->kind, Violation::Kind::kStructure);
  EXPECT_EQ(inner->path, "/m:c/a");
  EXPECT_EQ(inner->rule, "duplicate \"a\"");
  EXPECT_EQ(inner->failure().code, grpc::StatusCode::INVALID_ARGUMENT);
  const std::optional<Violation> top = judge("<t xmlns=\"urn:m\">1</t><t xmlns=\"urn:m\">2</t>");
  ASSERT_TRUE(top);
  EXPECT_EQ(top->path + ": " + top->rule, "/m:t: duplicate \"t\"");
}

TEST_F(ValidationLevels, NoChangeIsNoViolation) {
  start(R"y(container c { leaf a { type string; must "false()"; } })y", "");
  TreePtr owner = parse(in_c("<a>1</a>"));
  lyd_node* tree = owner.get();
  TreeChanges changes;
  const Validator::Outcome outcome = configuration_->validator().judge_change(tree, changes);
  EXPECT_FALSE(outcome.needs_whole);
  EXPECT_FALSE(outcome.violation);
  EXPECT_TRUE(changes.empty());
  changes.emplace_back().node = lyd_child(tree);
  const Validator::Outcome other = configuration_->validator().judge_change(tree, changes);
  ASSERT_TRUE(other.violation);
  EXPECT_EQ(other.violation->rule, "must \"false()\"");
}

// libyang alone can say what data is worth that it has no schema for. Beside it, the rest is
// judged.
TEST_F(ValidationLevels, DataWithoutASchema) {
  start(R"y(container c { leaf a { type string; default "A"; must "../b"; }
             leaf b { type string; mandatory true; } })y",
        "<b>1</b>");
  lyd_node* tree = nullptr;
  ASSERT_EQ(lyd_new_opaq2(nullptr, kestrel::context(), "x", nullptr, nullptr, "urn:none", &tree),
            LY_SUCCESS);
  TreePtr owner(tree);
  TreeChanges changes;
  changes.emplace_back().node = tree;
  EXPECT_TRUE(configuration_->validator().judge_change(tree, changes).needs_whole);
}

}  // namespace validation_levels_test
}  // namespace nexa::store

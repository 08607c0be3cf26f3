// What the authors of models are told of constraints that only the whole tree can judge.
#include "store/validation/constraint_report.h"

#include <gtest/gtest.h>

#include <string>

#include "real/temp_folder.h"

namespace nexa::store {
namespace constraint_report_test {

// Of `module m` with this body: a line for each whole constraint.
std::string lines(const std::string& body, std::size_t count) {
  const std::string text =
      "module m { yang-version 1.1; namespace \"urn:m\"; prefix m; " + body + "}";
  EXPECT_EQ(nexa_test::load_module("m", text), "");
  const ConstraintReport report = report_constraints();
  EXPECT_EQ(report.count, count);
  std::string all;
  for (const WholeConstraint& entry : report.whole) {
    EXPECT_EQ(entry.module, "m");
    all += entry.path + ": " + entry.kind + " " + entry.expression + " (" + entry.reason + ")";
    if (entry.every_change) all += " every change";
    if (entry.is_risky) all += " risky";
    all += "\n";
  }
  return all;
}

TEST(ConstraintReport, SaysWhatIsStatedAndWhy) {
  EXPECT_EQ(lines(R"(container c { must "following::m:a"; must "a"; leaf a { type string; }
                       leaf b { when "../*"; type string; must "../a mod ../a"; must "//m:a"; } })",
                  5),
            "/m:c: must following::m:a (axis following) every change risky\n"
            "/m:c/b: when ../* (wildcard *)\n"
            "/m:c/b: must ../a mod ../a (mod by what may be 0) risky\n"
            "/m:c/b: must //m:a (//)\n");
}

TEST(ConstraintReport, IsEmptyWhereEveryChangeCanBeJudgedAlone) {
  EXPECT_EQ(lines(R"(container c { must "a"; leaf a { type string; }
                       leaf r { type leafref { path "../a"; } } leaf i { type instance-identifier; } })",
                  3),
            "");
}

// Each of its nodes has the condition, and it is told of once.
TEST(ConstraintReport, CountsAConditionOfAChoiceOnce) {
  EXPECT_EQ(lines(R"(container o { presence o; } container c { leaf a { type string; }
                       choice ch { when "../o//*"; case x { when "//m:a"; leaf b { type string; }
                                                      leaf d { type string; } }
                                   leaf e { type string; when "../../o"; } } })",
                  3),
            "/m:c/ch/x: when //m:a (//)\n"
            "/m:c/ch: when ../o//* (//) risky\n");
}

TEST(ConstraintReport, NamesThePathsOfAUnion) {
  EXPECT_EQ(
      lines(R"(container c { leaf r { type leafref { path "../l/k"; } }
                       list l { key k; leaf k { type string; } leaf v { type string; } }
                       list p { key j; leaf j { type union { type uint8; type string; } } }
                       leaf u { type union {
                         type leafref { path "../l/k"; }
                         type leafref { path "../l[k = current()/../p/j]/v"; }
                         type union { type uint8; type leafref { path "/m:c/m:r"; } }
                         type leafref { path "../l/v"; require-instance false; }
                         type instance-identifier; } }
                       leaf d { type leafref { path "../l[k = current()/../p/j]/v"; } } })",
            3),
      "/m:c/u: leafref ../l/k ../l[k = current()/../p/j]/v /m:c/m:r (order of entries of list p)\n"
      "/m:c/d: leafref ../l[k = current()/../p/j]/v (order of entries of list p)\n");
}

}  // namespace constraint_report_test
}  // namespace nexa::store

// What libyang 2.1.30 does not survive, or does not end: the store answers such a Set, goes on, and
// opens what it stored. Each case is a fixed module in a process of its own.
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "real/temp_folder.h"
#include "store/random_case.h"
#include "store/tree_store.h"
#include "support/results.h"
#include "translate/path_string.h"

namespace nexa_test {
namespace store_survival_test {

using nexa::store::CommitRequest;
using nexa::store::Edit;

std::string module_of(const std::string& body) {
  return "module s { yang-version 1.1; namespace \"urn:s\"; prefix s;\n" + body + "}\n";
}

Edit update(const std::string& inner) {
  return {Edit::Kind::kUpdate, {}, "<config>" + inner + "</config>"};
}
Edit top(const std::string& inner) { return update("<top xmlns=\"urn:s\">" + inner + "</top>"); }
Edit drop(const std::string& path) {
  Edit edit{Edit::Kind::kDelete, {}, ""};
  edit.target.path = *nexa::translate::parse_path_string(path, nullptr);
  return edit;
}

// What a case does in a process that may die; "" when it ends as it should.
std::string outcome_of(const std::string& body, std::vector<std::vector<Edit>> sets) {
  CasePlan plan;
  plan.schema.modules["m"] =
      "module m { yang-version 1.1; namespace \"urn:m\"; prefix m;\n" + body + "}\n";
  plan.is_careful = true;
  plan.schema.may_crash = true;
  for (std::vector<Edit>& edits : sets) {
    StoreOperation operation;
    operation.edits = std::move(edits);
    plan.operations.push_back(std::move(operation));
    operation = {};
    operation.kind = StoreOperation::Kind::kRestart;
    plan.operations.push_back(std::move(operation));
  }
  const CaseOutcome outcome = run_case(plan);
  EXPECT_TRUE(outcome.is_loaded);
  return outcome.kind.empty() ? "" : outcome.kind + ": " + outcome.details;
}
Edit in_top(const std::string& inner) { return update("<top xmlns=\"urn:m\">" + inner + "</top>"); }

TEST(StoreSurvives, AnydataWhoseTextLooksLikeAPrefixedName) {
  const std::string body = R"yang(container top { anydata any; leaf-list other { type string;
                default "b"; } leaf a { type string; }
                must "not(//m:a = 'no')"; })yang";
  for (const char* const name : {"http://h/p", "a:b:c", "m:top"}) {
    const std::string element = "<z xmlns=\"urn:z\">" + std::string(name) + "</z>";
    EXPECT_EQ(outcome_of(body, {{in_top("<any>" + element + "</any>")},
                                {in_top("<a>x</a>")},
                                {in_top("<any><a xmlns=\"\">" + std::string(name) + "</a></any>")},
                                {drop("/m:top/m:any")}}),
              "")
        << name;
  }
}

TEST(StoreSurvives, MustWithPrecedingSibling) {
  EXPECT_EQ(outcome_of(R"yang(container top { leaf a { type string; } } leaf o { type string; }
                leaf b { type string; must "count(preceding-sibling::*) < 9"; })yang",
                       {{in_top("<a>x</a>")},
                        {update("<o xmlns=\"urn:m\">y</o>")},
                        {update("<b xmlns=\"urn:m\">y</b>")},
                        {in_top("<a>z</a>")}}),
            "");
}

TEST(StoreSurvives, DerefOfALeafThatIsNoReference) {
  EXPECT_EQ(outcome_of(R"yang(container top { leaf a { type string; }
                leaf b { type string; must "not(deref(../a)/.. = 'c')"; } })yang",
                       {{in_top("<a>x</a>")}, {in_top("<b>y</b>")}}),
            "");
}

TEST(StoreSurvives, PredicateThatAsksForTheCurrentNodeThatIsAbsent) {
  EXPECT_EQ(outcome_of(R"yang(container top { list l { key k; leaf k { type string; }
                leaf v { when "string(/m:top/m:l[m:k != string(current())]/m:k) = '2'";
                  type string; mandatory true; } } })yang",
                       {{in_top("<l><k>1</k></l>")}, {in_top("<l><k>2</k></l>")}}),
            "");
}

TEST(StoreSurvives, MustOverTheEntriesBefore) {
  EXPECT_EQ(outcome_of(R"yang(container top {
                list l { key k; ordered-by user; leaf k { type string; }
                  must "not(preceding-sibling::m:l/m:v > m:v)"; leaf v { type uint8; } } })yang",
                       {{in_top("<l><k>1</k><v>1</v></l>")},
                        {in_top("<l><k>2</k><v>2</v></l>")},
                        {in_top("<l><k>3</k><v>1</v></l>")}}),
            "");
}

// libyang 2.1.30 does not end over a default that one module adds to a case of another one's
// top-level choice, so such a schema is not begun with.
TEST(StoreSurvives, DefaultAddedToATopLevelCase) {
  const TempFolder models;
  models.write("m.yang", R"yang(module m { yang-version 1.1; namespace "urn:m"; prefix m;
    choice ch { case a { container c { presence "c"; leaf x { type string; } } } } })yang");
  models.write("n.yang", R"yang(module n { yang-version 1.1; namespace "urn:n"; prefix n;
    import m { prefix m; }
    augment "/m:ch/m:a" { leaf d { type string; default "true"; } } })yang");
  ASSERT_EQ(load_text(models), "");
  nexa::store::TreeStoreOptions options;
  options.directory = models.file("data");
  EXPECT_EQ(nexa_test::line_of(nexa::store::open_tree_store(options)),
            "module n adds \"d\", which has a default, to a choice at the top level of module m: "
            "libyang cannot complete it; take the default or the augment out");
  EXPECT_FALSE(std::filesystem::exists(options.directory));
}

// libyang keeps the freed leaf in the list's `unique` and reads it when two entries are there.
TEST(StoreSurvives, UniqueOfALeafThatADeviationTookOut) {
  const TempFolder models;
  models.write("m.yang", R"yang(module m { yang-version 1.1; namespace "urn:m"; prefix m;
    container top { list l { key k; leaf k { type string; } unique "a c/b"; leaf a { type string; }
      container c { leaf b { type string; } } } } })yang");
  models.write("d.yang", R"yang(module d { namespace "urn:d"; prefix d; import m { prefix m; }
    deviation "/m:top/m:l/m:c" { deviate not-supported; } })yang");
  ASSERT_EQ(load_text(models), "");
  nexa::store::TreeStoreOptions options;
  options.directory = models.file("data");
  EXPECT_EQ(nexa_test::line_of(nexa::store::open_tree_store(options)),
            "module m: a unique of list \"l\" names a leaf that a deviation took out; take that "
            "deviation out, or let it delete the unique as well");
}

// The rule came with a newer module; the data were there before.
TEST(StoreSurvives, StartOverDataThatLibyangCannotJudge) {
  const auto live = [] {
    const TempFolder folder;
    const std::string body =
        "container top { leaf a { type string; } } leaf o { type string; } leaf b { type string; ";
    nexa::store::TreeStoreOptions options;
    options.directory = folder.file("data");
    options.sync = false;
    if (!load_module("s", module_of(body + "}")).empty()) _exit(2);
    CommitRequest request;
    request.edits = {top("<a>x</a>"), update("<o xmlns=\"urn:s\">y</o>"),
                     update("<b xmlns=\"urn:s\">y</b>")};
    {
      const auto first = nexa::store::open_tree_store(options);
      if (!first.ok() || !first.value()->commit(request).status.ok()) _exit(3);
    }
    if (!load_module("s", module_of(body + "must \"count(preceding-sibling::*) < 9\"; }"))
             .empty()) {
      _exit(4);
    }
    auto opened = nexa::store::open_tree_store(options);
    if (!opened.ok()) _exit(5);
    auto store = std::move(opened).value();
    const std::string xml = store->snapshot()->xml();
    store.reset();
    _exit(xml.find(">y</b>") != std::string::npos ? 0 : 6);
  };
  EXPECT_EXIT(live(), testing::ExitedWithCode(0), "");
}

}  // namespace store_survival_test
}  // namespace nexa_test

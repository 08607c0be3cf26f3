// Configurations that a judgement of the change alone, or libyang itself, is known to get wrong:
// each is a fixed module, and the store answers as RFC 7950 says, before and after a start.
#include <gtest/gtest.h>

#include <ctime>
#include <memory>
#include <ostream>
#include <string>

#include "real/temp_folder.h"
#include "store/tree_store.h"
#include "support/targets.h"
#include "translate/path_string.h"

namespace nexa_test {
namespace {

using nexa::store::CommitRequest;
using nexa::store::CommitResult;
using nexa::store::ConfigStore;
using nexa::store::Edit;

std::string module_of(const std::string& body) {
  return "module s { yang-version 1.1; namespace \"urn:s\"; prefix s;\n" + body + "}\n";
}

Edit update(const std::string& inner) {
  return {Edit::Kind::kUpdate, {}, "<config>" + inner + "</config>"};
}
Edit top(const std::string& inner) { return update("<top xmlns=\"urn:s\">" + inner + "</top>"); }
Edit drop(const std::string& path) {
  return {Edit::Kind::kDelete,
          nexa_test::target_of(*nexa::translate::parse_path_string(path, nullptr)), ""};
}

class StoreFindings : public testing::Test {
 protected:
  void start(const std::string& body) {
    ASSERT_EQ(load_module("s", module_of(body)), "");
    restart();
  }
  void restart() {
    store_.reset();
    nexa::store::TreeStoreOptions options;
    options.directory = folder_.file("data");
    options.sync = false;
    std::string error;
    store_ = nexa::store::open_tree_store(options, error);
    ASSERT_NE(store_, nullptr) << error;
  }

  grpc::Status commit(const Edit& edit) {
    if (store_ == nullptr) return {grpc::StatusCode::ABORTED, "no store"};
    CommitRequest request;
    request.edits = {edit};
    return store_->commit(request).status;
  }
  // Empty for OK.
  std::string text(const Edit& edit) { return commit(edit).error_message(); }

  // All there is, with defaults.
  std::string json() const {
    if (store_ == nullptr) return "no store";
    nexa::store::Query query;
    query.encoding = gnmi::JSON_IETF;
    std::string all;
    const grpc::Status status = store_->snapshot()->read(
        query, nullptr,
        [&all](gnmi::Path& /*path*/, gnmi::TypedValue& value) { all += value.json_ietf_val(); });
    if (!status.ok()) return status.error_message();
    return all.empty() ? "{}" : all;
  }
  void expect_json(const std::string& wanted) {
    EXPECT_EQ(json(), wanted);
    restart();
    if (store_ == nullptr) return;
    EXPECT_EQ(json(), wanted) << "after a start";
  }

  TempFolder folder_;
  std::unique_ptr<ConfigStore> store_;
};

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

// The refused Set was judged over a tree in which the condition had taken its container out. The
// tree that is made anew has it.
TEST_F(StoreFindings, AConditionIsAskedAfterARefusalThatFollowsAStart) {
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

// libyang judges the musts of a module before it looks at the conditions of the next one.
TEST_F(StoreFindings, AMustMayLookAtTheConditionalNodesOfALaterModule) {
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

// Nothing is configured; libyang divides by zero as soon as it makes the default.
TEST_F(StoreFindings, AStartOutlivesTheConditionOfADefault) {
  start(R"yang(container top { leaf n { type uint8; }
    leaf d { when "1 mod ../s:n = 0"; type string; default "D"; } })yang");
  ASSERT_NE(store_, nullptr);
  expect_json("{}");
}

// For libyang the root is an ancestor of any name, and its text is that of all there is.
TEST_F(StoreFindings, AMustThatAsksForTheTextOfItsAncestorsAtTheTop) {
  start(R"yang(container top { leaf f { type string; } leaf g { type string; }
    must "not(normalize-space(ancestor::*) = 'c')"; })yang");
  ASSERT_EQ(text(top("<f>a</f><g>b</g>")), "");
  EXPECT_EQ(commit(update("<top xmlns=\"urn:s\"><f/><g>c</g></top>")).error_code(),
            grpc::StatusCode::FAILED_PRECONDITION);
  expect_json(R"({"s:top":{"f":"a","g":"b"}})");
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

// libyang asks for the text of the empty anydata, which it dies of; the outer condition makes its
// condition void.
TEST_F(StoreFindings, AnOuterConditionAnswersWhereLibyangDiesOfAnInnerOne) {
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

class StoreFindingsWhen : public StoreFindings, public testing::WithParamInterface<Way> {
 protected:
  std::string body(const std::string& node) const {
    return "container top { leaf first { type string; }\n" + node +
           "leaf flag { type string; } leaf ref { type leafref { path \"../flag\"; } } }\n";
  }
  std::string when() const { return "when \"" + std::string(GetParam().condition) + "\"; "; }
};

TEST_P(StoreFindingsWhen, ThatBecomesTrueBringsTheDefault) {
  start(body("leaf d { " + when() + " type string; default \"x\"; }"));
  ASSERT_EQ(text(top("<first>1</first>")), "");
  ASSERT_EQ(text(top("<flag>on</flag><ref>on</ref>")), "");
  expect_json(R"({"s:top":{"first":"1","d":"x","flag":"on","ref":"on"}})");
  ASSERT_EQ(text(top("<flag>off</flag><ref>off</ref>")), "");
  expect_json(R"({"s:top":{"first":"1","flag":"off","ref":"off"}})");
}

TEST_P(StoreFindingsWhen, ThatBecomesTrueAsksForTheMandatoryLeaf) {
  start(body("leaf d { " + when() + " type string; mandatory true; }"));
  ASSERT_EQ(text(top("<first>1</first>")), "");
  EXPECT_EQ(commit(top("<flag>on</flag><ref>on</ref>")).error_code(),
            grpc::StatusCode::FAILED_PRECONDITION);
  expect_json(R"({"s:top":{"first":"1"}})");
  EXPECT_EQ(text(top("<d>y</d><flag>on</flag><ref>on</ref>")), "");
}

TEST_P(StoreFindingsWhen, ThatBecomesTrueAsksForTheEntries) {
  start(body("leaf-list d { " + when() + " type string; min-elements 1; }"));
  ASSERT_EQ(text(top("<first>1</first>")), "");
  EXPECT_EQ(commit(top("<flag>on</flag><ref>on</ref>")).error_code(),
            grpc::StatusCode::FAILED_PRECONDITION);
  expect_json(R"({"s:top":{"first":"1"}})");
}

TEST_P(StoreFindingsWhen, ThatBecomesTrueAsksForTheMandatoryChoice) {
  // The context of a choice's condition is the container around it.
  const bool from_child = GetParam().name == std::string("Axis");
  const std::string condition = from_child ? "when \"descendant::s:flag = 'on'\"; " : when();
  start(body("choice d { " + condition +
             "mandatory true; leaf d1 { type string; } leaf d2 { type string; } }"));
  EXPECT_EQ(commit(top("<flag>on</flag><ref>on</ref>")).error_code(),
            grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(text(top("<d2>y</d2><flag>on</flag><ref>on</ref>")), "");
}

INSTANTIATE_TEST_SUITE_P(Ways, StoreFindingsWhen,
                         testing::Values(Way{"Everywhere", "//s:flag = 'on'"},
                                         Way{"Axis", "ancestor::s:top/child::s:flag = 'on'"},
                                         Way{"Descendants", "/descendant::s:flag = 'on'"},
                                         Way{"Deref", "deref(/s:top/s:ref) = 'on'"}),
                         [](const testing::TestParamInfo<Way>& way) {
                           return std::string(way.param.name);
                         });

TEST_F(StoreFindings, DefaultWhoseWhenAsksForAnotherDefault) {
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

TEST_F(StoreFindings, DefaultWhoseWhenDeniesAnotherDefault) {
  start(R"yang(container top { leaf on { type string; }
    leaf b { when "not(../a)"; type string; default "2"; }
    leaf a { when "../on"; type string; default "1"; } })yang");
  EXPECT_EQ(json(), R"({"s:top":{"b":"2"}})");
  ASSERT_EQ(text(top("<on>x</on>")), "");
  expect_json(R"({"s:top":{"on":"x","a":"1"}})");
  ASSERT_EQ(text(drop("/s:top/on")), "");
  expect_json(R"({"s:top":{"b":"2"}})");
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

// libyang waits for ever for the outcome of a condition that looks at its own node, and then takes
// the node as it is.
TEST_F(StoreFindings, WhenThatLooksAtItsOwnNodeOnTheWay) {
  start(R"yang(container top { leaf a { type string; } leaf f { type string; }
      uses g { when "self::s:top//s:f = 'x'"; } }
    grouping g { list l { key k; leaf k { type string; } } })yang");
  EXPECT_FALSE(commit(top("<l><k>1</k></l>")).ok());
  expect_json("{}");
  EXPECT_EQ(text(top("<f>x</f><l><k>1</k></l>")), "");
  expect_json(R"({"s:top":{"f":"x","l":[{"k":"1"}]}})");
}

// A name that the schema does not have selects nothing, which is false.
TEST_F(StoreFindings, WhenOverANameThatTheSchemaDoesNotHave) {
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

TEST_F(StoreFindings, RollbackBringsBackWhatAnAnydataHeld) {
  start("anydata any;");
  ASSERT_EQ(text(update("<any xmlns=\"urn:s\"><z xmlns=\"urn:z\">plain</z></any>")), "");
  const std::string before = store_->snapshot()->xml();
  ASSERT_EQ(text(update("<any xmlns=\"urn:s\"><a xmlns=\"\">plain</a></any>")), "");
  ASSERT_TRUE(store_->rollback(1, "tester", nullptr).status.ok());
  EXPECT_EQ(store_->snapshot()->xml(), before);
  restart();
  ASSERT_NE(store_, nullptr);
  EXPECT_EQ(store_->snapshot()->xml(), before);
}

TEST_F(StoreFindings, RollbackToACommitThatReplacedUserOrderedValues) {
  start(
      R"yang(container top { container c { leaf-list s { type string; ordered-by user; } leaf f { type string; } } })yang");
  const auto put = [](const std::string& inner) {
    return Edit{Edit::Kind::kReplace,
                nexa_test::target_of(*nexa::translate::parse_path_string("/s:top/c", nullptr)),
                "<config><top xmlns=\"urn:s\"><c>" + inner + "</c></top></config>"};
  };
  ASSERT_EQ(text(put("<s>two</s><s>three</s><f>two</f>")), "");
  ASSERT_EQ(text(put("<s>one</s><s>two</s><f>one</f>")), "");
  const std::string before = store_->snapshot()->xml();
  ASSERT_EQ(text(top("<c><f>x</f></c>")), "");
  const CommitResult back = store_->rollback(2, "tester", nullptr);
  EXPECT_TRUE(back.status.ok()) << back.status.error_message();
  EXPECT_EQ(store_->snapshot()->xml(), before);
}

TEST_F(StoreFindings, AnydataWithOtherContentIsAChange) {
  start("anydata any;");
  ASSERT_EQ(text(update("<any xmlns=\"urn:s\"><z xmlns=\"urn:z\">plain</z></any>")), "");
  ASSERT_EQ(text(update("<any xmlns=\"urn:s\"><a xmlns=\"\">plain</a></any>")), "");
  EXPECT_EQ(store_->snapshot()->number(), 2U);
  EXPECT_EQ(store_->snapshot()->xml().find("urn:z"), std::string::npos);
}

double cpu_seconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

TEST_F(StoreFindings, OneMoreEntryOfAUserOrderedListCostsTheSame) {
  start(R"yang(container top { list l { key k; ordered-by user; leaf k { type uint32; } } })yang");
  const auto entry = [](int k) { return "<l><k>" + std::to_string(k) + "</k></l>"; };
  int next = 0;
  const auto cost = [&](int size) {
    std::string entries;
    while (next < size) entries += entry(next++);
    EXPECT_EQ(text(top(entries)), "");
    double least = 1e9;
    for (int i = 0; i < 5; ++i) {
      const double begin = cpu_seconds();
      EXPECT_EQ(text(top(entry(next++))), "");
      least = std::min(least, cpu_seconds() - begin);
    }
    return least;
  };
  const double few = cost(100);
  EXPECT_LT(cost(4000), 10 * few);
}

TEST_F(StoreFindings, RuleOverTheOrderOfASystemOrderedListHasOneAnswer) {
  start(R"yang(container top { leaf probe { type string; must "../l[1]/k = 'a'"; }
    list l { key k; leaf k { type string; } leaf v { type string; } } })yang");
  const auto entry = [](const std::string& k) { return top("<l><k>" + k + "</k></l>"); };
  ASSERT_EQ(text(entry("b")), "");
  ASSERT_EQ(text(entry("a")), "");
  ASSERT_EQ(text(entry("c")), "");
  ASSERT_EQ(text(drop("/s:top/l[k=b]")), "");
  ASSERT_EQ(text(entry("b")), "");
  ASSERT_EQ(text(drop("/s:top/l[k=a]")), "");
  CommitRequest two;
  two.edits = {entry("a"), top("<l><k>c</k><v>1</v></l>")};
  ASSERT_TRUE(store_->commit(two).status.ok());
  const bool first = commit(top("<probe>x</probe>")).ok();
  for (int i = 0; i < 4; ++i) {
    ASSERT_EQ(text(drop("/s:top/probe")), "");
    EXPECT_EQ(commit(top("<probe>x</probe>")).ok(), first) << i;
  }
  const std::string before = json();
  restart();
  ASSERT_NE(store_, nullptr);
  EXPECT_EQ(json(), before);
  ASSERT_EQ(text(drop("/s:top/probe")), "");
  EXPECT_EQ(commit(top("<probe>x</probe>")).ok(), first) << "after a start";
}

}  // namespace
}  // namespace nexa_test

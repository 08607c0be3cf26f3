// The binding walk: what each visit binds, where it goes on, and what stops it.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>

#include "nexa/cjson_csnode.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_test {
namespace json_binding_visit_test {

using nexa::Json2cJsonCsnodeHash;
using Tree = std::unique_ptr<cJSON, void (*)(cJSON*)>;

constexpr char kFile[] = "nexa_srv_rpc_msg_helpers/json_binding_visit.cc";

Tree parse(const std::string& json) { return {cJSON_Parse(json.c_str()), &cJSON_Delete}; }

std::string print(const cJSON* tree) {
  const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(tree),
                                                          &cJSON_free);
  return text.get();
}

const cJSON* member(const Tree& tree, const char* name) {
  return cJSON_GetObjectItemCaseSensitive(tree.get(), name);
}

class JsonBindingVisitTest : public testing::Test {
 protected:
  kestrel_cs_node* node_of(const cJSON* item) const {
    const nexa::cJsonCsnode* binding = hash_.find(item);
    return binding != nullptr ? binding->cs_node : nullptr;
  }

  FakeSchema schema_;
  FakeModule& module_ = schema_.module("mod", "m", "urn:m");
  FakeNode top_ = module_.container("top");
  FakeNode leaf_ = top_.leaf("leaf");
  FakeNode inner_ = top_.container("inner");
  FakeNode deep_ = inner_.leaf("deep");
  FakeNode list_ = top_.list("list", {"a", "b"});
  FakeNode key_a_ = list_.leaf("a");
  FakeNode key_b_ = list_.leaf("b");
  FakeNode value_ = list_.leaf("x");
  FakeNode leaf_list_ = top_.leaf_list("values");
  Json2cJsonCsnodeHash hash_;
};

TEST_F(JsonBindingVisitTest, ObjectBindsItselfAndEveryItemBelow) {
  const Tree tree = parse(R"({"leaf":"t","mod:inner":{"deep":1},"values":["p",2,true,null]})");
  EXPECT_TRUE(visit_object(tree.get(), top_, &hash_).ok());
  EXPECT_EQ(node_of(tree.get()), top_.get());
  EXPECT_EQ(node_of(member(tree, "leaf")), leaf_.get());
  const cJSON* inner = member(tree, "mod:inner");
  EXPECT_EQ(node_of(inner), inner_.get());
  EXPECT_EQ(node_of(inner->child), deep_.get());
  const cJSON* values = member(tree, "values");
  EXPECT_EQ(node_of(values), leaf_list_.get());
  for (const cJSON* value = values->child; value != nullptr; value = value->next) {
    EXPECT_EQ(node_of(value), leaf_list_.get());
  }
  EXPECT_EQ(hash_.size(), 9u);
}

TEST_F(JsonBindingVisitTest, PrefixedAndBareMembersBindToTheSameNode) {
  const Tree tree = parse(R"({"leaf":1,"mod:leaf":2})");
  EXPECT_TRUE(visit_object(tree.get(), top_, &hash_).ok());
  EXPECT_EQ(node_of(tree->child), leaf_.get());
  EXPECT_EQ(node_of(tree->child->next), leaf_.get());
}

TEST_F(JsonBindingVisitTest, RepeatedVisitLeavesTheSecondBinding) {
  const Tree tree = parse("1");
  visit_number(tree.get(), leaf_, &hash_);
  visit_number(tree.get(), deep_, &hash_);
  EXPECT_EQ(node_of(tree.get()), deep_.get());
  EXPECT_EQ(hash_.size(), 1u);
}

TEST_F(JsonBindingVisitTest, ScalarVisitsAndTheNameBindTheirItemAlone) {
  const Tree tree = parse(R"({"leaf":[1]})");
  using Visit = void (*)(cJSON*, kestrel_cs_node*, Json2cJsonCsnodeHash*);
  testing::internal::CaptureStdout();
  for (const Visit visit : {&nexa::visit_name, &nexa::visit_null, &nexa::visit_bool,
                            &nexa::visit_number, &nexa::visit_string}) {
    Json2cJsonCsnodeHash hash;
    visit(tree->child, leaf_, &hash);
    ASSERT_NE(hash.find(tree->child), nullptr);
    EXPECT_EQ(hash.find(tree->child)->cs_node, leaf_.get());
    EXPECT_EQ(hash.size(), 1u);
  }
  testing::internal::GetCapturedStdout();
}

TEST_F(JsonBindingVisitTest, MemberWithoutNameIsMatchedAsAnArrayElement) {
  for (const gpr_log_severity level : {GPR_LOG_SEVERITY_DEBUG, GPR_LOG_SEVERITY_ERROR}) {
    LogCapture log(level);
    const Tree tree = parse("[1]");
    EXPECT_EQ(visit_object(tree.get(), top_, &hash_).error_code(), grpc::StatusCode::INTERNAL);
    FakeNode single = top_.list("single", {"k"});
    const FakeNode only = single.leaf("k");
    EXPECT_TRUE(visit_object(tree.get(), single, &hash_).ok());
    EXPECT_EQ(node_of(tree->child), only.get());
  }
}

TEST_F(JsonBindingVisitTest, UnmatchedMemberEndsItsObjectWithAStatus) {
  struct Case {
    const char* json;
    const char* message;
  };
  static constexpr Case kCases[] = {
      {R"({"nope":false})", "Failed to find schema information for JSON type cJSON_Bool name nope"},
      {R"({"nope":true})", "Failed to find schema information for JSON type cJSON_Bool name nope"},
      {R"({"nope":null})", "Failed to find schema information for JSON type cJSON_NULL name nope"},
      {R"({"nope":1})", "Failed to find schema information for JSON type cJSON_Number name nope"},
      {R"({"m:no":"s"})", "Failed to find schema information for JSON type cJSON_String name m:no"},
      {R"({"nope":[1]})", "Failed to find schema information for JSON type cJSON_Array name nope"},
      {R"({"nope":{}})", "Failed to find schema information for JSON type cJSON_Object name nope"},
  };
  for (const Case& one : kCases) {
    const Tree tree = parse(one.json);
    const grpc::Status status = visit_object(tree.get(), top_, &hash_);
    EXPECT_EQ(status.error_code(), grpc::StatusCode::INTERNAL);
    EXPECT_EQ(status.error_message(), one.message);
  }
  const Tree raw = parse(R"({"nope":1})");
  raw->child->type = cJSON_Raw;
  EXPECT_EQ(visit_object(raw.get(), top_, &hash_).error_message(),
            "Failed to find schema information for JSON type UNSUPPORTED name nope");
}

TEST_F(JsonBindingVisitTest, MembersBehindAnUnmatchedOneStayUnbound) {
  const Tree tree = parse(R"({"inner":{"deep":1},"nope":1,"leaf":2})");
  EXPECT_FALSE(visit_object(tree.get(), top_, &hash_).ok());
  EXPECT_TRUE(hash_.contains(member(tree, "inner")->child));
  EXPECT_FALSE(hash_.contains(member(tree, "nope")));
  EXPECT_FALSE(hash_.contains(member(tree, "leaf")));
}

TEST_F(JsonBindingVisitTest, UnmatchedMemberOfANestedObjectIsNotReported) {
  const Tree tree = parse(R"({"inner":{"nope":1,"deep":1},"leaf":2})");
  LogCapture log(GPR_LOG_SEVERITY_ERROR);
  EXPECT_TRUE(visit_object(tree.get(), top_, &hash_).ok());
  EXPECT_EQ(node_of(member(tree, "leaf")), leaf_.get());
  EXPECT_FALSE(hash_.contains(member(tree, "inner")->child->next));
  Lines lines = log.take();
  for (Line& line : lines) line.text = mask_numbers(line.text);
  EXPECT_EQ(lines,
            (Lines{{GPR_LOG_SEVERITY_ERROR, "nexa_srv_rpc_msg_helpers/json_binding.cc",
                    "in find_matching_cs_node at #: Failed to find schema matching cJSON->string: "
                    "nope"},
                   {GPR_LOG_SEVERITY_ERROR, kFile,
                    "in visit_object at # no cs_node for child nope | cJSON_Number."}}));
}

TEST_F(JsonBindingVisitTest, ObjectWithoutSchemaNodeIsBoundToNone) {
  const Tree empty = parse("{}");
  EXPECT_TRUE(visit_object(empty.get(), nullptr, &hash_).ok());
  EXPECT_TRUE(hash_.contains(empty.get()));
  EXPECT_EQ(node_of(empty.get()), nullptr);
  const Tree tree = parse(R"({"leaf":1})");
  EXPECT_FALSE(visit_object(tree.get(), nullptr, &hash_).ok());
}

TEST_F(JsonBindingVisitTest, ListEntryPutsItsKeysFirst) {
  const Tree tree = parse(R"({"b":1,"x":2,"a":3})");
  EXPECT_TRUE(visit_object(tree.get(), list_, &hash_).ok());
  EXPECT_EQ(print(tree.get()), R"({"a":3,"b":1,"x":2})");
}

TEST_F(JsonBindingVisitTest, BindingsDescribeWhatAnItemHeldBeforeTheSwap) {
  const Tree tree = parse(R"({"x":2,"b":1,"a":3})");
  visit_object(tree.get(), list_, &hash_);
  EXPECT_EQ(print(tree.get()), R"({"a":3,"b":1,"x":2})");
  EXPECT_EQ(node_of(tree->child), value_.get());
  EXPECT_EQ(node_of(tree->child->next->next), key_a_.get());
}

TEST_F(JsonBindingVisitTest, EntryLeftEarlyIsOrderedOnlyByItsArray) {
  const Tree entry = parse(R"({"x":1,"nope":2,"a":3})");
  EXPECT_FALSE(visit_object(entry.get(), list_, &hash_).ok());
  EXPECT_EQ(print(entry.get()), R"({"x":1,"nope":2,"a":3})");
  for (const gpr_log_severity level : {GPR_LOG_SEVERITY_DEBUG, GPR_LOG_SEVERITY_ERROR}) {
    LogCapture log(level);
    const Tree array = parse(R"([{"x":1,"nope":2,"a":3}])");
    visit_array(array.get(), list_, &hash_);
    EXPECT_EQ(print(array.get()), R"([{"a":3,"nope":2,"x":1}])");
  }
}

TEST_F(JsonBindingVisitTest, ContainerMembersKeepTheirOrder) {
  const Tree tree = parse(R"({"inner":{},"leaf":1})");
  visit_object(tree.get(), top_, &hash_);
  EXPECT_EQ(print(tree.get()), R"({"inner":{},"leaf":1})");
}

TEST_F(JsonBindingVisitTest, KeyNamedTwiceInAnArrayIsOrderedTwice) {
  // Each pass moves the later of the two to the front, so the second run restores their order.
  for (const gpr_log_severity level : {GPR_LOG_SEVERITY_DEBUG, GPR_LOG_SEVERITY_ERROR}) {
    LogCapture log(level);
    const Tree array = parse(R"([{"a":1,"m:a":2,"b":3},{"a":1,"b":2}])");
    visit_array(array.get(), list_, &hash_);
    EXPECT_EQ(print(array->child), R"({"a":1,"b":3,"m:a":2})");
    const Tree late = parse(R"([{"b":1,"m:b":2}])");
    visit_array(late.get(), list_, &hash_);
    EXPECT_EQ(print(late->child), R"({"b":1,"m:b":2})");
    const Tree entry = parse(R"({"a":1,"m:a":2,"b":3})");
    visit_object(entry.get(), list_, &hash_);
    EXPECT_EQ(print(entry.get()), R"({"m:a":2,"b":3,"a":1})");
  }
}

TEST_F(JsonBindingVisitTest, ArrayBoundToANodeWithKeysThatIsNoListIsOrdered) {
  list_->flags = 0;
  for (const gpr_log_severity level : {GPR_LOG_SEVERITY_DEBUG, GPR_LOG_SEVERITY_ERROR}) {
    LogCapture log(level);
    const Tree array = parse(R"([{"x":1,"b":2,"a":3}])");
    visit_array(array.get(), list_, &hash_);
    EXPECT_EQ(print(array->child), R"({"a":3,"b":2,"x":1})");
  }
}

TEST_F(JsonBindingVisitTest, NestedArraysAreBoundToTheArraysNode) {
  const Tree tree = parse("[[1,[2]],[\"s\"]]");
  visit_array(tree.get(), leaf_list_, &hash_);
  EXPECT_EQ(node_of(tree->child->child->next->child), leaf_list_.get());
  EXPECT_EQ(node_of(tree->child->next->child), leaf_list_.get());
  EXPECT_EQ(hash_.size(), 7u);
}

TEST_F(JsonBindingVisitTest, ValueGoesByTheLowByteOfTheType) {
  const Tree tree = parse(R"({"leaf":"x"})");
  tree->type |= cJSON_StringIsConst;
  visit_value(tree.get(), top_, &hash_);
  EXPECT_EQ(node_of(tree->child), leaf_.get());
}

TEST_F(JsonBindingVisitTest, ArrayElementsGoByTheLowByteOfTheirType) {
  const Tree tree = parse(R"([{"leaf":"x"},"s",[1],null,2])");
  for (cJSON* child = tree->child; child != nullptr; child = child->next) {
    child->type |= cJSON_StringIsConst;
  }
  visit_array(tree.get(), top_, &hash_);
  EXPECT_EQ(node_of(tree->child->child), leaf_.get());
  EXPECT_EQ(hash_.size(), 8u);
}

TEST_F(JsonBindingVisitTest, DeepestPayloadThatCJsonAcceptsIsBound) {
  constexpr int kDepth = 999;
  const Tree tree = parse(std::string(kDepth, '[') + "1" + std::string(kDepth, ']'));
  ASSERT_NE(tree, nullptr);
  visit_array(tree.get(), leaf_list_, &hash_);
  EXPECT_EQ(hash_.size(), 1u + kDepth);
}

TEST_F(JsonBindingVisitTest, EveryBooleanPrintsFalseToStandardOutput) {
  for (const char* text : {"true", "false"}) {
    const Tree tree = parse(text);
    testing::internal::CaptureStdout();
    visit_bool(tree.get(), leaf_, &hash_);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), " false \n") << text;
    EXPECT_EQ(node_of(tree.get()), leaf_.get());
  }
}

TEST_F(JsonBindingVisitTest, BooleanGoesByTheDoubleValueAsAnInteger) {
  struct Case {
    double value;
    bool is_true;
  };
  for (const Case& one : {Case{1.0, true}, Case{-1.0, true}, Case{2.5, true}, Case{0.9, false},
                          Case{-0.9, false}, Case{0.0, false}}) {
    const Tree tree = parse("true");
    tree->valuedouble = one.value;
    LogCapture log;
    testing::internal::CaptureStdout();
    visit_bool(tree.get(), leaf_, &hash_);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), one.is_true ? "" : " false \n");
    Line line = log.take().back();
    line.text = mask_numbers(line.text);
    EXPECT_EQ(line, (Line{GPR_LOG_SEVERITY_DEBUG, kFile,
                          one.is_true ? "in visit_bool at # node value: true"
                                      : "in visit_bool at # node value: false"}));
  }
}

TEST_F(JsonBindingVisitTest, OtherLeavesPrintNothing) {
  const Tree tree = parse(R"({"leaf":"s","values":[1,null],"inner":{}})");
  testing::internal::CaptureStdout();
  visit_object(tree.get(), top_, &hash_);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

// Nanoseconds of this thread's own.
std::int64_t processor_time() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return time.tv_sec * std::int64_t{1000000000} + time.tv_nsec;
}

// Only the first entry's members are looked for among all that the schema has. Without that, each
// entry would cost what the first one does.
TEST_F(JsonBindingVisitTest, LaterEntriesCostASmallPartOfTheFirst) {
  constexpr int kMembers = 3000;
  constexpr int kEntries = 20;
  FakeNode wide = top_.list("wide", {"k"});
  std::string entry = R"({"k":"0")";
  wide.leaf("k");
  for (int number = 0; number < kMembers; ++number) {
    const std::string name = "member-" + std::to_string(number);
    wide.leaf(name);
    entry += ",\"" + name + "\":\"\"";
  }
  entry += '}';
  std::string entries = entry;
  for (int number = 1; number < kEntries; ++number) entries += "," + entry;
  const auto cost = [&](const std::string& array) {
    const Tree tree = parse("[" + array + "]");
    Json2cJsonCsnodeHash hash;
    const std::int64_t begin = processor_time();
    visit_array(tree.get(), wide, &hash);
    return processor_time() - begin;
  };
  const std::int64_t of_one = cost(entry);
  const std::int64_t of_all = cost(entries);
  EXPECT_LT(of_all, kEntries / 2 * of_one) << of_one;
}

using JsonBindingVisitDeathTest = JsonBindingVisitTest;

TEST_F(JsonBindingVisitDeathTest, EmptyArrayStopsTheProcess) {
  const Tree tree = parse("[]");
  EXPECT_DEATH(visit_array(tree.get(), list_, &hash_), "Assertion `child' failed");
}

TEST_F(JsonBindingVisitDeathTest, UnknownTypeIsLoggedAndStopsTheProcess) {
  const auto log_to_stderr = [] {
    gpr_set_log_verbosity(GPR_LOG_SEVERITY_ERROR);
    gpr_set_log_function(
        [](gpr_log_func_args* args) { std::fprintf(stderr, "%s ", args->message); });
  };
  const Tree tree = parse("[1]");
  tree->child->type = cJSON_Raw;
  EXPECT_DEATH(
      {
        log_to_stderr();
        visit_value(tree->child, leaf_, &hash_);
      },
      "in visit_value at [0-9]+ Unhandled case for node->type 128 .*Assertion `false' failed");
  EXPECT_DEATH(
      {
        log_to_stderr();
        visit_array(tree.get(), leaf_list_, &hash_);
      },
      "in visit_array at [0-9]+: Unknown cJSON Type 128 .*Assertion `false' failed");
}

}  // namespace json_binding_visit_test
}  // namespace nexa_test

// The entry point of the binding: where it starts, which payloads contradict the path, what it
// drops.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "nexa/cjson_csnode.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_test {
namespace list_keys_walk_test {

using nexa::cJsonCsnode;
using Tree = std::unique_ptr<cJSON, void (*)(cJSON*)>;
using KeyValues = std::vector<std::pair<std::string, std::string>>;

constexpr char kFile[] = "nexa_srv_rpc_msg_helpers/list_keys.cc";

Tree parse(const std::string& json) { return {cJSON_Parse(json.c_str()), &cJSON_Delete}; }

std::string print(const cJSON* tree) {
  const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(tree),
                                                          &cJSON_free);
  return text.get();
}

class ListKeysWalkTest : public testing::Test {
 protected:
  ListKeysWalkTest() { EXPECT_TRUE(mapper_.populate().ok()); }

  // Walks `json` at the path of these names, with these keys in its last element.
  grpc::Status walk(const std::string& json, const std::vector<std::string>& names,
                    const KeyValues& keys = {}) {
    gnmi::Path path;
    for (const std::string& name : names) path.add_elem()->set_name(name);
    for (const auto& [key, value] : keys) {
      (*path.mutable_elem(path.elem_size() - 1)->mutable_key())[key] = value;
    }
    nexa::KestrelPath resolved(path, json);
    EXPECT_TRUE(resolved.path2cs_nodes());
    return walk(json, resolved);
  }
  grpc::Status walk(const std::string& json, nexa::KestrelPath& path) {
    tree_ = parse(json);
    return cJsonCsnode::walk_breathfirst_cjson_and_swap_contents(tree_.get(), token_.get(), &path,
                                                                 &hash_);
  }
  kestrel_cs_node* node_of(const cJSON* item) const {
    const cJsonCsnode* binding = hash_.find(item);
    return binding != nullptr ? binding->cs_node : nullptr;
  }

  FakeSchema schema_;
  FakeModule& module_ = schema_.module("openconfig-mod", "m", "urn:m");
  FakeNode top_ = module_.container("top");
  FakeNode leaf_ = top_.leaf("leaf");
  FakeNode list_ = top_.list("list", {"a", "b"});
  FakeNode key_a_ = list_.leaf("a");
  FakeNode key_b_ = list_.leaf("b");
  FakeNode value_ = list_.leaf("x");
  FakeNode keyless_ = top_.list("keyless", {});
  FakeNode leaf_list_ = top_.leaf_list("values");
  nexa::ServiceKestrelNamespaceMapperImpl mapper_;
  std::shared_ptr<nexa::Rfc7951MapperToken> token_ = mapper_.newToken();
  Tree tree_{nullptr, &cJSON_Delete};
  nexa::Json2cJsonCsnodeHash hash_;
};

void expect_refused(const grpc::Status& status, grpc::StatusCode code, const std::string& message,
                    LogCapture& log) {
  EXPECT_EQ(status.error_code(), code);
  EXPECT_EQ(status.error_message(), message);
  EXPECT_EQ(log.take(GPR_LOG_SEVERITY_ERROR), (Lines{{GPR_LOG_SEVERITY_ERROR, kFile, message}}));
}

TEST_F(ListKeysWalkTest, BindsFromTheLastNodeOfThePath) {
  EXPECT_TRUE(walk(R"({"leaf":"v"})", {"m:top"}).ok());
  EXPECT_EQ(node_of(tree_.get()), top_.get());
  EXPECT_EQ(node_of(tree_->child), leaf_.get());
}

TEST_F(ListKeysWalkTest, BindsARootOfEveryType) {
  for (const char* json : {"true", "false", "null", "1", "\"s\"", "[1]", "{}"}) {
    tree_ = parse(json);
    gnmi::Path elements;
    elements.add_elem()->set_name("m:top");
    elements.add_elem()->set_name("leaf");
    nexa::KestrelPath path(elements, json);
    ASSERT_TRUE(path.path2cs_nodes());
    nexa::Json2cJsonCsnodeHash hash;  // a root of an earlier turn may have stood at this address
    testing::internal::CaptureStdout();
    EXPECT_TRUE(cJsonCsnode::walk_breathfirst_cjson_and_swap_contents(tree_.get(), token_.get(),
                                                                      &path, &hash)
                    .ok())
        << json;
    testing::internal::GetCapturedStdout();
    ASSERT_NE(hash.find(tree_.get()), nullptr) << json;
    EXPECT_EQ(hash.find(tree_.get())->cs_node, leaf_.get()) << json;
  }
}

TEST_F(ListKeysWalkTest, EmptyPathStartsAtTheRootThatThePayloadNames) {
  nexa::KestrelPath path(gnmi::Path(), R"({"top":{}})");
  EXPECT_TRUE(walk(R"({"leaf":1})", path).ok());
  EXPECT_EQ(node_of(tree_.get()), top_.get());
  EXPECT_EQ(node_of(tree_->child), leaf_.get());
}

TEST_F(ListKeysWalkTest, EmptyPathWithAnEmptyObjectHasNoModel) {
  LogCapture log;
  nexa::KestrelPath path(gnmi::Path(), "{}");
  const grpc::Status status = walk("{}", path);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::INTERNAL);
  EXPECT_EQ(status.error_message(),
            "in walk_breathfirst_cjson_and_swap_contents Failed to find model");
  const Lines lines = log.take(GPR_LOG_SEVERITY_ERROR);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(
      mask_numbers(lines[0].text),
      "in root_kestrel_cs_node_of_empty_path at #: Invalid root cJSON element (no string field "
      "in {}) when Path is empty");
  EXPECT_EQ(lines[1], (Line{GPR_LOG_SEVERITY_ERROR, kFile, "Failed to find root model"}));
  EXPECT_EQ(lines[2], (Line{GPR_LOG_SEVERITY_ERROR, kFile, status.error_message()}));
  EXPECT_EQ(hash_.size(), 0u);
}

TEST_F(ListKeysWalkTest, PathWithoutSchemaNodesIsInternal) {
  constexpr char kMessage[] =
      "in walk_breathfirst_cjson_and_swap_contents Failed to find schema for last element in PATH";
  gnmi::Path unresolved;
  unresolved.add_elem()->set_name("m:top");
  nexa::KestrelPath path(unresolved, "");
  LogCapture log;
  expect_refused(walk("{}", path), grpc::StatusCode::INTERNAL, kMessage, log);
  path.cs_nodes_ = {top_, nullptr};
  expect_refused(walk("{}", path), grpc::StatusCode::INTERNAL, kMessage, log);
}

TEST_F(ListKeysWalkTest, OpenKeysNeedAnArray) {
  constexpr char kMessage[] =
      "When list keys are not fully specified json_ietf val should be array ";
  LogCapture log;
  for (const char* json : {R"({"a":1,"b":2})", "1", "\"s\"", "null", "true"}) {
    expect_refused(walk(json, {"m:top", "list"}, {{"a", "1"}}), grpc::StatusCode::INVALID_ARGUMENT,
                   kMessage, log);
    expect_refused(walk(json, {"m:top", "list"}), grpc::StatusCode::INVALID_ARGUMENT, kMessage,
                   log);
    EXPECT_EQ(hash_.size(), 0u) << "nothing is bound";
  }
}

TEST_F(ListKeysWalkTest, OpenKeysTakeAnArray) {
  EXPECT_TRUE(walk(R"([{"x":1,"b":2,"a":3}])", {"m:top", "list"}, {{"a", "1"}}).ok());
  EXPECT_EQ(print(tree_.get()), R"([{"a":3,"b":2,"x":1}])");
}

TEST_F(ListKeysWalkTest, GivenKeysRefuseAnArray) {
  constexpr char kMessage[] =
      "When list keys are fully specified json_ietf val should NOT be array ";
  LogCapture log;
  expect_refused(walk("[{}]", {"m:top", "list"}, {{"a", "1"}, {"b", "2"}}),
                 grpc::StatusCode::INVALID_ARGUMENT, kMessage, log);
  expect_refused(walk("[{}]", {"m:top", "keyless"}), grpc::StatusCode::INVALID_ARGUMENT, kMessage,
                 log);
}

TEST_F(ListKeysWalkTest, LeafListTakesAnArrayWithoutKeys) {
  EXPECT_TRUE(walk("[1,2]", {"m:top", "values"}).ok());
  EXPECT_EQ(node_of(tree_->child->next), leaf_list_.get());
}

TEST_F(ListKeysWalkTest, GivenKeysAreDroppedFromThePayload) {
  LogCapture log;
  EXPECT_TRUE(walk(R"({"b":2,"x":1,"a":3})", {"m:top", "list"}, {{"b", "2"}, {"a", "3"}}).ok());
  EXPECT_EQ(print(tree_.get()), R"({"x":1})");
  EXPECT_EQ(node_of(tree_->child), value_.get());
  std::vector<std::string> dropped;
  for (const Line& line : log.take(GPR_LOG_SEVERITY_DEBUG)) {
    if (line.text.find("Deleting key") == std::string::npos) continue;
    EXPECT_EQ(line.file, kFile);
    dropped.push_back(mask_numbers(line.text));
  }
  const std::string in = "in walk_breathfirst_cjson_and_swap_contents at #, Deleting key ";
  EXPECT_EQ(dropped, (std::vector<std::string>{in + "a from singleton list element",
                                               in + "b from singleton list element"}));
}

TEST_F(ListKeysWalkTest, DroppedKeyMembersAreFoundByWholeNameInAnyCase) {
  EXPECT_TRUE(walk(R"({"A":3,"x":1,"m:b":2})", {"m:top", "list"}, {{"a", "1"}, {"b", "2"}}).ok());
  EXPECT_EQ(print(tree_.get()), R"({"x":1,"m:b":2})");
}

TEST_F(ListKeysWalkTest, MoreKeysThanTheSchemaHasCheckAndDropNothing) {
  const KeyValues keys = {{"a", "1"}, {"b", "2"}, {"c", "3"}};
  EXPECT_TRUE(walk(R"({"a":1})", {"m:top", "list"}, keys).ok());
  EXPECT_EQ(print(tree_.get()), R"({"a":1})");
  EXPECT_TRUE(walk(R"([{"a":1}])", {"m:top", "list"}, keys).ok());
}

TEST_F(ListKeysWalkTest, MemberWithoutSchemaNodeDoesNotFailTheWalk) {
  EXPECT_TRUE(walk(R"({"leaf":1,"nope":2})", {"m:top"}).ok());
  EXPECT_EQ(node_of(tree_->child), leaf_.get());
  EXPECT_FALSE(hash_.contains(tree_->child->next));
}

TEST_F(ListKeysWalkTest, LinesOfAWalk) {
  const std::string in = " walk_breathfirst_cjson_and_swap_contents at #";
  const auto own_lines = [&](const std::vector<std::string>& path, const char* json) {
    LogCapture log;
    EXPECT_TRUE(walk(json, path).ok());
    std::vector<std::string> texts;
    for (const Line& line : log.take()) {
      if (line.file != kFile) continue;
      EXPECT_EQ(line.severity, GPR_LOG_SEVERITY_DEBUG);
      texts.push_back(mask_numbers(line.text));
    }
    return texts;
  };
  EXPECT_EQ(
      own_lines({"m:top"}, "{}"),
      (std::vector<std::string>{
          "IN" + in + " parent_cs_node top address 0x# cJSON root->type 64 root->string (null)",
          "in" + in + ", first child cs_node is leaf", "IN" + in + " ",
          "In FUNCTION walk_breathfirst_cjson_and_swap_contents at line #"}));
  EXPECT_EQ(
      own_lines({"m:top", "leaf"}, "1"),
      (std::vector<std::string>{
          "IN" + in + " parent_cs_node leaf address 0x# cJSON root->type 8 root->string (null)",
          "in" + in + ", THERE are no children to cs_node with tag leaf", "IN" + in + " ",
          "In FUNCTION walk_breathfirst_cjson_and_swap_contents at line #"}));
}

using ListKeysWalkDeathTest = ListKeysWalkTest;

TEST_F(ListKeysWalkDeathTest, RootWithAParentStopsTheProcess) {
  ASSERT_TRUE(mapper_.schemaif_.registerRootSnode("urn:m", "openconfig-mod:leaf", leaf_).ok());
  nexa::KestrelPath path(gnmi::Path(), R"({"openconfig-mod:leaf":1})");
  EXPECT_DEATH(static_cast<void>(walk("{}", path)), "Assertion `!cs_node->parent' failed");
}

TEST_F(ListKeysWalkDeathTest, UnknownRootTypeIsLoggedAndStopsTheProcess) {
  gnmi::Path elements;
  elements.add_elem()->set_name("m:top");
  nexa::KestrelPath path(elements, "");
  ASSERT_TRUE(path.path2cs_nodes());
  tree_ = parse("1");
  tree_->type = cJSON_Raw;
  EXPECT_DEATH(
      {
        gpr_set_log_verbosity(GPR_LOG_SEVERITY_ERROR);
        gpr_set_log_function(
            [](gpr_log_func_args* args) { std::fprintf(stderr, "%s ", args->message); });
        static_cast<void>(cJsonCsnode::walk_breathfirst_cjson_and_swap_contents(
            tree_.get(), token_.get(), &path, &hash_));
      },
      "in walk_breathfirst_cjson_and_swap_contents at [0-9]+: Unknown cJSON Type 128 "
      ".*Assertion `false' failed");
}

}  // namespace list_keys_walk_test
}  // namespace nexa_test

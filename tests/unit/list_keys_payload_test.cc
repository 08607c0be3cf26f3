// Payloads of odd form at a path to a list or leaf-list: what the check of their form looks at, and
// what becomes of key members that were dropped.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <memory>

#include "nexa/cjson_csnode.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_test {
namespace list_keys_payload_test {

using Tree = std::unique_ptr<cJSON, void (*)(cJSON*)>;
using Names = std::vector<std::string>;

class ListKeysPayloadTest : public testing::Test {
 protected:
  static nexa::KestrelPath path_to(const std::string& name, const Names& keys) {
    gnmi::Path path;
    path.add_elem()->set_name("m:top");
    gnmi::PathElem* last = path.add_elem();
    last->set_name(name);
    for (const std::string& key : keys) (*last->mutable_key())[key] = "1";
    nexa::KestrelPath resolved(path, "");
    EXPECT_TRUE(resolved.path2cs_nodes());
    return resolved;
  }
  grpc::Status walk(const std::string& json, nexa::KestrelPath path) {
    tree_.reset(cJSON_Parse(json.c_str()));
    return nexa::cJsonCsnode::walk_breathfirst_cjson_and_swap_contents(tree_.get(), nullptr, &path,
                                                                       &hash_);
  }
  std::string printed() const {
    const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(tree_.get()),
                                                            &cJSON_free);
    return text.get();
  }
  static Names masked(LogCapture& log) {
    Names texts = log.take_texts();
    for (std::string& text : texts) text = mask_numbers(text);
    return texts;
  }

  FakeSchema schema_;
  FakeModule& module_ = schema_.module("mod", "m", "urn:m");
  FakeNode top_ = module_.container("top");
  FakeNode list_ = top_.list("list", {"a", "b"});
  FakeNode key_a_ = list_.leaf("a");
  FakeNode key_b_ = list_.leaf("b");
  FakeNode leaf_list_ = top_.leaf_list("values");
  Tree tree_{nullptr, &cJSON_Delete};
  nexa::Json2cJsonCsnodeHash hash_;
};

TEST_F(ListKeysPayloadTest, OneOfTwoKeysGivenAndAnObjectIsRefused) {
  LogCapture log(GPR_LOG_SEVERITY_ERROR);
  const grpc::Status status = walk(R"({"b":2})", path_to("list", {"a"}));
  EXPECT_EQ(status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
  EXPECT_EQ(status.error_message(),
            "When list keys are not fully specified json_ietf val should be array ");
  EXPECT_EQ(printed(), R"({"b":2})");
}

TEST_F(ListKeysPayloadTest, DroppedKeysStayDroppedWhenAMemberIsUnknown) {
  const LogCapture log;
  EXPECT_TRUE(walk(R"({"a":1,"nope":2,"b":3})", path_to("list", {"a", "b"})).ok());
  EXPECT_EQ(printed(), R"({"nope":2})");
  EXPECT_FALSE(hash_.contains(tree_->child));
}

TEST_F(ListKeysPayloadTest, EveryKeyIsDroppedBeforeTheWalkBegins) {
  LogCapture log;
  EXPECT_TRUE(walk(R"({"a":1,"b":3})", path_to("list", {"a", "b"})).ok());
  const Names texts = masked(log);
  std::size_t first = 0;
  while (first < texts.size() && texts[first].find("Deleting key a") == std::string::npos) ++first;
  ASSERT_LE(first + 5, texts.size());
  const std::string in = " walk_breathfirst_cjson_and_swap_contents at #";
  EXPECT_EQ(
      Names(texts.begin() + static_cast<std::ptrdiff_t>(first),
            texts.begin() + static_cast<std::ptrdiff_t>(first) + 5),
      (Names{"in" + in + ", Deleting key a from singleton list element",
             "in" + in + ", Deleting key b from singleton list element",
             "IN" + in + " parent_cs_node list address 0x# cJSON root->type 64 root->string (null)",
             "in" + in + ", first child cs_node is a", "IN" + in + " "}));
  EXPECT_EQ(printed(), "{}");
}

TEST_F(ListKeysPayloadTest, AScalarAtAnEntryHasNothingToDrop) {
  EXPECT_TRUE(walk("7", path_to("list", {"a", "b"})).ok());
  EXPECT_EQ(printed(), "7");
  EXPECT_EQ(hash_.find(tree_.get())->cs_node, list_.get());
}

TEST_F(ListKeysPayloadTest, ALeafListIsNotCheckedForItsForm) {
  EXPECT_TRUE(walk("7", path_to("values", {})).ok());
  EXPECT_TRUE(walk("[7]", path_to("values", {"."})).ok());
  EXPECT_EQ(hash_.find(tree_->child)->cs_node, leaf_list_.get());
}

TEST_F(ListKeysPayloadTest, TheFormIsThatOfTheLowByteOfTheType) {
  nexa::KestrelPath path = path_to("list", {});
  tree_.reset(cJSON_Parse(R"([{"b":1,"a":2}])"));
  tree_->type |= cJSON_StringIsConst;
  EXPECT_TRUE(nexa::cJsonCsnode::walk_breathfirst_cjson_and_swap_contents(tree_.get(), nullptr,
                                                                          &path, &hash_)
                  .ok());
  tree_->type &= 0xFF;
  EXPECT_EQ(printed(), R"([{"a":2,"b":1}])");
}

TEST_F(ListKeysPayloadTest, AnObjectBoundToALeafListIsOrderedByItsKeys) {
  // No schema has such a node; the flags alone decide.
  for (const std::uint32_t flags : {0x1u, 0x2000u, 0x2001u}) {
    list_->flags = flags;
    for (const gpr_log_severity level : {GPR_LOG_SEVERITY_DEBUG, GPR_LOG_SEVERITY_ERROR}) {
      const LogCapture log(level);
      tree_.reset(cJSON_Parse(R"({"b":1,"a":2})"));
      EXPECT_TRUE(visit_object(tree_.get(), list_, &hash_).ok());
      EXPECT_EQ(printed(), R"({"a":2,"b":1})") << flags;
    }
  }
  list_->flags = 0;
  tree_.reset(cJSON_Parse(R"({"b":1,"a":2})"));
  EXPECT_TRUE(visit_object(tree_.get(), list_, &hash_).ok());
  EXPECT_EQ(printed(), R"({"b":1,"a":2})");
}

using ListKeysPayloadDeathTest = ListKeysPayloadTest;

TEST_F(ListKeysPayloadDeathTest, AnArrayWithoutElementsStopsTheProcess) {
  EXPECT_DEATH(static_cast<void>(walk("[]", path_to("list", {}))), "Assertion `child' failed");
}

}  // namespace list_keys_payload_test
}  // namespace nexa_test

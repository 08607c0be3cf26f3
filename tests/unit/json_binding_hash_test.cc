// The map from item to binding: like any map from pointer, whatever the pointers are.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <memory>
#include <tuple>
#include <unordered_map>

#include "nexa/cjson_csnode.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_test {
namespace json_binding_hash_test {

using nexa::cJsonCsnode;
using nexa::Json2cJsonCsnodeHash;
using Tree = std::unique_ptr<cJSON, void (*)(cJSON*)>;

Tree array_of(int size) {
  Tree tree(cJSON_CreateArray(), &cJSON_Delete);
  cJSON* last = nullptr;
  for (int i = 0; i < size; ++i) {
    cJSON* item = cJSON_CreateNumber(i);
    if (last == nullptr) {
      cJSON_AddItemToArray(tree.get(), item);
    } else {
      last->next = item;
      item->prev = last;
      tree->child->prev = item;
    }
    last = item;
  }
  return tree;
}

class JsonBindingHashTest : public testing::Test {
 protected:
  FakeSchema schema_;
  FakeModule& module_ = schema_.module("mod", "m", "urn:m");
  FakeNode one_ = module_.container("one");
  FakeNode two_ = module_.container("two");
  Tree tree_ = array_of(3);
  cJSON* item_ = tree_->child;
};

TEST_F(JsonBindingHashTest, LookUpOfAnUnboundItemAddsANullEntry) {
  Json2cJsonCsnodeHash hash;
  EXPECT_FALSE(hash.contains(item_));
  EXPECT_EQ(hash.get_cjson_csnode(item_), nullptr);
  EXPECT_TRUE(hash.contains(item_));
  EXPECT_EQ(hash.size(), 1u);
  EXPECT_EQ(hash.get_cjson_csnode(item_), nullptr);
  EXPECT_EQ(hash.size(), 1u);
}

TEST_F(JsonBindingHashTest, FindAddsNothing) {
  Json2cJsonCsnodeHash hash;
  EXPECT_EQ(hash.find(item_), nullptr);
  EXPECT_FALSE(hash.contains(item_));
  EXPECT_EQ(hash.size(), 0u);
}

TEST_F(JsonBindingHashTest, BindingIsFoundByItsItemOnly) {
  Json2cJsonCsnodeHash hash;
  cJsonCsnode* binding = hash.bind(item_, one_);
  ASSERT_NE(binding, nullptr);
  EXPECT_EQ(binding->cjson, item_);
  EXPECT_EQ(binding->cs_node, one_.get());
  EXPECT_EQ(hash.find(item_), binding);
  EXPECT_EQ(hash.get_cjson_csnode(item_), binding);
  EXPECT_EQ(hash.find(item_->next), nullptr);
  EXPECT_EQ(hash.find(tree_.get()), nullptr);
  EXPECT_EQ(hash.size(), 1u);
}

TEST_F(JsonBindingHashTest, LaterBindingReplacesTheEarlierOneWhichStaysReadable) {
  Json2cJsonCsnodeHash hash;
  cJsonCsnode* first = hash.bind(item_, one_);
  cJsonCsnode* second = hash.bind(item_, two_);
  EXPECT_NE(first, second);
  EXPECT_EQ(hash.find(item_), second);
  EXPECT_EQ(second->cs_node, two_.get());
  EXPECT_EQ(first->cs_node, one_.get());
  EXPECT_EQ(hash.size(), 1u);
}

TEST_F(JsonBindingHashTest, BindingToNoNodeIsABinding) {
  Json2cJsonCsnodeHash hash;
  cJsonCsnode* binding = hash.bind(item_, nullptr);
  ASSERT_NE(binding, nullptr);
  EXPECT_EQ(binding->cs_node, nullptr);
  EXPECT_EQ(hash.find(item_), binding);
}

TEST_F(JsonBindingHashTest, BindingReplacesANullEntry) {
  Json2cJsonCsnodeHash hash;
  hash.get_cjson_csnode(item_);
  cJsonCsnode* binding = hash.bind(item_, one_);
  EXPECT_EQ(hash.find(item_), binding);
  EXPECT_EQ(hash.size(), 1u);
}

TEST_F(JsonBindingHashTest, DestructionIsTraced) {
  LogCapture log;
  { const Json2cJsonCsnodeHash hash; }
  EXPECT_EQ(log.take(),
            (Lines{{GPR_LOG_SEVERITY_DEBUG, "nexa_srv_rpc_msg_helpers/json_binding_hash.cc",
                    "in ~Json2cJsonCsnodeHash"}}));
}

TEST_F(JsonBindingHashTest, BindingsOfALargePayloadKeepTheirPlaces) {
  constexpr int kItems = 200000;
  const Tree large = array_of(kItems);
  Json2cJsonCsnodeHash hash;
  std::vector<cJsonCsnode*> bindings;
  for (cJSON* item = large->child; item != nullptr; item = item->next) {
    bindings.push_back(hash.bind(item, bindings.size() % 2 == 0 ? one_ : two_));
  }
  EXPECT_EQ(hash.size(), static_cast<std::size_t>(kItems));
  std::size_t i = 0;
  for (cJSON* item = large->child; item != nullptr; item = item->next, ++i) {
    ASSERT_EQ(hash.find(item), bindings[i]);
    ASSERT_EQ(bindings[i]->cjson, item);
    ASSERT_EQ(bindings[i]->cs_node, (i % 2 == 0 ? one_ : two_).get());
  }
}

// Real items, and pointers that no two items could have: side by side, and at both ends of memory.
std::vector<cJSON*> pointer_pool(const cJSON* array) {
  std::vector<cJSON*> pool;
  for (cJSON* item = array->child; item != nullptr; item = item->next) pool.push_back(item);
  for (const std::uintptr_t base :
       {std::uintptr_t{0}, std::uintptr_t{0x10000}, UINTPTR_MAX - 200}) {
    for (const unsigned offset : {0U, 1U, 7U, 8U, 31U, 32U, 33U, 40U, 63U, 64U, 65U, 128U, 199U}) {
      pool.push_back(reinterpret_cast<cJSON*>(base + offset));
    }
  }
  return pool;
}

TEST_F(JsonBindingHashTest, BehavesAsAMapFromPointer) {
  const Tree items = array_of(20);
  const std::vector<cJSON*> pool = pointer_pool(items.get());
  kestrel_cs_node* const nodes[] = {nullptr, one_, two_};
  EXPECT_TRUE(rc::check("as std::unordered_map", [&] {
    enum Operation { kBind, kGet, kFind, kContains, kOperations };
    const auto steps =
        *rc::gen::container<std::vector<std::tuple<int, std::size_t, std::size_t>>>(rc::gen::tuple(
            rc::gen::inRange<int>(0, kOperations), rc::gen::inRange<std::size_t>(0, pool.size()),
            rc::gen::inRange<std::size_t>(0, 3)));
    Json2cJsonCsnodeHash hash;
    std::unordered_map<const cJSON*, cJsonCsnode*> model;
    for (const auto& [operation, pointer, node] : steps) {
      cJSON* item = pool[pointer];
      const auto known = model.find(item);
      cJsonCsnode* expected = known != model.end() ? known->second : nullptr;
      switch (operation) {
        case kBind: {
          cJsonCsnode* binding = hash.bind(item, nodes[node]);
          RC_ASSERT(binding->cjson == item);
          RC_ASSERT(binding->cs_node == nodes[node]);
          model[item] = binding;
          break;
        }
        case kGet:
          RC_ASSERT(hash.get_cjson_csnode(item) == expected);
          model.emplace(item, nullptr);
          break;
        case kFind:
          RC_ASSERT(hash.find(item) == expected);
          break;
        default:
          RC_ASSERT(hash.contains(item) == (known != model.end()));
      }
      RC_ASSERT(hash.size() == model.size());
    }
    for (cJSON* item : pool) {
      const auto known = model.find(item);
      RC_ASSERT(hash.contains(item) == (known != model.end()));
      RC_ASSERT(hash.find(item) == (known != model.end() ? known->second : nullptr));
    }
  }));
}

}  // namespace json_binding_hash_test
}  // namespace nexa_test

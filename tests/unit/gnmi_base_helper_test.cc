// The kind of a schema node, derived from its record: one kind for each YANG statement of a data
// node.
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <utility>

#include "gnmi/gnmi_rfc7951_schema_enums.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace gnmi_base_helper_test {

using gnmi::rfc7951::Helper;
using gnmi::rfc7951::InteriorKind;
using gnmi::rfc7951::LeafKind;
using gnmi::rfc7951::NodeVariant_t;
using gnmi::rfc7951::SchemaEnums;
using nexa_test::FakeModule;
using nexa_test::FakeSchema;
using nexa_test::Lines;
using nexa_test::LogCapture;

NodeVariant_t kind_of(const kestrel_cs_node* node) {
  std::shared_ptr<NodeVariant_t> out;
  EXPECT_TRUE(Helper::transform(node, out).ok());
  return *out;
}

// (kind, children) of an interior node; (leaf kind, leaf type) of a leaf.
std::pair<int, int> interior(const kestrel_cs_node* node) {
  const auto kind = boost::get<InteriorKind>(kind_of(node));
  return {static_cast<int>(kind.first), static_cast<int>(kind.second)};
}
std::pair<int, int> leaf(const kestrel_cs_node* node) {
  const auto kind = boost::get<LeafKind>(kind_of(node));
  return {static_cast<int>(kind.first), static_cast<int>(kind.second)};
}

class Transform : public testing::Test {
 protected:
  FakeSchema schema_;
  FakeModule& m_ = schema_.module("m", "p", "urn:m");
};

TEST_F(Transform, AContainerIsKind80) {
  auto container = m_.container("c");
  EXPECT_EQ(interior(container), std::make_pair(80, 0));
  container.leaf("l");
  EXPECT_EQ(interior(container), std::make_pair(80, 1));
}

TEST_F(Transform, APresenceContainerIsKind82) {
  auto container = m_.container("c");
  container->flags |= KESTREL_FLAG_PRESENCE;
  EXPECT_EQ(interior(container).first, 82);
}

TEST_F(Transform, AListWithKeysIsKind84) {
  auto list = m_.list("l", {"k"});
  list.leaf("k");
  EXPECT_EQ(interior(list), std::make_pair(84, 1));
}

TEST_F(Transform, AListWithoutKeysIsKind85) {
  EXPECT_EQ(interior(m_.list("l", {})).first, 85);
  const std::uint32_t none[] = {0};
  auto list = m_.list("l", {});
  list->keys = none;
  EXPECT_EQ(interior(list).first, 85);
}

TEST_F(Transform, ALeafListIsKind86WhateverItsType) {
  EXPECT_EQ(interior(m_.leaf_list("s")), std::make_pair(86, 0));
  EXPECT_EQ(interior(m_.leaf_list("i", nexa_test::kIdentityRefType)).first, 86);
}

TEST_F(Transform, AnydataAndAnyxmlAreKind87) {
  auto node = m_.container("any");
  node->flags |= KESTREL_FLAG_ANY_DATA;
  EXPECT_EQ(interior(node).first, 87);
}

TEST_F(Transform, ALeafIsKind1298AndSaysWhereItsTypeComesFrom) {
  EXPECT_EQ(leaf(m_.leaf("l")), std::make_pair(1298, 0));
  auto reference = m_.leaf("r");
  reference->flags |= KESTREL_FLAG_LEAFREF;
  EXPECT_EQ(leaf(reference), std::make_pair(1298, 1));
  EXPECT_EQ(leaf(m_.leaf("i", nexa_test::kIdentityRefType)), std::make_pair(1298, 2));
}

TEST_F(Transform, ALeafrefToAnIdentityrefIsALeafref) {
  auto reference = m_.leaf("r", nexa_test::kIdentityRefType);
  reference->flags |= KESTREL_FLAG_LEAFREF;
  EXPECT_EQ(leaf(reference), std::make_pair(1298, 1));
}

TEST_F(Transform, AStateNodeHasTheKindOfItsStatement) {
  auto container = m_.container("c");
  auto value = m_.leaf("l");
  container->flags |= KESTREL_FLAG_STATE;
  value->flags |= KESTREL_FLAG_STATE;
  EXPECT_EQ(interior(container).first, 80);
  EXPECT_EQ(leaf(value).first, 1298);
}

TEST_F(Transform, ExactlyTheValueTypesOfLeavesMakeALeaf) {
  const std::set<std::uint32_t> leaves = {4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
                                          16, 17, 18, 19, 20, 23, 27, 28, 29, 30, 35, 39,
                                          40, 41, 42, 43, 44, 46, 47, 48, 49, 50};
  for (std::uint32_t type = 0; type < 64; ++type) {
    auto node = m_.leaf("n" + std::to_string(type), type);
    EXPECT_EQ(kind_of(node).which() == 1, leaves.count(type) == 1) << type;
  }
}

TEST_F(Transform, EveryNodeHasAKindOfItsOwn) {
  std::shared_ptr<NodeVariant_t> first;
  std::shared_ptr<NodeVariant_t> second;
  const auto node = m_.container("c");
  EXPECT_TRUE(Helper::transform(node, first).ok());
  EXPECT_TRUE(Helper::transform(node, second).ok());
  EXPECT_NE(first.get(), second.get());
}

TEST_F(Transform, RefusesANullNodeAndEmptiesTheResult) {
  auto out = std::make_shared<NodeVariant_t>();
  LogCapture log;
  const grpc::Status status = Helper::transform(nullptr, out);
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(), "no schema node to derive a kind from");
  EXPECT_TRUE(out == nullptr);
  EXPECT_EQ(log.take(),
            (Lines{{GPR_LOG_SEVERITY_ERROR, "platform/gnmi_base/src/gnmi_rfc7951_helper.cc",
                    "no schema node to derive a kind from"}}));
}

}  // namespace gnmi_base_helper_test

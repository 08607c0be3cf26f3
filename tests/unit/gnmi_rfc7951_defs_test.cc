// The cursor of path digestion: which kinds of node may stand in a path, with keys and without.
#include "gnmi/gnmi_rfc7951_defs.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "support/log_capture.h"

namespace gnmi_rfc7951_defs_test {

using gnmi::rfc7951::KcnPathPointer;
using gnmi::rfc7951::NodeVariant_t;
using gnmi::rfc7951::SchemaEnums;
using nexa_test::Lines;
using nexa_test::LogCapture;
using Snode = gnmi::rfc7951::SchemaNode<kestrel_cs_node>;
using SnodePtr = std::shared_ptr<Snode>;

SnodePtr interior(int kind) {
  SnodePtr node = Snode::create("urn:m", "n", nullptr);
  node->nodeVariant = std::make_shared<NodeVariant_t>(
      std::make_pair(static_cast<SchemaEnums::NODE_KIND>(kind), SchemaEnums::kHasChildren));
  return node;
}

SnodePtr leaf(int kind) {
  SnodePtr node = Snode::create("urn:m", "l", nullptr);
  node->nodeVariant = std::make_shared<NodeVariant_t>(
      std::make_pair(static_cast<SchemaEnums::LEAF_KIND>(kind), SchemaEnums::kOwnType));
  return node;
}

void expect_accepted(const SnodePtr& node, bool has_keys, int mode) {
  KcnPathPointer pointer;
  pointer.mode = 77;
  LogCapture log;
  EXPECT_TRUE(pointer.set_snode(node, has_keys).ok());
  EXPECT_EQ(pointer.snode, node);
  EXPECT_EQ(pointer.mode, mode);
  EXPECT_EQ(log.take(), Lines{});
}

void expect_refused(const SnodePtr& node, bool has_keys, const std::string& message) {
  KcnPathPointer pointer;
  const SnodePtr before = leaf(1298);
  ASSERT_TRUE(pointer.set_snode(before, false).ok());
  pointer.mode = 77;
  LogCapture log;
  const grpc::Status status = pointer.set_snode(node, has_keys);
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(), message);
  EXPECT_EQ(pointer.snode, before);
  EXPECT_EQ(pointer.mode, 77);
  EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_ERROR, "gnmi/gnmi_rfc7951_defs.h", message}}));
}

constexpr char kKeyRefused[] = " could not interpret path [ Unexpected key on path element ] ";

TEST(PathPointer, BeginsBeforeTheFirstElement) {
  const KcnPathPointer pointer;
  EXPECT_EQ(pointer.snode, nullptr);
  EXPECT_EQ(pointer.name, "");
  EXPECT_EQ(pointer.index, -1);
  EXPECT_EQ(pointer.rootNs, "");
}

TEST(MalformedPath, FramesTheTextWithBlanks) {
  KcnPathPointer pointer;
  LogCapture log;
  const grpc::Status status = pointer.malformedPath("100%");
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(), " could not interpret path [ 100% ] ");
  EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_ERROR, "gnmi/gnmi_rfc7951_defs.h",
                                " could not interpret path [ 100% ] "}}));
}

TEST(SetSnode, AcceptsNoNodeWithMode2) {
  for (const bool has_keys : {false, true}) expect_accepted(nullptr, has_keys, 2);
}

TEST(SetSnode, AcceptsKind80WithoutKeysOnly) {
  expect_accepted(interior(80), false, 2);
  expect_refused(interior(80), true, kKeyRefused);
}

TEST(SetSnode, RefusesKind81) {
  for (const bool has_keys : {false, true}) {
    expect_refused(interior(81), has_keys,
                   " could not interpret path [ Unexpected node kind[ 81 ] ] ");
  }
}

TEST(SetSnode, AcceptsKind82WithoutKeysOnly) {
  expect_accepted(interior(82), false, 2);
  expect_refused(interior(82), true, kKeyRefused);
}

TEST(SetSnode, RefusesKind83) {
  for (const bool has_keys : {false, true}) {
    expect_refused(interior(83), has_keys,
                   " could not interpret path [ Unexpected node kind[ 83 ] ] ");
  }
}

TEST(SetSnode, AcceptsKind84WithKeysAndWithout) {
  expect_accepted(interior(84), true, 1);
  expect_accepted(interior(84), false, 0);
}

TEST(SetSnode, AcceptsKind85WithoutKeysOnly) {
  expect_accepted(interior(85), false, 2);
  expect_refused(interior(85), true, kKeyRefused);
}

TEST(SetSnode, AcceptsKind86WithKeysAndWithout) {
  expect_accepted(interior(86), true, 1);
  expect_accepted(interior(86), false, 0);
}

TEST(SetSnode, AcceptsKind87WithoutKeysOnly) {
  expect_accepted(interior(87), false, 2);
  expect_refused(interior(87), true, kKeyRefused);
}

TEST(SetSnode, RefusesKindsOutside80To87InDecimal) {
  for (const int kind : {79, 88, 0, -1, 112, 1298, 2147483647}) {
    for (const bool has_keys : {false, true}) {
      expect_refused(
          interior(kind), has_keys,
          " could not interpret path [ Unexpected node kind[ " + std::to_string(kind) + " ] ] ");
    }
  }
}

TEST(SetSnode, AcceptsLeafKind1298WithKeysAndWithout) {
  for (const bool has_keys : {false, true}) expect_accepted(leaf(1298), has_keys, 0);
}

TEST(SetSnode, RefusesOtherLeafKindsByTheNumberOfTheAlternative) {
  for (const int kind : {0, 80, 84, 1297, 1299, -1}) {
    for (const bool has_keys : {false, true}) {
      expect_refused(leaf(kind), has_keys,
                     " could not interpret path [ Unexpected leaf in path element list[ 1 ] ] ");
    }
  }
}

TEST(SetSnode, SharesTheNode) {
  const SnodePtr node = interior(80);
  KcnPathPointer pointer;
  EXPECT_TRUE(pointer.set_snode(node, false).ok());
  EXPECT_EQ(node.use_count(), 2);
}

TEST(SetSnode, TouchesNothingElseOfTheCursor) {
  KcnPathPointer pointer;
  pointer.name = "name";
  pointer.index = 4;
  pointer.rootNs = "urn:r";
  EXPECT_TRUE(pointer.set_snode(interior(84), true).ok());
  EXPECT_EQ(pointer.name, "name");
  EXPECT_EQ(pointer.index, 4);
  EXPECT_EQ(pointer.rootNs, "urn:r");
}

TEST(NodeVariant, ReadingTheOtherAlternativeThrows) {
  EXPECT_THROW(boost::get<gnmi::rfc7951::LeafKind>(*interior(80)->nodeVariant), boost::bad_get);
  EXPECT_THROW(boost::get<gnmi::rfc7951::InteriorKind>(*leaf(1298)->nodeVariant), boost::bad_get);
}

}  // namespace gnmi_rfc7951_defs_test

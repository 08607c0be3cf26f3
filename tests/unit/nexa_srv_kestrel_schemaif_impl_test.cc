// Child look-up: cache hits and what is accepted as one, misses, fills, and failures.
#include "nexa/nexa_srv_kestrel_schemaif_impl.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_srv_kestrel_schemaif_impl_test {

using gnmi::rfc7951::NodeVariant_t;
using nexa_test::FakeModule;
using nexa_test::FakeNode;
using nexa_test::FakeSchema;
using nexa_test::Line;
using nexa_test::Lines;
using nexa_test::LogCapture;
using Schemaif = gnmi::rfc7951::GenericServiceKestrelSchemaifImpl<256>;
using Snode = gnmi::rfc7951::SchemaNode<kestrel_cs_node>;
using SnodePtr = std::shared_ptr<Snode>;

constexpr char kFile[] = "nexa/nexa_srv_kestrel_schemaif_impl.h";
constexpr char kInterface[] = "gnmi/gnmi_rfc7951_schema_interface.h";

Line debug(const std::string& text) {
  return {GPR_LOG_SEVERITY_DEBUG, kFile, "ServiceKestrelSchemaifImpl::findSnode[ " + text + " ]"};
}

grpc::Status no_kind(const kestrel_cs_node* /*node*/, std::shared_ptr<NodeVariant_t>& /*out*/) {
  return {grpc::StatusCode::UNKNOWN, "no kind"};
}

// /m:top{m:left{m:item, m:left}, m:right{m:item, n:item}}
class FindSnode : public testing::Test {
 protected:
  SnodePtr wrap(const FakeNode& node, const std::string& name) {
    return Snode::create("urn:m", name, node);
  }
  grpc::Status find(const std::string& name, const SnodePtr& parent, SnodePtr& out,
                    const std::string& ns = "urn:m", int depth = 2) {
    return schemaif_.findSnode("urn:m", depth, name, ns, parent, out);
  }

  FakeSchema schema_;
  FakeModule& m_ = schema_.module("m", "p", "urn:m");
  FakeModule& n_ = schema_.module("n", "q", "urn:n");
  FakeNode top_ = m_.container("top");
  FakeNode left_ = top_.container("left");
  FakeNode right_ = top_.container("right");
  FakeNode left_item_ = left_.leaf("item");
  FakeNode left_left_ = left_.container("left");
  FakeNode right_item_ = right_.leaf("item");
  FakeNode right_augment_ = right_.in(n_).leaf("item");
  Schemaif schemaif_;
};

TEST_F(FindSnode, MissesThenFillsTheCache) {
  LogCapture log;
  SnodePtr out;
  EXPECT_TRUE(find("item", wrap(left_, "left"), out).ok());
  EXPECT_EQ(out->node, left_item_.get());
  EXPECT_EQ(out->ns, "urn:m");
  EXPECT_EQ(out->name, "item");
  EXPECT_TRUE(out->nodeVariant != nullptr);
  EXPECT_EQ(schemaif_.getSnodeFroCache("urn:m__2__item").get(), out);
  EXPECT_EQ(schema_.calls.find_child, 1);
  EXPECT_EQ(schema_.calls.str2hash, 2);
  EXPECT_EQ(log.take(),
            (Lines{debug("cache miss [ urn:m__2__item ]"),
                   debug("cache fill [ key: urn:m__2__item, plns: urn:m, scns: urn:m ]")}));
}

TEST_F(FindSnode, ServesTheSecondLookUpFromTheCache) {
  SnodePtr first;
  EXPECT_TRUE(find("item", wrap(left_, "left"), first).ok());
  LogCapture log;
  SnodePtr second;
  EXPECT_TRUE(find("item", wrap(left_, "left"), second).ok());
  EXPECT_EQ(second, first);
  EXPECT_EQ(schema_.calls.find_child, 1);
  EXPECT_EQ(schema_.calls.str2hash, 2);
  EXPECT_EQ(log.take(),
            (Lines{debug("cache hit [ key: urn:m__2__item, plns: urn:m, scns: urn:m ]")}));
}

TEST_F(FindSnode, NamesTheNamespaceAskedForAndTheOneFoundInAHit) {
  SnodePtr out;
  EXPECT_TRUE(find("item", wrap(right_, "right"), out, "urn:n").ok());
  EXPECT_EQ(out->node, right_augment_.get());
  LogCapture log;
  // The key names neither parent nor namespace, so the augment answers for the module's own item.
  EXPECT_TRUE(find("item", wrap(right_, "right"), out, "urn:m").ok());
  EXPECT_EQ(out->node, right_augment_.get());
  EXPECT_EQ(log.take(),
            (Lines{debug("cache hit [ key: urn:m__2__item, plns: urn:m, scns: urn:n ]")}));
}

TEST_F(FindSnode, InvalidatesAHitOfAnotherParentAndLooksAgain) {
  SnodePtr out;
  EXPECT_TRUE(find("item", wrap(left_, "left"), out).ok());
  LogCapture log;
  EXPECT_TRUE(find("item", wrap(right_, "right"), out).ok());
  EXPECT_EQ(out->node, right_item_.get());
  EXPECT_EQ(schemaif_.getSnodeFroCache("urn:m__2__item").get(), out);
  EXPECT_EQ(schemaif_.snodeCache_.size(), 1U);
  EXPECT_EQ(
      log.take(),
      (Lines{debug("cache invalidate [ urn:m__2__item ]"), debug("cache miss [ urn:m__2__item ]"),
             debug("cache fill [ key: urn:m__2__item, plns: urn:m, scns: urn:m ]")}));
}

TEST_F(FindSnode, AlternatesBetweenTwoParentsInsteadOfReturningAWrongNode) {
  const SnodePtr left = wrap(left_, "left");
  const SnodePtr right = wrap(right_, "right");
  for (int i = 0; i < 4; ++i) {
    SnodePtr out;
    EXPECT_TRUE(find("item", i % 2 == 0 ? left : right, out).ok());
    EXPECT_EQ(out->node, i % 2 == 0 ? left_item_.get() : right_item_.get());
  }
  EXPECT_EQ(schema_.calls.find_child, 4);
}

TEST_F(FindSnode, AcceptsACachedNodeThatHasItsParentsNamespaceAndName) {
  // The cached node is /top/left; asked for is a "left" below another "left".
  schemaif_.snodeCache_.insert("urn:m__2__left", wrap(left_, "left"));
  SnodePtr out;
  LogCapture log;
  EXPECT_TRUE(find("left", wrap(left_, "left"), out).ok());
  EXPECT_EQ(out->node, left_.get());
  EXPECT_EQ(log.take(),
            (Lines{debug("cache hit [ key: urn:m__2__left, plns: urn:m, scns: urn:m ]")}));
}

TEST_F(FindSnode, ComparesBothTextsWithTheParent) {
  schemaif_.snodeCache_.insert("urn:m__2__left", wrap(left_, "left"));
  SnodePtr out;
  // Same name, other namespace: no hit, and the child is looked up.
  EXPECT_TRUE(find("left", Snode::create("urn:n", "left", left_), out).ok());
  EXPECT_EQ(out->node, left_left_.get());
}

TEST_F(FindSnode, TellsDepthsAndRootsApartByTheKey) {
  SnodePtr out;
  EXPECT_TRUE(find("item", wrap(left_, "left"), out, "urn:m", 2).ok());
  EXPECT_TRUE(find("item", wrap(left_, "left"), out, "urn:m", 3).ok());
  EXPECT_TRUE(schemaif_.findSnode("urn:n", 2, "item", "urn:m", wrap(left_, "left"), out).ok());
  EXPECT_EQ(schemaif_.snodeCache_.size(), 3U);
  EXPECT_EQ(schema_.calls.find_child, 3);
}

TEST_F(FindSnode, RefusesAnUnknownChild) {
  const std::string message =
      "SchemaNode lookup failed [ namespace: urn:m__2__none ] : Node not found in dictionary[ "
      "name: none, namespace: urn:m ]";
  LogCapture log;
  SnodePtr out;
  const grpc::Status status = find("none", wrap(left_, "left"), out);
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(), message);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(schemaif_.snodeCache_.size(), 0U);
  EXPECT_EQ(log.take(), (Lines{debug("cache miss [ urn:m__2__none ]"),
                               {GPR_LOG_SEVERITY_ERROR, kInterface, message}}));
}

TEST_F(FindSnode, DropsTheOtherParentsEntryAlsoWhenTheChildIsUnknown) {
  SnodePtr out;
  EXPECT_TRUE(find("item", wrap(left_, "left"), out).ok());
  EXPECT_FALSE(find("item", wrap(top_, "top"), out).ok());
  EXPECT_EQ(schemaif_.snodeCache_.size(), 0U);
}

TEST_F(FindSnode, RefusesAChildOfAnotherNamespace) {
  SnodePtr out;
  EXPECT_FALSE(find("item", wrap(left_, "left"), out, "urn:n").ok());
  EXPECT_TRUE(find("item", wrap(right_, "right"), out, "urn:n").ok());
  EXPECT_EQ(out->node, right_augment_.get());
}

TEST_F(FindSnode, ReturnsTheTransformsStatusAndCachesNothing) {
  schemaif_.transform_ = &no_kind;
  LogCapture log;
  SnodePtr out;
  const grpc::Status status = find("item", wrap(left_, "left"), out);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::UNKNOWN);
  EXPECT_EQ(status.error_message(), "no kind");
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(schemaif_.snodeCache_.size(), 0U);
  EXPECT_EQ(log.take(),
            (Lines{debug("cache miss [ urn:m__2__item ]"),
                   {GPR_LOG_SEVERITY_ERROR, kInterface,
                    "GenericSchemaInterfaceImpl::payload2Snode ---> leave(alloc failed(nv))"}}));
}

TEST_F(FindSnode, RefusesBelowNoNode) {
  const std::string message =
      "SchemaNode lookup failed [ namespace: urn:m__2__item ] : Node not found in dictionary[ "
      "name: item, namespace: urn:m ]";
  LogCapture log;
  SnodePtr out;
  const grpc::Status status = find("item", nullptr, out);
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(), message);
  EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_ERROR, kInterface, message}}));
}

TEST_F(FindSnode, MayWriteItsResultOverTheParent) {
  SnodePtr node = wrap(left_, "left");
  EXPECT_TRUE(find("item", node, node).ok());
  EXPECT_EQ(node->node, left_item_.get());
}

TEST_F(FindSnode, ANodeInUseOutlivesItsEviction) {
  SnodePtr held;
  EXPECT_TRUE(find("item", wrap(left_, "left"), held).ok());
  for (int i = 0; i < 256; ++i) {
    SnodePtr other;
    EXPECT_TRUE(find("item", wrap(left_, "left"), other, "urn:m", 100 + i).ok());
  }
  EXPECT_FALSE(schemaif_.getSnodeFroCache("urn:m__2__item"));
  EXPECT_EQ(held->node, left_item_.get());
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(FindSnode, KeepsAtMost256Entries) {
  const SnodePtr left = wrap(left_, "left");
  for (int depth = 0; depth < 300; ++depth) {
    SnodePtr out;
    EXPECT_TRUE(find("item", left, out, "urn:m", depth).ok());
  }
  EXPECT_EQ(schemaif_.snodeCache_.size(), 256U);
}

}  // namespace nexa_srv_kestrel_schemaif_impl_test

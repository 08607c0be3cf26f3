// The depth-first walk: order, depths, and where it ends.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "nexa/nexa_srv_kestrel_schemaif_impl.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace gnmi_rfc7951_schema_interface_walk_test {

using nexa_test::FakeModule;
using nexa_test::FakeNode;
using nexa_test::FakeSchema;
using nexa_test::Lines;
using nexa_test::LogCapture;
using Schemaif = gnmi::rfc7951::GenericServiceKestrelSchemaifImpl<256>;

constexpr char kNoStart[] =
    "SchemaNode lookup failed [ namespace: root ] : walkSchema::Undefined start node";

// What the walk visited, "depth name" each, and the name at which to fail.
struct Visits {
  std::vector<std::string> seen;
  std::string fail_at;
};

grpc::Status visit(int depth, kestrel_cs_node* node, void* ctx) {
  auto& visits = *static_cast<Visits*>(ctx);
  const std::string name = kestrel_hash2str(node->tag);
  visits.seen.push_back(std::to_string(depth) + " " + name);
  if (name == visits.fail_at) return {grpc::StatusCode::ABORTED, "stop at " + name};
  return grpc::Status::OK;
}

class Walk : public testing::Test {
 protected:
  Walk() {
    FakeModule& m = schema_.module("m", "p", "urn:m");
    first_ = m.container("first").get();
    FakeNode list = FakeNode(&schema_, &m, first_).list("list", {"k"});
    list.leaf("k");
    list.container("inner").leaf("deep");
    FakeNode(&schema_, &m, first_).leaf("last");
    m.container("second").leaf("below");
  }

  grpc::Status walk(kestrel_cs_node* node, int depth = 0, bool start = true) {
    return schemaif_.walk(depth, node, &visit, &visits_, start);
  }

  FakeSchema schema_;
  kestrel_cs_node* first_ = nullptr;
  Schemaif schemaif_;
  Visits visits_;
};

TEST_F(Walk, VisitsTheSubtreeAndTheFollowingSiblingsInPreOrder) {
  EXPECT_TRUE(walk(first_).ok());
  EXPECT_EQ(visits_.seen, (std::vector<std::string>{"0 first", "1 list", "2 k", "2 inner", "3 deep",
                                                    "1 last", "0 second", "1 below"}));
}

TEST_F(Walk, DoesNotVisitWhatPrecedesTheStart) {
  EXPECT_TRUE(walk(first_->next).ok());
  EXPECT_EQ(visits_.seen, (std::vector<std::string>{"0 second", "1 below"}));
}

TEST_F(Walk, CountsDepthsFromTheGivenOne) {
  EXPECT_TRUE(walk(first_->children, 5, false).ok());
  EXPECT_EQ(visits_.seen,
            (std::vector<std::string>{"5 list", "6 k", "6 inner", "7 deep", "5 last"}));
}

TEST_F(Walk, ReturnsAFailureOfTheCallbackAtOnce) {
  visits_.fail_at = "inner";
  const grpc::Status status = walk(first_);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::ABORTED);
  EXPECT_EQ(status.error_message(), "stop at inner");
  EXPECT_EQ(visits_.seen, (std::vector<std::string>{"0 first", "1 list", "2 k", "2 inner"}));
}

TEST_F(Walk, ReturnsAFailureAtTheStartNodeAtOnce) {
  visits_.fail_at = "first";
  EXPECT_EQ(walk(first_).error_message(), "stop at first");
  EXPECT_EQ(visits_.seen, (std::vector<std::string>{"0 first"}));
}

TEST_F(Walk, ReturnsAFailureAtASiblingOfTheStart) {
  visits_.fail_at = "second";
  EXPECT_EQ(walk(first_).error_message(), "stop at second");
  EXPECT_EQ(visits_.seen.back(), "0 second");
}

TEST_F(Walk, StartedOnANullNodeAtDepthZeroFails) {
  LogCapture log;
  const grpc::Status status = walk(nullptr);
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(), kNoStart);
  EXPECT_EQ(log.take(),
            (Lines{{GPR_LOG_SEVERITY_ERROR, "gnmi/gnmi_rfc7951_schema_interface.h", kNoStart}}));
}

TEST_F(Walk, ANullNodeElsewhereEndsTheBranch) {
  LogCapture log;
  EXPECT_TRUE(walk(nullptr, 0, false).ok());
  EXPECT_TRUE(walk(nullptr, 1, true).ok());
  EXPECT_TRUE(walk(nullptr, 1, false).ok());
  EXPECT_EQ(visits_.seen, std::vector<std::string>{});
  EXPECT_EQ(log.take(), Lines{});
}

}  // namespace gnmi_rfc7951_schema_interface_walk_test

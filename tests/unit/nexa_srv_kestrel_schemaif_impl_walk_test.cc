// The callback of the start-up walk: root prefixes, and pseudo module names of augmenting nodes.
#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>

#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "nexa/nexa_srv_kestrel_schemaif_impl.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_srv_kestrel_schemaif_impl_walk_test {

using gnmi::rfc7951::SchemaWalkContext;
using nexa_test::FakeModule;
using nexa_test::FakeNode;
using nexa_test::FakeSchema;
using nexa_test::Lines;
using nexa_test::LogCapture;
using Names = std::map<std::string, std::string>;

constexpr char kFile[] = "nexa_srv_kestrel_schemaif_impl.cc";

class WalkContext : public testing::Test {
 protected:
  WalkContext() {
    mapper_.ympPrefixByNs_ = {{"urn:if", "oc-if"}, {"urn:eth", "oc-eth"}, {"urn:ip", "ip"}};
    mapper_.moduleNameByNs_ = {{"urn:if", "openconfig-interfaces"},
                               {"urn:eth", "openconfig-if-ethernet"},
                               {"urn:ip", "ietf-ip"}};
    context_.mapper = &mapper_;
    context_.origin = "openconfig";
  }

  grpc::Status process(int depth, kestrel_cs_node* node) {
    return SchemaWalkContext::schemaNodeProcess_(depth, node, &context_);
  }
  grpc::Status generate(int depth, kestrel_cs_node* node) {
    return SchemaWalkContext::generatePseudoEntry_(depth, node, &context_);
  }
  static std::string pseudo(std::string name, int depth) {
    std::string root = "oc-if";
    return gnmi::BaseNamespaceMapper::pseudoModuleName("openconfig", name, root, depth);
  }

  FakeSchema schema_;
  FakeModule& interfaces_ = schema_.module("openconfig-interfaces", "oc-if", "urn:if");
  FakeModule& ethernet_ = schema_.module("openconfig-if-ethernet", "oc-eth", "urn:eth");
  FakeModule& ip_ = schema_.module("ietf-ip", "ip", "urn:ip");
  FakeNode root_ = interfaces_.container("interfaces");
  nexa::ServiceKestrelNamespaceMapperImpl mapper_;
  SchemaWalkContext context_;
};

TEST_F(WalkContext, TakesTheRootPrefixAtDepthZero) {
  LogCapture log;
  EXPECT_TRUE(process(0, root_).ok());
  EXPECT_EQ(context_.rootYmpPrefix, "oc-if");
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(WalkContext, ASecondRootReplacesThePrefix) {
  EXPECT_TRUE(process(0, root_).ok());
  EXPECT_TRUE(process(0, ethernet_.container("other")).ok());
  EXPECT_EQ(context_.rootYmpPrefix, "oc-eth");
}

TEST_F(WalkContext, FailsForARootNamespaceWithoutPrefix) {
  context_.rootYmpPrefix = "earlier";
  mapper_.ympPrefixByNs_.erase("urn:if");
  LogCapture log;
  const grpc::Status status = process(0, root_);
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(),
            "Load failure [ schema node process failed to lookup root ymp ]");
  EXPECT_EQ(log.take(),
            (Lines{{GPR_LOG_SEVERITY_ERROR, "platform/gnmi_base/src/gnmi_base_namespace_mapper.cc",
                    "Load failure [ schema node process failed to lookup root ymp ]"}}));
}

TEST_F(WalkContext, PassesANodeOfItsParentsModule) {
  EXPECT_TRUE(process(0, root_).ok());
  LogCapture log;
  EXPECT_TRUE(process(1, root_.container("own")).ok());
  EXPECT_EQ(mapper_.ympPrefixByModuleName_, Names{});
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(WalkContext, GivesAnAugmentingNodeAPseudoModuleName) {
  EXPECT_TRUE(process(0, root_).ok());
  LogCapture log;
  EXPECT_TRUE(process(1, root_.in(ethernet_).container("ethernet")).ok());
  EXPECT_EQ(mapper_.ympPrefixByModuleName_, (Names{{pseudo("ethernet", 1), "oc-eth"}}));
  EXPECT_EQ(log.take(),
            (Lines{{GPR_LOG_SEVERITY_INFO, kFile,
                    "SchemaWalkContext::generatePseudoEntry_[ inModule=openconfig-if-ethernet, "
                    "node=ethernet, nspace=urn:eth, Entry Generated [ "
                    "PseudoEntry=openconfig/oc-if/1/ethernet, ympPrefix=oc-eth ], depth=1 ]"}}));
}

TEST_F(WalkContext, PassesANodeWhoseModuleDoesNotContainTheOrigin) {
  EXPECT_TRUE(process(0, root_).ok());
  LogCapture log;
  EXPECT_TRUE(process(1, root_.in(ip_).container("ipv4")).ok());
  EXPECT_EQ(mapper_.ympPrefixByModuleName_, Names{});
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(WalkContext, ComparesTheOriginWithTheModuleNameAsItIsSpelled) {
  mapper_.moduleNameByNs_["urn:eth"] = "OpenConfig-if-ethernet";
  EXPECT_TRUE(generate(1, root_.in(ethernet_).container("ethernet")).ok());
  EXPECT_EQ(mapper_.ympPrefixByModuleName_, Names{});
}

TEST_F(WalkContext, FindsTheOriginAnywhereInTheModuleName) {
  context_.rootYmpPrefix = "oc-if";
  mapper_.moduleNameByNs_["urn:eth"] = "acme-openconfig-ethernet";
  EXPECT_TRUE(generate(1, root_.in(ethernet_).container("ethernet")).ok());
  EXPECT_EQ(mapper_.ympPrefixByModuleName_, (Names{{pseudo("ethernet", 1), "oc-eth"}}));
}

TEST_F(WalkContext, PassesEveryNodeWithoutAnOrigin) {
  context_.origin.clear();
  EXPECT_TRUE(generate(1, root_.in(ethernet_).container("ethernet")).ok());
  EXPECT_EQ(mapper_.ympPrefixByModuleName_, Names{});
}

TEST_F(WalkContext, LeavesAnExistingEntryAloneWithoutALogLine) {
  context_.rootYmpPrefix = "oc-if";
  mapper_.ympPrefixByModuleName_[pseudo("ethernet", 1)] = "first";
  LogCapture log;
  EXPECT_TRUE(generate(1, root_.in(ethernet_).container("ethernet")).ok());
  EXPECT_EQ(mapper_.ympPrefixByModuleName_, (Names{{pseudo("ethernet", 1), "first"}}));
  EXPECT_EQ(log.take(), Lines{});
}

// Here the look-up decides, which does not tell an empty prefix from no entry.
TEST_F(WalkContext, FillsAnEntryWhosePrefixIsEmpty) {
  context_.rootYmpPrefix = "oc-if";
  mapper_.ympPrefixByModuleName_[pseudo("ethernet", 1)] = "";
  LogCapture log;
  EXPECT_TRUE(generate(1, root_.in(ethernet_).container("ethernet")).ok());
  EXPECT_EQ(mapper_.ympPrefixByModuleName_, (Names{{pseudo("ethernet", 1), "oc-eth"}}));
  EXPECT_EQ(log.take().size(), 1U);
}

TEST_F(WalkContext, WritesNoMapButTheOneFromModuleNameToPrefix) {
  const Names before = mapper_.moduleNameByNs_;
  EXPECT_TRUE(process(0, root_).ok());
  EXPECT_TRUE(process(1, root_.in(ethernet_).container("ethernet")).ok());
  EXPECT_EQ(mapper_.moduleNameByNs_, before);
  EXPECT_EQ(mapper_.nsByModuleName_, Names{});
  EXPECT_EQ(mapper_.nsByYmpPrefix_, Names{});
  EXPECT_EQ(mapper_.moduleNameByYmpPrefix_, Names{});
}

TEST_F(WalkContext, ThrowsForANodeWithoutNameOrNamespace) {
  const FakeNode node = root_.in(ethernet_).container("ethernet");
  for (const char* forgotten : {"ethernet", "urn:eth"}) {
    schema_.forget(forgotten);
    try {
      generate(1, node);
      ADD_FAILURE() << "nothing thrown without " << forgotten;
    } catch (const std::logic_error& error) {
      EXPECT_STREQ(error.what(), "basic_string::_M_construct null not valid");
    }
  }
}

TEST_F(WalkContext, ANodeWithoutAParentAugmentsNothing) {
  LogCapture log;
  EXPECT_TRUE(process(1, root_).ok());
  EXPECT_EQ(context_.rootYmpPrefix, "");
  EXPECT_EQ(mapper_.ympPrefixByModuleName_.size(), 0U);
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(WalkContext, WalkingARootAgainAddsNothing) {
  root_.in(ethernet_).container("ethernet");
  context_.rootNode = root_;
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(
        mapper_.schemaif_.walk(0, root_, &SchemaWalkContext::schemaNodeProcess_, &context_, true)
            .ok());
    EXPECT_EQ(mapper_.ympPrefixByModuleName_.size(), 1U);
  }
}

}  // namespace nexa_srv_kestrel_schemaif_impl_walk_test

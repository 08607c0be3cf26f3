// The one-shot summary of a path, and the root that a payload names when its path is empty.
#include <gtest/gtest.h>

#include "nexa/kestrel_path.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_test {
namespace kestrel_path_root_test {

constexpr char kFile[] = "nexa_srv_rpc_msg_helpers/kestrel_path.cc";

Lines masked(Lines lines) {
  for (Line& line : lines) line.text = mask_numbers(line.text);
  return lines;
}

gnmi::Path path_of(const std::vector<std::string>& names) {
  gnmi::Path path;
  for (const std::string& name : names) path.add_elem()->set_name(name);
  return path;
}

class KestrelPathInfoTest : public testing::Test {
 protected:
  FakeSchema schema_;
  FakeModule& module_ = schema_.module("mod", "m", "urn:m");
  FakeNode top_ = module_.container("top");
  FakeNode leaf_ = top_.leaf("leaf");
  nexa::KestrelPath path_{gnmi::Path(), ""};
};

TEST_F(KestrelPathInfoTest, SummaryOfAResolvedPath) {
  LogCapture log;
  const auto [name_space, depth, node, status] =
      path_.path2_kestrel_csnode_info(path_of({"m:top", "leaf"}));
  EXPECT_EQ(name_space, "urn:m");
  EXPECT_EQ(depth, 1);
  EXPECT_EQ(node, leaf_.get());
  EXPECT_TRUE(status.ok());
  const Lines lines = masked(log.take());
  EXPECT_EQ(lines.front(),
            (Line{GPR_LOG_SEVERITY_DEBUG, kFile, "in path2_kestrel_csnode_info at #"}));
  EXPECT_EQ(lines.back(), (Line{GPR_LOG_SEVERITY_DEBUG, kFile,
                                "in path2_kestrel_csnode_info at #, name_space = urn:m, depth 1 "
                                "last schemaId in path leaf"}));
  EXPECT_TRUE(path_.cs_nodes_.empty()) << "the asked object stays as it is";
  EXPECT_FALSE(path_.resolved_);
}

TEST_F(KestrelPathInfoTest, DepthCountsElementsAlsoWhereTheyAreSkipped) {
  const auto info = path_.path2_kestrel_csnode_info(path_of({"m:top", "leaf", "below"}));
  EXPECT_EQ(std::get<1>(info), 2);
  EXPECT_EQ(std::get<2>(info), leaf_.get());
}

TEST_F(KestrelPathInfoTest, SummaryOfAnEmptyPath) {
  LogCapture log;
  const auto [name_space, depth, node, status] = path_.path2_kestrel_csnode_info(gnmi::Path());
  EXPECT_EQ(name_space, "");
  EXPECT_EQ(depth, -1);
  EXPECT_EQ(node, nullptr);
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(
      masked(log.take()),
      (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile, "in path2_kestrel_csnode_info at #"},
             {GPR_LOG_SEVERITY_DEBUG, kFile, "in path2cs_nodes at # Empty Path"},
             {GPR_LOG_SEVERITY_DEBUG, kFile, "in path2_kestrel_csnode_info at #, name_space = "}}));
}

TEST_F(KestrelPathInfoTest, UnknownPathIsInternal) {
  LogCapture log;
  const auto [name_space, depth, node, status] =
      path_.path2_kestrel_csnode_info(path_of({"m:top", "nope"}));
  EXPECT_EQ(name_space, "");
  EXPECT_EQ(depth, -1);
  EXPECT_EQ(node, nullptr);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::INTERNAL);
  EXPECT_EQ(status.error_message(), "Failed to Find schema information for given Path");
  EXPECT_EQ(masked(log.take(GPR_LOG_SEVERITY_ERROR)),
            (Lines{{GPR_LOG_SEVERITY_ERROR, kFile,
                    "in path2cs_nodes at #: Failed to find cs_node matching nope"},
                   {GPR_LOG_SEVERITY_ERROR, kFile,
                    "In path2_kestrel_csnode_info at # Failed to find kestrel_cs_node for path"}}));
}

class KestrelPathRootTest : public testing::Test {
 protected:
  KestrelPathRootTest() { EXPECT_TRUE(mapper_.populate().ok()); }

  kestrel_cs_node* root_of(const std::string& json) {
    nexa::KestrelPath path(gnmi::Path(), json);
    return path.root_kestrel_cs_node_of_empty_path(token_.get());
  }

  static Lines error(const std::string& text) { return {{GPR_LOG_SEVERITY_ERROR, kFile, text}}; }

  FakeSchema schema_;
  FakeModule& openconfig_ = schema_.module("openconfig-if", "oc-if", "urn:oc-if");
  FakeNode interfaces_ = openconfig_.container("interfaces");
  FakeNode leaf_ = interfaces_.leaf("leaf");
  FakeModule& module_ = schema_.module("mod", "m", "urn:m");
  FakeNode top_ = module_.container("top");
  FakeNode below_ = top_.leaf("leaf");
  nexa::ServiceKestrelNamespaceMapperImpl mapper_;
  std::shared_ptr<nexa::Rfc7951MapperToken> token_ = mapper_.newToken();
};

TEST_F(KestrelPathRootTest, FirstMemberNamesTheRoot) {
  LogCapture log;
  EXPECT_EQ(root_of("{\"interfaces\":{},\"nope\":1}"), interfaces_.get());
  EXPECT_TRUE(log.take(GPR_LOG_SEVERITY_ERROR).empty());
}

TEST_F(KestrelPathRootTest, RegistryIsAskedForTheNameAsItStands) {
  EXPECT_EQ(root_of("{\"mod:top\":{}}"), nullptr);
  ASSERT_TRUE(mapper_.schemaif_.registerRootSnode("urn:m", "mod:top", top_).ok());
  EXPECT_EQ(root_of("{\"mod:top\":{}}"), top_.get());
}

TEST_F(KestrelPathRootTest, UnregisteredRootIsReported) {
  LogCapture log;
  EXPECT_EQ(root_of("{\"mod:nope\":{},\"interfaces\":{}}"), nullptr);
  const Lines lines = masked(log.take(GPR_LOG_SEVERITY_ERROR));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].text,
            "SchemaNode lookup failed [ namespace: urn:m ] : Root Schema Node Lookup Failed");
  EXPECT_EQ(lines[1],
            error("in root_kestrel_cs_node_of_empty_path at # Failed ns2RootSnode(mod:nope)")[0]);
}

TEST_F(KestrelPathRootTest, UnknownModuleIsReported) {
  LogCapture log;
  EXPECT_EQ(root_of("{\"nope:top\":{}}"), nullptr);
  EXPECT_EQ(masked(log.take(GPR_LOG_SEVERITY_ERROR)),
            error("in root_kestrel_cs_node_of_empty_path at # Failed "
                  "token->internalizeVName(nope:top)"));
}

TEST_F(KestrelPathRootTest, EmptyMemberNameIsAName) {
  LogCapture log;
  EXPECT_EQ(root_of("{\"\":{}}"), nullptr);
  EXPECT_EQ(masked(log.take(GPR_LOG_SEVERITY_ERROR)),
            error("in root_kestrel_cs_node_of_empty_path at # Failed token->internalizeVName()"));
}

TEST_F(KestrelPathRootTest, InvalidJsonIsReported) {
  LogCapture log;
  for (const std::string text : {"", "{", "no json"}) {
    EXPECT_EQ(root_of(text), nullptr);
    EXPECT_EQ(
        masked(log.take(GPR_LOG_SEVERITY_ERROR)),
        error("in root_kestrel_cs_node_of_empty_path at #: json_val " + text + " is invalid"));
  }
}

TEST_F(KestrelPathRootTest, PayloadWithoutFirstMemberIsReported) {
  LogCapture log;
  for (const std::string text : {"{}", "[]", "[1]", "1", "null", "\"x\""}) {
    EXPECT_EQ(root_of(text), nullptr) << text;
    EXPECT_EQ(masked(log.take(GPR_LOG_SEVERITY_ERROR)),
              error("in root_kestrel_cs_node_of_empty_path at #: Invalid root cJSON element (no "
                    "string field in " +
                    text + ") when Path is empty"));
  }
}

using KestrelPathRootDeathTest = KestrelPathRootTest;

TEST_F(KestrelPathRootDeathTest, PathWithSchemaNodesStopsTheProcess) {
  nexa::KestrelPath path(gnmi::Path(), "{\"interfaces\":{}}");
  path.cs_nodes_.push_back(top_);
  EXPECT_DEATH(path.root_kestrel_cs_node_of_empty_path(token_.get()),
               "Assertion `cs_nodes_.empty\\(\\)' failed");
}

}  // namespace kestrel_path_root_test
}  // namespace nexa_test

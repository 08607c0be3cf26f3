// What start-up does for OpenConfig modules: pseudo module names of roots, and the walk.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_srv_kestrel_namespace_mapper_impl_openconfig_test {

using nexa::ServiceKestrelNamespaceMapperImpl;
using nexa_test::FakeModule;
using nexa_test::FakeNode;
using nexa_test::FakeSchema;
using nexa_test::Line;
using nexa_test::Lines;
using nexa_test::LogCapture;
using Names = std::map<std::string, std::string>;

constexpr char kFile[] = "nexa_srv_kestrel_namespace_mapper_impl.cc";
constexpr char kWalkFile[] = "nexa_srv_kestrel_schemaif_impl.cc";
constexpr char kInterface[] = "gnmi/gnmi_rfc7951_schema_interface.h";

Line found(const std::string& module, const std::string& pseudo) {
  return {GPR_LOG_SEVERITY_ERROR, kFile,
          "ServiceKestrelNamespaceMapperImpl::populate moduleName [ " + module +
              " ], pseudoModuleName [ " + pseudo + " ]"};
}

Line added(const std::string& pseudo) {
  return {
      GPR_LOG_SEVERITY_ERROR, kFile,
      "ServiceKestrelNamespaceMapperImpl::populate add module name mapping for [ " + pseudo + " ]"};
}

TEST(IsOpenconfigModel, SearchesTheOriginAnywhere) {
  ServiceKestrelNamespaceMapperImpl mapper;
  const std::map<std::string, bool> table = {
      {"openconfig-interfaces", true}, {"openconfig", true},
      {"acme-openconfig-ext", true},   {"OpenConfig-System", true},
      {"x-OPENCONFIG", true},          {"openconfi-g", false},
      {"ietf-interfaces", false},      {"", false},
  };
  for (const auto& [name, expected] : table) {
    std::string module = name;
    EXPECT_EQ(mapper.isOpenconfigModel_(module), expected) << name;
    EXPECT_EQ(module, name);
  }
}

TEST(PopulateOpenconfig, GivesARootAPseudoModuleName) {
  FakeSchema schema;
  schema.module("openconfig-platform", "oc-platform", "urn:p").container("components").leaf("x");
  LogCapture log;
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.ympPrefixByModuleName_, (Names{{"openconfig-platform", "oc-platform"},
                                                  {"openconfig-components", "oc-platform"}}));
  EXPECT_EQ(log.take(GPR_LOG_SEVERITY_ERROR),
            (Lines{found("openconfig-platform", "openconfig-components"),
                   added("openconfig-components")}));
}

TEST(PopulateOpenconfig, MakesNoReverseEntryForAPseudoName) {
  FakeSchema schema;
  schema.module("openconfig-platform", "oc-platform", "urn:p").container("components").leaf("x");
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.nsByModuleName_, (Names{{"openconfig-platform", "urn:p"}}));
  EXPECT_EQ(mapper.moduleNameByNs_, (Names{{"urn:p", "openconfig-platform"}}));
  EXPECT_EQ(mapper.moduleNameByYmpPrefix_, (Names{{"oc-platform", "openconfig-platform"}}));
  EXPECT_EQ(mapper.nsByYmpPrefix_, (Names{{"oc-platform", "urn:p"}}));
  EXPECT_EQ(mapper.ympPrefixByNs_, (Names{{"urn:p", "oc-platform"}}));
}

TEST(PopulateOpenconfig, AddsNothingWhenTheModuleHasThatName) {
  FakeSchema schema;
  schema.module("openconfig-system", "oc-sys", "urn:s").container("system").leaf("x");
  LogCapture log;
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.ympPrefixByModuleName_, (Names{{"openconfig-system", "oc-sys"}}));
  EXPECT_EQ(log.take(GPR_LOG_SEVERITY_ERROR),
            (Lines{found("openconfig-system", "openconfig-system")}));
}

TEST(PopulateOpenconfig, NeverOverwritesAnEntry) {
  FakeSchema schema;
  schema.module("openconfig-first", "one", "urn:1").container("thing").leaf("x");
  schema.module("openconfig-second", "two", "urn:2").container("thing").leaf("x");
  LogCapture log;
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.ympPrefixByModuleName_.at("openconfig-thing"), "one");
  EXPECT_EQ(log.take(GPR_LOG_SEVERITY_ERROR),
            (Lines{found("openconfig-first", "openconfig-thing"), added("openconfig-thing"),
                   found("openconfig-second", "openconfig-thing")}));
}

// Here the entry decides, whatever its prefix.
TEST(PopulateOpenconfig, NeverOverwritesAnEntryWhosePrefixIsEmpty) {
  FakeSchema schema;
  schema.module("openconfig-first", "", "urn:1").container("thing").leaf("x");
  schema.module("openconfig-second", "two", "urn:2").container("thing").leaf("x");
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.ympPrefixByModuleName_.at("openconfig-thing"), "");
}

TEST(PopulateOpenconfig, ALaterModuleOfThePseudoNameTakesItsEntry) {
  FakeSchema schema;
  schema.module("openconfig-first", "one", "urn:1").container("second").leaf("x");
  schema.module("openconfig-second", "two", "urn:2");
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.ympPrefixByModuleName_.at("openconfig-second"), "two");
}

TEST(PopulateOpenconfig, TreatsAModuleNameInAnyLetterCaseAsOpenconfig) {
  FakeSchema schema;
  schema.module("OpenConfig-interfaces", "oc-if", "urn:if").container("ports").leaf("x");
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.ympPrefixByModuleName_.at("openconfig-ports"), "oc-if");
}

TEST(PopulateOpenconfig, NamesAndWalksARootThatIsNotRegistered) {
  FakeSchema schema;
  schema.module("openconfig-x", "x", "urn:x").leaf("alone");
  LogCapture log;
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_TRUE(mapper.schemaif_.rootSnodes_.empty());
  EXPECT_EQ(mapper.ympPrefixByModuleName_.at("openconfig-alone"), "x");
  const Lines lines = log.take(GPR_LOG_SEVERITY_DEBUG);
  EXPECT_EQ(lines, (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile, "schemaWalk [ openconfig-x ]"}}));
}

grpc::Status no_kind(const kestrel_cs_node* /*node*/,
                     std::shared_ptr<gnmi::rfc7951::NodeVariant_t>& /*out*/) {
  return {grpc::StatusCode::UNKNOWN, "no kind"};
}

TEST(PopulateOpenconfig, NamesAndWalksARootWhoseRegistrationFailed) {
  FakeSchema schema;
  schema.module("openconfig-x", "x", "urn:x").container("c").leaf("l");
  LogCapture log;
  ServiceKestrelNamespaceMapperImpl mapper;
  mapper.schemaif_.transform_ = &no_kind;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.ympPrefixByModuleName_.at("openconfig-c"), "x");
  const Lines lines = log.take();
  ASSERT_GE(lines.size(), 4U);
  EXPECT_EQ(Lines(lines.end() - 4, lines.end()),
            (Lines{{GPR_LOG_SEVERITY_ERROR, kFile,
                    "root node [ moduleName: openconfig-x, nodeName: c , ns: urn:x ] root node "
                    "registration failed"},
                   found("openconfig-x", "openconfig-c"),
                   added("openconfig-c"),
                   {GPR_LOG_SEVERITY_DEBUG, kFile, "schemaWalk [ openconfig-x ]"}}));
}

TEST(PopulateOpenconfig, LeavesOtherModulesUnwalked) {
  FakeSchema schema;
  schema.module("ietf-system", "sys", "urn:s").container("system").leaf("x");
  LogCapture log;
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.ympPrefixByModuleName_, (Names{{"ietf-system", "sys"}}));
  EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_DEBUG, kInterface,
                                "GenericSchemaInterfaceImpl::registerRootSnode ---> enter ns [ "
                                "urn:s ] name [ system ]"},
                               {GPR_LOG_SEVERITY_INFO, kInterface,
                                "GenericSchemaInterfaceImpl::registerRootSnode[ namespace urn:s, "
                                "element system ] ---> leave(success)"},
                               {GPR_LOG_SEVERITY_ERROR, kFile, "toBeWalked: empty vector"}}));
}

TEST(PopulateOpenconfig, WalksForAugmentsOfOpenconfigModules) {
  FakeSchema schema;
  FakeModule& interfaces = schema.module("openconfig-interfaces", "oc-if", "urn:if");
  FakeModule& ethernet = schema.module("openconfig-if-ethernet", "oc-eth", "urn:eth");
  interfaces.container("interfaces").list("interface", {"name"}).in(ethernet).container("ethernet");
  LogCapture log;
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  std::string node = "ethernet";
  std::string root = "oc-if";
  const std::string pseudo =
      gnmi::BaseNamespaceMapper::pseudoModuleName("openconfig", node, root, 2);
  EXPECT_EQ(mapper.ympPrefixByModuleName_.at(pseudo), "oc-eth");
  const Lines lines = log.take(GPR_LOG_SEVERITY_INFO);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[1],
            (Line{GPR_LOG_SEVERITY_INFO, kWalkFile,
                  "SchemaWalkContext::generatePseudoEntry_[ inModule=openconfig-if-ethernet, "
                  "node=ethernet, nspace=urn:eth, Entry Generated [ PseudoEntry=" +
                      pseudo + ", ympPrefix=oc-eth ], depth=2 ]"}));
}

TEST(PopulateOpenconfig, DropsTheStatusOfTheWalk) {
  FakeSchema schema;
  FakeModule& m = schema.module("openconfig-m", "", "urn:m");
  m.container("c").leaf("l");
  LogCapture log;
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  const Lines lines = log.take(GPR_LOG_SEVERITY_ERROR);
  EXPECT_EQ(lines,
            (Lines{found("openconfig-m", "openconfig-c"),
                   added("openconfig-c"),
                   {GPR_LOG_SEVERITY_ERROR, "platform/gnmi_base/src/gnmi_base_namespace_mapper.cc",
                    "Load failure [ schema node process failed to lookup root ymp ]"}}));
}

TEST(SchemaWalk, WalksEveryPairInOrder) {
  FakeSchema schema;
  FakeModule& one = schema.module("openconfig-one", "one", "urn:1");
  FakeModule& two = schema.module("openconfig-two", "two", "urn:2");
  const FakeNode first = one.container("first");
  const FakeNode second = two.container("second");
  ServiceKestrelNamespaceMapperImpl mapper;
  mapper.ympPrefixByNs_ = {{"urn:1", "one"}, {"urn:2", "two"}};
  std::vector<std::pair<std::string, kestrel_cs_node*>> pairs = {{"openconfig-two", second},
                                                                 {"openconfig-one", first}};
  LogCapture log;
  EXPECT_TRUE(mapper.schemaWalk_("openconfig", pairs).ok());
  EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile, "schemaWalk [ openconfig-two ]"},
                               {GPR_LOG_SEVERITY_DEBUG, kFile, "schemaWalk [ openconfig-one ]"}}));
}

TEST(SchemaWalk, EndsAtTheFirstFailingWalk) {
  FakeSchema schema;
  const FakeNode node = schema.module("openconfig-one", "one", "urn:1").container("first");
  ServiceKestrelNamespaceMapperImpl mapper;
  mapper.ympPrefixByNs_ = {{"urn:1", "one"}};
  std::vector<std::pair<std::string, kestrel_cs_node*>> pairs = {
      {"a", node}, {"b", nullptr}, {"c", node}};
  LogCapture log;
  const grpc::Status status = mapper.schemaWalk_("openconfig", pairs);
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(),
            "SchemaNode lookup failed [ namespace: root ] : walkSchema::Undefined start node");
  EXPECT_EQ(log.take(),
            (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile, "schemaWalk [ a ]"},
                   {GPR_LOG_SEVERITY_DEBUG, kFile, "schemaWalk [ b ]"},
                   {GPR_LOG_SEVERITY_ERROR, kInterface,
                    "SchemaNode lookup failed [ namespace: root ] : walkSchema::Undefined start "
                    "node"}}));
}

TEST(SchemaWalk, OfNoPairsIsOk) {
  ServiceKestrelNamespaceMapperImpl mapper;
  std::vector<std::pair<std::string, kestrel_cs_node*>> none;
  LogCapture log;
  EXPECT_TRUE(mapper.schemaWalk_("openconfig", none).ok());
  EXPECT_EQ(log.take(), Lines{});
}

}  // namespace nexa_srv_kestrel_namespace_mapper_impl_openconfig_test

// Model data of the Capabilities answer, and the nodes that start-up passes over.
#include <gtest/gtest.h>

#include <string>

#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace {

using nexa::ServiceKestrelNamespaceMapperImpl;
using nexa_test::FakeModule;
using nexa_test::FakeSchema;
using nexa_test::Lines;
using nexa_test::LogCapture;

const gnmi::CapabilityResponse& response() {
  return ServiceKestrelNamespaceMapperImpl::cached_capability_response_;
}

TEST(ModelData, BecomesOneSupportedModelAndNoRoot) {
  FakeSchema schema;
  schema.module("mod", "p", "urn:m")
      .meta_data("gnmi-model-data",
                 {{"module-name", "m"}, {"organization", "o"}, {"semver", "1.0.0"}})
      .leaf("below");
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  ASSERT_EQ(response().supported_models_size(), 1);
  EXPECT_EQ(response().supported_models(0).name(), "m");
  EXPECT_EQ(response().supported_models(0).organization(), "o");
  EXPECT_EQ(response().supported_models(0).version(), "1.0.0");
  EXPECT_TRUE(mapper.schemaif_.rootSnodes_.empty());
}

TEST(ModelData, IgnoresOtherKeys) {
  FakeSchema schema;
  schema.module("mod", "p", "urn:m")
      .meta_data("gnmi-model-data", {{"contact", "c"}, {"semver", "2.0.0"}, {"module", "x"}});
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  ASSERT_EQ(response().supported_models_size(), 1);
  EXPECT_EQ(response().supported_models(0).name(), "");
  EXPECT_EQ(response().supported_models(0).organization(), "");
  EXPECT_EQ(response().supported_models(0).version(), "2.0.0");
}

TEST(ModelData, WithoutEntriesIsAnEmptyModel) {
  FakeSchema schema;
  schema.module("mod", "p", "urn:m").meta_data("gnmi-model-data", {});
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  ASSERT_EQ(response().supported_models_size(), 1);
  EXPECT_EQ(response().supported_models(0).ByteSizeLong(), 0U);
}

TEST(ModelData, WithoutAMetaDataListIsAnEmptyModel) {
  FakeSchema schema;
  auto node = schema.module("mod", "p", "urn:m").meta_data("gnmi-model-data", {});
  node->meta_data = nullptr;
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(response().supported_models_size(), 1);
}

TEST(ModelData, KeepsTheOrderOfTheModules) {
  FakeSchema schema;
  for (const char* name : {"c", "a", "b"}) {
    schema.module(name, name, std::string("urn:") + name)
        .meta_data("gnmi-model-data", {{"module-name", name}});
  }
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  ASSERT_EQ(response().supported_models_size(), 3);
  EXPECT_EQ(response().supported_models(0).name(), "c");
  EXPECT_EQ(response().supported_models(1).name(), "a");
  EXPECT_EQ(response().supported_models(2).name(), "b");
}

TEST(ModelData, IsReadFromANodeAmongOthersAndTheNextNodeIsStillRegistered) {
  FakeSchema schema;
  FakeModule& m = schema.module("mod", "p", "urn:m");
  m.container("before").leaf("l");
  m.meta_data("gnmi-model-data", {{"module-name", "m"}});
  m.container("after").leaf("l");
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(response().supported_models_size(), 1);
  EXPECT_EQ(mapper.schemaif_.rootSnodes_.count({"urn:m", "before"}), 1U);
  EXPECT_EQ(mapper.schemaif_.rootSnodes_.count({"urn:m", "after"}), 1U);
}

TEST(ModelData, OfAnOpenconfigModuleIsNotWalked) {
  FakeSchema schema;
  schema.module("openconfig-m", "p", "urn:m")
      .meta_data("gnmi-model-data", {{"module-name", "m"}})
      .leaf("l");
  LogCapture log;
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_ERROR, "nexa_srv_kestrel_namespace_mapper_impl.cc",
                                "toBeWalked: empty vector"}}));
  EXPECT_EQ(mapper.ympPrefixByModuleName_.size(), 1U);
}

TEST(ModelData, NeedsTheFlagNotOnlyTheName) {
  FakeSchema schema;
  schema.module("mod", "p", "urn:m").container("gnmi-model-data").leaf("l");
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(response().supported_models_size(), 0);
  EXPECT_EQ(mapper.schemaif_.rootSnodes_.count({"urn:m", "gnmi-model-data"}), 1U);
}

TEST(ModelData, NeedsTheNameNotOnlyTheFlag) {
  FakeSchema schema;
  schema.module("mod", "p", "urn:m").meta_data("other", {{"module-name", "m"}}).leaf("l");
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(response().supported_models_size(), 0);
  EXPECT_EQ(mapper.schemaif_.rootSnodes_.count({"urn:m", "other"}), 1U);
}

TEST(SchemaMetadataNodes, AreNeitherRegisteredNorWalked) {
  FakeSchema schema;
  FakeModule& m = schema.module("openconfig-m", "p", "urn:m");
  m.container("schema-metadata-").leaf("l");
  m.container("schema-metadata-info").leaf("l");
  m.meta_data("schema-metadata-more", {{"module-name", "m"}}).leaf("l");
  LogCapture log;
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_TRUE(mapper.schemaif_.rootSnodes_.empty());
  EXPECT_EQ(response().supported_models_size(), 0);
  EXPECT_EQ(mapper.ympPrefixByModuleName_.size(), 1U);
  EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_ERROR, "nexa_srv_kestrel_namespace_mapper_impl.cc",
                                "toBeWalked: empty vector"}}));
}

TEST(SchemaMetadataNodes, AreKnownByTheBeginningOfTheName) {
  FakeSchema schema;
  FakeModule& m = schema.module("mod", "p", "urn:m");
  m.container("schema-metadata").leaf("l");
  m.container("my-schema-metadata-info").leaf("l");
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.schemaif_.rootSnodes_.size(), 2U);
}

}  // namespace

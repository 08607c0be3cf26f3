// Start-up of the mapper: the six name maps, the root registry, and an object's life.
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_srv_kestrel_namespace_mapper_impl_test {

using nexa::ServiceKestrelNamespaceMapperImpl;
using nexa_test::FakeModule;
using nexa_test::FakeSchema;
using nexa_test::Lines;
using nexa_test::LogCapture;
using Names = std::map<std::string, std::string>;

constexpr char kFile[] = "nexa_srv_kestrel_namespace_mapper_impl.cc";
constexpr char kInterface[] = "gnmi/gnmi_rfc7951_schema_interface.h";

const Lines kNothingToWalk = {{GPR_LOG_SEVERITY_ERROR, kFile, "toBeWalked: empty vector"}};

static_assert(std::has_virtual_destructor_v<ServiceKestrelNamespaceMapperImpl>);
static_assert(std::has_virtual_destructor_v<gnmi::BaseNamespaceMapper>);
static_assert(std::is_base_of_v<gnmi::BaseNamespaceMapper, ServiceKestrelNamespaceMapperImpl>);

// Read before any mapper of this program exists: each one's end sets the flag back.
const bool kCachedAtStart = ServiceKestrelNamespaceMapperImpl::schema_data_cached_;

TEST(Mapper, NothingIsCachedAtStart) { EXPECT_FALSE(kCachedAtStart); }

TEST(Mapper, IsConstructedEmptyWithoutReadingTheSchema) {
  FakeSchema schema;
  schema.module("m", "p", "urn:m").container("c").leaf("l");
  const ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_EQ(mapper.version_, 1);
  EXPECT_EQ(mapper.nsCount_, 0);
  EXPECT_EQ(mapper.nsList_, nullptr);
  EXPECT_EQ(mapper.schemaifPtr_, &mapper.schemaif_);
  EXPECT_EQ(mapper.schemaif_.transform_, &gnmi::rfc7951::Helper::transform);
  EXPECT_TRUE(mapper.schemaif_.rootSnodes_.empty());
  EXPECT_EQ(mapper.schemaif_.rootSnodes_.bucket_count(), 1U);
  EXPECT_EQ(mapper.schemaif_.rootSnodes_.max_load_factor(), 1.0F);
  EXPECT_EQ(mapper.schemaif_.snodeCache_.size(), 0U);
  EXPECT_EQ(mapper.schemaif_.snodeCache_.capacity(), 256U);
  EXPECT_TRUE(mapper.nsByYmpPrefix_.empty());
  EXPECT_FALSE(ServiceKestrelNamespaceMapperImpl::schema_data_cached_);
}

TEST(Mapper, StaticTextsAreFixed) {
  EXPECT_EQ(ServiceKestrelNamespaceMapperImpl::GMD_GNMI_MODEL_DATA, "gnmi-model-data");
  EXPECT_EQ(ServiceKestrelNamespaceMapperImpl::GMD_SCHEMA_METADATA_PREFIX, "schema-metadata-");
  EXPECT_EQ(ServiceKestrelNamespaceMapperImpl::GMD_MODULE_NAME_KEY, "module-name");
  EXPECT_EQ(ServiceKestrelNamespaceMapperImpl::GMD_ORGANIZATION_KEY, "organization");
  EXPECT_EQ(ServiceKestrelNamespaceMapperImpl::GMD_SEMVER_KEY, "semver");
}

TEST(Populate, OfAnEmptyNamespaceListSetsTheFlagAndLogs) {
  const FakeSchema schema;
  LogCapture log;
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_TRUE(ServiceKestrelNamespaceMapperImpl::schema_data_cached_);
  EXPECT_EQ(mapper.nsCount_, 0);
  EXPECT_EQ(mapper.nsByYmpPrefix_, Names{});
  EXPECT_EQ(mapper.ympPrefixByNs_, Names{});
  EXPECT_EQ(mapper.nsByModuleName_, Names{});
  EXPECT_EQ(mapper.moduleNameByNs_, Names{});
  EXPECT_EQ(mapper.ympPrefixByModuleName_, Names{});
  EXPECT_EQ(mapper.moduleNameByYmpPrefix_, Names{});
  EXPECT_EQ(log.take(), kNothingToWalk);
}

TEST(Populate, KeepsTheListAndItsCount) {
  FakeSchema schema;
  schema.module("m", "p", "urn:m");
  schema.module("n", "q", "urn:n");
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.nsCount_, 2);
  EXPECT_EQ(mapper.nsList_, schema.entries().data());
}

TEST(Populate, FillsTheSixMaps) {
  FakeSchema schema;
  schema.module("ietf-interfaces", "if", "urn:if");
  schema.module("ietf-system", "sys", "urn:sys");
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.nsByYmpPrefix_, (Names{{"if", "urn:if"}, {"sys", "urn:sys"}}));
  EXPECT_EQ(mapper.ympPrefixByNs_, (Names{{"urn:if", "if"}, {"urn:sys", "sys"}}));
  EXPECT_EQ(mapper.nsByModuleName_,
            (Names{{"ietf-interfaces", "urn:if"}, {"ietf-system", "urn:sys"}}));
  EXPECT_EQ(mapper.moduleNameByNs_,
            (Names{{"urn:if", "ietf-interfaces"}, {"urn:sys", "ietf-system"}}));
  EXPECT_EQ(mapper.ympPrefixByModuleName_,
            (Names{{"ietf-interfaces", "if"}, {"ietf-system", "sys"}}));
  EXPECT_EQ(mapper.moduleNameByYmpPrefix_,
            (Names{{"if", "ietf-interfaces"}, {"sys", "ietf-system"}}));
}

TEST(Populate, FindsAModuleWithUpperCaseLettersUnderBothSpellings) {
  FakeSchema schema;
  schema.module("Foo-Bar", "fb", "urn:fb");
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.nsByModuleName_, (Names{{"Foo-Bar", "urn:fb"}, {"foo-bar", "urn:fb"}}));
  EXPECT_EQ(mapper.ympPrefixByModuleName_, (Names{{"Foo-Bar", "fb"}, {"foo-bar", "fb"}}));
  EXPECT_EQ(mapper.moduleNameByNs_, (Names{{"urn:fb", "Foo-Bar"}}));
  EXPECT_EQ(mapper.moduleNameByYmpPrefix_, (Names{{"fb", "Foo-Bar"}}));
}

TEST(Populate, ALaterNamespaceWithAUsedPrefixReplacesTheFirst) {
  FakeSchema schema;
  schema.module("first", "p", "urn:first");
  schema.module("second", "p", "urn:second");
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.nsByYmpPrefix_, (Names{{"p", "urn:second"}}));
  EXPECT_EQ(mapper.moduleNameByYmpPrefix_, (Names{{"p", "second"}}));
  EXPECT_EQ(mapper.ympPrefixByNs_, (Names{{"urn:first", "p"}, {"urn:second", "p"}}));
  EXPECT_EQ(mapper.nsByModuleName_, (Names{{"first", "urn:first"}, {"second", "urn:second"}}));
}

TEST(Populate, ALaterModuleOfOneNamespaceReplacesTheFirst) {
  FakeSchema schema;
  schema.module("first", "p", "urn:one");
  schema.module("second", "q", "urn:one");
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.ympPrefixByNs_, (Names{{"urn:one", "q"}}));
  EXPECT_EQ(mapper.moduleNameByNs_, (Names{{"urn:one", "second"}}));
}

TEST(Populate, ALowerCasedNameOverwritesAnEarlierModuleOfThatName) {
  FakeSchema schema;
  schema.module("foo", "f", "urn:f");
  schema.module("FOO", "g", "urn:g");
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.nsByModuleName_, (Names{{"foo", "urn:g"}, {"FOO", "urn:g"}}));
  EXPECT_EQ(mapper.ympPrefixByModuleName_, (Names{{"foo", "g"}, {"FOO", "g"}}));
  EXPECT_EQ(mapper.moduleNameByNs_, (Names{{"urn:f", "foo"}, {"urn:g", "FOO"}}));
}

void expect_null_is_thrown(const KestrelNsEntry& entry) {
  FakeSchema schema;
  schema.raw_entry(entry);
  ServiceKestrelNamespaceMapperImpl mapper;
  try {
    mapper.populate();
    FAIL() << "nothing thrown";
  } catch (const std::logic_error& error) {
    EXPECT_STREQ(error.what(), "basic_string::_M_construct null not valid");
  }
  EXPECT_EQ(mapper.nsByYmpPrefix_, Names{});
}

TEST(Populate, ThrowsForANullModuleName) { expect_null_is_thrown({"urn:m", "p", 1, "", nullptr}); }
TEST(Populate, ThrowsForANullPrefix) { expect_null_is_thrown({"urn:m", nullptr, 1, "", "m"}); }
TEST(Populate, ThrowsForANullNamespace) { expect_null_is_thrown({nullptr, "p", 1, "", "m"}); }

TEST(Populate, TakesANullRevision) {
  FakeSchema schema;
  schema.raw_entry({"urn:m", "p", 1, nullptr, "m"});
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.nsByYmpPrefix_, (Names{{"p", "urn:m"}}));
}

TEST(Populate, RegistersEveryTopLevelNodeThatHasChildren) {
  FakeSchema schema;
  FakeModule& m = schema.module("m", "p", "urn:m");
  const auto first = m.container("first");
  FakeModule& n = schema.module("n", "q", "urn:n");
  nexa_test::FakeNode(first).leaf("x");
  m.list("second", {"k"}).leaf("k");
  m.leaf("alone");
  m.container("empty");
  n.container("first").leaf("y");
  LogCapture log;
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.schemaif_.rootSnodes_.size(), 3U);
  EXPECT_EQ(mapper.schemaif_.rootSnodes_.count({"urn:m", "first"}), 1U);
  EXPECT_EQ(mapper.schemaif_.rootSnodes_.count({"urn:m", "second"}), 1U);
  EXPECT_EQ(mapper.schemaif_.rootSnodes_.count({"urn:n", "first"}), 1U);
  EXPECT_EQ(mapper.schemaif_.rootSnodes_.at({"urn:m", "first"})->node, first.get());
  EXPECT_EQ(log.take(GPR_LOG_SEVERITY_ERROR), kNothingToWalk);
}

grpc::Status no_kind(const kestrel_cs_node* /*node*/,
                     std::shared_ptr<gnmi::rfc7951::NodeVariant_t>& /*out*/) {
  return {grpc::StatusCode::UNKNOWN, "no kind"};
}

TEST(Populate, LogsAFailedRegistrationAndGoesOn) {
  FakeSchema schema;
  schema.module("m", "p", "urn:m").container("c").leaf("l");
  schema.module("n", "q", "urn:n");
  LogCapture log;
  ServiceKestrelNamespaceMapperImpl mapper;
  mapper.schemaif_.transform_ = &no_kind;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_TRUE(mapper.schemaif_.rootSnodes_.empty());
  EXPECT_EQ(mapper.nsByYmpPrefix_.size(), 2U);
  EXPECT_EQ(log.take(GPR_LOG_SEVERITY_ERROR),
            (Lines{{GPR_LOG_SEVERITY_ERROR, kFile,
                    "root node [ moduleName: m, nodeName: c , ns: urn:m ] root node registration "
                    "failed"},
                   {GPR_LOG_SEVERITY_ERROR, kFile, "toBeWalked: empty vector"}}));
}

TEST(Populate, TwiceWithoutClearAppendsModelDataAndRefusesTheRoots) {
  FakeSchema schema;
  FakeModule& m = schema.module("m", "p", "urn:m");
  m.container("c").leaf("l");
  m.meta_data("gnmi-model-data", {{"module-name", "m"}});
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  LogCapture log;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(ServiceKestrelNamespaceMapperImpl::cached_capability_response_.supported_models_size(),
            2);
  EXPECT_EQ(mapper.schemaif_.rootSnodes_.size(), 1U);
  EXPECT_EQ(log.take(GPR_LOG_SEVERITY_ERROR),
            (Lines{{GPR_LOG_SEVERITY_ERROR, kInterface,
                    "Collision [ namespace: urn:m ] : Unexpected duplicate namespace"},
                   {GPR_LOG_SEVERITY_ERROR, kFile,
                    "root node [ moduleName: m, nodeName: c , ns: urn:m ] root node registration "
                    "failed"},
                   {GPR_LOG_SEVERITY_ERROR, kFile, "toBeWalked: empty vector"}}));
}

TEST(Clear, EmptiesEverythingButTheCount) {
  FakeSchema schema;
  FakeModule& m = schema.module("m", "p", "urn:m");
  m.container("c").leaf("l");
  m.meta_data("gnmi-model-data", {{"module-name", "m"}});
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  mapper.schemaif_.snodeCache_.insert("key", mapper.schemaif_.rootSnodes_.at({"urn:m", "c"}));
  mapper.version_ = 7;
  mapper.clear_();
  EXPECT_FALSE(ServiceKestrelNamespaceMapperImpl::schema_data_cached_);
  EXPECT_EQ(ServiceKestrelNamespaceMapperImpl::cached_capability_response_.supported_models_size(),
            0);
  EXPECT_EQ(mapper.nsByYmpPrefix_, Names{});
  EXPECT_EQ(mapper.ympPrefixByNs_, Names{});
  EXPECT_EQ(mapper.nsByModuleName_, Names{});
  EXPECT_EQ(mapper.moduleNameByNs_, Names{});
  EXPECT_EQ(mapper.ympPrefixByModuleName_, Names{});
  EXPECT_EQ(mapper.moduleNameByYmpPrefix_, Names{});
  EXPECT_EQ(mapper.version_, 1);
  EXPECT_TRUE(mapper.schemaif_.rootSnodes_.empty());
  EXPECT_EQ(mapper.schemaif_.snodeCache_.size(), 0U);
  EXPECT_EQ(mapper.nsList_, nullptr);
  EXPECT_EQ(mapper.nsCount_, 1);
}

TEST(Clear, LetsPopulateRunAgain) {
  FakeSchema schema;
  schema.module("m", "p", "urn:m").container("c").leaf("l");
  ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  mapper.clear_();
  LogCapture log;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_TRUE(ServiceKestrelNamespaceMapperImpl::schema_data_cached_);
  EXPECT_EQ(mapper.schemaif_.rootSnodes_.size(), 1U);
  EXPECT_EQ(mapper.nsList_, schema.entries().data());
  EXPECT_EQ(log.take(GPR_LOG_SEVERITY_ERROR), kNothingToWalk);
}

TEST(Mapper, DestructorClearsTheSharedMembers) {
  FakeSchema schema;
  schema.module("m", "p", "urn:m").meta_data("gnmi-model-data", {{"module-name", "m"}});
  {
    ServiceKestrelNamespaceMapperImpl mapper;
    EXPECT_TRUE(mapper.populate().ok());
    EXPECT_TRUE(ServiceKestrelNamespaceMapperImpl::schema_data_cached_);
  }
  EXPECT_FALSE(ServiceKestrelNamespaceMapperImpl::schema_data_cached_);
  EXPECT_EQ(ServiceKestrelNamespaceMapperImpl::cached_capability_response_.supported_models_size(),
            0);
}

TEST(ResourceShortage, IsLoggedAndReturned) {
  ServiceKestrelNamespaceMapperImpl mapper;
  LogCapture log;
  const grpc::Status status = mapper.resourceShortage_("100% of memory");
  EXPECT_EQ(status.error_code(), 8);
  EXPECT_EQ(status.error_message(), "Resource Unavailable [ 100% of memory ]");
  EXPECT_EQ(log.take(),
            (Lines{{GPR_LOG_SEVERITY_ERROR, kFile, "Resource Unavailable [ 100% of memory ]"}}));
}

}  // namespace nexa_srv_kestrel_namespace_mapper_impl_test

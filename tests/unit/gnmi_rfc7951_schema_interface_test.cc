// The registry of root nodes, shared node wrappers, cache keys, and the statuses of the schema
// interface.
#include "gnmi/gnmi_rfc7951_schema_interface.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>

#include "nexa/nexa_srv_kestrel_schemaif_impl.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace gnmi_rfc7951_schema_interface_test {

using gnmi::rfc7951::GenericSchemaInterfaceImpl;
using gnmi::rfc7951::NodeVariant_t;
using gnmi::rfc7951::SchemaEnums;
using nexa_test::FakeModule;
using nexa_test::FakeNode;
using nexa_test::FakeSchema;
using nexa_test::Line;
using nexa_test::Lines;
using nexa_test::LogCapture;
using Schemaif = gnmi::rfc7951::GenericServiceKestrelSchemaifImpl<256>;
using Snode = gnmi::rfc7951::SchemaNode<kestrel_cs_node>;
using SnodePtr = std::shared_ptr<Snode>;

using SchemaifBase = GenericSchemaInterfaceImpl<256, void, kestrel_cs_node, Snode,
                                                gnmi::rfc7951::GenericPathPointer<kestrel_cs_node>>;

constexpr char kFile[] = "gnmi/gnmi_rfc7951_schema_interface.h";

static_assert(!std::is_polymorphic_v<Schemaif>);
static_assert(std::is_same_v<decltype(&Schemaif::getSnodeFroCache),
                             boost::optional<SnodePtr> (SchemaifBase::*)(std::string)>);
static_assert(std::is_base_of_v<SchemaifBase, Schemaif>);
static_assert(std::is_base_of_v<gnmi::rfc7951::GenericSchemaInterface<
                                    kestrel_cs_node, Snode,
                                    gnmi::rfc7951::GenericPathPointer<kestrel_cs_node>, Schemaif>,
                                Schemaif>);

Line debug(const std::string& text) { return {GPR_LOG_SEVERITY_DEBUG, kFile, text}; }
Line info(const std::string& text) { return {GPR_LOG_SEVERITY_INFO, kFile, text}; }
Line error(const std::string& text) { return {GPR_LOG_SEVERITY_ERROR, kFile, text}; }

void expect_internal(const grpc::Status& status, const std::string& message) {
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(), message);
}

grpc::Status no_kind(const kestrel_cs_node* /*node*/, std::shared_ptr<NodeVariant_t>& /*out*/) {
  return {grpc::StatusCode::UNKNOWN, "no kind"};
}

// A schema node type that memory never suffices for.
struct UnbornNode {
  static std::shared_ptr<UnbornNode> create(const std::string& /*ns*/, const std::string& /*name*/,
                                            const kestrel_cs_node* /*node*/) {
    return nullptr;
  }
  std::weak_ptr<UnbornNode> weakThis;
  std::shared_ptr<NodeVariant_t> nodeVariant;
};
using UnbornInterface = GenericSchemaInterfaceImpl<4, void, kestrel_cs_node, UnbornNode, void>;

TEST(SchemaInterface, StatusesAreInternalAndLogged) {
  Schemaif schemaif;
  LogCapture log;
  expect_internal(schemaif.noSchemaNode_("urn:%s", "why"),
                  "SchemaNode lookup failed [ namespace: urn:%s ] : why");
  expect_internal(schemaif.nsCollision_("urn:x", "100%"), "Collision [ namespace: urn:x ] : 100%");
  expect_internal(schemaif.internalError_("what"), "InternalError [ what ]");
  EXPECT_EQ(log.take(), (Lines{error("SchemaNode lookup failed [ namespace: urn:%s ] : why"),
                               error("Collision [ namespace: urn:x ] : 100%"),
                               error("InternalError [ what ]")}));
}

TEST(SchemaNode, KeepsWhatItIsMadeOfAndHasNoKindYet) {
  FakeSchema schema;
  const FakeNode c = schema.module("m", "p", "urn:m").container("c");
  const SnodePtr node = Snode::create("urn:m", "c", c);
  EXPECT_EQ(node->ns, "urn:m");
  EXPECT_EQ(node->name, "c");
  EXPECT_EQ(node->node, c.get());
  EXPECT_TRUE(node->nodeVariant == nullptr);
  EXPECT_EQ(node->weakThis.lock(), node);
}

TEST(RegisterRootSnode, StoresASharedNodeOfKnownKind) {
  FakeSchema schema;
  const FakeNode c = schema.module("m", "p", "urn:m").container("c");
  Schemaif schemaif;
  LogCapture log;
  EXPECT_TRUE(schemaif.registerRootSnode("urn:m", "c", c).ok());
  const SnodePtr& stored = schemaif.rootSnodes_.at({"urn:m", "c"});
  EXPECT_EQ(stored->ns, "urn:m");
  EXPECT_EQ(stored->name, "c");
  EXPECT_EQ(stored->node, c.get());
  ASSERT_TRUE(stored->nodeVariant != nullptr);
  EXPECT_EQ(stored->weakThis.lock(), stored);
  EXPECT_EQ(log.take(),
            (Lines{debug("GenericSchemaInterfaceImpl::registerRootSnode ---> enter ns [ urn:m ] "
                         "name [ c ]"),
                   info("GenericSchemaInterfaceImpl::registerRootSnode[ namespace urn:m, element "
                        "c ] ---> leave(success)")}));
}

TEST(RegisterRootSnode, RefusesTheSamePairTwiceAndKeepsTheFirst) {
  FakeSchema schema;
  FakeModule& m = schema.module("m", "p", "urn:m");
  const FakeNode first = m.container("c");
  const FakeNode second = m.container("c");
  Schemaif schemaif;
  EXPECT_TRUE(schemaif.registerRootSnode("urn:m", "c", first).ok());
  LogCapture log;
  expect_internal(schemaif.registerRootSnode("urn:m", "c", second),
                  "Collision [ namespace: urn:m ] : Unexpected duplicate namespace");
  EXPECT_EQ(schemaif.rootSnodes_.size(), 1U);
  EXPECT_EQ(schemaif.rootSnodes_.at({"urn:m", "c"})->node, first.get());
  EXPECT_EQ(log.take(),
            (Lines{debug("GenericSchemaInterfaceImpl::registerRootSnode ---> enter ns [ urn:m ] "
                         "name [ c ]"),
                   error("Collision [ namespace: urn:m ] : Unexpected duplicate namespace")}));
}

TEST(RegisterRootSnode, TakesOneNameInTwoNamespaces) {
  FakeSchema schema;
  const FakeNode first = schema.module("m", "p", "urn:m").container("c");
  const FakeNode second = schema.module("n", "q", "urn:n").container("c");
  Schemaif schemaif;
  EXPECT_TRUE(schemaif.registerRootSnode("urn:m", "c", first).ok());
  EXPECT_TRUE(schemaif.registerRootSnode("urn:n", "c", second).ok());
  EXPECT_EQ(schemaif.rootSnodes_.size(), 2U);
  EXPECT_EQ(schemaif.rootSnodes_.at({"urn:n", "c"})->node, second.get());
}

TEST(RegisterRootSnode, ReturnsTheTransformsStatusAndLeavesNoEntry) {
  FakeSchema schema;
  const FakeNode c = schema.module("m", "p", "urn:m").container("c");
  Schemaif schemaif;
  schemaif.transform_ = &no_kind;
  LogCapture log;
  const grpc::Status status = schemaif.registerRootSnode("urn:m", "c", c);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::UNKNOWN);
  EXPECT_EQ(status.error_message(), "no kind");
  EXPECT_TRUE(schemaif.rootSnodes_.empty());
  EXPECT_EQ(
      log.take(),
      (Lines{debug("GenericSchemaInterfaceImpl::registerRootSnode ---> enter ns [ urn:m ] name [ "
                   "c ]"),
             debug("GenericSchemaInterfaceImpl::registerRootSnode ---> leave(alloc failed(nv))")}));
}

TEST(RegisterRootSnode, ReportsANodeThatCouldNotBeMade) {
  UnbornInterface schemaif;
  const kestrel_cs_node node = {};
  LogCapture log;
  expect_internal(schemaif.registerRootSnode("urn:m", "c", &node),
                  "InternalError [ GenericSchemaInterfaceImpl::registerRootSnode ---> leave(alloc "
                  "failed(sn)) ]");
  EXPECT_TRUE(schemaif.rootSnodes_.empty());
  EXPECT_EQ(log.take(GPR_LOG_SEVERITY_ERROR),
            (Lines{error("InternalError [ GenericSchemaInterfaceImpl::registerRootSnode ---> "
                         "leave(alloc failed(sn)) ]")}));
}

TEST(RootKey, HashIsTheXorOfTheTwoStringHashes) {
  const std::hash<std::string> hash;
  const gnmi::rfc7951::key_hash key_hash;
  EXPECT_EQ(key_hash(gnmi::rfc7951::RootKey("urn:m", "c")), hash("urn:m") ^ hash("c"));
  const std::string ns = "urn:m";
  const std::string name = "c";
  EXPECT_EQ(key_hash(std::tie(ns, name)), hash("urn:m") ^ hash("c"));
}

TEST(RootKey, EqualityComparesBothTexts) {
  const gnmi::rfc7951::key_equal equal;
  const gnmi::rfc7951::RootKey key("a", "b");
  EXPECT_TRUE(equal(key, gnmi::rfc7951::RootKey("a", "b")));
  EXPECT_FALSE(equal(key, gnmi::rfc7951::RootKey("a", "c")));
  EXPECT_FALSE(equal(key, gnmi::rfc7951::RootKey("c", "b")));
  EXPECT_FALSE(equal(key, gnmi::rfc7951::RootKey("b", "a")));
}

TEST(Ns2RootSnode, FindsARegisteredRoot) {
  FakeSchema schema;
  const FakeNode c = schema.module("m", "p", "urn:m").container("c");
  Schemaif schemaif;
  EXPECT_TRUE(schemaif.registerRootSnode("urn:m", "c", c).ok());
  LogCapture log;
  SnodePtr out;
  EXPECT_TRUE(schemaif.ns2RootSnode("urn:m", "c", out).ok());
  EXPECT_EQ(out, schemaif.rootSnodes_.at({"urn:m", "c"}));
  EXPECT_EQ(log.take(),
            (Lines{debug(
                "GenericSchemaInterfaceImpl::ns2RootSnode ---> enter ns [ urn:m ] name [ c ]")}));
}

TEST(Ns2RootSnode, SharesARootThatTheCallerMade) {
  const auto node = std::make_shared<Snode>("urn:m", "c", nullptr);
  Schemaif schemaif;
  schemaif.rootSnodes_[{"urn:m", "c"}] = node;
  SnodePtr out;
  EXPECT_TRUE(schemaif.ns2RootSnode("urn:m", "c", out).ok());
  EXPECT_EQ(out, node);
}

TEST(Ns2RootSnode, RefusesAnUnregisteredPair) {
  FakeSchema schema;
  const FakeNode c = schema.module("m", "p", "urn:m").container("c");
  Schemaif schemaif;
  EXPECT_TRUE(schemaif.registerRootSnode("urn:m", "c", c).ok());
  SnodePtr out;
  const std::string message =
      "SchemaNode lookup failed [ namespace: urn:n ] : Root Schema Node Lookup Failed";
  LogCapture log;
  expect_internal(schemaif.ns2RootSnode("urn:n", "c", out), message);
  EXPECT_EQ(log.take(GPR_LOG_SEVERITY_ERROR), (Lines{error(message)}));
  EXPECT_FALSE(schemaif.ns2RootSnode("urn:m", "d", out).ok());
  EXPECT_EQ(out, nullptr);
}

TEST(Payload2Snode, MakesASharedNodeOfKnownKind) {
  FakeSchema schema;
  const FakeNode leaf = schema.module("m", "p", "urn:m").container("c").leaf("l");
  Schemaif schemaif;
  LogCapture log;
  SnodePtr out;
  EXPECT_TRUE(schemaif.payload2Snode("urn:m", "l", leaf, out).ok());
  EXPECT_EQ(out->ns, "urn:m");
  EXPECT_EQ(out->name, "l");
  EXPECT_EQ(out->node, leaf.get());
  EXPECT_EQ(out->weakThis.lock(), out);
  ASSERT_TRUE(out->nodeVariant != nullptr);
  EXPECT_EQ(out->nodeVariant->which(), 1);
  EXPECT_EQ(log.take(), Lines{});
}

TEST(Payload2Snode, EmptiesItsResultWhenThereIsNoKind) {
  FakeSchema schema;
  const FakeNode c = schema.module("m", "p", "urn:m").container("c");
  Schemaif schemaif;
  schemaif.transform_ = &no_kind;
  SnodePtr out = Snode::create("urn:m", "earlier", c);
  LogCapture log;
  const grpc::Status status = schemaif.payload2Snode("urn:m", "c", c, out);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::UNKNOWN);
  EXPECT_EQ(status.error_message(), "no kind");
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(
      log.take(),
      (Lines{error("GenericSchemaInterfaceImpl::payload2Snode ---> leave(alloc failed(nv))")}));
}

TEST(Payload2Snode, ReportsANodeThatCouldNotBeMade) {
  UnbornInterface schemaif;
  const kestrel_cs_node node = {};
  std::shared_ptr<UnbornNode> out;
  LogCapture log;
  const std::string message =
      "InternalError [ GenericSchemaInterfaceImpl::payload2Snode ---> leave(alloc failed(sn)) ]";
  expect_internal(schemaif.payload2Snode("urn:m", "c", &node, out), message);
  EXPECT_EQ(log.take(), (Lines{error(message)}));
}

TEST(FormCacheKey, JoinsNamespaceDepthAndName) {
  Schemaif schemaif;
  EXPECT_EQ(schemaif.formCacheKey("urn:x", 2, "config"), "urn:x__2__config");
  EXPECT_EQ(schemaif.formCacheKey("", 0, "a"), "__0__a");
  EXPECT_EQ(schemaif.formCacheKey("n", -1, ""), "n__-1__");
  EXPECT_EQ(schemaif.formCacheKey("n", -2147483647 - 1, "x"), "n__-2147483648__x");
  EXPECT_EQ(schemaif.formCacheKey("n", 2147483647, "x"), "n__2147483647__x");
}

TEST(GetSnodeFroCache, IsNoneForAnAbsentKey) {
  Schemaif schemaif;
  EXPECT_FALSE(schemaif.getSnodeFroCache("key"));
}

TEST(GetSnodeFroCache, SharesTheCachedNode) {
  FakeSchema schema;
  const FakeNode c = schema.module("m", "p", "urn:m").container("c");
  Schemaif schemaif;
  const SnodePtr node = Snode::create("urn:m", "c", c);
  schemaif.snodeCache_.insert("key", node);
  const auto cached = schemaif.getSnodeFroCache("key");
  ASSERT_TRUE(cached);
  EXPECT_EQ(*cached, node);
  EXPECT_EQ(node.use_count(), 3);
}

TEST(GetSnodeFroCache, CountsAsAUse) {
  FakeSchema schema;
  const FakeNode c = schema.module("m", "p", "urn:m").container("c");
  Schemaif schemaif;
  const SnodePtr node = Snode::create("urn:m", "c", c);
  for (int i = 0; i < 256; ++i) schemaif.snodeCache_.insert(std::to_string(i), node);
  EXPECT_TRUE(schemaif.getSnodeFroCache("0"));
  schemaif.snodeCache_.insert("256", node);
  EXPECT_TRUE(schemaif.getSnodeFroCache("0"));
  EXPECT_FALSE(schemaif.getSnodeFroCache("1"));
}

TEST(GetSnodeFroCache, ThrowsForANodeThatNoSharedPointerOwns) {
  Snode node("urn:m", "c", nullptr);
  Schemaif schemaif;
  schemaif.snodeCache_.insert("key", SnodePtr(SnodePtr(), &node));
  EXPECT_THROW(schemaif.getSnodeFroCache("key"), std::bad_weak_ptr);
}

TEST(GetSnodeFroCache, ThrowsForAReferenceToANodeNoLongerAlive) {
  const auto node = std::make_shared<Snode>("urn:m", "c", nullptr);
  node->weakThis = std::make_shared<Snode>("urn:m", "other", nullptr);
  const SnodePtr emptied = Snode::create("urn:m", "c", nullptr);
  emptied->weakThis.reset();
  Schemaif schemaif;
  schemaif.snodeCache_.insert("key", node);
  schemaif.snodeCache_.insert("emptied", emptied);
  EXPECT_THROW(schemaif.getSnodeFroCache("key"), std::bad_weak_ptr);
  EXPECT_THROW(schemaif.getSnodeFroCache("emptied"), std::bad_weak_ptr);
}

TEST(GetSnodeFroCache, SharesANodeThatTheCallerMade) {
  const auto node = std::make_shared<Snode>("urn:m", "c", nullptr);
  Schemaif schemaif;
  schemaif.snodeCache_.insert("key", node);
  EXPECT_EQ(schemaif.getSnodeFroCache("key").get(), node);
  EXPECT_EQ(node->weakThis.lock(), node);
}

}  // namespace gnmi_rfc7951_schema_interface_test

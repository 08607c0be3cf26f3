// Digestion of one path element: names, keys, the root, the children, and the traces of each step.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace gnmi_rfc7951_schema_interface_digest_test {

using gnmi::rfc7951::KcnPathPointer;
using nexa_test::FakeModule;
using nexa_test::FakeNode;
using nexa_test::FakeSchema;
using nexa_test::Line;
using nexa_test::Lines;
using nexa_test::LogCapture;
using Keys = std::map<std::string, std::string>;

constexpr char kFile[] = "gnmi/gnmi_rfc7951_schema_interface.h";
constexpr char kFindFile[] = "nexa/nexa_srv_kestrel_schemaif_impl.h";

Line debug(const std::string& text) { return {GPR_LOG_SEVERITY_DEBUG, kFile, text}; }
Line error(const std::string& text) { return {GPR_LOG_SEVERITY_ERROR, kFile, text}; }
Line find_debug(const std::string& text) {
  return {GPR_LOG_SEVERITY_DEBUG, kFindFile,
          "ServiceKestrelSchemaifImpl::findSnode[ " + text + " ]"};
}

// /if:interfaces/interface[name]{name, mtu, eth:ethernet{eth:speed}}
class DigestElement : public testing::Test {
 protected:
  DigestElement() {
    entry_.leaf("name");
    static_cast<void>(mapper_.populate());
    token_ = mapper_.newToken();
  }

  grpc::Status digest(const std::string& name, const Keys& keys = {}) {
    gnmi::PathElem in;
    in.set_name(name);
    for (const auto& [key, value] : keys) (*in.mutable_key())[key] = value;
    out_.Clear();
    return token_->digestPathElement(mapper_.schemaifPtr_, in, out_, next_index_++, pointer_);
  }
  Keys out_keys() const { return {out_.key().begin(), out_.key().end()}; }

  FakeSchema schema_;
  FakeModule& if_ = schema_.module("ietf-interfaces", "if", "urn:if");
  FakeModule& eth_ = schema_.module("ietf-ethernet", "eth", "urn:eth");
  FakeNode interfaces_ = if_.container("interfaces");
  FakeNode entry_ = interfaces_.list("interface", {"name"});
  FakeNode mtu_ = entry_.leaf("mtu");
  FakeNode ethernet_ = entry_.in(eth_).container("ethernet");
  FakeNode speed_ = ethernet_.leaf("speed");
  nexa::ServiceKestrelNamespaceMapperImpl mapper_;
  std::shared_ptr<nexa::Rfc7951MapperToken> token_;
  KcnPathPointer pointer_;
  gnmi::PathElem out_;
  int next_index_ = 0;
};

TEST_F(DigestElement, ResolvesTheFirstElementInTheRegistry) {
  LogCapture log;
  EXPECT_TRUE(digest("if:interfaces").ok());
  EXPECT_EQ(out_.name(), "ietf-interfaces:interfaces");
  EXPECT_EQ(pointer_.snode, mapper_.schemaif_.rootSnodes_.at({"urn:if", "interfaces"}));
  EXPECT_EQ(pointer_.name, "interfaces");
  EXPECT_EQ(pointer_.rootNs, "urn:if");
  EXPECT_EQ(pointer_.index, 0);
  EXPECT_EQ(pointer_.mode, 2);
  EXPECT_EQ(log.take(),
            (Lines{debug("digestPathElem[ name: interfaces ] ---> enter"),
                   debug("GenericSchemaInterfaceImpl::ns2RootSnode ---> enter ns [ urn:if ] name [ "
                         "interfaces ]"),
                   debug("digestPathElem[ initial element [ name: interfaces ]]"),
                   debug("digestPathElem[ name: interfaces ] ---> leave")}));
}

TEST_F(DigestElement, PutsTheRootIntoTheCache) {
  EXPECT_TRUE(digest("if:interfaces").ok());
  EXPECT_EQ(mapper_.schemaif_.getSnodeFroCache("urn:if__0__interfaces").get(), pointer_.snode);
  EXPECT_EQ(mapper_.schemaif_.snodeCache_.size(), 1U);
}

TEST_F(DigestElement, LeavesARootThatIsCachedInItsPlace) {
  const auto other = gnmi::rfc7951::SchemaNode<kestrel_cs_node>::create("x", "y", interfaces_);
  mapper_.schemaif_.snodeCache_.insert("urn:if__0__interfaces", other);
  EXPECT_TRUE(digest("if:interfaces").ok());
  EXPECT_EQ(mapper_.schemaif_.getSnodeFroCache("urn:if__0__interfaces").get(), other);
  EXPECT_EQ(pointer_.snode->name, "interfaces");
}

TEST_F(DigestElement, ARootThatIsCachedCountsAsUsed) {
  const auto other = gnmi::rfc7951::SchemaNode<kestrel_cs_node>::create("x", "y", interfaces_);
  mapper_.schemaif_.snodeCache_.insert("urn:if__0__interfaces", other);
  for (int i = 1; i < 256; ++i) mapper_.schemaif_.snodeCache_.insert(std::to_string(i), other);
  EXPECT_TRUE(digest("if:interfaces").ok());
  mapper_.schemaif_.snodeCache_.insert("one more", other);
  EXPECT_TRUE(mapper_.schemaif_.getSnodeFroCache("urn:if__0__interfaces"));
  EXPECT_FALSE(mapper_.schemaif_.getSnodeFroCache("1"));
}

TEST_F(DigestElement, TakesAModuleNameOnTheFirstElement) {
  EXPECT_TRUE(digest("ietf-interfaces:interfaces").ok());
  EXPECT_EQ(out_.name(), "ietf-interfaces:interfaces");
  EXPECT_EQ(pointer_.snode->node, interfaces_.get());
}

TEST_F(DigestElement, RefusesAFirstElementWithoutModulePrefix) {
  LogCapture log;
  const grpc::Status status = digest("interfaces");
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(),
            "InternalError [ root element unknown namespace  [ interfaces ] ]");
  EXPECT_EQ(pointer_.index, -1);
  EXPECT_EQ(pointer_.snode, nullptr);
  EXPECT_EQ(pointer_.rootNs, "");
  EXPECT_EQ(log.take(),
            (Lines{debug("digestPathElem[ name: interfaces ] ---> enter"),
                   error("InternalError [ root element unknown namespace  [ interfaces ] ]")}));
}

TEST_F(DigestElement, RefusesAFirstElementThatIsNoRoot) {
  LogCapture log;
  const grpc::Status status = digest("eth:ethernet");
  const std::string message =
      "SchemaNode lookup failed [ namespace: urn:eth ] : Root Schema Node Lookup Failed";
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(), message);
  EXPECT_EQ(pointer_.index, -1);
  EXPECT_EQ(pointer_.rootNs, "urn:eth");
  EXPECT_EQ(mapper_.schemaif_.snodeCache_.size(), 0U);
  EXPECT_EQ(log.take(GPR_LOG_SEVERITY_ERROR), (Lines{error(message)}));
}

TEST_F(DigestElement, ResolvesALaterElementBelowTheCurrentNode) {
  EXPECT_TRUE(digest("if:interfaces").ok());
  LogCapture log;
  EXPECT_TRUE(digest("interface").ok());
  EXPECT_EQ(out_.name(), "interface");
  EXPECT_EQ(pointer_.snode->node, entry_.get());
  EXPECT_EQ(pointer_.index, 1);
  EXPECT_EQ(pointer_.mode, 0);
  EXPECT_EQ(
      log.take(),
      (Lines{debug("digestPathElem[ name: interface ] ---> enter"),
             debug("digestPathElem[ subsequent element - pre findSnode ]"),
             find_debug("cache miss [ urn:if__1__interface ]"),
             find_debug("cache fill [ key: urn:if__1__interface, plns: urn:if, scns: urn:if ]"),
             debug("digestPathElem[ subsequent element - post findSnode [ success ] ]"),
             debug("digestPathElem[ name: interface ] ---> leave")}));
}

TEST_F(DigestElement, LooksAnUnprefixedElementUpInItsParentsNamespace) {
  EXPECT_TRUE(digest("if:interfaces").ok());
  EXPECT_TRUE(digest("interface").ok());
  EXPECT_TRUE(digest("eth:ethernet").ok());
  EXPECT_TRUE(digest("speed").ok());
  EXPECT_EQ(pointer_.snode->node, speed_.get());
  EXPECT_EQ(pointer_.snode->ns, "urn:eth");
  EXPECT_EQ(out_.name(), "speed");
}

TEST_F(DigestElement, LooksAPrefixedElementUpInThatModulesNamespace) {
  EXPECT_TRUE(digest("if:interfaces").ok());
  EXPECT_TRUE(digest("interface").ok());
  EXPECT_FALSE(digest("ethernet").ok());
  EXPECT_TRUE(digest("eth:ethernet").ok());
  EXPECT_EQ(pointer_.snode->node, ethernet_.get());
  EXPECT_EQ(out_.name(), "ietf-ethernet:ethernet");
}

TEST_F(DigestElement, FormsCacheKeysWithTheRootsNamespace) {
  EXPECT_TRUE(digest("if:interfaces").ok());
  EXPECT_TRUE(digest("interface").ok());
  EXPECT_TRUE(digest("eth:ethernet").ok());
  EXPECT_TRUE(mapper_.schemaif_.getSnodeFroCache("urn:if__2__ethernet"));
  EXPECT_FALSE(mapper_.schemaif_.getSnodeFroCache("urn:eth__2__ethernet"));
}

TEST_F(DigestElement, RefusesALaterElementThatTheSchemaDoesNotHave) {
  EXPECT_TRUE(digest("if:interfaces").ok());
  LogCapture log;
  const grpc::Status status = digest("none");
  const std::string message =
      "SchemaNode lookup failed [ namespace: urn:if__1__none ] : Node not found in dictionary[ "
      "name: none, namespace: urn:if ]";
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(), message);
  EXPECT_EQ(pointer_.index, 0);
  EXPECT_EQ(pointer_.snode->node, interfaces_.get());
  EXPECT_EQ(pointer_.name, "none");
  EXPECT_EQ(log.take(), (Lines{debug("digestPathElem[ name: none ] ---> enter"),
                               debug("digestPathElem[ subsequent element - pre findSnode ]"),
                               find_debug("cache miss [ urn:if__1__none ]"), error(message)}));
}

TEST_F(DigestElement, ReturnsAFailureToSplitTheNameAndNamesNothing) {
  EXPECT_TRUE(digest("if:interfaces").ok());
  LogCapture log;
  const grpc::Status status = digest("zz:interface");
  EXPECT_EQ(status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
  EXPECT_EQ(status.error_message(), "Unknown prefix in name [ zz:interface ]");
  EXPECT_EQ(out_.name(), "");
  EXPECT_EQ(pointer_.name, "interfaces");
  EXPECT_EQ(pointer_.index, 0);
  EXPECT_EQ(log.take(GPR_LOG_SEVERITY_ERROR), Lines{});
}

TEST_F(DigestElement, AFailureToSplitTheNameLeavesTheResultAsItWas) {
  gnmi::PathElem in;
  in.set_name("zz:interface");
  (*in.mutable_key())["name"] = "eth0";
  out_.set_name("earlier");
  EXPECT_FALSE(
      token_->digestPathElement(mapper_.schemaifPtr_, in, out_, next_index_, pointer_).ok());
  EXPECT_EQ(out_.name(), "earlier");
  EXPECT_EQ(out_.key_size(), 0);
}

TEST_F(DigestElement, ExternalizesKeyNamesAndCopiesValues) {
  EXPECT_TRUE(digest("if:interfaces").ok());
  EXPECT_TRUE(digest("interface", {{"if:name", "if:eth0"}, {"name2", "x"}}).ok());
  EXPECT_EQ(out_keys(), (Keys{{"ietf-interfaces:name", "if:eth0"}, {"name2", "x"}}));
  EXPECT_EQ(pointer_.mode, 1);
}

TEST_F(DigestElement, RefusesKeysThatCannotBeTransformed) {
  EXPECT_TRUE(digest("if:interfaces").ok());
  LogCapture log;
  const grpc::Status status = digest("interface", {{"zz:name", "eth0"}});
  const std::string message = "InternalError [ transform keys failed [ interface ] ]";
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(), message);
  EXPECT_EQ(out_.name(), "interface");
  EXPECT_EQ(pointer_.name, "interface");
  EXPECT_EQ(pointer_.index, 0);
  EXPECT_EQ(log.take(GPR_LOG_SEVERITY_ERROR), (Lines{error(message)}));
}

TEST_F(DigestElement, RefusesKeysThatBecomeFewer) {
  EXPECT_TRUE(digest("if:interfaces").ok());
  const grpc::Status status =
      digest("interface", {{"if:name", "a"}, {"ietf-interfaces:name", "b"}});
  EXPECT_EQ(status.error_message(), "InternalError [ transform keys failed [ interface ] ]");
}

TEST_F(DigestElement, RefusesKeysBesideOthersThatTheResultHolds) {
  gnmi::PathElem in;
  in.set_name("if:interfaces");
  (*in.mutable_key())["if:name"] = "a";
  (*out_.mutable_key())["other"] = "b";
  const grpc::Status status =
      token_->digestPathElement(mapper_.schemaifPtr_, in, out_, next_index_, pointer_);
  EXPECT_EQ(status.error_message(), "InternalError [ transform keys failed [ interfaces ] ]");
}

TEST_F(DigestElement, RefusesKeysOnAContainer) {
  LogCapture log;
  const grpc::Status status = digest("if:interfaces", {{"name", "eth0"}});
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(),
            " could not interpret path [ Unexpected key on path element ] ");
  EXPECT_EQ(pointer_.index, -1);
  EXPECT_EQ(pointer_.snode, nullptr);
  EXPECT_EQ(log.take(GPR_LOG_SEVERITY_ERROR),
            (Lines{{GPR_LOG_SEVERITY_ERROR, "gnmi/gnmi_rfc7951_defs.h",
                    " could not interpret path [ Unexpected key on path element ] "}}));
}

TEST_F(DigestElement, StaysAtTheLastGoodNodeWhenTheKindIsRefused) {
  EXPECT_TRUE(digest("if:interfaces").ok());
  EXPECT_TRUE(digest("interface").ok());
  const auto good = pointer_.snode;
  EXPECT_FALSE(digest("eth:ethernet", {{"k", "v"}}).ok());
  EXPECT_EQ(pointer_.snode, good);
  EXPECT_EQ(pointer_.index, 1);
  EXPECT_EQ(pointer_.mode, 0);
}

TEST_F(DigestElement, ALeafEndsAPathWithMode0) {
  EXPECT_TRUE(digest("if:interfaces").ok());
  EXPECT_TRUE(digest("interface", {{"name", "eth0"}}).ok());
  EXPECT_TRUE(digest("mtu").ok());
  EXPECT_EQ(pointer_.snode->node, mtu_.get());
  EXPECT_EQ(pointer_.mode, 0);
}

TEST_F(DigestElement, AfterAFailedFirstElementTheNextOneIsTheFirst) {
  EXPECT_FALSE(digest("interfaces").ok());
  EXPECT_TRUE(digest("if:interfaces").ok());
  EXPECT_EQ(pointer_.index, 1);
  EXPECT_EQ(pointer_.snode->node, interfaces_.get());
  EXPECT_TRUE(mapper_.schemaif_.getSnodeFroCache("urn:if__0__interfaces"));
}

TEST_F(DigestElement, RefusesAnElementBelowNoNode) {
  EXPECT_TRUE(pointer_.set_snode(nullptr, false).ok());
  pointer_.index = 0;
  pointer_.rootNs = "urn:if";
  const grpc::Status status = digest("interface");
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(),
            "SchemaNode lookup failed [ namespace: urn:if__0__interface ] : Node not found in "
            "dictionary[ name: interface, namespace:  ]");
}

}  // namespace gnmi_rfc7951_schema_interface_digest_test

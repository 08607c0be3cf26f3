// External paths whose elements come without module, completed by what the schema has.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "support/fake_schema.h"

namespace nexa_srv_kestrel_namespace_mapper_impl_path_test {

using nexa_test::FakeModule;
using nexa_test::FakeNode;
using nexa_test::FakeSchema;

gnmi::Path path(const std::vector<std::string>& names) {
  gnmi::Path built;
  for (const std::string& name : names) built.add_elem()->set_name(name);
  return built;
}

// /oc-if:interfaces/interface[name]{ oc-vlan:routed{ oc-ip:ipv4 }, tunnel{ ipv4 }, acme:box{ x },
//                                    acme:twin, other:twin, oc-vlan:pair{ acme:deep }, acme:pair }
// and box holds other:ipv4 too
class UnprefixedPath : public testing::Test {
 protected:
  UnprefixedPath() {
    FakeNode entry = interfaces_.container("interfaces").list("interface", {"name"});
    entry.in(vlan_).container("routed").in(ip_).container("ipv4").leaf("mtu");
    entry.container("tunnel").container("ipv4").leaf("mtu");
    FakeNode box = entry.in(acme_).container("box");
    box.leaf("x");
    box.in(other_).container("ipv4");
    entry.in(acme_).container("twin");
    entry.in(other_).container("twin");
    entry.in(vlan_).container("pair").in(acme_).leaf("deep");
    entry.in(acme_).container("pair");
    static_cast<void>(mapper_.populate());
    token_ = mapper_.newToken();
  }
  std::string internalized(const gnmi::Path& in) {
    gnmi::Path out;
    EXPECT_TRUE(token_->internalizePath(in, out).ok());
    std::string text;
    for (const gnmi::PathElem& element : out.elem()) text += "/" + element.name();
    return text;
  }

  FakeSchema schema_;
  FakeModule& interfaces_ = schema_.module("openconfig-interfaces", "oc-if", "urn:if");
  FakeModule& vlan_ = schema_.module("openconfig-vlan", "oc-vlan", "urn:vlan");
  FakeModule& ip_ = schema_.module("openconfig-if-ip", "oc-ip", "urn:ip");
  FakeModule& acme_ = schema_.module("acme-box", "acme", "urn:acme");
  FakeModule& other_ = schema_.module("other-box", "other", "urn:other");
  nexa::ServiceKestrelNamespaceMapperImpl mapper_;
  std::shared_ptr<nexa::Rfc7951MapperToken> token_;
};

TEST_F(UnprefixedPath, IsCompletedByPseudoModules) {
  EXPECT_EQ(internalized(path({"interfaces", "interface", "routed", "ipv4", "mtu"})),
            "/oc-if:interfaces/interface/oc-vlan:routed/oc-ip:ipv4/mtu");
}

TEST_F(UnprefixedPath, PrefersTheChildOfTheParentsModuleToAPseudoModule) {
  EXPECT_EQ(internalized(path({"interfaces", "interface", "tunnel", "ipv4", "mtu"})),
            "/oc-if:interfaces/interface/tunnel/ipv4/mtu");
}

TEST_F(UnprefixedPath, PrefersAPseudoModuleToOtherModules) {
  EXPECT_EQ(internalized(path({"interfaces", "interface", "pair", "deep"})),
            "/oc-if:interfaces/interface/oc-vlan:pair/acme:deep");
}

TEST_F(UnprefixedPath, LeavesAPseudoModuleThatHasNoChildOfTheNameThere) {
  EXPECT_EQ(internalized(path({"interfaces", "interface", "box", "ipv4"})),
            "/oc-if:interfaces/interface/acme:box/other:ipv4");
}

TEST_F(UnprefixedPath, TakesTheOnlyChildOfTheName) {
  EXPECT_EQ(internalized(path({"interfaces", "interface", "box", "x"})),
            "/oc-if:interfaces/interface/acme:box/x");
}

TEST_F(UnprefixedPath, LeavesANameThatTwoModulesGive) {
  EXPECT_EQ(internalized(path({"interfaces", "interface", "twin"})),
            "/oc-if:interfaces/interface/twin");
}

TEST_F(UnprefixedPath, LeavesANameThatNoChildHasAndWhatFollows) {
  EXPECT_EQ(internalized(path({"interfaces", "interface", "none", "x"})),
            "/oc-if:interfaces/interface/none/x");
  EXPECT_EQ(internalized(path({"interfaces", "*", "box"})), "/oc-if:interfaces/*/box");
}

TEST_F(UnprefixedPath, KeepsAModuleThatThePathGives) {
  EXPECT_EQ(internalized(path({"openconfig-interfaces:interfaces", "interface", "acme-box:twin"})),
            "/oc-if:interfaces/interface/acme:twin");
  EXPECT_EQ(internalized(path({"interfaces", "interface", "other-box:box", "x"})),
            "/oc-if:interfaces/interface/other:box/x");
}

TEST_F(UnprefixedPath, IsCompletedBelowAGivenModule) {
  EXPECT_EQ(internalized(path({"interfaces", "interface", "acme-box:box", "x"})),
            "/oc-if:interfaces/interface/acme:box/x");
}

TEST_F(UnprefixedPath, OfAnotherOriginIsNotCompleted) {
  gnmi::Path in = path({"openconfig-interfaces:interfaces", "interface", "box"});
  in.set_origin("rfc7951");
  EXPECT_EQ(internalized(in), "/oc-if:interfaces/interface/box");
}

TEST_F(UnprefixedPath, WithAnUnknownRootStays) {
  EXPECT_EQ(internalized(path({"none", "interface"})), "/none/interface");
  EXPECT_EQ(internalized(path({"acme-box:none", "interface"})), "/acme:none/interface");
}

TEST_F(UnprefixedPath, OfNoElementsIsOk) { EXPECT_EQ(internalized(gnmi::Path()), ""); }

TEST_F(UnprefixedPath, KeepsKeysTargetAndOrigin) {
  gnmi::Path in = path({"interfaces", "interface"});
  in.set_target("box");
  in.set_origin("openconfig");
  (*in.mutable_elem(1)->mutable_key())["name"] = "eth0";
  EXPECT_TRUE(token_->internalizePath(in, in).ok());
  EXPECT_EQ(in.target(), "box");
  EXPECT_EQ(in.origin(), "openconfig");
  EXPECT_EQ(in.elem(0).name(), "oc-if:interfaces");
  EXPECT_EQ(in.elem(1).key().at("name"), "eth0");
}

TEST_F(UnprefixedPath, RefusesAnUnknownModuleAndClearsTheResult) {
  gnmi::Path out = path({"before"});
  const grpc::Status status = token_->internalizePath(path({"interfaces", "zz:x"}), out);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
  EXPECT_EQ(status.error_message(), "Unknown module [ zz ] in path element [ zz:x ]");
  EXPECT_EQ(out.ByteSizeLong(), 0U);
}

}  // namespace nexa_srv_kestrel_namespace_mapper_impl_path_test

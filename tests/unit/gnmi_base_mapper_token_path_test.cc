// Whole paths between the external and the internal form, by names alone.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "gnmi/gnmi_base_namespace_mapper.h"

namespace gnmi_base_mapper_token_path_test {

using gnmi::BaseNamespaceMapper;
using Token = BaseNamespaceMapper::BaseMapperToken;
using Keys = std::map<std::string, std::string>;

gnmi::Path path(const std::vector<std::string>& names) {
  gnmi::Path built;
  for (const std::string& name : names) built.add_elem()->set_name(name);
  return built;
}

// "/name[key=value]", keys in order.
std::string text_of(const gnmi::Path& path) {
  std::string text;
  for (const gnmi::PathElem& element : path.elem()) {
    text += "/" + element.name();
    for (const auto& [key, value] : Keys(element.key().begin(), element.key().end())) {
      text.append("[").append(key).append("=").append(value).append("]");
    }
  }
  return text;
}

class Paths : public testing::Test {
 protected:
  Paths() {
    add("openconfig-interfaces", "oc-if");
    add("openconfig-if-ethernet", "oc-eth");
    add("ietf-system", "sys");
    mapper_.ympPrefixByModuleName_["openconfig-ports"] = "oc-if";
    std::string name = "ethernet";
    std::string root = "oc-if";
    mapper_.ympPrefixByModuleName_[BaseNamespaceMapper::pseudoModuleName("openconfig", name, root,
                                                                         2)] = "oc-eth";
  }
  void add(const std::string& module, const std::string& prefix) {
    mapper_.nsByYmpPrefix_[prefix] = "urn:" + prefix;
    mapper_.ympPrefixByModuleName_[module] = prefix;
    mapper_.moduleNameByYmpPrefix_[prefix] = module;
    mapper_.nsByModuleName_[module] = "urn:" + prefix;
  }
  grpc::Status transform(const gnmi::Path& in) {
    return token_.transformPath<&Token::externalizeEName>(in, out_);
  }
  std::string internalized(const gnmi::Path& in) {
    EXPECT_TRUE(token_.internalizePath(in, out_).ok());
    return text_of(out_);
  }

  BaseNamespaceMapper mapper_;
  Token token_{&mapper_, gnmi::Origin::kOpenconfig};
  gnmi::Path out_;
};

TEST_F(Paths, TransformNamesElementsAndKeys) {
  gnmi::Path in = path({"oc-if:interfaces", "interface", "oc-eth:ethernet"});
  (*in.mutable_elem(1)->mutable_key())["oc-if:name"] = "oc-if:eth0";
  (*in.mutable_elem(1)->mutable_key())["plain"] = "b";
  EXPECT_TRUE(transform(in).ok());
  EXPECT_EQ(text_of(out_),
            "/openconfig-interfaces:interfaces"
            "/interface[openconfig-interfaces:name=oc-if:eth0][plain=b]"
            "/openconfig-if-ethernet:ethernet");
  EXPECT_EQ(out_.origin(), "openconfig");
}

TEST_F(Paths, TransformOfNoElementsIsOkAndSetsTheOrigin) {
  out_.set_origin("before");
  EXPECT_TRUE(transform(gnmi::Path()).ok());
  EXPECT_EQ(out_.origin(), "openconfig");
  EXPECT_EQ(out_.elem_size(), 0);
}

TEST_F(Paths, TransformLeavesAFixedOriginAlone) {
  token_.origin_fixed_ = true;
  out_.set_origin("before");
  EXPECT_TRUE(transform(path({"oc-if:interfaces"})).ok());
  EXPECT_EQ(out_.origin(), "before");
}

TEST_F(Paths, TransformClearsTheElementsAtTheFirstFailure) {
  const grpc::Status status = transform(path({"oc-if:interfaces", "zz:x", "yy:z"}));
  EXPECT_EQ(status.error_message(), "Unknown prefix in name [ zz:x ]");
  EXPECT_EQ(out_.elem_size(), 0);
  EXPECT_EQ(out_.origin(), "openconfig");
}

TEST_F(Paths, TransformAppendsAndAFailureClearsWhatStoodThereToo) {
  out_ = path({"before"});
  EXPECT_TRUE(transform(path({"oc-if:interfaces"})).ok());
  EXPECT_EQ(text_of(out_), "/before/openconfig-interfaces:interfaces");
  EXPECT_FALSE(transform(path({"zz:x"})).ok());
  EXPECT_EQ(out_.elem_size(), 0);
}

TEST_F(Paths, TransformReportsABadNameWhoseKeysAreGood) {
  gnmi::Path in = path({"zz:x"});
  (*in.mutable_elem(0)->mutable_key())["oc-if:name"] = "a";
  EXPECT_EQ(transform(in).error_message(), "Unknown prefix in name [ zz:x ]");
  EXPECT_EQ(out_.elem_size(), 0);
}

TEST_F(Paths, TransformClearsTheElementsWhenAKeyFails) {
  gnmi::Path in = path({"oc-if:interfaces", "interface"});
  (*in.mutable_elem(1)->mutable_key())["zz:name"] = "a";
  EXPECT_EQ(transform(in).error_message(), "Unknown prefix in name [ zz:name ]");
  EXPECT_EQ(out_.elem_size(), 0);
}

TEST_F(Paths, TransformKeysCopiesEveryKey) {
  gnmi::PathElem in;
  (*in.mutable_key())["sys:a"] = "1";
  (*in.mutable_key())["b"] = "";
  gnmi::PathElem out;
  out.set_name("kept");
  EXPECT_TRUE(token_.transformKeys<&Token::externalizeEName>(in, out).ok());
  EXPECT_EQ(Keys(out.key().begin(), out.key().end()), (Keys{{"ietf-system:a", "1"}, {"b", ""}}));
  EXPECT_EQ(out.name(), "kept");
}

TEST_F(Paths, TransformKeysReturnsAFailure) {
  gnmi::PathElem in;
  (*in.mutable_key())["zz:a"] = "1";
  gnmi::PathElem out;
  EXPECT_EQ(token_.transformKeys<&Token::externalizeEName>(in, out).error_message(),
            "Unknown prefix in name [ zz:a ]");
  EXPECT_EQ(out.key_size(), 0);
}

TEST_F(Paths, InternalizeTurnsModuleNamesIntoPrefixes) {
  gnmi::Path in = path({"openconfig-interfaces:interfaces", "openconfig-interfaces:interface"});
  (*in.mutable_elem(1)->mutable_key())["openconfig-interfaces:name"] = "ietf-system:x";
  in.set_target("box");
  in.set_origin("openconfig");
  EXPECT_EQ(internalized(in), "/oc-if:interfaces/oc-if:interface[oc-if:name=ietf-system:x]");
  EXPECT_EQ(out_.target(), "box");
  EXPECT_EQ(out_.origin(), "openconfig");
}

TEST_F(Paths, InternalizeCompletesARootAndAnAugmentByTheirPseudoModules) {
  for (const char* origin : {"", "openconfig"}) {
    gnmi::Path in = path({"ports", "interface", "ethernet", "speed"});
    in.set_origin(origin);
    EXPECT_EQ(internalized(in), "/oc-if:ports/interface/oc-eth:ethernet/speed");
  }
}

TEST_F(Paths, InternalizeCompletesAnAugmentBelowAPrefixedRoot) {
  EXPECT_EQ(internalized(path({"openconfig-interfaces:interfaces", "interface", "ethernet"})),
            "/oc-if:interfaces/interface/oc-eth:ethernet");
}

TEST_F(Paths, InternalizeTakesTheRootsPrefixWhateverModulesFollow) {
  EXPECT_EQ(internalized(path({"ports", "ietf-system:interface", "ethernet"})),
            "/oc-if:ports/sys:interface/oc-eth:ethernet");
}

TEST_F(Paths, InternalizeCompletesByDepthAndRoot) {
  EXPECT_EQ(internalized(path({"ports", "ethernet"})), "/oc-if:ports/ethernet");
  EXPECT_EQ(internalized(path({"ietf-system:system", "a", "ethernet"})), "/sys:system/a/ethernet");
}

TEST_F(Paths, InternalizeCompletesNothingBelowAnUnknownRoot) {
  EXPECT_EQ(internalized(path({"oc-if", "interface", "ethernet"})), "/oc-if/interface/ethernet");
}

TEST_F(Paths, InternalizeCompletesNothingForAnotherOrigin) {
  gnmi::Path in = path({"ports", "interface", "ethernet"});
  in.set_origin("rfc7951");
  EXPECT_EQ(internalized(in), "/ports/interface/ethernet");
}

TEST_F(Paths, InternalizeRefusesAnUnknownModuleAndClearsTheResult) {
  out_ = path({"before"});
  const grpc::Status status =
      token_.internalizePath(path({"openconfig-interfaces:interfaces", "zz:x"}), out_);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
  EXPECT_EQ(status.error_message(), "Unknown module [ zz ] in path element [ zz:x ]");
  EXPECT_EQ(out_.ByteSizeLong(), 0U);
}

TEST_F(Paths, InternalizeRefusesAnUnknownModuleInAKeyName) {
  gnmi::Path in = path({"openconfig-interfaces:interfaces"});
  (*in.mutable_elem(0)->mutable_key())["zz:k"] = "v";
  const grpc::Status status = token_.internalizePath(in, out_);
  EXPECT_EQ(status.error_message(),
            "Unknown module [ zz ] in path element [ openconfig-interfaces:interfaces ]");
}

TEST_F(Paths, InternalizeMayWriteOverItsInput) {
  gnmi::Path both = path({"ports", "interface"});
  EXPECT_TRUE(token_.internalizePath(both, both).ok());
  EXPECT_EQ(text_of(both), "/oc-if:ports/interface");
}

TEST_F(Paths, InternalizeReplacesWhatThePathHolds) {
  out_ = path({"before"});
  EXPECT_EQ(internalized(path({"ports"})), "/oc-if:ports");
}

TEST_F(Paths, InternalizeKeepsWildcards) {
  EXPECT_EQ(internalized(path({"ports", "*", "..."})), "/oc-if:ports/*/...");
}

}  // namespace gnmi_base_mapper_token_path_test

// Names and values between the external form (module names) and the internal form (YANG prefixes).
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <string>

#include "gnmi/gnmi_base_namespace_mapper.h"
#include "support/log_capture.h"

namespace gnmi_base_mapper_token_test {

using gnmi::BaseNamespaceMapper;
using nexa_test::Lines;
using nexa_test::LogCapture;
using Token = BaseNamespaceMapper::BaseMapperToken;

// Two modules, one of them with capitals, and a pseudo module name of a root.
class Names : public testing::Test {
 protected:
  Names() {
    add("openconfig-interfaces", "oc-if", "urn:if");
    add("Acme-Box", "acme", "urn:acme");
    mapper_.nsByModuleName_["acme-box"] = "urn:acme";
    mapper_.ympPrefixByModuleName_["acme-box"] = "acme";
    mapper_.ympPrefixByModuleName_["openconfig-ports"] = "oc-if";
  }
  void add(const std::string& module, const std::string& prefix, const std::string& uri) {
    mapper_.nsByYmpPrefix_[prefix] = uri;
    mapper_.ympPrefixByNs_[uri] = prefix;
    mapper_.nsByModuleName_[module] = uri;
    mapper_.moduleNameByNs_[uri] = module;
    mapper_.ympPrefixByModuleName_[module] = prefix;
    mapper_.moduleNameByYmpPrefix_[prefix] = module;
  }
  std::string externalized(const std::string& name) {
    std::string out;
    EXPECT_TRUE(token_.externalizeEName(name, out, gnmi::EN_ARG_ELEMENT, 0).ok()) << name;
    return out;
  }
  std::string internalized(const std::string& name) {
    std::string out;
    EXPECT_TRUE(token_.internalizeEName(name, out, gnmi::EN_ARG_ELEMENT, 0).ok()) << name;
    return out;
  }

  BaseNamespaceMapper mapper_;
  Token token_{&mapper_};
};

TEST_F(Names, ExternalizingTurnsAPrefixIntoTheModuleName) {
  EXPECT_EQ(externalized("oc-if:interfaces"), "openconfig-interfaces:interfaces");
}

TEST_F(Names, ExternalizingAcceptsAModuleNameInEitherSpelling) {
  EXPECT_EQ(externalized("openconfig-interfaces:x"), "openconfig-interfaces:x");
  EXPECT_EQ(externalized("Acme-Box:x"), "Acme-Box:x");
  EXPECT_EQ(externalized("acme-box:x"), "Acme-Box:x");
}

TEST_F(Names, ExternalizingPrefersThePrefixToAModuleOfThatName) {
  add("acme", "other", "urn:other");
  EXPECT_EQ(externalized("acme:x"), "Acme-Box:x");
}

TEST_F(Names, ExternalizingKeepsAModuleWithoutSpelling) {
  mapper_.moduleNameByNs_.clear();
  EXPECT_EQ(externalized("acme-box:x"), "acme-box:x");
}

TEST_F(Names, ABareNameStays) {
  for (const char* name : {"interfaces", "", "*", "..."}) {
    EXPECT_EQ(externalized(name), name);
    EXPECT_EQ(internalized(name), name);
  }
}

TEST_F(Names, ExternalizingRefusesAnUnknownPrefixAndCopiesTheName) {
  std::string out;
  LogCapture log;
  const grpc::Status status = token_.externalizeEName("zz:x", out, gnmi::EN_ARG_NAME, 0);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
  EXPECT_EQ(status.error_message(), "Unknown prefix in name [ zz:x ]");
  EXPECT_EQ(out, "zz:x");
  EXPECT_EQ(log.take(),
            (Lines{{GPR_LOG_SEVERITY_DEBUG, "platform/gnmi_base/src/gnmi_base_mapper_token.cc",
                    "Unknown prefix in name [ zz:x ]"}}));
}

TEST_F(Names, InternalizingTurnsAModuleNameIntoThePrefix) {
  EXPECT_EQ(internalized("openconfig-interfaces:interfaces"), "oc-if:interfaces");
  EXPECT_EQ(internalized("acme-box:x"), "acme:x");
  EXPECT_EQ(internalized("openconfig-ports:ports"), "oc-if:ports");
}

TEST_F(Names, InternalizingTakesTheKindAsANumberToo) {
  std::string out;
  EXPECT_TRUE(token_.internalizeEName("Acme-Box:x", out, 1, 0).ok());
  EXPECT_EQ(out, "acme:x");
}

TEST_F(Names, InternalizingRefusesAnUnknownModuleAndCopiesTheName) {
  std::string out;
  const grpc::Status status = token_.internalizeEName("zz:x", out, gnmi::EN_ARG_NAME, 0);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
  EXPECT_EQ(status.error_message(), "Unknown module in name [ zz:x ]");
  EXPECT_EQ(out, "zz:x");
}

TEST_F(Names, OnlyTheFirstColonSeparates) {
  EXPECT_EQ(internalized("Acme-Box:a:b"), "acme:a:b");
  EXPECT_EQ(externalized("acme:a:b"), "Acme-Box:a:b");
}

TEST_F(Names, InternalizingUndoesExternalizing) {
  for (const char* name : {"oc-if:interfaces", "acme:x", "bare"}) {
    EXPECT_EQ(internalized(externalized(name)), name);
  }
}

TEST_F(Names, ExplodingGivesExternalNameNamespaceAndBareName) {
  std::string external;
  std::string ns = "before";
  std::string bare;
  EXPECT_TRUE(token_.externalizeExplodeName("oc-if:interfaces", external, ns, bare).ok());
  EXPECT_EQ(external, "openconfig-interfaces:interfaces");
  EXPECT_EQ(ns, "urn:if");
  EXPECT_EQ(bare, "interfaces");
  EXPECT_TRUE(token_.externalizeExplodeName("acme-box:x", external, ns, bare).ok());
  EXPECT_EQ(external, "Acme-Box:x");
  EXPECT_EQ(ns, "urn:acme");
  EXPECT_EQ(bare, "x");
}

TEST_F(Names, ExplodingABareNameGivesNoNamespace) {
  std::string external;
  std::string ns = "before";
  std::string bare;
  EXPECT_TRUE(token_.externalizeExplodeName("name", external, ns, bare).ok());
  EXPECT_EQ(external, "name");
  EXPECT_EQ(ns, "");
  EXPECT_EQ(bare, "name");
}

TEST_F(Names, ExplodingRefusesAnUnknownPrefix) {
  std::string external;
  std::string ns;
  std::string bare;
  const grpc::Status status = token_.externalizeExplodeName("zz:x", external, ns, bare);
  EXPECT_EQ(status.error_message(), "Unknown prefix in name [ zz:x ]");
}

struct Value {
  grpc::Status status;
  std::string prefix = "before", bare = "before", ns = "before", prefixed = "before";
};

Value explode(Token& token, const std::string& text) {
  Value value;
  value.status =
      token.internalizeExplodeValue(text, value.prefix, value.bare, value.ns, value.prefixed, 0);
  return value;
}

TEST_F(Names, AValueOfAModuleIsSplitIntoFourTexts) {
  const Value value = explode(token_, "Acme-Box:KIND");
  EXPECT_TRUE(value.status.ok());
  EXPECT_EQ(value.prefix, "acme");
  EXPECT_EQ(value.bare, "KIND");
  EXPECT_EQ(value.ns, "urn:acme");
  EXPECT_EQ(value.prefixed, "acme:KIND");
}

TEST_F(Names, AValueWhosePrefixIsNoModuleComesBackUnchanged) {
  for (const char* text :
       {"fe80::1", "12:30:00", "oc-if:x", "http://a/b", "plain", "", ":x", "x:"}) {
    const Value value = explode(token_, text);
    EXPECT_TRUE(value.status.ok()) << text;
    EXPECT_EQ(value.prefix, "") << text;
    EXPECT_EQ(value.ns, "") << text;
    EXPECT_EQ(value.bare, text);
    EXPECT_EQ(value.prefixed, text);
  }
}

TEST_F(Names, AValueBehindAPseudoModuleNameComesBackUnchanged) {
  const Value value = explode(token_, "openconfig-ports:x");
  EXPECT_TRUE(value.status.ok());
  EXPECT_EQ(value.prefix + value.ns, "");
  EXPECT_EQ(value.bare, "openconfig-ports:x");
  EXPECT_EQ(value.prefixed, "openconfig-ports:x");
}

TEST_F(Names, AValueOfAModuleWithoutNamespaceFails) {
  mapper_.nsByYmpPrefix_.erase("acme");
  LogCapture log;
  const Value value = explode(token_, "Acme-Box:KIND");
  EXPECT_EQ(value.status.error_code(), 13);
  EXPECT_EQ(value.status.error_message(), "Module without namespace [ Acme-Box ]");
  EXPECT_EQ(value.prefix, "");
  EXPECT_EQ(value.ns, "");
  EXPECT_EQ(value.bare, "Acme-Box:KIND");
  EXPECT_EQ(value.prefixed, "Acme-Box:KIND");
  EXPECT_EQ(log.take(),
            (Lines{{GPR_LOG_SEVERITY_DEBUG, "platform/gnmi_base/src/gnmi_base_mapper_token.cc",
                    "Module without namespace [ Acme-Box ]"}}));
}

TEST_F(Names, ATopLevelMemberOfAModuleWithoutNamespaceIsRefusedAndLeavesNothing) {
  mapper_.nsByYmpPrefix_.erase("acme");
  std::string prefix;
  std::string bare;
  std::string ns;
  EXPECT_EQ(token_.internalizeVName("Acme-Box:box", prefix, bare, ns).error_code(),
            grpc::StatusCode::INVALID_ARGUMENT);
  EXPECT_EQ(prefix + bare + ns, "");
}

TEST_F(Names, ATopLevelMemberIsSplitByItsModule) {
  std::string prefix;
  std::string bare;
  std::string ns;
  EXPECT_TRUE(token_.internalizeVName("Acme-Box:box", prefix, bare, ns).ok());
  EXPECT_EQ(prefix, "acme");
  EXPECT_EQ(bare, "box");
  EXPECT_EQ(ns, "urn:acme");
}

TEST_F(Names, ABareTopLevelMemberIsFoundThroughItsPseudoModule) {
  std::string prefix;
  std::string bare;
  std::string ns;
  EXPECT_TRUE(token_.internalizeVName("ports", prefix, bare, ns).ok());
  EXPECT_EQ(prefix, "oc-if");
  EXPECT_EQ(bare, "ports");
  EXPECT_EQ(ns, "urn:if");
}

TEST_F(Names, AnUnknownTopLevelMemberIsRefusedAndLeavesNothing) {
  for (const char* name : {"zz:box", "box", "", "oc-if:ports"}) {
    std::string prefix = "before";
    std::string bare = "before";
    std::string ns = "before";
    const grpc::Status status = token_.internalizeVName(name, prefix, bare, ns);
    EXPECT_EQ(status.error_code(), grpc::StatusCode::INVALID_ARGUMENT) << name;
    EXPECT_EQ(status.error_message(),
              "Unknown module in top-level member [ " + std::string(name) + " ]");
    EXPECT_EQ(prefix + bare + ns, "");
  }
}

RC_GTEST_PROP(ValueProperty, WithoutModulesEveryValueComesBackUnchanged,
              (const std::string& text)) {
  const BaseNamespaceMapper mapper;
  Token token(&mapper);
  const Value value = explode(token, text);
  RC_ASSERT(value.status.ok());
  RC_ASSERT(value.bare == text);
  RC_ASSERT(value.prefixed == text);
  RC_ASSERT(value.prefix.empty() && value.ns.empty());
}

}  // namespace gnmi_base_mapper_token_test

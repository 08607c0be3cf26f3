// The six maps' look-ups, pseudo module names, and the failure of a load.
#include "gnmi/gnmi_base_namespace_mapper.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <string>
#include <tuple>

#include "support/log_capture.h"

namespace {

using gnmi::BaseNamespaceMapper;
using nexa_test::Lines;
using nexa_test::LogCapture;

using PseudoInput = std::tuple<std::string, std::string, int, std::string>;

std::string pseudo(const PseudoInput& input) {
  auto [origin, prefix, depth, name] = input;
  return BaseNamespaceMapper::pseudoModuleName(origin, name, prefix, depth);
}

TEST(BaseNamespaceMapper, BeginsWithEmptyMaps) {
  const BaseNamespaceMapper mapper;
  EXPECT_EQ(mapper.version_, 1);
  EXPECT_TRUE(mapper.nsByYmpPrefix_.empty());
  EXPECT_TRUE(mapper.ympPrefixByNs_.empty());
  EXPECT_TRUE(mapper.nsByModuleName_.empty());
  EXPECT_TRUE(mapper.moduleNameByNs_.empty());
  EXPECT_TRUE(mapper.ympPrefixByModuleName_.empty());
  EXPECT_TRUE(mapper.moduleNameByYmpPrefix_.empty());
}

TEST(BaseNamespaceMapper, EachLookUpReadsItsOwnMap) {
  BaseNamespaceMapper mapper;
  mapper.nsByYmpPrefix_["k"] = "1";
  mapper.ympPrefixByNs_["k"] = "2";
  mapper.nsByModuleName_["k"] = "3";
  mapper.moduleNameByNs_["k"] = "4";
  mapper.ympPrefixByModuleName_["k"] = "5";
  mapper.moduleNameByYmpPrefix_["k"] = "6";
  EXPECT_EQ(mapper.nsFromYmpPrefix_("k"), "1");
  EXPECT_EQ(mapper.ympPrefixFromNs_("k"), "2");
  EXPECT_EQ(mapper.nsFromModuleNamePrefix_("k"), "3");
  EXPECT_EQ(mapper.moduleNamePrefixFromNs_("k"), "4");
  EXPECT_EQ(mapper.ympPrefixFromModuleNamePrefix_("k"), "5");
  EXPECT_EQ(mapper.moduleNameFromYmpPrefix_("k"), "6");
}

TEST(BaseNamespaceMapper, AnUnknownKeyGivesAnEmptyText) {
  const BaseNamespaceMapper mapper;
  for (const char* key : {"", "unknown"}) {
    EXPECT_EQ(mapper.nsFromYmpPrefix_(key), "");
    EXPECT_EQ(mapper.ympPrefixFromNs_(key), "");
    EXPECT_EQ(mapper.nsFromModuleNamePrefix_(key), "");
    EXPECT_EQ(mapper.moduleNamePrefixFromNs_(key), "");
    EXPECT_EQ(mapper.ympPrefixFromModuleNamePrefix_(key), "");
    EXPECT_EQ(mapper.moduleNameFromYmpPrefix_(key), "");
  }
}

TEST(BaseNamespaceMapper, NamesThreeOrigins) {
  EXPECT_EQ(BaseNamespaceMapper::ORIGIN_OPENCONFIG_STR, "openconfig");
  EXPECT_EQ(BaseNamespaceMapper::originName_,
            (std::array<std::string, 3>{"", "openconfig", "rfc7951"}));
}

TEST(BaseNamespaceMapper, ClearEmptiesTheMapsAndSetsTheIntegerBack) {
  BaseNamespaceMapper mapper;
  mapper.version_ = 9;
  for (auto* map :
       {&mapper.nsByYmpPrefix_, &mapper.ympPrefixByNs_, &mapper.nsByModuleName_,
        &mapper.moduleNameByNs_, &mapper.ympPrefixByModuleName_, &mapper.moduleNameByYmpPrefix_}) {
    (*map)["k"] = "v";
  }
  mapper.clear_();
  EXPECT_EQ(mapper.version_, 1);
  EXPECT_TRUE(mapper.nsByYmpPrefix_.empty());
  EXPECT_TRUE(mapper.ympPrefixByNs_.empty());
  EXPECT_TRUE(mapper.nsByModuleName_.empty());
  EXPECT_TRUE(mapper.moduleNameByNs_.empty());
  EXPECT_TRUE(mapper.ympPrefixByModuleName_.empty());
  EXPECT_TRUE(mapper.moduleNameByYmpPrefix_.empty());
}

TEST(LoadFailure, IsInternalAndLogged) {
  BaseNamespaceMapper mapper;
  LogCapture log;
  const grpc::Status status = mapper.loadFailure_("what %s");
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(), "Load failure [ what %s ]");
  EXPECT_EQ(log.take(),
            (Lines{{GPR_LOG_SEVERITY_ERROR, "platform/gnmi_base/src/gnmi_base_namespace_mapper.cc",
                    "Load failure [ what %s ]"}}));
}

TEST(PseudoModuleName, JoinsItsPartsWithSlashes) {
  EXPECT_EQ(pseudo({"openconfig", "oc-if", 2, "ethernet"}), "openconfig/oc-if/2/ethernet");
}

TEST(PseudoModuleName, EscapesTheSeparatorBeforeTheDepth) {
  EXPECT_EQ(pseudo({"a/b", "c~d", 1, "e/f~g"}), "a~1b/c~0d/1/e/f~g");
}

TEST(PseudoModuleName, LeavesItsArgumentsAlone) {
  std::string name = "n/~";
  std::string prefix = "p/~";
  BaseNamespaceMapper::pseudoModuleName("o", name, prefix, 1);
  EXPECT_EQ(name, "n/~");
  EXPECT_EQ(prefix, "p/~");
}

TEST(PseudoModuleName, TellsNeighbouringSplitsApart) {
  EXPECT_NE(pseudo({"o", "a", 1, "1/b"}), pseudo({"o", "a/1", 1, "b"}));
  EXPECT_NE(pseudo({"o", "a", 1, "b"}), pseudo({"o/a", "", 1, "b"}));
  EXPECT_NE(pseudo({"o", "a-1", 1, "b"}), pseudo({"o", "a", 11, "b"}));
  EXPECT_NE(pseudo({"o~1", "a", 1, "b"}), pseudo({"o/", "a", 1, "b"}));
}

// Texts over few characters, so that the parts of two inputs are often alike.
rc::Gen<PseudoInput> pseudo_input() {
  const auto text = rc::gen::container<std::string>(rc::gen::element('/', '~', '0', '1', 'a'));
  return rc::gen::tuple(text, text, rc::gen::inRange(-2, 12), text);
}

RC_GTEST_PROP(PseudoModuleName, IsInjective, ()) {
  const PseudoInput left = *pseudo_input();
  const PseudoInput right = *pseudo_input();
  RC_ASSERT((pseudo(left) == pseudo(right)) == (left == right));
}

// No module of a schema can have such a name: YANG identifiers have no slash (RFC 7950
// section 6.2).
RC_GTEST_PROP(PseudoModuleName, IsNoModuleName, ()) {
  RC_ASSERT(pseudo(*pseudo_input()).find('/') != std::string::npos);
}

}  // namespace

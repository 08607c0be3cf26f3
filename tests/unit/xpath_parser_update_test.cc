// What a parsed path is used for: keypath text and the path of an update, and the parser's life.
#include <grpc/support/log.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "nexa/xpath_parser.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace xpath_parser_update_test {

using gnmi::rfc7951::KcnPathPointer;
using nexa::XpathParser;
using nexa_test::FakeModule;
using nexa_test::FakeNode;
using nexa_test::FakeSchema;
using nexa_test::Line;
using nexa_test::Lines;
using nexa_test::LogCapture;

constexpr char kFile[] = "nexa_srv_rpc_msg_helpers/xpath_parser.cc";

class XpathParserUpdate : public ::testing::Test {
 protected:
  XpathParserUpdate() {
    FakeModule& interfaces = schema_.module("openconfig-interfaces", "oc-if", "urn:oc-if");
    FakeModule& ip = schema_.module("openconfig-if-ip", "oc-ip", "urn:oc-ip");
    FakeNode entry = interfaces.container("interfaces").list("interface", {"name"});
    entry.leaf("name");
    mtu_ = entry.container("config").leaf("mtu").get();
    ipv4_ = entry.in(ip).container("ipv4").get();
    mapper_.populate();
    token_ = mapper_.newToken();
    parser_ = std::make_unique<XpathParser>(*token_);
  }

  void parse(const std::string& text) {
    parser_->input_ = text;
    ASSERT_TRUE(parser_->parse());
  }

  FakeSchema schema_;
  kestrel_cs_node* mtu_ = nullptr;
  kestrel_cs_node* ipv4_ = nullptr;
  nexa::ServiceKestrelNamespaceMapperImpl mapper_;
  std::shared_ptr<nexa::Rfc7951MapperToken> token_;
  std::unique_ptr<XpathParser> parser_;
};

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  nexa::replaceAll(text, from, to);
  return text;
}

TEST(ReplaceAll, ReplacesEveryOccurrence) {
  EXPECT_EQ(replaced("a b c", " ", "\\ "), "a\\ b\\ c");
  EXPECT_EQ(replaced("xx", "x", ""), "");
  EXPECT_EQ(replaced("abcabc", "bc", "-"), "a-a-");
  EXPECT_EQ(replaced("", "x", "y"), "");
  EXPECT_EQ(replaced("abc", "x", "y"), "abc");
}

TEST(ReplaceAll, DoesNotScanWhatItInserted) {
  EXPECT_EQ(replaced("aa", "a", "aa"), "aaaa");
  EXPECT_EQ(replaced("aab", "ab", "b"), "ab");
}

TEST(ReplaceAll, ScansFromLeftToRight) { EXPECT_EQ(replaced("aaa", "aa", "b"), "ba"); }

TEST(ReplaceAll, AnEmptyPatternChangesNothing) { EXPECT_EQ(replaced("abc", "", "x"), "abc"); }

TEST(ReplaceAll, TheTextMayBeItsOwnPattern) {
  std::string text = "ab";
  nexa::replaceAll(text, text, "c");
  EXPECT_EQ(text, "c");
  nexa::replaceAll(text, "c", text);
  EXPECT_EQ(text, "c");
}

TEST(XpathParserLife, RefusesATokenThatNobodyOwns) {
  nexa::ServiceKestrelNamespaceMapperImpl mapper;
  nexa::Rfc7951MapperToken token(&mapper);
  EXPECT_THROW(XpathParser parser(token), std::bad_weak_ptr);
}

TEST(XpathParserLife, StartsEmptyAndSharesTheToken) {
  nexa::ServiceKestrelNamespaceMapperImpl mapper;
  const auto token = mapper.newToken();
  const XpathParser parser(*token);
  EXPECT_EQ(parser.token_, token);
  EXPECT_EQ(token.use_count(), 2);
  EXPECT_EQ(parser.input_, "");
  EXPECT_EQ(parser.spare_, "");
  EXPECT_EQ(parser.gPath.elem_size(), 0);
}

TEST(XpathParserLife, TracesItsEndAndReleasesTheToken) {
  nexa::ServiceKestrelNamespaceMapperImpl mapper;
  const auto token = mapper.newToken();
  LogCapture log;
  { const XpathParser parser(*token); }
  EXPECT_EQ(token.use_count(), 1);
  EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile, "Entering ~XpathParser()"}}));
}

TEST_F(XpathParserUpdate, AnEmptyPathIsTheRootKeypath) {
  LogCapture log;
  EXPECT_EQ(parser_->gPath_2_kpath(), "/");
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(XpathParserUpdate, KeypathHasKeyValuesInBraces) {
  parse("/interfaces/interface[name='eth0']/config");
  EXPECT_EQ(parser_->gPath_2_kpath(), "/interfaces/interface{eth0}/config");
}

TEST_F(XpathParserUpdate, KeypathEscapesBlanksAndSeparatesValues) {
  parse("/l[a='one'][b='two words']");
  const bool a_first = parser_->gPath.elem(0).key().begin()->first == "a";
  EXPECT_EQ(parser_->gPath_2_kpath(), a_first ? "/l{one two\\ words}" : "/l{two\\ words one}");
}

TEST_F(XpathParserUpdate, KeypathOfEmptyAndBlankValues) {
  parse("/a[k='']/b[k=' ']");
  EXPECT_EQ(parser_->gPath_2_kpath(), "/a{}/b{\\ }");
}

TEST_F(XpathParserUpdate, KeypathTracesEachKeyAndTheResult) {
  parse("/a/l[k='x y']");
  LogCapture log;
  parser_->gPath_2_kpath();
  Lines lines = log.take();
  for (Line& line : lines) line.text = nexa_test::mask_numbers(line.text);
  EXPECT_EQ(lines,
            (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile, "in gPath_2_kpath at # kpath key: x\\ y"},
                   {GPR_LOG_SEVERITY_DEBUG, kFile,
                    "IN FUNCTION XpathParser::Path_2_kpath -->exit , kpath = /a/l{x\\ y}"}}));
}

TEST_F(XpathParserUpdate, WritesThePathInExternalNames) {
  parse("/oc-if:interfaces/interface[oc-if:name='eth0']/oc-ip:ipv4");
  gnmi::Update update;
  LogCapture log;
  const grpc::Status status = parser_->assignPathToUpdate(&update);
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile, "Externalize path to update"}}));
  ASSERT_EQ(update.path().elem_size(), 3);
  EXPECT_EQ(update.path().elem(0).name(), "openconfig-interfaces:interfaces");
  EXPECT_EQ(update.path().elem(1).name(), "interface");
  ASSERT_EQ(update.path().elem(1).key_size(), 1);
  EXPECT_EQ(update.path().elem(1).key().at("openconfig-interfaces:name"), "eth0");
  EXPECT_EQ(update.path().elem(2).name(), "openconfig-if-ip:ipv4");
}

TEST_F(XpathParserUpdate, TheOriginIsThatOfTheToken) {
  const auto token = mapper_.newToken(gnmi::Origin::kOpenconfig);
  XpathParser parser(*token);
  parser.input_ = "/oc-if:interfaces";
  ASSERT_TRUE(parser.parse());
  gnmi::Update update;
  EXPECT_TRUE(parser.assignPathToUpdate(&update).ok());
  EXPECT_EQ(update.path().origin(), "openconfig");
}

TEST_F(XpathParserUpdate, KeepsAPathThatTheUpdateHasAlready) {
  parse("/oc-if:interfaces");
  gnmi::Update update;
  update.mutable_path()->set_target("device");
  EXPECT_TRUE(parser_->assignPathToUpdate(&update).ok());
  EXPECT_EQ(update.path().target(), "device");
  EXPECT_EQ(update.path().elem_size(), 1);
}

TEST_F(XpathParserUpdate, AnUnknownPrefixIsReturnedAndThePathEmptied) {
  parse("/nowhere:interfaces");
  gnmi::Update update;
  LogCapture log(GPR_LOG_SEVERITY_ERROR);
  const grpc::Status status = parser_->assignPathToUpdate(&update);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
  EXPECT_TRUE(update.has_path());
  EXPECT_EQ(update.path().elem_size(), 0);
  EXPECT_EQ(parser_->gPath.elem_size(), 0);
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(XpathParserUpdate, IsUsedAgainWithANewInput) {
  parse("/oc-if:interfaces/interface[name='eth0']");
  gnmi::Update update;
  EXPECT_TRUE(parser_->assignPathToUpdate(&update).ok());
  EXPECT_EQ(parser_->gPath.elem_size(), 0);
  EXPECT_EQ(parser_->element_, nullptr);
  parser_->input_ = "x";
  EXPECT_FALSE(parser_->parse());
  parse("/oc-if:interfaces");
  gnmi::Update second;
  EXPECT_TRUE(parser_->assignPathToUpdate(&second).ok());
  EXPECT_EQ(second.path().elem_size(), 1);
}

TEST_F(XpathParserUpdate, ResolvesThePathIntoThePointer) {
  parse("/oc-if:interfaces/interface[name='eth0']/config/mtu");
  gnmi::Update update;
  KcnPathPointer pointer;
  LogCapture log;
  const grpc::Status status = parser_->assignPathToUpdate(&update, pointer);
  EXPECT_TRUE(status.ok()) << status.error_message();
  EXPECT_EQ(log.take().back(), (Line{GPR_LOG_SEVERITY_DEBUG, kFile,
                                     "Externalize path to update, create path pointer digest"}));
  ASSERT_EQ(update.path().elem_size(), 4);
  EXPECT_EQ(update.path().elem(0).name(), "openconfig-interfaces:interfaces");
  EXPECT_EQ(update.path().elem(1).key().at("name"), "eth0");
  EXPECT_EQ(update.path().elem(3).name(), "mtu");
  ASSERT_NE(pointer.snode, nullptr);
  EXPECT_EQ(pointer.snode->node, mtu_);
  EXPECT_EQ(pointer.index, 3);
  EXPECT_EQ(pointer.rootNs, "urn:oc-if");
  EXPECT_EQ(parser_->gPath.elem_size(), 0);
  EXPECT_EQ(parser_->element_, nullptr);
}

TEST_F(XpathParserUpdate, ResolvesAnAugmentingNode) {
  parse("/oc-if:interfaces/interface[name='eth0']/oc-ip:ipv4");
  gnmi::Update update;
  KcnPathPointer pointer;
  EXPECT_TRUE(parser_->assignPathToUpdate(&update, pointer).ok());
  EXPECT_EQ(update.path().elem(2).name(), "openconfig-if-ip:ipv4");
  ASSERT_NE(pointer.snode, nullptr);
  EXPECT_EQ(pointer.snode->node, ipv4_);
}

TEST_F(XpathParserUpdate, ReturnsTheFailureOfTheLastElement) {
  parse("/interfaces");
  gnmi::Update update;
  KcnPathPointer pointer;
  const grpc::Status status = parser_->assignPathToUpdate(&update, pointer);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::INTERNAL);
  EXPECT_EQ(status.error_message(),
            "InternalError [ root element unknown namespace  [ interfaces ] ]");
  EXPECT_EQ(parser_->gPath.elem_size(), 0);
}

using XpathParserUpdateDeathTest = XpathParserUpdate;

TEST_F(XpathParserUpdateDeathTest, AnEmptyPathStopsTheProcess) {
  gnmi::Update update;
  KcnPathPointer pointer;
  EXPECT_DEATH(static_cast<void>(parser_->assignPathToUpdate(&update)),
               "0 != gPath.elem_size\\(\\)");
  EXPECT_DEATH(static_cast<void>(parser_->assignPathToUpdate(&update, pointer)),
               "0 != gPath.elem_size\\(\\)");
}

TEST_F(XpathParserUpdateDeathTest, ANullUpdateStopsTheProcess) {
  parse("/oc-if:interfaces");
  KcnPathPointer pointer;
  EXPECT_DEATH(static_cast<void>(parser_->assignPathToUpdate(nullptr)), "update_p");
  EXPECT_DEATH(static_cast<void>(parser_->assignPathToUpdate(nullptr, pointer)), "update_p");
}

}  // namespace xpath_parser_update_test

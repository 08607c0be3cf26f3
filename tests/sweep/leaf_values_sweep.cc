// Leaf values and names, each allocation failing once: the exact log and status of each.
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/conversion.h"
#include "sweep/sweep.h"

namespace leaf_values_sweep {

using nexa::ServiceRpcMsgHelpers;
using nexa_test::AllocationKind;
using nexa_test::Conversion;
using nexa_test::Outcome;
using nexa_test::run_failing;
using nexa_test::show;
using nexa_test::text_of;
using nexa_test::XmlTree;
using Texts = std::vector<std::string>;

constexpr AllocationKind kBuffer = AllocationKind::kBuffer;
constexpr AllocationKind kCopy = AllocationKind::kCopy;
constexpr AllocationKind kXml = AllocationKind::kXml;

constexpr char kUnable[] =
    "Unable to allocate memory while converting JSON to XML. Freeing all allocated XML and "
    "returning "
    "early";

class LeafValuesSweep : public testing::Test {
 protected:
  // What converting the item shows when the n-th allocation fails.
  Outcome fail(AllocationKind kind, int n, Conversion::Converter converter, cJSON* item) {
    return run_failing(kind, n, [&] {
      c.status = grpc::Status::OK;
      const XmlTree element = c.convert(converter, item);
      nexa_test::FailingAllocator::disarm();
      return element == nullptr ? c.verdict() : text_of(element->name);
    });
  }
  void expect_failure(AllocationKind kind, int n, Conversion::Converter converter, cJSON* item,
                      const std::string& result, const Texts& errors) {
    const Outcome outcome = fail(kind, n, converter, item);
    EXPECT_TRUE(outcome.fired) << n;
    EXPECT_EQ(outcome.result, result) << n;
    EXPECT_EQ(outcome.errors, errors) << n;
  }

  Conversion c;
};

TEST_F(LeafValuesSweep, Boolean) {
  const auto converter = &ServiceRpcMsgHelpers::json_bool2xml;
  cJSON* item = c.bound("true", c.enabled);
  // A boolean has no string value to put into the message.
  for (int n = 1; n <= 2; ++n) expect_failure(kXml, n, converter, item, "logic_error", {kUnable});
  expect_failure(kBuffer, 1, converter, item, "8: Out of memory while processing Boolean 1",
                 {kUnable});
  expect_failure(kCopy, 1, converter, item, "8: Failed to copy number to XML ",
                 {"in json_bool2xml at # Error occurred while copying string during conversion of "
                  "array element Tag to XML"});
  for (int n = 3; n <= 4; ++n) {
    expect_failure(kXml, n, converter, item, "8: Out of memory while processing xml",
                   {std::string("in json_bool2xml at # ") + kUnable});
  }
  expect_failure(kXml, 5, converter, item, "8: out of memory at #", {kUnable});  // its name
  EXPECT_FALSE(fail(kXml, 6, converter, item).fired);
  EXPECT_FALSE(fail(kBuffer, 2, converter, item).fired);
}

TEST_F(LeafValuesSweep, ABooleanWithAStringValueNamesIt) {
  const auto converter = &ServiceRpcMsgHelpers::json_bool2xml;
  cJSON* item = c.bound("true", c.enabled);
  std::string text = "yes";
  item->valuestring = text.data();
  for (int n = 1; n <= 2; ++n) {
    expect_failure(kXml, n, converter, item, "8: Out of memory while processing yes", {kUnable});
  }
  item->valuestring = nullptr;
}

TEST_F(LeafValuesSweep, Number) {
  const auto converter = &ServiceRpcMsgHelpers::json_number2xml;
  cJSON* item = c.bound("42", c.mtu);
  for (int n = 1; n <= 2; ++n) expect_failure(kXml, n, converter, item, "logic_error", {kUnable});
  expect_failure(kBuffer, 1, converter, item, "logic_error", {kUnable});
  expect_failure(
      kCopy, 1, converter, item, "13: Failed to copy number to XML ",
      {"in json_number2xml at # Error occurred while copying string during conversion of "
       "array element Tag to XML"});
  for (int n = 3; n <= 4; ++n) {
    expect_failure(kXml, n, converter, item, "8: Out of memory while processing xml",
                   {std::string("in json_number2xml at # ") + kUnable});
  }
}

TEST_F(LeafValuesSweep, ANumberWithAStringValueNamesIt) {
  const auto converter = &ServiceRpcMsgHelpers::json_number2xml;
  cJSON* item = c.bound("42", c.mtu);
  std::string text = "forty-two";
  item->valuestring = text.data();
  for (int n = 1; n <= 2; ++n) {
    expect_failure(kXml, n, converter, item, "8: Out of memory while processing forty-two",
                   {kUnable});
  }
  expect_failure(kBuffer, 1, converter, item,
                 "8: Out of memory while processing forty-twoNo schema info for 42", {kUnable});
  item->valuestring = nullptr;
}

TEST_F(LeafValuesSweep, String) {
  const auto converter = &ServiceRpcMsgHelpers::json_string2xml;
  cJSON* item = c.bound("\"eth0\"", c.name);
  for (int n = 1; n <= 2; ++n) {
    expect_failure(kXml, n, converter, item, "8: out of memory at #",
                   {"in json_string2xml at #, xmlNewNode failure"});
  }
  expect_failure(kBuffer, 1, converter, item, "8: Out of memory while processing eth0", {kUnable});
  expect_failure(
      kCopy, 1, converter, item, "8: Failed copy while processing eth0",
      {"in json_string2xml at # Error occurred while copying string during conversion of "
       "JSON to XML"});
}

TEST_F(LeafValuesSweep, AStringsTextNodeThatCannotBeMadeIsNotDetected) {
  cJSON* item = c.bound("\"eth0\"", c.name);
  for (int n = 3; n <= 4; ++n) {
    const Outcome outcome = run_failing(
        kXml, n, [&] { return text_of(c.convert(&ServiceRpcMsgHelpers::json_string2xml, item)); });
    EXPECT_TRUE(outcome.fired);
    EXPECT_EQ(outcome.errors, Texts{});
  }
}

TEST_F(LeafValuesSweep, AnIdentityWithoutItsDeclarationIsOnlyLogged) {
  cJSON* item = c.bound("\"iana-if-type:tunnel\"", c.type);
  const Outcome outcome = fail(kBuffer, 2, &ServiceRpcMsgHelpers::json_string2xml, item);
  EXPECT_EQ(outcome.result, "type");
  EXPECT_EQ(outcome.errors,
            (Texts{"Failed to allocate memory for XML attribute creation. Returning without "
                   "creating attribute"}));
}

// Naming an element that already stands.
class NameSweep : public LeafValuesSweep {
 protected:
  void expect_naming_failure(AllocationKind kind, int n, cJSON* item, const std::string& result,
                             const Texts& errors) {
    const Outcome outcome = run_failing(kind, 0, [&] {
      c.status = grpc::Status::OK;
      XmlTree element(xmlNewNode(nullptr, BAD_CAST "placeholder"));
      xmlAddChild(element.get(), xmlNewNode(nullptr, BAD_CAST "entry"));
      const nexa_test::FailingAllocator::Armed armed(kind, n);
      const XmlTree named(ServiceRpcMsgHelpers::json_name2xml(c.token, item, element.release(),
                                                              &c.status, &c.hash, &c.mapper));
      EXPECT_TRUE(armed.fired()) << n;
      return named == nullptr ? c.verdict() : show(named);
    });
    EXPECT_EQ(outcome.result, result) << n;
    EXPECT_EQ(outcome.errors, errors) << n;
  }
  cJSON* member(const std::string& json, kestrel_cs_node* node) {
    cJSON* item = c.parse(json)->child;
    c.hash.bind(item, node);
    return item;
  }
};

TEST_F(NameSweep, AMemberName) {
  for (kestrel_cs_node* node : {c.mtu.get(), c.type.get()}) {
    cJSON* item = member("{\"x\":1}", node);
    expect_naming_failure(kBuffer, 1, item, "8: out of memory at #", {kUnable});
    expect_naming_failure(kXml, 1, item, "8: out of memory at #", {kUnable});
    expect_naming_failure(kCopy, 1, item, "13: Failed copy at #",
                          {"Error occurred while copying string during conversion of JSON to XML"});
  }
}

TEST_F(NameSweep, TheNamespaceOfAMemberNameIsOnlyLogged) {
  expect_naming_failure(kBuffer, 2, member("{\"ietf-interfaces:mtu\":1}", c.mtu),
                        "<mtu><entry/></mtu>",
                        {"Failed to allocate memory for XML attribute creation. Returning without "
                         "creating attribute"});
}

TEST_F(NameSweep, TheEntriesOfAnArray) {
  cJSON* item = member("{\"alias\":[1]}", c.alias);
  const Texts no_memory = {"in json_name2xml at # Failed malloc size 6 forarray element"};
  expect_naming_failure(kBuffer, 1, item, "8: out of memory at #", no_memory);
  expect_naming_failure(kXml, 1, item, "8: out of memory at #", no_memory);
  expect_naming_failure(kCopy, 1, item, "13: Failed copy at #",
                        {"Error occurred while copying string during conversion of array element "
                         "Tag to XML"});
}

TEST_F(NameSweep, ABareValue) {
  expect_naming_failure(kXml, 1, c.bound("1", c.mtu), "8: out of memory at #", {kUnable});
}

}  // namespace leaf_values_sweep

// Whole payloads and paths, each allocation failing once: a failure is reported, and nothing is
// left behind.
#include <set>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/conversion.h"
#include "sweep/sweep.h"

namespace conversion_sweep {

using nexa::cJsonCsnode;
using nexa::KestrelPath;
using nexa::ServiceRpcMsgHelpers;
using nexa_test::AllocationKind;
using nexa_test::Conversion;
using nexa_test::kAllKinds;
using nexa_test::Outcome;
using nexa_test::run_failing;
using nexa_test::show;
using nexa_test::XmlString;
using nexa_test::XmlTree;
using Texts = std::vector<std::string>;

constexpr char kUnable[] =
    "Unable to allocate memory while converting JSON to XML. Freeing all allocated XML and "
    "returning "
    "early";
constexpr char kPayload[] =
    "{\"name\":\"eth0\",\"type\":\"iana-if-type:tunnel\",\"ietf-interfaces:mtu\":1500,"
    "\"enabled\":true,\"alias\":[\"a\",\"n\"],\"sample\":[{\"id\":1},{\"id\":2,\"text\":\"t\"}],"
    "\"ietf-ip:ipv4\":{\"address\":[{\"ip\":\"192.0.2.1\",\"prefix-length\":24}]}}";

// Failures that the conversion goes on after: an attribute that is only logged, the text of a
// string that is not looked at. Their result has the shape of a whole one.
bool is_element(const std::string& result) { return result.compare(0, 1, "<") == 0; }

TEST(ConversionSweep, Json2Xml) {
  Conversion c;
  cJSON* item = c.bound_tree(kPayload, c.entry);
  const auto run = [&] {
    const XmlTree element = c.json2xml(item);
    return show(element);
  };
  const std::string whole = run_failing(AllocationKind::kXml, 0, run).result;
  for (const AllocationKind kind : kAllKinds) {
    const int count = sweep(kind, run, [&](int n, const Outcome& outcome) {
      if (outcome.result == "bad_alloc") return;
      EXPECT_FALSE(outcome.errors.empty()) << n;
      EXPECT_TRUE(outcome.result == "null" || is_element(outcome.result)) << n << outcome.result;
      // What came out without a whole text lacks a declaration, and that is logged.
      if (outcome.result == "null" || outcome.result == whole) return;
      EXPECT_NE(outcome.errors[0].find("ttribute"), std::string::npos) << outcome.errors[0];
    });
    EXPECT_TRUE(count > 3 || kind == AllocationKind::kNew) << static_cast<int>(kind);
  }
  EXPECT_EQ(run(), whole);
}

TEST(ConversionSweep, EachTextOfJson2Xml) {
  // (payload, kind, n): the only failure is that of the leaf's text, after its element.
  Conversion c;
  const auto errors = [&](const char* json, AllocationKind kind, int n) {
    cJSON* item = c.parse(json);
    const Outcome outcome = run_failing(kind, n, [&] {
      const XmlTree element = c.json2xml(item);
      return show(element);
    });
    EXPECT_TRUE(outcome.fired) << json;
    EXPECT_EQ(outcome.result, "null") << json;
    return outcome.errors;
  };
  const std::string with_function = std::string("in json2xml at # ") + kUnable;
  const std::pair<const char*, std::string> kTexts[] = {
      {"true", kUnable},  {"false", kUnable},      {"1", kUnable},
      {"\"x\"", kUnable}, {"null", with_function}, {"\"n\"", with_function}};
  for (const auto& [json, text] : kTexts) {
    EXPECT_EQ(errors(json, AllocationKind::kBuffer, 1), Texts{text}) << json;
    EXPECT_EQ(errors(json, AllocationKind::kXml, 1), Texts{kUnable}) << json;  // the element
    EXPECT_EQ(errors(json, AllocationKind::kXml, 2), Texts{kUnable}) << json;
    EXPECT_EQ(errors(json, AllocationKind::kXml, 3), Texts{text}) << json;  // the text node
    EXPECT_EQ(errors(json, AllocationKind::kXml, 4), Texts{text}) << json;
  }
  const auto copy_error = [&](const char* json) { return errors(json, AllocationKind::kCopy, 1); };
  const std::string end = " during conversion of JSON to XML";
  EXPECT_EQ(copy_error("true"), Texts{"Error occurred while copying 'true'" + end});
  EXPECT_EQ(copy_error("false"), Texts{"Error occurred while copying 'false'" + end});
  for (const char* json : {"1", "\"x\"", "null", "\"n\""}) {
    EXPECT_EQ(copy_error(json), Texts{"Error occurred while copying string" + end}) << json;
  }
}

TEST(ConversionSweep, Family) {
  Conversion c;
  cJSON* item = c.bound_tree(kPayload, c.entry);
  const auto run = [&] {
    c.status = grpc::Status::OK;
    const XmlTree element = c.start(item);
    if (element != nullptr) return show(element);
    nexa_test::FailingAllocator::disarm();
    EXPECT_TRUE(c.status.error_code() == grpc::StatusCode::INTERNAL ||
                c.status.error_code() == grpc::StatusCode::RESOURCE_EXHAUSTED);
    return std::string("null");
  };
  const std::string whole = run_failing(AllocationKind::kXml, 0, run).result;
  std::set<std::string> results;
  for (const AllocationKind kind : kAllKinds) {
    const int count = sweep(kind, run, [&](int n, const Outcome& outcome) {
      const std::string shape = is_element(outcome.result) ? "element" : outcome.result;
      results.insert(shape);
      // Only the text of a string goes missing without a word.
      const bool is_silent = shape == "bad_alloc" || shape == "element";
      EXPECT_TRUE(is_silent || !outcome.errors.empty()) << n;
    });
    EXPECT_TRUE(count > 3 || kind == AllocationKind::kNew) << static_cast<int>(kind);
  }
  EXPECT_EQ(results, (std::set<std::string>{"bad_alloc", "element", "logic_error", "null"}));
  EXPECT_EQ(run(), whole);
}

TEST(ConversionSweep, AContainersElement) {
  // Objects and arrays have no string value to put into the message.
  Conversion c;
  for (cJSON* item : {c.bound("{}", c.ipv4), c.bound("[]", c.alias)}) {
    for (int n = 1; n <= 2; ++n) {
      const Outcome outcome =
          run_failing(AllocationKind::kXml, n, [&] { return show(c.start(item)); });
      EXPECT_EQ(outcome.result, "logic_error");
      EXPECT_EQ(outcome.errors, Texts{kUnable});
    }
  }
}

TEST(ConversionSweep, AContainerWithAStringValueNamesIt) {
  Conversion c;
  std::string text = "text";
  for (cJSON* item : {c.bound("{}", c.ipv4), c.bound("[]", c.alias)}) {
    item->valuestring = text.data();
    for (int n = 1; n <= 2; ++n) {
      const Outcome outcome = run_failing(AllocationKind::kXml, n, [&] {
        c.status = grpc::Status::OK;
        const XmlTree element = c.start(item);
        nexa_test::FailingAllocator::disarm();
        return element == nullptr ? c.verdict() : show(element);
      });
      EXPECT_EQ(outcome.result, "8: Out of memory while processing text");
      EXPECT_EQ(outcome.errors[0], kUnable);
    }
    item->valuestring = nullptr;
  }
}

class PathSweep : public testing::Test {
 protected:
  PathSweep() {
    path.add_elem()->set_name("if:interfaces");
    gnmi::PathElem* entry = path.add_elem();
    entry->set_name("interface");
    (*entry->mutable_key())["if:name"] = "ianaift:eth0";
  }

  Conversion c;
  gnmi::Path path;
};

TEST_F(PathSweep, Wrapper) {
  KestrelPath kestrel_path(path, "");
  ASSERT_TRUE(kestrel_path.path2cs_nodes());
  const auto run = [&] {
    XmlTree outer(xmlNewNode(nullptr, BAD_CAST "edit"));
    if (outer == nullptr || outer->name == nullptr) return std::string("no tree");
    xmlNodePtr attach_point = outer.get();
    const xmlNodePtr top = ServiceRpcMsgHelpers::build_xml_parent_wrapper(&path, &attach_point,
                                                                          &kestrel_path, &c.mapper);
    if (top != nullptr) return show(outer);
    nexa_test::FailingAllocator::disarm();
    EXPECT_EQ(attach_point, outer.get());
    EXPECT_EQ(outer->children, nullptr);
    return std::string("null");
  };
  for (const AllocationKind kind : kAllKinds) {
    const int count = sweep(kind, run, [&](int n, const Outcome& outcome) {
      if (outcome.result == "bad_alloc" || outcome.result == "no tree") return;
      ASSERT_FALSE(outcome.errors.empty()) << n;
      if (outcome.result != "null") return;  // an attribute that is only logged
      EXPECT_EQ(outcome.errors.back(), "in build_xml_parent_wrapper at # Failed build_xml_node");
    });
    EXPECT_TRUE(count > 3 || kind == AllocationKind::kNew) << static_cast<int>(kind);
  }
}

TEST_F(PathSweep, KeysAsFirstChildren) {
  path.mutable_elem(1)->clear_key();
  (*path.mutable_elem(1)->mutable_key())["name"] = "eth0";
  KestrelPath kestrel_path(path, "");
  ASSERT_TRUE(kestrel_path.path2cs_nodes());
  const auto run = [&] {
    XmlTree parent(xmlNewNode(nullptr, BAD_CAST "interface"));
    if (parent == nullptr || parent->name == nullptr) return std::string("no tree");
    KestrelPath copy = kestrel_path;
    const grpc::Status status =
        ServiceRpcMsgHelpers::add_keys_as_first_xml_children(parent.get(), std::move(copy));
    if (status.ok()) return show(parent);
    static_cast<void>(parent.release());  // it is freed already
    return std::to_string(status.error_code()) + ": " + status.error_message();
  };
  for (const AllocationKind kind :
       {AllocationKind::kBuffer, AllocationKind::kCopy, AllocationKind::kXml}) {
    const int count = sweep(kind, run, [&](int n, const Outcome& outcome) {
      if (outcome.result == "no tree") return;
      if (is_element(outcome.result)) return;
      EXPECT_EQ(outcome.result, "8: Memory Exhaustion while processing xml") << n;
      EXPECT_EQ(outcome.errors.back(),
                "in add_keys_as_first_xml_children at # failed build_xml_node_and_value");
    });
    EXPECT_GE(count, 2) << static_cast<int>(kind);
  }
}

TEST_F(PathSweep, WholeUpdate) {
  path.mutable_elem(1)->clear_key();
  (*path.mutable_elem(1)->mutable_key())["name"] = "eth0";
  // Not part of the run: a message that protobuf copies leaks when operator new throws.
  KestrelPath kestrel_path(path, kPayload);
  ASSERT_TRUE(kestrel_path.path2cs_nodes());
  const auto run = [&]() -> std::string {
    const nexa_test::Json json = nexa_test::parse_json(kPayload);
    if (json == nullptr) return "no payload";
    nexa::Json2cJsonCsnodeHash hash;
    grpc::Status status = cJsonCsnode::walk_breathfirst_cjson_and_swap_contents(
        json.get(), c.token.get(), &kestrel_path, &hash);
    if (!status.ok()) return "refused";
    const XmlTree value(
        ServiceRpcMsgHelpers::start_json2xml(c.token, json.get(), &status, &hash, &c.mapper));
    if (value == nullptr) return "null";
    xmlNodePtr attach_point = nullptr;
    XmlTree top(ServiceRpcMsgHelpers::build_xml_parent_wrapper(&path, &attach_point, &kestrel_path,
                                                               &c.mapper));
    if (top == nullptr) return "null";
    cJsonCsnode::attach_xml_path_wrapper_2_xml_value(kestrel_path, attach_point, value.get(),
                                                     json.get());
    const XmlString text(ServiceRpcMsgHelpers::build_xml_str(top.get()));
    if (text == nullptr) return "null";
    static_cast<void>(top.release());
    return show(text);
  };
  for (const AllocationKind kind : kAllKinds) {
    const int count = sweep(kind, run, [&](int n, const Outcome& outcome) {
      EXPECT_TRUE(outcome.result == "null" || outcome.result == "bad_alloc" ||
                  outcome.result == "logic_error" || is_element(outcome.result))
          << n << outcome.result;
    });
    EXPECT_GT(count, 20) << static_cast<int>(kind);
  }
}

}  // namespace conversion_sweep

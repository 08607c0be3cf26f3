// A schema, a mapper and the bindings of one payload, for tests that convert payloads to XML.
//
//   Conversion conversion;
//   cJSON* item = conversion.parse("{\"mtu\":1500}");
//   nexa::visit_value(item, conversion.entry, &conversion.hash);
//   EXPECT_EQ(text_of(conversion.start(item)), "<interface><mtu>1500</mtu></interface>");
#ifndef TESTS_SUPPORT_CONVERSION_H_
#define TESTS_SUPPORT_CONVERSION_H_

#include <memory>
#include <string>
#include <vector>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"
#include "support/xml_trees.h"

namespace nexa_test {

inline constexpr std::uint32_t kNumberType = 14;
inline constexpr std::uint32_t kBooleanType = 23;

// interfaces in one module, augmented by a second one, with interface types of a third.
struct Conversion {
  using Helpers = nexa::ServiceRpcMsgHelpers;

  FakeSchema schema;
  FakeModule& interfaces_module = schema.module("ietf-interfaces", "if", "urn:if");
  FakeModule& ip_module = schema.module("ietf-ip", "ip", "urn:ip");
  FakeModule& types_module = schema.module("iana-if-type", "ianaift", "urn:ianaift");
  FakeNode interfaces = interfaces_module.container("interfaces");
  FakeNode entry = interfaces.list("interface", {"name"});
  FakeNode name = entry.leaf("name");
  FakeNode type = entry.leaf("type", kIdentityRefType);
  FakeNode mtu = entry.leaf("mtu", kNumberType);
  FakeNode enabled = entry.leaf("enabled", kBooleanType);
  FakeNode alias = entry.leaf_list("alias");
  FakeNode sample = entry.list("sample", {});
  FakeNode sample_id = sample.leaf("id", kNumberType);
  FakeNode sample_text = sample.leaf("text");
  FakeNode ipv4 = entry.in(ip_module).container("ipv4");
  FakeNode address = ipv4.list("address", {"ip"});
  FakeNode address_ip = address.leaf("ip");
  FakeNode prefix_length = address.leaf("prefix-length", kNumberType);

  nexa::ServiceKestrelNamespaceMapperImpl mapper;
  std::shared_ptr<nexa::Rfc7951MapperToken> token;
  nexa::Json2cJsonCsnodeHash hash;
  grpc::Status status;

  Conversion() {
    mapper.populate();
    token = mapper.newToken();
  }

  // The parsed payload, which lives as long as the fixture.
  cJSON* parse(const std::string& text) {
    payloads_.push_back(parse_json(text));
    return payloads_.back().get();
  }

  // The parsed value, bound.
  cJSON* bound(const std::string& text, kestrel_cs_node* node) {
    cJSON* item = parse(text);
    hash.bind(item, node);
    return item;
  }
  // The parsed payload, every item of it bound.
  cJSON* bound_tree(const std::string& text, kestrel_cs_node* node) {
    cJSON* item = parse(text);
    nexa::visit_value(item, node, &hash);
    return item;
  }

  // One of the per-type converters.
  using Converter = xmlNodePtr (*)(Helpers::TokenPtr&, cJSON*, grpc::Status*,
                                   nexa::Json2cJsonCsnodeHash*, Helpers::Mapper*);
  XmlTree convert(Converter converter, cJSON* item) {
    return XmlTree(converter(token, item, &status, &hash, &mapper));
  }
  XmlTree start(cJSON* item) { return convert(&Helpers::start_json2xml, item); }
  XmlTree json2xml(cJSON* item) { return XmlTree(Helpers::json2xml(token, item, &hash, &mapper)); }

  // "code: message", the source line that ends some messages masked.
  std::string verdict() const {
    std::string message = status.error_message();
    const std::size_t end = message.find_last_not_of("0123456789") + 1;
    if (end >= 3 && end < message.size() && message.compare(end - 3, 3, "at ") == 0) {
      message.replace(end, std::string::npos, "#");
    }
    return std::to_string(status.error_code()) + ": " + message;
  }

 private:
  std::vector<Json> payloads_;
};

}  // namespace nexa_test

#endif  // TESTS_SUPPORT_CONVERSION_H_

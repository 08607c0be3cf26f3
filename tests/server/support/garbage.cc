// Pieces of right requests and of broken ones, put together by a random generator.
#include "server/support/garbage.h"

#include <vector>

namespace nexa_test {
namespace {

// A proto3 string is UTF-8, or the message does not reach the service.
std::string valid(std::string text) {
  for (char& character : text) {
    if (static_cast<unsigned char>(character) >= 0x80) character = '?';
  }
  return text;
}

}  // namespace

std::string Garbage::text() {
  static const std::vector<std::string> kTexts = {"",
                                                  "device",
                                                  "example-device:device",
                                                  "port",
                                                  "speed",
                                                  "*",
                                                  "...",
                                                  "name",
                                                  "radio",
                                                  "example-radio:radio",
                                                  ".",
                                                  "/",
                                                  "[",
                                                  "]",
                                                  "name=a",
                                                  "xml",
                                                  "a b",
                                                  ":",
                                                  "::",
                                                  "\xff",
                                                  "\xc0\x80",
                                                  "\x01",
                                                  "limits",
                                                  "tiny",
                                                  "uplink",
                                                  "search",
                                                  "openconfig",
                                                  "rfc7951",
                                                  "cli",
                                                  std::string(3000, 'n'),
                                                  std::string(2, '\0'),
                                                  "\\",
                                                  "\""};
  if (below(8) != 0) return kTexts.at(static_cast<std::size_t>(below(33)) % kTexts.size());
  std::string random_text;
  for (int count = below(20); count > 0; --count) {
    random_text.push_back(static_cast<char>(below(256)));
  }
  return valid(random_text);
}

void Garbage::fill(gnmi::Path& path) {
  if (below(10) == 0) path.set_origin(valid(text()));
  if (below(10) == 0) path.set_target(valid(text()));
  if (below(10) == 0) {
    const auto* element = gnmi::Path::descriptor()->FindFieldByName("element");
    path.GetReflection()->AddString(&path, element, "device");
  }
  if (below(3) == 0) {
    path.add_elem()->set_name("device");
    if (below(2) == 0) path.add_elem()->set_name(below(2) == 0 ? "name" : "*");
    return;
  }
  for (int count = below(6); count > 0; --count) {
    gnmi::PathElem& element = *path.add_elem();
    element.set_name(valid(text()));
    for (int keys = below(3); keys > 0; --keys)
      (*element.mutable_key())[valid(text())] = valid(text());
  }
}

void Garbage::fill(gnmi::TypedValue& value) {
  static const std::vector<std::string> kJson = {"{}",
                                                 "null",
                                                 "[]",
                                                 "1",
                                                 "\"a\"",
                                                 "[null]",
                                                 "{\"name\":\"a\"}",
                                                 "{\"port\":[{}]}",
                                                 "{",
                                                 "1e9999",
                                                 "[[[[",
                                                 "-0",
                                                 "true",
                                                 "",
                                                 "{\"a\":1,\"a\":2}",
                                                 "\"\\ud800\"",
                                                 std::string(2000, '['),
                                                 "{\"example-device:device\":{\"name\":\"x\"}}"};
  switch (below(8)) {
    case 0:
      value.set_json_val(kJson.at(static_cast<std::size_t>(below(18))));
      break;
    case 1:
      value.set_string_val(valid(text()));
      break;
    case 2:
      value.set_int_val(below(1000) - 500);
      break;
    case 3:
      value.mutable_leaflist_val()->add_element()->set_bool_val(true);
      break;
    case 4:
      value.mutable_decimal_val()->set_precision(static_cast<unsigned>(below(100)));
      break;
    case 5:
      value.set_bytes_val(text());
      break;
    case 6:
      break;
    default:
      value.set_json_ietf_val(kJson.at(static_cast<std::size_t>(below(18))));
      break;
  }
}

void Garbage::fill(gnmi::Update& update) {
  if (below(20) != 0) fill(*update.mutable_path());
  fill(*update.mutable_val());
}

gnmi::GetRequest Garbage::get() {
  gnmi::GetRequest request;
  if (below(3) == 0) fill(*request.mutable_prefix());
  for (int count = below(4); count > 0; --count) fill(*request.add_path());
  request.set_type(static_cast<gnmi::GetRequest::DataType>(below(6)));
  request.set_encoding(static_cast<gnmi::Encoding>(below(4) == 0 ? below(10) : 4));
  return request;
}

gnmi::SetRequest Garbage::set() {
  gnmi::SetRequest request;
  if (below(3) == 0) fill(*request.mutable_prefix());
  for (int count = below(3); count > 0; --count) fill(*request.add_delete_());
  for (int count = below(3); count > 0; --count) fill(*request.add_replace());
  for (int count = below(3); count > 0; --count) fill(*request.add_update());
  if (below(20) == 0) fill(*request.add_union_replace());
  if (below(10) == 0) request.add_extension()->mutable_commit()->set_id("x");
  return request;
}

gnmi::SubscribeRequest Garbage::subscribe() {
  gnmi::SubscribeRequest request;
  if (below(10) == 0) return request;
  gnmi::SubscriptionList& list = *request.mutable_subscribe();
  list.set_encoding(gnmi::JSON_IETF);
  if (below(3) == 0) fill(*list.mutable_prefix());
  for (int count = below(4); count > 0; --count) {
    gnmi::Subscription& subscription = *list.add_subscription();
    fill(*subscription.mutable_path());
    subscription.set_mode(below(5) == 0 ? static_cast<gnmi::SubscriptionMode>(below(4))
                                        : gnmi::SAMPLE);
    subscription.set_sample_interval(below(3) == 0 ? ~0ULL >> below(64) : 0);
  }
  return request;
}

}  // namespace nexa_test

// Does any request bring the server down? Garbage with a fixed seed, and requests at the limits.
#include <random>

#include "server/support/service_fixture.h"
#include "server/support/stream_client.h"

namespace nexa_test {
namespace {

// Messages that look like requests, with names that are nearly right.
class Garbage {
 public:
  explicit Garbage(unsigned seed) : random_(seed) {}

  int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }

  std::string text() {
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

  void fill(gnmi::Path& path) {
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

  void fill(gnmi::TypedValue& value) {
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

  gnmi::GetRequest get() {
    gnmi::GetRequest request;
    if (below(3) == 0) fill(*request.mutable_prefix());
    for (int count = below(4); count > 0; --count) fill(*request.add_path());
    request.set_type(static_cast<gnmi::GetRequest::DataType>(below(6)));
    request.set_encoding(static_cast<gnmi::Encoding>(below(4) == 0 ? below(10) : 4));
    return request;
  }

  gnmi::SetRequest set() {
    gnmi::SetRequest request;
    if (below(3) == 0) fill(*request.mutable_prefix());
    for (int count = below(3); count > 0; --count) fill(*request.add_delete_());
    for (int count = below(3); count > 0; --count) fill(*request.add_replace());
    for (int count = below(3); count > 0; --count) fill(*request.add_update());
    if (below(20) == 0) fill(*request.add_union_replace());
    if (below(10) == 0) request.add_extension()->mutable_commit()->set_id("x");
    return request;
  }

  gnmi::SubscribeRequest subscribe() {
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

 private:
  void fill(gnmi::Update& update) {
    if (below(20) != 0) fill(*update.mutable_path());
    fill(*update.mutable_val());
  }

  // A proto3 string is UTF-8, or the message does not reach the service.
  static std::string valid(std::string text) {
    for (char& character : text) {
      if (static_cast<unsigned char>(character) >= 0x80) character = '?';
    }
    return text;
  }

  std::mt19937 random_;
};

class Hostile : public ServiceTest {
 protected:
  void SetUp() override {
    store.put("/device/name", "\"box\"");
    store.put("/device/port[name=a]/speed", "\"1\"");
    options.min_sample_interval = std::chrono::milliseconds(20);
  }

  void expect_alive() {
    gnmi::GetRequest request;
    *request.add_path() = path_of("/device/name");
    gnmi::GetResponse response;
    EXPECT_EQ(shown(get(request, response)), "0 ");
    EXPECT_EQ(recorder.faults(), std::vector<std::string>());
  }
};

TEST_F(Hostile, GarbageIsAnswered) {
  start();
  Garbage garbage(20261121);
  int refused = 0;
  for (int turn = 0; turn < 1500; ++turn) {
    gnmi::GetResponse got;
    const grpc::Status read = get(garbage.get(), got);
    gnmi::SetResponse changed;
    const grpc::Status written = set(garbage.set(), changed);
    for (const grpc::Status& status : {read, written}) {
      if (!status.ok()) ++refused;
      EXPECT_NE(status.error_code(), grpc::StatusCode::INTERNAL) << shown(status);
      EXPECT_NE(status.error_code(), grpc::StatusCode::UNKNOWN) << shown(status);
      EXPECT_NE(status.error_code(), grpc::StatusCode::UNAVAILABLE) << shown(status);
    }
  }
  EXPECT_GT(refused, 1000);
  expect_alive();
}

TEST_F(Hostile, GarbageOnStreamsIsAnswered) {
  start();
  Garbage garbage(7);
  int accepted = 0;
  for (int turn = 0; turn < 500; ++turn) {
    StreamClient client(stub(), garbage.subscribe());
    if (garbage.below(2) == 0) client.half_close();
    if (garbage.below(3) == 0) client.write(garbage.subscribe());
    if (client.next() != "end") ++accepted;
  }
  EXPECT_GT(accepted, 10);
  EXPECT_TRUE(eventually([this] { return recorder.open_streams() == 0; }));
  expect_alive();
}

TEST_F(Hostile, BytesThatAreNoMessageAreRefused) {
  start();
  std::mt19937 random(3);
  for (int turn = 0; turn < 300; ++turn) {
    gnmi::GetRequest request;
    std::string bytes;
    for (auto count = random() % 60; count > 0; --count) {
      bytes.push_back(static_cast<char>(random() % 256));
    }
    // Fields that the message does not have travel as they are.
    request.GetReflection()->MutableUnknownFields(&request)->AddLengthDelimited(100, bytes);
    gnmi::GetResponse response;
    EXPECT_EQ(get(request, response).error_code(), grpc::StatusCode::INVALID_ARGUMENT);
  }
  expect_alive();
}

TEST_F(Hostile, AHundredThousandOperationsAreOneCommit) {
  start();
  gnmi::SetRequest request;
  for (int index = 0; index < 100000; ++index) *request.add_delete_() = path_of("/device/name");
  gnmi::SetResponse response;
  EXPECT_EQ(shown(set(request, response)), "0 ");
  EXPECT_EQ(response.response_size(), 100000);
  EXPECT_EQ(store.commits().size(), 1U);
  *request.add_delete_() = path_of("/device/name");
  EXPECT_EQ(shown(set(request, response)),
            "3 100001 operations in one request, at most 100000 are taken");
  EXPECT_LT(recorder.audit_lines().front().size(), 1000U);
}

TEST_F(Hostile, AMessageBeyondTheLimitIsRefused) {
  max_receive_bytes = 1 << 20;
  start();
  gnmi::SetRequest request;
  *request.add_update() =
      update_of("/example-device:device/name", "\"" + std::string(2 << 20, 'x') + "\"");
  gnmi::SetResponse response;
  EXPECT_EQ(set(request, response).error_code(), grpc::StatusCode::RESOURCE_EXHAUSTED);
  expect_alive();
}

TEST_F(Hostile, APathOfManyElementsIsRefusedWithAShortText) {
  start();
  gnmi::SetRequest request;
  gnmi::Path& path = *request.add_delete_();
  for (int index = 0; index < 50000; ++index) path.add_elem()->set_name("device");
  gnmi::SetResponse response;
  const grpc::Status status = set(request, response);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::NOT_FOUND);
  EXPECT_LT(status.error_message().size(), 500U);
  EXPECT_LT(status.error_details().size(), 1500U);
  expect_alive();
}

}  // namespace
}  // namespace nexa_test

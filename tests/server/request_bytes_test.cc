// What a request may hold, counted on the wire before it is parsed.
#include "server/request_bytes.h"

#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/support/slice.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "gnmi.pb.h"
#include "server/support/service_fixture.h"

namespace nexa_test {
namespace request_bytes_test {

constexpr char kUnreadable[] =
    "3 The request cannot be read: it is no message of this method, or a text in it is not UTF-8";

grpc::ByteBuffer buffer_of(const std::string& bytes) {
  const grpc::Slice slice(bytes);
  return {&slice, 1};
}

template <class Request>
std::string verdict(const std::string& bytes, std::size_t most) {
  grpc::ByteBuffer buffer = buffer_of(bytes);
  Request request;
  const grpc::Status status = nexa::server::read_request(buffer, most, request);
  EXPECT_EQ(buffer.Length(), 0U);
  EXPECT_TRUE(!status.ok() || request.SerializeAsString() == bytes);
  return shown(status);
}

// The most parts with which a request is refused.
template <class Request>
std::size_t parts_of(const std::string& bytes) {
  std::size_t parts = 0;
  while (verdict<Request>(bytes, parts) != "0 ") {
    EXPECT_EQ(verdict<Request>(bytes, parts),
              "3 More than " + std::to_string(parts) +
                  " path elements, keys and values in one request: at most that many are taken");
    if (++parts > 100) break;
  }
  return parts;
}

std::string field(int number, const std::string& payload) {
  std::string text{static_cast<char>(number << 3 | 2), static_cast<char>(payload.size())};
  return text + payload;
}

TEST(ReadRequest, CountsWhatHasAnObjectOfItsOwn) {
  gnmi::GetRequest get;
  EXPECT_EQ(parts_of<gnmi::GetRequest>(get.SerializeAsString()), 0U);
  get.set_encoding(gnmi::JSON_IETF);
  EXPECT_EQ(parts_of<gnmi::GetRequest>(get.SerializeAsString()), 0U);
  gnmi::Path& path = *get.add_path();
  EXPECT_EQ(parts_of<gnmi::GetRequest>(get.SerializeAsString()), 1U);
  path.add_elem()->set_name("a");
  EXPECT_EQ(parts_of<gnmi::GetRequest>(get.SerializeAsString()), 2U);
  (*path.mutable_elem(0)->mutable_key())["k"] = "v";
  EXPECT_EQ(parts_of<gnmi::GetRequest>(get.SerializeAsString()), 3U);
  get.add_use_models();
  EXPECT_EQ(parts_of<gnmi::GetRequest>(get.SerializeAsString()), 4U);
}

TEST(ReadRequest, CountsRepeatedTexts) {
  // A path's first field, from the time before its elements.
  EXPECT_EQ(parts_of<gnmi::GetRequest>(field(2, field(1, "a") + field(1, "b"))), 3U);
}

TEST(ReadRequest, CountsEntriesOfLeafLists) {
  gnmi::SetRequest set;
  gnmi::TypedValue& value = *set.add_update()->mutable_val();
  for (int index = 0; index < 10; ++index) value.mutable_leaflist_val()->add_element();
  // The update, its value, the list and its entries.
  EXPECT_EQ(parts_of<gnmi::SetRequest>(set.SerializeAsString()), 13U);
}

TEST(ReadRequest, CountsFieldsThatNobodyKnows) {
  const std::string number("\x78\x01", 2);             // field 15
  const std::string fixed("\x7d\x01\x02\x03\x04", 5);  // the same, 32 bits
  EXPECT_EQ(parts_of<gnmi::GetRequest>(number + number), 2U);
  EXPECT_EQ(parts_of<gnmi::GetRequest>(fixed), 1U);
  EXPECT_EQ(parts_of<gnmi::GetRequest>(field(15, "x")), 1U);
  // A group with two fields, also deeper down.
  const std::string group = "\x7b" + number + number + "\x7c";
  EXPECT_EQ(parts_of<gnmi::GetRequest>(group), 3U);
  EXPECT_EQ(parts_of<gnmi::GetRequest>(field(2, field(3, number))), 3U);
}

TEST(ReadRequest, RefusesWhatIsNoMessage) {
  const std::vector<std::string> wrong = {
      "\x0a",  // no length
      "\x0a\x05"
      "ab",                                 // shorter than its length
      std::string("\x12\x03\x1a\x02x", 5),  // an element that is longer than its path
      "\x7b",                               // a group without its end
      "\x7c",                               // the end without its group
      "\x0f",                               // no wire type
      std::string(1, '\0'),                 // no field
      "\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff",
      field(2, field(3, field(1, "\xff"))),  // a name that is no UTF-8
  };
  for (const std::string& bytes : wrong) {
    EXPECT_EQ(verdict<gnmi::GetRequest>(bytes, 100), kUnreadable) << testing::PrintToString(bytes);
  }
}

TEST(ReadRequest, RefusesWhatIsTooDeep) {
  std::string value = field(1, "");
  for (int depth = 0; depth < 110; ++depth) {
    std::string length{static_cast<char>((value.size() & 0x7f) | 0x80),
                       static_cast<char>(value.size() >> 7)};
    value = (depth % 2 == 0 ? "\x42" : "\x0a") + length + value;
  }
  EXPECT_EQ(verdict<gnmi::TypedValue>(value, 1000), kUnreadable);
  EXPECT_EQ(verdict<gnmi::GetRequest>(std::string(5000, '\x7b'), 10000), kUnreadable);
}

TEST(ReadRequest, NeedsBytes) {
  grpc::ByteBuffer none;
  gnmi::GetRequest request;
  EXPECT_EQ(shown(nexa::server::read_request(none, 10, request)), kUnreadable);
}

class Requests : public ServiceTest {
 protected:
  // A path of so many empty elements.
  static gnmi::Path elements(int count) {
    gnmi::Path path;
    for (int index = 0; index < count; ++index) path.add_elem();
    return path;
  }
};

TEST_F(Requests, OfTooManyPartsAreRefusedByEveryMethod) {
  options.limits.max_parts = 10;
  start();
  const std::string refusal =
      "3 More than 10 path elements, keys and values in one request: at most that many are taken";
  gnmi::GetRequest get_request;
  *get_request.add_path() = elements(10);
  gnmi::GetResponse response;
  EXPECT_EQ(shown(get(get_request, response)), refusal);
  gnmi::SetRequest set_request;
  *set_request.add_delete_() = elements(10);
  gnmi::SetResponse set_response;
  EXPECT_EQ(shown(set(set_request, set_response)), refusal);
  ASSERT_EQ(recorder.audit_lines().size(), 1U);
  grpc::ClientContext context;
  const auto stream = stub().Subscribe(&context);
  gnmi::SubscribeRequest request;
  *request.mutable_subscribe()->mutable_prefix() = elements(10);
  stream->Write(request);
  gnmi::SubscribeResponse nothing;
  EXPECT_FALSE(stream->Read(&nothing));
  EXPECT_EQ(shown(stream->Finish()), refusal);
}

// The server answers as soon as it knows who does not call; it has not read the request then.
TEST_F(Requests, OfStrangersAreNotRead) {
  access.users["alice"] = {"secret", nexa::access::Role::kReadWrite};
  start();
  grpc::GenericStub generic(new_channel());
  grpc::ClientContext context;
  grpc::CompletionQueue queue;
  const auto call = generic.PrepareCall(&context, "/gnmi.gNMI/Get", &queue);
  const auto await = [&queue] {
    void* tag = nullptr;
    bool ok = false;
    return queue.Next(&tag, &ok) && ok;
  };
  call->StartCall(nullptr);
  EXPECT_TRUE(await());
  grpc::Status status;
  call->Finish(&status, nullptr);
  EXPECT_TRUE(await());
  EXPECT_EQ(shown(status), "16 who are you");
  queue.Shutdown();
  while (await()) {
  }
}

}  // namespace request_bytes_test
}  // namespace nexa_test

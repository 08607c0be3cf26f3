// Server reflection: who may ask, and what is answered to requests that are none.
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/support/client_callback.h>

#include "server/service_descriptions.h"
#include "server/support/service_fixture.h"

namespace nexa_test {
namespace reflection_test {

constexpr char kMethod[] = "/grpc.reflection.v1.ServerReflection/ServerReflectionInfo";

// A length-delimited field of less than 128 bytes.
std::string field(int number, const std::string& text) {
  return std::string{static_cast<char>(number << 3 | 2), static_cast<char>(text.size())} + text;
}

class Reflection : public ServiceTest {
 protected:
  void SetUp() override {
    offer_reflection = true;
    start();
  }

  // The verdict of a stream that sends one message and reads to the end.
  std::string ask(const std::string& method, const std::string& message) {
    grpc::ClientContext context;
    context.set_deadline(std::chrono::system_clock::now() + std::chrono::seconds(20));
    for (const auto& [key, value] : metadata) context.AddMetadata(key, value);
    grpc::GenericStub generic(new_channel());
    grpc::CompletionQueue queue;
    const auto call = generic.PrepareCall(&context, method, &queue);
    call->StartCall(this);
    next(queue);
    const grpc::Slice slice(message);
    call->Write(grpc::ByteBuffer(&slice, 1), this);
    next(queue);
    call->WritesDone(this);
    next(queue);
    answers = 0;
    for (bool ok = true; ok; answers += ok ? 1 : 0) {
      grpc::ByteBuffer answer;
      call->Read(&answer, this);
      ok = next(queue);
    }
    grpc::Status status;
    call->Finish(&status, this);
    next(queue);
    return shown(status);
  }

  static bool next(grpc::CompletionQueue& queue) {
    void* tag = nullptr;
    bool ok = false;
    return queue.Next(&tag, &ok) && ok;
  }

  int answers = 0;
};

TEST_F(Reflection, AnswersEachRequest) {
  EXPECT_EQ(ask(kMethod, field(7, "")), "0 ");
  EXPECT_EQ(answers, 1);
  EXPECT_EQ(ask("/grpc.reflection.v1alpha.ServerReflection/ServerReflectionInfo", field(7, "")),
            "0 ");
  EXPECT_EQ(answers, 1);
}

TEST_F(Reflection, Row14IsRegisteredWhereTheOptionSaysSo) {
  EXPECT_EQ(ask(kMethod, field(4, "gnmi.gNMI")), "0 ");
  EXPECT_EQ(answers, 1);
  stop();
  offer_reflection = false;
  start();
  EXPECT_EQ(ask(kMethod, field(4, "gnmi.gNMI")), "12 ");
  EXPECT_EQ(answers, 0);
}

TEST_F(Reflection, RefusesWhatIsNoRequest) {
  EXPECT_EQ(ask(kMethod, "\xff\xff"), "3 The message is no ServerReflectionRequest");
  EXPECT_EQ(answers, 0);
  EXPECT_EQ(ask(kMethod, field(4, "\xff")), "3 The message is no ServerReflectionRequest");
  const std::string large = "\x22\x80\x40" + std::string(8192, 'x');
  EXPECT_EQ(ask(kMethod, large), "3 The message is no ServerReflectionRequest");
}

TEST_F(Reflection, LeavesOtherMethodsUnimplemented) {
  EXPECT_EQ(ask("/gnmi.gNMI/Destroy", ""), "12 ");
  EXPECT_EQ(ask("/grpc.reflection.v1.ServerReflection/Other", ""), "12 ");
}

TEST_F(Reflection, AsksWhoCalls) {
  stop();
  access.users["alice"] = {"secret", nexa::access::Role::kReadOnly};
  start();
  EXPECT_EQ(ask(kMethod, field(7, "")), "16 who are you");
  EXPECT_EQ(answers, 0);
  ASSERT_EQ(recorder.failed_logins().size(), 1U);
  metadata = {{"username", "alice"}, {"password", "secret"}};
  EXPECT_EQ(ask(kMethod, field(7, "")), "0 ");
  EXPECT_EQ(answers, 1);
}

class Descriptions : public testing::Test {
 protected:
  // What a request of these bytes is answered, as bytes.
  std::string answer(const std::string& request) const {
    std::string response;
    EXPECT_TRUE(descriptions.answer(kMethod, request, response));
    return response;
  }

  bool has(const std::string& request, const std::string& part) const {
    return answer(request).find(part) != std::string::npos;
  }

  const nexa::server::ServiceDescriptions descriptions;
};

TEST_F(Descriptions, FindFilesByNameSymbolAndExtension) {
  EXPECT_TRUE(has(field(3, "gnmi.proto"), "SubscriptionList"));
  EXPECT_TRUE(has(field(4, "gnmi.SubscriptionList"), "SubscriptionList"));
  EXPECT_TRUE(has(field(4, "gnmi.gNMI.Get"), "SubscriptionList"));
  EXPECT_TRUE(has(field(4, "grpc.health.v1.HealthCheckResponse.ServingStatus"), "NOT_SERVING"));
  EXPECT_TRUE(has(field(4, "gnmi.gNMI"), "gnmi_ext.proto")) << "imports come too";
  const std::string of_service = field(1, "google.protobuf.FileOptions") + "\x10\xe9\x07";
  EXPECT_TRUE(has(field(5, of_service), "SubscriptionList"));
  EXPECT_TRUE(has(field(6, "google.protobuf.FileOptions"), "\xe9\x07"));
}

TEST_F(Descriptions, SayWhatIsNotThere) {
  EXPECT_TRUE(has(field(3, "no.proto"), "there is no such file"));
  EXPECT_TRUE(has(field(4, "no.such.Symbol"), "there is no such file"));
  EXPECT_TRUE(has(field(4, ""), "there is no such file"));
  EXPECT_TRUE(has(field(5, field(1, "gnmi.Nothing")), "there is no such file"));
  EXPECT_TRUE(has(field(6, "gnmi.Nothing"), "there is no such message"));
  EXPECT_TRUE(has("", "nothing is asked for"));
}

TEST_F(Descriptions, RepeatTheRequest) {
  EXPECT_TRUE(has(field(1, "host-7") + field(7, "x"), field(1, "host-7") + field(7, "x")));
}

}  // namespace reflection_test
}  // namespace nexa_test

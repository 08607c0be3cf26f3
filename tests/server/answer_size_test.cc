// How much does an answer take, and how much do those take that nobody reads?
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/impl/codegen/proto_utils.h>

#include <atomic>
#include <vector>

#include "server/support/service_fixture.h"
#include "server/unread_answers.h"

namespace nexa_test {
namespace {

// A Get whose answer is never read.
class SilentReader {
 public:
  SilentReader(const std::shared_ptr<grpc::Channel>& channel, const gnmi::GetRequest& request)
      : stub_(channel), call_(stub_.PrepareCall(&context_, "/gnmi.gNMI/Get", &queue_)) {
    call_->StartCall(this);
    await();
    grpc::ByteBuffer bytes;
    bool own = false;
    EXPECT_TRUE(grpc::SerializationTraits<gnmi::GetRequest>::Serialize(request, &bytes, &own).ok());
    call_->WriteLast(bytes, {}, this);
    await();
  }
  ~SilentReader() {
    context_.TryCancel();
    grpc::Status status;
    call_->Finish(&status, this);
    await();
    queue_.Shutdown();
    void* tag = nullptr;
    bool ok = false;
    while (queue_.Next(&tag, &ok)) {
    }
  }
  SilentReader(const SilentReader&) = delete;
  SilentReader& operator=(const SilentReader&) = delete;

 private:
  void await() {
    void* tag = nullptr;
    bool ok = false;
    EXPECT_TRUE(queue_.Next(&tag, &ok));
  }

  grpc::GenericStub stub_;
  grpc::ClientContext context_;
  grpc::CompletionQueue queue_;
  std::unique_ptr<grpc::GenericClientAsyncReaderWriter> call_;
};

class AnswerSize : public ServiceTest {
 protected:
  static gnmi::GetRequest names(int count) {
    gnmi::GetRequest request;
    for (int index = 0; index < count; ++index) *request.add_path() = path_of("/device/name");
    return request;
  }
  // Its client takes what fits into the smallest window, whatever gRPC estimates of the line: on a
  // slow machine that would be all of an answer.
  std::shared_ptr<grpc::Channel> narrow_channel() const {
    grpc::ChannelArguments arguments;
    arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
    arguments.SetInt(GRPC_ARG_HTTP2_BDP_PROBE, 0);
    return grpc::CreateCustomChannel(address(), grpc::InsecureChannelCredentials(), arguments);
  }
  std::string verdict(const gnmi::GetRequest& request) {
    gnmi::GetResponse response;
    return shown(get(request, response));
  }
};

TEST_F(AnswerSize, MoreThanTheLimitIsRefused) {
  options.limits.max_answer_bytes = 10000;
  store.put("/device/name", "\"" + std::string(4000, 'n') + "\"");
  start();
  EXPECT_EQ(verdict(names(2)), "0 ");
  EXPECT_EQ(verdict(names(3)),
            "8 path[2] /device/name: the answer is larger than the server sends, ask for less at a "
            "time");
}

TEST_F(AnswerSize, APrefixCountsAsOftenAsItIsSent) {
  options.limits.max_answer_bytes = 10000;
  store.put("/device/name", "\"box\"");
  start();
  gnmi::GetRequest request = names(2);
  request.mutable_prefix()->set_target(std::string(4000, 't'));
  EXPECT_EQ(verdict(request), "0 ");
  *request.add_path() = path_of("/device/name");
  EXPECT_EQ(verdict(request).substr(0, 10), "8 path[2] ");
}

TEST_F(AnswerSize, AnswersThatNobodyReadsAreBounded) {
  options.limits.unread_answer_bytes = 32 << 20;
  store.put("/device/name", "\"" + std::string(10 << 20, 'n') + "\"");
  start();
  const std::shared_ptr<grpc::Channel> channel = narrow_channel();
  std::vector<std::unique_ptr<SilentReader>> readers;
  for (int index = 0; index < 3; ++index) {
    readers.push_back(std::make_unique<SilentReader>(channel, names(1)));
  }
  ASSERT_TRUE(eventually([this] { return recorder.calls().size() == 3; }));
  EXPECT_EQ(verdict(names(1)), "8 Too many answers wait to be read by their clients");
  readers.clear();
  EXPECT_TRUE(eventually([this] { return verdict(names(1)) == "0 "; }));
}

gnmi::SetRequest new_name() {
  gnmi::SetRequest request;
  gnmi::Update& update = *request.add_update();
  *update.mutable_path() = path_of("/device/name");
  update.mutable_val()->set_string_val("box");
  return request;
}

TEST_F(AnswerSize, ASetThatCouldNotBeAnsweredIsNotCommitted) {
  options.limits.unread_answer_bytes = 10;
  store.know("/device/name");
  start();
  gnmi::SetResponse response;
  EXPECT_EQ(shown(set(new_name(), response)),
            "8 Too many answers wait to be read by their clients");
  EXPECT_TRUE(store.commits().empty());
}

TEST_F(AnswerSize, ASetHasRoomForItsAnswerBeforeItIsCommitted) {
  options.limits.unread_answer_bytes = 1000;
  store.put("/device/name", "\"" + std::string(900, 'n') + "\"");
  gnmi::SetRequest request = new_name();
  request.mutable_prefix()->set_target(std::string(500, 't'));
  std::atomic<int> meanwhile = -1;
  std::atomic<bool> is_started = false;  // what start() made is this thread's as well
  store.on_commit = [&](const nexa::store::CommitRequest& /*commit*/) {
    EXPECT_TRUE(is_started);
    gnmi::GetResponse answer;
    meanwhile = get(names(1), answer).error_code();
    nexa::store::CommitResult result;
    result.number = 1;
    return result;
  };
  start();
  is_started = true;
  EXPECT_EQ(verdict(names(1)), "0 ");
  for (int round = 0; round < 3; ++round) {
    gnmi::SetResponse response;
    // Its client may have an answer before the server knows.
    EXPECT_TRUE(eventually([&] { return set(request, response).ok(); }));
    EXPECT_EQ(response.prefix().target().size(), 500U);
    EXPECT_EQ(meanwhile, grpc::StatusCode::RESOURCE_EXHAUSTED);
    EXPECT_TRUE(eventually([this] { return verdict(names(1)) == "0 "; }));
  }
}

TEST(UnreadAnswers, CountWhatWasTakenAndGivenBack) {
  nexa::server::UnreadAnswers answers(100);
  EXPECT_TRUE(answers.take(60));
  EXPECT_FALSE(answers.take(41));
  EXPECT_TRUE(answers.take(40));
  answers.give_back(60);
  EXPECT_TRUE(answers.take(60));
}

}  // namespace
}  // namespace nexa_test

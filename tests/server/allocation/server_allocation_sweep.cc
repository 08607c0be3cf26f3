// Each allocation of a call fails, alone or with all that follow.
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "server/allocation/failing_allocations.h"
#include "server/support/store_fixture.h"
#include "server/support/stream_client.h"

namespace nexa_test {
namespace {

using Lines = std::vector<std::string>;
using std::chrono::seconds;

constexpr seconds kLimit{10};
constexpr char kDevice[] = "/example-device:device";
constexpr char kName[] = "/example-device:device/name";
constexpr char kOld[] =
    R"({"name":"what stands before the call","port":[{"name":"one","speed":"10"}]})";
constexpr char kNew[] = R"({"name":"what the call makes of it",)"
                        R"("port":[{"name":"two","speed":"20"}]})";
constexpr char kNewName[] = "what the call makes of it";
constexpr char kLaterName[] = "what the next call makes of it";

class Events : public nexa::state::StateProvider {
 public:
  std::string_view name() const override { return "events"; }
  std::string_view module() const override { return "example-device"; }
  void append_xml(std::string& xml) override {
    xml += R"(<device xmlns="urn:example:device"><event><at>7</at></event></device>)";
  }
};

// What a call without memory may be answered.
bool tells_of_want(grpc::StatusCode code) {
  return code == grpc::StatusCode::RESOURCE_EXHAUSTED || code == grpc::StatusCode::INTERNAL ||
         code == grpc::StatusCode::CANCELLED;
}

class ServerAllocations : public StoredServiceTest, public testing::WithParamInterface<Failing> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(FailingAllocations::prepare());
    FailingAllocations::keep_out();
    access.users["tester"] = {"a password", nexa::access::Role::kReadWrite};
    metadata = {{"username", "tester"}, {"password", "a password"}};
    options.workers = 2;
    providers = {&events};
    StoredServiceTest::SetUp();
    ASSERT_EQ(replace(kDevice, kOld), "0 ");
    old_ = configured();
    ASSERT_EQ(replace(kDevice, kNew), "0 ");
    new_ = configured();
    ASSERT_NE(old_, new_);
  }

  std::string configured() {
    request.set_type(gnmi::GetRequest::CONFIG);
    std::string text = read(kDevice);
    request.set_type(gnmi::GetRequest::ALL);
    return text;
  }

  void give(grpc::ClientContext& context) const {
    context.set_deadline(std::chrono::system_clock::now() + kLimit);
    for (const auto& [key, value] : metadata) context.AddMetadata(key, value);
  }

  grpc::Status set_new() {
    gnmi::SetRequest change;
    *change.add_replace() = update_of(kDevice, kNew);
    grpc::ClientContext context;
    give(context);
    gnmi::SetResponse response;
    grpc::Status status = stub().Set(&context, change, &response);
    if (status.ok()) {
      EXPECT_EQ(response.response_size(), 1);
    }
    return status;
  }

  static gnmi::SubscribeRequest subscription(gnmi::SubscriptionList::Mode mode,
                                             const std::string& path) {
    gnmi::SubscribeRequest wanted;
    wanted.mutable_subscribe()->set_encoding(gnmi::JSON_IETF);
    wanted.mutable_subscribe()->set_mode(mode);
    gnmi::Subscription& added = *wanted.mutable_subscribe()->add_subscription();
    *added.mutable_path() = path_of(path);
    if (mode == gnmi::SubscriptionList::STREAM) added.set_mode(gnmi::ON_CHANGE);
    return wanted;
  }

  // Whether the configuration is the new one; all of it or nothing, and as the answer says.
  bool expect_as_answered(const grpc::Status& status) {
    // The store finds out about a commit of which it could not tell.
    EXPECT_FALSE(real_store->confirm("nothing of this name").ok());
    const std::string now = configured();
    EXPECT_TRUE(now == old_ || now == new_) << now;
    const bool is_there = now == new_;
    if (status.ok()) {
      EXPECT_TRUE(is_there);
    } else if (status.error_code() != grpc::StatusCode::UNAVAILABLE) {
      EXPECT_FALSE(is_there) << shown(status);
      EXPECT_TRUE(tells_of_want(status.error_code())) << shown(status);
    }
    return is_there;
  }

  // The stream tells `name`, after whatever it tells before it, or has ended for want of memory.
  // `told` gets all that it told.
  void expect_told_or_ended(StreamClient& stream, const std::string& name, Lines& told) {
    const std::string wanted = "|" + std::string(kName) + "=\"" + name + "\"";
    std::string line;
    while (stream.read(line)) {
      told.push_back(line);
      if (line == wanted) return;
    }
    ended_ = stream.end();
    EXPECT_TRUE(ended_.starts_with("8 ") || ended_.starts_with("13 ") || ended_.starts_with("1 "))
        << ended_;
  }

  void expect_no_streams() {
    EXPECT_TRUE(eventually([this] { return recorder.open_streams() == 0; }, kLimit))
        << recorder.open_streams();
  }

  // Runs `call` with the n-th allocation failing, n = 1, 2 and so on until there is none; `after`
  // judges it when there is memory again. Returns how many there were.
  int sweep(const std::function<void()>& before, const std::function<void()>& call,
            const std::function<void()>& after) {
    for (int n = 1;; ++n) {
      SCOPED_TRACE("n " + std::to_string(n));
      before();
      bool has_fired = false;
      {
        const FailingAllocations failing(GetParam(), n);
        call();
        has_fired = FailingAllocations::has_fired();
      }
      after();
      if (!has_fired || HasFailure()) return n - 1;
    }
  }

  Events events;
  std::string old_;
  std::string new_;
  std::string ended_;
};

TEST_P(ServerAllocations, OfASet) {
  const auto wanted = subscription(gnmi::SubscriptionList::STREAM, kName);
  std::unique_ptr<StreamClient> stream;
  grpc::Status status;
  const auto before = [&] {
    ASSERT_EQ(replace(kDevice, kOld), "0 ");
    stream = std::make_unique<StreamClient>(stub(), kLimit, metadata);
    ASSERT_TRUE(stream->write(wanted));
    ASSERT_EQ(stream->read_to_sync().size(), 2U);
  };
  const auto after = [&] {
    const bool is_there = expect_as_answered(status);
    Lines told;
    ASSERT_EQ(update(kName, "\"" + std::string(kLaterName) + "\""), "0 ");
    ended_.clear();
    expect_told_or_ended(*stream, kLaterName, told);
    if (ended_.empty()) {
      EXPECT_EQ(told.size(), is_there ? 2U : 1U) << testing::PrintToString(told);
    }
    stream.reset();
    expect_no_streams();
  };
  EXPECT_GT(sweep(
                before, [&] { status = set_new(); }, after),
            100);
}

TEST_P(ServerAllocations, OfAGet) {
  gnmi::GetRequest wanted;
  wanted.set_encoding(gnmi::JSON_IETF);
  *wanted.add_path() = path_of("/device/port[name=two]");
  *wanted.add_path() = path_of("/device/event");
  const auto text_of = [](gnmi::GetResponse response) {
    for (auto& each : *response.mutable_notification()) each.clear_timestamp();
    return response.SerializeAsString();
  };
  gnmi::GetResponse response;
  grpc::Status status;
  const auto ask = [&] {
    grpc::ClientContext context;
    give(context);
    response.Clear();
    status = stub().Get(&context, wanted, &response);
  };
  ask();
  ASSERT_TRUE(status.ok()) << shown(status);
  const std::string before = text_of(response);
  const auto after = [&] {
    if (status.ok()) {
      EXPECT_EQ(text_of(response), before);
    } else {
      EXPECT_TRUE(tells_of_want(status.error_code())) << shown(status);
    }
    ask();
    EXPECT_TRUE(status.ok()) << shown(status);
    EXPECT_EQ(text_of(response), before);
  };
  EXPECT_GT(sweep([] {}, ask, after), 50);
}

TEST_P(ServerAllocations, OfAListOnce) {
  const auto wanted = subscription(gnmi::SubscriptionList::ONCE, "/device");
  Lines lines;
  std::string end;
  const auto ask = [&] {
    StreamClient stream(stub(), kLimit, metadata);
    stream.write(wanted);
    lines.clear();
    std::string line;
    while (stream.read(line)) lines.push_back(line);
    end = stream.end();
  };
  ask();
  ASSERT_EQ(end, "0 ");
  const Lines before = lines;
  ASSERT_EQ(before.size(), 2U);
  const auto after = [&] {
    if (end == "0 ") {
      EXPECT_EQ(lines, before);
    } else {
      EXPECT_TRUE(end.starts_with("8 ") || end.starts_with("13 ") || end.starts_with("1 ")) << end;
      EXPECT_LE(lines.size(), before.size());
    }
    ask();
    EXPECT_EQ(end, "0 ");
    EXPECT_EQ(lines, before);
    expect_no_streams();
  };
  EXPECT_GT(sweep([] {}, ask, after), 50);
}

TEST_P(ServerAllocations, OfAStreamThatGetsACommit) {
  const auto wanted = subscription(gnmi::SubscriptionList::STREAM, kName);
  std::unique_ptr<StreamClient> stream;
  grpc::Status status;
  Lines told;
  bool synced = false;
  const auto before = [&] { ASSERT_EQ(replace(kDevice, kOld), "0 "); };
  const auto call = [&] {
    told.clear();
    ended_.clear();
    stream = std::make_unique<StreamClient>(stub(), kLimit, metadata);
    stream->write(wanted);
    const Lines first = stream->read_to_sync();
    synced = !first.empty() && first.back() == "sync";
    status = set_new();
    if (synced && status.ok()) expect_told_or_ended(*stream, kNewName, told);
  };
  const auto after = [&] {
    const bool is_there = expect_as_answered(status);
    ASSERT_EQ(update(kName, "\"" + std::string(kLaterName) + "\""), "0 ");
    if (ended_.empty()) expect_told_or_ended(*stream, kLaterName, told);
    if (ended_.empty()) {
      EXPECT_EQ(told.size(), is_there ? 2U : 1U) << testing::PrintToString(told);
    }
    stream.reset();
    expect_no_streams();
  };
  EXPECT_GT(sweep(before, call, after), 150);
}

INSTANTIATE_TEST_SUITE_P(All, ServerAllocations,
                         testing::Values(Failing::kOne, Failing::kAllFromThere),
                         [](const auto& tested) {
                           return tested.param == Failing::kOne ? "Alone" : "WithAllLater";
                         });

}  // namespace
}  // namespace nexa_test

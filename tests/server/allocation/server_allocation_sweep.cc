// Each allocation of a call fails, alone or with all that follow: the call is answered, and as the
// store has it; the streams that were open get the commit or end with a status; the next call is
// served as if nothing had been.
//
// What fails is what the server's own code asks of operator new, on all of its threads and in its
// reactors on gRPC's: also through the standard library and the schema library, in the store with
// its threads, in the observer and the access control that the service is given.
//
// What does not, and why:
// - gRPC, in its shared objects and its headers. It ends the process, or holds a call that nobody
//   can end any more, such as one whose status it could not copy.
// - protobuf. A map that could not grow, such as the keys of a path, has no memory for the buckets
//   that it counts, and its destructor goes through them; a repeated field loses the element that
//   it made before it grew; and descriptors are made once.
// - What C takes of malloc: libyang, cJSON, libxml2, SQLite, zstd, and the slices of gRPC.
// - The threads of the test, which are the clients.
//
// What a call may lose without being told: its line in the audit, its place in the metrics, the
// line of the fault. They are made when the call is over, and there may be no memory for them.
#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
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
    xml += R"(<device xmlns="urn:example:device"><event><at>)" + std::to_string(at_) +
           "</at></event></device>";
  }
  void watch(std::function<void()> changed) override { changed_ = std::move(changed); }

  // Something happens, on a thread of the provider's.
  void happen() {
    ++at_;
    std::thread([this] { changed_(); }).join();
  }
  int at() const { return at_; }

 private:
  std::atomic<int> at_{1};
  std::function<void()> changed_;
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
    options.limits.min_sample_interval = std::chrono::milliseconds(1);
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

  static gnmi::SetRequest new_one() {
    gnmi::SetRequest change;
    *change.add_replace() = update_of(kDevice, kNew);
    return change;
  }

  grpc::Status set_new(const gnmi::SetRequest& change = new_one()) {
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
                                             const std::string& path,
                                             gnmi::SubscriptionMode how = gnmi::ON_CHANGE) {
    gnmi::SubscribeRequest wanted;
    wanted.mutable_subscribe()->set_encoding(gnmi::JSON_IETF);
    wanted.mutable_subscribe()->set_mode(mode);
    gnmi::Subscription& added = *wanted.mutable_subscribe()->add_subscription();
    *added.mutable_path() = path_of(path);
    if (mode == gnmi::SubscriptionList::STREAM) added.set_mode(how);
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

  static std::string named(const std::string& name) {
    return "|" + std::string(kName) + "=\"" + name + "\"";
  }

  // The stream tells `wanted`, after whatever it tells before it, or has ended for want of memory.
  // `told` gets all that it told.
  void expect_told_or_ended(StreamClient& stream, const std::string& wanted, Lines& told) {
    std::string line;
    while (stream.read(line)) {
      told.push_back(line);
      if (line == wanted) return;
    }
    expect_ended(stream);
  }

  // The stream tells of the newest event, or has ended for want of memory.
  void expect_event_or_end(StreamClient& stream) {
    const std::string wanted = "/at=\"" + std::to_string(events.at()) + "\"";
    std::string line;
    while (stream.read(line)) {
      if (line.find(wanted) != std::string::npos) return;
    }
    expect_ended(stream);
  }

  void expect_ended(StreamClient& stream) {
    ended_ = stream.end();
    EXPECT_TRUE(ended_.starts_with("8 ") || ended_.starts_with("13 ") || ended_.starts_with("1 "))
        << ended_;
  }

  void expect_no_streams() {
    EXPECT_TRUE(eventually([this] { return recorder.open_streams() == 0; }, kLimit))
        << recorder.open_streams();
  }

  // Runs `call` with the n-th allocation failing, n = 1, 2 and so on until there is none; `after`
  // judges it when there is memory again. Returns how many there were, at most `most`.
  int sweep(const std::function<void()>& before, const std::function<void()>& call,
            const std::function<void()>& after, int most = 10000) {
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
      if (n == most) return n;
    }
  }

  Events events;
  std::string old_;
  std::string new_;
  std::string ended_;
};

TEST_P(ServerAllocations, OfASet) {
  auto wanted = subscription(gnmi::SubscriptionList::STREAM, kName);
  for (const char* const path : {"/device/port[name=one]/speed", "/device/port[name=two]/speed"}) {
    gnmi::Subscription& added = *wanted.mutable_subscribe()->add_subscription();
    *added.mutable_path() = path_of(path);
    added.set_mode(gnmi::ON_CHANGE);
  }
  std::array<std::unique_ptr<StreamClient>, 2> streams;
  grpc::Status status;
  const auto before = [&] {
    ASSERT_EQ(replace(kDevice, kOld), "0 ");
    for (auto& stream : streams) {
      stream = std::make_unique<StreamClient>(stub(), kLimit, metadata);
      ASSERT_TRUE(stream->write(wanted));
      ASSERT_EQ(stream->read_to_sync().back(), "sync");
    }
  };
  const auto after = [&] {
    const bool is_there = expect_as_answered(status);
    ASSERT_EQ(update(kName, "\"" + std::string(kLaterName) + "\""), "0 ");
    for (auto& stream : streams) {
      Lines told;
      ended_.clear();
      expect_told_or_ended(*stream, named(kLaterName), told);
      if (ended_.empty()) {
        EXPECT_EQ(std::count(told.begin(), told.end(), named(kNewName)), is_there ? 1 : 0)
            << testing::PrintToString(told);
      }
      stream.reset();
    }
    expect_no_streams();
  };
  EXPECT_GT(sweep(
                before, [&] { status = set_new(); }, after),
            100);
}

// A commit that nobody confirms is taken back, whatever there was no memory for.
TEST_P(ServerAllocations, OfASetThatIsToBeConfirmed) {
  gnmi::SetRequest change = new_one();
  gnmi_ext::Commit& commit = *change.add_extension()->mutable_commit();
  commit.set_id("an identifier that is not short");
  commit.mutable_commit()->mutable_rollback_duration()->set_nanos(2000000);
  grpc::Status status;
  const auto before = [&] {
    ASSERT_TRUE(eventually([&] { return replace(kDevice, kOld) == "0 "; }, kLimit));
  };
  const auto after = [&] {
    EXPECT_TRUE(status.ok() || status.error_code() == grpc::StatusCode::UNAVAILABLE ||
                tells_of_want(status.error_code()))
        << shown(status);
    EXPECT_TRUE(eventually([&] { return !real_store->pending() && configured() == old_; }, kLimit))
        << shown(status) << ": " << configured();
  };
  EXPECT_GT(sweep(
                before, [&] { status = set_new(change); }, after),
            100);
  before();
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
    if (synced && status.ok()) expect_told_or_ended(*stream, named(kNewName), told);
  };
  const auto after = [&] {
    const bool is_there = expect_as_answered(status);
    ASSERT_EQ(update(kName, "\"" + std::string(kLaterName) + "\""), "0 ");
    if (ended_.empty()) expect_told_or_ended(*stream, named(kLaterName), told);
    if (ended_.empty()) {
      EXPECT_EQ(told.size(), is_there ? 2U : 1U) << testing::PrintToString(told);
    }
    stream.reset();
    expect_no_streams();
  };
  EXPECT_GT(sweep(before, call, after), 150);
}

TEST_P(ServerAllocations, OfAnEventOnTheDevice) {
  const auto wanted = subscription(gnmi::SubscriptionList::STREAM, "/device/event");
  std::unique_ptr<StreamClient> stream;
  const auto before = [&] {
    stream = std::make_unique<StreamClient>(stub(), kLimit, metadata);
    ASSERT_TRUE(stream->write(wanted));
    ASSERT_EQ(stream->read_to_sync().back(), "sync");
  };
  const auto call = [&] {
    events.happen();
    expect_event_or_end(*stream);
  };
  const auto after = [&] {
    stream.reset();
    expect_no_streams();
  };
  EXPECT_GT(sweep(before, call, after), 15);
}

// One round after the other, so that there is no last one.
TEST_P(ServerAllocations, OfASample) {
  constexpr int kSeveralRounds = 100;
  auto wanted = subscription(gnmi::SubscriptionList::STREAM, "/device/event", gnmi::SAMPLE);
  wanted.mutable_subscribe()->mutable_subscription(0)->set_sample_interval(3000000);
  std::unique_ptr<StreamClient> stream;
  const auto before = [&] {
    stream = std::make_unique<StreamClient>(stub(), kLimit, metadata);
    ASSERT_TRUE(stream->write(wanted));
    ASSERT_EQ(stream->read_to_sync().back(), "sync");
  };
  const auto call = [] { EXPECT_TRUE(eventually(FailingAllocations::has_fired, kLimit)); };
  const auto after = [&] {
    events.happen();
    expect_event_or_end(*stream);
    stream.reset();
    expect_no_streams();
  };
  EXPECT_EQ(sweep(before, call, after, kSeveralRounds), kSeveralRounds);
}

INSTANTIATE_TEST_SUITE_P(All, ServerAllocations,
                         testing::Values(Failing::kOne, Failing::kAllFromThere),
                         [](const auto& tested) {
                           return tested.param == Failing::kOne ? "Alone" : "WithAllLater";
                         });

}  // namespace
}  // namespace nexa_test

// What subscribers cost, without the wire: a commit that nobody watches beside 10,000 streams that
// wait, the way of a commit to 1,000 streams that watch it, the memory of a stream that waits, and
// an update by 1,000 leaf paths beside one by a wide path, of a stream and of a Get. Fails when the
// first is above 1.1 times that without streams, or one of the last two above 1.5.
//
//   telemetry_bench               measures all
//   telemetry_bench NAME ROUNDS   does one thing so often, for a profiler: stream-leaves,
//   stream-wide,
//                                 get-leaves, get-wide
#include <grpcpp/impl/codegen/proto_utils.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/loader.h"
#include "model/resolver.h"
#include "server/get_request.h"
#include "store/tree_store.h"
#include "telemetry/stream.h"

namespace {

using nexa::telemetry::Stream;
using Clock = std::chrono::steady_clock;

constexpr int kPorts = 10000;
constexpr std::size_t kRoom = 64U << 20U;

double microseconds(Clock::duration time) {
  return std::chrono::duration<double, std::micro>(time).count();
}

// A stream, woken or not.
struct Client : nexa::telemetry::Waker {
  std::optional<Stream> stream;
  bool is_woken = false;
  void wake() override { is_woken = true; }
  std::size_t take() {
    is_woken = false;
    std::size_t leaves = 0;
    for (bool goes_on = true; goes_on;) {
      const Stream::Round round = stream->round(kRoom, false);
      for (const auto& message : round.messages) leaves += message.leaves;
      goes_on = round.has_more;
    }
    return leaves;
  }
};

class Bench {
 public:
  explicit Bench(std::string directory)
      : directory_(std::move(directory)), resolver_(schema_), paces_(schema_, {}) {
    nexa::store::TreeStoreOptions options;
    options.directory = directory_;
    options.sync = false;
    auto store = nexa::store::open_tree_store(options);
    if (!store.ok()) {
      std::fprintf(stderr, "%s\n", store.failure().line().c_str());
      std::exit(2);
    }
    store_ = std::move(store).value();
    std::string ports;
    for (int port = 0; port < kPorts; ++port) ports += entry(port, "1");
    commit(ports);
    feed_.emplace(*store_);
    state_.emplace(*store_, std::vector<nexa::state::StateProvider*>(), std::chrono::nanoseconds(0),
                   [](const std::string&) {});
  }
  ~Bench() {
    state_.reset();
    feed_.reset();
    store_.reset();
    std::filesystem::remove_all(directory_);
  }
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;

  static std::string entry(int port, const std::string& speed) {
    return "<port><name>p" + std::to_string(port) + "</name><speed>" + speed + "</speed></port>";
  }

  void commit(const std::string& ports) {
    nexa::store::CommitRequest request;
    request.edits.resize(1);
    request.edits[0].xml =
        "<config><device xmlns=\"urn:example:device\">" + ports + "</device></config>";
    const nexa::store::CommitResult result = store_->commit(request);
    if (result.status.ok()) return;
    std::fprintf(stderr, "%s\n", result.status.error_message().c_str());
    std::exit(2);
  }

  static gnmi::Path leaf(int port, const char* name = "speed") {
    gnmi::Path path;
    path.add_elem()->set_name("device");
    path.add_elem()->set_name("port");
    (*path.mutable_elem(1)->mutable_key())["name"] = port < 0 ? "*" : "p" + std::to_string(port);
    path.add_elem()->set_name(name);
    return path;
  }

  std::shared_ptr<Client> open(const std::vector<gnmi::Path>& paths,
                               gnmi::SubscriptionList::Mode mode) {
    gnmi::SubscriptionList list;
    list.set_mode(mode);
    list.set_encoding(gnmi::JSON_IETF);
    for (const gnmi::Path& path : paths) {
      gnmi::Subscription& added = *list.add_subscription();
      *added.mutable_path() = path;
      added.set_mode(gnmi::ON_CHANGE);
    }
    nexa::telemetry::SubscriptionPlan plan;
    int at_fault = -1;
    if (!plan_subscriptions(resolver_, paces_, {}, list, plan, at_fault).ok()) std::exit(2);
    auto client = std::make_shared<Client>();
    client->stream.emplace(
        nexa::telemetry::StreamSources{*store_, *feed_,
                                       [](std::shared_ptr<const nexa::store::StateTree>& state) {
                                         state.reset();
                                         return true;
                                       }},
        std::weak_ptr<nexa::telemetry::Waker>(client));
    client->stream->begin(std::move(plan), Clock::now());
    return client;
  }

  // The median time of a commit of one leaf that nobody watches.
  double idle_commit() {
    std::vector<double> times;
    for (int round = 0; round < 500; ++round) {
      const std::string change = entry(0, std::to_string(++value_));
      const Clock::time_point begin = Clock::now();
      commit(change);
      times.push_back(microseconds(Clock::now() - begin));
    }
    std::nth_element(times.begin(), times.begin() + 250, times.end());
    return times[250];
  }

  double shared_commit(std::vector<std::shared_ptr<Client>>& clients) {
    std::vector<double> times;
    for (int round = 0; round < 50; ++round) {
      commit(entry(1, std::to_string(++value_)));
      const Clock::time_point begin = Clock::now();
      for (const auto& client : clients) {
        if (client->is_woken && client->take() != 1) std::exit(2);
      }
      times.push_back(microseconds(Clock::now() - begin));
    }
    std::nth_element(times.begin(), times.begin() + 25, times.end());
    return times[25];
  }

  static gnmi::GetRequest get_of(const std::vector<gnmi::Path>& paths) {
    gnmi::GetRequest request;
    request.set_encoding(gnmi::JSON_IETF);
    for (const gnmi::Path& path : paths) *request.add_path() = path;
    return request;
  }

  grpc::ByteBuffer get(const gnmi::GetRequest& request) {
    grpc::ByteBuffer answer;
    const nexa::server::GetParts parts{resolver_, *store_, *state_};
    if (!serve_get(parts, request, answer).ok()) std::exit(2);
    return answer;
  }

  static std::size_t updates_of(grpc::ByteBuffer answer) {
    gnmi::GetResponse response;
    if (!grpc::SerializationTraits<gnmi::GetResponse>::Deserialize(&answer, &response).ok()) {
      std::exit(2);
    }
    std::size_t updates = 0;
    for (const gnmi::Notification& each : response.notification()) {
      updates += static_cast<std::size_t>(each.update_size());
    }
    return updates;
  }

  // The times of one update of both; each returns how many it gave. They take turns of `rounds`
  // each, and of the turns' medians the best counts: what else the machine does only adds to it. In
  // turns of one round each finds the processor's caches full of the other's data.
  struct Times {
    double leaf = 0;
    double wide = 0;
  };
  template <typename ByLeaf, typename ByWide>
  static Times time_each(int rounds, int turns, ByLeaf&& by_leaf, ByWide&& by_wide) {
    const auto time = [rounds](auto& measured) {
      std::vector<double> times;
      for (int round = 0; round < rounds; ++round) {
        const Clock::time_point begin = Clock::now();
        const std::size_t updates = measured();
        times.push_back(microseconds(Clock::now() - begin) / static_cast<double>(updates));
      }
      const auto middle = times.begin() + rounds / 2;
      std::nth_element(times.begin(), middle, times.end());
      return *middle;
    };
    Times best{1e9, 1e9};
    for (int turn = 0; turn < turns; ++turn) {
      best.leaf = std::min(best.leaf, time(by_leaf));
      best.wide = std::min(best.wide, time(by_wide));
    }
    return best;
  }

  // The updates of a poll.
  static std::size_t poll(Client& client) {
    client.stream->poll();
    return client.take();
  }

 private:
  const std::string directory_;
  nexa::model::Schema schema_;
  nexa::model::Resolver resolver_;
  nexa::telemetry::LeafPaces paces_;
  std::unique_ptr<nexa::store::ConfigStore> store_;
  std::optional<nexa::telemetry::ChangeFeed> feed_;
  std::optional<nexa::server::StateCache> state_;
  int value_ = 1;
};

bool check(const char* what, double ratio, double limit) {
  std::printf("%-52s %8.2f (at most %.1f)\n", what, ratio, limit);
  return ratio <= limit;
}

template <typename ByLeaf, typename ByWide>
bool compare(const char* what, ByLeaf&& by_leaf, ByWide&& by_wide) {
  const Bench::Times warm = Bench::time_each(21, 7, by_leaf, by_wide);
  const Bench::Times cold = Bench::time_each(1, 101, by_leaf, by_wide);
  std::printf("%s:\n", what);
  std::printf("%-52s %8.2f us, %.2f in turns\n", "  an update by 1,000 leaf paths", warm.leaf,
              cold.leaf);
  std::printf("%-52s %8.2f us, %.2f in turns\n", "  an update by one wide path", warm.wide,
              cold.wide);
  return check("  ratio", warm.leaf / warm.wide, 1.5);
}

std::vector<gnmi::Path> leaf_paths() {
  std::vector<gnmi::Path> leaves;
  for (int port = 0; port < 1000; ++port) leaves.push_back(Bench::leaf(port));
  return leaves;
}

void repeat(Bench& bench, const std::string& what, int rounds) {
  const bool is_wide = what.find("wide") != std::string::npos;
  const std::vector<gnmi::Path> paths =
      is_wide ? std::vector<gnmi::Path>{Bench::leaf(-1)} : leaf_paths();
  const auto client = bench.open(paths, gnmi::SubscriptionList::POLL);
  const gnmi::GetRequest request = Bench::get_of(paths);
  for (int round = 0; round < rounds; ++round) {
    if (what.rfind("get", 0) == 0) {
      bench.get(request);
    } else {
      client->stream->poll();
      client->take();
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  kestrel::LoadOptions options;
  options.search_dirs = {NEXA_MODELS_DIR};
  if (kestrel::load(options)) return 2;
  std::string pattern = std::filesystem::temp_directory_path() / "telemetry_bench_XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) return 2;
  Bench bench(pattern);

  if (argc > 2) {
    repeat(bench, argv[1], std::atoi(argv[2]));
    return 0;
  }
  const double alone = bench.idle_commit();
  const std::size_t before = mallinfo2().uordblks;
  std::vector<std::shared_ptr<Client>> idle;
  for (int i = 0; i < 10000; ++i) {
    const gnmi::Path path = i % 2 == 0 ? Bench::leaf(2 + i / 2) : Bench::leaf(-1, "medium");
    idle.push_back(bench.open({path}, gnmi::SubscriptionList::STREAM));
    idle.back()->take();
  }
  const std::size_t bytes = mallinfo2().uordblks - before;
  const double beside = bench.idle_commit();
  std::printf("%-52s %8.1f us\n", "commit of a leaf, no streams", alone);
  std::printf("%-52s %8.1f us\n", "the same beside 10,000 idle streams", beside);
  std::printf("%-52s %8.1f MB (without gRPC's part)\n", "memory of 10,000 idle streams",
              static_cast<double>(bytes) / 1e6);
  bool passes = check("idle streams: ratio", beside / alone, 1.1);
  idle.clear();

  std::vector<std::shared_ptr<Client>> watching;
  for (int i = 0; i < 1000; ++i) {
    watching.push_back(bench.open({Bench::leaf(1)}, gnmi::SubscriptionList::STREAM));
    watching.back()->take();
  }
  std::printf("%-52s %8.1f us\n", "from a commit to the last of 1,000 streams, one core",
              bench.shared_commit(watching));
  watching.clear();

  const std::vector<gnmi::Path> leaves = leaf_paths();
  const auto narrow = bench.open(leaves, gnmi::SubscriptionList::POLL);
  const auto wide = bench.open({Bench::leaf(-1)}, gnmi::SubscriptionList::POLL);
  narrow->take();
  wide->take();
  passes =
      compare(
          "a poll", [&] { return Bench::poll(*narrow); }, [&] { return Bench::poll(*wide); }) &&
      passes;
  const gnmi::GetRequest get_narrow = Bench::get_of(leaves);
  const gnmi::GetRequest get_wide = Bench::get_of({Bench::leaf(-1)});
  const std::size_t narrow_updates = Bench::updates_of(bench.get(get_narrow));
  const std::size_t wide_updates = Bench::updates_of(bench.get(get_wide));
  const auto get = [&bench](const gnmi::GetRequest& request, std::size_t updates) {
    bench.get(request);
    return updates;
  };
  passes = compare(
               "a Get", [&] { return get(get_narrow, narrow_updates); },
               [&] { return get(get_wide, wide_updates); }) &&
           passes;
  return passes ? 0 : 1;
}

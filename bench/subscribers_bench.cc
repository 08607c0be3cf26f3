// What subscribers of a running server cost, over gRPC on this machine: how long it takes from a
// Set's answer until the last of 1,000 ON_CHANGE streams has the change (the client's own work is
// in it), what a Set that no stream watches costs beside 10,000 idle ones of another program, and
// their memory. Fails when that Set is above 1.1 times one without streams, or the memory above
// 200 MB.
//
// Debian builds gRPC with its assertions: one of them looks for each operation that ends among all
// that are begun, of which every stream has two. In a profile that was an eighth of the server's
// time beside 10,000 streams, so the first limit is met by chance only.
//
//   subscribers_bench                  the measurement
//   subscribers_bench --idle ADDRESS   that other program: holds the streams until its input ends
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <vector>

#include "nexad/client.h"
#include "nexad/server_process.h"

namespace {

using nexa_bench::Client;
using nexa_bench::IdleStreams;
using nexa_bench::ServerProcess;
using Clock = std::chrono::steady_clock;

constexpr int kWatching = 1000;
constexpr int kIdle = 10000;
constexpr int kStreamsPerConnection = 100;
constexpr int kSets = 300;
constexpr int kTurns = 3;
constexpr double kMostRatio = 1.1;
constexpr double kMostBytes = 200e6;

double microseconds(Clock::duration time) {
  return std::chrono::duration<double, std::micro>(time).count();
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// The median of Sets of an interface that nobody watches.
double unwatched_set(Client& client, int& value) {
  std::vector<double> times;
  for (int set = 0; set < kSets; ++set) {
    const Clock::time_point begin = Clock::now();
    client.set_leaf(1, ++value);
    times.push_back(microseconds(Clock::now() - begin));
  }
  return median(std::move(times));
}

void watched_set(const std::string& address, Client& client, int& value) {
  IdleStreams watching(address, kWatching, kStreamsPerConnection, IdleStreams::Kind::kOnChange);
  std::vector<double> times;
  for (int set = 0; set < 20; ++set) {
    client.set_leaf(0, ++value);
    const Clock::time_point answered = Clock::now();
    watching.read_each();
    times.push_back(microseconds(Clock::now() - answered));
  }
  std::printf("%-58s %9.1f ms\n", "from a Set's answer to the last of 1,000 streams",
              median(std::move(times)) / 1000);
}

bool check(const char* what, double value, double limit, const char* unit) {
  std::printf("%-58s %9.2f%s (at most %.1f)\n", what, value, unit, limit);
  return value <= limit;
}

// A client of its own, lest the Sets that are measured share their client's threads with it.
class OtherProgram {
 public:
  // Returns when all streams are there.
  explicit OtherProgram(const std::string& address) {
    int input[2];
    int output[2];
    if (pipe(input) != 0 || pipe(output) != 0) std::abort();
    process_ = fork();
    if (process_ == 0) {
      dup2(input[0], STDIN_FILENO);
      dup2(output[1], STDOUT_FILENO);
      for (const int end : {input[0], input[1], output[0], output[1]}) close(end);
      execl("/proc/self/exe", "subscribers_bench", "--idle", address.c_str(), nullptr);
      _exit(127);
    }
    close(input[0]);
    close(output[1]);
    input_ = input[1];
    char ready = 0;
    if (read(output[0], &ready, 1) != 1) std::abort();
    close(output[0]);
  }
  ~OtherProgram() {
    close(input_);
    waitpid(process_, nullptr, 0);
  }
  OtherProgram(const OtherProgram&) = delete;
  OtherProgram& operator=(const OtherProgram&) = delete;

 private:
  pid_t process_ = -1;
  int input_ = -1;
};

int hold_streams(const std::string& address) {
  const IdleStreams idle(address, kIdle, kStreamsPerConnection, IdleStreams::Kind::kOnChange);
  if (write(STDOUT_FILENO, "r", 1) != 1) return 1;
  char end = 0;
  return read(STDIN_FILENO, &end, 1) == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "--idle") == 0) return hold_streams(argv[2]);
  const ServerProcess server(nexa_bench::Sync::kLeftOut);
  if (server.address().empty()) return 1;
  Client client(server.address());
  client.add_interfaces("eth", 0, 10);
  int value = 0;
  watched_set(server.address(), client, value);

  // Turns, so that what else the machine does is in both.
  unwatched_set(client, value);
  std::vector<double> alone;
  std::vector<double> beside;
  std::size_t bytes = 0;
  for (int turn = 0; turn < kTurns; ++turn) {
    alone.push_back(unwatched_set(client, value));
    const std::size_t before = server.resident_bytes();
    const OtherProgram idle(server.address());
    const std::size_t with = server.resident_bytes();
    if (turn == 0) bytes = with - std::min(with, before);
    beside.push_back(unwatched_set(client, value));
  }
  const double without = *std::min_element(alone.begin(), alone.end());
  const double among = *std::min_element(beside.begin(), beside.end());
  std::printf("%-58s %9.1f us\n", "a Set that no stream watches, no streams", without);
  std::printf("%-58s %9.1f us\n", "the same beside 10,000 idle streams", among);
  const bool is_cheap = check("  ratio", among / without, kMostRatio, "");
  const bool is_small = check("memory of 10,000 idle streams", static_cast<double>(bytes) / 1e6,
                              kMostBytes / 1e6, " MB");
  return is_cheap && is_small ? 0 : 1;
}

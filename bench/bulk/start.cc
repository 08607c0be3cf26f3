// How long a store takes to serve again, inside one process and from the start of a server.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "bulk/measure.h"
#include "bulk/sections.h"
#include "bulk/sides.h"
#include "support/openconfig_payload.h"

namespace nexa_bench {
namespace {

namespace fs = std::filesystem;

constexpr double kLimit = 1.5;
constexpr int kRuns = 3;
constexpr char kServed[] = "/openconfig-system:system/config/hostname";
constexpr useconds_t kPoll = 2000;

// Fills a store and changes one leaf of it again and again.
std::vector<double> fill(const std::string& data, std::size_t bytes, std::size_t commits) {
  const std::string json = openconfig_payload(bytes, 1);
  if (!json.empty()) {
    StoreSide side(data, {commits == 0, 1000});
    side.set(set_request(json));
    for (std::size_t commit = 0; commit < commits; ++commit) {
      side.set(set_request("\"pe" + std::to_string(commit) + "\"", kServed));
    }
  }
  return {1};
}

// Wall and processor milliseconds until the store serves a leaf.
std::vector<double> open_once(const std::string& data) {
  const double wall = wall_seconds();
  const double cpu = cpu_seconds();
  const StoreSide side(data);
  if (!side.serves(kServed)) give_up("the store does not serve");
  const double cpu_end = cpu_seconds();
  const double wall_end = wall_seconds();
  return {(wall_end - wall) * 1e3, (cpu_end - cpu) * 1e3};
}

std::vector<double> parse_once(std::size_t bytes) {
  const std::string json = openconfig_payload(bytes, 1);
  const double wall = wall_seconds();
  const double cpu = cpu_seconds();
  const Tree tree = parse_only(json);
  const double cpu_end = cpu_seconds();
  const double wall_end = wall_seconds();
  return {(wall_end - wall) * 1e3, (cpu_end - cpu) * 1e3};
}

// The best of some runs: what disturbs a run only adds to it.
std::vector<double> best(unsigned seconds, const std::function<std::vector<double>()>& work) {
  std::vector<double> least;
  for (int run = 0; run < kRuns; ++run) {
    const std::vector<double> numbers = in_child(seconds, work);
    if (numbers.empty()) return {};
    if (least.empty()) least = numbers;
    for (std::size_t index = 0; index < least.size(); ++index) {
      least[index] = std::min(least[index], numbers[index]);
    }
  }
  return least;
}

[[noreturn]] void execute(std::vector<std::string> words, const std::string& log) {
  const int file = open(log.c_str(), O_CREAT | O_WRONLY | O_TRUNC | O_CLOEXEC, 0600);
  dup2(file, STDOUT_FILENO);
  dup2(file, STDERR_FILENO);
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  execv(arguments[0], arguments.data());
  _exit(127);
}

// Processor seconds that a running process has used.
double cpu_of_process(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string text;
  std::getline(file, text);
  text.erase(0, text.rfind(')') + 1);
  char state = 0;
  unsigned long user = 0;
  unsigned long system = 0;
  if (std::sscanf(text.c_str(), " %c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &state,
                  &user, &system) != 3) {
    give_up("no processor time of the server");
  }
  return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// nexad over the folder until it serves.
std::vector<double> start_server(const BenchOptions& options, const Folder& folder) {
  const std::string ready = folder.data("ready");
  fs::remove(ready);
  const double start = wall_seconds();
  const pid_t server = fork();
  if (server == 0) {
    execute({(fs::path(options.program).parent_path() / "nexad").string(), "--yang-dir",
             options.openconfig, "--data", folder.data(), "--listen", "127.0.0.1:0", "--metrics",
             "off", "--insecure", "--no-linux-state", "--ready-file", ready},
            folder.data("log"));
  }
  while (!fs::exists(ready) || fs::file_size(ready) == 0) {
    if (waitpid(server, nullptr, WNOHANG) == server) give_up("nexad did not start");
    usleep(kPoll);
  }
  const double wall = wall_seconds() - start;
  const double cpu = cpu_of_process(server);
  kill(server, SIGTERM);
  waitpid(server, nullptr, 0);
  return {wall * 1e3, cpu * 1e3};
}

std::vector<double> start_peer(const BenchOptions& options, const Folder& folder,
                               const std::string& json) {
  const std::string file = folder.data("peer.json");
  std::ofstream(file) << json;
  const double start = wall_seconds();
  const double cpu = cpu_seconds();
  const pid_t peer = fork();
  if (peer == 0) {
    execute({options.program, "--libyang-program", options.openconfig, file}, folder.data("log"));
  }
  int status = 0;
  waitpid(peer, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) give_up("libyang's program failed");
  return {(wall_seconds() - start) * 1e3, (cpu_seconds() - cpu) * 1e3};
}

void add_pair(Report& report, const std::string& what, const std::vector<double>& ours,
              const std::vector<double>& peer) {
  const bool measured = ours.size() == 2 && peer.size() == 2;
  for (const std::size_t index : {0U, 1U}) {
    report.add({"start", what + (index == 0 ? ", wall" : ", CPU"), "ms", measured ? ours[index] : 0,
                measured ? peer[index] : 0, kLimit, measured});
  }
}

void measure_one(const BenchOptions& options, Report& report, std::size_t bytes,
                 std::size_t commits) {
  const Folder folder;
  const std::string data = folder.data();
  std::string what = "start over " + size_text(bytes);
  if (commits > 0) what += ", " + std::to_string(commits) + " commits";
  const bool filled =
      !in_child(options.seconds, [&] { return fill(data, bytes, commits); }).empty();
  std::vector<double> ours;
  std::vector<double> server;
  if (filled) ours = best(options.seconds, [&] { return open_once(data); });
  add_pair(report, what + ", the store", ours,
           best(options.seconds, [&] { return parse_once(bytes); }));
  if (filled) server = best(options.seconds, [&] { return start_server(options, folder); });
  const std::string json = openconfig_payload(bytes, 1);
  add_pair(report, what + ", the server", server,
           best(options.seconds, [&] { return start_peer(options, folder, json); }));
}

bool is_submodule(const fs::path& file) {
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("module ")) return false;
    if (line.starts_with("submodule ")) return true;
  }
  return false;
}

}  // namespace

void measure_start(const BenchOptions& options, Report& report) {
  load_models(options.openconfig);
  for (const std::size_t bytes : payload_sizes(options)) measure_one(options, report, bytes, 0);
  measure_one(options, report, options.quick ? 100'000 : 1'000'000,
              options.quick ? 10'000 : 100'000);
}

int run_libyang_program(const std::string& folder, const std::string& file) {
  ly_log_options(LY_LOSTORE_LAST);
  ly_ctx* context = nullptr;
  const std::uint16_t flags = LY_CTX_REF_IMPLEMENTED | LY_CTX_EXPLICIT_COMPILE |
                              LY_CTX_NO_YANGLIBRARY | LY_CTX_DISABLE_SEARCHDIR_CWD;
  if (ly_ctx_new(folder.c_str(), flags, &context) != LY_SUCCESS) return 1;
  static const char* every_feature[] = {"*", nullptr};
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().stem().string();
    if (entry.path().extension() != ".yang" || is_submodule(entry.path())) continue;
    if (ly_ctx_load_module(context, name.c_str(), nullptr, every_feature) == nullptr) return 1;
  }
  lyd_node* tree = nullptr;
  const bool read = ly_ctx_compile(context) == LY_SUCCESS &&
                    lyd_parse_data_path(context, file.c_str(), LYD_JSON,
                                        LYD_PARSE_STRICT | LYD_PARSE_ONLY, 0, &tree) == LY_SUCCESS;
  return read ? 0 : 1;
}

}  // namespace nexa_bench

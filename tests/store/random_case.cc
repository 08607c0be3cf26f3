// The child tells its parent what it does before it does it, so that after a death the parent
// knows.
#include "store/random_case.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "kestrel/loader.h"
#include "store/case_messages.h"
#include "store/random_set.h"
#include "store/schema_support.h"
#include "store/store_and_oracle.h"

namespace nexa_test {
namespace {

constexpr int kEmulatorsFactor = 17;

std::string make_folder() {
  const bool has_memory = access("/dev/shm", W_OK) == 0;
  std::string name =
      (has_memory ? std::string("/dev/shm") : std::filesystem::temp_directory_path().string()) +
      "/nexa-random-XXXXXX";
  return mkdtemp(name.data()) != nullptr ? name : "";
}

bool load(const RandomSchema& schema, const std::string& folder) {
  const std::string yang = folder + "/yang";
  std::filesystem::create_directory(yang);
  for (const auto& [name, text] : schema.modules) {
    std::ofstream(yang + "/" + name + ".yang") << text;
  }
  kestrel::LoadOptions options;
  options.search_dirs = {yang};
  for (const auto& [name, text] : schema.modules) options.modules.push_back(name);
  options.features = schema.features;
  ly_log_options(LY_LOSTORE_LAST);
  return !kestrel::load(options).has_value() && nexa::store::check_schema().ok();
}

StoreOperation next_operation(Dice& dice, RandomSets& sets, const std::string& xml, int number) {
  StoreOperation operation;
  if (number % 25 == 24 || dice.chance(1)) {
    operation.kind = StoreOperation::Kind::kRestart;
  } else if (number > 5 && dice.chance(3)) {
    operation.kind = StoreOperation::Kind::kRollback;
    operation.back = dice.below(1000);
  } else {
    Forest current;
    parse_forest(xml, current);
    operation.edits = sets.make(current.get());
  }
  return operation;
}

// The child's whole life.
void live(const CasePlan& plan, const std::string& folder, int pipe) {
  if (!load(plan.schema, folder)) return;
  Dice dice(plan.seed);
  RandomSets sets(dice);
  if (sets.is_empty()) return;
  tell_loaded(pipe);
  CaseOutcome outcome;
  outcome.is_loaded = true;
  StoreAndOracle both(folder + "/data", plan.is_careful, plan.schema.may_crash, outcome);
  const bool is_given = !plan.operations.empty();
  const int count = is_given ? static_cast<int>(plan.operations.size()) : plan.sets;
  for (int i = 0; i < count && outcome.kind.empty(); ++i) {
    const StoreOperation operation = is_given ? plan.operations[static_cast<std::size_t>(i)]
                                              : next_operation(dice, sets, both.oracle().xml(), i);
    if (plan.is_careful) tell(pipe, operation);
    both.run(operation);
  }
  // The last word: what is stored can be opened.
  if (outcome.kind.empty() && !is_given) {
    StoreOperation restart;
    restart.kind = StoreOperation::Kind::kRestart;
    if (plan.is_careful) tell(pipe, restart);
    both.run(restart);
  }
  tell(pipe, outcome);
}

// What the child says until it ends; it is killed when it takes too long.
std::string listen(int pipe, pid_t child, std::chrono::seconds patience, bool& is_late) {
  const auto end = std::chrono::steady_clock::now() + patience;
  std::string text;
  char buffer[65536];
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        end - std::chrono::steady_clock::now());
    pollfd waited{pipe, POLLIN, 0};
    if (left.count() <= 0 || poll(&waited, 1, static_cast<int>(left.count())) <= 0) {
      is_late = true;
      kill(child, SIGKILL);
      return text;
    }
    const ssize_t count = read(pipe, buffer, sizeof buffer);
    if (count <= 0) return text;
    text.append(buffer, static_cast<std::size_t>(count));
  }
}

}  // namespace

CaseOutcome run_case(const CasePlan& plan) {
  CaseOutcome outcome;
  const std::string folder = make_folder();
  int ends[2] = {-1, -1};
  if (folder.empty() || pipe2(ends, O_CLOEXEC) != 0) {
    outcome.kind = "no folder or pipe";
    return outcome;
  }
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    live(plan, folder, ends[1]);
    _exit(0);
  }
  close(ends[1]);
  bool is_late = false;
  const bool is_emulated = std::getenv("NEXA_EMULATED") != nullptr;
  const std::chrono::seconds patience = plan.patience * (is_emulated ? kEmulatorsFactor : 1);
  const std::string text = listen(ends[0], child, patience, is_late);
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
  hear(text, outcome);
  if (is_late) {
    outcome.kind = "no end";
    outcome.details = "the case took longer than " + std::to_string(patience.count()) + " s";
  } else if (WIFSIGNALED(status) || (WIFEXITED(status) && WEXITSTATUS(status) != 0)) {
    outcome.kind = "death";
    outcome.details = WIFSIGNALED(status)
                          ? "the process ended with signal " + std::to_string(WTERMSIG(status))
                          : "the process ended with " + std::to_string(WEXITSTATUS(status));
  }
  // What libyang does not survive to load is no schema.
  if (!outcome.is_loaded) outcome.kind.clear();
  return outcome;
}

}  // namespace nexa_test

// nexa rollback: returns a data directory to an earlier commit while no server works on it.
#include <pwd.h>
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "data_options.h"
#include "option_checks.h"
#include "status_output.h"
#include "store/tree_store.h"

namespace nexa_tool {
namespace {

constexpr char kRollbackExamples[] = R"(EXAMPLE
  nexa rollback -p /usr/share/yang --data /var/lib/nexad --to 7

  The configuration becomes what commit 7 left, as a new commit; 0 is the empty
  configuration. Give the modules and features that the server runs with. Stop
  the server first.

EXIT STATUS
  0 done    1 refused: what is wrong is on standard error    2 wrong usage)";

struct RollbackOptions {
  ConfigurationOptions configuration;
  std::uint64_t number = 0;
};

// Who calls the tool, for the history.
std::string user_name() {
  const passwd* const entry = getpwuid(getuid());
  return entry != nullptr ? std::string(entry->pw_name) : std::to_string(getuid());
}

int run_rollback(const RollbackOptions& options, Session& session) {
  if (!options.configuration.load()) return kRefused;
  nexa::store::TreeStoreOptions place;
  place.directory = options.configuration.directory;
  // The tool drops no history; the server does that by its own limit.
  place.history_limit = 0;
  const auto opened = nexa::store::open_tree_store(place);
  if (!opened.ok()) {
    report_failure(opened.failure());
    return kRefused;
  }
  const auto& store = opened.value();
  const std::uint64_t before = store->snapshot()->number();
  const nexa::store::CommitResult result = store->rollback(options.number, user_name(), nullptr);
  if (!result.status.ok()) {
    report_refusal(result.status);
    return kRefused;
  }
  const std::string text = result.number == before
                               ? "nothing changed: the configuration is that of commit " +
                                     std::to_string(options.number) + "\n"
                               : "commit " + std::to_string(result.number) + " restores commit " +
                                     std::to_string(options.number) + "\n";
  return session.output.write(text) ? kDone : kRefused;
}

}  // namespace

void add_rollback_command(CLI::App& app, Session& session) {
  const auto options = std::make_shared<RollbackOptions>();
  CLI::App* command = app.add_subcommand("rollback");
  command->description(
      "Return a configuration to an earlier commit\n\n"
      "Writes a new commit into the data directory of a server that is not running.");
  options->configuration.add_to(*command);
  command->add_option("--to", options->number, "Number of the commit to restore; 0 is empty")
      ->required()
      ->check(whole_number(0))
      ->type_name("N");
  command->footer(kRollbackExamples);
  command->callback([options, &session] { session.exit_status = run_rollback(*options, session); });
}

}  // namespace nexa_tool

// nexa verify: whether what a data directory holds is whole and valid, also while a server works on
// it.
#include <cjson/cJSON.h>

#include <memory>
#include <string>

#include "background.h"
#include "commands.h"
#include "data_options.h"
#include "json_writer.h"
#include "option_checks.h"
#include "store/verification.h"
#include "text/display.h"

namespace nexa_tool {
namespace {

using nexa::store::VerificationReport;

constexpr char kVerifyExamples[] = R"(EXAMPLE
  nexa verify -p /usr/share/yang --data /var/lib/nexad

  commit 17: valid
  commit 17: /m:top/leaf: must "../other" is not satisfied
  cannot be read: /var/lib/nexad/nexa.db: damaged: ...

  Reads the whole log, verifies its checksums, and validates the newest
  configuration from nothing. Give the modules and features that the server
  runs with. The server may go on working; it starts this command by itself
  after commits.

EXIT STATUS
  0 valid    1 a rule is broken, the log is damaged, or the configuration cannot
  be judged    2 wrong usage)";

struct VerifyOptions {
  ConfigurationOptions configuration;
  std::uint64_t parent = 0;
  bool json = false;
};

const char* name_of(VerificationReport::Kind kind) {
  switch (kind) {
    case VerificationReport::Kind::kValid:
      return "valid";
    case VerificationReport::Kind::kViolation:
      return "violation";
    case VerificationReport::Kind::kUnjudged:
      return "unjudged";
    case VerificationReport::Kind::kUnreadable:
      break;
  }
  return "unreadable";
}

std::string as_json(const VerificationReport& report) {
  const JsonPtr object(cJSON_CreateObject());
  if (report.kind != VerificationReport::Kind::kUnreadable) {
    add_item(object.get(), "commit",
             JsonPtr(cJSON_CreateNumber(static_cast<double>(report.number))));
  }
  add_text(object.get(), "verdict", name_of(report.kind));
  if (!report.text.empty()) add_text(object.get(), "text", report.text);
  return to_text(object.get());
}

int run_verify(const VerifyOptions& options, Session& session) {
  if (options.parent != 0 && !work_in_background_for(options.parent)) return kRefused;
  if (!options.configuration.load()) return kRefused;
  const VerificationReport report = nexa::store::verify_directory(options.configuration.directory);
  std::string text = options.json ? as_json(report) : report.line() + "\n";
  // Values of the configuration are quoted in it.
  if (session.output.is_terminal()) text = nexa::text::printable_lines(text);
  if (!session.output.write(text)) return kRefused;
  return report.kind == VerificationReport::Kind::kValid ? kDone : kRefused;
}

}  // namespace

void add_verify_command(CLI::App& app, Session& session) {
  const auto options = std::make_shared<VerifyOptions>();
  CLI::App* command = app.add_subcommand("verify");
  command->description(
      "Tell whether a data directory holds a valid state\n\n"
      "Believes nothing that the server found out, changes nothing, and may run beside it.");
  options->configuration.add_to(*command);
  command->add_flag("--json", options->json, "Answer as JSON");
  command
      ->add_option("--parent", options->parent,
                   "Take the lowest priority, and end when the parent process, which has this "
                   "number, does")
      ->check(whole_number(1))
      ->type_name("PID");
  command->footer(kVerifyExamples);
  command->callback([options, &session] { session.exit_status = run_verify(*options, session); });
}

}  // namespace nexa_tool

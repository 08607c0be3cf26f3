// nexa set: what a server would do with a Set, over its data directory. Changes nothing there.
#include <memory>
#include <string>
#include <variant>

#include "commands.h"
#include "data_options.h"
#include "option_checks.h"
#include "pretty_xml.h"
#include "profile/profile.h"
#include "request/commit_action.h"
#include "request/set_request.h"
#include "request_file.h"
#include "status_output.h"
#include "store/tree_store.h"
#include "text/display.h"

namespace nexa_tool {
namespace {

constexpr char kSetExamples[] = R"(EXAMPLE
  echo 'delete { elem { name: "interfaces" } }' |
    nexa set --dry-run -p /usr/share/yang --data /var/lib/nexad --request -

  Prints what would change as a YANG difference: each node carries an operation,
  as nexa history --show has it. Nothing is printed when nothing would change.
  Give the modules, features, profile and strictness that the server runs with;
  it may go on working. Its commit hook, its users and the election ids of other
  clients are not asked.

EXIT STATUS
  0 the server would take it
  1 it would not: "CODE_NAME: message" is on standard error
  2 wrong usage, or no request)";

struct SetOptions {
  ConfigurationOptions configuration;
  std::string file;
  std::string profile = nexa::profile::kFullName;
  bool strict = false;
  bool dry_run = false;
};

// The verdict of the server, and what the Set would change.
grpc::Status judge(const SetOptions& options, const gnmi::SetRequest& request,
                   nexa::ServiceKestrelNamespaceMapperImpl& mapper, nexa::store::ConfigStore& store,
                   std::string& difference) {
  using nexa::translate::Mode;
  const Mode mode = options.strict ? Mode::kStrict : Mode::kTolerant;
  const nexa::model::Schema schema;
  const nexa::model::Resolver resolver(schema, mode);
  nexa::translate::Translator translator(mapper, schema, mode);
  nexa::request::SetParts parts{resolver, translator};
  parts.profile = *nexa::profile::profile_of(options.profile);
  nexa::store::CommitRequest commit;
  grpc::Status status = nexa::request::prepare_set(parts, request, commit.edits);
  nexa::request::CommitAction action;
  if (status.ok()) status = nexa::request::read_commit_action(request, action);
  const bool commits = action.kind == nexa::request::CommitAction::Kind::kCommit;
  if (!status.ok() || (commit.edits.empty() && !commits)) return status;
  bool is_valid = false;
  commit.approve = [&](const nexa::store::Change& change) {
    difference = change.difference();
    is_valid = true;
    return grpc::Status(grpc::StatusCode::ABORTED, "dry run");
  };
  const nexa::store::CommitResult result = store.commit(commit);
  if (is_valid || result.status.ok()) return grpc::Status::OK;
  return nexa::request::refusal_of(request, result);
}

auto open_to_read(const SetOptions& options) {
  nexa::store::TreeStoreOptions place;
  place.directory = options.configuration.directory;
  place.read_only = true;
  return nexa::store::open_tree_store(place);
}

int run_set(const SetOptions& options, Session& session) {
  if (!options.dry_run) {
    std::fprintf(stderr, "nexa: set changes nothing, it needs --dry-run\n");
    return kUsage;
  }
  std::string text;
  if (!read_input(options.file, text)) return kUsage;
  const auto request = parse_request(text, "set");
  if (!request.ok()) {
    report_failure(nexa::text::failure_at(options.file, request.failure()));
    return kUsage;
  }
  const auto mapper = options.configuration.load();
  if (mapper == nullptr) return kRefused;
  const auto store = open_to_read(options);
  if (!store.ok()) {
    report_failure(store.failure());
    return kRefused;
  }
  std::string difference;
  const grpc::Status status = judge(options, std::get<gnmi::SetRequest>(request.value()), *mapper,
                                    *store.value(), difference);
  if (!status.ok()) {
    report_refusal(status);
    return kRefused;
  }
  const bool is_terminal = session.output.is_terminal();
  if (is_terminal) difference = nexa::text::printable_lines(difference);
  if (difference.empty()) return kDone;
  return session.output.write(pretty_xml(difference, is_terminal)) ? kDone : kRefused;
}

}  // namespace

void add_set_command(CLI::App& app, Session& session) {
  const auto options = std::make_shared<SetOptions>();
  CLI::App* command = app.add_subcommand("set");
  command->description(
      "Show what a Set would change\n\n"
      "Judges a Set request as a server would, over the configuration in its data directory, and "
      "prints the difference. Changes nothing; a server may work on the directory meanwhile.");
  options->configuration.add_to(*command);
  command->add_flag("--dry-run", options->dry_run, "Commit nothing; there is no other way");
  command
      ->add_option("--request", options->file,
                   "File with the SetRequest, as protobuf text or JSON; - is standard input")
      ->required()
      ->type_name("FILE");
  command->add_option("--profile", options->profile, "Contract of the server (nexad --profile)")
      ->check(one_of({nexa::profile::kFullName, nexa::profile::kDeviceName}))
      ->type_name("full|device")
      ->capture_default_str();
  command->add_flag("--strict", options->strict, "As a server with --strict");
  command->footer(kSetExamples);
  command->callback([options, &session] { session.exit_status = run_set(*options, session); });
}

}  // namespace nexa_tool

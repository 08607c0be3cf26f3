// nexa check: the server's verdict on a whole request, before any path is resolved.
#include <memory>
#include <string>
#include <variant>

#include "commands.h"
#include "json_writer.h"
#include "option_checks.h"
#include "profile/request_check.h"
#include "request_file.h"
#include "status_output.h"
#include "translate/code_name.h"

namespace nexa_tool {
namespace {

constexpr char kCheckExamples[] = R"(REQUEST
  One message, as protobuf text or as JSON:
    path { elem { name: "interfaces" } } type: CONFIG encoding: JSON_IETF
    {"subscribe": {"subscription": [
      {"mode": "SAMPLE", "path": {"elem": [{"name": "a"}]}}]}}

EXAMPLES
  nexa check --request get.txtpb
  echo 'delete { elem { name: "interfaces" } }' |
    nexa check --request - --format json

EXIT STATUS
  0 accepted
  1 refused: "CODE_NAME: message" is on standard error, and the field below it
  2 wrong usage, or no request)";

struct CheckOptions {
  std::string file;
  std::string profile = nexa::profile::kFullName;
  std::string type;
  std::string format = "text";
};

struct Check {
  nexa::profile::Profile profile;

  nexa::profile::RequestVerdict operator()(gnmi::GetRequest& request) const {
    return nexa::profile::check_get(profile, request);
  }
  nexa::profile::RequestVerdict operator()(gnmi::SetRequest& request) const {
    return nexa::profile::check_set(profile, request);
  }
  nexa::profile::RequestVerdict operator()(gnmi::SubscribeRequest& request) const {
    return nexa::profile::check_subscribe(profile, request);
  }
};

std::string as_json(const char* type, const nexa::profile::RequestVerdict& verdict) {
  const JsonPtr object(cJSON_CreateObject());
  add_text(object.get(), "request", type);
  const grpc::StatusCode code = verdict.status.error_code();
  add_item(object.get(), "code", JsonPtr(cJSON_CreateNumber(static_cast<int>(code))));
  add_text(object.get(), "name", nexa::translate::code_name(code));
  add_text(object.get(), "message", verdict.status.error_message());
  if (!verdict.place.empty()) add_text(object.get(), "place", verdict.place);
  return to_text(object.get());
}

int run_check(const CheckOptions& options, Session& session) {
  std::string text;
  if (!read_input(options.file, text)) return kUsage;
  auto parsed = parse_request(text, options.type);
  if (!parsed.ok()) {
    report_failure(nexa::text::failure_at(options.file, parsed.failure()));
    return kUsage;
  }
  AnyRequest& request = parsed.value();
  const nexa::profile::Profile profile =
      nexa::profile::profile_of(options.profile).value_or(nexa::profile::Profile::kFull);
  const nexa::profile::RequestVerdict verdict = std::visit(Check{profile}, request);
  const std::string answer = options.format == "json" ? as_json(type_name(request), verdict)
                             : verdict.ok()           ? std::string("OK\n")
                                                      : std::string();
  if (!verdict.ok()) {
    report_refusal(verdict.status);
    if (!verdict.place.empty()) std::fprintf(stderr, "  in %s\n", verdict.place.c_str());
  }
  if (!session.output.write(answer)) return kRefused;
  return verdict.ok() ? kDone : kRefused;
}

}  // namespace

void add_check_command(CLI::App& app, Session& session) {
  const auto options = std::make_shared<CheckOptions>();
  CLI::App* command = app.add_subcommand("check");
  command->description(
      "Check a Get, Set or Subscribe request\n\n"
      "Runs the checks of a whole request that a server runs before it looks at its schema: "
      "options, encodings, names, keys and wildcards. Prints the verdict that a client would get.");
  command->add_option("--request", options->file, "File with the request; - is standard input")
      ->required()
      ->type_name("FILE");
  command
      ->add_option("--type", options->type,
                   "Kind of the request; found out from its fields if not given")
      ->check(one_of({"get", "set", "subscribe"}))
      ->type_name("get|set|subscribe");
  command->add_option("--profile", options->profile, "Contract of the server (nexad --profile)")
      ->check(one_of({nexa::profile::kFullName, nexa::profile::kDeviceName}))
      ->type_name("full|device")
      ->capture_default_str();
  command->add_option("--format", options->format, "Form of the answer")
      ->check(one_of({"text", "json"}))
      ->type_name("text|json")
      ->capture_default_str();
  command->footer(kCheckExamples);
  command->callback([options, &session] { session.exit_status = run_check(*options, session); });
}

}  // namespace nexa_tool

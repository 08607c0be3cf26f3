// nexa convert: one Set update, from path and value to configuration XML.
#include <memory>
#include <string>

#include "commands.h"
#include "option_checks.h"
#include "pretty_xml.h"
#include "raw_convert.h"
#include "schema_options.h"
#include "status_output.h"
#include "store/document_check.h"
#include "translate/path_string.h"
#include "translate/single_update.h"

namespace nexa_tool {
namespace {

constexpr char kConvertExamples[] = R"(PATH
  A gNMI path string: /module:name/list[key=value]/leaf. An element may leave
  its module out where one meaning is left, and may have the YANG prefix
  instead; with --raw the first element carries its module's name, and so does
  a later one of another module. In a key value "\" makes the next character
  literal: write "\]" and "\\". "/" is the whole tree; it takes --mode replace.

EXAMPLES
  An interface, its value on standard input:
    echo '{"type": "iana-if-type:ethernetCsmacd", "enabled": true}' |
      nexa convert -p /usr/share/yuma/nmda-modules/ietf \
        -p /usr/share/yuma/modules/ietf -m ietf-interfaces -m iana-if-type \
        --path '/ietf-interfaces:interfaces/interface[name=eth0]'

  One leaf, readable:
    echo '"core-1.example.net"' |
      nexa convert -p /usr/share/yuma/modules/ietf -m ietf-system \
        --path /ietf-system:system/hostname --pretty

  A whole tree from a file:
    nexa convert -p yang --path / --mode replace config.json

EXIT STATUS
  0 converted
  1 refused: "CODE_NAME: message" is on standard error
  2 wrong usage)";

struct ConvertOptions {
  SchemaOptions schema;
  std::string path;
  std::string mode = "update";
  std::string converter = "strict";
  std::string file = "-";
  std::string colour = "auto";
  bool pretty = false;
  bool raw = false;
  bool strict = false;
  bool explain = false;
};

bool wants_colour(const ConvertOptions& options, const ResultOutput& output) {
  return options.colour == "always" || (options.colour == "auto" && output.is_terminal());
}

grpc::Status convert_raw(const ConvertOptions& options, const gnmi::Path& path,
                         const std::string& value, nexa::ServiceKestrelNamespaceMapperImpl& mapper,
                         std::string& xml) {
  const bool is_simple = options.converter == "simple";
  return raw_convert(mapper, options.mode == "replace" ? nexa::REPLACE : nexa::UPDATE, path, value,
                     is_simple ? RawConverter::kSimple : RawConverter::kStrict, xml);
}

// What a store refuses of a document by itself: a node given twice, data of two cases of a choice,
// operational data.
grpc::Status check_document(const std::string& xml, const ConvertOptions& options,
                            const gnmi::Path& path) {
  const auto problem = nexa::store::judge_document(xml);
  if (!problem) return grpc::Status::OK;
  return {grpc::StatusCode::INVALID_ARGUMENT, options.mode + " of " +
                                                  nexa::translate::format_path_string(path) + ": " +
                                                  problem->failure().line()};
}

grpc::Status convert(const ConvertOptions& options, gnmi::Path path, std::string value,
                     nexa::ServiceKestrelNamespaceMapperImpl& mapper, std::string& xml) {
  using nexa::translate::Mode;
  using nexa::translate::Operation;
  const Mode mode = options.strict ? Mode::kStrict : Mode::kTolerant;
  const nexa::model::Schema schema;
  const nexa::model::Resolver resolver(schema, mode);
  nexa::translate::Translator translator(mapper, schema, mode);
  gnmi::Update update;
  *update.mutable_path() = std::move(path);
  update.mutable_val()->set_json_ietf_val(std::move(value));
  const Operation operation = options.mode == "replace" ? Operation::kReplace : Operation::kUpdate;
  nexa::translate::Translation result = nexa::translate::translate_update(
      resolver, translator, gnmi::Path(), update, operation, options.explain);
  for (const std::string& note : result.notes) std::fprintf(stderr, "note: %s\n", note.c_str());
  if (result.status.ok()) result.status = check_document(result.xml, options, update.path());
  xml = std::move(result.xml);
  return result.status;
}

int run_convert(const ConvertOptions& options, Session& session) {
  nexa::translate::PathStringError path_error;
  auto path = nexa::translate::parse_path_string(options.path, &path_error);
  if (!path) {
    std::fprintf(stderr, "INVALID_ARGUMENT: Malformed path: %s\n", path_error.text().c_str());
    return kRefused;
  }
  std::string value;
  if (!read_input(options.file, value)) return kUsage;
  const auto mapper = options.schema.load();
  if (mapper == nullptr) return kRefused;

  std::string xml;
  const grpc::Status status =
      options.raw ? convert_raw(options, *path, value, *mapper, xml)
                  : convert(options, std::move(*path), std::move(value), *mapper, xml);
  if (!status.ok()) {
    report_refusal(status);
    return kRefused;
  }
  if (options.pretty) xml = pretty_xml(xml, wants_colour(options, session.output));
  return session.output.write(xml) ? kDone : kRefused;
}

}  // namespace

void add_convert_command(CLI::App& app, Session& session) {
  const auto options = std::make_shared<ConvertOptions>();
  CLI::App* command = app.add_subcommand("convert");
  command->description(
      "Convert one Set update to configuration XML\n\n"
      "Converts the JSON_IETF value of one gNMI Set update to the configuration XML that a server "
      "would store. The XML document goes to standard output, and nothing else does.");
  command->add_option("--path", options->path, "Path of the update")->required()->type_name("PATH");
  options->schema.add_to(*command);
  command->add_option("--mode", options->mode, "Kind of the operation")
      ->check(one_of({"update", "replace"}))
      ->type_name("update|replace")
      ->capture_default_str();
  CLI::Option* strict =
      command->add_flag("--strict", options->strict, "Take what RFC 7951 allows and nothing else");
  CLI::Option* explain = command->add_flag(
      "--explain", options->explain,
      "Say on standard error what was done: names qualified, keys ordered, values protected");
  command
      ->add_flag("--raw", options->raw,
                 "The library's functions alone, which change some values and refuse others")
      ->excludes(strict)
      ->excludes(explain);
  command
      ->add_option_function<std::string>(
          "--converter",
          [options](const std::string& name) {
            options->converter = name;
            options->raw = true;
          },
          "Which of the library's two converters: strict says why it refuses a value; implies "
          "--raw")
      ->check(one_of({"strict", "simple"}))
      ->type_name("strict|simple")
      ->excludes(strict)
      ->excludes(explain);
  command->add_flag("--pretty", options->pretty, "Indent the XML, in colour on a terminal");
  command->add_option("--color", options->colour, "When --pretty is in colour")
      ->check(one_of({"auto", "always", "never"}))
      ->type_name("auto|always|never")
      ->capture_default_str();
  command->add_option("FILE", options->file, "File with the JSON_IETF value; - is standard input")
      ->capture_default_str();
  command->footer(kConvertExamples);
  command->callback([options, &session] { session.exit_status = run_convert(*options, session); });
}

}  // namespace nexa_tool

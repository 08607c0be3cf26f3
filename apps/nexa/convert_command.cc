// nexa convert: one Set update, from path and value to configuration XML.
#include <memory>
#include <string>

#include "commands.h"
#include "pretty_xml.h"
#include "schema_options.h"
#include "status_output.h"
#include "translate/compose.h"
#include "translate/path_string.h"

namespace nexa_tool {
namespace {

constexpr char kExamples[] = R"(PATH
  A gNMI path string: /module:name/list[key=value]/leaf. The first element carries its module's
  name, a later one where it belongs to another module. In a key value "\" makes the next character
  literal: write "\]" and "\\". "/" is the whole tree; it takes --mode replace.

EXAMPLES
  An interface, its value on standard input:
    echo '{"type": "iana-if-type:ethernetCsmacd", "enabled": true}' |
      nexa convert -p /usr/share/yuma/nmda-modules/ietf -p /usr/share/yuma/modules/ietf \
        -m ietf-interfaces -m iana-if-type --path '/ietf-interfaces:interfaces/interface[name=eth0]'

  One leaf, readable:
    echo '"core-1.example.net"' |
      nexa convert -p /usr/share/yuma/modules/ietf -m ietf-system \
        --path /ietf-system:system/hostname --pretty

  A whole tree from a file:
    nexa convert -p yang --path / --mode replace config.json

EXIT STATUS
  0 converted    1 refused: "CODE_NAME: message" is on standard error    2 wrong usage)";

struct Options {
  SchemaOptions schema;
  std::string path;
  std::string mode = "update";
  std::string converter = "strict";
  std::string file = "-";
  std::string colour = "auto";
  bool pretty = false;
};

bool wants_colour(const Options& options, const ResultOutput& output) {
  return options.colour == "always" || (options.colour == "auto" && output.is_terminal());
}

int run(const Options& options, Session& session) {
  nexa::host::ComposeRequest request;
  nexa::host::PathStringError path_error;
  auto path = nexa::host::parse_path_string(options.path, &path_error);
  if (!path) {
    std::fprintf(stderr, "INVALID_ARGUMENT: Malformed path: %s\n", path_error.text().c_str());
    return kRefused;
  }
  request.path = std::move(*path);
  request.mode = options.mode == "replace" ? nexa::REPLACE : nexa::UPDATE;
  request.converter = options.converter == "simple" ? nexa::host::Converter::kSimple
                                                    : nexa::host::Converter::kStrict;
  if (!read_input(options.file, request.value)) return kUsage;
  const auto mapper = options.schema.load();
  if (mapper == nullptr) return kRefused;

  std::string xml;
  const grpc::Status status = nexa::host::compose(*mapper, request, xml);
  if (!status.ok()) {
    report_refusal(status);
    return kRefused;
  }
  if (options.pretty) xml = pretty_xml(xml, wants_colour(options, session.output));
  return session.output.write(xml) ? kDone : kRefused;
}

}  // namespace

void add_convert_command(CLI::App& app, Session& session) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("convert", "Convert one Set update to configuration XML");
  command->description(
      "Converts the JSON_IETF value of one gNMI Set update to the configuration XML that a server "
      "would\n"
      "store. The XML document goes to standard output, and nothing else does.");
  command->add_option("--path", options->path, "Path of the update")->required()->type_name("PATH");
  options->schema.add_to(*command);
  command->add_option("--mode", options->mode, "Kind of the operation")
      ->check(CLI::IsMember({"update", "replace"}))
      ->type_name("update|replace")
      ->capture_default_str();
  command
      ->add_option("--converter", options->converter,
                   "Which of the library's two converters: strict says why it refuses a value")
      ->check(CLI::IsMember({"strict", "simple"}))
      ->type_name("strict|simple")
      ->capture_default_str();
  command->add_flag("--pretty", options->pretty, "Indent the XML, in colour on a terminal");
  command->add_option("--color", options->colour, "Colour of --pretty")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->type_name("auto|always|never")
      ->capture_default_str();
  command->add_option("FILE", options->file, "File with the JSON_IETF value; - is standard input")
      ->capture_default_str();
  command->footer(kExamples);
  command->callback([options, &session] { session.exit_status = run(*options, session); });
}

}  // namespace nexa_tool

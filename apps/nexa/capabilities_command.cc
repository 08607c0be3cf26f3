// nexa capabilities: the model data that a server with these modules announces.
#include <google/protobuf/util/json_util.h>

#include <algorithm>
#include <memory>
#include <string>

#include "commands.h"
#include "constraint_listing.h"
#include "option_checks.h"
#include "schema_options.h"

namespace nexa_tool {
namespace {

constexpr char kCapabilitiesExamples[] = R"(EXAMPLES
  nexa capabilities -p /usr/share/yuma/modules/ietf -m ietf-system
  nexa capabilities -p yang --format json
  nexa capabilities -p yang --constraints)";

struct CapabilitiesOptions {
  SchemaOptions schema;
  std::string format = "text";
  bool constraints = false;
};

gnmi::CapabilityResponse announced() {
  gnmi::CapabilityResponse response =
      nexa::ServiceKestrelNamespaceMapperImpl::cached_capability_response_;
  response.add_supported_encodings(gnmi::JSON);
  response.add_supported_encodings(gnmi::JSON_IETF);
  response.set_gnmi_version(
      gnmi::CapabilityResponse::descriptor()->file()->options().GetExtension(gnmi::gnmi_service));
  return response;
}

void append_column(const std::string& text, std::size_t width, std::string& out) {
  out.append(text).append(width - std::min(width, text.size()), ' ').append("  ");
}

std::string as_text(const gnmi::CapabilityResponse& response) {
  std::size_t name_width = sizeof "MODEL" - 1;
  std::size_t version_width = sizeof "VERSION" - 1;
  for (const gnmi::ModelData& model : response.supported_models()) {
    name_width = std::max(name_width, model.name().size());
    version_width = std::max(version_width, model.version().size());
  }
  std::string text;
  append_column("MODEL", name_width, text);
  append_column("VERSION", version_width, text);
  text.append("ORGANIZATION\n");
  for (const gnmi::ModelData& model : response.supported_models()) {
    append_column(model.name(), name_width, text);
    append_column(model.version(), version_width, text);
    // One line a model: an organization statement may have many.
    std::string organization = model.organization();
    organization.resize(std::min(organization.size(), organization.find('\n')));
    text.append(organization);
    text.erase(text.find_last_not_of(' ') + 1);
    text.push_back('\n');
  }
  text.append("\nencodings: JSON, JSON_IETF\ngNMI version: " + response.gnmi_version() + "\n");
  return text;
}

int run_capabilities(const CapabilitiesOptions& options, Session& session) {
  const auto mapper = options.schema.load();
  if (mapper == nullptr) return kRefused;
  if (options.constraints) {
    const bool is_text = options.format == "text";
    const std::string listing = is_text ? constraints_as_text() : constraints_as_json();
    return session.output.write(listing) ? kDone : kRefused;
  }
  const gnmi::CapabilityResponse response = announced();
  if (options.format == "text") return session.output.write(as_text(response)) ? kDone : kRefused;
  google::protobuf::util::JsonPrintOptions print;
  print.add_whitespace = true;
  print.preserve_proto_field_names = true;
  print.always_print_primitive_fields = true;
  std::string json;
  const auto status = google::protobuf::util::MessageToJsonString(response, &json, print);
  if (!status.ok()) {
    std::fprintf(stderr, "INTERNAL: %s\n", status.ToString().c_str());
    return kRefused;
  }
  return session.output.write(json) ? kDone : kRefused;
}

}  // namespace

void add_capabilities_command(CLI::App& app, Session& session) {
  const auto options = std::make_shared<CapabilitiesOptions>();
  CLI::App* command = app.add_subcommand("capabilities");
  command->description(
      "List the models of a set of YANG modules\n\n"
      "Lists the model data that a server with these modules announces in its Capabilities "
      "answer: "
      "module name, version (openconfig-version or the latest revision) and organization.");
  options->schema.add_to(*command);
  command->add_option("--format", options->format, "Form of the answer")
      ->check(one_of({"text", "json"}))
      ->type_name("text|json")
      ->capture_default_str();
  command->add_flag("--constraints", options->constraints,
                    "List instead the constraints that cost a validation of the whole tree: those "
                    "whose must, when or path can look at more nodes than its text names");
  command->footer(kCapabilitiesExamples);
  command->callback(
      [options, &session] { session.exit_status = run_capabilities(*options, session); });
}

}  // namespace nexa_tool

// nexa path: one path, between the forms in which clients and the configuration database write it.
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "commands.h"
#include "database_target.h"
#include "json_writer.h"
#include "option_checks.h"
#include "schema_options.h"
#include "status_output.h"
#include "translate/database_text.h"
#include "translate/path_string.h"

namespace nexa_tool {
namespace {

using nexa::model::Target;
using nexa::translate::OrderedPath;

constexpr char kPathExamples[] = R"(TEXT
  What the database writes: an xpath /oc-if:interfaces/interface[name='eth0'] or
  a keypath /oc-if:interfaces/interface{eth0}, key values in schema order, "\ "
  for a blank in a value. Names carry YANG prefixes; module names are understood
  too.

EXAMPLES
  nexa path -p yang "/oc-if:interfaces/interface[name='eth0']/config/mtu"
  nexa path -p yang '/oc-if:interfaces/interface{eth0}' --format json
  nexa path --to-xpath '/interfaces/interface[name=eth0]'
  nexa path -p yang \
    --to-keypath '/openconfig-interfaces:interfaces/interface[name=eth0]'

EXIT STATUS
  0 done
  1 refused: "CODE_NAME: message" is on standard error
  2 wrong usage)";

struct PathOptions {
  SchemaOptions schema;
  std::optional<std::string> text;
  std::optional<std::string> to_keypath;
  std::optional<std::string> to_xpath;
  std::string format = "text";
};

// The kinds of RFC 7950, and what tells two of a kind apart.
const char* kind_of(const kestrel_cs_node& node) {
  if (nexa::model::is_leaf_list(&node)) return "leaf-list";
  if (nexa::model::is_list(&node)) return node.keys != nullptr ? "list" : "list without keys";
  if (nexa::model::is_any_data(&node)) return "anydata";
  if (nexa::model::is_leaf(&node)) return "leaf";
  return (node.flags & KESTREL_FLAG_PRESENCE) != 0 ? "presence container" : "container";
}

const char* access_of(const kestrel_cs_node& node) {
  return nexa::model::is_state(&node) ? "state" : "config";
}

// An entry of a leaf-list is named by its value, which is no key of the schema.
std::vector<std::string> list_keys(const kestrel_cs_node& node) {
  return nexa::model::is_list(&node) ? key_names(node) : std::vector<std::string>();
}

std::string resolved_text(const Target& target) {
  std::string text = nexa::translate::format_path_string(external_path(target)) + "\n";
  for (const nexa::model::TargetNode* step : target.chain()) {
    const kestrel_cs_node& node = *step->node;
    text.append("  ").append(target.model->names().qualified(&node)).append("  ");
    text.append(kind_of(node)).append(", ").append(access_of(node));
    const char* before = ", keys: ";
    for (const std::string& key : list_keys(node)) {
      text.append(before).append(key);
      before = " ";
    }
    text.push_back('\n');
  }
  return text;
}

JsonPtr node_json(const kestrel_cs_node& node, const nexa::model::SchemaNames& names) {
  const KestrelNsEntry& module = *names.by_hash(node.ns);
  JsonPtr object(cJSON_CreateObject());
  add_text(object.get(), "module", module.module);
  add_text(object.get(), "prefix", module.prefix);
  add_text(object.get(), "namespace", module.uri);
  add_text(object.get(), "name", nexa::model::local_name(&node));
  add_text(object.get(), "kind", kind_of(node));
  add_text(object.get(), "access", access_of(node));
  JsonPtr keys(cJSON_CreateArray());
  for (const std::string& key : list_keys(node)) add_text(keys.get(), "", key);
  add_item(object.get(), "keys", std::move(keys));
  return object;
}

std::string resolved_json(const Target& target) {
  const JsonPtr answer(cJSON_CreateObject());
  const gnmi::Path external = external_path(target);
  add_text(answer.get(), "path", nexa::translate::format_path_string(external));
  JsonPtr elements(cJSON_CreateArray());
  const OrderedPath ordered = nexa::translate::in_byte_order(external);
  const std::vector<const nexa::model::TargetNode*> nodes = target.chain();
  for (std::size_t i = 0; i < ordered.size(); ++i) {
    JsonPtr element(cJSON_CreateObject());
    add_text(element.get(), "name", ordered[i].name);
    JsonPtr keys(cJSON_CreateObject());
    for (const auto& [key, value] : ordered[i].keys) add_text(keys.get(), key.c_str(), value);
    add_item(element.get(), "key", std::move(keys));
    add_item(element.get(), "node", node_json(*nodes[i]->node, target.model->names()));
    add_item(elements.get(), "", std::move(element));
  }
  add_item(answer.get(), "elem", std::move(elements));
  return to_text(answer.get());
}

int refuse(const grpc::Status& status) {
  report_refusal(status);
  return kRefused;
}

int resolve(const PathOptions& options, Session& session) {
  const auto mapper = options.schema.load();
  if (mapper == nullptr) return kRefused;
  const nexa::model::Schema schema;
  const nexa::model::Resolver resolver(schema);
  Target target;
  const grpc::Status status = resolve_database_text(*options.text, *mapper, resolver, target);
  if (!status.ok()) return refuse(status);
  const std::string answer =
      options.format == "json" ? resolved_json(target) : resolved_text(target);
  return session.output.write(answer) ? kDone : kRefused;
}

// Without a schema the names stay as they are and keys come in byte order.
int convert(const PathOptions& options, Session& session) {
  const bool keypath = options.to_keypath.has_value();
  nexa::translate::PathStringError error;
  const auto path =
      nexa::translate::parse_path_string(keypath ? *options.to_keypath : *options.to_xpath, &error);
  if (!path) return refuse({grpc::StatusCode::INVALID_ARGUMENT, "Malformed path: " + error.text()});

  OrderedPath ordered;
  if (options.schema.search_dirs.empty()) {
    ordered = nexa::translate::in_byte_order(*path);
  } else {
    if (options.schema.load() == nullptr) return kRefused;
    const nexa::model::Schema schema;
    const nexa::model::Resolver resolver(schema);
    Target target;
    const grpc::Status status = resolve_client_path(*path, resolver, target);
    if (!status.ok()) return refuse(status);
    ordered = database_path(target);
  }
  std::string text;
  if (keypath) {
    text = nexa::translate::format_keypath(ordered);
  } else {
    const grpc::Status status = nexa::translate::format_xpath(ordered, text);
    if (!status.ok()) return refuse(status);
  }
  if (options.format == "text") return session.output.write(text + "\n") ? kDone : kRefused;
  const JsonPtr answer(cJSON_CreateObject());
  add_text(answer.get(), keypath ? "keypath" : "xpath", text);
  return session.output.write(to_text(answer.get())) ? kDone : kRefused;
}

int wrong_usage(const char* problem) {
  std::fprintf(stderr, "nexa: path: %s\n", problem);
  return kUsage;
}

int run_path(const PathOptions& options, Session& session) {
  const int forms = static_cast<int>(options.text.has_value()) +
                    static_cast<int>(options.to_keypath.has_value()) +
                    static_cast<int>(options.to_xpath.has_value());
  if (forms != 1) return wrong_usage("give one of TEXT, --to-keypath and --to-xpath");
  if (!options.text) return convert(options, session);
  if (options.schema.search_dirs.empty()) return wrong_usage("TEXT needs --yang-dir");
  return resolve(options, session);
}

}  // namespace

void add_path_command(CLI::App& app, Session& session) {
  const auto options = std::make_shared<PathOptions>();
  CLI::App* command = app.add_subcommand("path");
  command->description(
      "Convert a path between its forms\n\n"
      "Resolves a path that the configuration database wrote to the gNMI path in RFC 7951 names "
      "and its schema nodes; or writes a gNMI path as the database does. With --yang-dir the "
      "written path has YANG prefixes and its keys stand in schema order; without, names stay and "
      "keys are sorted.");
  command->add_option("TEXT", options->text, "Path as the database writes it")->type_name("");
  command->add_option("--to-keypath", options->to_keypath, "Write this gNMI path as a keypath")
      ->type_name("PATH");
  command->add_option("--to-xpath", options->to_xpath, "Write this gNMI path as an xpath")
      ->type_name("PATH");
  options->schema.add_to(*command, false);
  command->add_option("--format", options->format, "Form of the answer")
      ->check(one_of({"text", "json"}))
      ->type_name("text|json")
      ->capture_default_str();
  command->footer(kPathExamples);
  command->callback([options, &session] { session.exit_status = run_path(*options, session); });
}

}  // namespace nexa_tool

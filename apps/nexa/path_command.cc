// nexa path: one path, between the forms in which clients and the configuration database write it.
#include <boost/variant.hpp>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "commands.h"
#include "json_writer.h"
#include "option_checks.h"
#include "schema_options.h"
#include "status_output.h"
#include "translate/database_path.h"
#include "translate/database_text.h"
#include "translate/path_string.h"

namespace nexa_tool {
namespace {

using gnmi::rfc7951::SchemaEnums;
using nexa::translate::OrderedPath;
using nexa::translate::ResolvedPath;
using nexa::translate::Snode;

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

const char* kind_name(SchemaEnums::NODE_KIND kind) {
  switch (kind) {
    case SchemaEnums::kContainer:
      return "container";
    case SchemaEnums::kChoice:
      return "choice";
    case SchemaEnums::kPresenceContainer:
      return "presence container";
    case SchemaEnums::kCase:
      return "case";
    case SchemaEnums::kKeyedList:
      return "list";
    case SchemaEnums::kKeylessList:
      return "list without keys";
    case SchemaEnums::kLeafList:
      return "leaf-list";
    case SchemaEnums::kAnyData:
      return "anydata";
  }
  return "node";
}

struct KindName : boost::static_visitor<const char*> {
  template <typename Children>
  const char* operator()(const std::pair<SchemaEnums::NODE_KIND, Children>& interior) const {
    return kind_name(interior.first);
  }
  template <typename Type>
  const char* operator()(const std::pair<SchemaEnums::LEAF_KIND, Type>& /*leaf*/) const {
    return "leaf";
  }
};

const char* kind_of(const Snode& snode) {
  return boost::apply_visitor(KindName(), *snode.nodeVariant);
}

const char* access_of(const Snode& snode) {
  return (snode.node->flags & KESTREL_FLAG_STATE) != 0 ? "state" : "config";
}

std::string keys_of(const Snode& snode) {
  std::string text;
  if ((snode.node->flags & KESTREL_FLAG_LEAF_LIST) != 0) return text;
  for (const std::string& key : nexa::translate::key_names(*snode.node)) {
    text.append(text.empty() ? "" : " ").append(key);
  }
  return text;
}

std::string resolved_text(const ResolvedPath& path,
                          const nexa::ServiceKestrelNamespaceMapperImpl& mapper) {
  std::string text = nexa::translate::format_path_string(path.external) + "\n";
  for (const auto& node : path.nodes) {
    text.append("  ").append(mapper.moduleNamePrefixFromNs_(node->ns)).append(":");
    text.append(node->name).append("  ").append(kind_of(*node)).append(", ");
    text.append(access_of(*node));
    const std::string keys = keys_of(*node);
    if (!keys.empty()) text.append(", keys: ").append(keys);
    text.push_back('\n');
  }
  return text;
}

JsonPtr node_json(const Snode& node, const nexa::ServiceKestrelNamespaceMapperImpl& mapper) {
  JsonPtr object(cJSON_CreateObject());
  add_text(object.get(), "module", mapper.moduleNamePrefixFromNs_(node.ns));
  add_text(object.get(), "prefix", mapper.ympPrefixFromNs_(node.ns));
  add_text(object.get(), "namespace", node.ns);
  add_text(object.get(), "name", node.name);
  add_text(object.get(), "kind", kind_of(node));
  add_text(object.get(), "access", access_of(node));
  JsonPtr keys(cJSON_CreateArray());
  if ((node.node->flags & KESTREL_FLAG_LEAF_LIST) == 0) {
    for (const std::string& key : nexa::translate::key_names(*node.node))
      add_text(keys.get(), "", key);
  }
  add_item(object.get(), "keys", std::move(keys));
  return object;
}

std::string resolved_json(const ResolvedPath& path,
                          const nexa::ServiceKestrelNamespaceMapperImpl& mapper) {
  const JsonPtr answer(cJSON_CreateObject());
  add_text(answer.get(), "path", nexa::translate::format_path_string(path.external));
  JsonPtr elements(cJSON_CreateArray());
  const OrderedPath ordered = nexa::translate::in_byte_order(path.external);
  for (std::size_t i = 0; i < ordered.size(); ++i) {
    JsonPtr element(cJSON_CreateObject());
    add_text(element.get(), "name", ordered[i].name);
    JsonPtr keys(cJSON_CreateObject());
    for (const auto& [key, value] : ordered[i].keys) add_text(keys.get(), key.c_str(), value);
    add_item(element.get(), "key", std::move(keys));
    add_item(element.get(), "node", node_json(*path.nodes[i], mapper));
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
  ResolvedPath resolved;
  const grpc::Status status =
      nexa::translate::resolve_database_text(*options.text, mapper->newToken(), resolved);
  if (!status.ok()) return refuse(status);
  const std::string answer = options.format == "json" ? resolved_json(resolved, *mapper)
                                                      : resolved_text(resolved, *mapper);
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
    const auto mapper = options.schema.load();
    if (mapper == nullptr) return kRefused;
    const grpc::Status status =
        nexa::translate::to_database_path(*path, mapper->newToken(), ordered);
    if (!status.ok()) return refuse(status);
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

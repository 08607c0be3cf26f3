// A keypath names no keys, so the names of its elements are resolved first; their nodes say which
// keys the values belong to.
#include "database_target.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "nexa/xpath_parser.h"

namespace nexa_tool {
namespace {

using nexa::model::Purpose;
using nexa::model::Resolver;
using nexa::model::Target;
using nexa::model::TargetKey;
using nexa::model::TargetNode;
using nexa::translate::OrderedElement;
using nexa::translate::OrderedPath;

constexpr char kWildcard[] = "*";
constexpr char kEntryValue[] = ".";  // what a leaf-list has for a key's name

grpc::Status unusable(std::string message) {
  return {grpc::StatusCode::INVALID_ARGUMENT, std::move(message)};
}

grpc::Status resolve(const gnmi::Path& path, const Resolver& resolver, Target& target) {
  auto result = resolver.resolve(gnmi::Path(), path, Purpose::kRead);
  if (!result.ok()) return result.failure().status();
  target = std::move(result.value());
  for (const nexa::model::TargetStep& step : target.steps) {
    if (step.kind != nexa::model::TargetStep::Kind::kName) {
      return unusable("A wildcard in place of a name is no node of the schema");
    }
  }
  return grpc::Status::OK;
}

grpc::Status parse_xpath(const std::string& text, nexa::ServiceKestrelNamespaceMapperImpl& mapper,
                         gnmi::Path& path) {
  const std::shared_ptr<nexa::Rfc7951MapperToken> token = mapper.newToken();
  nexa::XpathParser parser(*token);
  parser.input_ = text;
  if (!parser.parse()) {
    return unusable("Malformed path text \"" + text + "\" at byte " +
                    std::to_string(parser.position_));
  }
  path = std::move(parser.gPath);
  return grpc::Status::OK;
}

grpc::Status name_keys(const kestrel_cs_node& node, const OrderedElement& element,
                       gnmi::PathElem& named) {
  const std::vector<std::string> names = key_names(node);
  if (element.keys.empty()) return grpc::Status::OK;
  if (names.size() != element.keys.size()) {
    return unusable("Element \"" + element.name + "\": " + std::to_string(element.keys.size()) +
                    " key values given, the schema has " + std::to_string(names.size()));
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    (*named.mutable_key())[names[i]] = element.keys[i].second;
  }
  return grpc::Status::OK;
}

grpc::Status parse_keypath(const std::string& text, const Resolver& resolver, gnmi::Path& path) {
  nexa::translate::PathStringError error;
  const std::optional<OrderedPath> parsed = nexa::translate::parse_keypath(text, &error);
  if (!parsed) return unusable("Malformed path text \"" + text + "\": " + error.text());
  for (const OrderedElement& element : *parsed) path.add_elem()->set_name(element.name);
  Target nodes;
  grpc::Status status = resolve(path, resolver, nodes);
  for (std::size_t i = 0; status.ok() && i < parsed->size(); ++i) {
    const TargetNode& node = nodes.steps[i].nodes.front();
    status = name_keys(*node.node, (*parsed)[i], *path.mutable_elem(static_cast<int>(i)));
  }
  return status;
}

// The node's name, behind `module` and a colon at the top and where the module changes.
std::string name_of(const kestrel_cs_node& node, const char* module) {
  const bool is_same = node.parent != nullptr && node.parent->ns == node.ns;
  const std::string name = nexa::model::local_name(&node);
  return is_same ? name : std::string(module) + ":" + name;
}

std::string name_of(const TargetKey& key) {
  return nexa::model::is_leaf_list(key.node) ? kEntryValue : nexa::model::local_name(key.node);
}

const KestrelNsEntry& module_of(const Target& target, const kestrel_cs_node& node) {
  return *target.model->names().by_hash(node.ns);
}

}  // namespace

std::vector<std::string> key_names(const kestrel_cs_node& node) {
  if (nexa::model::is_leaf_list(&node)) return {kEntryValue};
  std::vector<std::string> names;
  for (const std::uint32_t* tag = node.keys; tag != nullptr && *tag != 0; ++tag) {
    names.emplace_back(kestrel_hash2str(*tag));
  }
  return names;
}

grpc::Status resolve_database_text(const std::string& text,
                                   nexa::ServiceKestrelNamespaceMapperImpl& mapper,
                                   const Resolver& resolver, Target& target) {
  gnmi::Path path;
  grpc::Status status = nexa::translate::is_keypath(text) ? parse_keypath(text, resolver, path)
                                                          : parse_xpath(text, mapper, path);
  return status.ok() ? resolve(path, resolver, target) : status;
}

grpc::Status resolve_client_path(const gnmi::Path& path, const Resolver& resolver, Target& target) {
  grpc::Status status = resolve(path, resolver, target);
  if (!status.ok()) return status;
  for (const TargetNode* node : target.chain()) {
    if (node->keys.empty()) continue;
    for (const std::string& name : key_names(*node->node)) {
      const bool is_given =
          std::any_of(node->keys.begin(), node->keys.end(),
                      [&name](const TargetKey& key) { return name == name_of(key); });
      if (!is_given) {
        return unusable("Element \"" + std::string(nexa::model::local_name(node->node)) +
                        "\" lacks the key \"" + name + "\"");
      }
    }
  }
  return grpc::Status::OK;
}

gnmi::Path external_path(const Target& target) {
  gnmi::Path path;
  for (const TargetNode* node : target.chain()) {
    gnmi::PathElem& element = *path.add_elem();
    element.set_name(name_of(*node->node, module_of(target, *node->node).module));
    for (const TargetKey& key : node->keys) {
      (*element.mutable_key())[name_of(key)] = key.any ? kWildcard : key.canonical;
    }
  }
  return path;
}

OrderedPath database_path(const Target& target) {
  OrderedPath path;
  for (const TargetNode* node : target.chain()) {
    OrderedElement& element = path.emplace_back();
    element.name = name_of(*node->node, module_of(target, *node->node).prefix);
    for (const TargetKey& key : node->keys) {
      element.keys.emplace_back(name_of(key), key.any ? kWildcard : key.text());
    }
  }
  return path;
}

}  // namespace nexa_tool

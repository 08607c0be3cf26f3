// A keypath names no keys, so its elements are resolved first and given the key names of their
// node.
#include "translate/database_path.h"

#include <algorithm>
#include <utility>

#include "nexa/xpath_parser.h"

namespace nexa::translate {
namespace {

using gnmi::rfc7951::KcnPathPointer;

grpc::Status invalid(std::string message) {
  return {grpc::StatusCode::INVALID_ARGUMENT, std::move(message)};
}

// Resolves one element after the other.
class Digestion {
 public:
  Digestion(const std::shared_ptr<Rfc7951MapperToken>& token, ResolvedPath& resolved)
      : token_(token), resolved_(resolved) {}

  grpc::Status add(const gnmi::PathElem& element) {
    gnmi::PathElem* external = resolved_.external.add_elem();
    const KcnPathPointer before = pointer_;
    grpc::Status status = digest_(element, *external);
    // A cached node of another parent may pass for this one's child where names repeat below each
    // other; the schema itself does not err.
    if (status.ok() && !resolved_.nodes.empty() && !follows_(before, element)) {
      token_->schemaif()->snodeCache_.clear();
      pointer_ = before;
      external->Clear();
      status = digest_(element, *external);
    }
    if (status.ok()) resolved_.nodes.push_back(pointer_.snode);
    return status;
  }

 private:
  grpc::Status digest_(const gnmi::PathElem& element, gnmi::PathElem& external) {
    return token_->digestPathElement(token_->schemaifPtr(), element, external, pointer_.index + 1,
                                     pointer_);
  }

  // Whether the current node is the child that `element` names below the node before.
  bool follows_(const KcnPathPointer& before, const gnmi::PathElem& element) const {
    std::string external;
    std::string ns;
    std::string bare;
    static_cast<void>(token_->externalizeExplodeName(element.name(), external, ns, bare));
    const std::string& wanted = ns.empty() ? before.snode->ns : ns;
    return pointer_.snode->node->parent == before.snode->node && pointer_.snode->ns == wanted;
  }

  std::shared_ptr<Rfc7951MapperToken> token_;
  ResolvedPath& resolved_;
  KcnPathPointer pointer_;
};

grpc::Status parse_xpath(const std::string& text, Rfc7951MapperToken& token, gnmi::Path& path) {
  XpathParser parser(token);
  parser.input_ = text;
  if (!parser.parse()) {
    return invalid("Malformed path text \"" + text + "\" at byte " +
                   std::to_string(parser.position_));
  }
  path = std::move(parser.gPath);
  return grpc::Status::OK;
}

std::string_view without_prefix(std::string_view name) {
  return name.substr(name.find(':') + 1);  // npos + 1 is 0
}

// Writes the key names into `element`, whose values stand in schema order.
grpc::Status name_keys(const kestrel_cs_node& node, OrderedElement& element) {
  if (element.keys.empty()) return grpc::Status::OK;
  const std::vector<std::string> names = key_names(node);
  if (names.size() != element.keys.size()) {
    return invalid("Element \"" + element.name + "\": " + std::to_string(element.keys.size()) +
                   " key values given, the schema has " + std::to_string(names.size()));
  }
  for (std::size_t i = 0; i < names.size(); ++i) element.keys[i].first = names[i];
  return grpc::Status::OK;
}

// Whether each key of `element` is one of its list's; some may be missing.
grpc::Status know_keys(const kestrel_cs_node& node, const gnmi::PathElem& element) {
  const std::vector<std::string> names = key_names(node);
  for (const auto& [key, value] : element.key()) {
    if (std::find(names.begin(), names.end(), without_prefix(key)) == names.end()) {
      return invalid("Element \"" + element.name() + "\" has no key \"" + key + "\"");
    }
  }
  return grpc::Status::OK;
}

// Puts the keys of `element` into schema order; none may be missing or unknown.
grpc::Status order_keys(const kestrel_cs_node& node, const gnmi::PathElem& element,
                        OrderedElement& ordered) {
  if (element.key_size() == 0) return grpc::Status::OK;
  grpc::Status known = know_keys(node, element);
  if (!known.ok()) return known;
  for (const std::string& name : key_names(node)) {
    const auto given =
        std::find_if(element.key().begin(), element.key().end(),
                     [&name](const auto& key) { return without_prefix(key.first) == name; });
    if (given == element.key().end()) {
      return invalid("Element \"" + element.name() + "\" lacks the key \"" + name + "\"");
    }
    ordered.keys.emplace_back(given->first, given->second);
  }
  return grpc::Status::OK;
}

grpc::Status resolve_keypath(const std::string& text, Digestion& digestion,
                             ResolvedPath& resolved) {
  PathStringError error;
  std::optional<OrderedPath> path = parse_keypath(text, &error);
  if (!path) return invalid("Malformed path text \"" + text + "\": " + error.text());
  for (OrderedElement& element : *path) {
    gnmi::PathElem name_only;
    name_only.set_name(element.name);
    grpc::Status status = digestion.add(name_only);
    if (status.ok()) status = name_keys(*resolved.nodes.back()->node, element);
    if (!status.ok()) return status;
    gnmi::PathElem& external = *resolved.external.mutable_elem()->rbegin();
    external.mutable_key()->insert(element.keys.begin(), element.keys.end());
  }
  return grpc::Status::OK;
}

grpc::Status resolve_xpath(const std::string& text, Rfc7951MapperToken& token, Digestion& digestion,
                           const ResolvedPath& resolved) {
  gnmi::Path path;
  grpc::Status status = parse_xpath(text, token, path);
  if (!status.ok()) return status;
  for (const gnmi::PathElem& element : path.elem()) {
    status = digestion.add(element);
    if (status.ok()) status = know_keys(*resolved.nodes.back()->node, element);
    if (!status.ok()) return status;
  }
  return grpc::Status::OK;
}

}  // namespace

std::vector<std::string> key_names(const kestrel_cs_node& node) {
  if ((node.flags & KESTREL_FLAG_LEAF_LIST) != 0) return {"."};
  std::vector<std::string> names;
  for (const std::uint32_t* tag = node.keys; tag != nullptr && *tag != 0; ++tag) {
    names.emplace_back(kestrel_hash2str(*tag));
  }
  return names;
}

grpc::Status resolve_database_text(const std::string& text,
                                   const std::shared_ptr<Rfc7951MapperToken>& token,
                                   ResolvedPath& resolved) {
  Digestion digestion(token, resolved);
  return is_keypath(text) ? resolve_keypath(text, digestion, resolved)
                          : resolve_xpath(text, *token, digestion, resolved);
}

grpc::Status to_database_path(const gnmi::Path& external,
                              const std::shared_ptr<Rfc7951MapperToken>& token,
                              OrderedPath& internal) {
  gnmi::Path path;
  grpc::Status status = token->internalizePath(external, path);
  if (!status.ok()) return status;
  ResolvedPath resolved;
  Digestion digestion(token, resolved);
  for (const gnmi::PathElem& element : path.elem()) {
    status = digestion.add(element);
    if (!status.ok()) return status;
    OrderedElement& added = internal.emplace_back();
    added.name = element.name();
    status = order_keys(*resolved.nodes.back()->node, element, added);
    if (!status.ok()) return status;
  }
  return grpc::Status::OK;
}

}  // namespace nexa::translate

// Translation of names, values and paths between module names and declared prefixes. Works on the
// mapper's maps alone; which schema node a name means is not decided here.
#include <grpc/support/log.h>

#include <utility>

#include "gnmi/gnmi_base_namespace_mapper.h"
#include "gnmi/gnmi_rpc_msg_helpers.h"

namespace gnmi {
namespace {

grpc::Status refuse(const char* what, const std::string& name) {
  std::string message = std::string(what) + " [ " + name + " ]";
  gpr_log(GPR_DEBUG, "%s", message.c_str());
  return {grpc::StatusCode::INVALID_ARGUMENT, message};
}

// Writes `prefix` and the rest of `name` from its colon on.
void join(const std::string& prefix, const std::string& name, std::size_t colon, std::string& out) {
  out.clear();
  out.reserve(prefix.size() + name.size() - colon);
  out.append(prefix).append(name, colon, std::string::npos);
}

}  // namespace

using Token = BaseNamespaceMapper::BaseMapperToken;

Token::BaseMapperToken(const BaseNamespaceMapper* mapper, Origin origin)
    : origin_index_(static_cast<std::uint32_t>(origin)), mapper_(mapper) {}
Token::~BaseMapperToken() = default;

grpc::Status Token::internalizeVName(const std::string& name, std::string& prefix,
                                     std::string& bare, std::string& ns) {
  std::string module;
  RpcMsgHelpers::extract_prefix(name, module, bare);
  if (module.empty()) module = ORIGIN_OPENCONFIG_STR + "-" + bare;
  prefix = mapper_->ympPrefixFromModuleNamePrefix_(module);
  ns = mapper_->nsFromYmpPrefix_(prefix);
  if (!prefix.empty() && !ns.empty()) return grpc::Status::OK;
  prefix.clear();
  bare.clear();
  ns.clear();
  return refuse("Unknown module in top-level member", name);
}

grpc::Status Token::internalizeEName(const std::string& name, std::string& out, EN_ARG /*kind*/,
                                     int /*flags*/) {
  const std::size_t colon = name.find(':');
  if (colon == std::string::npos) {
    out = name;
    return grpc::Status::OK;
  }
  const auto found = mapper_->ympPrefixByModuleName_.find(name.substr(0, colon));
  if (found == mapper_->ympPrefixByModuleName_.end()) {
    out = name;
    return refuse("Unknown module in name", name);
  }
  join(found->second, name, colon, out);
  return grpc::Status::OK;
}

grpc::Status Token::externalizeEName(const std::string& name, std::string& out, EN_ARG /*kind*/,
                                     int /*flags*/) {
  const std::size_t colon = name.find(':');
  if (colon == std::string::npos) {
    out = name;
    return grpc::Status::OK;
  }
  const std::string prefix = name.substr(0, colon);
  const auto module = mapper_->moduleNameByYmpPrefix_.find(prefix);
  if (module != mapper_->moduleNameByYmpPrefix_.end()) {
    join(module->second, name, colon, out);
    return grpc::Status::OK;
  }
  // A client's own path comes with module names already, perhaps in lower case.
  const auto ns = mapper_->nsByModuleName_.find(prefix);
  if (ns != mapper_->nsByModuleName_.end()) {
    const auto spelling = mapper_->moduleNameByNs_.find(ns->second);
    join(spelling != mapper_->moduleNameByNs_.end() ? spelling->second : prefix, name, colon, out);
    return grpc::Status::OK;
  }
  out = name;
  return refuse("Unknown prefix in name", name);
}

grpc::Status Token::externalizeExplodeName(const std::string& name, std::string& external,
                                           std::string& ns, std::string& bare) {
  const std::size_t colon = name.find(':');
  if (colon == std::string::npos) {
    external = name;
    bare = name;
    ns.clear();
    return grpc::Status::OK;
  }
  grpc::Status status = externalizeEName(name, external, EN_ARG_ELEMENT, 0);
  if (!status.ok()) return status;
  const std::string prefix = name.substr(0, colon);
  bare.assign(name, colon + 1, std::string::npos);
  const auto found = mapper_->nsByYmpPrefix_.find(prefix);
  ns = found != mapper_->nsByYmpPrefix_.end() ? found->second
                                              : mapper_->nsFromModuleNamePrefix_(prefix);
  return grpc::Status::OK;
}

grpc::Status Token::internalizeExplodeValue(const std::string& value, std::string& prefix,
                                            std::string& value_no_prefix, std::string& ns,
                                            std::string& value_with_prefix, int /*flags*/) {
  prefix.clear();
  ns.clear();
  value_no_prefix = value;
  value_with_prefix = value;
  const std::size_t colon = value.find(':');
  if (colon == std::string::npos) return grpc::Status::OK;
  const std::string module = value.substr(0, colon);
  const auto found = mapper_->ympPrefixByModuleName_.find(module);
  if (found == mapper_->ympPrefixByModuleName_.end()) return grpc::Status::OK;
  std::string uri = mapper_->nsFromYmpPrefix_(found->second);
  if (uri.empty()) {
    std::string message = "Module without namespace [ " + module + " ]";
    gpr_log(GPR_DEBUG, "%s", message.c_str());
    return {grpc::StatusCode::INTERNAL, message};
  }
  // A pseudo module name stands for nodes; no value is qualified by it.
  if (mapper_->nsByModuleName_.count(module) == 0) return grpc::Status::OK;
  prefix = found->second;
  ns = std::move(uri);
  value_no_prefix.erase(0, colon + 1);
  value_with_prefix.replace(0, colon, prefix);
  return grpc::Status::OK;
}

std::string Token::pseudoPrefix_(std::string name, std::string root_prefix, int depth) const {
  const std::string pseudo =
      depth == 0 ? ORIGIN_OPENCONFIG_STR + "-" + name
                 : pseudoModuleName(ORIGIN_OPENCONFIG_STR, name, root_prefix, depth);
  return mapper_->ympPrefixFromModuleNamePrefix_(pseudo);
}

grpc::Status Token::internalizeKeys_(const gnmi::PathElem& in, gnmi::PathElem& out,
                                     std::string& failed) {
  std::string name;
  for (const auto& [key, value] : in.key()) {
    failed = key;
    grpc::Status status = internalizeEName(key, name, EN_ARG_ELEMENT, 0);
    if (!status.ok()) return status;
    (*out.mutable_key())[name] = value;
  }
  return grpc::Status::OK;
}

grpc::Status Token::internalizePath(const gnmi::Path& in, gnmi::Path& out) {
  const bool complete = meansOpenconfig(in);
  gnmi::Path internal;
  internal.set_origin(in.origin());
  internal.set_target(in.target());
  std::string root_prefix;
  for (int index = 0; index < in.elem_size(); ++index) {
    const gnmi::PathElem& element = in.elem(index);
    gnmi::PathElem* added = internal.add_elem();
    std::string failed = element.name();
    grpc::Status status =
        internalizeEName(element.name(), *added->mutable_name(), EN_ARG_ELEMENT, 0);
    if (status.ok()) status = internalizeKeys_(element, *added, failed);
    if (!status.ok()) {
      out.Clear();
      return {grpc::StatusCode::INVALID_ARGUMENT,
              "Unknown module [ " + failed.substr(0, failed.find(':')) + " ] in path element [ " +
                  element.name() + " ]"};
    }
    std::size_t colon = added->name().find(':');
    if (colon == std::string::npos && complete) {
      const std::string prefix = pseudoPrefix_(element.name(), root_prefix, index);
      if (prefix.empty()) continue;
      added->set_name(prefix + ":" + element.name());
      colon = prefix.size();
    }
    if (index == 0 && colon != std::string::npos) root_prefix = added->name().substr(0, colon);
  }
  out = std::move(internal);
  return grpc::Status::OK;
}

}  // namespace gnmi

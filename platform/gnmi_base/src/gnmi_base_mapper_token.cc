// Translation of names, values and paths between module names and declared prefixes. Works on the
// mapper's maps alone; which schema node a name means is not decided here.
#include <grpc/support/log.h>

#include "gnmi/gnmi_base_namespace_mapper.h"
#include "gnmi/gnmi_rpc_msg_helpers.h"

namespace gnmi {
namespace {

grpc::Status refuse(const char* what, const std::string& name) {
  std::string message = std::string(what) + " [ " + name + " ]";
  gpr_log(GPR_DEBUG, "%s", message.c_str());
  return {grpc::StatusCode::INVALID_ARGUMENT, message};
}

}  // namespace

using Token = BaseNamespaceMapper::BaseMapperToken;

Token::BaseMapperToken(const BaseNamespaceMapper* mapper, Origin origin)
    : origin_index_(static_cast<std::uint32_t>(origin)), mapper_(mapper) {}
Token::~BaseMapperToken() = default;

grpc::Status Token::internalizeVName(const std::string& name, std::string& prefix, std::string& bare,
                                     std::string& ns) {
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
  out = found->second + name.substr(colon);
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
  const auto found = mapper_->moduleNameByYmpPrefix_.find(prefix);
  if (found != mapper_->moduleNameByYmpPrefix_.end()) {
    out = found->second + name.substr(colon);
    return grpc::Status::OK;
  }
  out = name;
  // A client's own path comes with module names already.
  if (mapper_->nsByModuleName_.count(prefix) != 0) return grpc::Status::OK;
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
  bare = name.substr(colon + 1);
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
  const auto found = mapper_->ympPrefixByModuleName_.find(value.substr(0, colon));
  if (found == mapper_->ympPrefixByModuleName_.end()) return grpc::Status::OK;
  std::string uri = mapper_->nsFromYmpPrefix_(found->second);
  if (uri.empty()) {
    std::string message = "Module without namespace [ " + value.substr(0, colon) + " ]";
    gpr_log(GPR_DEBUG, "%s", message.c_str());
    return {grpc::StatusCode::INTERNAL, message};
  }
  prefix = found->second;
  ns = std::move(uri);
  value_no_prefix.erase(0, colon + 1);
  value_with_prefix.replace(0, colon, prefix);
  return grpc::Status::OK;
}

grpc::Status Token::internalizePath(const gnmi::Path& in, gnmi::Path& out) {
  out.Clear();
  out.set_origin(in.origin());
  out.set_target(in.target());
  std::string root_prefix;
  for (int index = 0; index < in.elem_size(); ++index) {
    const gnmi::PathElem& element = in.elem(index);
    gnmi::PathElem* added = out.add_elem();
    std::string name = element.name();
    grpc::Status status = internalizeEName(name, *added->mutable_name(), EN_ARG_ELEMENT, 0);
    if (status.ok() && name.find(':') == std::string::npos) {
      const std::string pseudo =
          index == 0 ? ORIGIN_OPENCONFIG_STR + "-" + name
                     : pseudoModuleName(ORIGIN_OPENCONFIG_STR, name, root_prefix, index);
      const std::string prefix = mapper_->ympPrefixFromModuleNamePrefix_(pseudo);
      if (!prefix.empty()) added->set_name(prefix + ":" + name);
    }
    if (index == 0) root_prefix = added->name().substr(0, added->name().find(':'));
    std::string failed = name;
    std::string key_name;
    for (auto key = element.key().begin(); status.ok() && key != element.key().end(); ++key) {
      failed = key->first;
      status = internalizeEName(key->first, key_name, EN_ARG_ELEMENT, 0);
      (*added->mutable_key())[key_name] = key->second;
    }
    if (!status.ok()) {
      out.Clear();
      return {grpc::StatusCode::INVALID_ARGUMENT, "Unknown module [ " +
                                                      failed.substr(0, failed.find(':')) +
                                                      " ] in path element [ " + element.name() + " ]"};
    }
  }
  return grpc::Status::OK;
}

}  // namespace gnmi

// The six name maps, their look-ups, and pseudo module names. Knows no schema nodes.
#include "gnmi/gnmi_base_namespace_mapper.h"

#include <grpc/support/log.h>

namespace gnmi {
namespace {

std::string look_up(const std::map<std::string, std::string>& map, const std::string& key) {
  const auto found = map.find(key);
  return found == map.end() ? std::string() : found->second;
}

// `text` with the separator escaped as in a JSON pointer (RFC 6901 section 3).
std::string escape(const std::string& text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    if (c == '~') {
      escaped.append("~0");
    } else if (c == '/') {
      escaped.append("~1");
    } else {
      escaped.push_back(c);
    }
  }
  return escaped;
}

}  // namespace

const std::string BaseNamespaceMapper::ORIGIN_OPENCONFIG_STR = "openconfig";
const std::array<std::string, 3> BaseNamespaceMapper::originName_ = {"", "openconfig", "rfc7951"};

BaseNamespaceMapper::BaseNamespaceMapper() : version_(1) {}
BaseNamespaceMapper::~BaseNamespaceMapper() = default;

std::string BaseNamespaceMapper::nsFromYmpPrefix_(const std::string& prefix) const {
  return look_up(nsByYmpPrefix_, prefix);
}
std::string BaseNamespaceMapper::ympPrefixFromNs_(const std::string& ns) const {
  return look_up(ympPrefixByNs_, ns);
}
std::string BaseNamespaceMapper::nsFromModuleNamePrefix_(const std::string& module) const {
  return look_up(nsByModuleName_, module);
}
std::string BaseNamespaceMapper::moduleNamePrefixFromNs_(const std::string& ns) const {
  return look_up(moduleNameByNs_, ns);
}
std::string BaseNamespaceMapper::ympPrefixFromModuleNamePrefix_(const std::string& module) const {
  return look_up(ympPrefixByModuleName_, module);
}
std::string BaseNamespaceMapper::moduleNameFromYmpPrefix_(const std::string& prefix) const {
  return look_up(moduleNameByYmpPrefix_, prefix);
}

std::string BaseNamespaceMapper::pseudoModuleName(const std::string& origin, std::string& nodeName,
                                                  std::string& ympPrefix, int depth) {
  // No YANG identifier contains a slash, so the name is no module's. The last part needs no escape:
  // it begins after the third slash.
  return escape(origin) + "/" + escape(ympPrefix) + "/" + std::to_string(depth) + "/" + nodeName;
}

grpc::Status BaseNamespaceMapper::loadFailure_(std::string what) {
  std::string message = "Load failure [ " + what + " ]";
  gpr_log(GPR_ERROR, "%s", message.c_str());
  return {grpc::StatusCode::INTERNAL, message};
}

void BaseNamespaceMapper::clear_() {
  version_ = 1;
  nsByYmpPrefix_.clear();
  ympPrefixByNs_.clear();
  nsByModuleName_.clear();
  moduleNameByNs_.clear();
  ympPrefixByModuleName_.clear();
  moduleNameByYmpPrefix_.clear();
}

}  // namespace gnmi

// What the settings have to do with each other.
#include "server_config.h"

#include "address.h"
#include "log.h"

namespace nexad {
namespace {

std::string missing(const char* flag, const char* what) {
  return std::string(flag) + " is missing: " + what;
}

std::string fault_of_tls(const ServerConfig& config) {
  const char* const tls_settings[] = {"tls-cert", "tls-key", "tls-ca", "client-crl"};
  for (const char* setting : tls_settings) {
    if (config.insecure && config.given(setting)) {
      return config.origin("insecure") + " and " + config.origin(setting) +
             " contradict each other: connections are encrypted or they are not";
    }
  }
  if (config.insecure) return {};
  if (config.tls_cert.empty() && config.tls_key.empty()) {
    return "--tls-cert and --tls-key are missing: connections are encrypted unless --insecure is "
           "given";
  }
  if (config.tls_cert.empty()) return missing("--tls-cert", "the private key has no certificate");
  if (config.tls_key.empty()) return missing("--tls-key", "the certificate has no private key");
  if (!config.client_crl.empty() && config.tls_ca.empty()) {
    return missing("--tls-ca", "the lists of --client-crl are of its authorities");
  }
  return {};
}

std::string fault_of_addresses(const ServerConfig& config) {
  if (!parse_address(config.listen)) {
    return config.origin("listen") + ": \"" + config.listen +
           "\" is not HOST:PORT, [IPV6]:PORT or :PORT";
  }
  if (config.metrics == "off") return {};
  const auto address = parse_address(config.metrics);
  if (!address) {
    return config.origin("metrics") + ": \"" + config.metrics +
           "\" is not HOST:PORT, [IPV6]:PORT, :PORT or \"off\"";
  }
  if (!config.metrics_public && !is_loopback(*address)) {
    return config.origin("metrics") + ": other machines can reach " + config.metrics +
           ": --metrics-public allows that";
  }
  return {};
}

}  // namespace

std::string ServerConfig::origin(const std::string& setting) const {
  const auto found = origins.find(setting);
  return found == origins.end() ? "--" + setting : found->second;
}

bool mirrors_state(const ServerConfig& config) {
  if (config.mirror_state != kMirrorOn) return false;
  return config.given("mirror-state") || config.profile == nexa::profile::kFullName;
}

std::string fault_of(const ServerConfig& config) {
  if (config.yang_dirs.empty()) {
    return missing("--yang-dir", "without YANG modules there is nothing to serve");
  }
  if (config.data.empty()) return missing("--data", "the configuration is kept in that folder");
  if (std::string fault = fault_of_tls(config); !fault.empty()) return fault;
  if (std::string fault = fault_of_addresses(config); !fault.empty()) return fault;
  if (config.hook_at_start && config.hook.empty()) {
    return config.origin("hook-at-start") + " needs a program: --hook is missing";
  }
  if (config.verify != kVerifyOn && config.verify != kVerifyOff) {
    return config.origin("verify") + ": \"" + config.verify + "\" is neither on nor off";
  }
  if (!nexa::profile::profile_of(config.profile)) {
    return config.origin("profile") + ": \"" + config.profile + "\" is neither full nor device";
  }
  if (config.mirror_state != kMirrorOn && config.mirror_state != kMirrorOff) {
    return config.origin("mirror-state") + ": \"" + config.mirror_state +
           "\" is neither on nor off";
  }
  if (!is_log_level(config.log_level)) {
    return config.origin("log-level") + ": \"" + config.log_level +
           "\" is none of debug, info, warning, error";
  }
  return {};
}

}  // namespace nexad

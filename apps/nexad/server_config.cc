// What the settings have to do with each other.
#include "server_config.h"

#include <utility>

#include "address.h"
#include "log.h"

namespace nexad {

using nexa::text::Done;
using nexa::text::Failure;
using nexa::text::unusable;

namespace {

Failure missing(const std::string& flag, const std::string& what) {
  return unusable("", flag + " is missing: " + what);
}

Failure wrong_setting(const ServerConfig& config, const char* setting, std::string rule) {
  return unusable(config.origin(setting), std::move(rule));
}

std::string quoted(const std::string& value) { return "\"" + value + "\""; }

Done check_tls_settings(const ServerConfig& config) {
  const char* const tls_settings[] = {"tls-cert", "tls-key", "tls-ca", "client-crl"};
  for (const char* setting : tls_settings) {
    if (config.insecure && config.given(setting)) {
      return unusable("", config.origin("insecure") + " and " + config.origin(setting) +
                              " contradict each other: connections are encrypted or they are not");
    }
  }
  if (config.insecure) return {};
  if (config.tls_cert.empty() && config.tls_key.empty()) {
    return unusable("",
                    "--tls-cert and --tls-key are missing: connections are encrypted unless "
                    "--insecure is given");
  }
  if (config.tls_cert.empty()) return missing("--tls-cert", "the private key has no certificate");
  if (config.tls_key.empty()) return missing("--tls-key", "the certificate has no private key");
  if (!config.client_crl.empty() && config.tls_ca.empty()) {
    return missing("--tls-ca", "the lists of --client-crl are of its authorities");
  }
  return {};
}

Done check_addresses(const ServerConfig& config) {
  if (!parse_address(config.listen)) {
    return wrong_setting(config, "listen",
                         quoted(config.listen) + " is not HOST:PORT, [IPV6]:PORT or :PORT");
  }
  if (config.metrics == "off") return {};
  const auto address = parse_address(config.metrics);
  if (!address) {
    return wrong_setting(
        config, "metrics",
        quoted(config.metrics) + " is not HOST:PORT, [IPV6]:PORT, :PORT or \"off\"");
  }
  if (!config.metrics_public && !is_loopback(*address)) {
    return wrong_setting(
        config, "metrics",
        "other machines can reach " + config.metrics + ": --metrics-public allows that");
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

Done check_settings(const ServerConfig& config) {
  if (config.yang_dirs.empty()) {
    return missing("--yang-dir", "without YANG modules there is nothing to serve");
  }
  if (config.data.empty()) return missing("--data", "the configuration is kept in that folder");
  if (Done done = check_tls_settings(config); !done.ok()) return done;
  if (Done done = check_addresses(config); !done.ok()) return done;
  if (config.hook_at_start && config.hook.empty()) {
    return unusable("", config.origin("hook-at-start") + " needs a program: --hook is missing");
  }
  if (config.verify != kVerifyOn && config.verify != kVerifyOff) {
    return wrong_setting(config, "verify", quoted(config.verify) + " is neither on nor off");
  }
  if (!nexa::profile::profile_of(config.profile)) {
    return wrong_setting(config, "profile", quoted(config.profile) + " is neither full nor device");
  }
  if (config.mirror_state != kMirrorOn && config.mirror_state != kMirrorOff) {
    return wrong_setting(config, "mirror-state",
                         quoted(config.mirror_state) + " is neither on nor off");
  }
  if (!is_log_level(config.log_level)) {
    return wrong_setting(config, "log-level",
                         quoted(config.log_level) + " is none of debug, info, warning, error");
  }
  return {};
}

}  // namespace nexad

// Everything that the server can be told, with what holds when it is not told.
#ifndef APPS_NEXAD_SERVER_CONFIG_H_
#define APPS_NEXAD_SERVER_CONFIG_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "profile/profile.h"
#include "server/limits.h"
#include "text/result.h"

namespace nexad {

inline constexpr char kDefaultMetrics[] = "127.0.0.1:9340";
inline constexpr char kVerifyOn[] = "on";
inline constexpr char kVerifyOff[] = "off";
inline constexpr char kMirrorOn[] = "on";
inline constexpr char kMirrorOff[] = "off";

struct ServerConfig {
  // Schema and data.
  std::vector<std::string> yang_dirs;
  std::vector<std::string> modules;                          // empty: all of the folders
  std::map<std::string, std::vector<std::string>> features;  // by module; no names: none of its
  std::string data;
  std::uint64_t commits_per_snapshot = 1000;
  std::uint64_t history_limit = 100000;
  std::string verify = kVerifyOn;  // or kVerifyOff
  std::uint64_t verify_interval = 60;
  std::string mirror_state = kMirrorOn;    // or kMirrorOff; see mirrors_state()
  std::vector<std::string> state_command;  // program and arguments

  // Who is served, where and how.
  std::string listen = "127.0.0.1:9339";
  std::string tls_cert;
  std::string tls_key;
  std::string tls_ca;
  std::string client_crl;
  std::string users;
  std::string profile = nexa::profile::kFullName;  // or kDeviceName

  // The commit hook: program and arguments.
  std::vector<std::string> hook;
  std::uint64_t hook_timeout_ms = 10000;

  // Operation.
  std::string metrics = kDefaultMetrics;  // or "off"
  std::string log_level = "info";
  std::string ready_file;

  // Limits of connections. 0 is "none" where the option's help says so.
  std::uint64_t max_connections = 1000;
  std::uint64_t max_connections_per_peer = 500;
  std::uint64_t unused_connection_ms = 30000;
  std::uint64_t stray_bytes = 1U << 20U;
  std::uint64_t max_streams_per_connection = 100;
  std::uint64_t max_message_bytes = 16U << 20U;
  std::uint64_t rpc_memory_bytes = 256U << 20U;
  std::uint64_t handshake_timeout_ms = 10000;
  std::uint64_t keepalive_ms = 60000;
  std::uint64_t keepalive_timeout_ms = 20000;
  std::uint64_t connection_idle_ms = 900000;
  std::uint64_t connection_age_ms = 0;

  // Limits of requests. What the service counts has the service's defaults.
  static constexpr nexa::server::Limits kLimits{};
  std::uint64_t max_operations = kLimits.max_operations;
  std::uint64_t max_set_nodes = 2'000'000;
  std::uint64_t max_set_bytes = 256U << 20U;
  std::uint64_t max_paths = kLimits.max_paths;
  std::uint64_t max_path_elements = kLimits.max_parts;
  std::uint64_t max_subscriptions = kLimits.max_streams;
  std::uint64_t max_updates = kLimits.max_updates;
  std::uint64_t max_answer_bytes = kLimits.max_answer_bytes;
  std::uint64_t unread_answer_bytes = kLimits.unread_answer_bytes;
  std::uint64_t stream_queue_bytes = kLimits.stream_queue_bytes;
  std::uint64_t unread_stream_bytes = kLimits.unread_stream_bytes;
  std::uint64_t pending_sets = kLimits.pending_sets;
  std::uint64_t min_sample_interval_ms =
      static_cast<std::uint64_t>(kLimits.min_sample_interval.count());
  std::uint64_t target_sample_interval_ms =
      static_cast<std::uint64_t>(kLimits.target_sample_interval.count());
  std::uint64_t workers = 0;

  // Switches of all of the above.
  bool strict = false;
  bool no_linux_state = false;
  bool insecure = false;
  bool hook_at_start = false;
  bool metrics_public = false;
  bool reflection = false;

  // Where each setting was given, by name: "--listen", "NEXAD_LISTEN", "nexad.toml:3: listen".
  std::map<std::string, std::string> origins;

  // The setting's origin, or its flag when it was not given.
  std::string origin(const std::string& setting) const;
  bool given(const std::string& setting) const { return origins.count(setting) != 0; }
};

// Whether what is configured shows in operational data: unless it is given, the full profile alone
// has it.
bool mirrors_state(const ServerConfig& config);

// Fails, naming the settings, when something is wrong with the configuration as a whole. Looks at
// no file.
nexa::text::Done check_settings(const ServerConfig& config);

}  // namespace nexad

#endif  // APPS_NEXAD_SERVER_CONFIG_H_

// The table, and how a text becomes a value.
#include "settings.h"

#include <charconv>
#include <cstddef>
#include <limits>

#include "feature_option.h"

namespace nexad {

using nexa::text::Done;

namespace {

using Config = ServerConfig;

constexpr std::uint64_t kMany = 1'000'000'000;
constexpr std::uint64_t kDayMs = 86'400'000;
constexpr std::uint64_t kMostMessageBytes = std::numeric_limits<std::int32_t>::max();
// What a machine of 32 bits cannot hold or count is refused there, not cut.
constexpr std::uint64_t kMostValue = std::numeric_limits<std::ptrdiff_t>::max();

constexpr char kSchema[] = "Schema and data";
constexpr char kServed[] = "Who is served, and where";
constexpr char kHook[] = "The commit hook";
constexpr char kOperation[] = "Operation";
constexpr char kConnections[] = "Limits of connections";
constexpr char kRequests[] = "Limits of requests";

const std::vector<Setting> kSettings = {
    {kSchema, "yang-dir", "DIR",
     "Folder of YANG modules; give it again for more, searched in order", Texts{&Config::yang_dirs},
     "-p,--searchpath"},
    {kSchema, "module", "NAME",
     "Load only this module and what it imports; give it again for more. Without it every module "
     "of the folders is loaded",
     Texts{&Config::modules}, "-m"},
    {kSchema, "feature", feature_option::kForm, feature_option::kHelp, Features{&Config::features}},
    {kSchema, "strict", "",
     "Take RFC 7951 and nothing else: no unqualified names that it does not allow",
     Switch{&Config::strict}},
    {kSchema, "data", "DIR", "Folder of the configuration database; made when it is not there",
     Text{&Config::data}},
    {kSchema, "commits-per-snapshot", "N", "Commits after which a snapshot is written",
     Number{&Config::commits_per_snapshot, 1, kMany}},
    {kSchema, "history-limit", "N", "Commits kept beyond the newest snapshot; 0: all",
     Number{&Config::history_limit, 0, kMany}},
    {kSchema, "verify", "on|off",
     "Whether a process of its own judges new configurations once more, as a whole",
     Text{&Config::verify}},
    {kSchema, "verify-interval", "N",
     "Seconds from one such judgement to the next, at least; 0: no pause",
     Number{&Config::verify_interval, 0, kMany}},
    {kSchema, "no-linux-state", "",
     "Do not show this machine's interfaces, addresses and system as state data",
     Switch{&Config::no_linux_state}},
    {kSchema, "mirror-state", "on|off",
     "Whether a leaf of a container \"state\" shows what is configured for the leaf of "
     "the same name in the container \"config\" beside it; with --profile device only when given",
     Text{&Config::mirror_state}},
    {kSchema, "state-command", "COMMAND",
     "Program that tells state data: started with the server, it writes a line for each value",
     Command{&Config::state_command}},
    {kServed, "listen", "ADDRESS", "Where clients are served; port 0: any free one",
     Text{&Config::listen}},
    {kServed, "tls-cert", "FILE", "The server's certificate, and those that lead to its root (PEM)",
     Text{&Config::tls_cert}},
    {kServed, "tls-key", "FILE", "The certificate's private key (PEM)", Text{&Config::tls_key}},
    {kServed, "tls-ca", "FILE",
     "Clients have to show a certificate of one of these authorities (PEM)", Text{&Config::tls_ca}},
    {kServed, "client-crl", "FILE",
     "Clients whose certificate is on one of these lists of the authorities are refused (PEM)",
     Text{&Config::client_crl}},
    {kServed, "insecure", "", "Serve without encryption", Switch{&Config::insecure}},
    {kServed, "users", "FILE",
     "Users, one a line: name:role:hash. Without it everybody who can connect may read and write",
     Text{&Config::users}},
    {kServed, "profile", "full|device",
     "full: gNMI as its specification has it; device: the narrower contract of the library's "
     "request checks",
     Text{&Config::profile}},
    {kHook, "hook", "COMMAND", "Program that applies each commit, and may veto it",
     Command{&Config::hook}},
    {kHook, "hook-timeout-ms", "N", "Time that the program has",
     Number{&Config::hook_timeout_ms, 1, kDayMs}},
    {kHook, "hook-at-start", "", "Run the program once at start, with the whole configuration",
     Switch{&Config::hook_at_start}},
    {kOperation, "metrics", "ADDRESS", "Where Prometheus finds the metrics, or \"off\"",
     Text{&Config::metrics}},
    {kOperation, "metrics-public", "",
     "Let other machines reach the metrics, where --metrics says so",
     Switch{&Config::metrics_public}},
    {kOperation, "reflection", "", "Offer gRPC server reflection", Switch{&Config::reflection}},
    {kOperation, "log-level", "debug|info|warning|error",
     "Lines of this level and of those above it", Text{&Config::log_level}},
    {kOperation, "ready-file", "FILE", "Write the address here once clients are served",
     Text{&Config::ready_file}},
    {kConnections, "max-connections", "N",
     "Connections at a time; for one more the oldest that nobody uses gives way",
     Number{&Config::max_connections, 1, kMany}},
    {kConnections, "max-connections-per-peer", "N",
     "The same from one address, or network of 64 bits of IPv6",
     Number{&Config::max_connections_per_peer, 1, kMany}},
    {kConnections, "unused-connection-ms", "N",
     "Time after which a connection is closed that has no call, and had none yet of a caller whose "
     "login was right; 0: never",
     Number{&Config::unused_connection_ms, 0, kDayMs}},
    {kConnections, "stray-bytes", "N",
     "What a connection may send that is no message of a caller whose login was right; one that "
     "sends more is closed",
     Number{&Config::stray_bytes, 1U << 16U, kMostValue}},
    {kConnections, "max-streams-per-connection", "N", "Calls at a time on one connection",
     Number{&Config::max_streams_per_connection, 1, kMany}},
    {kConnections, "max-message-bytes", "N", "Largest request",
     Number{&Config::max_message_bytes, 1024, kMostMessageBytes}},
    {kConnections, "rpc-memory-bytes", "N", "Memory for requests that are being received",
     Number{&Config::rpc_memory_bytes, 1U << 20U, kMostValue}},
    {kConnections, "handshake-timeout-ms", "N",
     "Time that a new connection has until it speaks gRPC",
     Number{&Config::handshake_timeout_ms, 100, kDayMs}},
    {kConnections, "keepalive-ms", "N", "Silence after which a client is asked whether it is there",
     Number{&Config::keepalive_ms, 1000, kDayMs}},
    {kConnections, "keepalive-timeout-ms", "N", "Time that its answer may take",
     Number{&Config::keepalive_timeout_ms, 100, kDayMs}},
    {kConnections, "connection-idle-ms", "N",
     "Time after which a connection without calls is closed; 0: never",
     Number{&Config::connection_idle_ms, 0, kDayMs}},
    {kConnections, "connection-age-ms", "N",
     "Time after which a connection takes no new calls; 0: never",
     Number{&Config::connection_age_ms, 0, kDayMs}},
    {kRequests, "max-operations", "N", "Operations of one Set",
     Number{&Config::max_operations, 1, kMany}},
    {kRequests, "max-set-nodes", "N", "Nodes that the values of one Set may hold",
     Number{&Config::max_set_nodes, 1, kMostValue}},
    {kRequests, "max-set-bytes", "N", "Size of the values of one Set, as XML",
     Number{&Config::max_set_bytes, 1024, kMostValue}},
    {kRequests, "max-paths", "N", "Paths of one Get or Subscribe",
     Number{&Config::max_paths, 1, kMany}},
    {kRequests, "max-path-elements", "N",
     "Path elements of one request in all, with keys, values and whatever else it has many of",
     Number{&Config::max_path_elements, 1, kMany}},
    {kRequests, "max-subscriptions", "N", "Subscribe calls at a time",
     Number{&Config::max_subscriptions, 1, kMany}},
    {kRequests, "max-updates", "N",
     "Leaves of one message of a Subscribe call; 1: each has its own",
     Number{&Config::max_updates, 1, kMany}},
    {kRequests, "max-answer-bytes", "N", "Answer to one Get",
     Number{&Config::max_answer_bytes, 1024, kMostMessageBytes}},
    {kRequests, "unread-answer-bytes", "N", "Memory for answers that their clients have not read",
     Number{&Config::unread_answer_bytes, 1U << 20U, kMostValue}},
    {kRequests, "stream-queue-bytes", "N",
     "Unsent bytes of a Subscribe call; one beyond it is ended",
     Number{&Config::stream_queue_bytes, 1024, kMostMessageBytes}},
    {kRequests, "unread-stream-bytes", "N",
     "Memory for messages of all Subscribe calls that their clients have not read",
     Number{&Config::unread_stream_bytes, 1U << 20U, kMostValue}},
    {kRequests, "pending-sets", "N", "Sets that wait for the writer; more are refused",
     Number{&Config::pending_sets, 1, kMany}},
    {kRequests, "min-sample-interval-ms", "N", "Shortest sample interval, and what 0 means",
     Number{&Config::min_sample_interval_ms, 1, kDayMs}},
    {kRequests, "target-sample-interval-ms", "N",
     "Sample interval of counters where the client leaves it to the server",
     Number{&Config::target_sample_interval_ms, 1, kDayMs}},
    {kRequests, "workers", "N", "Threads that write answers; 0: as many as the machine has cores",
     Number{&Config::workers, 0, 1024}},
};

nexa::text::Failure no_value(std::string rule) { return nexa::text::unusable("", std::move(rule)); }

Done apply_number(const Number& number, std::string_view value, ServerConfig& config) {
  std::uint64_t result = 0;
  const char* const end = value.data() + value.size();
  const auto [last, fault] = std::from_chars(value.data(), end, result, 10);
  if (value.empty() || fault != std::errc() || last != end || result < number.least ||
      result > number.most) {
    return no_value("\"" + std::string(value) + "\" is not a whole number from " +
                    std::to_string(number.least) + " to " + std::to_string(number.most));
  }
  config.*number.member = result;
  return {};
}

Done apply_feature(const Features& features, std::string_view value, ServerConfig& config) {
  if (std::string fault = feature_option::fault_of(value); !fault.empty()) {
    return no_value(std::move(fault));
  }
  feature_option::add(value, config.*features.member);
  return {};
}

struct Apply {
  std::string_view value;
  ServerConfig& config;

  Done operator()(const Text& text) const {
    if (value.empty()) return no_value("the value is empty");
    config.*text.member = value;
    return {};
  }
  Done operator()(const Switch& toggle) const {
    if (value != "true" && value != "false") {
      return no_value("\"" + std::string(value) + "\" is neither true nor false");
    }
    config.*toggle.member = value == "true";
    return {};
  }
  Done operator()(const Number& number) const { return apply_number(number, value, config); }
  Done operator()(const Texts& texts) const {
    if (value.empty()) return no_value("the value is empty");
    (config.*texts.member).emplace_back(value);
    return {};
  }
  Done operator()(const Features& features) const { return apply_feature(features, value, config); }
  Done operator()(const Command& command) const {
    std::vector<std::string> words;
    if (!split_words(value, words)) return no_value("a quote is not closed");
    if (words.empty() || words.front().empty()) return no_value("the program has no name");
    config.*command.member = std::move(words);
    return {};
  }
};

}  // namespace

const std::vector<Setting>& settings() { return kSettings; }

bool Setting::takes_many() const {
  return std::holds_alternative<Texts>(kind) || std::holds_alternative<Features>(kind);
}

std::string Setting::variable() const {
  std::string text = "NEXAD_";
  for (const char* c = name; *c != '\0'; ++c) {
    text.push_back(*c == '-' ? '_' : static_cast<char>(*c - 'a' + 'A'));
  }
  return text;
}

std::string Setting::default_text() const {
  static const ServerConfig defaults;
  if (const auto* text = std::get_if<Text>(&kind)) return defaults.*text->member;
  if (const auto* number = std::get_if<Number>(&kind)) {
    return std::to_string(defaults.*number->member);
  }
  return {};
}

Done Setting::apply(std::string_view value, ServerConfig& config) const {
  return std::visit(Apply{value, config}, kind);
}

bool split_words(std::string_view text, std::vector<std::string>& words) {
  bool in_word = false;
  char quote = '\0';
  for (const char c : text) {
    const bool blank = c == ' ' || c == '\t' || c == '\n';
    if (quote != '\0' ? c == quote : c == '"' || c == '\'') {
      quote = quote != '\0' ? '\0' : c;
      if (!in_word) words.emplace_back();
      in_word = true;
    } else if (quote == '\0' && blank) {
      in_word = false;
    } else {
      if (!in_word) words.emplace_back();
      in_word = true;
      words.back().push_back(c);
    }
  }
  return quote == '\0';
}

}  // namespace nexad

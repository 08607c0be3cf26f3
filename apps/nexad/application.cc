// The order in which things are opened: what costs little and fails often comes first.
#include "application.h"

#include <chrono>
#include <filesystem>
#include <system_error>

#include "feed/state_command.h"
#include "kestrel/loader.h"
#include "log.h"
#include "preflight.h"
#include "state/interface_events.h"
#include "state/linux_interfaces.h"
#include "state/openconfig_interfaces.h"
#include "state/openconfig_system.h"
#include "store/tree_store.h"

namespace nexad {

using nexa::text::Done;
using nexa::text::failure_at;
using nexa::text::Result;
using nexa::text::unusable;

namespace {

constexpr std::chrono::milliseconds kGrace{2000};
constexpr char kNoAddress[] = "it is no address";

std::int64_t now_ns() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

// No setting is larger than what this machine counts with (settings.cc).
constexpr std::size_t size_of(std::uint64_t setting) { return static_cast<std::size_t>(setting); }

nexa::server::GnmiServiceOptions service_options(const ServerConfig& config) {
  nexa::server::GnmiServiceOptions options;
  options.profile = nexa::profile::profile_of(config.profile).value_or(options.profile);
  options.limits.max_operations = size_of(config.max_operations);
  options.limits.max_paths = size_of(config.max_paths);
  options.limits.max_parts = size_of(config.max_path_elements);
  options.limits.max_streams = size_of(config.max_subscriptions);
  options.limits.max_updates = size_of(config.max_updates);
  options.limits.max_answer_bytes = size_of(config.max_answer_bytes);
  options.limits.unread_answer_bytes = size_of(config.unread_answer_bytes);
  options.limits.stream_queue_bytes = size_of(config.stream_queue_bytes);
  options.limits.unread_stream_bytes = size_of(config.unread_stream_bytes);
  options.limits.pending_sets = size_of(config.pending_sets);
  options.limits.min_sample_interval = std::chrono::milliseconds(config.min_sample_interval_ms);
  options.limits.target_sample_interval =
      std::chrono::milliseconds(config.target_sample_interval_ms);
  options.workers = static_cast<unsigned>(config.workers);
  return options;
}

// Bytes of the folder's files; what goes away meanwhile counts nothing.
double folder_bytes(const std::string& folder) {
  double bytes = 0;
  std::error_code fault;
  for (std::filesystem::directory_iterator entry(folder, fault), end; !fault && entry != end;
       entry.increment(fault)) {
    std::error_code gone;
    const auto size = entry->file_size(gone);
    if (!gone) bytes += static_cast<double>(size);
  }
  return bytes;
}

}  // namespace

Application::Application(const ServerConfig& config) : config_(config) {
  hook_.command = config.hook;
  hook_.timeout = std::chrono::milliseconds(config.hook_timeout_ms);
}

Application::~Application() { metrics_.unexpose(); }

Result<std::string> Application::check() {
  Done done = open_identities();
  if (done.ok()) done = check_folders_and_programs(config_);
  if (done.ok()) done = load_schema();
  if (!done.ok()) return std::move(done).failure();
  const auto& models = nexa::ServiceKestrelNamespaceMapperImpl::cached_capability_response_;
  return "the configuration can be used: " + std::to_string(models.supported_models_size()) +
         " modules, " + std::to_string(kestrel::node_count()) + " nodes, " +
         (tls_ == nullptr ? std::string("no encryption")
                          : "certificate valid until " + tls_->current().first->expires);
}

Done Application::start() {
  Done done = open_identities();
  if (done.ok()) done = load_schema();
  if (done.ok()) done = open_store();
  if (done.ok()) done = run_hook_at_start();
  if (done.ok()) done = serve();
  if (!done.ok()) return done;
  start_verifier();
  look_at_store();
  return open_metrics();
}

Done Application::load_schema() {
  kestrel::LoadOptions options;
  options.search_dirs = config_.yang_dirs;
  options.modules = config_.modules;
  options.features = config_.features;
  if (const auto fault = kestrel::load(options)) return unusable("", fault->text());
  mapper_ = std::make_unique<nexa::ServiceKestrelNamespaceMapperImpl>();
  mapper_->populate();
  const auto mode =
      config_.strict ? nexa::translate::Mode::kStrict : nexa::translate::Mode::kTolerant;
  schema_ = std::make_unique<nexa::model::Schema>();
  resolver_ = std::make_unique<nexa::model::Resolver>(*schema_, mode);
  translator_ = std::make_unique<nexa::translate::Translator>(*mapper_, *schema_, mode);
  return {};
}

TlsFiles Application::tls_files() const {
  return {config_.tls_cert, config_.tls_key, config_.tls_ca, config_.client_crl};
}

Done Application::open_identities() {
  if (!config_.insecure) {
    auto tls = TlsStore::open(tls_files());
    if (!tls.ok()) return std::move(tls).failure();
    tls_ = std::move(tls).value();
  }
  auto access = nexa::access::make_access_control(config_.users);
  if (!access.ok()) return std::move(access).failure();
  access_ = std::move(access).value();
  return {};
}

Done Application::open_store() {
  nexa::store::TreeStoreOptions options;
  options.directory = config_.data;
  options.commits_per_snapshot = static_cast<std::uint32_t>(config_.commits_per_snapshot);
  options.history_limit = config_.history_limit;
  options.max_nodes = size_of(config_.max_set_nodes);
  options.max_bytes = size_of(config_.max_set_bytes);
  options.warn = [](const std::string& line) { log_warning(line); };
  if (mirrors_state(config_)) {
    mirror_ = std::make_unique<nexa::model::StateMirror>();
    // Readers of a schema without such containers need not ask for them.
    if (!mirror_->empty()) options.mirror = mirror_.get();
  }
  std::vector<std::string> notes;
  auto store = nexa::store::open_tree_store(options, &notes);
  for (const std::string& note : notes) log_info(note);
  if (!store.ok()) return std::move(store).failure();
  store_ = std::move(store).value();
  return {};
}

Done Application::run_hook_at_start() {
  if (!config_.hook_at_start) return {};
  const auto snapshot = store_->snapshot();
  nexa::store::Change change;
  change.number = snapshot->number();
  change.time_ns = now_ns();
  change.author = "nexad";
  change.before = "<config/>";
  change.after = snapshot->xml();
  const grpc::Status status = nexa::hook::run_commit_hook(hook_, change, "start");
  if (!status.ok()) return unusable(config_.origin("hook"), status.error_message());
  return {};
}

// The page is a convenience while nobody asked for it: then its port may be taken.
Done Application::open_metrics() {
  if (config_.metrics == "off") return {};
  const auto address = parse_address(config_.metrics);
  if (!address) return unusable(config_.origin("metrics"), kNoAddress);
  add_values();
  if (Done done = metrics_.expose(*address); !done.ok()) {
    auto failure = failure_at(config_.origin("metrics"), std::move(done).failure());
    if (config_.given("metrics")) return failure;
    log_warning("no metrics: " + failure.line());
    return {};
  }
  if (!is_loopback(*address)) {
    log_warning("metrics are open to everybody who can reach " + address->text());
  }
  log_info("metrics on port " + std::to_string(metrics_.port()));
  return {};
}

void Application::start_verifier() {
  if (config_.verify == kVerifyOff) return;
  VerifierOptions options;
  options.command = verify_command(config_);
  options.interval = std::chrono::seconds(config_.verify_interval);
  if (options.command.empty()) {
    log_warning("no verification: there is no program nexa beside this one or in PATH");
    return;
  }
  verifier_ = std::make_unique<Verifier>(*store_, std::move(options));
}

void Application::look_at_store() {
  const bool is_damaged = verifier_ != nullptr && verifier_->counts().is_damaged;
  server_->set_store_health(watch_.look(store_->health()) && !is_damaged);
}

void Application::add_store_values() {
  const auto* store = store_.get();
  metrics_.add_value("nexad_store_writable", "Whether a commit can be expected to reach the disk",
                     false, [store] { return store->health().writable ? 1.0 : 0.0; });
  metrics_.add_value("nexad_store_violation",
                     "Whether the configuration is known to break a rule of the schema", false,
                     [store] { return store->health().violation.empty() ? 0.0 : 1.0; });
  metrics_.add_value("nexad_whole_judgements_total",
                     "Commits that were judged over the whole configuration", true,
                     [store] { return static_cast<double>(store->health().whole); });
  metrics_.add_value("nexad_judgement_deaths_total", "Judgements that ended a process of their own",
                     true, [store] { return static_cast<double>(store->health().deaths); });
  metrics_.add_value("nexad_verified_commit", "Number of the newest commit found valid as a whole",
                     true, [store] { return static_cast<double>(store->health().verified); });
  const auto* verifier = verifier_.get();
  if (verifier == nullptr) return;
  metrics_.add_value("nexad_verify_runs_total", "Verifications that were started", true,
                     [verifier] { return static_cast<double>(verifier->counts().runs); });
  metrics_.add_value("nexad_verify_violations_total", "Verifications that found a broken rule",
                     true,
                     [verifier] { return static_cast<double>(verifier->counts().violations); });
  metrics_.add_values("nexad_verify_failures_total", "Verifications without a verdict, by reason",
                      "reason", [verifier] { return verifier->counts().failures; });
}

void Application::add_values() {
  add_store_values();
  const auto* store = store_.get();
  metrics_.add_value("nexad_commit_number", "Number of the newest commit", true,
                     [store] { return static_cast<double>(store->snapshot()->number()); });
  metrics_.add_value("nexad_store_bytes", "Size of the data folder's files", false,
                     [folder = config_.data] { return folder_bytes(folder); });
  auto* server = server_.get();
  metrics_.add_value("nexad_connections", "Connections that are open", false,
                     [server] { return static_cast<double>(server->connection_counts().open); });
  metrics_.add_value("nexad_connections_total", "Connections that were accepted", true,
                     [server] { return static_cast<double>(server->listener_counts().accepted); });
  metrics_.add_value(
      "nexad_connections_over_limit_total", "Connections closed at once because of a limit", true,
      [server] { return static_cast<double>(server->listener_counts().over_limit); });
  metrics_.add_value("nexad_connections_no_resource_total",
                     "Connections not accepted for want of descriptors or memory", true, [server] {
                       return static_cast<double>(server->listener_counts().no_resource);
                     });
  metrics_.add_values(
      "nexad_connections_ended_total",
      "Connections that the server closed before their clients did, by reason", "reason", [server] {
        const Connections::Counts counts = server->connection_counts();
        return std::map<std::string, double>{{"gave_way", static_cast<double>(counts.gave_way)},
                                             {"unused", static_cast<double>(counts.unused)},
                                             {"flooding", static_cast<double>(counts.flooding)}};
      });
}

Done Application::serve() {
  const auto address = parse_address(config_.listen);
  if (!address) return unusable(config_.origin("listen"), kNoAddress);
  auto sockets = open_listening_sockets(*address);
  if (!sockets.ok()) return failure_at(config_.origin("listen"), std::move(sockets).failure());
  for (const std::string& warning : warnings_of(config_)) log_warning(warning);
  nexa::server::GnmiServiceParts parts{
      *resolver_,
      *translator_,
      *store_,
      *access_,
      nexa::ServiceKestrelNamespaceMapperImpl::cached_capability_response_,
      {},
      metrics_,
      {},
      mirror_ != nullptr && !mirror_->empty() ? mirror_.get() : nullptr,
      nullptr};
  const auto connections = std::make_shared<Connections>(connection_limits(config_));
  parts.connections = connections;
  add_linux_state();
  add_state_command();
  for (const auto& provider : providers_) parts.providers.push_back(provider.get());
  if (!hook_.command.empty()) {
    parts.approve = [this](const nexa::store::Change& change) {
      grpc::Status status = nexa::hook::run_commit_hook(hook_, change, "set");
      if (!status.ok()) log_warning("commit hook: " + status.error_message());
      return status;
    };
  }
  service_ = nexa::server::make_gnmi_service(parts, service_options(config_));
  auto server = Server::start(
      config_, std::move(sockets).value(),
      tls_ == nullptr ? grpc::InsecureServerCredentials() : make_tls_credentials(tls_),
      {service_->service(), config_.reflection ? &service_->reflection() : nullptr, connections});
  if (!server.ok()) return std::move(server).failure();
  server_ = std::move(server).value();
  return {};
}

void Application::add_linux_state() {
  if (config_.no_linux_state) return;
  nexa::state::InterfaceSources sources;
  sources.events = nexa::state::make_netlink_events();
  if (!sources.events->works()) log_warning("the kernel does not tell of changes of interfaces");
  providers_.push_back(nexa::state::make_linux_interfaces(sources.sysfs, sources.events));
  providers_.push_back(nexa::state::make_openconfig_interfaces(sources));
  providers_.push_back(nexa::state::make_openconfig_system());
}

// The last provider, which counts more than the others: its author knows the device best.
void Application::add_state_command() {
  if (config_.state_command.empty()) return;
  nexa::feed::StateCommandOptions options;
  options.command = config_.state_command;
  options.warn = [](const std::string& line) { log_warning(line); };
  options.tell = [](const std::string& line) { log_info(line); };
  providers_.push_back(nexa::feed::make_state_command(*resolver_, std::move(options)));
}

void Application::reload() {
  if (const auto done = access_->reload(); !done.ok()) {
    log_error("the users stay as they were: " + done.failure().line());
  } else if (!config_.users.empty()) {
    log_info("users read again from " + config_.users);
  }
  renew_certificates(true);
}

void Application::look_at_certificates() { renew_certificates(false); }

void Application::renew_certificates(bool again) {
  if (tls_ == nullptr) return;
  const auto outcome = tls_->reload(again);
  if (!outcome.ok()) {
    log_error("the certificate in use stays: " + outcome.failure().line());
  } else if (outcome.value() == TlsStore::Outcome::kRenewed) {
    log_info("certificate renewed, valid until " + tls_->current().first->expires);
  }
}

void Application::stop() {
  if (server_ == nullptr) return;
  metrics_.unexpose();
  verifier_.reset();
  server_->stop([this] { service_->shutdown(); }, kGrace);
}

}  // namespace nexad

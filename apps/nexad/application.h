// nexad as a whole: what the configuration names becomes objects, in their order, and ends in the
// reverse one.
#ifndef APPS_NEXAD_APPLICATION_H_
#define APPS_NEXAD_APPLICATION_H_

#include <memory>
#include <string>
#include <vector>

#include "access/access.h"
#include "hook/commit_hook.h"
#include "metrics.h"
#include "model/state_mirror.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "server.h"
#include "server/gnmi_service.h"
#include "server_config.h"
#include "state/state_provider.h"
#include "store/config_store.h"
#include "store_watch.h"
#include "tls.h"
#include "translate/translate.h"
#include "verifier.h"

namespace nexad {

// Belongs to one thread.
class Application {
 public:
  explicit Application(const ServerConfig& config);
  ~Application();
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;

  // Everything that can be judged without touching the data: schema, certificates, users, data
  // folder, hook program, addresses. One line about what was found. Once.
  nexa::text::Result<std::string> check();

  // Serves from then on, unless it fails. Once.
  nexa::text::Done start();

  // Reads certificates and users again; what cannot be used is logged, and the old stays.
  void reload();
  // Reads the certificates again if they changed.
  void look_at_certificates();

  // Tells the log and the health service what became of the store.
  void look_at_store();

  // Ends the streams and waits for the commit in hand.
  void stop();

  const Address& address() const { return server_->address(); }

 private:
  nexa::text::Done load_schema();
  nexa::text::Done open_identities();
  nexa::text::Done open_store();
  nexa::text::Done run_hook_at_start();
  nexa::text::Done open_metrics();
  nexa::text::Done serve();
  void add_linux_state();
  void add_state_command();
  void start_verifier();
  void add_values();
  void add_store_values();
  void renew_certificates(bool again);
  TlsFiles tls_files() const;

  const ServerConfig config_;
  nexa::hook::CommitHookOptions hook_;
  std::unique_ptr<nexa::ServiceKestrelNamespaceMapperImpl> mapper_;
  std::unique_ptr<nexa::model::Schema> schema_;
  std::unique_ptr<nexa::model::Resolver> resolver_;
  std::unique_ptr<nexa::translate::Translator> translator_;
  std::shared_ptr<TlsStore> tls_;
  std::unique_ptr<nexa::access::AccessControl> access_;
  std::unique_ptr<nexa::model::StateMirror> mirror_;
  std::unique_ptr<nexa::store::ConfigStore> store_;
  std::vector<std::unique_ptr<nexa::state::StateProvider>> providers_;
  Metrics metrics_;
  std::unique_ptr<nexa::server::GnmiService> service_;
  std::unique_ptr<Server> server_;
  StoreWatch watch_;
  std::unique_ptr<Verifier> verifier_;
};

}  // namespace nexad

#endif  // APPS_NEXAD_APPLICATION_H_

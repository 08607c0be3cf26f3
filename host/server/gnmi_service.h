// The gNMI service: requests in, answers out, over the translation layer and the store. Built on
// gRPC's callback API: no call holds a thread while it waits.
#ifndef HOST_SERVER_GNMI_SERVICE_H_
#define HOST_SERVER_GNMI_SERVICE_H_

#include <grpcpp/generic/async_generic_service.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "access/access.h"
#include "gnmi.grpc.pb.h"
#include "model/resolver.h"
#include "model/state_mirror.h"
#include "profile/profile.h"
#include "server/limits.h"
#include "state/state_provider.h"
#include "store/config_store.h"
#include "translate/translate.h"

namespace nexa::server {

// What the service tells the world while it runs. Called from any thread, several at a time.
class ServiceObserver {
 public:
  virtual ~ServiceObserver() = default;

  // A unary call ended, or a stream. `method` is "Capabilities", "Get", "Set" or "Subscribe".
  virtual void call_ended(std::string_view /*method*/, grpc::StatusCode /*code*/,
                          std::chrono::nanoseconds /*time*/) {}
  virtual void stream_opened() {}
  virtual void stream_closed() {}
  virtual void updates_sent(std::size_t /*leaves*/) {}
  virtual void stream_overflowed() {}

  // One line for each login that failed: who it claimed to be, from where. Strangers decide how
  // many there are.
  virtual void login_failed(const std::string& /*line*/) {}

  // One line for each Set that got past the login, accepted or not: who, from where, what, the
  // verdict, the commit.
  virtual void audit(const std::string& /*line*/) {}

  // A fault of the server's own, never of a client.
  virtual void fault(const std::string& /*line*/) {}
};

// Who looks after the connections. Any thread.
class ConnectionObserver {
 public:
  virtual ~ConnectionObserver() = default;

  // The login of a call was right; its message comes now. `peer` as gRPC writes it, here and below.
  virtual void login_succeeded(const std::string& peer) = 0;

  // A message of a caller whose login was right.
  virtual void message_received(const std::string& peer, std::size_t bytes) = 0;
};

struct GnmiServiceOptions {
  profile::Profile profile = profile::Profile::kFull;
  Limits limits;
  unsigned workers = 0;  // threads that serialise; 0: as many as cores
};

struct GnmiServiceParts {
  const model::Resolver& resolver;
  translate::Translator& translator;
  store::ConfigStore& store;
  nexa::access::AccessControl& access;
  const gnmi::CapabilityResponse& models;  // the mapper's cached model data
  std::vector<nexa::state::StateProvider*> providers;
  ServiceObserver& observer;
  std::function<grpc::Status(const store::Change&)> approve;  // the commit hook; may be empty
  // What the store shows of the configuration as operational data; null for nothing.
  const model::StateMirror* mirror = nullptr;
  std::shared_ptr<ConnectionObserver> connections = nullptr;  // may be null
};

// The service. Everything in `parts` outlives it. shutdown() ends the streams (UNAVAILABLE) and
// waits for work in hand; call it before the gRPC server's own shutdown returns.
class GnmiService {
 public:
  virtual ~GnmiService() = default;
  virtual grpc::Service& service() = 0;
  // Server reflection, versions v1 and v1alpha, for a server that is to offer it. It asks for
  // credentials as every call does. Made by the first call; not thread-safe.
  virtual grpc::CallbackGenericService& reflection() = 0;
  virtual void shutdown() = 0;
};

std::unique_ptr<GnmiService> make_gnmi_service(const GnmiServiceParts& parts,
                                               const GnmiServiceOptions& options);

}  // namespace nexa::server

#endif  // HOST_SERVER_GNMI_SERVICE_H_

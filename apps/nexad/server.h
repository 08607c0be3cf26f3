// The gRPC server around a service: its limits, its health, and connections from a Listener.
#ifndef APPS_NEXAD_SERVER_H_
#define APPS_NEXAD_SERVER_H_

#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/grpcpp.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "calls_in_hand.h"
#include "listener.h"
#include "server_config.h"
#include "socket_reads.h"

namespace nexad {

// They outlive the server.
struct OfferedServices {
  grpc::Service& gnmi;
  grpc::CallbackGenericService* reflection = nullptr;  // null: none
  // What the services tell of the connections' callers; null: nothing.
  std::shared_ptr<Connections> connections = nullptr;
};

ConnectionLimits connection_limits(const ServerConfig& config);

class Server {
  struct Passkey {};

 public:
  // What the service needs to end its streams; called between the end of new connections and the
  // end of the server.
  using EndStreams = std::function<void()>;

  // Serves on the sockets from now on. Fails when gRPC or the machine cannot.
  static nexa::text::Result<std::unique_ptr<Server>> start(
      const ServerConfig& config, ListeningSockets sockets,
      std::shared_ptr<grpc::ServerCredentials> credentials, const OfferedServices& services);
  explicit Server(Passkey) {}
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Tells health watchers NOT_SERVING, takes no more connections, ends the streams, and gives calls
  // in hand `grace` to end; connections without any are closed at once. Afterwards nothing of the
  // service runs. Once.
  void stop(const EndStreams& end_streams, std::chrono::milliseconds grace);

  // What the health service says of "nexa.store".
  void set_store_health(bool is_well);

  const Address& address() const { return listener_->address(); }
  ListenerCounts listener_counts() { return listener_->counts(); }
  Connections::Counts connection_counts() { return connections_->counts(); }

 private:
  // gRPC asks the credentials for certificates at each handshake, so they go last.
  std::shared_ptr<grpc::ServerCredentials> credentials_;
  const std::shared_ptr<CallsInHand> calls_ = std::make_shared<CallsInHand>();
  std::shared_ptr<Connections> connections_;
  std::unique_ptr<SocketReads> reads_;
  std::unique_ptr<grpc::experimental::ExternalConnectionAcceptor> acceptor_;
  std::unique_ptr<grpc::Server> server_;
  std::unique_ptr<Listener> listener_;
};

}  // namespace nexad

#endif  // APPS_NEXAD_SERVER_H_

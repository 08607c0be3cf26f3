// ServerBuilder, and in which order things end.
#include "server.h"

#include <grpc/grpc.h>
#include <grpcpp/health_check_service_interface.h>
#include <grpcpp/resource_quota.h>

#include <algorithm>
#include <limits>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "handshake_log.h"
#include "log.h"

namespace nexad {
namespace {

constexpr char kServiceName[] = "gnmi.gNMI";
constexpr char kStoreName[] = "nexa.store";
// What a client may have sent of a message that is not asked for yet.
constexpr int kWindowBytes = 256 << 10;
// What health watchers get to read that the server goes.
constexpr std::chrono::milliseconds kForNews{100};
// How many connections may send stray bytes up to their limit at the same time.
constexpr std::uint64_t kStrayConnections = 32;

int milliseconds(std::uint64_t value) {
  return value == 0 ? std::numeric_limits<int>::max() : static_cast<int>(value);
}

int number(std::uint64_t value) {
  return static_cast<int>(std::min<std::uint64_t>(value, std::numeric_limits<int>::max()));
}

void set_limits(const ServerConfig& config, grpc::ServerBuilder& builder) {
  builder.SetMaxReceiveMessageSize(number(config.max_message_bytes));
  builder.SetMaxSendMessageSize(-1);
  builder.SetResourceQuota(
      grpc::ResourceQuota("nexad").Resize(static_cast<std::size_t>(config.rpc_memory_bytes)));
  const std::pair<const char*, int> arguments[] = {
      {GRPC_ARG_MAX_CONCURRENT_STREAMS, number(config.max_streams_per_connection)},
      {GRPC_ARG_SERVER_HANDSHAKE_TIMEOUT_MS, milliseconds(config.handshake_timeout_ms)},
      {GRPC_ARG_KEEPALIVE_TIME_MS, milliseconds(config.keepalive_ms)},
      {GRPC_ARG_KEEPALIVE_TIMEOUT_MS, milliseconds(config.keepalive_timeout_ms)},
      {GRPC_ARG_KEEPALIVE_PERMIT_WITHOUT_CALLS, 1},
      // Each ping that comes too soon would cost a kilobyte until the connection is closed. They
      // are bytes that are no message of a known caller, and bounded as such.
      {GRPC_ARG_HTTP2_MAX_PING_STRIKES, 0},
      {GRPC_ARG_MAX_CONNECTION_IDLE_MS, milliseconds(config.connection_idle_ms)},
      {GRPC_ARG_MAX_CONNECTION_AGE_MS, milliseconds(config.connection_age_ms)},
      // Otherwise a stream may have sent 4 MB, and more, before anybody reads them.
      {GRPC_ARG_HTTP2_BDP_PROBE, 0},
      {GRPC_ARG_HTTP2_STREAM_LOOKAHEAD_BYTES, kWindowBytes},
  };
  for (const auto& [name, value] : arguments) builder.AddChannelArgument(name, value);
}

}  // namespace

ConnectionLimits connection_limits(const ServerConfig& config) {
  ConnectionLimits limits;
  limits.of_all = static_cast<std::size_t>(config.max_connections);
  limits.of_one_peer = static_cast<std::size_t>(config.max_connections_per_peer);
  limits.unused = std::chrono::milliseconds(config.unused_connection_ms);
  limits.stray_bytes = config.stray_bytes;
  limits.stray_bytes_of_all = kStrayConnections * config.stray_bytes;
  limits.message_bytes = config.max_message_bytes;
  return limits;
}

nexa::text::Result<std::unique_ptr<Server>> Server::start(
    const ServerConfig& config, ListeningSockets sockets,
    std::shared_ptr<grpc::ServerCredentials> credentials, const OfferedServices& services) {
  grpc::EnableDefaultHealthCheckService(true);
  if (!config.insecure && !watch_handshakes()) {
    log_warning("TLS handshakes that fail leave no line: OpenSSL takes no more data of sessions");
  }
  auto result = std::make_unique<Server>(Passkey{});
  result->credentials_ = std::move(credentials);
  result->connections_ = services.connections != nullptr
                             ? services.connections
                             : std::make_shared<Connections>(connection_limits(config));
  result->reads_ = std::make_unique<SocketReads>(
      [connections = result->connections_.get()](int fd) { connections->before_read(fd); });
  grpc::ServerBuilder builder;
  set_limits(config, builder);
  std::vector<std::unique_ptr<grpc::experimental::ServerInterceptorFactoryInterface>> interceptors;
  interceptors.push_back(CallsInHand::counter(result->calls_, result->connections_));
  builder.experimental().SetInterceptorCreators(std::move(interceptors));
  builder.RegisterService(&services.gnmi);
  if (services.reflection != nullptr) {
    builder.RegisterCallbackGenericService(services.reflection);
  }
  result->acceptor_ = builder.experimental().AddExternalConnectionAcceptor(
      grpc::ServerBuilder::experimental_type::ExternalConnectionType::FROM_FD,
      result->credentials_);
  result->server_ = builder.BuildAndStart();
  if (result->server_ == nullptr) {
    return nexa::text::unusable("",
                                "the gRPC server cannot be started; --log-level debug shows why");
  }
  result->server_->GetHealthCheckService()->SetServingStatus(kServiceName, true);
  auto* acceptor = result->acceptor_.get();
  result->listener_ = std::make_unique<Listener>(
      std::move(sockets), result->connections_, [acceptor](int listening_socket, int connection) {
        grpc::experimental::ExternalConnectionAcceptor::NewConnectionParameters parameters;
        parameters.listener_fd = listening_socket;
        parameters.fd = connection;
        const HandshakePeer peer(connection);
        acceptor->HandleNewConnection(&parameters);
      });
  if (!result->listener_->start()) {
    result->stop({}, std::chrono::milliseconds(0));
    return nexa::text::unusable("", "no thread or descriptor to be had for accepting connections");
  }
  return result;
}

void Server::set_store_health(bool is_well) {
  server_->GetHealthCheckService()->SetServingStatus(kStoreName, is_well);
}

Server::~Server() {
  if (listener_ != nullptr) listener_->stop();
}

void Server::stop(const EndStreams& end_streams, std::chrono::milliseconds grace) {
  server_->GetHealthCheckService()->SetServingStatus(false);
  const auto news_are_old = std::chrono::system_clock::now() + kForNews;
  if (listener_ != nullptr) listener_->stop();
  if (end_streams) end_streams();
  const auto end = std::chrono::system_clock::now() + grace;
  // Shutdown() asks the clients to go, and waits until they do. One that does nothing does not read
  // that: its connection is closed as soon as no call is in hand.
  std::thread closing;
  try {
    closing = std::thread([this, news_are_old, end] {
      calls_->wait_for_none(end);
      if (calls_->health_watches() > 0) std::this_thread::sleep_until(std::min(news_are_old, end));
      grpc_server_cancel_all_calls(server_->c_server());
    });
  } catch (const std::system_error&) {
    // Then the idle ones have the whole grace.
  }
  server_->Shutdown(end);
  if (closing.joinable()) closing.join();
}

}  // namespace nexad

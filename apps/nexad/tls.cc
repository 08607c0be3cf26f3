// gRPC's C core takes a callback that it asks for certificates at each handshake; the C++ layer has
// no word for it, so the credentials here speak to the core themselves. The file watcher that the
// C++ layer has instead aborts the process when it reads an empty file.
#include "tls.h"

#include <grpc/grpc.h>
#include <grpc/grpc_security.h>
#include <grpcpp/security/auth_metadata_processor.h>

#include "handshake_log.h"

namespace nexad {

using nexa::text::Done;
using nexa::text::Result;

namespace {

struct ReleaseCredentials {
  void operator()(grpc_server_credentials* credentials) const {
    grpc_server_credentials_release(credentials);
  }
};

class TlsCredentials final : public grpc::ServerCredentials {
 public:
  explicit TlsCredentials(std::shared_ptr<TlsStore> store) : store_(std::move(store)) {
    const auto request = store_->asks_for_certificates()
                             ? GRPC_SSL_REQUEST_AND_REQUIRE_CLIENT_CERTIFICATE_AND_VERIFY
                             : GRPC_SSL_DONT_REQUEST_CLIENT_CERTIFICATE;
    auto* options = grpc_ssl_server_credentials_create_options_using_config_fetcher(
        request, &TlsCredentials::fetch, this);
    credentials_.reset(grpc_ssl_server_credentials_create_with_options(options));
  }

  // Identity is the service's affair.
  void SetAuthMetadataProcessor(const std::shared_ptr<grpc::AuthMetadataProcessor>&) override {}

 private:
  int AddPortToServer(const std::string& address, grpc_server* server) override {
    return grpc_server_add_http2_port(server, address.c_str(), credentials_.get());
  }

  // gRPC calls it under the lock of its one security connector, first when the port is added.
  static grpc_ssl_certificate_config_reload_status fetch(
      void* self, grpc_ssl_server_certificate_config** config) {
    auto& credentials = *static_cast<TlsCredentials*>(self);
    const auto [material, generation] = credentials.store_->current();
    // The session of this handshake is next on this thread.
    refuse_revoked(material->revoked);
    if (generation == credentials.fetched_) return GRPC_SSL_CERTIFICATE_CONFIG_RELOAD_UNCHANGED;
    const grpc_ssl_pem_key_cert_pair pair{material->key.c_str(), material->certificate.c_str()};
    // The core insists on authorities; where clients are not asked, any certificate will do.
    const std::string& roots =
        credentials.store_->asks_for_certificates() ? material->authorities : material->certificate;
    *config = grpc_ssl_server_certificate_config_create(roots.c_str(), &pair, 1);
    credentials.fetched_ = generation;
    return GRPC_SSL_CERTIFICATE_CONFIG_RELOAD_NEW;
  }

  const std::shared_ptr<TlsStore> store_;
  std::uint64_t fetched_ = 0;
  std::unique_ptr<grpc_server_credentials, ReleaseCredentials> credentials_;
};

}  // namespace

Result<std::shared_ptr<TlsStore>> TlsStore::open(const TlsFiles& files) {
  auto store = std::make_shared<TlsStore>(files);
  Result<Outcome> outcome = store->reload(true);
  if (!outcome.ok()) return std::move(outcome).failure();
  return store;
}

Result<TlsStore::Outcome> TlsStore::reload(bool again) {
  Result<TlsMaterial> read = read_tls_files(files_);
  const std::lock_guard lock(mutex_);
  if (!read.ok()) {
    std::string line = read.failure().line();
    const bool is_known = !again && unread_ == line;
    refused_.reset();
    unread_ = std::move(line);
    if (is_known) return Outcome::kUnchanged;
    return std::move(read).failure();
  }
  TlsMaterial material = std::move(read).value();
  unread_.clear();
  if (current_ != nullptr && material == *current_) {
    refused_.reset();
    return Outcome::kUnchanged;
  }
  if (!again && refused_ && material == *refused_) return Outcome::kUnchanged;
  if (Done done = check_tls(files_, material); !done.ok()) {
    refused_ = std::move(material);
    return std::move(done).failure();
  }
  refused_.reset();
  current_ = std::make_shared<const TlsMaterial>(std::move(material));
  ++generation_;
  return Outcome::kRenewed;
}

std::pair<std::shared_ptr<const TlsMaterial>, std::uint64_t> TlsStore::current() const {
  const std::lock_guard lock(mutex_);
  return {current_, generation_};
}

std::shared_ptr<grpc::ServerCredentials> make_tls_credentials(std::shared_ptr<TlsStore> store) {
  return std::make_shared<TlsCredentials>(std::move(store));
}

}  // namespace nexad

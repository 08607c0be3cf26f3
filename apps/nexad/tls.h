// TLS whose certificates can be renewed while it serves. What is handed to gRPC was validated as a
// whole and is kept in memory: gRPC reads no file of its own, and a pair that is half renewed is
// never served.
#ifndef APPS_NEXAD_TLS_H_
#define APPS_NEXAD_TLS_H_

#include <grpcpp/security/server_credentials.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "tls_material.h"

namespace nexad {

// The material in use. Any thread.
class TlsStore {
 public:
  // Without material; open() gives a store that can serve.
  explicit TlsStore(TlsFiles files) : files_(std::move(files)) {}

  // Fails, naming the file, when the files cannot be served.
  static nexa::text::Result<std::shared_ptr<TlsStore>> open(const TlsFiles& files);

  enum class Outcome : unsigned char { kUnchanged, kRenewed };

  // Reads the files again. A failure keeps the material in use; files that were refused before and
  // have not changed since are kUnchanged, unless `again`.
  nexa::text::Result<Outcome> reload(bool again);

  // The material with its generation, which grows with each renewal.
  std::pair<std::shared_ptr<const TlsMaterial>, std::uint64_t> current() const;

  bool asks_for_certificates() const { return !files_.authorities.empty(); }

 private:
  const TlsFiles files_;
  mutable std::mutex mutex_;
  std::shared_ptr<const TlsMaterial> current_;
  std::uint64_t generation_ = 0;
  // Content, or the failure of reading it, that was refused last.
  std::optional<TlsMaterial> refused_;
  std::string unread_;  // the failure's line
};

// Credentials that ask the store at each new connection. One port of one server.
std::shared_ptr<grpc::ServerCredentials> make_tls_credentials(std::shared_ptr<TlsStore> store);

}  // namespace nexad

#endif  // APPS_NEXAD_TLS_H_

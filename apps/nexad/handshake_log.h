// Who failed a TLS handshake, and why? gRPC logs the reason without a name: it hands OpenSSL bytes,
// not sockets.
#ifndef APPS_NEXAD_HANDSHAKE_LOG_H_
#define APPS_NEXAD_HANDSHAKE_LOG_H_

#include <memory>
#include <string>

#include "revoked_certificates.h"

namespace nexad {

// From now on each TLS session that is begun in the scope of a HandshakePeer leaves a line in the
// log when its handshake fails. Call it before the first session; more calls change nothing. False
// when OpenSSL has no room for it: then handshakes fail without a line.
bool watch_handshakes();

// TLS sessions that this thread begins from now on refuse clients whose certificate, or one that
// leads to its root, is revoked; null: none is. Needs watch_handshakes().
void refuse_revoked(std::shared_ptr<const RevokedCertificates> revoked);

// While it lives, sessions that this thread begins are of the connection's peer.
class HandshakePeer {
 public:
  explicit HandshakePeer(int connection);
  ~HandshakePeer();
  HandshakePeer(const HandshakePeer&) = delete;
  HandshakePeer& operator=(const HandshakePeer&) = delete;
};

// "127.0.0.1:50124", "[::1]:50124"; "an unknown address" when the socket does not tell.
std::string peer_text(int connection);

}  // namespace nexad

#endif  // APPS_NEXAD_HANDSHAKE_LOG_H_

// OpenSSL tells a program when a session is made and freed, and shows it the session's messages.
// gRPC makes the session on the thread that hands it the connection, so the connection in hand then
// is the session's. Invariant: while `Session` lives, OpenSSL's session has its address as the
// argument of observe(), and nothing else owns it; OpenSSL frees it with its own.
#include "handshake_log.h"

#include <netdb.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <sys/socket.h>

#include <array>
#include <charconv>
#include <cstddef>
#include <exception>
#include <memory>
#include <utility>

#include "address.h"
#include "log.h"

namespace nexad {
namespace {

constexpr int kNoConnection = -1;
constexpr int kNoIndex = -1;  // OpenSSL's word for it
constexpr char kUnknownPeer[] = "an unknown address";

thread_local int connection_in_hand = kNoConnection;
thread_local std::shared_ptr<const RevokedCertificates> revoked_in_hand;

struct Session {
  std::string peer;
  std::shared_ptr<const RevokedCertificates> revoked;
  bool has_begun = false;  // the client sent something
  bool is_over = false;    // with success, or with a line
  const char* unless_finished = "the client gave up or was too slow";
};

void tell(Session& session, const std::string& reason) {
  session.is_over = true;
  log_failed_handshake("TLS handshake with " + session.peer + " failed: " + reason);
}

std::string own_reason(const SSL* ssl) {
  const char* error = ERR_reason_error_string(ERR_peek_last_error());
  std::string reason = error == nullptr ? "unknown reason" : error;
  const long verdict = SSL_get_verify_result(ssl);
  if (verdict != X509_V_OK) reason.append(": ").append(X509_verify_cert_error_string(verdict));
  return reason;
}

// One message or record header of a session, `is_sent` by the server.
void look_at(Session& session, bool is_sent, int type, const unsigned char* bytes,
             std::size_t length, const SSL* ssl) {
  const bool is_first = !is_sent && !session.has_begun;
  session.has_begun = session.has_begun || !is_sent;
  if (is_first && type == SSL3_RT_HEADER && length > 0 && bytes[0] != SSL3_RT_HANDSHAKE) {
    session.unless_finished = "the client does not speak TLS";
  }
  if (type == SSL3_RT_HANDSHAKE && !is_sent && length > 0 && bytes[0] == SSL3_MT_FINISHED) {
    session.is_over = true;
  }
  if (type != SSL3_RT_ALERT || length < 2 || bytes[0] != SSL3_AL_FATAL) return;
  tell(session, is_sent ? own_reason(ssl)
                        : std::string("the client says: ") + SSL_alert_desc_string_long(bytes[1]));
}

void observe(int is_sent, int /*version*/, int type, const void* bytes, std::size_t length,
             SSL* ssl, void* argument) {
  auto& session = *static_cast<Session*>(argument);
  if (session.is_over) return;
  try {
    look_at(session, is_sent != 0, type, static_cast<const unsigned char*>(bytes), length, ssl);
  } catch (const std::exception&) {
    // A line less, for want of memory: no exception may enter OpenSSL.
  }
}

int session_index();

// Called for each certificate of the client, from the root on. A session that lacks the lists, for
// want of memory, takes nobody.
int verify(int is_good, X509_STORE_CTX* context) {
  const auto* ssl = static_cast<const SSL*>(
      X509_STORE_CTX_get_ex_data(context, SSL_get_ex_data_X509_STORE_CTX_idx()));
  const X509* certificate = X509_STORE_CTX_get_current_cert(context);
  if (is_good == 0 || ssl == nullptr || certificate == nullptr) return 0;
  const auto* session = static_cast<const Session*>(SSL_get_ex_data(ssl, session_index()));
  const bool is_revoked =
      session == nullptr || session->revoked == nullptr || session->revoked->has(*certificate);
  if (is_revoked) X509_STORE_CTX_set_error(context, X509_V_ERR_CERT_REVOKED);
  return is_revoked ? 0 : 1;
}

void at_new_session(void* parent, void* /*data*/, CRYPTO_EX_DATA* all, int index, long /*number*/,
                    void* /*argument*/) {
  auto* ssl = static_cast<SSL*>(parent);
  if (revoked_in_hand != nullptr) SSL_set_verify(ssl, SSL_get_verify_mode(ssl), verify);
  if (connection_in_hand == kNoConnection) return;
  try {
    auto session = std::make_unique<Session>();
    session->peer = peer_text(connection_in_hand);
    session->revoked = revoked_in_hand;
    if (CRYPTO_set_ex_data(all, index, session.get()) != 1) return;
    SSL_set_msg_callback_arg(ssl, session.get());
    SSL_set_msg_callback(ssl, observe);
    static_cast<void>(session.release());
  } catch (const std::exception&) {
    // As above: the session has no name then.
  }
}

void at_end_of_session(void* /*parent*/, void* data, CRYPTO_EX_DATA* /*all*/, int /*index*/,
                       long /*number*/, void* /*argument*/) {
  const std::unique_ptr<Session> session(static_cast<Session*>(data));
  if (session == nullptr || session->is_over || !session->has_begun) return;
  try {
    tell(*session, session->unless_finished);
  } catch (const std::exception&) {
    // As above.
  }
}

int session_index() {
  static const int index =
      SSL_get_ex_new_index(0, nullptr, at_new_session, nullptr, at_end_of_session);
  return index;
}

}  // namespace

void refuse_revoked(std::shared_ptr<const RevokedCertificates> revoked) {
  revoked_in_hand = std::move(revoked);
}

bool watch_handshakes() { return session_index() != kNoIndex; }

HandshakePeer::HandshakePeer(int connection) { connection_in_hand = connection; }

HandshakePeer::~HandshakePeer() { connection_in_hand = kNoConnection; }

std::string peer_text(int connection) {
  sockaddr_storage storage{};
  socklen_t length = sizeof storage;
  auto* address = reinterpret_cast<sockaddr*>(&storage);
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> port{};
  if (getpeername(connection, address, &length) != 0 ||
      getnameinfo(address, length, host.data(), host.size(), port.data(), port.size(),
                  NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return kUnknownPeer;
  }
  Address peer{host.data(), 0};
  std::from_chars(port.data(), port.data() + port.size(), peer.port);
  return peer.text();
}

}  // namespace nexad

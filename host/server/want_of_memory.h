// What is still done when there is no memory left: each call is answered. Nothing here fails.
#ifndef HOST_SERVER_WANT_OF_MEMORY_H_
#define HOST_SERVER_WANT_OF_MEMORY_H_

#include <grpcpp/support/status.h>

#include <new>

#include "request/status_details.h"

namespace nexa::server {

// So short that a string holds it itself.
inline constexpr char kNoMemory[] = "out of memory";

inline grpc::Status no_memory() noexcept {
  return {grpc::StatusCode::RESOURCE_EXHAUSTED, kNoMemory};
}

// The status, without the text when there is no memory for that.
inline grpc::Status status_of(grpc::StatusCode code, const char* text) noexcept {
  try {
    return {code, text};
  } catch (const std::bad_alloc&) {
    return {code, {}};
  }
}

// The same of a status that is to be sent.
inline grpc::Status sendable(const grpc::Status& status) noexcept {
  try {
    return request::bounded(status);
  } catch (const std::bad_alloc&) {
    return {status.error_code(), {}};
  }
}

// Does what may as well be left undone: a call is not to fail because nobody could be told of it.
template <typename Work>
void attempt(Work&& work) noexcept {
  try {
    work();
  } catch (...) {  // NOLINT(bugprone-empty-catch)
  }
}

}  // namespace nexa::server

#endif  // HOST_SERVER_WANT_OF_MEMORY_H_

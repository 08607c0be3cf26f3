// The streams of one kind that are open: how many there may be, and their common end.
#ifndef HOST_SERVER_OPEN_STREAMS_H_
#define HOST_SERVER_OPEN_STREAMS_H_

#include <grpcpp/support/status.h>

#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "server/messages.h"

namespace nexa::server {

// Thread-safe. A `Stream` has end(grpc::Status), which may be called from any thread and more than
// once. The streams keep themselves.
template <typename Stream>
class OpenStreams {
 public:
  explicit OpenStreams(std::size_t most) : most_(most) {}

  // Why the stream may not begin; when it may, it counts until remove().
  grpc::Status admit(const std::shared_ptr<Stream>& stream) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (closed_) return {grpc::StatusCode::UNAVAILABLE, kShuttingDown};
    if (streams_.size() >= most_) return {grpc::StatusCode::RESOURCE_EXHAUSTED, kTooManyStreams};
    streams_.emplace(stream.get(), stream);
    return grpc::Status::OK;
  }

  // Of a stream that was not admitted: nothing.
  void remove(const Stream* stream) {
    const std::lock_guard<std::mutex> lock(mutex_);
    streams_.erase(stream);
  }

  // Ends all streams and refuses new ones.
  void close_all() {
    std::vector<std::shared_ptr<Stream>> open;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      closed_ = true;
      for (const auto& [stream, weak] : streams_) {
        if (auto living = weak.lock()) open.push_back(std::move(living));
      }
    }
    for (const auto& stream : open) stream->end({grpc::StatusCode::UNAVAILABLE, kShuttingDown});
  }

 private:
  const std::size_t most_;
  std::mutex mutex_;
  bool closed_ = false;
  std::unordered_map<const Stream*, std::weak_ptr<Stream>> streams_;
};

}  // namespace nexa::server

#endif  // HOST_SERVER_OPEN_STREAMS_H_

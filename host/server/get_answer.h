// The answer to a Get, written while it is read: what is finished is bytes, which take a fraction
// of what the messages take that they were written from.
#ifndef HOST_SERVER_GET_ANSWER_H_
#define HOST_SERVER_GET_ANSWER_H_

#include <grpcpp/support/byte_buffer.h>
#include <grpcpp/support/slice.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "gnmi.pb.h"
#include "telemetry/answer_paths.h"

namespace nexa::server {

// Notifications one after the other. Belongs to one thread.
class GetAnswer {
 public:
  // `most_bytes`: of all notifications together. `prefix` outlives the answer.
  GetAnswer(const telemetry::AnswerPrefix& prefix, std::size_t most_bytes)
      : prefix_(prefix), room_(most_bytes) {}

  // Begins a notification whose prefix and time take `frame` bytes.
  void begin(std::size_t frame);

  // Adds an update to it; both arguments are moved from. `path` is whole.
  void add(gnmi::Path& path, gnmi::TypedValue& value);

  // Ends it. Its paths are relative to the prefix when that covers all of them.
  void end(std::int64_t timestamp);

  bool is_too_large() const { return is_too_large_; }
  // Of the notification in hand.
  bool is_empty() const { return updates_ == 0; }

  // Everything, as the bytes of a GetResponse; the answer is empty afterwards.
  grpc::ByteBuffer take();

 private:
  bool take_room(std::size_t bytes);
  void write_batch();
  void gather(const gnmi::Notification& frame);
  void close_gathered();
  void make_whole();

  const telemetry::AnswerPrefix& prefix_;
  std::size_t room_;
  bool is_too_large_ = false;

  // The notification in hand: `written_` are the first of its updates, `batch_` those after them.
  gnmi::Notification batch_;
  std::size_t batch_bytes_ = 0;
  std::vector<std::string> written_;
  bool covered_ = true;
  std::size_t updates_ = 0;

  std::vector<grpc::Slice> slices_;
  std::string gathered_;  // what follows them: short notifications together
};

}  // namespace nexa::server

#endif  // HOST_SERVER_GET_ANSWER_H_

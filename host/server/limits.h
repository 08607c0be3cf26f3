// What clients may cost the service: one record, so that a limit has one default and one meaning.
// What one commit may hold is the store's to limit, what a connection may do the listener's.
#ifndef HOST_SERVER_LIMITS_H_
#define HOST_SERVER_LIMITS_H_

#include <chrono>
#include <cstddef>

#include "request/limits.h"

namespace nexa::server {

struct Limits {
  std::size_t max_operations = request::kMostOperations;  // of one Set
  std::size_t max_paths = 1000;                           // of one Get or Subscribe
  std::size_t max_parts = 1000000;  // of one request in all: see read_request()
  std::size_t max_streams = 10000;
  std::size_t max_updates = 200;  // of one message of a stream; 1: each leaf in its own
  std::size_t max_answer_bytes = 256U << 20U;   // of one Get
  std::size_t unread_answer_bytes = 1U << 30U;  // of all unary calls, until clients have read them
  std::size_t stream_queue_bytes = 8U << 20U;   // unsent; a stream beyond it is ended
  std::size_t unread_stream_bytes = 256U << 20U;  // unsent of all streams; those behind are ended
  std::size_t pending_sets = 1000;                // waiting for the writer; more are refused
  std::chrono::milliseconds min_sample_interval{50};  // what interval 0 means; less is refused
  // How often a stream looks at counters and the like where the target chooses the mode, and where
  // changes of them are asked for.
  std::chrono::milliseconds target_sample_interval{10000};
};

}  // namespace nexa::server

#endif  // HOST_SERVER_LIMITS_H_

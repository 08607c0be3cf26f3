// How much memory do answers take that their clients have not read? gRPC keeps what it sends until
// the client takes it, and a client may take nothing for as long as its connection lives.
#ifndef HOST_SERVER_UNREAD_ANSWERS_H_
#define HOST_SERVER_UNREAD_ANSWERS_H_

#include <grpcpp/support/server_callback.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <utility>

namespace nexa::server {

// The bytes of all unread answers. Any thread.
class UnreadAnswers {
 public:
  explicit UnreadAnswers(std::size_t limit) : limit_(limit) {}

  // Counts an answer; false, and nothing counted, when it is one too many.
  bool take(std::size_t bytes);
  void give_back(std::size_t bytes) { bytes_ -= bytes; }

 private:
  const std::size_t limit_;
  std::atomic<std::size_t> bytes_{0};
};

// gRPC's side of a unary call; goes when gRPC is done with it, which may be after the service.
class AnswerReactor final : public grpc::ServerUnaryReactor {
 public:
  // Use make(): it keeps itself.
  explicit AnswerReactor(std::shared_ptr<UnreadAnswers> unread) : unread_(std::move(unread)) {}
  static AnswerReactor* make(std::shared_ptr<UnreadAnswers> unread);

  // Counts the answer until its client has read it; false when there is no room for it. Once,
  // before Finish().
  bool count(std::size_t bytes);
  void OnDone() override;

 private:
  const std::shared_ptr<UnreadAnswers> unread_;
  std::size_t bytes_ = 0;
  std::unique_ptr<AnswerReactor> self_;
};

}  // namespace nexa::server

#endif  // HOST_SERVER_UNREAD_ANSWERS_H_

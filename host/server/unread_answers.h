// How much memory do answers take that their clients have not read? gRPC keeps what it sends until
// the client takes it, and a client may take nothing for as long as its connection lives.
#ifndef HOST_SERVER_UNREAD_ANSWERS_H_
#define HOST_SERVER_UNREAD_ANSWERS_H_

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>

#include "server/raw_methods.h"

namespace nexa::server {

// The bytes of all unread answers. Any thread.
class UnreadAnswers {
 public:
  explicit UnreadAnswers(std::size_t limit) : limit_(limit) {}

  // Counts an answer; false, and nothing counted, when it is one too many.
  bool take(std::size_t bytes);
  void give_back(std::size_t bytes) { bytes_ -= bytes; }

  // Counts what is there already.
  void add(std::size_t bytes) { bytes_ += bytes; }
  // What there is still room for.
  std::size_t room() const;

 private:
  const std::size_t limit_;
  std::atomic<std::size_t> bytes_{0};
};

// gRPC's side of a unary call; goes when gRPC is done with it, which may be after the service.
class AnswerReactor final : public BytesReactor {
 public:
  // `is_request`: whether there is a request, which is in `bytes`. One of gRPC's threads calls it.
  using Received = std::function<void(bool is_request, grpc::ByteBuffer& bytes)>;

  // Use make(): it keeps itself.
  explicit AnswerReactor(std::shared_ptr<UnreadAnswers> unread) : unread_(std::move(unread)) {}
  static AnswerReactor* make(std::shared_ptr<UnreadAnswers> unread);

  // Reads the request. Once, and not after the call was finished.
  void read(Received received);

  // Counts an answer that will have at most that many bytes, so that there is room for it whatever
  // comes in between; false, and nothing counted, when there is none.
  bool reserve(std::size_t bytes);

  // Ends the call with an answer, which is counted until its client has read it; false, and nothing
  // is sent, when there is no room for it.
  bool answer(grpc::ByteBuffer& bytes);

  void OnReadDone(bool ok) override;
  void OnDone() override;

 private:
  const std::shared_ptr<UnreadAnswers> unread_;
  Received received_;
  grpc::ByteBuffer request_;
  grpc::ByteBuffer answer_;
  std::size_t counted_ = 0;
  std::unique_ptr<AnswerReactor> self_;
};

}  // namespace nexa::server

#endif  // HOST_SERVER_UNREAD_ANSWERS_H_

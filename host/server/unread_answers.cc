// One counter for all answers; each reactor gives back what it took when its call is done.
#include "server/unread_answers.h"

#include <utility>

#include "server/want_of_memory.h"

namespace nexa::server {

bool UnreadAnswers::take(std::size_t bytes) {
  if (bytes_.fetch_add(bytes) + bytes <= limit_) return true;
  bytes_ -= bytes;
  return false;
}

std::size_t UnreadAnswers::room() const {
  const std::size_t taken = bytes_;
  return taken < limit_ ? limit_ - taken : 0;
}

AnswerReactor* AnswerReactor::make(std::shared_ptr<UnreadAnswers> unread) {
  auto made = std::make_unique<AnswerReactor>(std::move(unread));
  AnswerReactor* const reactor = made.get();
  reactor->self_ = std::move(made);
  return reactor;
}

void AnswerReactor::read(Received received) {
  received_ = std::move(received);
  StartRead(&request_);
}

void AnswerReactor::OnReadDone(bool ok) {
  const Received received = std::move(received_);
  attempt([&] { received(ok, request_); });  // what it drops is answered
}

bool AnswerReactor::reserve(std::size_t bytes) {
  if (bytes <= counted_) return true;
  if (!unread_->take(bytes - counted_)) return false;
  counted_ = bytes;
  return true;
}

bool AnswerReactor::answer(grpc::ByteBuffer& bytes) {
  if (!reserve(bytes.Length())) return false;
  answer_.Swap(&bytes);
  StartWriteAndFinish(&answer_, grpc::WriteOptions(), grpc::Status::OK);
  return true;
}

void AnswerReactor::OnDone() {
  const std::unique_ptr<AnswerReactor> self = std::move(self_);
  unread_->give_back(counted_);
}

}  // namespace nexa::server

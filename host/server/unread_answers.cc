// One counter for all answers; each reactor gives back what it took when its call is done.
#include "server/unread_answers.h"

namespace nexa::server {

bool UnreadAnswers::take(std::size_t bytes) {
  if (bytes_.fetch_add(bytes) + bytes <= limit_) return true;
  bytes_ -= bytes;
  return false;
}

AnswerReactor* AnswerReactor::make(std::shared_ptr<UnreadAnswers> unread) {
  auto made = std::make_unique<AnswerReactor>(std::move(unread));
  AnswerReactor* const reactor = made.get();
  reactor->self_ = std::move(made);
  return reactor;
}

bool AnswerReactor::count(std::size_t bytes) {
  if (!unread_->take(bytes)) return false;
  bytes_ = bytes;
  return true;
}

void AnswerReactor::OnDone() {
  const std::unique_ptr<AnswerReactor> self = std::move(self_);
  unread_->give_back(bytes_);
}

}  // namespace nexa::server

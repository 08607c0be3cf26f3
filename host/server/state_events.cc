// The first event of a burst makes an appointment, the others are part of it.
#include "server/state_events.h"

#include <chrono>
#include <new>

namespace nexa::server {
namespace {

// An interface that comes up is a dozen events.
constexpr std::chrono::milliseconds kBurst{10};

}  // namespace

void StateEvents::start() {
  for (state::StateProvider* const provider : state_.providers()) {
    provider->watch([this] { changed(); });
  }
}

void StateEvents::stop() {
  for (state::StateProvider* const provider : state_.providers()) provider->watch(nullptr);
}

void StateEvents::changed() {
  if (is_scheduled_.exchange(true)) return;
  try {
    sampler_.schedule(std::chrono::steady_clock::now() + kBurst, weak_from_this());
  } catch (const std::bad_alloc&) {
    due();  // without memory for an appointment, at once
  }
}

void StateEvents::due() {
  is_scheduled_ = false;
  state_.expire();
  feed_.state_changed();
}

}  // namespace nexa::server

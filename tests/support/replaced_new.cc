// Memory is malloc's, as that of the standard library's own operator new.
#include "support/replaced_new.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<nexa_test::NewFails> asked{nullptr};

bool fails() {
  const nexa_test::NewFails now = asked.load(std::memory_order_relaxed);
  return now != nullptr && now();
}

}  // namespace

void nexa_test::set_new_fails(NewFails fails) { asked = fails; }

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return fails() ? nullptr : std::malloc(size != 0 ? size : 1);
}
void* operator new(std::size_t size) {
  void* const memory = operator new(size, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept { std::free(memory); }

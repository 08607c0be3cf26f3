// Counts the allocations of each kind and fails the one that is armed.
#include "support/failing_allocator.h"

#include <libxml/xmlmemory.h>

#include <cstdlib>
#include <cstring>

#include "support/replaced_new.h"

namespace {

using nexa_test::AllocationKind;

AllocationKind armed_kind = AllocationKind::kBuffer;
int remaining = 0;  // allocations of the armed kind up to the one that fails; 0 when disarmed
bool has_fired = false;
int live_xml = 0;
int live_buffers = 0;

bool fails(AllocationKind kind) {
  const bool lasts = armed_kind == AllocationKind::kNewFromThere;
  if (remaining == 0 || kind != (lasts ? AllocationKind::kNew : armed_kind)) return false;
  if (lasts && has_fired) return true;
  if (--remaining > 0) return false;
  has_fired = true;
  if (lasts) remaining = 1;  // armed still
  return true;
}

void* xml_malloc(std::size_t size) {
  if (fails(AllocationKind::kXml)) return nullptr;
  ++live_xml;
  return std::malloc(size);
}

void* xml_realloc(void* memory, std::size_t size) {
  if (fails(AllocationKind::kXml)) return nullptr;
  if (memory == nullptr) ++live_xml;
  return std::realloc(memory, size);
}

char* xml_strdup(const char* text) {
  const std::size_t size = std::strlen(text) + 1;
  void* copy = xml_malloc(size);
  if (copy != nullptr) std::memcpy(copy, text, size);
  return static_cast<char*>(copy);
}

void xml_free(void* memory) {
  if (memory != nullptr) --live_xml;
  std::free(memory);
}

// Buffers in use: a fixed array, because keeping count must not allocate.
void* buffers[256] = {};

void exchange_buffer(void* from, void* to) {
  for (void*& buffer : buffers) {
    if (buffer != from) continue;
    buffer = to;
    live_buffers += to != nullptr ? 1 : -1;
    return;
  }
}

}  // namespace

extern "C" {

void* __real_calloc(std::size_t count, std::size_t size);
void __real_free(void* memory);
int __real__strcpy_s_chk(char* target, std::size_t bound, const char* source, std::size_t size);

void* __wrap_calloc(std::size_t count, std::size_t size);
void __wrap_free(void* memory);
int __wrap__strcpy_s_chk(char* target, std::size_t bound, const char* source, std::size_t size);

void* __wrap_calloc(std::size_t count, std::size_t size) {
  if (fails(AllocationKind::kBuffer)) return nullptr;
  void* memory = __real_calloc(count, size);
  exchange_buffer(nullptr, memory);
  return memory;
}

void __wrap_free(void* memory) {
  if (memory != nullptr) exchange_buffer(memory, nullptr);
  __real_free(memory);
}

int __wrap__strcpy_s_chk(char* target, std::size_t bound, const char* source, std::size_t size) {
  constexpr int kAnyFailure = 403;
  if (fails(AllocationKind::kCopy)) return kAnyFailure;
  return __real__strcpy_s_chk(target, bound, source, size);
}

}  // extern "C"

namespace nexa_test {

void FailingAllocator::install() {
  xmlMemSetup(&xml_free, &xml_malloc, &xml_realloc, &xml_strdup);
  set_new_fails([] { return fails(AllocationKind::kNew); });
}

int FailingAllocator::live() { return live_xml + live_buffers; }

void FailingAllocator::disarm() { remaining = 0; }

FailingAllocator::Armed::Armed(AllocationKind kind, int n) {
  armed_kind = kind;
  remaining = n;
  has_fired = false;
}

FailingAllocator::Armed::~Armed() { disarm(); }

bool FailingAllocator::Armed::fired() const { return has_fired; }

}  // namespace nexa_test

// The start runs through much code that nobody calls again: constructors, relocation, registration,
// the compiler of schemas. Its pages count as the process's until somebody takes them away.
#include "process_memory.h"

#include <link.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

namespace nexad {
namespace {

constexpr int kLargeBlock = 1 << 20;
constexpr int kSpareHeap = 16 << 20;

// The dynamic linker tells addresses as numbers.
void* at(std::uintptr_t address) {
  return reinterpret_cast<void*>(address);  // NOLINT(performance-no-int-to-ptr)
}

// Whether relocations were written into code: such pages are no longer those of the file.
bool has_text_relocations(const dl_phdr_info& object) {
  for (ElfW(Half) i = 0; i < object.dlpi_phnum; ++i) {
    const ElfW(Phdr)& header = object.dlpi_phdr[i];
    if (header.p_type != PT_DYNAMIC) continue;
    const auto* entry = static_cast<const ElfW(Dyn)*>(at(object.dlpi_addr + header.p_vaddr));
    for (; entry->d_tag != DT_NULL; ++entry) {
      if (entry->d_tag == DT_TEXTREL) return true;
      if (entry->d_tag == DT_FLAGS && (entry->d_un.d_val & DF_TEXTREL) != 0) return true;
    }
  }
  return false;
}

// Nobody can have written to a segment that was never writable, so its pages are those of the file,
// to be read again.
int unmap_code(dl_phdr_info* object, std::size_t, void*) {
  if (has_text_relocations(*object)) return 0;
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  for (ElfW(Half) i = 0; i < object->dlpi_phnum; ++i) {
    const ElfW(Phdr)& header = object->dlpi_phdr[i];
    if (header.p_type != PT_LOAD || (header.p_flags & PF_W) != 0 || header.p_filesz == 0) continue;
    const std::uintptr_t first = (object->dlpi_addr + header.p_vaddr) & ~(page - 1);
    const std::uintptr_t end =
        (object->dlpi_addr + header.p_vaddr + header.p_filesz + page - 1) & ~(page - 1);
    // A refusal, of an emulator for one, leaves the pages where they are.
    madvise(at(first), end - first, MADV_DONTNEED);
  }
  return 0;
}

}  // namespace

void set_memory_habits() {
  // Conversions of large payloads again and again slow down by a multiple with the fast bins.
  mallopt(M_MXFAST, 0);
  // What large answers took goes back to the system: without a fixed threshold the C library gives
  // them room of the heap from the second one on, and keeps it.
  mallopt(M_MMAP_THRESHOLD, kLargeBlock);
  mallopt(M_TRIM_THRESHOLD, kSpareHeap);
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return;
  if (pthread_attr_setstacksize(&attributes, kThreadStackBytes) == 0) {
    pthread_setattr_default_np(&attributes);
  }
  pthread_attr_destroy(&attributes);
}

void give_back_start_memory() {
  malloc_trim(0);
  dl_iterate_phdr(unmap_code, nullptr);
}

}  // namespace nexad

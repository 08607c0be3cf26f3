// Whose an allocation is: the stack is walked from the allocation outwards. Frames of the standard
// library and of the schema library are passed over: what they ask for is for whoever called them.
// The first frame that is the server's, or gRPC's or protobuf's, decides.
//
// The frames of these two are those of their shared objects and, by the names of the program's
// symbols, those of their headers. The walk itself asks for no memory.
#include "server/allocation/failing_allocations.h"

#include <elf.h>
#include <link.h>
#include <unwind.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/replaced_new.h"

namespace nexa_test {
namespace {

enum class Owner : std::uint8_t { kNobody, kServer, kOther };

struct Code {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;
  Owner owner = Owner::kNobody;
};

// Sorted; written by prepare() alone.
std::vector<Code>& code() {
  static std::vector<Code> ranges;
  return ranges;
}
const Code* first_code = nullptr;
const Code* end_of_code = nullptr;

std::atomic<bool> armed{false};
std::atomic<bool> all_fail{false};
std::atomic<int> remaining{0};
std::atomic<bool> fired{false};
std::atomic<Failing> mode{Failing::kOne};
std::atomic<int> being_decided{0};
thread_local bool kept_out = false;

Owner owner_of_symbol(std::string_view name) {
  for (const char* const prefix :
       {"_ZN4grpc", "_ZNK4grpc", "_ZTv0_n24_N4grpc", "_ZThn8_N4grpc", "_ZThn16_N4grpc", "_ZZN4grpc",
        "_ZZNK4grpc", "_ZN6google8protobuf", "_ZNK6google8protobuf"}) {
    if (name.starts_with(prefix)) return Owner::kOther;
  }
  // The walk's own frames are nobody's.
  if (name.find("15walk_of_a_stack") != std::string_view::npos) return Owner::kNobody;
  for (const char* const ours : {"4nexa", "9nexa_test"}) {
    if (name.find(ours) != std::string_view::npos) return Owner::kServer;
  }
  return Owner::kNobody;
}

bool must_not_fail(std::string_view path) {
  const std::string_view name = path.substr(path.rfind('/') + 1);
  for (const char* const prefix : {"libprotobuf", "libgnmi_proto", "libgrpc", "libgpr", "libabsl",
                                   "libupb", "libcares", "libre2", "libaddress_sorting"}) {
    if (name.starts_with(prefix)) return true;
  }
  return false;
}

template <typename Record>
const Record* at(const std::string& file, std::size_t offset, std::size_t count = 1) {
  if (offset > file.size() || count > (file.size() - offset) / sizeof(Record)) return nullptr;
  return reinterpret_cast<const Record*>(file.data() + offset);
}

// Each function of the file whose owner is known by its name. False when it was stripped of names.
bool add_functions(const std::string& path, std::uintptr_t base) {
  std::ifstream in(path, std::ios::binary);
  const std::string file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const auto* const head = at<ElfW(Ehdr)>(file, 0);
  if (head == nullptr) return false;
  const auto* const sections = at<ElfW(Shdr)>(file, head->e_shoff, head->e_shnum);
  if (sections == nullptr) return false;
  bool has_names = false;
  for (int index = 0; index < head->e_shnum; ++index) {
    const auto& section = sections[index];
    if (section.sh_type != SHT_SYMTAB) continue;
    has_names = true;
    const std::size_t count = section.sh_size / sizeof(ElfW(Sym));
    const auto* const symbols = at<ElfW(Sym)>(file, section.sh_offset, count);
    if (symbols == nullptr) return false;
    const std::size_t names = sections[section.sh_link].sh_offset;
    for (std::size_t which = 0; which < count; ++which) {
      const auto& symbol = symbols[which];
      if ((symbol.st_info & 0xF) != STT_FUNC || symbol.st_size == 0) continue;
      const Owner owner = owner_of_symbol(file.c_str() + names + symbol.st_name);
      if (owner == Owner::kNobody) continue;
      const std::uintptr_t begin = base + symbol.st_value;
      code().push_back({begin, begin + symbol.st_size, owner});
    }
  }
  return has_names;
}

// The first object is the program; it has no path here.
int add_object(dl_phdr_info* object, std::size_t /*size*/, void* has_names) {
  const std::string_view path = object->dlpi_name;
  const bool is_program = path.empty() && code().empty();
  if (is_program) {
    *static_cast<bool*>(has_names) = add_functions("/proc/self/exe", object->dlpi_addr);
    return 0;
  }
  if (!must_not_fail(path)) return 0;
  for (int index = 0; index < object->dlpi_phnum; ++index) {
    const auto& segment = object->dlpi_phdr[index];
    if (segment.p_type != PT_LOAD || (segment.p_flags & PF_X) == 0) continue;
    const std::uintptr_t begin = object->dlpi_addr + segment.p_vaddr;
    code().push_back({begin, begin + segment.p_memsz, Owner::kOther});
  }
  return 0;
}

namespace walk_of_a_stack {

Owner owner_at(std::uintptr_t address) {
  const Code* const after =
      std::upper_bound(first_code, end_of_code, address,
                       [](std::uintptr_t wanted, const Code& each) { return wanted < each.begin; });
  if (after == first_code) return Owner::kNobody;
  const Code& found = *(after - 1);
  return address < found.end ? found.owner : Owner::kNobody;
}

_Unwind_Reason_Code look_at_frame(_Unwind_Context* frame, void* place) {
  // A frame's address is behind its call.
  const Owner owner = owner_at(_Unwind_GetIP(frame) - 1);
  if (owner == Owner::kNobody) return _URC_NO_REASON;
  *static_cast<Owner*>(place) = owner;
  return _URC_END_OF_STACK;
}

bool is_of_server() {
  Owner owner = Owner::kNobody;
  _Unwind_Backtrace(look_at_frame, &owner);
  return owner == Owner::kServer;
}

bool decide() {
  if (!armed || !is_of_server()) return false;
  if (all_fail) return true;
  if (remaining.fetch_sub(1) != 1) return false;
  fired = true;
  all_fail = mode == Failing::kAllFromThere;
  return true;
}

bool fails() {
  if (!armed.load(std::memory_order_relaxed) || kept_out) return false;
  being_decided.fetch_add(1);
  const bool is_failing = decide();
  being_decided.fetch_sub(1);
  return is_failing;
}

}  // namespace walk_of_a_stack
}  // namespace

FailingAllocations::FailingAllocations(Failing which, int n) {
  mode = which;
  remaining = n;
  fired = false;
  armed = true;
}

FailingAllocations::~FailingAllocations() {
  armed = false;
  // What a thread still decides belongs to this one; to the next it would be a failure from
  // nowhere.
  while (being_decided != 0) std::this_thread::yield();
  all_fail = false;
}

bool FailingAllocations::prepare() {
  if (first_code != nullptr) return true;
  bool has_names = false;
  dl_iterate_phdr(add_object, &has_names);
  if (!has_names) return false;
  std::sort(code().begin(), code().end(),
            [](const Code& a, const Code& b) { return a.begin < b.begin; });
  end_of_code = code().data() + code().size();
  first_code = code().data();
  static_cast<void>(walk_of_a_stack::is_of_server());  // the unwinder's own first steps
  set_new_fails(walk_of_a_stack::fails);
  return true;
}

void FailingAllocations::keep_out() { kept_out = true; }

bool FailingAllocations::has_fired() { return fired; }

}  // namespace nexa_test

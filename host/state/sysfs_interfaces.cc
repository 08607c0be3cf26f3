// class/net has a link to the folder of each interface, and files of some drivers beside them.
#include "state/sysfs_interfaces.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <utility>

#include "state/sysfs_value.h"
#include "text/utf8.h"

namespace nexa::state {
namespace {

// Identity of iana-if-type for a hardware type of the kernel (ARPHRD_).
std::string_view type_identity(std::uint64_t hardware) {
  switch (hardware) {
    case 1:
      return "ethernetCsmacd";
    case 772:
      return "softwareLoopback";
    case 65534:
      return "tunnel";
    default:
      return "other";
  }
}

}  // namespace

std::vector<std::string> interface_names(const std::string& net) {
  std::vector<std::string> names;
  std::error_code error;
  std::filesystem::directory_iterator entry(net, error);
  for (const std::filesystem::directory_iterator end; !error && entry != end;
       entry.increment(error)) {
    std::error_code unknown;
    std::string name = entry->path().filename().string();
    if (entry->is_directory(unknown) && text::yang_text_fault(name) == nullptr) {
      names.push_back(std::move(name));
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

void write_interface_type(const std::string& folder, const KestrelNsEntry* types,
                          SchemaWriter& writer) {
  const auto hardware = read_number(folder + "/type");
  if (hardware) writer.identity_leaf("type", types, type_identity(*hardware));
}

Pace interface_pace(const kestrel_cs_node& leaf, std::string_view counters,
                    const InterfaceEvents* events) {
  if (events == nullptr || !events->works()) return Pace::kGauge;
  const char* const around = leaf.parent == nullptr ? nullptr : kestrel_hash2str(leaf.parent->tag);
  return around != nullptr && counters == around ? Pace::kGauge : Pace::kEvents;
}

}  // namespace nexa::state

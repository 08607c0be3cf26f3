// One pass over class/net. Everything is read anew each time; kept is only what tells when the
// counters of an interface began.
#include "state/linux_interfaces.h"

#include <net/if.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "state/interface_counters.h"
#include "state/interface_schema.h"
#include "state/sysfs_value.h"
#include "text/escape.h"
#include "text/utf8.h"

namespace nexa::state {
namespace {

// oper-status of RFC 8343 for a state of sysfs (RFC 2863).
std::string_view oper_status(std::string_view state) {
  if (state == "notpresent") return "not-present";
  if (state == "lowerlayerdown") return "lower-layer-down";
  for (const std::string_view same : {"up", "down", "testing", "dormant"}) {
    if (state == same) return same;
  }
  return "unknown";
}

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

bool is_hex_digit(char byte) {
  return (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'f') ||
         (byte >= 'A' && byte <= 'F');
}

// Pairs of hexadecimal digits with colons between: yang:phys-address, and not empty.
bool is_phys_address(std::string_view text) {
  if (text.size() % 3 != 2) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (i % 3 == 2 ? text[i] != ':' : !is_hex_digit(text[i])) return false;
  }
  return true;
}

std::string date_and_time(std::int64_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  std::tm parts{};
  char text[32];
  if (gmtime_r(&time, &parts) == nullptr ||
      std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts) == 0) {
    return {};
  }
  return text;
}

class LinuxInterfaces : public StateProvider {
 public:
  explicit LinuxInterfaces(const std::string& sysfs)
      : folder_(sysfs + "/class/net"),
        start_(read_boot_time(sysfs + "/../proc").value_or(std::time(nullptr))) {}

  std::string_view name() const override { return "linux-interfaces"; }
  std::string_view module() const override { return "ietf-interfaces"; }

  void append_xml(std::string& xml) override {
    const InterfaceSchema schema;
    if (!schema.is_loaded()) return;
    std::string entries;
    const std::vector<std::string> names = interfaces();
    for (const std::string& interface : names) append_entry(interface, schema, entries);
    forget_all_but(names);
    if (entries.empty()) return;
    xml += "<interfaces xmlns=\"";
    text::append_xml_attribute(schema.uri(), xml);
    xml += "\"";
    if (!schema.type_uri().empty()) {
      xml += " xmlns:type=\"";
      text::append_xml_attribute(schema.type_uri(), xml);
      xml += "\"";
    }
    xml.append(">").append(entries).append("</interfaces>");
  }

 private:
  struct Counting {
    std::uint64_t index = 0;
    std::int64_t since = 0;
  };

  // Those whose name a YANG string can hold. The kernel allows any byte but blanks and slashes.
  std::vector<std::string> interfaces() const {
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entry(folder_, error);
    for (const std::filesystem::directory_iterator end; !error && entry != end;
         entry.increment(error)) {
      std::error_code unknown;
      std::string name = entry->path().filename().string();
      if (entry->is_directory(unknown) && text::yang_text_fault(name) == nullptr)
        names.push_back(std::move(name));
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  void append_entry(const std::string& interface, const InterfaceSchema& schema, std::string& xml) {
    const std::string folder = folder_ + "/" + interface;
    const auto flags = read_number(folder + "/flags");
    const auto index = read_number(folder + "/ifindex");
    xml += "<interface>";
    text::append_xml_leaf("name", interface, xml);
    append_type(folder, schema, xml);
    if (flags && schema.has_leaf("admin-status")) {
      text::append_xml_leaf("admin-status", (*flags & IFF_UP) != 0 ? "up" : "down", xml);
    }
    const auto state = read_line(folder + "/operstate");
    if (state && schema.has_leaf("oper-status")) {
      text::append_xml_leaf("oper-status", oper_status(*state), xml);
    }
    if (index && *index >= 1 && *index <= INT32_MAX && schema.has_leaf("if-index")) {
      text::append_xml_leaf("if-index", std::to_string(*index), xml);
    }
    const auto address = read_line(folder + "/address");
    if (address && is_phys_address(*address) && schema.has_leaf("phys-address")) {
      text::append_xml_leaf("phys-address", *address, xml);
    }
    append_speed(folder, schema, xml);
    append_statistics(interface, static_cast<unsigned>(flags.value_or(IFF_BROADCAST)),
                      index.value_or(0), schema, xml);
    xml += "</interface>";
  }

  static void append_type(const std::string& folder, const InterfaceSchema& schema,
                          std::string& xml) {
    const auto hardware = read_number(folder + "/type");
    if (!hardware || schema.type_uri().empty() || !schema.has_leaf("type")) return;
    text::append_xml_leaf("type", "type:" + std::string(type_identity(*hardware)), xml);
  }

  // Megabits there, bits here; drivers that do not know write -1.
  static void append_speed(const std::string& folder, const InterfaceSchema& schema,
                           std::string& xml) {
    constexpr std::uint64_t kMega = 1000000;
    const auto speed = read_number(folder + "/speed");
    // Some drivers write the 32 bits of -1 without a sign.
    if (!speed || *speed == 0 || *speed >= UINT32_MAX || !schema.has_leaf("speed")) return;
    text::append_xml_leaf("speed", std::to_string(*speed * kMega), xml);
  }

  void append_statistics(const std::string& interface, unsigned flags, std::uint64_t index,
                         const InterfaceSchema& schema, std::string& xml) {
    std::string counters;
    append_counters(folder_ + "/" + interface, flags, schema, counters);
    if (counters.empty()) return;
    xml += "<statistics>";
    text::append_xml_leaf("discontinuity-time", date_and_time(counting_since(interface, index)),
                          xml);
    xml.append(counters).append("</statistics>");
  }

  // The counters of an interface that came later, or came again under its name with another index,
  // began then; those that were there at first count since the machine's start.
  std::int64_t counting_since(const std::string& interface, std::uint64_t index) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto [entry, is_new] = counting_.try_emplace(interface);
    Counting& counting = entry->second;
    if (is_new) counting = {index, is_first_pass_ ? start_ : std::time(nullptr)};
    if (counting.index != index) counting = {index, std::time(nullptr)};
    return counting.since;
  }

  // `names` is sorted.
  void forget_all_but(const std::vector<std::string>& names) {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_first_pass_ = false;
    std::erase_if(counting_, [&](const auto& entry) {
      return !std::binary_search(names.begin(), names.end(), entry.first);
    });
  }

  const std::string folder_;
  const std::int64_t start_;  // of the machine, or of this object when that is not known
  std::mutex mutex_;
  bool is_first_pass_ = true;
  std::map<std::string, Counting> counting_;
};

}  // namespace

std::unique_ptr<StateProvider> make_linux_interfaces(std::string sysfs) {
  return std::make_unique<LinuxInterfaces>(sysfs);
}

}  // namespace nexa::state

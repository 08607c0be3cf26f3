// One pass over class/net and one over the addresses. Kept is only when the status of an interface
// changed last.
#include "state/openconfig_interfaces.h"

#include <net/if.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

#include "state/interface_counters.h"
#include "state/schema_writer.h"
#include "state/sysfs_interfaces.h"
#include "state/sysfs_value.h"

namespace nexa::state {
namespace {

constexpr std::uint64_t kMostMtu = std::numeric_limits<std::uint16_t>::max();

// oper-status for a state of sysfs (RFC 2863).
std::string_view oper_status_name(std::string_view state) {
  constexpr std::pair<std::string_view, std::string_view> kNames[] = {
      {"up", "UP"},
      {"down", "DOWN"},
      {"testing", "TESTING"},
      {"dormant", "DORMANT"},
      {"notpresent", "NOT_PRESENT"},
      {"lowerlayerdown", "LOWER_LAYER_DOWN"}};
  for (const auto& [known, name] : kNames) {
    if (state == known) return name;
  }
  return "UNKNOWN";
}

class OpenConfigInterfaces : public StateProvider {
 public:
  explicit OpenConfigInterfaces(InterfaceSources sources)
      : sources_(std::move(sources)), folder_(sources_.sysfs + "/class/net") {}
  ~OpenConfigInterfaces() override {
    if (sources_.events != nullptr) sources_.events->listen(this, nullptr);
  }
  OpenConfigInterfaces(const OpenConfigInterfaces&) = delete;
  OpenConfigInterfaces& operator=(const OpenConfigInterfaces&) = delete;

  std::string_view name() const override { return "openconfig-interfaces"; }
  std::string_view module() const override { return "openconfig-interfaces"; }

  void append_xml(std::string& xml) override {
    SchemaWriter writer(xml);
    if (!writer.open_top(find_module(module()), "interfaces")) return;
    const Modules modules = {find_module("iana-if-type"), find_module("openconfig-if-ip")};
    AddressLists addresses;
    for (InterfaceAddress& address : sources_.addresses()) {
      addresses[address.interface].push_back(std::move(address));
    }
    const std::vector<std::string> names = interface_names(folder_);
    for (const std::string& interface : names) {
      if (!writer.open("interface")) break;
      writer.leaf("name", interface);
      write_state(interface, modules, writer);
      const auto found = addresses.find(interface);
      if (found != addresses.end()) write_addresses(found->second, modules, writer);
      writer.close();
    }
    forget_all_but(names);
    writer.close();
  }

  Pace pace(const kestrel_cs_node& leaf) const override {
    return interface_pace(leaf, "counters", sources_.events.get());
  }

  void watch(std::function<void()> changed) override {
    if (sources_.events == nullptr) return;
    if (changed == nullptr) {
      sources_.events->listen(this, nullptr);
      return;
    }
    look_at_states();
    sources_.events->listen(this, [this, changed = std::move(changed)] {
      look_at_states();
      changed();
    });
  }

 private:
  struct Modules {
    const KestrelNsEntry* types;
    const KestrelNsEntry* ip;
  };
  struct Status {
    std::string state;            // as sysfs has it
    std::int64_t changed_ns = 0;  // since the Unix epoch; 0: not seen to change
  };
  using AddressLists = std::map<std::string, std::vector<InterfaceAddress>>;

  void write_state(const std::string& interface, const Modules& modules, SchemaWriter& writer) {
    if (!writer.open("state")) return;
    const std::string folder = folder_ + "/" + interface;
    const auto flags = read_number(folder + "/flags");
    const auto index = read_number(folder + "/ifindex");
    const auto mtu = read_number(folder + "/mtu");
    const auto state = read_line(folder + "/operstate");
    writer.leaf("name", interface);
    write_interface_type(folder, modules.types, writer);
    if (mtu && *mtu <= kMostMtu) writer.leaf("mtu", *mtu);
    if (index && *index <= UINT32_MAX) writer.leaf("ifindex", *index);
    if (flags) writer.leaf("admin-status", (*flags & IFF_UP) != 0 ? "UP" : "DOWN");
    if (state) {
      writer.leaf("oper-status", oper_status_name(*state));
      const std::int64_t changed = note(interface, *state);
      if (changed != 0) writer.leaf("last-change", static_cast<std::uint64_t>(changed));
    }
    if (writer.open("counters")) {
      write_counters(folder, static_cast<unsigned>(flags.value_or(IFF_BROADCAST)),
                     CounterModel::kOpenConfig, writer);
      writer.close();
    }
    writer.close();
  }

  static void write_addresses(const std::vector<InterfaceAddress>& addresses,
                              const Modules& modules, SchemaWriter& writer) {
    if (!writer.open("subinterfaces")) return;
    if (writer.open("subinterface")) {
      writer.leaf("index", std::uint64_t{0});
      if (writer.open("state")) {
        writer.leaf("index", std::uint64_t{0});
        writer.close();
      }
      write_family(addresses, false, modules, writer);
      write_family(addresses, true, modules, writer);
      writer.close();
    }
    writer.close();
  }

  static void write_family(const std::vector<InterfaceAddress>& addresses, bool is_ipv6,
                           const Modules& modules, SchemaWriter& writer) {
    if (!writer.open(modules.ip, is_ipv6 ? "ipv6" : "ipv4")) return;
    if (writer.open("addresses")) {
      for (const InterfaceAddress& address : addresses) {
        if (address.is_ipv6 != is_ipv6 || !writer.open("address")) continue;
        writer.leaf("ip", address.ip);
        if (writer.open("state")) {
          writer.leaf("ip", address.ip);
          writer.leaf("prefix-length", std::uint64_t{address.prefix_length});
          writer.close();
        }
        writer.close();
      }
      writer.close();
    }
    writer.close();
  }

  // When the status changed last, 0 when that is not known.
  std::int64_t note(const std::string& interface, const std::string& state) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto [entry, is_new] = states_.try_emplace(interface, Status{state, 0});
    Status& status = entry->second;
    if (!is_new && status.state != state) {
      status = {state, std::chrono::duration_cast<std::chrono::nanoseconds>(
                           std::chrono::system_clock::now().time_since_epoch())
                           .count()};
    }
    return status.changed_ns;
  }

  void look_at_states() {
    for (const std::string& interface : interface_names(folder_)) {
      if (const auto state = read_line(folder_ + "/" + interface + "/operstate")) {
        note(interface, *state);
      }
    }
  }

  // `names` is sorted.
  void forget_all_but(const std::vector<std::string>& names) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::erase_if(states_, [&](const auto& entry) {
      return !std::binary_search(names.begin(), names.end(), entry.first);
    });
  }

  const InterfaceSources sources_;
  const std::string folder_;
  std::mutex mutex_;
  std::map<std::string, Status> states_;
};

}  // namespace

std::unique_ptr<StateProvider> make_openconfig_interfaces(InterfaceSources sources) {
  return std::make_unique<OpenConfigInterfaces>(std::move(sources));
}

}  // namespace nexa::state

// One pass over class/net. Everything is read anew each time; kept is only what tells when the
// counters of an interface began.
#include "state/linux_interfaces.h"

#include <net/if.h>

#include <algorithm>
#include <ctime>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "state/interface_counters.h"
#include "state/schema_writer.h"
#include "state/sysfs_interfaces.h"
#include "state/sysfs_value.h"
#include "text/utc_time.h"

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

class LinuxInterfaces : public StateProvider {
 public:
  LinuxInterfaces(const std::string& sysfs, std::shared_ptr<InterfaceEvents> events)
      : folder_(sysfs + "/class/net"),
        start_(read_boot_time(sysfs + "/../proc").value_or(std::time(nullptr))),
        events_(std::move(events)) {}
  ~LinuxInterfaces() override {
    if (events_ != nullptr) events_->listen(this, nullptr);
  }
  LinuxInterfaces(const LinuxInterfaces&) = delete;
  LinuxInterfaces& operator=(const LinuxInterfaces&) = delete;

  std::string_view name() const override { return "linux-interfaces"; }
  std::string_view module() const override { return "ietf-interfaces"; }

  void append_xml(std::string& xml) override {
    SchemaWriter writer(xml);
    if (!writer.open_top(find_module(module()), "interfaces")) return;
    const KestrelNsEntry* const types = find_module("iana-if-type");
    const std::vector<std::string> names = interface_names(folder_);
    for (const std::string& interface : names) write_entry(interface, types, writer);
    forget_all_but(names);
    writer.close();
  }

  Pace pace(const kestrel_cs_node& leaf) const override {
    return interface_pace(leaf, "statistics", events_.get());
  }

  void watch(std::function<void()> changed) override {
    if (events_ != nullptr) events_->listen(this, std::move(changed));
  }

 private:
  struct Counting {
    std::uint64_t index = 0;
    std::int64_t since = 0;
  };

  void write_entry(const std::string& interface, const KestrelNsEntry* types,
                   SchemaWriter& writer) {
    if (!writer.open("interface")) return;
    const std::string folder = folder_ + "/" + interface;
    const auto flags = read_number(folder + "/flags");
    const auto index = read_number(folder + "/ifindex");
    writer.leaf("name", interface);
    write_interface_type(folder, types, writer);
    if (flags) writer.leaf("admin-status", (*flags & IFF_UP) != 0 ? "up" : "down");
    const auto state = read_line(folder + "/operstate");
    if (state) writer.leaf("oper-status", oper_status(*state));
    if (index && *index >= 1 && *index <= INT32_MAX) writer.leaf("if-index", *index);
    const auto address = read_line(folder + "/address");
    if (address && is_phys_address(*address)) writer.leaf("phys-address", *address);
    write_speed(folder, writer);
    if (writer.open("statistics")) {
      const auto shown = static_cast<unsigned>(flags.value_or(IFF_BROADCAST));
      if (write_counters(folder, shown, CounterModel::kIetf, writer)) {
        writer.leaf("discontinuity-time",
                    text::utc_time(counting_since(interface, index.value_or(0))));
      }
      writer.close();
    }
    writer.close();
  }

  // Megabits there, bits here; drivers that do not know write -1.
  static void write_speed(const std::string& folder, SchemaWriter& writer) {
    constexpr std::uint64_t kMega = 1000000;
    const auto speed = read_number(folder + "/speed");
    // Some drivers write the 32 bits of -1 without a sign.
    if (!speed || *speed == 0 || *speed >= UINT32_MAX) return;
    writer.leaf("speed", *speed * kMega);
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
  const std::shared_ptr<InterfaceEvents> events_;
  std::mutex mutex_;
  bool is_first_pass_ = true;
  std::map<std::string, Counting> counting_;
};

}  // namespace

std::unique_ptr<StateProvider> make_linux_interfaces(std::string sysfs,
                                                     std::shared_ptr<InterfaceEvents> events) {
  return std::make_unique<LinuxInterfaces>(sysfs, std::move(events));
}

}  // namespace nexa::state

// Operational data of the device: what a server adds to the configuration when it is read.
#ifndef HOST_STATE_STATE_PROVIDER_H_
#define HOST_STATE_STATE_PROVIDER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct kestrel_cs_node;

namespace nexa::store {
class StateTree;
}

namespace nexa::state {

// How the values of a leaf change; a subscription that leaves the mode to the target goes by it.
enum class Pace : std::uint8_t {
  kEvents,  // seldom, and the provider tells when
  kGauge,   // all the time: counters, loads, clocks
};

class StateProvider {
 public:
  virtual ~StateProvider() = default;

  // The provider's name, for logs.
  virtual std::string_view name() const = 0;

  // The YANG module whose nodes it fills; it is not asked when that module is not loaded. Empty: it
  // knows itself what it can fill.
  virtual std::string_view module() const = 0;

  // Appends the present values to `xml`: top-level elements with their namespace, entries with
  // their keys. Any thread, several at a time; never blocks on another machine.
  virtual void append_xml(std::string& xml) = 0;

  // The present values as the store's own tree, of a provider that keeps one; then nobody calls
  // append_xml(). Null: it has none. As append_xml().
  virtual std::shared_ptr<const store::StateTree> tree() { return nullptr; }

  // Of a leaf that it fills. Any thread.
  virtual Pace pace(const kestrel_cs_node& leaf) const {
    static_cast<void>(leaf);
    return Pace::kGauge;
  }

  // Changes whenever pace() may say something else of some leaf. Any thread.
  virtual std::uint64_t pace_version() const { return 0; }

  // From now on `changed` is called, on any thread, whenever a leaf of Pace::kEvents may have
  // another value; append_xml() gives the new one then. Called once, before anybody reads. A null
  // function ends it: no call is running when watch() returns.
  virtual void watch(std::function<void()> changed) { static_cast<void>(changed); }
};

}  // namespace nexa::state

#endif  // HOST_STATE_STATE_PROVIDER_H_

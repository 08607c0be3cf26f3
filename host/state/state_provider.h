// Operational data of the device: what a server adds to the configuration when it is read.
#ifndef HOST_STATE_STATE_PROVIDER_H_
#define HOST_STATE_STATE_PROVIDER_H_

#include <string>
#include <string_view>

namespace nexa::state {

class StateProvider {
 public:
  virtual ~StateProvider() = default;

  // The provider's name, for logs.
  virtual std::string_view name() const = 0;

  // The YANG module whose nodes it fills; it is not asked when that module is not loaded.
  virtual std::string_view module() const = 0;

  // Appends the present values to `xml`: top-level elements with their namespace, entries with
  // their keys. Any thread, several at a time; never blocks on another machine.
  virtual void append_xml(std::string& xml) = 0;
};

}  // namespace nexa::state

#endif  // HOST_STATE_STATE_PROVIDER_H_

// Tells when an interface or an address of this machine may have changed.
#ifndef HOST_STATE_INTERFACE_EVENTS_H_
#define HOST_STATE_INTERFACE_EVENTS_H_

#include <functional>
#include <memory>

namespace nexa::state {

// Shared by the providers that show interfaces. Any thread.
class InterfaceEvents {
 public:
  virtual ~InterfaceEvents() = default;

  // Whether events come at all; the same for the life of the object.
  virtual bool works() const = 0;

  // From now on `changed` is called after changes, on another thread, one call for changes that
  // come together. `listener` names who listens; a null function ends it, and no call is running
  // when listen() returns. `changed` does not call listen().
  virtual void listen(const void* listener, std::function<void()> changed) = 0;
};

// Over netlink: links, and addresses of both families, in the network namespace of the process. The
// thread runs while somebody listens. Where the kernel gives no such socket, works() says false.
std::shared_ptr<InterfaceEvents> make_netlink_events();

}  // namespace nexa::state

#endif  // HOST_STATE_INTERFACE_EVENTS_H_

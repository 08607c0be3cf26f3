// Which entry of a group stands before another? An index of the orders that are taken, for lists of
// many entries that the user orders. It knows an entry by the hash of its key, so that a change in
// an entry does not touch it; copies share all that they do not change.
#ifndef HOST_STORE_IMAGE_ORDER_INDEX_H_
#define HOST_STORE_IMAGE_ORDER_INDEX_H_

#include <cstdint>
#include <optional>
#include <utility>

namespace nexa::store {

class OrderNode;

// Every function costs the logarithm of the greatest order. Copies may live in different threads.
class OrderIndex {
 public:
  struct Place {
    std::uint64_t order = 0;
    std::uint64_t hash = 0;
  };

  OrderIndex() = default;
  OrderIndex(const OrderIndex& other);
  OrderIndex(OrderIndex&& other) noexcept
      : root_(std::exchange(other.root_, nullptr)), levels_(other.levels_) {}
  OrderIndex& operator=(OrderIndex other) noexcept {
    std::swap(root_, other.root_);
    std::swap(levels_, other.levels_);
    return *this;
  }
  ~OrderIndex();

  bool empty() const { return root_ == nullptr; }

  // Puts a place in; one of the same order gets the new hash.
  void put(const Place& place);
  // Takes one out; nothing happens when it is not there.
  void remove(std::uint64_t order);
  // The place with the greatest order below `order`.
  std::optional<Place> before(std::uint64_t order) const;

 private:
  OrderNode* root_ = nullptr;  // owns one reference
  unsigned levels_ = 0;        // of nodes below the root
};

}  // namespace nexa::store

#endif  // HOST_STORE_IMAGE_ORDER_INDEX_H_

// A tree over the digits of the orders, five bits a level, the highest at the root. A node has a
// slot for each digit that occurs: a child, or on the lowest level a hash. No node is empty.
#include "store/image/order_index.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <new>

namespace nexa::store {
namespace {

constexpr unsigned kDigitBits = 5;
constexpr unsigned kLastDigit = 31;
constexpr unsigned kMostLevels = 12;  // below the root: with it, all 64 bits

constexpr unsigned digit_of(std::uint64_t order, unsigned level) {
  return static_cast<unsigned>(order >> (level * kDigitBits)) & kLastDigit;
}

// Whether an order has more digits than a tree of this height.
constexpr bool is_beyond(std::uint64_t order, unsigned levels) {
  return levels < kMostLevels && order >> ((levels + 1) * kDigitBits) != 0;
}

}  // namespace

// Its slots follow the object in memory.
class OrderNode {
 public:
  union Slot {
    OrderNode* child;
    std::uint64_t hash;
  };

  OrderNode(const OrderNode&) = delete;
  OrderNode& operator=(const OrderNode&) = delete;

  std::uint32_t bits() const { return bits_; }
  bool has(unsigned digit) const { return (bits_ >> digit & 1U) != 0; }
  Slot* slots() { return reinterpret_cast<Slot*>(this + 1); }
  Slot& slot(unsigned digit) { return slots()[rank_of(digit)]; }
  const Slot& slot(unsigned digit) const {
    return reinterpret_cast<const Slot*>(this + 1)[rank_of(digit)];
  }

  void retain() { references_.fetch_add(1, std::memory_order_relaxed); }

  static void release(OrderNode* node, unsigned level) {
    if (node->references_.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    if (level > 0) {
      for (std::size_t i = 0; i < node->size(); ++i) release(node->slots()[i].child, level - 1);
    }
    node->~OrderNode();
    ::operator delete(node);
  }

  // A node with these digits that has the slots of `old`, where the digits agree. Takes over the
  // reference to `old`, which may be null.
  static OrderNode* remake(OrderNode* old, std::uint32_t bits, unsigned level) {
    const auto size = static_cast<std::size_t>(std::popcount(bits));
    auto* const made =
        new (::operator new(sizeof(OrderNode) + size * sizeof(Slot))) OrderNode(bits);
    if (old == nullptr) return made;
    const bool is_own = old->references_.load(std::memory_order_acquire) == 1;
    for (std::uint32_t left = bits & old->bits_; left != 0; left &= left - 1) {
      const auto digit = static_cast<unsigned>(std::countr_zero(left));
      made->slot(digit) = old->slot(digit);
      if (level > 0 && !is_own) made->slot(digit).child->retain();
    }
    if (is_own) {
      // The children went along; one whose digit is left out is the caller's.
      old->~OrderNode();
      ::operator delete(old);
    } else {
      release(old, level);
    }
    return made;
  }

  // The same node where nobody else has it, else a copy of it.
  static OrderNode* own(OrderNode* node, unsigned level) {
    const bool is_own = node->references_.load(std::memory_order_acquire) == 1;
    return is_own ? node : remake(node, node->bits_, level);
  }

 private:
  explicit OrderNode(std::uint32_t bits) : bits_(bits) {}
  ~OrderNode() = default;

  std::size_t size() const { return static_cast<std::size_t>(std::popcount(bits_)); }
  std::size_t rank_of(unsigned digit) const {
    return static_cast<std::size_t>(std::popcount(bits_ & ((1U << digit) - 1U)));
  }

  std::atomic<std::uint32_t> references_{1};
  std::uint32_t bits_;
};

static_assert(sizeof(OrderNode) % alignof(OrderNode::Slot) == 0, "the slots follow the object");

namespace {

// Takes over the reference to `node`, which may be null, and gives one back.
OrderNode* put_place(OrderNode* node, unsigned level, const OrderIndex::Place& place) {
  const unsigned digit = digit_of(place.order, level);
  const bool is_there = node != nullptr && node->has(digit);
  if (is_there) {
    node = OrderNode::own(node, level);
  } else {
    const std::uint32_t bits = node != nullptr ? node->bits() : 0;
    node = OrderNode::remake(node, bits | 1U << digit, level);
    if (level > 0) node->slot(digit).child = nullptr;
  }
  OrderNode::Slot& slot = node->slot(digit);
  if (level == 0) {
    slot.hash = place.hash;
  } else {
    slot.child = put_place(slot.child, level - 1, place);
  }
  return node;
}

// The same; null when nothing is left.
OrderNode* remove_place(OrderNode* node, unsigned level, std::uint64_t order) {
  const unsigned digit = digit_of(order, level);
  if (!node->has(digit)) return node;
  node = OrderNode::own(node, level);
  if (level > 0) {
    OrderNode*& child = node->slot(digit).child;
    child = remove_place(child, level - 1, order);
    if (child != nullptr) return node;
  }
  const std::uint32_t bits = node->bits() & ~(1U << digit);
  if (bits != 0) return OrderNode::remake(node, bits, level);
  // Nothing below it is left to be released.
  OrderNode::release(node, 0);
  return nullptr;
}

OrderIndex::Place last_of(const OrderNode* node, unsigned level, std::uint64_t above) {
  while (true) {
    const unsigned digit = kLastDigit - static_cast<unsigned>(std::countl_zero(node->bits()));
    above = above << kDigitBits | digit;
    if (level == 0) return {above, node->slot(digit).hash};
    node = node->slot(digit).child;
    --level;
  }
}

}  // namespace

OrderIndex::OrderIndex(const OrderIndex& other) : root_(other.root_), levels_(other.levels_) {
  if (root_ != nullptr) root_->retain();
}

OrderIndex::~OrderIndex() {
  if (root_ != nullptr) OrderNode::release(root_, levels_);
}

void OrderIndex::put(const Place& place) {
  if (root_ == nullptr) levels_ = 0;
  while (is_beyond(place.order, levels_)) {
    ++levels_;
    if (root_ == nullptr) continue;
    OrderNode* const above = OrderNode::remake(nullptr, 1, levels_);
    above->slot(0).child = root_;
    root_ = above;
  }
  root_ = put_place(root_, levels_, place);
}

void OrderIndex::remove(std::uint64_t order) {
  if (root_ == nullptr || is_beyond(order, levels_)) return;
  root_ = remove_place(root_, levels_, order);
}

std::optional<OrderIndex::Place> OrderIndex::before(std::uint64_t order) const {
  if (root_ == nullptr || order == 0) return std::nullopt;
  const std::uint64_t most = order - 1;
  if (is_beyond(most, levels_)) return last_of(root_, levels_, 0);
  // Down the way of `most`; the last node that has a smaller digit beside that way leads to the
  // place, unless the way goes down to the end.
  const OrderNode* fork = nullptr;
  unsigned fork_level = 0;
  const OrderNode* node = root_;
  for (unsigned level = levels_;; --level) {
    const unsigned digit = digit_of(most, level);
    if ((node->bits() & ((1U << digit) - 1U)) != 0) {
      fork = node;
      fork_level = level;
    }
    if (!node->has(digit)) break;
    if (level == 0) return Place{most, node->slot(digit).hash};
    node = node->slot(digit).child;
  }
  if (fork == nullptr) return std::nullopt;
  const std::uint32_t below = fork->bits() & ((1U << digit_of(most, fork_level)) - 1U);
  const unsigned digit = kLastDigit - static_cast<unsigned>(std::countl_zero(below));
  const unsigned above_shift = (fork_level + 1) * kDigitBits;
  const std::uint64_t above = fork_level < kMostLevels ? most >> above_shift : 0;
  const std::uint64_t prefix = above << kDigitBits | digit;
  if (fork_level == 0) return Place{prefix, fork->slot(digit).hash};
  return last_of(fork->slot(digit).child, fork_level - 1, prefix);
}

}  // namespace nexa::store

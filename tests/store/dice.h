// Random decisions from a seed: the same on every machine and with every standard library, so that
// a seed in a failure report gives the same case everywhere.
#ifndef TESTS_STORE_DICE_H_
#define TESTS_STORE_DICE_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace nexa_test {

class Dice {
 public:
  explicit Dice(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31U);
  }

  // One of 0 .. count - 1; `count` is at least 1.
  std::size_t below(std::size_t count) { return static_cast<std::size_t>(next() % count); }
  bool chance(unsigned percent) { return next() % 100 < percent; }

  template <typename Items>
  auto& pick(Items& items) {
    return items[below(items.size())];
  }
  template <typename Item, std::size_t kCount>
  const Item& pick(const Item (&items)[kCount]) {
    return items[below(kCount)];
  }

 private:
  std::uint64_t state_;
};

}  // namespace nexa_test

#endif  // TESTS_STORE_DICE_H_

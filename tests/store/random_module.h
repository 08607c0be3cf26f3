// Small YANG modules and changes to their data, made at random from a seed: what a test compares
// two judges with.
#ifndef TESTS_STORE_RANDOM_MODULE_H_
#define TESTS_STORE_RANDOM_MODULE_H_

#include <random>
#include <string>
#include <vector>

#include "store/tree.h"

namespace nexa::host {

class RandomSource {
 public:
  explicit RandomSource(std::uint32_t seed) : engine_(seed) {}
  // One of 0 .. count - 1.
  std::size_t below(std::size_t count) { return engine_() % count; }
  bool chance(unsigned percent) { return engine_() % 100 < percent; }

  template <typename Items>
  auto& pick(Items& items) {
    return items[below(items.size())];
  }

 private:
  std::mt19937 engine_;
};

// Writes `module m`. Without chains no `when` looks at a node that depends on another one.
class RandomModule {
 public:
  RandomModule(RandomSource& random, bool with_chains)
      : random_(random), with_chains_(with_chains) {}
  std::string text();

 private:
  struct Node {
    std::vector<std::string> path;  // of data nodes, from the top
    bool is_leaf = false;
    bool is_string = false;
    bool has_when = false;
  };

  std::string children(const std::vector<std::string>& path, int depth, bool conditional);
  std::string child(const std::vector<std::string>& path, int depth, bool conditional);
  std::string leaf(const std::vector<std::string>& path, bool conditional, bool in_case);
  std::string leaf_list(const std::vector<std::string>& path, bool conditional);
  std::string container(const std::vector<std::string>& path, int depth, bool conditional);
  std::string list(const std::vector<std::string>& path, int depth, bool conditional);
  std::string choice(const std::vector<std::string>& path, int depth, bool conditional);
  std::string type(const std::vector<std::string>& path, bool& is_string);
  std::string when(const std::vector<std::string>& path, bool& conditional);
  std::string must(const std::vector<std::string>& path);
  std::string expression(const std::vector<std::string>& from, bool for_when);
  std::string way(const std::vector<std::string>& from, const std::vector<std::string>& to);
  std::string name() { return "n" + std::to_string(count_++); }
  void remember(const std::vector<std::string>& path, bool is_leaf, bool is_string, bool has_when);

  RandomSource& random_;
  bool with_chains_;
  int count_ = 0;
  std::vector<Node> nodes_;
};

// One to three random edits of the data of `module m`.
void edit_at_random(RandomSource& random, TreePtr& tree);

}  // namespace nexa::host

#endif  // TESTS_STORE_RANDOM_MODULE_H_

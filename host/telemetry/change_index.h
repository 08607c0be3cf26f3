// Which watches does a commit touch? Targets stand in a tree by their steps: one branch for each
// schema node, key value or wildcard, shared by all who name it. A difference is walked down that
// tree, so the cost is that of the change and of the watches that it touches.
#ifndef HOST_TELEMETRY_CHANGE_INDEX_H_
#define HOST_TELEMETRY_CHANGE_INDEX_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/target.h"
#include "store/config_store.h"

namespace nexa::telemetry {

// Not thread-safe.
class ChangeIndex {
 public:
  // One target that somebody watches. Its address is what the index knows it by.
  struct Watch {
    const model::Target* target = nullptr;
    // The index's:
    std::uint64_t touched_by = 0;  // the last walk that met it
    bool is_in = false;            // all of it
  };

  ChangeIndex();
  ~ChangeIndex();
  ChangeIndex(const ChangeIndex&) = delete;
  ChangeIndex& operator=(const ChangeIndex&) = delete;

  // The watch and its target outlive the entry. One that could not be added for want of memory is
  // not in it.
  void add(Watch& watch);
  // Of a watch that is not in it: nothing. Takes no memory.
  void remove(Watch& watch) noexcept;
  bool empty() const { return watches_ == 0; }

  // Adds each watch that the difference touches to `touched`, once. A watch may be touched without
  // a value of its being another: a default took the place of the same value.
  void find_touched(const store::CommitStep& step, std::vector<Watch*>& touched);

 private:
  struct Branch;
  struct Level;
  class Walk;

  // Calls `named` for each schema node that the step means at `level`.
  template <typename Named>
  static void for_each_meant(const Level& level, const Watch& watch, std::size_t step,
                             const lysc_node* parent, const Named& named);
  void add_at(Level& level, Watch& watch, std::size_t step, const lysc_node* parent);
  void add_named(Level& level, Watch& watch, std::size_t step, const model::TargetNode& meant);
  void remove_at(Level& level, Watch& watch, std::size_t step, const lysc_node* parent) noexcept;
  void remove_named(Level& level, Watch& watch, std::size_t step,
                    const model::TargetNode& meant) noexcept;
  void write_values(const model::TargetNode& meant);
  bool can_write_values(const model::TargetNode& meant) const noexcept;
  static bool is_free(const Level& level);

  std::unique_ptr<Level> root_;
  std::size_t watches_ = 0;
  std::uint64_t walks_ = 0;
  // The key values of the entry in hand. What was written into it once fits again, so that to
  // remove a watch takes no memory.
  std::string values_;
};

}  // namespace nexa::telemetry

#endif  // HOST_TELEMETRY_CHANGE_INDEX_H_

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
    std::uint64_t touched_by = 0;  // the index's: the last walk that met it
  };

  ChangeIndex();
  ~ChangeIndex();
  ChangeIndex(const ChangeIndex&) = delete;
  ChangeIndex& operator=(const ChangeIndex&) = delete;

  // The watch and its target outlive the entry.
  void add(Watch& watch);
  void remove(Watch& watch);
  bool empty() const { return watches_ == 0; }

  // Adds each watch that the difference touches to `touched`, once. A watch may be touched without
  // a value of its being another: a default took the place of the same value.
  void find_touched(const store::CommitStep& step, std::vector<Watch*>& touched);

 private:
  struct Branch;
  struct Level;
  class Walk;

  void change(Level& level, Watch& watch, std::size_t step, const lysc_node* parent, bool adds);
  void change_named(Level& level, Watch& watch, std::size_t step, const model::TargetNode& meant,
                    bool adds);
  static bool is_free(const Level& level);

  std::unique_ptr<Level> root_;
  std::size_t watches_ = 0;
  std::uint64_t walks_ = 0;
};

}  // namespace nexa::telemetry

#endif  // HOST_TELEMETRY_CHANGE_INDEX_H_

// Operational data that somebody tells piece by piece, kept until they tell otherwise.
#ifndef HOST_STORE_HELD_STATE_H_
#define HOST_STORE_HELD_STATE_H_

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "model/target.h"
#include "store/config_store.h"
#include "store/image/image.h"
#include "text/result.h"

namespace nexa::store {

// Belongs to one thread; the trees that it hands out, to any.
class HeldState {
 public:
  HeldState();

  // Puts the value of one node in, well-formed JSON as RFC 7951 writes it: a scalar for a leaf, an
  // array for a leaf-list, an object for a container or an entry. Leaves and leaf-lists that it has
  // replace those that are there, everything else stays. Fails, and nothing is changed, when the
  // target has wildcards or means several nodes, when the value does not fit, or when it holds
  // configuration other than list keys.
  text::Done update(const model::Target& target, std::string_view json);

  // Whether a node that the target names is there.
  bool holds(const model::Target& target) const;

  // Takes out every node that the target names.
  void remove(const model::Target& target);

  void clear();

  // Lays what `other` has over what is here.
  void lay_over(const HeldState& other);

  bool is_empty() const;
  std::size_t count() const;  // nodes; costs a walk over all
  std::shared_ptr<const StateTree> tree() const;

 private:
  ImageSlot root_;
};

// One tree of several, in which later ones count more: their leaves and leaf-lists replace those of
// earlier ones, and entries of lists without keys all those of earlier ones.
std::shared_ptr<const StateTree> join_state_trees(
    std::span<const std::shared_ptr<const StateTree>> trees);

}  // namespace nexa::store

#endif  // HOST_STORE_HELD_STATE_H_

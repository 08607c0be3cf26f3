// Where do leafrefs with plain paths lead? libyang walks to all instances of the target again for
// each reference: over a large tree that is most of a judgement. Here the instances are gathered
// once, and libyang is asked only for what is not among them.
#ifndef HOST_STORE_VALIDATION_REFERENCE_TARGETS_H_
#define HOST_STORE_VALIDATION_REFERENCE_TARGETS_H_

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "store/validation/constraint_index.h"

namespace nexa::store {

// A positive answer is libyang's own: the same instance, compared by the type's own function. There
// is no negative answer. What was gathered holds as long as the tree does not change; libyang
// judges the references of one module after it has completed that module, and changes nothing
// meanwhile, so the answers are forgotten with each module.
class ReferenceTargets {
 public:
  // Puts a function of ours before libyang's own in the leafref types of the schema that `index`
  // was made of. It hands everything on to libyang where no Use is alive in its thread. Not while
  // another thread judges by the same schema for the first time.
  explicit ReferenceTargets(const ConstraintIndex& index);
  ReferenceTargets(const ReferenceTargets&) = delete;
  ReferenceTargets& operator=(const ReferenceTargets&) = delete;
  ~ReferenceTargets();

  // While it lives, libyang's judgements in this thread ask here first. One at a time.
  class Use {
   public:
    explicit Use(ReferenceTargets& targets);
    ~Use();
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
  };

 private:
  struct Way {
    const lysc_node* top = nullptr;      // from its nearest instance; null: the root
    std::vector<const lysc_node*> down;  // from below it to the target
    bool is_single = false;              // there is one instance at most
  };
  struct Place {
    const lyd_node* top = nullptr;
    const lysc_node* target = nullptr;
    bool operator==(const Place&) const = default;
  };
  struct PlaceHash {
    std::size_t operator()(const Place& place) const;
  };
  // By the address of the canonical text, which libyang's dictionary has once.
  using Instances = std::unordered_map<const char*, const lyd_node*>;

  static LY_ERR validate(const ly_ctx* context, const lysc_type* type, const lyd_node* node,
                         const lyd_node* tree, lyd_value* value, ly_err_item** error);
  bool finds_with_memory(const lyd_node* node, const lyd_node* tree,
                         const lyd_value& value) noexcept;
  bool finds(const lyd_node* node, const lyd_node* tree, const lyd_value& value);
  const Instances& gather(const Way& way, const lyd_node* top, const lyd_node* tree);

  std::unordered_map<const lysc_node*, Way> ways_;  // by the leafref
  std::unordered_map<Place, Instances, PlaceHash> gathered_;
  const lys_module* module_ = nullptr;  // whose references were asked for
};

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_REFERENCE_TARGETS_H_

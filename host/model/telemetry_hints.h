// What does the schema say of how its data are told to subscribers? The statements
// telemetry-atomic, telemetry-atomic-exempt and telemetry-on-change of the module
// openconfig-extensions.
#ifndef HOST_MODEL_TELEMETRY_HINTS_H_
#define HOST_MODEL_TELEMETRY_HINTS_H_

#include <unordered_set>

struct lysc_node;

namespace nexa::model {

class TelemetryHints {
 public:
  // Takes what stands at the node itself.
  void read(const lysc_node* node);

  // Whether the schema has atomic nodes at all.
  bool has_atomic() const { return !atomic_.empty(); }

  // A container or a list whose data (of each entry) are told together: one message has all.
  bool is_atomic(const lysc_node* node) const { return atomic_.count(node) != 0; }

  // Whether the node is atomic or inside of an atomic one.
  bool is_in_atomic(const lysc_node* node) const;

  // A node inside of an atomic one that changes by itself.
  bool is_exempt(const lysc_node* node) const { return exempt_.count(node) != 0; }

  // Whether the node, or one around it, is said to change by events only.
  bool changes_by_events(const lysc_node* node) const;

 private:
  std::unordered_set<const lysc_node*> atomic_;
  std::unordered_set<const lysc_node*> exempt_;
  std::unordered_set<const lysc_node*> on_change_;
};

}  // namespace nexa::model

#endif  // HOST_MODEL_TELEMETRY_HINTS_H_

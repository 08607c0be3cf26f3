// The elements of a gNMI path as steps over the schema: names apart from modules, wildcards known,
// keys in a list. Knows nothing of data.
#ifndef HOST_STORE_READING_SELECTION_STEPS_H_
#define HOST_STORE_READING_SELECTION_STEPS_H_

#include <grpcpp/support/status.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "gnmi.pb.h"
#include "store/tree.h"

namespace nexa::host {

// A name as a path writes it; `module` is empty for a bare one.
struct SelectionName {
  std::string_view module;
  std::string_view name;
};

struct SelectionKey {
  SelectionName name;
  const std::string* written = nullptr;  // the key's name as the path writes it
  const std::string* value = nullptr;    // null when every value is meant
};

struct SelectionStep {
  enum class Kind : std::uint8_t {
    kName,
    kAny,   // "*": any child
    kDeep,  // "...": this node and everything below it
  };
  Kind kind = Kind::kName;
  SelectionName name;
  std::vector<SelectionKey> keys;
  const gnmi::PathElem* element = nullptr;

  bool has_values() const {
    for (const SelectionKey& key : keys) {
      if (key.value != nullptr) return true;
    }
    return false;
  }
};

// Takes a path apart; the steps point into it. "..." that adds nothing (after another one, or at
// the end, where the node before it has everything below) is left out. INVALID_ARGUMENT for names
// that cannot be one.
grpc::Status split_path(const gnmi::Path& path, std::vector<SelectionStep>& steps);

// Whether any name of the steps carries its module.
bool names_modules(const std::vector<SelectionStep>& steps);

// The data nodes directly below `parent` (null: all top-level nodes of the loaded schema) in schema
// order, choices and cases looked through.
std::vector<const lysc_node*> schema_children(const lysc_node* parent);

// The children of `parent` that a step of kind kName or kAny can mean: of a bare name the one of
// the parent's module, at the top those of OpenConfig's modules, or else those of all modules.
std::vector<const lysc_node*> step_targets(const SelectionStep& step, const lysc_node* parent);

// What the steps mean below each schema node, asked once for a step and a node. One thread.
class StepTargets {
 public:
  // `steps` outlives the object.
  explicit StepTargets(const std::vector<SelectionStep>& steps) : steps_(steps) {}

  // step_targets(); valid as long as the object.
  const std::vector<const lysc_node*>& below(const lysc_node* parent, std::size_t step);

 private:
  const std::vector<SelectionStep>& steps_;
  std::map<std::pair<std::size_t, const lysc_node*>, std::vector<const lysc_node*>> known_;
};

// The key leaf of a list that a key of the path names, or null.
const lysc_node* key_leaf(const SelectionKey& key, const lysc_node* list);

// Whether the type of a leaf or leaf-list takes the text. Logs nothing.
bool takes_value(const lysc_node* leaf, const std::string& text);

// The canonical form of a value that a path gives for a key or leaf-list entry; nothing when its
// type does not take the text. A text that is its own canonical form is not asked for its pattern:
// no data has it if the type does not take it. Logs nothing.
std::optional<std::string> canonical_value(const lysc_node* leaf, const std::string& text);

}  // namespace nexa::host

#endif  // HOST_STORE_READING_SELECTION_STEPS_H_

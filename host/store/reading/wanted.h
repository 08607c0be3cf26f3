// Which nodes a reader gets of two images: the part of the data and the models that it asked for.
#ifndef HOST_STORE_READING_WANTED_H_
#define HOST_STORE_READING_WANTED_H_

#include "store/image/schema_texts.h"
#include "store/node_pairs.h"
#include "store/reading/applied_value.h"
#include "store/reading/json_value.h"

namespace nexa::store {

inline bool is_state_part(DataPart part) {
  return part == DataPart::kState || part == DataPart::kOperational;
}

// Only the configuration has configuration to give.
inline NodePair wanted(const NodePair& node, DataPart part) {
  return part == DataPart::kConfig ? NodePair{node.config, nullptr} : node;
}
inline PairLevel wanted(const PairLevel& level, DataPart part) {
  return part == DataPart::kConfig ? PairLevel{level.config, nullptr} : level;
}

// Whether the node itself belongs to the part.
inline bool is_in_part(DataPart part, const SchemaText& text) {
  if (part == DataPart::kAll) return true;
  return text.is_config == (part == DataPart::kConfig);
}

// Whether the node, or a node below it, can be one that the reader gets.
inline bool may_hold_wanted(const JsonForm& form, const SchemaText& text, const lysc_node* schema) {
  if (form.models != nullptr && text.changes_module && !form.models->has(schema->module)) {
    return false;
  }
  if (!is_state_part(form.part)) return is_in_part(form.part, text);
  if (text.is_inner) return text.holds_state;
  return !text.is_config && (form.part != DataPart::kOperational || !is_applied_value(schema));
}

// The levels that are left of a query's depth (Query::depth) while a tree is walked down.
class LevelsLeft {
 public:
  explicit LevelsLeft(std::uint32_t levels) : levels_(levels) {}

  // Whether containers and list entries are shown on this level, not only leaves.
  bool shows_inner() const { return levels_ != 1; }

  std::uint32_t count() const { return levels_; }

  // One level down, for the life of the object.
  class Descent {
   public:
    explicit Descent(LevelsLeft& left) : left_(left), before_(left.levels_) {
      if (left.levels_ > 1) --left.levels_;
    }
    ~Descent() { left_.levels_ = before_; }
    Descent(const Descent&) = delete;
    Descent& operator=(const Descent&) = delete;

   private:
    LevelsLeft& left_;
    const std::uint32_t before_;
  };

 private:
  std::uint32_t levels_;  // 0: as many as there are
};

inline bool is_wanted_value(const JsonForm& form, const ImageLeaf& leaf) {
  return form.models == nullptr || leaf.form() != ScalarForm::kIdentity ||
         form.models->has_identity(leaf.text());
}

// Whether the keys of an entry can be shown: an entry without them is none.
inline bool shows_keys(const JsonForm& form, const ImageInner& entry) {
  if (form.models == nullptr) return true;
  for (const ImageSlot& key : entry.children()) {
    if (!lysc_is_key(key->schema())) break;
    if (!is_wanted_value(form, key->leaf())) return false;
  }
  return true;
}

// A config node's value is the configuration's, if that has one.
inline const ImageNode& pick(const NodePair& node, bool is_config) {
  if (node.config == nullptr || node.state == nullptr) return *node.any();
  return is_config ? *node.config : *node.state;
}

}  // namespace nexa::store

#endif  // HOST_STORE_READING_WANTED_H_

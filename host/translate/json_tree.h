// The payload as the tree that the library binds: names qualified where the module changes, scalars
// as strings, and a placeholder wherever the library's conversion would alter the text.
#ifndef HOST_TRANSLATE_JSON_TREE_H_
#define HOST_TRANSLATE_JSON_TREE_H_

#include <string>
#include <vector>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "text/json_owner.h"
#include "translate/payload.h"

namespace nexa::translate {

class JsonTreeBuilder {
 public:
  JsonTreeBuilder(const Payload& payload, const SchemaNames& names)
      : payload_(payload), names_(names) {
    items_.resize(payload.document.items.size());
  }

  // The tree of `item`; null when memory is short.
  text::JsonPtr build(std::uint32_t item);

  // Makes the bindings below `item` those of the payload: undoes swaps that key order did not need,
  // and binds again what was bound by its local name to another module's node. False when an item
  // cannot be bound.
  bool correct(std::uint32_t item, nexa::Json2cJsonCsnodeHash& hash);

 private:
  struct Built {
    cJSON* json = nullptr;
    const char* name = nullptr;  // what the item was called: tells whether contents moved
  };

  cJSON* build_item(std::uint32_t item);
  bool add_members(cJSON* object, std::uint32_t item);
  void restore_order(std::uint32_t item);

  const Payload& payload_;
  const SchemaNames& names_;
  std::vector<Built> items_;
  std::string text_;  // a leaf's text with its end
};

// Whether the library's conversion may give this string another text.
bool needs_placeholder(std::string_view text);

// Whether it does, for a report.
bool is_altered_by_library(std::string_view text, const SchemaNames& names);

}  // namespace nexa::translate

#endif  // HOST_TRANSLATE_JSON_TREE_H_

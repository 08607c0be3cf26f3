// What of ietf-interfaces (RFC 8343) the loaded schema has: a value without a node is left out.
#ifndef HOST_STATE_INTERFACE_SCHEMA_H_
#define HOST_STATE_INTERFACE_SCHEMA_H_

#include <string_view>

#include "kestrel/kestrel.h"

namespace nexa::state {

class InterfaceSchema {
 public:
  InterfaceSchema();  // looks at the schema that is loaded now

  // Whether there is a list of interfaces at all.
  bool is_loaded() const { return interface_ != nullptr; }

  bool has_leaf(const char* name) const { return child(interface_, name) != nullptr; }
  bool has_statistic(const char* name) const { return child(statistics_, name) != nullptr; }

  // Namespace of ietf-interfaces.
  std::string_view uri() const { return entry_->uri; }

  // Namespace of the identities of interface types (iana-if-type); empty when it is not loaded.
  std::string_view type_uri() const { return types_ == nullptr ? std::string_view() : types_->uri; }

 private:
  const kestrel_cs_node* child(const kestrel_cs_node* parent, const char* name) const;

  const KestrelNsEntry* entry_ = nullptr;
  const KestrelNsEntry* types_ = nullptr;
  const kestrel_cs_node* interface_ = nullptr;
  const kestrel_cs_node* statistics_ = nullptr;
};

}  // namespace nexa::state

#endif  // HOST_STATE_INTERFACE_SCHEMA_H_

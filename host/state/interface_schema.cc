// Names are looked up in the schema's tables.
#include "state/interface_schema.h"

namespace nexa::state {

InterfaceSchema::InterfaceSchema() {
  KestrelNsEntry* list = nullptr;
  const int count = kestrel_get_nslist(&list);
  for (int i = 0; i < count; ++i) {
    const std::string_view module = list[i].module;
    if (module == "ietf-interfaces") entry_ = &list[i];
    if (module == "iana-if-type") types_ = &list[i];
  }
  if (entry_ == nullptr) return;
  const std::uint32_t tag = kestrel_str2hash("interfaces");
  const kestrel_cs_node* interfaces = kestrel_find_cs_root(entry_->hash);
  while (interfaces != nullptr && interfaces->tag != tag) interfaces = interfaces->next;
  interface_ = child(interfaces, "interface");
  statistics_ = child(interface_, "statistics");
}

const kestrel_cs_node* InterfaceSchema::child(const kestrel_cs_node* parent,
                                              const char* name) const {
  if (parent == nullptr) return nullptr;
  const std::uint32_t tag = kestrel_str2hash(name);
  return tag == 0 ? nullptr : kestrel_find_cs_node_child(parent, tag, parent->ns);
}

}  // namespace nexa::state

// The C interface: each function is one look-up in the current generation's tables. Nothing here
// allocates, logs or fails.
#include "kestrel/kestrel.h"

#include <string_view>

#include "current_schema.h"

namespace kestrel {

constinit SchemaView current_schema = kEmptySchema;

}  // namespace kestrel

extern "C" {

int kestrel_get_nslist(struct KestrelNsEntry** list) {
  if (list != nullptr) *list = kestrel::current_schema.namespaces;
  return kestrel::current_schema.namespace_count;
}

struct kestrel_cs_node* kestrel_find_cs_root(uint32_t ns_hash) {
  return kestrel::current_schema.find_root(ns_hash);
}

struct kestrel_cs_node* kestrel_find_cs_node_child(const struct kestrel_cs_node* parent,
                                                   uint32_t tag, uint32_t ns_hash) {
  return parent == nullptr ? nullptr : kestrel::find_child(parent, tag, ns_hash);
}

char* kestrel_hash2str(uint32_t hash) { return kestrel::current_schema.strings.text(hash); }

uint32_t kestrel_str2hash(const char* text) {
  if (text == nullptr) return 0;
  return kestrel::current_schema.strings.find(std::string_view(text), kestrel::StringHash());
}

}  // extern "C"

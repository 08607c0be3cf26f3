// Reads the loaded schema the way a test wants to compare it: nodes by name, trees as text.
#ifndef TESTS_REAL_SCHEMA_TEXT_H_
#define TESTS_REAL_SCHEMA_TEXT_H_

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/kestrel.h"

namespace nexa_test {

inline std::string text_of(std::uint32_t hash) {
  const char* const text = kestrel_hash2str(hash);
  return text == nullptr ? "(null)" : text;
}

inline std::vector<KestrelNsEntry> namespace_list() {
  KestrelNsEntry* list = nullptr;
  const int count = kestrel_get_nslist(&list);
  return count == 0 ? std::vector<KestrelNsEntry>()
                    : std::vector<KestrelNsEntry>(list, list + count);
}

// The entry of a module; all null when it is not listed.
inline KestrelNsEntry entry_of(std::string_view module) {
  for (const KestrelNsEntry& entry : namespace_list()) {
    if (entry.module == module) return entry;
  }
  return {};
}

inline std::vector<std::string> listed_modules() {
  std::vector<std::string> names;
  for (const KestrelNsEntry& entry : namespace_list()) names.emplace_back(entry.module);
  return names;
}

inline kestrel_cs_node* first_root(std::string_view module) {
  return kestrel_find_cs_root(entry_of(module).hash);
}

// A sibling by local name, or null.
inline kestrel_cs_node* among(kestrel_cs_node* first, std::string_view name) {
  for (kestrel_cs_node* node = first; node != nullptr; node = node->next) {
    if (text_of(node->tag) == name) return node;
  }
  return nullptr;
}

// A node by its module and the local names on the way, separated by slashes; null when there is
// none.
inline kestrel_cs_node* find_node(std::string_view module, std::string_view path) {
  kestrel_cs_node* siblings = first_root(module);
  while (true) {
    const std::size_t slash = path.find('/');
    kestrel_cs_node* const node = among(siblings, path.substr(0, slash));
    if (node == nullptr || slash == std::string_view::npos) return node;
    siblings = node->children;
    path.remove_prefix(slash + 1);
  }
}

// The names of a node and its later siblings, in order.
inline std::vector<std::string> names_from(const kestrel_cs_node* first) {
  std::vector<std::string> names;
  for (const kestrel_cs_node* node = first; node != nullptr; node = node->next) {
    names.push_back(text_of(node->tag));
  }
  return names;
}

inline std::vector<std::string> key_names(const kestrel_cs_node& list) {
  std::vector<std::string> names;
  for (const std::uint32_t* key = list.keys; key != nullptr && *key != 0; ++key) {
    names.push_back(text_of(*key));
  }
  return names;
}

// The meta-data of a module's model-data node; empty when the module has no such node.
inline std::map<std::string, std::string> model_data(std::string_view module) {
  std::map<std::string, std::string> result;
  const kestrel_cs_node* const node = among(first_root(module), "gnmi-model-data");
  if (node == nullptr || (node->flags & KESTREL_FLAG_META_DATA) == 0) return result;
  for (const kestrel_meta_data* entry = node->meta_data; entry->key != nullptr; ++entry) {
    result[entry->key] = entry->value;
  }
  return result;
}

}  // namespace nexa_test

#endif  // TESTS_REAL_SCHEMA_TEXT_H_

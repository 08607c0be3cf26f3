// A small in-memory schema behind the five kestrel functions, for tests that must not depend on
// YANG.
//
//   FakeSchema schema;  // the schema of the process while it lives
//   FakeModule& m = schema.module("ietf-interfaces", "if", "urn:if");
//   FakeNode interfaces = m.container("interfaces");
//   FakeNode entry = interfaces.list("interface", {"name"});
//   entry.leaf("type", kIdentityRefType);
//   entry.in(other_module).container("ipv4");  // an augment
//
// Strings and nodes live as long as the FakeSchema.
#ifndef TESTS_SUPPORT_FAKE_SCHEMA_H_
#define TESTS_SUPPORT_FAKE_SCHEMA_H_

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kestrel/kestrel.h"

namespace nexa_test {

inline constexpr std::uint32_t kStringType = 4;
inline constexpr std::uint32_t kIdentityRefType = 44;
inline constexpr std::uint32_t kContainerType = 0;

class FakeSchema;
class FakeModule;

// A node under construction; a light handle, copied freely.
class FakeNode {
 public:
  FakeNode(FakeSchema* schema, FakeModule* module, kestrel_cs_node* node)
      : schema_(schema), module_(module), node_(node) {}

  FakeNode container(const std::string& name);
  FakeNode list(const std::string& name, const std::vector<std::string>& keys);
  FakeNode leaf(const std::string& name, std::uint32_t type = kStringType);
  FakeNode leaf_list(const std::string& name, std::uint32_t type = kStringType);
  FakeNode node_of(const std::string& name, std::uint32_t type, std::uint32_t flags);

  // The same node; children added through the result belong to `other`'s namespace.
  FakeNode in(FakeModule& other) const { return FakeNode(schema_, &other, node_); }

  kestrel_cs_node* get() const { return node_; }
  kestrel_cs_node* operator->() const { return node_; }
  operator kestrel_cs_node*() const { return node_; }  // NOLINT: handles stand in for nodes

 private:
  FakeSchema* schema_;
  FakeModule* module_;
  kestrel_cs_node* node_;
};

class FakeModule {
 public:
  FakeModule(FakeSchema* schema, std::string name, std::string prefix, std::string uri);

  FakeNode container(const std::string& name);
  FakeNode list(const std::string& name, const std::vector<std::string>& keys);
  FakeNode leaf(const std::string& name, std::uint32_t type = kStringType);
  FakeNode leaf_list(const std::string& name, std::uint32_t type = kStringType);
  // A top-level node that carries meta-data.
  FakeNode meta_data(const std::string& name,
                     const std::vector<std::pair<std::string, std::string>>& entries);

  std::uint32_t ns_hash() const { return ns_hash_; }
  const std::string& uri() const { return uri_; }

 private:
  friend class FakeSchema;
  FakeSchema* schema_;
  std::string name_, prefix_, uri_;
  std::uint32_t ns_hash_;
};

class FakeSchema {
 public:
  FakeSchema();
  ~FakeSchema();
  FakeSchema(const FakeSchema&) = delete;
  FakeSchema& operator=(const FakeSchema&) = delete;

  FakeModule& module(const std::string& name, const std::string& prefix, const std::string& uri);

  // Appends a raw entry to the namespace list, null strings allowed.
  void raw_entry(const KestrelNsEntry& entry);

  std::uint32_t intern(const std::string& text);
  // Makes kestrel_hash2str return null for this string's hash from now on.
  void forget(const std::string& text);

  // Calls into the schema library since construction: look-ups by hash, by string, of children.
  struct Calls {
    int str2hash = 0;
    int hash2str = 0;
    int find_child = 0;
  };
  Calls calls;

  // --- used by the kestrel functions and the builders
  kestrel_cs_node* add(kestrel_cs_node* parent, FakeModule* module, const std::string& name,
                       std::uint32_t type, std::uint32_t flags,
                       const std::vector<std::string>& keys);
  kestrel_cs_node* root(std::uint32_t ns_hash) const;
  std::vector<KestrelNsEntry>& entries() { return entries_; }
  char* string_of(std::uint32_t hash) const;
  std::uint32_t hash_of(const std::string& text) const;
  const kestrel_meta_data* store_meta(
      const std::vector<std::pair<std::string, std::string>>& entries);

 private:
  std::deque<std::string> strings_;
  std::map<std::string, std::uint32_t> hashes_;
  std::map<std::uint32_t, char*> by_hash_;
  std::deque<kestrel_cs_node> nodes_;
  std::deque<std::vector<std::uint32_t>> key_arrays_;
  std::deque<std::vector<kestrel_meta_data>> meta_;
  std::map<std::uint32_t, kestrel_cs_node*> roots_;
  std::deque<FakeModule> modules_;
  std::vector<KestrelNsEntry> entries_;
};

}  // namespace nexa_test

#endif  // TESTS_SUPPORT_FAKE_SCHEMA_H_

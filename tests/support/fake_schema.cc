// The records of the schema that is alive stand behind the kestrel functions.
#include "support/fake_schema.h"

namespace nexa_test {
namespace {

FakeSchema* current = nullptr;

}  // namespace

FakeNode FakeNode::node_of(const std::string& name, std::uint32_t type, std::uint32_t flags) {
  return FakeNode(schema_, module_, schema_->add(node_, module_, name, type, flags, {}));
}
FakeNode FakeNode::container(const std::string& name) { return node_of(name, kContainerType, 0); }
FakeNode FakeNode::leaf(const std::string& name, std::uint32_t type) {
  return node_of(name, type, 0);
}
FakeNode FakeNode::leaf_list(const std::string& name, std::uint32_t type) {
  return node_of(name, type, KESTREL_FLAG_LIST | KESTREL_FLAG_LEAF_LIST);
}
FakeNode FakeNode::list(const std::string& name, const std::vector<std::string>& keys) {
  return FakeNode(schema_, module_,
                  schema_->add(node_, module_, name, kContainerType, KESTREL_FLAG_LIST, keys));
}

FakeModule::FakeModule(FakeSchema* schema, std::string name, std::string prefix, std::string uri)
    : schema_(schema),
      name_(std::move(name)),
      prefix_(std::move(prefix)),
      uri_(std::move(uri)),
      ns_hash_(schema->intern(uri_)) {}

FakeNode FakeModule::container(const std::string& name) {
  return FakeNode(schema_, this, nullptr).container(name);
}
FakeNode FakeModule::list(const std::string& name, const std::vector<std::string>& keys) {
  return FakeNode(schema_, this, nullptr).list(name, keys);
}
FakeNode FakeModule::leaf(const std::string& name, std::uint32_t type) {
  return FakeNode(schema_, this, nullptr).leaf(name, type);
}
FakeNode FakeModule::leaf_list(const std::string& name, std::uint32_t type) {
  return FakeNode(schema_, this, nullptr).leaf_list(name, type);
}
FakeNode FakeModule::meta_data(const std::string& name,
                               const std::vector<std::pair<std::string, std::string>>& entries) {
  FakeNode node =
      FakeNode(schema_, this, nullptr).node_of(name, kContainerType, KESTREL_FLAG_META_DATA);
  node->meta_data = schema_->store_meta(entries);
  return node;
}

FakeSchema::FakeSchema() { current = this; }
FakeSchema::~FakeSchema() { current = nullptr; }

FakeModule& FakeSchema::module(const std::string& name, const std::string& prefix,
                               const std::string& uri) {
  FakeModule& added = modules_.emplace_back(this, name, prefix, uri);
  entries_.push_back({added.uri_.c_str(), added.prefix_.c_str(), added.ns_hash_, "2026-01-01",
                      added.name_.c_str()});
  return added;
}

void FakeSchema::raw_entry(const KestrelNsEntry& entry) { entries_.push_back(entry); }

std::uint32_t FakeSchema::intern(const std::string& text) {
  const auto found = hashes_.find(text);
  if (found != hashes_.end()) return found->second;
  const auto hash = static_cast<std::uint32_t>(1000 + hashes_.size());
  strings_.push_back(text);
  hashes_[text] = hash;
  by_hash_[hash] = strings_.back().data();
  return hash;
}

void FakeSchema::forget(const std::string& text) { by_hash_.erase(hashes_.at(text)); }

kestrel_cs_node* FakeSchema::add(kestrel_cs_node* parent, FakeModule* module,
                                 const std::string& name, std::uint32_t type, std::uint32_t flags,
                                 const std::vector<std::string>& keys) {
  kestrel_cs_node& node = nodes_.emplace_back();
  node.tag = intern(name);
  node.ns = module->ns_hash();
  node.shallow_type = type;
  node.flags = flags;
  node.parent = parent;
  if (!keys.empty()) {
    std::vector<std::uint32_t>& array = key_arrays_.emplace_back();
    for (const std::string& key : keys) array.push_back(intern(key));
    array.push_back(0);
    node.keys = array.data();
  }
  kestrel_cs_node** link = parent != nullptr ? &parent->children : &roots_[module->ns_hash()];
  while (*link != nullptr) link = &(*link)->next;
  *link = &node;
  return &node;
}

kestrel_cs_node* FakeSchema::root(std::uint32_t ns_hash) const {
  const auto found = roots_.find(ns_hash);
  return found == roots_.end() ? nullptr : found->second;
}

char* FakeSchema::string_of(std::uint32_t hash) const {
  const auto found = by_hash_.find(hash);
  return found == by_hash_.end() ? nullptr : found->second;
}

std::uint32_t FakeSchema::hash_of(const std::string& text) const {
  const auto found = hashes_.find(text);
  return found == hashes_.end() ? 0 : found->second;
}

const kestrel_meta_data* FakeSchema::store_meta(
    const std::vector<std::pair<std::string, std::string>>& entries) {
  std::vector<kestrel_meta_data>& list = meta_.emplace_back();
  for (const auto& [key, value] : entries) {
    strings_.push_back(key);
    const char* stored_key = strings_.back().c_str();
    strings_.push_back(value);
    list.push_back({stored_key, strings_.back().c_str()});
  }
  list.push_back({nullptr, nullptr});
  return list.data();
}

}  // namespace nexa_test

using nexa_test::current;

extern "C" {

int kestrel_get_nslist(KestrelNsEntry** list) {
  *list = nullptr;
  if (current == nullptr || current->entries().empty()) return 0;
  *list = current->entries().data();
  return static_cast<int>(current->entries().size());
}

kestrel_cs_node* kestrel_find_cs_root(uint32_t ns_hash) {
  return current == nullptr ? nullptr : current->root(ns_hash);
}

kestrel_cs_node* kestrel_find_cs_node_child(const kestrel_cs_node* parent, uint32_t tag,
                                            uint32_t ns_hash) {
  if (current != nullptr) ++current->calls.find_child;
  for (kestrel_cs_node* child = parent->children; child != nullptr; child = child->next) {
    if (child->tag == tag && child->ns == ns_hash) return child;
  }
  return nullptr;
}

char* kestrel_hash2str(uint32_t hash) {
  if (current == nullptr) return nullptr;
  ++current->calls.hash2str;
  return current->string_of(hash);
}

uint32_t kestrel_str2hash(const char* text) {
  if (current == nullptr) return 0;
  ++current->calls.str2hash;
  return current->hash_of(text);
}

}  // extern "C"

// A namespace is declared where it changes on the way down.
#include "state/schema_writer.h"

#include "text/escape.h"

namespace nexa::state {

const KestrelNsEntry* find_module(std::string_view name) {
  KestrelNsEntry* list = nullptr;
  const int count = kestrel_get_nslist(&list);
  for (int i = 0; i < count; ++i) {
    if (name == list[i].module) return &list[i];
  }
  return nullptr;
}

bool SchemaWriter::open_top(const KestrelNsEntry* module, const char* name) {
  const std::uint32_t tag = kestrel_str2hash(name);
  if (module == nullptr || tag == 0) return false;
  const kestrel_cs_node* node = kestrel_find_cs_root(module->hash);
  while (node != nullptr && node->tag != tag) node = node->next;
  return enter(node);
}

bool SchemaWriter::open(const char* name) { return enter(child(current(), name)); }

bool SchemaWriter::open(const KestrelNsEntry* module, const char* name) {
  const std::uint32_t tag = kestrel_str2hash(name);
  if (module == nullptr || tag == 0 || current() == nullptr) return false;
  return enter(kestrel_find_cs_node_child(current(), tag, module->hash));
}

void SchemaWriter::close() {
  const Open ended = open_.back();
  open_.pop_back();
  if (xml_.size() == ended.content) {
    xml_.resize(ended.begin);
    return;
  }
  xml_.append("</").append(kestrel_hash2str(ended.node->tag)).append(">");
}

void SchemaWriter::leaf(const char* name, std::string_view text) {
  if (has(name)) text::append_xml_leaf(name, text, xml_);
}

void SchemaWriter::identity_leaf(const char* name, const KestrelNsEntry* module,
                                 std::string_view identity) {
  if (module == nullptr || !has(name)) return;
  xml_.append("<").append(name).append(" xmlns:of=\"");
  text::append_xml_attribute(module->uri, xml_);
  xml_.append("\">of:").append(identity).append("</").append(name).append(">");
}

const kestrel_cs_node* SchemaWriter::child(const kestrel_cs_node* parent, const char* name) {
  if (parent == nullptr) return nullptr;
  const std::uint32_t tag = kestrel_str2hash(name);
  return tag == 0 ? nullptr : kestrel_find_cs_node_child(parent, tag, parent->ns);
}

bool SchemaWriter::enter(const kestrel_cs_node* node) {
  if (node == nullptr) return false;
  const std::size_t begin = xml_.size();
  xml_.append("<").append(kestrel_hash2str(node->tag));
  if (open_.empty() || open_.back().node->ns != node->ns) {
    xml_.append(" xmlns=\"");
    text::append_xml_attribute(kestrel_hash2str(node->ns), xml_);
    xml_.append("\"");
  }
  xml_.append(">");
  open_.push_back({node, begin, xml_.size()});
  return true;
}

}  // namespace nexa::state

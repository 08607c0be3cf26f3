// Writes an outline of an XML tree to a file, for people who look for a fault.
#include <cstdio>
#include <memory>
#include <string>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "nexa_srv_rpc_msg_helpers/xml_handles.h"

namespace nexa {
namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

bool has_element_child(const xmlNode& node) {
  for (const xmlNode* child = node.children; child != nullptr; child = child->next) {
    if (child->type == XML_ELEMENT_NODE) return true;
  }
  return false;
}

// What tells the element apart: the id of an inner one, the text of a leaf.
XmlText label_of(xmlNodePtr element) {
  return XmlText(has_element_child(*element) ? xmlGetProp(element, as_xml("id"))
                                             : xmlNodeGetContent(element));
}

// One line for each element among `node` and its following siblings, each with its own below it.
// The recursion is as deep as the tree.
void write_xml_outline(xmlNodePtr node, int depth, std::FILE* file) {
  for (; node != nullptr; node = node->next) {
    if (node->type == XML_ELEMENT_NODE) {
      const XmlText label = label_of(node);
      std::fprintf(file, "%*c%s:%s\n", 2 * depth, '-', printable(node->name),
                   printable(label.get()));
    }
    // What an entity reference has below it belongs to the document type, not to the tree.
    if (node->type != XML_ENTITY_REF_NODE) write_xml_outline(node->children, depth + 1, file);
  }
}

}  // namespace
}  // namespace nexa

void write_xml2file(xmlNodePtr root, const void* /*ignored*/, const std::string& file_name) {
  const std::unique_ptr<std::FILE, nexa::CloseFile> file(std::fopen(file_name.c_str(), "w"));
  if (file == nullptr) return;
  nexa::write_xml_outline(root, 1, file.get());
}

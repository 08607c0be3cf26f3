// Owners of libxml2 objects, and constructors that are whole or null: libxml2 hands out an element
// whose name, or a text whose content, it had no memory for, and such a node would lose data in
// silence.
#ifndef NEXA_XML_HANDLES_H_
#define NEXA_XML_HANDLES_H_

#include <libxml/tree.h>
#include <libxml/xmlmemory.h>

#include <memory>

#include "nexa_srv_rpc_msg_helpers/log_text.h"

namespace nexa {

struct FreeXmlNode {
  void operator()(xmlNodePtr node) const {
    xmlUnlinkNode(node);
    xmlFreeNode(node);
  }
};
// An element or text with everything below it. Freeing also takes it out of its parent.
using XmlNode = std::unique_ptr<xmlNode, FreeXmlNode>;

struct FreeXmlDoc {
  void operator()(xmlDocPtr doc) const { xmlFreeDoc(doc); }
};
using XmlDoc = std::unique_ptr<xmlDoc, FreeXmlDoc>;

struct FreeXmlText {
  void operator()(xmlChar* text) const { xmlFree(text); }
};
using XmlText = std::unique_ptr<xmlChar, FreeXmlText>;

inline const xmlChar* as_xml(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

// For a log line: the other form of log_text.h.
inline const char* printable(const xmlChar* text) {
  return printable(reinterpret_cast<const char*>(text));
}

// For a message: nothing in place of a null string.
inline const char* or_empty(const char* text) { return text != nullptr ? text : ""; }

// An element without namespace; null without memory or name.
inline XmlNode new_xml_element(const xmlChar* name) {
  XmlNode element(xmlNewNode(nullptr, name));
  if (element != nullptr && element->name == nullptr) element.reset();
  return element;
}

// A text node; null without memory.
inline XmlNode new_xml_text(const xmlChar* content) {
  XmlNode text(xmlNewText(content));
  if (text != nullptr && text->content == nullptr) text.reset();
  return text;
}

// Names the element; false when there was no memory, and the element is then to be freed.
inline bool set_xml_name(xmlNodePtr element, const xmlChar* name) {
  xmlNodeSetName(element, name);
  return element->name != nullptr;
}

// Makes `child` the last child of `parent`.
inline void append_xml(xmlNodePtr parent, XmlNode child) { xmlAddChild(parent, child.release()); }

}  // namespace nexa

#endif  // NEXA_XML_HANDLES_H_

// Owners of libxml2 objects, and constructors that are whole or null: libxml2 hands out an element
// whose name, or a text whose content, it had no memory for, and such a node would lose data in
// silence.
#ifndef NEXA_XML_HANDLES_H_
#define NEXA_XML_HANDLES_H_

#include <libxml/tree.h>
#include <libxml/xmlmemory.h>

#include <cstdlib>
#include <memory>

#include "nexa_srv_rpc_msg_helpers/checked_copy.h"
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

// Whether libxml2 frees with std::free, so that a copy of ours may become its own without being
// copied once more. An embedder can give libxml2 another allocator.
inline bool shares_allocator() { return xmlFree == static_cast<xmlFreeFunc>(std::free); }

// A text node around the copy, which libxml2 owns from here on; null without memory.
inline XmlNode new_xml_text(CheckedCopy&& copy) {
  if (!shares_allocator()) return new_xml_text(copy.xml());
  XmlNode text(xmlNewText(nullptr));
  if (text == nullptr) return text;  // unreached: no test makes the allocator fail that is shared
  text->content = copy.release();
  return text;
}

// Names an element that is in no document by the copy, which libxml2 owns from here on; false when
// there was no memory, and the element is then to be freed.
inline bool set_xml_name(xmlNodePtr element, CheckedCopy&& copy) {
  if (!shares_allocator() || element->doc != nullptr) return set_xml_name(element, copy.xml());
  xmlFree(const_cast<xmlChar*>(element->name));
  element->name = copy.release();
  return true;
}

// Makes `child` the last child of `parent`.
inline void append_xml(xmlNodePtr parent, XmlNode child) { xmlAddChild(parent, child.release()); }

}  // namespace nexa

#endif  // NEXA_XML_HANDLES_H_

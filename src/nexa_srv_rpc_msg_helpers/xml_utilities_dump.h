// A document as text, byte for byte as libxml2 writes it. Its own writer takes most of the time of
// a large conversion; trees of elements, namespaces and plain texts are written here.
#ifndef NEXA_XML_UTILITIES_DUMP_H_
#define NEXA_XML_UTILITIES_DUMP_H_

#include "nexa_srv_rpc_msg_helpers/xml_handles.h"

namespace nexa {

struct XmlDump {
  XmlText text;    // ends with a zero byte; null without memory
  int length = 0;  // in bytes
};

// Of a document that xmlNewDoc() made and that has nothing but its top element.
XmlDump dump_xml(xmlDocPtr doc);

}  // namespace nexa

#endif  // NEXA_XML_UTILITIES_DUMP_H_

// Owners of libxml2's objects.
#ifndef HOST_TEXT_XML_OWNER_H_
#define HOST_TEXT_XML_OWNER_H_

#include <libxml/tree.h>

#include <memory>

namespace nexa::text {

struct DeleteXml {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
  void operator()(xmlNode* node) const { xmlFreeNode(node); }
  void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
  void operator()(xmlChar* text) const { xmlFree(text); }
};
using XmlDocPtr = std::unique_ptr<xmlDoc, DeleteXml>;
using XmlNodePtr = std::unique_ptr<xmlNode, DeleteXml>;  // of no document, with all below it
using XmlBufferPtr = std::unique_ptr<xmlBuffer, DeleteXml>;
using XmlTextPtr = std::unique_ptr<xmlChar, DeleteXml>;

}  // namespace nexa::text

#endif  // HOST_TEXT_XML_OWNER_H_

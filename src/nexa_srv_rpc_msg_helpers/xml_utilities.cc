// Makes XML nodes and attributes from checked copies, serialises a finished tree, and logs trees.
// Knows neither JSON nor the schema; namespaces are ordinary attributes here.
#include <grpc/support/log.h>

#include "kitbase/utilities.h"
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "nexa_srv_rpc_msg_helpers/checked_copy.h"
#include "nexa_srv_rpc_msg_helpers/config_document.h"
#include "nexa_srv_rpc_msg_helpers/xml_handles.h"
#include "nexa_srv_rpc_msg_helpers/xml_utilities_dump.h"

namespace nexa {
namespace {

constexpr const char* kXmlVersion = "1.0";

// Whether the attribute holds what it was made from: libxml2 may return one that it had no memory
// to fill.
bool is_whole(const xmlAttr& attribute) {
  return attribute.name != nullptr && attribute.children != nullptr &&
         attribute.children->content != nullptr;
}

// Both outcomes of a copy that cannot be used, in the words of attribute creation.
void log_attribute_copy(const CheckedCopy& copy) {
  if (copy.no_memory()) {
    gpr_log(GPR_ERROR,
            "Failed to allocate memory for XML attribute creation. Returning without creating "
            "attribute");
  } else {
    gpr_log(GPR_ERROR, "Error occurred while copying string during creation of XML attribute.");
  }
}

}  // namespace

xmlNodePtr ServiceRpcMsgHelpers::build_xml_node(const std::string& name, xmlElementType type) {
  if (type != XML_ELEMENT_NODE && type != XML_TEXT_NODE) return nullptr;
  const CheckedCopy copy(name);
  if (copy.no_memory()) {
    gpr_log(GPR_ERROR,
            "Error occurred while building XML node from string. Freeing all previously allocated "
            "content and returning early");
    return nullptr;
  }
  if (copy.refused()) {
    gpr_log(GPR_ERROR, "Error occurred while copying string during creation of XML node.");
    return nullptr;
  }
  if (type == XML_TEXT_NODE) {
    XmlNode text = new_xml_text(copy.xml());
    if (text == nullptr) gpr_log(GPR_ERROR, "in %s at %d Failed xmlNewText", __func__, __LINE__);
    return text.release();
  }
  XmlNode element = new_xml_element(copy.xml());
  if (element == nullptr) gpr_log(GPR_ERROR, "in %s at %d Failed xmlNewNode", __func__, __LINE__);
  return element.release();
}

xmlNodePtr ServiceRpcMsgHelpers::build_xml_node_and_value(std::string& name, std::string& value) {
  XmlNode element(build_xml_node(name, XML_ELEMENT_NODE));
  if (element == nullptr) {
    gpr_log(GPR_ERROR, "in %s at %d Failed build_xml_node", __func__, __LINE__);
    return nullptr;
  }
  const CheckedCopy copy(value);
  if (copy.no_memory()) {
    gpr_log(GPR_ERROR, "in %s at %d Failed build_xml_node", __func__, __LINE__);
    return nullptr;
  }
  if (copy.refused()) {
    gpr_log(GPR_ERROR,
            "in %s at %d Error occurred while copying string during during generation of XML",
            __func__, __LINE__);
    return nullptr;
  }
  XmlNode text = new_xml_text(copy.xml());
  if (text == nullptr) {
    gpr_log(GPR_ERROR, "in %s at %d memory exhaustion while generating xml node", __func__,
            __LINE__);
    return nullptr;
  }
  append_xml(element.get(), std::move(text));
  return element.release();
}

void ServiceRpcMsgHelpers::add_xml_attribute(xmlNodePtr node, const std::string& name,
                                             const std::string& value) {
  const CheckedCopy name_copy(name);
  if (!name_copy.ok()) return log_attribute_copy(name_copy);
  const CheckedCopy value_copy(value);
  if (!value_copy.ok()) return log_attribute_copy(value_copy);
  xmlAttrPtr attribute = xmlNewProp(node, name_copy.xml(), value_copy.xml());
  if (attribute != nullptr && is_whole(*attribute)) return;
  if (attribute != nullptr) xmlRemoveProp(attribute);
  gpr_log(GPR_ERROR, "in %s at %d Failed xmlNewProp", __func__, __LINE__);
}

xmlChar* ServiceRpcMsgHelpers::build_xml_str(xmlNodePtr root) {
  const CheckedCopy name(kConfigElement);
  if (name.refused()) {
    gpr_log(GPR_ERROR,
            "Error occurred while copying string during construction of string from XML node");
    return nullptr;
  }
  if (name.no_memory() || !set_xml_name(root, name.xml())) {
    gpr_log(GPR_ERROR,
            "Unable to allocate memory while building string from XML node. Freeing all allocated "
            "content and returning early");
    return nullptr;
  }
  // The line announces it, but the namespace of the top element is whatever the tree carries.
  gpr_log(GPR_DEBUG, "in %s at %d adding attribute xmlns %s", __func__, __LINE__, kConfigNamespace);
  const XmlDoc doc(xmlNewDoc(as_xml(kXmlVersion)));
  if (doc == nullptr) {
    gpr_log(GPR_ERROR, "in %s at %d failed xmlNewDoc", __func__, __LINE__);
    return nullptr;
  }
  xmlDocSetRootElement(doc.get(), root);
  XmlDump result = dump_xml(doc.get());
  if (result.text == nullptr) {
    // Null means that the tree stays the caller's, here too.
    xmlUnlinkNode(root);
    xmlSetTreeDoc(root, nullptr);
  }
  kitbase::Utilities::xmlLog(result.text.get(), result.length);
  gpr_log(GPR_DEBUG, "build_xml_str --> exit XML STRING: %s", printable(result.text.get()));
  return result.text.release();
}

void ServiceRpcMsgHelpers::logXmlTree(xmlNodePtr node) {
  if (gpr_should_log(GPR_LOG_SEVERITY_DEBUG) == 0) return;
  const XmlDoc doc(xmlNewDoc(as_xml(kXmlVersion)));
  if (doc == nullptr) {
    gpr_log(GPR_ERROR, "in %s at %d, failed xmlNewDoc", __func__, __LINE__);
    return;
  }
  xmlNodePtr copy = xmlCopyNode(node, 1);
  if (copy != nullptr) xmlDocSetRootElement(doc.get(), copy);
  const XmlDump result = dump_xml(doc.get());
  kitbase::Utilities::xmlLog(result.text.get(), result.length);
}

}  // namespace nexa

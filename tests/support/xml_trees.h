// Owners and one-line texts of XML and JSON trees, so that a test reads as a comparison of texts.
#ifndef TESTS_SUPPORT_XML_TREES_H_
#define TESTS_SUPPORT_XML_TREES_H_

#include <cjson/cJSON.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <memory>
#include <string>

#include "support/log_capture.h"

namespace nexa_test {

struct FreeXml {
  void operator()(xmlNodePtr node) const {
    xmlUnlinkNode(node);
    xmlFreeNode(node);
  }
  void operator()(xmlDocPtr doc) const { xmlFreeDoc(doc); }
  void operator()(xmlChar* text) const { xmlFree(text); }
  void operator()(xmlBufferPtr buffer) const { xmlBufferFree(buffer); }
};
using XmlTree = std::unique_ptr<xmlNode, FreeXml>;
using XmlString = std::unique_ptr<xmlChar, FreeXml>;

struct DeleteJson {
  void operator()(cJSON* json) const { cJSON_Delete(json); }
};
using Json = std::unique_ptr<cJSON, DeleteJson>;

inline Json parse_json(const std::string& text) { return Json(cJSON_Parse(text.c_str())); }

inline std::string text_of(const xmlChar* text) {
  return text == nullptr ? "(null)" : reinterpret_cast<const char*>(text);
}

// The tree as XML without declaration; "(null)" for no tree.
inline std::string text_of(xmlNodePtr node) {
  if (node == nullptr) return "(null)";
  const std::unique_ptr<xmlBuffer, FreeXml> buffer(xmlBufferCreate());
  xmlNodeDump(buffer.get(), nullptr, node, 0, 0);
  return text_of(xmlBufferContent(buffer.get()));
}
inline std::string text_of(const XmlTree& tree) { return text_of(tree.get()); }
inline std::string text_of(const XmlString& text) { return text_of(text.get()); }

// The element that the text describes.
inline XmlTree parse_xml(const std::string& text) {
  const std::unique_ptr<xmlDoc, FreeXml> doc(
      xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, XML_PARSE_NONET));
  return XmlTree(doc == nullptr ? nullptr : xmlCopyNode(xmlDocGetRootElement(doc.get()), 1));
}

// "file: text" of every collected line of this severity, line numbers masked.
inline std::vector<std::string> lines_of(LogCapture& log, gpr_log_severity severity) {
  std::vector<std::string> lines;
  for (const Line& line : log.take(severity)) {
    lines.push_back(line.file + ": " + mask_numbers(line.text));
  }
  return lines;
}
inline std::vector<std::string> errors_of(LogCapture& log) {
  return lines_of(log, GPR_LOG_SEVERITY_ERROR);
}
inline std::vector<std::string> traces_of(LogCapture& log) {
  return lines_of(log, GPR_LOG_SEVERITY_DEBUG);
}

}  // namespace nexa_test

#endif  // TESTS_SUPPORT_XML_TREES_H_

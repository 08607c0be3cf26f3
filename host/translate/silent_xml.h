// Keeps libxml2 from writing to standard error, which it does for what it cannot print or encode.
// Those who call it look at results, and the process has its own log.
#ifndef HOST_TRANSLATE_SILENT_XML_H_
#define HOST_TRANSLATE_SILENT_XML_H_

#include <libxml/xmlerror.h>

namespace nexa::translate {

// libxml2's messages of this thread go nowhere while the object lives; it is destroyed in the
// thread that made it.
class SilentXml {
 public:
  SilentXml() : report_(xmlStructuredError), context_(xmlStructuredErrorContext) {
    xmlSetStructuredErrorFunc(nullptr, [](void*, xmlErrorPtr) {});
  }
  ~SilentXml() { xmlSetStructuredErrorFunc(context_, report_); }
  SilentXml(const SilentXml&) = delete;
  SilentXml& operator=(const SilentXml&) = delete;

 private:
  const xmlStructuredErrorFunc report_;
  void* const context_;
};

}  // namespace nexa::translate

#endif  // HOST_TRANSLATE_SILENT_XML_H_

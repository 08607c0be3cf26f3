// What the library leaves open in a converted tree: xmlns wherever a node's namespace differs from
// its parent's, texts that travelled as placeholders, and the content of anydata.
#ifndef HOST_TRANSLATE_XML_COMPLETION_H_
#define HOST_TRANSLATE_XML_COMPLETION_H_

#include <libxml/tree.h>

#include "translate/payload.h"

namespace nexa::translate {

class XmlCompletion {
 public:
  XmlCompletion(const Payload& payload, const SchemaNames& names, std::vector<std::string>* notes)
      : payload_(payload), names_(names), notes_(notes) {}

  // Completes the elements that stand for `item`, from `first` on; `parent_ns` is the namespace
  // around them, 0 at the top. Returns the element behind them. False in `ok` when the elements are
  // not those of the payload.
  xmlNodePtr complete(xmlNodePtr first, std::uint32_t item, std::uint32_t parent_ns, bool& ok);

 private:
  void complete_one(xmlNodePtr element, std::uint32_t item, std::uint32_t parent_ns, bool& ok);
  void set_leaf_text(xmlNodePtr element, std::uint32_t item);
  void fill_any(xmlNodePtr element, std::uint32_t item, std::uint32_t ns);
  void append(xmlNodePtr parent, std::uint32_t item, std::uint32_t parent_ns);
  void append_opaque(xmlNodePtr parent, std::uint32_t item, std::string_view name);

  const Payload& payload_;
  const SchemaNames& names_;
  std::vector<std::string>* notes_;
};

// Replaces the element's content by this text.
void set_text(xmlNodePtr element, std::string_view text);

// Declares the prefixes that a text needs on the element.
void declare(xmlNodePtr element, const kestrel::StoredText& stored);

// Marks the JSON type of a value on its element, where the text does not tell it.
void mark(xmlNodePtr element, const kestrel::StoredText& stored);

// Declares the default namespace `uri` on the element, unless it does so already.
void declare_default(xmlNodePtr element, const char* uri);

}  // namespace nexa::translate

#endif  // HOST_TRANSLATE_XML_COMPLETION_H_

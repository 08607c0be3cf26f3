// One walk over the tree. Whatever is not written the same way in every release of libxml2 and for
// every encoding is left to it: other nodes than elements and texts, characters beyond ASCII,
// control characters, and quotes in attributes.
#include "nexa_srv_rpc_msg_helpers/xml_utilities_dump.h"

#include <libxml/parserInternals.h>
#include <libxml/xmlsave.h>

#include <array>
#include <climits>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

namespace nexa {
namespace {

constexpr std::string_view kHead = "<?xml version=\"1.0\"?>\n";

enum class Byte : std::uint8_t { kPlain, kEntity, kOther };

constexpr std::array<Byte, 256> classes_of_bytes() {  // unreached: the compiler runs it
  std::array<Byte, 256> classes{};
  for (std::size_t byte = 0; byte < classes.size(); ++byte) {
    const bool is_plain = (byte >= ' ' && byte <= '~') || byte == '\n' || byte == '\t';
    classes[byte] = is_plain ? Byte::kPlain : Byte::kOther;
  }
  for (const char byte : {'<', '>', '&'}) classes[static_cast<unsigned char>(byte)] = Byte::kEntity;
  return classes;
}

constexpr std::array<Byte, 256> kClasses = classes_of_bytes();

std::string_view view(const xmlChar* text) {
  return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

class Writer {
 public:
  // Whether all of it could be written.
  bool write(const xmlNode& root) {
    if (xmlSaveNoEmptyTags != 0) return false;
    text_ = kHead;
    if (!write_tree(root)) return false;
    text_.push_back('\n');
    return true;
  }

  const std::string& text() const { return text_; }

 private:
  // Without recursion: a payload may be as deep as its sender likes.
  bool write_tree(const xmlNode& root) {
    const xmlNode* node = &root;
    while (true) {
      if (!write_start(*node)) return false;
      if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
        node = node->children;
        continue;
      }
      while (node != &root && node->next == nullptr) {
        node = node->parent;
        text_ += "</";
        write_name(*node);
        text_.push_back('>');
      }
      if (node == &root) return true;
      node = node->next;
    }
  }

  bool write_start(const xmlNode& node) {
    if (node.type == XML_TEXT_NODE) {
      return node.name == xmlStringText && write_text(view(node.content));
    }
    if (node.type != XML_ELEMENT_NODE) return false;
    text_.push_back('<');
    write_name(node);
    for (const xmlNs* ns = node.nsDef; ns != nullptr; ns = ns->next) {
      if (!write_namespace(*ns)) return false;
    }
    for (const xmlAttr* attribute = node.properties; attribute != nullptr;
         attribute = attribute->next) {
      if (!write_attribute(*attribute)) return false;
    }
    text_ += node.children == nullptr ? "/>" : ">";
    return true;
  }

  void write_prefix(const xmlNs* ns) {
    if (ns == nullptr || ns->prefix == nullptr) return;
    text_ += view(ns->prefix);
    text_.push_back(':');
  }

  void write_name(const xmlNode& element) {
    write_prefix(element.ns);
    text_ += view(element.name);
  }

  bool write_namespace(const xmlNs& ns) {
    const std::string_view uri = view(ns.href);
    const bool is_usual = ns.type == XML_LOCAL_NAMESPACE && ns.href != nullptr &&
                          view(ns.prefix) != "xml" && uri.find('"') == std::string_view::npos;
    if (!is_usual) return false;
    text_ += " xmlns";
    if (ns.prefix != nullptr) {
      text_.push_back(':');
      text_ += view(ns.prefix);
    }
    text_ += "=\"";
    text_ += uri;
    text_.push_back('"');
    return true;
  }

  bool write_attribute(const xmlAttr& attribute) {
    text_.push_back(' ');
    write_prefix(attribute.ns);
    text_ += view(attribute.name);
    text_ += "=\"";
    for (const xmlNode* part = attribute.children; part != nullptr; part = part->next) {
      if (part->type != XML_TEXT_NODE) return false;
      const std::string_view value = view(part->content);
      for (const char byte : value) {
        if (kClasses[static_cast<unsigned char>(byte)] != Byte::kPlain || byte < ' ' || byte == '"')
          return false;
      }
      text_ += value;
    }
    text_.push_back('"');
    return true;
  }

  bool write_text(std::string_view text) {
    std::size_t begin = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
      const Byte kind = kClasses[static_cast<unsigned char>(text[at])];
      if (kind == Byte::kPlain) continue;
      if (kind == Byte::kOther) return false;
      text_ += text.substr(begin, at - begin);
      text_ += text[at] == '<' ? "&lt;" : text[at] == '>' ? "&gt;" : "&amp;";
      begin = at + 1;
    }
    text_ += text.substr(begin);
    return true;
  }

  std::string text_;
};

XmlDump copy_of(const std::string& text) {
  XmlDump result;
  if (text.size() >= INT_MAX) return result;  // unreached: a tree of 2 GB
  result.text.reset(static_cast<xmlChar*>(xmlMalloc(text.size() + 1)));
  if (result.text == nullptr) return result;
  std::memcpy(result.text.get(), text.c_str(), text.size() + 1);
  result.length = static_cast<int>(text.size());
  return result;
}

}  // namespace

XmlDump dump_xml(xmlDocPtr doc) {
  try {
    Writer writer;
    const xmlNode* const root = xmlDocGetRootElement(doc);
    if (root != nullptr && writer.write(*root)) return copy_of(writer.text());
  } catch (const std::bad_alloc&) {
    return {};
  }
  XmlDump result;
  xmlChar* text = nullptr;
  xmlDocDumpMemory(doc, &text, &result.length);
  result.text.reset(text);
  return result;
}

}  // namespace nexa

// Walks the converted tree and the payload side by side: members stand in the same order in both,
// and an array stands for as many elements as it has entries.
#include "translate/xml_completion.h"

#include <cstring>
#include <optional>

#include "text/display.h"
#include "text/json_mark.h"
#include "text/xml_owner.h"
#include "translate/any_content.h"
#include "translate/json_tree.h"

namespace nexa::translate {
namespace {

const xmlChar* chars(const char* text) { return reinterpret_cast<const xmlChar*>(text); }
const char* chars(const xmlChar* text) { return reinterpret_cast<const char*>(text); }

xmlNodePtr append_text(xmlNodePtr element, std::string_view text) {
  return xmlAddChild(element, xmlNewTextLen(chars(text.data()), static_cast<int>(text.size())));
}

std::optional<text::JsonType> marked_type(kestrel::Written mark) {
  switch (mark) {
    case kestrel::Written::kString:
      return text::JsonType::kString;
    case kestrel::Written::kNumber:
      return text::JsonType::kNumber;
    case kestrel::Written::kBoolean:
      return text::JsonType::kBoolean;
    case kestrel::Written::kEmpty:
      return text::JsonType::kNull;
    case kestrel::Written::kNull:
    case kestrel::Written::kText:
      break;
  }
  return std::nullopt;
}

void add_mark(xmlNodePtr element, const char* attribute, const char* value) {
  const std::string prefix = text::kMarkPrefix;
  xmlNewProp(element, chars(("xmlns:" + prefix).c_str()), chars(text::kMarkNamespace));
  xmlNewProp(element, chars((prefix + ":" + attribute).c_str()), chars(value));
}

}  // namespace

void set_text(xmlNodePtr element, std::string_view text) {
  while (element->children != nullptr) {
    xmlNodePtr child = element->children;
    xmlUnlinkNode(child);
    const text::XmlNodePtr owner(child);
  }
  if (!text.empty()) append_text(element, text);
}

void declare(xmlNodePtr element, const kestrel::StoredText& stored) {
  for (const auto& [prefix, uri] : stored.namespaces) {
    xmlNewProp(element, chars(("xmlns:" + prefix).c_str()), chars(uri.c_str()));
  }
}

void mark(xmlNodePtr element, const kestrel::StoredText& stored) {
  const std::optional<text::JsonType> type = marked_type(stored.mark);
  if (type) add_mark(element, text::kMarkAttribute, text::mark_value(*type));
}

void declare_default(xmlNodePtr element, const char* uri) {
  for (xmlAttrPtr attribute = element->properties; attribute != nullptr;
       attribute = attribute->next) {
    if (std::strcmp(chars(attribute->name), "xmlns") == 0) return;
  }
  xmlNewProp(element, chars("xmlns"), chars(uri));
}

xmlNodePtr XmlCompletion::complete(xmlNodePtr first, std::uint32_t item, std::uint32_t parent_ns,
                                   bool& ok) {
  const Reading& reading = payload_.readings[item];
  if (reading.role == Role::kNone) return first;
  if (reading.role != Role::kArray) {
    ok = ok && first != nullptr;
    if (!ok) return nullptr;
    complete_one(first, item, parent_ns, ok);
    return first->next;
  }
  for (std::uint32_t at = payload_.document.items[item].child; at != kNoItem;
       at = payload_.document.items[at].next) {
    first = complete(first, at, parent_ns, ok);
  }
  return first;
}

void XmlCompletion::complete_one(xmlNodePtr element, std::uint32_t item, std::uint32_t parent_ns,
                                 bool& ok) {
  const Reading& reading = payload_.readings[item];
  if (std::strcmp(chars(element->name), local_name(reading.node)) != 0) {
    ok = false;
    return;
  }
  if (reading.node->ns != parent_ns) declare_default(element, kestrel_hash2str(reading.node->ns));
  if (reading.role == Role::kAnyData) {
    set_text(element, {});
    const AnyContent content = look_at_any(payload_, names_, item);
    if (!content.xml_tells_all) {
      add_mark(element, text::kTextAttribute, compact_json(payload_.document, item).c_str());
    }
    if (content.has_xml) fill_any(element, item, reading.node->ns);
    return;
  }
  if (reading.role == Role::kLeaf) return set_leaf_text(element, item);
  xmlNodePtr child = element->children;
  for (std::uint32_t at = payload_.document.items[item].child; at != kNoItem;
       at = payload_.document.items[at].next) {
    child = complete(child, at, reading.node->ns, ok);
  }
  ok = ok && child == nullptr;
}

void XmlCompletion::set_leaf_text(xmlNodePtr element, std::uint32_t item) {
  const Reading& reading = payload_.readings[item];
  const std::string_view text = payload_.text_of(item);
  if (reading.stored == 0 && !needs_placeholder(text)) return;
  set_text(element, text);
  if (reading.stored != 0) {
    declare(element, payload_.stored[reading.stored]);
    mark(element, payload_.stored[reading.stored]);
  }
  if (notes_ != nullptr && is_altered_by_library(text, names_)) {
    constexpr std::size_t kShown = 40;
    notes_->push_back("value of " + std::string(local_name(reading.node)) +
                      " kept as it is: " + text::quoted(text, kShown));
  }
}

void XmlCompletion::fill_any(xmlNodePtr element, std::uint32_t item, std::uint32_t ns) {
  const JsonItem& value = payload_.document.items[item];
  if (value.kind != JsonKind::kObject && value.kind != JsonKind::kArray) {
    set_text(element, payload_.text_of(item));
    return;
  }
  for (std::uint32_t at = value.child; at != kNoItem; at = payload_.document.items[at].next) {
    append(element, at, ns);
  }
}

void XmlCompletion::append(xmlNodePtr parent, std::uint32_t item, std::uint32_t parent_ns) {
  const Reading& reading = payload_.readings[item];
  const std::vector<JsonItem>& items = payload_.document.items;
  switch (reading.role) {
    case Role::kNone:
      return;
    case Role::kOpaque:
      return append_opaque(parent, item, items[item].name);
    case Role::kArray:
      for (std::uint32_t at = items[item].child; at != kNoItem; at = items[at].next) {
        append(parent, at, parent_ns);
      }
      return;
    case Role::kContainer:
    case Role::kLeaf:
    case Role::kAnyData:
      break;
  }
  xmlNodePtr element = xmlNewChild(parent, nullptr, chars(local_name(reading.node)), nullptr);
  if (reading.node->ns != parent_ns) declare_default(element, kestrel_hash2str(reading.node->ns));
  if (reading.role == Role::kAnyData) return fill_any(element, item, reading.node->ns);
  if (reading.role == Role::kLeaf) {
    set_text(element, payload_.text_of(item));
    if (reading.stored != 0) declare(element, payload_.stored[reading.stored]);
    return;
  }
  for (std::uint32_t at = items[item].child; at != kNoItem; at = items[at].next) {
    append(element, at, reading.node->ns);
  }
}

// A member without schema: its module's namespace where the module is known, the text of a scalar,
// one element for each entry of an array.
void XmlCompletion::append_opaque(xmlNodePtr parent, std::uint32_t item, std::string_view name) {
  const JsonItem& value = payload_.document.items[item];
  const std::size_t colon = name.find(':');
  const std::string local(colon == std::string_view::npos ? name : name.substr(colon + 1));
  if (value.kind == JsonKind::kArray) {
    for (std::uint32_t at = value.child; at != kNoItem; at = payload_.document.items[at].next) {
      append_opaque(parent, at, name);
    }
    return;
  }
  xmlNodePtr element = xmlNewChild(parent, nullptr, chars(local.c_str()), nullptr);
  if (colon != std::string_view::npos) {
    const KestrelNsEntry* entry = names_.by_module(name.substr(0, colon));
    if (entry != nullptr) declare_default(element, entry->uri);
  }
  if (value.kind != JsonKind::kObject) return set_text(element, payload_.text_of(item));
  for (std::uint32_t at = value.child; at != kNoItem; at = payload_.document.items[at].next) {
    append_opaque(element, at, payload_.document.items[at].name);
  }
}

}  // namespace nexa::translate

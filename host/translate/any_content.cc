// What JSON a reader makes of the XML: objects and strings, an array of what is there twice, names
// with their module where it is not that of the parent, and known nodes by their schema.
#include "translate/any_content.h"

namespace nexa::translate {
namespace {

bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }

bool is_identifier(std::string_view name) {
  if (name.empty() || !is_letter(name.front())) return false;
  for (const char c : name) {
    if (!is_letter(c) && !(c >= '0' && c <= '9') && c != '-' && c != '.') return false;
  }
  return true;
}

bool is_json_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Whether a reader of XML gives the string back.
bool is_plain(std::string_view text) {
  return text.empty() || (!is_json_blank(text.front()) && !is_json_blank(text.back()) &&
                          text.find('\r') == std::string_view::npos);
}

class Look {
 public:
  Look(const Payload& payload, const SchemaNames& names) : payload_(payload), names_(names) {}

  AnyContent content;

  // `outer` is the module of what is around.
  void any(std::uint32_t item, std::string_view outer) {
    const JsonItem& value = payload_.document.items[item];
    if (value.kind == JsonKind::kArray) {
      content.xml_tells_all = false;
      content.has_xml = false;
      return;
    }
    if (value.kind != JsonKind::kObject) return scalar(value);
    each_child(item, [&](std::uint32_t member) {
      const std::string_view name = payload_.document.items[member].name;
      // A reader names the module of a member where it is another one than that of the parent.
      if (name.substr(0, name.find(':')) == outer) content.xml_tells_all = false;
      const bool is_bare = name.find(':') == std::string_view::npos;
      const std::string qualified = std::string(outer).append(":").append(name);
      if (is_bare && names_.resolve(nullptr, qualified, NameRules::kStrict).node != nullptr) {
        content.xml_tells_all = false;
        content.has_xml = false;
      }
      this->member(member, outer);
    });
  }

 private:
  template <typename Visit>
  void each_child(std::uint32_t item, const Visit& visit) const {
    const std::vector<JsonItem>& items = payload_.document.items;
    for (std::uint32_t at = items[item].child; at != kNoItem; at = items[at].next) visit(at);
  }

  void scalar(const JsonItem& value) {
    if (value.kind != JsonKind::kString || !is_plain(value.text)) content.xml_tells_all = false;
  }

  void member(std::uint32_t item, std::string_view outer) {
    const JsonItem& value = payload_.document.items[item];
    const Reading& reading = payload_.readings[item];
    if (reading.role == Role::kNone) content.xml_tells_all = false;
    if (reading.role == Role::kAnyData) return any(item, module_of(reading.node));
    if (reading.role != Role::kOpaque) {
      if (payload_.stored[reading.stored].mark != kestrel::Written::kText) {
        content.xml_tells_all = false;
      }
      if (reading.role != Role::kLeaf) {
        each_child(item, [&](std::uint32_t child) { member(child, outer); });
      }
      return;
    }
    std::string_view module = outer;
    const std::size_t colon = value.name.find(':');
    if (colon != std::string_view::npos) {
      module = value.name.substr(0, colon);
      if (module == outer || names_.by_module(module) == nullptr) content.xml_tells_all = false;
    }
    opaque(item, module, false);
  }

  void opaque(std::uint32_t item, std::string_view module, bool in_array) {
    const JsonItem& value = payload_.document.items[item];
    if (value.kind == JsonKind::kArray) {
      if (in_array || value.count < 2) content.xml_tells_all = false;
      each_child(item, [&](std::uint32_t entry) { opaque(entry, module, true); });
    } else if (value.kind == JsonKind::kObject) {
      if (value.count == 0) content.xml_tells_all = false;
      each_child(item, [&](std::uint32_t child) { member(child, module); });
    } else {
      scalar(value);
    }
  }

  std::string module_of(const kestrel_cs_node* node) const {
    const std::string name = names_.qualified(node);
    return name.substr(0, name.find(':'));
  }

  const Payload& payload_;
  const SchemaNames& names_;
};

}  // namespace

bool is_any_name(std::string_view name) {
  const std::size_t colon = name.find(':');
  if (colon == std::string_view::npos) return is_identifier(name);
  return is_identifier(name.substr(0, colon)) && is_identifier(name.substr(colon + 1));
}

AnyContent look_at_any(const Payload& payload, const SchemaNames& names, std::uint32_t item) {
  Look look(payload, names);
  const std::string qualified = names.qualified(payload.readings[item].node);
  look.any(item, qualified.substr(0, qualified.find(':')));
  return look.content;
}

std::string compact_json(const JsonDocument& document, std::uint32_t item) {
  const std::string_view source = document.source;
  std::string text;
  int depth = 0;
  bool in_string = false;
  for (std::size_t at = document.items[item].offset; at < source.size(); ++at) {
    const char c = source[at];
    if (in_string) {
      text += c;
      if (c == '\\' && at + 1 < source.size()) text += source[++at];
      if (c != '"') continue;
      in_string = false;
      if (depth == 0) return text;
      continue;
    }
    const bool is_end = c == '}' || c == ']';
    if (depth == 0 && (is_end || c == ',' || is_json_blank(c))) return text;
    if (is_json_blank(c)) continue;
    text += c;
    in_string = c == '"';
    if (c == '{' || c == '[') ++depth;
    if (is_end && --depth == 0) return text;
  }
  return text;
}

}  // namespace nexa::translate

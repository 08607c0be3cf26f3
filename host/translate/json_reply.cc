// Writes JSON while walking the XML. Entries of one list may stand apart from each other in the
// document; an array holds them all, so the children of an element are grouped by their node first.
#include "translate/json_reply.h"

#include <libxml/parser.h>

#include <unordered_map>

namespace nexa::host {
namespace {

struct DeleteXmlDocument {
  void operator()(xmlDocPtr document) const { xmlFreeDoc(document); }
};
using XmlDocument = std::unique_ptr<xmlDoc, DeleteXmlDocument>;

struct FreeXmlText {
  void operator()(xmlChar* text) const { xmlFree(text); }
};

const char* chars(const xmlChar* text) { return reinterpret_cast<const char*>(text); }

std::string content(xmlNodePtr element) {
  const std::unique_ptr<xmlChar, FreeXmlText> text(xmlNodeGetContent(element));
  return text != nullptr ? chars(text.get()) : std::string();
}

void append_string(std::string_view text, std::string& out) {
  out += '"';
  for (const char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        out += c;
        break;
    }
  }
  out += '"';
}

grpc::Status not_found() { return {grpc::StatusCode::NOT_FOUND, "nothing is stored at this path"}; }

grpc::Status no_schema() {
  return {grpc::StatusCode::INTERNAL, "the document has a node that the schema does not know"};
}

}  // namespace

kestrel_cs_node* JsonReply::node_of(xmlNodePtr element, const kestrel_cs_node* parent) const {
  if (element->ns == nullptr || element->ns->href == nullptr) return nullptr;
  const std::uint32_t ns = kestrel_str2hash(chars(element->ns->href));
  return ns != 0 ? names_.child(parent, chars(element->name), ns) : nullptr;
}

bool JsonReply::is_entry(xmlNodePtr element, const PathStep& step) {
  for (const PathKey& key : step.keys) {
    std::string found;
    if (is_leaf_list(step.node)) {
      found = with_module_names(element, step.node, content(element));
    } else {
      xmlNodePtr child = xmlFirstElementChild(element);
      while (child != nullptr && node_of(child, step.node) != key.node) {
        child = xmlNextElementSibling(child);
      }
      if (child == nullptr) return false;
      found = with_module_names(child, key.node, content(child));
    }
    if (values_.canonical(key.node, found) != values_.canonical(key.node, key.given)) return false;
  }
  return true;
}

grpc::Status JsonReply::write(std::string_view xml, const RequestPath& path, std::string& json) {
  const XmlDocument document(
      xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr,
                    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_HUGE));
  xmlNodePtr place = document != nullptr ? xmlDocGetRootElement(document.get()) : nullptr;
  if (place == nullptr) return {grpc::StatusCode::INTERNAL, "the stored text is no XML document"};
  out_.clear();
  std::vector<xmlNodePtr> found = {place};
  const kestrel_cs_node* node = nullptr;
  for (const PathStep& step : path.steps) {
    std::vector<xmlNodePtr> inner;
    for (xmlNodePtr outer : found) {
      for (xmlNodePtr child = xmlFirstElementChild(outer); child != nullptr;
           child = xmlNextElementSibling(child)) {
        if (node_of(child, node) == step.node && is_entry(child, step)) inner.push_back(child);
      }
    }
    if (inner.empty()) return not_found();
    found = std::move(inner);
    node = step.node;
  }
  bool ok = true;
  const bool one_entry = node != nullptr && !path.last().keys.empty();
  if (node != nullptr && !one_entry && (is_list(node) || is_leaf_list(node))) {
    out_ += '[';
    for (std::size_t index = 0; ok && index < found.size(); ++index) {
      if (index > 0) out_ += ',';
      ok = write_value(found[index], node, true);
    }
    out_ += ']';
  } else if (node == nullptr) {
    ok = write_members(place, nullptr, true);
  } else {
    ok = write_value(found.front(), node, true);
  }
  if (!ok) return no_schema();
  json = std::move(out_);
  return grpc::Status::OK;
}

bool JsonReply::group(xmlNodePtr parent, const kestrel_cs_node* node, std::vector<Group>& groups) {
  std::unordered_map<const kestrel_cs_node*, std::size_t> places;
  for (xmlNodePtr child = xmlFirstElementChild(parent); child != nullptr;
       child = xmlNextElementSibling(child)) {
    const kestrel_cs_node* found = node_of(child, node);
    if (found == nullptr) return false;
    const auto [place, added] = places.emplace(found, groups.size());
    if (added) groups.push_back({found, {}});
    groups[place->second].elements.push_back(child);
  }
  return true;
}

bool JsonReply::write_members(xmlNodePtr parent, const kestrel_cs_node* node, bool outermost) {
  std::vector<Group> groups;
  if (!group(parent, node, groups)) return false;
  out_ += '{';
  bool first = true;
  for (const Group& member : groups) {
    if (!first) out_ += ',';
    first = false;
    const bool module_changes = node == nullptr || node->ns != member.node->ns;
    const bool qualified = qualify_ && (outermost || module_changes);
    append_string(qualified ? names_.qualified(member.node) : local_name(member.node), out_);
    out_ += ':';
    if (!write_group(member)) return false;
  }
  out_ += '}';
  return true;
}

bool JsonReply::write_group(const Group& group) {
  const bool array = is_list(group.node) || is_leaf_list(group.node);
  if (!array) return write_value(group.elements.front(), group.node, false);
  out_ += '[';
  for (std::size_t index = 0; index < group.elements.size(); ++index) {
    if (index > 0) out_ += ',';
    if (!write_value(group.elements[index], group.node, false)) return false;
  }
  out_ += ']';
  return true;
}

bool JsonReply::write_value(xmlNodePtr element, const kestrel_cs_node* node, bool outermost) {
  if (is_any_data(node)) {
    write_opaque(element);
    return true;
  }
  if (is_leaf(node) || is_leaf_list(node)) {
    write_leaf(element, node);
    return true;
  }
  return write_members(element, node, outermost);
}

std::string JsonReply::module_for(xmlNodePtr element, std::string_view prefix) const {
  const std::string name(prefix);
  xmlNsPtr ns = xmlSearchNs(element->doc, element, reinterpret_cast<const xmlChar*>(name.c_str()));
  const std::uint32_t hash = ns != nullptr ? kestrel_str2hash(chars(ns->href)) : 0;
  const KestrelNsEntry* entry = hash != 0 ? names_.by_hash(hash) : nullptr;
  return entry != nullptr ? entry->module : std::string();
}

// XML prefixes in a value become module names (RFC 7951 sections 6.8 and 6.11).
std::string JsonReply::with_module_names(xmlNodePtr element, const kestrel_cs_node* node,
                                         const std::string& text) {
  const std::uint32_t classes = values_.type_classes(node);
  const bool prefixed = (classes & (kestrel::kIdentity | kestrel::kInstance)) != 0;
  // In a union a text with a colon may be a plain string: only a declared prefix makes it a name.
  const bool in_union = (classes & kestrel::kUnion) != 0;
  if (in_union ? element->nsDef == nullptr : !prefixed) return text;
  std::string out;
  std::string name;
  char quote = '\0';
  for (const char c : text) {
    if (quote != '\0') {
      if (c == quote) quote = '\0';
      out += c;
      continue;
    }
    const bool in_name = c != '/' && c != '[' && c != ']' && c != '=' && c != '\'' && c != '"' &&
                         c != ' ' && c != ':';
    if (in_name) {
      name += c;
      continue;
    }
    if (c == ':') {
      const std::string module = module_for(element, name);
      if (!module.empty()) name = module;
    }
    out += name;
    name.clear();
    out += c;
    if (c == '\'' || c == '"') quote = c;
  }
  return out + name;
}

void JsonReply::write_leaf(xmlNodePtr element, const kestrel_cs_node* node) {
  out_ += values_.json_token(node, with_module_names(element, node, content(element)));
}

// The content of anydata, which has no schema: objects and strings; names seen twice are arrays.
void JsonReply::write_opaque(xmlNodePtr element) {
  out_ += '{';
  bool first_member = true;
  std::vector<std::pair<std::string, std::vector<xmlNodePtr>>> members;
  for (xmlNodePtr child = xmlFirstElementChild(element); child != nullptr;
       child = xmlNextElementSibling(child)) {
    std::string name = chars(child->name);
    const bool changes =
        child->ns != nullptr && (element->ns == nullptr || child->ns != element->ns);
    if (qualify_ && changes) {
      const KestrelNsEntry* entry = names_.by_hash(kestrel_str2hash(chars(child->ns->href)));
      if (entry != nullptr) name.insert(0, ":").insert(0, entry->module);
    }
    std::size_t place = 0;
    while (place < members.size() && members[place].first != name) ++place;
    if (place == members.size()) members.push_back({name, {}});
    members[place].second.push_back(child);
  }
  for (const auto& [name, elements] : members) {
    if (!first_member) out_ += ',';
    first_member = false;
    append_string(name, out_);
    out_ += ':';
    const kestrel_cs_node* node = node_of(elements.front(), nullptr);
    const bool array = elements.size() > 1 || (node != nullptr && is_list(node));
    if (array) out_ += '[';
    for (std::size_t index = 0; index < elements.size(); ++index) {
      if (index > 0) out_ += ',';
      if (node != nullptr && write_value(elements[index], node, false)) continue;
      if (xmlFirstElementChild(elements[index]) != nullptr) {
        write_opaque(elements[index]);
      } else {
        append_string(content(elements[index]), out_);
      }
    }
    if (array) out_ += ']';
  }
  out_ += '}';
}

gnmi::Path external_path(const RequestPath& path, const SchemaNames& names) {
  gnmi::Path external;
  std::uint32_t ns = 0;
  for (const PathStep& step : path.steps) {
    gnmi::PathElem* element = external.add_elem();
    element->set_name(step.node->ns != ns ? names.qualified(step.node) : local_name(step.node));
    ns = step.node->ns;
    for (const PathKey& key : step.keys) {
      const bool of_leaf_list = key.node == step.node;
      (*element->mutable_key())[of_leaf_list ? "." : local_name(key.node)] = key.given;
    }
  }
  return external;
}

}  // namespace nexa::host

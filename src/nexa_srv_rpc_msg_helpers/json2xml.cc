// The single recursive converter: one element for each JSON item, named and filled here, failures
// shown by null alone. An array keeps an element of its own around its entries.
#include <grpc/support/log.h>

#include <cassert>
#include <charconv>
#include <string>
#include <string_view>

#include "gnmi/gnmi_rpc_msg_helpers.h"
#include "nexa_srv_rpc_msg_helpers/checked_copy.h"
#include "nexa_srv_rpc_msg_helpers/json2xml_conversion.h"
#include "nexa_srv_rpc_msg_helpers/xml_utilities_text.h"

namespace nexa {
namespace {

constexpr const char* kFunction = "json2xml";  // in every log line of this file
constexpr const char* kPlaceholder = "placeholder";

// A copy of a leaf's text that cannot be used, and a text node that cannot be made, differ in their
// words by what the text is.
enum class TextKind { kString, kEmpty, kTrue, kFalse };

void log_no_memory(TextKind kind) {
  if (kind == TextKind::kEmpty) {
    gpr_log(GPR_ERROR,
            "in %s at %d Unable to allocate memory while converting JSON to XML. Freeing all "
            "allocated XML and returning early",
            kFunction, __LINE__);
    return;
  }
  gpr_log(GPR_ERROR,
          "Unable to allocate memory while converting JSON to XML. Freeing all allocated XML and "
          "returning early");
}

void log_refused_copy(TextKind kind) {
  const char* what = kind == TextKind::kTrue    ? "'true'"
                     : kind == TextKind::kFalse ? "'false'"
                                                : "string";
  gpr_log(GPR_ERROR, "Error occurred while copying %s during conversion of JSON to XML", what);
}

// Puts a checked copy of `text` below `element`; false, logged, on failure.
bool put_text(xmlNodePtr element, const char* text, TextKind kind = TextKind::kString) {
  const CheckedCopy copy(text);
  if (copy.refused()) {
    log_refused_copy(kind);
    return false;
  }
  XmlNode node = copy.ok() ? new_xml_text(copy.xml()) : nullptr;
  if (node == nullptr) {
    log_no_memory(kind);
    return false;
  }
  append_xml(element, std::move(node));
  return true;
}

bool put_number(xmlNodePtr element, double value) {
  // Six significant digits, as printf's %lg gives them in the C locale.
  char text[128] = {};
  std::to_chars(text, text + sizeof(text) - 1, value, std::chars_format::general, 6);
  return put_text(element, text);
}

void declare_prefix(xmlNodePtr element, std::string_view prefix, const std::string& ns) {
  std::string name = "xmlns:";
  ServiceRpcMsgHelpers::add_xml_attribute(element, name.append(prefix), ns);
}

bool put_plain_string(const Conversion& conversion, const char* value, xmlNodePtr element) {
  gpr_log(GPR_DEBUG, "in %s at %d cJSON LEAF is PLAIN STRING %s", kFunction, __LINE__, value);
  std::string_view prefix;
  std::string_view rest;
  gnmi::RpcMsgHelpers::extract_prefix(std::string_view(value), prefix, rest);
  if (!prefix.empty()) {
    const std::string module(prefix);
    const std::string ns = conversion.mapper->nsFromModuleNamePrefix_(module);
    if (ns.empty()) {
      gpr_log(GPR_ERROR, "in %s at %d No NAMESPACE for prefix %s", kFunction, __LINE__,
              module.c_str());
    } else {
      declare_prefix(element, prefix, ns);
    }
  }
  gpr_log(GPR_DEBUG, "?????XMLVAL: %s ???? at line %d", value, __LINE__);
  return put_text(element, value);
}

bool put_identityref(const Conversion& conversion, const char* value, xmlNodePtr element) {
  gpr_log(GPR_DEBUG, "in %s at %d cJSON LEAF is STRING IDENTITYREF %s", kFunction, __LINE__, value);
  std::string internal;
  // A value that cannot be translated comes back as it was given.
  static_cast<void>(conversion.token->internalizeEName(value, internal, gnmi::EN_ARG_NAME, 0));
  std::string_view prefix;
  std::string_view rest;
  gnmi::RpcMsgHelpers::extract_prefix(std::string_view(internal), prefix, rest);
  if (!prefix.empty()) {
    const std::string ns = conversion.mapper->nsFromYmpPrefix_(std::string(prefix));
    if (!ns.empty()) declare_prefix(element, prefix, ns);
  }
  gpr_log(GPR_DEBUG, "IDENTITYREF internalized XMLVAL: %s  at line %d", internal.c_str(), __LINE__);
  return put_text(element, internal.c_str());
}

bool put_string(const Conversion& conversion, cJSON* item, xmlNodePtr element) {
  const char* value = item->valuestring;
  gpr_log(GPR_DEBUG, "in %s at %d cJSON LEAF is STRING %s", kFunction, __LINE__, value);
  const cJsonCsnode* binding = conversion.hash->get_cjson_csnode(item);
  if (binding != nullptr && binding->is_identityref()) {
    return put_identityref(conversion, value, element);
  }
  if (!is_empty_value_text(value)) return put_plain_string(conversion, value, element);
  gpr_log(GPR_DEBUG, "in %s at %d cJSON LEAF is STRING [ null ] %s", kFunction, __LINE__, value);
  return put_text(element, "", TextKind::kEmpty);
}

// Fills the element of an item without children; false, logged, on failure.
bool put_leaf(const Conversion& conversion, cJSON* item, xmlNodePtr element) {
  gpr_log(GPR_DEBUG, "in %s at %d cJSON has NO children --> LEAF", kFunction, __LINE__);
  const int type = item->type & kJsonTypeMask;
  if (type == cJSON_Number) {
    gpr_log(GPR_DEBUG, "in %s at %d cJSON LEAF is number %d", kFunction, __LINE__, item->valueint);
    return put_number(element, item->valuedouble);
  }
  if ((type & cJSON_False) != 0) {
    gpr_log(GPR_DEBUG, "in %s at %d cJSON LEAF is BOOL False", kFunction, __LINE__);
    return put_text(element, "false", TextKind::kFalse);
  }
  if ((type & cJSON_True) != 0) {
    gpr_log(GPR_DEBUG, "in %s at %d cJSON LEAF is BOOL True", kFunction, __LINE__);
    return put_text(element, "true", TextKind::kTrue);
  }
  if ((type & cJSON_NULL) != 0) {
    gpr_log(GPR_DEBUG, "in %s at %d cJSON LEAF is NULL", kFunction, __LINE__);
    return put_text(element, "", TextKind::kEmpty);
  }
  if (type == cJSON_String) return put_string(conversion, item, element);
  gpr_log(GPR_ERROR, "in %s at %d:  Unhandled JSON type %d", kFunction, __LINE__, type);
  return false;
}

// Names the element after the item's member name, if it has one; false, logged, on failure.
bool put_name(const Conversion& conversion, cJSON* item, xmlNodePtr element) {
  if (item->string == nullptr) return true;
  gpr_log(GPR_DEBUG, "in %s at %d root->string != NULL", kFunction, __LINE__);
  const cJsonCsnode* binding = conversion.hash->get_cjson_csnode(item);
  const bool is_identityref = binding != nullptr && binding->is_identityref();
  return name_by_member(kFunction, conversion, item, is_identityref, element) == Naming::kDone;
}

// An entry of a named array takes the array's name.
bool put_entry_name(const cJSON& array, xmlNodePtr array_element, xmlNodePtr entry) {
  if ((array.type & kJsonTypeMask) != cJSON_Array || array.string == nullptr) return true;
  if (set_xml_name(entry, array_element->name)) return true;
  log_no_memory(TextKind::kString);
  return false;
}

}  // namespace

xmlNodePtr ServiceRpcMsgHelpers::json2xml(TokenPtr& token, cJSON* item, Json2cJsonCsnodeHash* hash,
                                          Mapper* mapperIntf) {
  assert(mapperIntf != NULL);
  if (item == nullptr) return nullptr;
  gpr_log(GPR_DEBUG, "IN %s hash contains %u entries", kFunction,
          static_cast<unsigned>(hash->size()));
  XmlNode element = new_xml_element(as_xml(kPlaceholder));
  if (element == nullptr) {
    log_no_memory(TextKind::kString);
    return nullptr;
  }
  const Conversion conversion{token, nullptr, hash, mapperIntf};
  if (!put_name(conversion, item, element.get())) return nullptr;
  if (item->child == nullptr) {
    return put_leaf(conversion, item, element.get()) ? element.release() : nullptr;
  }
  gpr_log(GPR_DEBUG, "in %s at %d cJSON has children", kFunction, __LINE__);
  for (cJSON* child = item->child; child != nullptr; child = child->next) {
    XmlNode child_element(json2xml(token, child, hash, mapperIntf));
    if (child_element == nullptr) return nullptr;
    if (!put_entry_name(*item, element.get(), child_element.get())) return nullptr;
    append_xml(element.get(), std::move(child_element));
  }
  return element.release();
}

}  // namespace nexa

// Converts a JSON string that is bound to a schema node into an element with its text. A value that
// carries a module name is written with the database's prefix, which the element then declares.
#include <grpc/support/log.h>

#include <string>

#include "nexa_srv_rpc_msg_helpers/checked_copy.h"
#include "nexa_srv_rpc_msg_helpers/leaf_values.h"
#include "nexa_srv_rpc_msg_helpers/messages_json2xml.h"
#include "nexa_srv_rpc_msg_helpers/xml_utilities_text.h"

namespace nexa {
namespace {

constexpr const char* kPlaceholder = "string value placeholder";
constexpr const char* kFunction = "json_string2xml";  // in every log line of this file

// A value as the database writes it.
struct InternalValue {
  std::string prefix;
  std::string without_prefix;
  std::string ns;
  std::string with_prefix;
};

// Translates the value and puts it below `element`; false, with the status written, on failure.
bool put_internal_value(const Conversion& conversion, const std::string& value,
                        xmlNodePtr element) {
  InternalValue internal;
  if (!conversion.token
           ->internalizeExplodeValue(value, internal.prefix, internal.without_prefix, internal.ns,
                                     internal.with_prefix, 0)
           .ok()) {
    gpr_log(GPR_ERROR, "in %s at %d failed internalizeExplodeValue for cjson->valuestring %s",
            kFunction, __LINE__, value.c_str());
    *conversion.status = {grpc::StatusCode::INTERNAL, kFailedToFindNamespace + value};
    return false;
  }
  if (conversion.debug) {
    gpr_log(GPR_DEBUG,
            "in %s at %d str_val %s internal_prefix %s, internal_value_no_prefix %s, xmlns %s, "
            "internal_value_with_prefix %s",
            kFunction, __LINE__, value.c_str(), internal.prefix.c_str(),
            internal.without_prefix.c_str(), internal.ns.c_str(), internal.with_prefix.c_str());
  }
  CheckedCopy copy(internal.with_prefix);
  if (copy.no_memory()) {
    gpr_log(GPR_ERROR,
            "Unable to allocate memory while converting JSON to XML. Freeing all allocated XML and "
            "returning early");
    *conversion.status = {grpc::StatusCode::RESOURCE_EXHAUSTED,
                          kOutOfMemoryWhileProcessing + value};
    return false;
  }
  if (copy.refused()) {
    gpr_log(GPR_ERROR,
            "in %s at %d Error occurred while copying string during conversion of JSON to XML",
            kFunction, __LINE__);
    *conversion.status = {grpc::StatusCode::RESOURCE_EXHAUSTED, kFailedCopyWhileProcessing + value};
    return false;
  }
  if (!internal.ns.empty()) {
    ServiceRpcMsgHelpers::add_xml_attribute(element, "xmlns:" + internal.prefix, internal.ns);
  }
  // A text that there is no memory for is not detected: the element then stays empty.
  append_xml(element, new_xml_text(std::move(copy)));
  return true;
}

}  // namespace

xmlNodePtr ServiceRpcMsgHelpers::json_string2xml(TokenPtr& token, cJSON* item, grpc::Status* status,
                                                 Json2cJsonCsnodeHash* hash, Mapper* mapper) {
  const std::string str_val(item->valuestring);
  const cJsonCsnode* binding = find_leaf_binding(kFunction, item, hash);
  if (binding == nullptr) {
    *status = {grpc::StatusCode::INTERNAL, kNoSchemaInfo + str_val};
    return nullptr;
  }
  const Conversion conversion{token, status, hash, mapper};
  const int handler =
      conversion.debug ? handle_json2xml_leaf_value(item, binding->cs_node) : handler_of(*item);
  if (conversion.debug)
    gpr_log(GPR_DEBUG, "in %s at %d ValueHandler %d", kFunction, __LINE__, handler);
  XmlNode element = new_xml_element(as_xml(first_name(conversion, *binding, kPlaceholder)));
  if (element == nullptr) {
    gpr_log(GPR_ERROR, "in %s at %d, xmlNewNode failure", kFunction, __LINE__);
    *status = {grpc::StatusCode::RESOURCE_EXHAUSTED, kOutOfMemoryAt + std::to_string(__LINE__)};
    return nullptr;
  }
  if (handler != kStringHandler) {
    gpr_log(GPR_ERROR, "in %s at %d unhandled %d for cjson string %s ", kFunction, __LINE__,
            handler, str_val.c_str());
    *status = {grpc::StatusCode::INTERNAL,
               kUnhandledStringType + str_val + kAt + std::to_string(__LINE__)};
    return nullptr;
  }
  if (is_empty_value_text(str_val)) {
    gpr_log(GPR_DEBUG, "in %s at %d processing [ null ]", kFunction, __LINE__);
  } else {
    if (conversion.debug) {
      gpr_log(GPR_DEBUG, "in %s at %d: Processing IdentityRef", kFunction, __LINE__);
    }
    if (!put_internal_value(conversion, str_val, element.get())) return nullptr;
  }
  return finish_leaf(kFunction, conversion, item, binding, std::move(element));
}

}  // namespace nexa

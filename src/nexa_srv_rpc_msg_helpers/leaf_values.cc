// Converts a JSON boolean or number that is bound to a schema node into an element with its text,
// and chooses the conversion of a leaf. Knows no element names: json_name2xml gives them.
#include <grpc/support/log.h>

#include <charconv>
#include <string>

#include "nexa_srv_rpc_msg_helpers/checked_copy.h"
#include "nexa_srv_rpc_msg_helpers/json2xml_conversion.h"
#include "nexa_srv_rpc_msg_helpers/leaf_values.h"
#include "nexa_srv_rpc_msg_helpers/messages_json2xml.h"

namespace nexa {
namespace {

constexpr const char* kPlaceholder = "number value placeholder";

enum class TextOutcome { kDone, kNoMemory, kCopyRefused, kNoNode };

// Puts a checked copy of `text` below `element`. `function` is the caller's, for the log.
TextOutcome put_text(const char* function, xmlNodePtr element, const char* text) {
  CheckedCopy copy(text);
  if (copy.no_memory()) {
    gpr_log(GPR_ERROR,
            "Unable to allocate memory while converting JSON to XML. Freeing all allocated XML and "
            "returning early");
    return TextOutcome::kNoMemory;
  }
  if (copy.refused()) {
    gpr_log(GPR_ERROR,
            "in %s at %d Error occurred while copying string during conversion of array element "
            "Tag to XML",
            function, __LINE__);
    return TextOutcome::kCopyRefused;
  }
  XmlNode node = new_xml_text(std::move(copy));
  if (node == nullptr) {
    gpr_log(GPR_ERROR,
            "in %s at %d Unable to allocate memory while converting JSON to XML. Freeing all "
            "allocated XML and returning early",
            function, __LINE__);
    return TextOutcome::kNoNode;
  }
  append_xml(element, std::move(node));
  return TextOutcome::kDone;
}

// A number or boolean has no string value, and then this throws std::logic_error: callers rely on
// it.
std::string with_string_value(const char* message, const cJSON& item) {
  return message + string_value_of(item);
}

// What a failed put_text means for a boolean. Its words for a refused copy are a number's, its code
// is not.
grpc::Status boolean_failure(TextOutcome outcome, const cJSON& item) {
  constexpr auto kCode = grpc::StatusCode::RESOURCE_EXHAUSTED;
  if (outcome == TextOutcome::kCopyRefused) return {kCode, kFailedToCopyNumber};
  if (outcome == TextOutcome::kNoNode) return {kCode, kOutOfMemoryWhileProcessingXml};
  return {kCode, kOutOfMemoryWhileProcessingBoolean + std::to_string(item.valueint)};
}

grpc::Status number_failure(TextOutcome outcome, const cJSON& item) {
  constexpr auto kCode = grpc::StatusCode::RESOURCE_EXHAUSTED;
  if (outcome == TextOutcome::kCopyRefused) {
    return {grpc::StatusCode::INTERNAL, kFailedToCopyNumber};
  }
  if (outcome == TextOutcome::kNoNode) return {kCode, kOutOfMemoryWhileProcessingXml};
  return {kCode, with_string_value(kOutOfMemoryWhileProcessing, item) + kNoSchemaInfo +
                     std::to_string(item.valueint)};
}

// The conversion of a bound boolean or number, chosen and logged.
int choose_handler(const char* function, cJSON* item, const cJsonCsnode& binding, bool debug) {
  if (!debug) return handler_of(*item);
  gpr_log(GPR_DEBUG, "in %s at %d cjson_csnode 0x%p, cs_node 0x%p", function, __LINE__,
          static_cast<const void*>(&binding), static_cast<void*>(binding.cs_node));
  const int handler = handle_json2xml_leaf_value(item, binding.cs_node);
  gpr_log(GPR_DEBUG, "in %s at %d ValueHandler %d", function, __LINE__, handler);
  return handler;
}

XmlNode new_leaf(const cJSON& item, const char* name, grpc::Status* status) {
  XmlNode element = new_xml_element(as_xml(name));
  if (element != nullptr) return element;
  gpr_log(GPR_ERROR,
          "Unable to allocate memory while converting JSON to XML. Freeing all allocated XML and "
          "returning early");
  *status = {grpc::StatusCode::RESOURCE_EXHAUSTED,
             with_string_value(kOutOfMemoryWhileProcessing, item)};
  return nullptr;
}

}  // namespace

cJsonCsnode* find_leaf_binding(const char* function, cJSON* item, Json2cJsonCsnodeHash* hash) {
  cJsonCsnode* binding = hash->get_cjson_csnode(item);
  if (binding != nullptr && binding->cs_node != nullptr) return binding;
  gpr_log(GPR_ERROR, "in %s at %d Failed get_cjson_csnode() for %s", function, __LINE__,
          printable(item->string));
  return nullptr;
}

int handle_json2xml_leaf_value(cJSON* item, kestrel_cs_node* node) {
  gpr_log(GPR_DEBUG, "in %s at %d csjon type %d shallow type %d", __func__, __LINE__,
          item->type & kJsonTypeMask, node != nullptr ? static_cast<int>(node->shallow_type) : 0);
  return handler_of(*item);
}

const char* first_name(const Conversion& conversion, const cJsonCsnode& binding,
                       const char* placeholder) {
  const char* tag = conversion.debug ? nullptr : binding.cs_node_tag();
  return tag != nullptr ? tag : placeholder;
}

int handler_of(const cJSON& item) {
  switch (item.type & kJsonTypeMask) {
    case cJSON_String:
      return kStringHandler;
    case cJSON_Number:
      return kNumberHandler;
    case cJSON_False:
    case cJSON_True:
      return kBooleanHandler;
    default:
      return kNoHandler;
  }
}

xmlNodePtr ServiceRpcMsgHelpers::json_bool2xml(TokenPtr& token, cJSON* item, grpc::Status* status,
                                               Json2cJsonCsnodeHash* hash, Mapper* mapper) {
  const Conversion conversion{token, status, hash, mapper};
  const cJsonCsnode* binding = find_leaf_binding(__func__, item, hash);
  if (binding == nullptr) {
    *status = {grpc::StatusCode::INTERNAL, kNoSchemaInfo + std::to_string(item->valueint)};
    return nullptr;
  }
  const int handler = choose_handler(__func__, item, *binding, conversion.debug);
  if (handler != kBooleanHandler) {
    gpr_log(GPR_ERROR, "in %s at %d Unhandled leaftype %d", __func__, __LINE__, handler);
    *status = {grpc::StatusCode::INTERNAL, ""};
    return nullptr;
  }
  XmlNode element = new_leaf(*item, first_name(conversion, *binding, kPlaceholder), status);
  if (element == nullptr) return nullptr;
  const char* text = item->type == cJSON_True ? "true" : "false";
  const TextOutcome outcome = put_text(__func__, element.get(), text);
  if (outcome != TextOutcome::kDone) {
    *status = boolean_failure(outcome, *item);
    return nullptr;
  }
  return finish_leaf(__func__, conversion, item, binding, std::move(element));
}

xmlNodePtr ServiceRpcMsgHelpers::json_number2xml(TokenPtr& token, cJSON* item, grpc::Status* status,
                                                 Json2cJsonCsnodeHash* hash, Mapper* mapper) {
  const Conversion conversion{token, status, hash, mapper};
  const cJsonCsnode* binding = find_leaf_binding(__func__, item, hash);
  if (binding == nullptr) {
    *status = {grpc::StatusCode::INTERNAL, kNoSchemaInfo + std::to_string(item->valueint)};
    return nullptr;
  }
  const int handler = choose_handler(__func__, item, *binding, conversion.debug);
  if (handler != kNumberHandler) {
    gpr_log(GPR_ERROR, "in %s at %d Unhandled leaftype %d", __func__, __LINE__, handler);
    *status = {grpc::StatusCode::INTERNAL,
               kUnhandledNumberType + std::to_string(handler) + kAt + std::to_string(__LINE__)};
    return nullptr;
  }
  XmlNode element = new_leaf(*item, first_name(conversion, *binding, kPlaceholder), status);
  if (element == nullptr) return nullptr;
  // Integers only: RFC 7951 carries 64-bit integers and decimals as strings.
  char text[16] = {};
  std::to_chars(text, text + sizeof(text) - 1, item->valueint);
  const TextOutcome outcome = put_text(__func__, element.get(), text);
  if (outcome != TextOutcome::kDone) {
    *status = number_failure(outcome, *item);
    return nullptr;
  }
  return finish_leaf(__func__, conversion, item, binding, std::move(element));
}

xmlNodePtr ServiceRpcMsgHelpers::json_null2xml(TokenPtr& /*token*/, cJSON* /*item*/,
                                               grpc::Status* /*status*/,
                                               Json2cJsonCsnodeHash* /*hash*/, Mapper* /*mapper*/) {
  return nullptr;
}

xmlNodePtr finish_leaf(const char* function, const Conversion& conversion, cJSON* item,
                       const cJsonCsnode* binding, XmlNode element) {
  if (conversion.debug) gpr_log(GPR_DEBUG, "in %s at %d calling json_name2xml", function, __LINE__);
  XmlNode named = name_by_binding(conversion, item, binding, std::move(element));
  if (conversion.debug) {
    gpr_log(GPR_DEBUG, "in %s at %d returned from json_name2xml", function, __LINE__);
  }
  return named.release();
}

}  // namespace nexa

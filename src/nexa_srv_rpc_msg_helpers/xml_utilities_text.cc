// Names the type of a JSON item and recognises the text that stands for the empty value.
#include "nexa_srv_rpc_msg_helpers/xml_utilities_text.h"

#include "nexa/nexa_srv_rpc_msg_helpers.h"

namespace nexa {

std::string cjson_type2name(cJSON* item) {
  switch (item->type) {
    case cJSON_False:
    case cJSON_True:
      return "cJSON_Bool";
    case cJSON_NULL:
      return "cJSON_NULL";
    case cJSON_Number:
      return "cJSON_Number";
    case cJSON_String:
      return "cJSON_String";
    case cJSON_Array:
      return "cJSON_Array";
    case cJSON_Object:
      return "cJSON_Object";
    default:
      return "UNSUPPORTED";
  }
}

bool is_empty_value_text(std::string_view text) {
  constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";
  constexpr std::string_view kOthers = "*nul";
  if (text.empty()) return false;
  const std::size_t first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string_view::npos) return true;
  return text.find_last_not_of(kWhiteSpace) == first &&
         kOthers.find(text[first]) != std::string_view::npos;
}

bool is_json_ietf_null_val(std::string& text) { return is_empty_value_text(text); }

}  // namespace nexa

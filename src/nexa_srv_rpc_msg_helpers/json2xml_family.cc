// The family of converters, one for each JSON type, that report through a status: the entry,
// objects and arrays. List entries stand directly in their parent, as the database expects them;
// leaves are converted elsewhere.
#include <grpc/support/log.h>

#include <string>

#include "nexa_srv_rpc_msg_helpers/json2xml_conversion.h"
#include "nexa_srv_rpc_msg_helpers/messages_json2xml.h"

namespace nexa {
namespace {

// The element of a member or entry, by the low byte of its type.
XmlNode convert(const Conversion& c, cJSON* item) {
  switch (item->type & kJsonTypeMask) {
    case cJSON_False:
    case cJSON_True:
      return XmlNode(
          ServiceRpcMsgHelpers::json_bool2xml(c.token, item, c.status, c.hash, c.mapper));
    case cJSON_Number:
      return XmlNode(
          ServiceRpcMsgHelpers::json_number2xml(c.token, item, c.status, c.hash, c.mapper));
    case cJSON_String:
      return XmlNode(
          ServiceRpcMsgHelpers::json_string2xml(c.token, item, c.status, c.hash, c.mapper));
    case cJSON_Array:
      return XmlNode(
          ServiceRpcMsgHelpers::json_array2xml(c.token, item, c.status, c.hash, c.mapper));
    case cJSON_Object:
      return XmlNode(
          ServiceRpcMsgHelpers::json_object2xml(c.token, item, c.status, c.hash, c.mapper));
    default:  // unreached: kind_name() has a name for it
      return nullptr;
  }
}

// What the log calls a member or entry of this type; null for a type that is not converted.
const char* kind_name(int type) {
  switch (type & kJsonTypeMask) {
    case cJSON_False:
    case cJSON_True:
      return "Bool";
    case cJSON_Number:
      return "Number";
    case cJSON_String:
      return "String";
    case cJSON_Array:
      return "Array";
    case cJSON_Object:
      return "cJSON_Object";
    default:
      return nullptr;
  }
}

// The message about an entry that failed. The functions it names are not always those that failed;
// clients know the texts as they are.
const char* entry_message(int type) {
  switch (type & kJsonTypeMask) {
    case cJSON_Number:
      return kFailedNumberEntry;
    case cJSON_String:
      return kFailedStringEntry;
    case cJSON_Array:
      return kFailedArrayEntry;
    case cJSON_Object:
      return kFailedObjectEntry;
    default:
      return kFailedBoolEntry;
  }
}

void log_failed_entry(const char* function, int type) {
  switch (type & kJsonTypeMask) {
    case cJSON_Array:
      gpr_log(GPR_ERROR, "in %s at %d Failed json_array2xml for Array element", function, __LINE__);
      return;
    case cJSON_Object:
      gpr_log(GPR_ERROR, "in %s at %d Failed json_string2xml for  Object element", function,
              __LINE__);
      return;
    default:
      gpr_log(GPR_ERROR, "in %s at %d Failed json_string2xml for %s element", function, __LINE__,
              kind_name(type));
      return;
  }
}

// Moves the entries of a converted array to the end of the object's element. The array's own
// element goes.
void move_entries(const char* function, const XmlNode& array, xmlNodePtr object) {
  xmlNodePtr next = nullptr;
  for (xmlNodePtr entry = xmlFirstElementChild(array.get()); entry != nullptr; entry = next) {
    next = xmlNextElementSibling(entry);
    gpr_log(GPR_DEBUG, "In FUNCTION %s at line %d Attaching xmlNode child->name  %s to parent %s",
            function, __LINE__, printable(entry->name), printable(object->name));
    xmlUnlinkNode(entry);
    xmlAddChild(object, entry);
  }
}

// Converts one member into `object`; false, logged, when its conversion failed. A member of a type
// that is not converted is logged and left out.
bool put_member(const char* function, const Conversion& conversion, cJSON* member,
                xmlNodePtr object) {
  const char* kind = kind_name(member->type);
  if (kind == nullptr) {
    gpr_log(GPR_ERROR, "in %s at %d USUPPORTED cjson_ele->type %d", function, __LINE__,
            member->type);
    return true;
  }
  XmlNode element = convert(conversion, member);
  if (element == nullptr) {
    gpr_log(GPR_ERROR, "in %s at %d Failed json_string2xml for %s element child of Object",
            function, __LINE__, kind);
    return false;
  }
  const int type = member->type & kJsonTypeMask;
  if (type == cJSON_Array) {
    move_entries(function, element, object);
    return true;
  }
  if (type == cJSON_String && conversion.debug) {
    gpr_log(GPR_DEBUG, "in %s at %d xml parent xml array elem 0x%p String tag %s ", function,
            __LINE__, static_cast<void*>(element.get()), printable(element->name));
  }
  append_xml(object, std::move(element));
  return true;
}

// Converts one entry into `array`; false, with log and status written, on failure.
bool put_entry(const char* function, const Conversion& conversion, cJSON* entry, xmlNodePtr array) {
  if (kind_name(entry->type) == nullptr) {
    gpr_log(GPR_ERROR, "in %s at %d UNSUPPORTED cjson_ele->type %d", function, __LINE__,
            entry->type);
    *conversion.status = {
        grpc::StatusCode::INTERNAL,
        kUnsupportedElementType + std::to_string(entry->type) + kAt + std::to_string(__LINE__)};
    return false;
  }
  XmlNode element = convert(conversion, entry);
  if (element == nullptr) {
    log_failed_entry(function, entry->type);
    *conversion.status = {grpc::StatusCode::INTERNAL,
                          entry_message(entry->type) + std::to_string(__LINE__)};
    return false;
  }
  append_xml(array, std::move(element));
  return true;
}

// Names the finished element of an object or array; null, logged, on failure.
XmlNode name_container(const char* function, const Conversion& conversion, cJSON* item,
                       const cJsonCsnode* binding, XmlNode element) {
  gpr_log(GPR_DEBUG, "in %s at %d calling json_name2xml", function, __LINE__);
  XmlNode named = name_by_binding(conversion, item, binding, std::move(element));
  gpr_log(GPR_DEBUG, "in %s at %d returned from json_name2xml", function, __LINE__);
  if (named == nullptr) {
    gpr_log(GPR_ERROR, "In FUNCTION %s at line %d failed json_value2xml", function, __LINE__);
    return nullptr;
  }
  gpr_log(GPR_DEBUG, "In FUNCTION %s at line %d", function, __LINE__);
  return named;
}

// The element of an object or array under its schema name; null, with log and status written,
// without memory. The message ends in the item's string value, and an item that has none, as every
// parsed object and array, makes this throw std::logic_error: callers rely on it.
XmlNode new_container(const char* tag, const cJSON& item, grpc::Status* status) {
  XmlNode element = new_xml_element(as_xml(tag));
  if (element != nullptr) return element;
  gpr_log(GPR_ERROR,
          "Unable to allocate memory while converting JSON to XML. Freeing all allocated XML and "
          "returning early");
  *status = {grpc::StatusCode::RESOURCE_EXHAUSTED,
             kOutOfMemoryWhileProcessing + string_value_of(item)};
  return nullptr;
}

}  // namespace

xmlNodePtr ServiceRpcMsgHelpers::start_json2xml(TokenPtr& token, cJSON* item, grpc::Status* status,
                                                Json2cJsonCsnodeHash* hash, Mapper* mapper) {
  gpr_log(GPR_DEBUG, "In FUNCTION %s at line %d", __func__, __LINE__);
  xmlNodePtr element = json_value2xml(token, item, status, hash, mapper);
  if (element == nullptr) {
    gpr_log(GPR_ERROR, "In FUNCTION %s at line %d failed json_value2xml", __func__, __LINE__);
    return nullptr;
  }
  logXmlTree(element);
  gpr_log(GPR_DEBUG, "in %s at %d calling json_name2xml", __func__, __LINE__);
  element = json_name2xml(token, item, element, status, hash, mapper);
  if (element == nullptr) return nullptr;
  gpr_log(GPR_DEBUG, "In FUNCTION %s at line %d TOP XML VALUE NODE 0x%p has name %s", __func__,
          __LINE__, static_cast<void*>(element), printable(element->name));
  return element;
}

xmlNodePtr ServiceRpcMsgHelpers::json_value2xml(TokenPtr& token, cJSON* item, grpc::Status* status,
                                                Json2cJsonCsnodeHash* hash, Mapper* mapper) {
  gpr_log(GPR_DEBUG, "in %s at %d", __func__, __LINE__);
  switch (item->type) {
    case cJSON_False:
    case cJSON_True:
      return json_bool2xml(token, item, status, hash, mapper);
    case cJSON_NULL:
      return json_null2xml(token, item, status, hash, mapper);
    case cJSON_Number:
      return json_number2xml(token, item, status, hash, mapper);
    case cJSON_String:
      return json_string2xml(token, item, status, hash, mapper);
    case cJSON_Array: {
      xmlNodePtr element = json_array2xml(token, item, status, hash, mapper);
      if (element == nullptr) {
        gpr_log(GPR_ERROR, "in %s at %d json_array2xml failed", __func__, __LINE__);
      }
      return element;
    }
    case cJSON_Object:
      return json_object2xml(token, item, status, hash, mapper);
    default:
      gpr_log(GPR_ERROR, "in %s at %d, UNHANDLED json2xml value %d", __func__, __LINE__,
              item->type);
      *status = {grpc::StatusCode::INTERNAL,
                 kUnhandledJsonType + std::to_string(item->type) + kAt + std::to_string(__LINE__)};
      return nullptr;
  }
}

xmlNodePtr ServiceRpcMsgHelpers::json_object2xml(TokenPtr& token, cJSON* item, grpc::Status* status,
                                                 Json2cJsonCsnodeHash* hash, Mapper* mapper) {
  const bool debug = gpr_should_log(GPR_LOG_SEVERITY_DEBUG) != 0;
  if (debug) gpr_log(GPR_DEBUG, "In FUNCTION %s at line %d", __func__, __LINE__);
  const cJsonCsnode* binding = hash->get_cjson_csnode(item);
  const char* tag = binding != nullptr ? binding->cs_node_tag() : nullptr;
  if (tag == nullptr) {
    gpr_log(GPR_ERROR, "in %s at %d failed to find cjson_csnode for cjson type %d cjson->string %s",
            __func__, __LINE__, item->type, printable(item->string));
    *status = {grpc::StatusCode::INTERNAL,
               kNoSchemaForJsonType + std::to_string(item->type) + kName + or_empty(item->string)};
    return nullptr;
  }
  if (debug) {
    gpr_log(GPR_DEBUG, "In FUNCTION %s at line %d, cjson->string %s", __func__, __LINE__,
            printable(item->string));
    gpr_log(GPR_DEBUG, "In FUNCTION %s at line %d creating node with tag: %s", __func__, __LINE__,
            tag);
  }
  XmlNode object = new_container(tag, *item, status);
  if (object == nullptr) return nullptr;
  if (item->child == nullptr) {
    gpr_log(GPR_ERROR, "in %s at %d Empty object", __func__, __LINE__);
  }
  const Conversion conversion{token, status, hash, mapper};
  for (cJSON* member = item->child; member != nullptr; member = member->next) {
    if (!put_member(__func__, conversion, member, object.get())) return nullptr;
  }
  return name_container(__func__, conversion, item, binding, std::move(object)).release();
}

xmlNodePtr ServiceRpcMsgHelpers::json_array2xml(TokenPtr& token, cJSON* item, grpc::Status* status,
                                                Json2cJsonCsnodeHash* hash, Mapper* mapper) {
  const cJsonCsnode* binding = hash->get_cjson_csnode(item);
  if (binding == nullptr) {
    gpr_log(GPR_ERROR,
            "in %s at %d: Failed hash->get_cjson_csnode() for cjson ptr 0x%p cjson->string %s",
            __func__, __LINE__, static_cast<void*>(item), printable(item->string));
    *status = {grpc::StatusCode::INTERNAL, std::string(kNoSchemaInfoForJson) +
                                               or_empty(item->string) + kAt +
                                               std::to_string(__LINE__)};
    return nullptr;
  }
  const char* tag = binding->cs_node_tag();
  if (tag == nullptr) {
    gpr_log(GPR_ERROR, "in %s at %d: Failed to find parent kestrel_cs_node_tag", __func__,
            __LINE__);
    *status = {
        grpc::StatusCode::INTERNAL,
        std::string(kNoParentSchemaTag) + or_empty(item->string) + kAt + std::to_string(__LINE__)};
    return nullptr;
  }
  gpr_log(GPR_DEBUG,
          "In FUNCTION %s at line %d cJsonCsnode->cs_node_ is 0x%p parent tag %s type_flag "
          "is_identityref: %d type_flag is_leaflist: %d shallow_type vals %d",
          __func__, __LINE__, static_cast<void*>(binding->cs_node), tag, binding->is_identityref(),
          binding->is_leaflist(), static_cast<int>(binding->cs_node->shallow_type));
  XmlNode array = new_container(tag, *item, status);
  if (array == nullptr) return nullptr;
  if (item->child == nullptr) gpr_log(GPR_ERROR, "in %s at %d Empty Array", __func__, __LINE__);
  const Conversion conversion{token, status, hash, mapper};
  for (cJSON* entry = item->child; entry != nullptr; entry = entry->next) {
    if (!put_entry(__func__, conversion, entry, array.get())) return nullptr;
  }
  return name_container(__func__, conversion, item, binding, std::move(array)).release();
}

}  // namespace nexa

// Gives an element that was built from a JSON item its name and namespace (RFC 7951 section 4: a
// member name may carry its module's name). Works on one element; the tree below it only matters
// for an array, whose entries take the name of the list.
#include <grpc/support/log.h>

#include <string>
#include <string_view>
#include <utility>

#include "gnmi/gnmi_rpc_msg_helpers.h"
#include "nexa_srv_rpc_msg_helpers/checked_copy.h"
#include "nexa_srv_rpc_msg_helpers/json2xml_conversion.h"
#include "nexa_srv_rpc_msg_helpers/messages_json2xml.h"

namespace nexa {
namespace {

constexpr const char* kFunction = "json_name2xml";  // in the log lines of its steps

// A member name in two parts. `local` points at the end of a string and so ends with a zero.
struct MemberName {
  std::string_view prefix;
  std::string_view local;
};

MemberName split(std::string_view name) {
  MemberName parts;
  gnmi::RpcMsgHelpers::extract_prefix(name, parts.prefix, parts.local);
  return parts;
}

Naming name_by_local_part(std::string_view local, xmlNodePtr xml) {
  // Most elements were created under their schema node's name, which is the member's local part. A
  // name too long to copy is refused all the same.
  if (CheckedCopy::takes(local.size()) && local == reinterpret_cast<const char*>(xml->name)) {
    return Naming::kDone;
  }
  CheckedCopy copy(local.data(), local.size());
  if (copy.refused()) {
    gpr_log(GPR_ERROR, "Error occurred while copying string during conversion of JSON to XML");
    return Naming::kCopyRefused;
  }
  if (copy.no_memory() || !set_xml_name(xml, std::move(copy))) {
    gpr_log(GPR_ERROR,
            "Unable to allocate memory while converting JSON to XML. Freeing all allocated XML and "
            "returning early");
    return Naming::kNoMemory;
  }
  return Naming::kDone;
}

void declare_namespace(xmlNodePtr xml, const std::string& ns) {
  if (!ns.empty()) ServiceRpcMsgHelpers::add_xml_attribute(xml, "xmlns", ns);
}

Naming name_identityref(const Conversion& conversion, cJSON* item, xmlNodePtr xml) {
  std::string internal;
  // A name that cannot be translated comes back as it was given.
  static_cast<void>(
      conversion.token->internalizeEName(item->string, internal, gnmi::EN_ARG_NAME, 0));
  const MemberName name = split(internal);
  const Naming outcome = name_by_local_part(name.local, xml);
  if (outcome == Naming::kDone && !name.prefix.empty()) {
    declare_namespace(xml, conversion.mapper->nsFromYmpPrefix_(std::string(name.prefix)));
  }
  return outcome;
}

Naming name_plain(const Conversion& conversion, cJSON* item, xmlNodePtr xml) {
  const MemberName name = split(item->string);
  const Naming outcome = name_by_local_part(name.local, xml);
  if (outcome == Naming::kDone && !name.prefix.empty()) {
    declare_namespace(xml, conversion.mapper->nsFromModuleNamePrefix_(std::string(name.prefix)));
  }
  return outcome;
}

// Gives every child element the list's name; false, with the status written, on failure.
bool name_entries(const char* tag, xmlNodePtr xml, grpc::Status* status) {
  xmlNodePtr entry = xmlFirstElementChild(xml);
  if (entry == nullptr) return true;
  const CheckedCopy copy(tag);
  if (copy.refused()) {
    gpr_log(GPR_ERROR,
            "Error occurred while copying string during conversion of array element Tag to XML");
    *status = {grpc::StatusCode::INTERNAL, kFailedCopyAt + std::to_string(__LINE__)};
    return false;
  }
  bool named = copy.ok();
  for (; named && entry != nullptr; entry = xmlNextElementSibling(entry)) {
    gpr_log(GPR_DEBUG, "in %s at %d adding tag array ele", kFunction, __LINE__);
    named = set_xml_name(entry, copy.xml());
  }
  if (named) return true;
  gpr_log(GPR_ERROR, "in %s at %d Failed malloc size %u forarray element", kFunction, __LINE__,
          static_cast<unsigned>(std::string_view(tag).size() + 1));
  *status = {grpc::StatusCode::RESOURCE_EXHAUSTED, kOutOfMemoryAt + std::to_string(__LINE__)};
  return false;
}

// Names the element of a bare value at the tip of the path after its schema node.
bool name_tip_of_path(const cJsonCsnode& binding, xmlNodePtr xml, grpc::Status* status) {
  const char* tag = binding.cs_node_tag();
  if (tag == nullptr) {
    gpr_log(GPR_ERROR, "in %s at %d Unable to retrieve cs_node name at tip of path", kFunction,
            __LINE__);
    *status = {grpc::StatusCode::INTERNAL, kInternalErrorAt + std::to_string(__LINE__)};
    return false;
  }
  gpr_log(GPR_DEBUG, "in %s at %d copying name of tip of path: %s to leaf value xml element",
          kFunction, __LINE__, tag);
  if (set_xml_name(xml, as_xml(tag))) return true;
  gpr_log(GPR_ERROR,
          "Unable to allocate memory while converting JSON to XML. Freeing all allocated XML and "
          "returning early");
  *status = {grpc::StatusCode::RESOURCE_EXHAUSTED, kOutOfMemoryAt + std::to_string(__LINE__)};
  return false;
}

bool name_member(const Conversion& conversion, cJSON* item, const cJsonCsnode& binding,
                 xmlNodePtr xml) {
  const Naming naming = name_by_member(kFunction, conversion, item, binding.is_identityref(), xml);
  if (naming == Naming::kNoMemory) {
    *conversion.status = {grpc::StatusCode::RESOURCE_EXHAUSTED,
                          kOutOfMemoryAt + std::to_string(__LINE__)};
  } else if (naming == Naming::kCopyRefused) {
    *conversion.status = {grpc::StatusCode::INTERNAL, kFailedCopyAt + std::to_string(__LINE__)};
  }
  return naming == Naming::kDone;
}

}  // namespace

Naming name_by_member(const char* function, const Conversion& conversion, cJSON* item,
                      bool is_identityref, xmlNodePtr xml) {
  if (is_identityref) {
    if (conversion.debug) gpr_log(GPR_DEBUG, "in %s at %d identityref", function, __LINE__);
    return name_identityref(conversion, item, xml);
  }
  if (conversion.debug) gpr_log(GPR_DEBUG, "in %s at %d NOT identityref", function, __LINE__);
  return name_plain(conversion, item, xml);
}

XmlNode name_by_binding(const Conversion& conversion, cJSON* item, const cJsonCsnode* binding,
                        XmlNode xml) {
  if (binding == nullptr || binding->cs_node == nullptr) {
    gpr_log(GPR_ERROR, "in %s at %d Failed to get cjson_csnode forcjson node 0x%p", kFunction,
            __LINE__, static_cast<void*>(item));
    *conversion.status = {grpc::StatusCode::INTERNAL, std::string(kNoParentSchema) +
                                                          or_empty(item->string) + kAtWithoutBlank +
                                                          std::to_string(__LINE__)};
    return nullptr;
  }
  const bool debug = conversion.debug;
  if (debug) {
    gpr_log(
        GPR_DEBUG,
        "in %s at %d, cjson_root->string %s cjson_root->type %d xml_root->name %s parent tag %s",
        kFunction, __LINE__, printable(item->string), item->type, printable(xml->name),
        printable(binding->cs_node_tag()));
  }
  if ((item->type & kJsonTypeMask) == cJSON_Array) {
    const char* tag = binding->cs_node_tag();
    gpr_log(GPR_DEBUG, "in %s at %d processing array name %s adding tag  %s to all children",
            kFunction, __LINE__, printable(item->string), printable(tag));
    if (tag != nullptr && !name_entries(tag, xml.get(), conversion.status)) return nullptr;
  }
  if (item->string != nullptr) {
    if (debug) gpr_log(GPR_DEBUG, "in %s at %d root->string != NULL ", kFunction, __LINE__);
    if (!name_member(conversion, item, *binding, xml.get())) return nullptr;
  } else if (!name_tip_of_path(*binding, xml.get(), conversion.status)) {
    return nullptr;
  }
  if (debug) {
    gpr_log(GPR_DEBUG, "in %s at %d the cjson->type %s cjson->string %s ==> xml_name %s", kFunction,
            __LINE__, cjson_type2name(item).c_str(), printable(item->string), printable(xml->name));
  }
  return xml;
}

xmlNodePtr ServiceRpcMsgHelpers::json_name2xml(TokenPtr& token, cJSON* item, xmlNodePtr xml,
                                               grpc::Status* status, Json2cJsonCsnodeHash* hash,
                                               Mapper* mapper) {
  XmlNode element(xml);
  const cJsonCsnode* binding = hash->get_cjson_csnode(item);
  return name_by_binding({token, status, hash, mapper}, item, binding, std::move(element))
      .release();
}

}  // namespace nexa

// The two conversions that go through cJSON and libxml2: the floor and the library.
#include <cjson/cJSON.h>
#include <libxml/tree.h>

#include <cstdio>
#include <cstring>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/workload.h"

namespace nexa_bench {
namespace {

using Helpers = nexa::ServiceRpcMsgHelpers;

struct DeleteJson {
  void operator()(cJSON* item) const { cJSON_Delete(item); }
};
using JsonPtr = std::unique_ptr<cJSON, DeleteJson>;

const char* local_name(const char* name) {
  const char* colon = std::strchr(name, ':');
  return colon == nullptr ? name : colon + 1;
}

void floor_item(xmlNodePtr parent, const cJSON* item, const char* name);

void floor_members(xmlNodePtr parent, const cJSON* object) {
  for (const cJSON* member = object->child; member != nullptr; member = member->next) {
    const char* name = local_name(member->string);
    if ((member->type & 0xFF) != cJSON_Array) {
      floor_item(parent, member, name);
      continue;
    }
    for (const cJSON* entry = member->child; entry != nullptr; entry = entry->next) {
      floor_item(parent, entry, name);
    }
  }
}

void floor_item(xmlNodePtr parent, const cJSON* item, const char* name) {
  xmlNodePtr node = xmlNewNode(nullptr, BAD_CAST name);
  xmlAddChild(parent, node);
  char number[32];
  const char* text = nullptr;
  switch (item->type & 0xFF) {
    case cJSON_Object:
      floor_members(node, item);
      return;
    case cJSON_String:
      text = item->valuestring;
      break;
    case cJSON_Number:
      std::snprintf(number, sizeof number, "%d", item->valueint);
      text = number;
      break;
    case cJSON_True:
      text = "true";
      break;
    default:
      text = "false";
      break;
  }
  xmlAddChild(node, xmlNewText(BAD_CAST text));
}

std::size_t take_length(xmlChar* text) {
  const int length = xmlStrlen(text);
  xmlFree(text);
  return static_cast<std::size_t>(length);
}

}  // namespace

std::size_t convert_floor(const std::string& json) {
  const JsonPtr root(cJSON_Parse(json.c_str()));
  xmlDocPtr document = xmlNewDoc(BAD_CAST "1.0");
  xmlNodePtr top = xmlNewNode(nullptr, BAD_CAST "config");
  xmlDocSetRootElement(document, top);
  floor_members(top, root.get());
  xmlChar* text = nullptr;
  int length = 0;
  xmlDocDumpMemory(document, &text, &length);
  xmlFreeDoc(document);
  return take_length(text);
}

std::size_t convert_nexa(const std::string& json, const gnmi::Path& path,
                         std::shared_ptr<nexa::Rfc7951MapperToken>& token,
                         nexa::ServiceKestrelNamespaceMapperImpl* mapper) {
  nexa::KestrelPath resolved(path, json);
  if (!resolved.path2cs_nodes()) return 0;
  const JsonPtr root(cJSON_Parse(json.c_str()));
  nexa::Json2cJsonCsnodeHash hash;
  grpc::Status status = nexa::cJsonCsnode::walk_breathfirst_cjson_and_swap_contents(
      root.get(), token.get(), &resolved, &hash);
  if (!status.ok()) return 0;
  xmlNodePtr value = Helpers::start_json2xml(token, root.get(), &status, &hash, mapper);
  if (value == nullptr) return 0;
  xmlNodePtr attach_point = nullptr;
  xmlNodePtr wrapper = Helpers::build_xml_parent_wrapper(&path, &attach_point, &resolved, mapper);
  nexa::cJsonCsnode::attach_xml_path_wrapper_2_xml_value(resolved, attach_point, value, root.get());
  xmlFreeNode(value);
  return take_length(Helpers::build_xml_str(wrapper));
}

}  // namespace nexa_bench

// Payload and XML are walked in lockstep: both converters keep the payload's order, so the n-th
// element belongs to the n-th value.
#include "translate/bare/xml_completion.h"

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include "gnmi/gnmi_rpc_msg_helpers.h"
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "translate/bare/handles.h"
#include "translate/bare/schema_view.h"

namespace nexa::host::bare {
namespace {

bool has_name(const xmlNode* element, std::string_view name) {
  return element != nullptr && element->type == XML_ELEMENT_NODE &&
         name == reinterpret_cast<const char*>(element->name);
}

void complete_namespace(xmlNodePtr element, const kestrel_cs_node& node,
                        const kestrel_cs_node* parent) {
  if (parent != nullptr && parent->ns == node.ns) return;
  for (const xmlAttr* attribute = element->properties; attribute != nullptr;
       attribute = attribute->next) {
    if (std::string_view(reinterpret_cast<const char*>(attribute->name)) == "xmlns") return;
  }
  const char* uri = kestrel_hash2str(node.ns);
  if (uri != nullptr) ServiceRpcMsgHelpers::add_xml_attribute(element, "xmlns", uri);
}

// Key elements stand first in an element of the path; moves them into schema order.
void order_keys(xmlNodePtr element, const kestrel_cs_node& list) {
  xmlNodePtr place = element->children;
  for (std::size_t k = 0; list.keys != nullptr && list.keys[k] != 0 && place != nullptr; ++k) {
    const char* name = kestrel_hash2str(list.keys[k]);
    xmlNodePtr key = place;
    while (key != nullptr && name != nullptr && !has_name(key, name)) key = key->next;
    if (key == nullptr || name == nullptr) return;
    if (key == place) {
      place = place->next;
      continue;
    }
    xmlUnlinkNode(key);
    xmlAddPrevSibling(place, key);
  }
}

class Completer {
 public:
  Completer(const ConvertedValue& value, const Json2cJsonCsnodeHash& bindings,
            const gnmi::BaseNamespaceMapper& mapper)
      : value_(value), bindings_(bindings), mapper_(mapper) {}

  // Completes what `item` became, from `element` on, and moves `element` behind it; false when the
  // two do not correspond.
  bool item(const cJSON* item, xmlNodePtr& element, const kestrel_cs_node* parent) const {
    const cJsonCsnode* binding = bindings_.find(item);
    if (binding == nullptr || binding->cs_node == nullptr) return false;
    const kestrel_cs_node& node = *binding->cs_node;
    if (cJSON_IsArray(item)) return entries(item, element, parent);
    if (!has_name(element, name_of(node))) return false;
    complete_namespace(element, node, parent);
    if (cJSON_IsObject(item)) {
      if (!members(item, element->children, node)) return false;
    } else {
      complete_text(element, *item, node);
    }
    element = element->next;
    return true;
  }

  bool members(const cJSON* object, xmlNodePtr element, const kestrel_cs_node& node) const {
    for (const cJSON* member = object->child; member != nullptr; member = member->next) {
      if (cJSON_IsArray(member)) unwrap(member, element);
      if (!item(member, element, &node)) return false;
    }
    return element == nullptr;
  }

  bool entries(const cJSON* array, xmlNodePtr& element, const kestrel_cs_node* parent) const {
    for (const cJSON* entry = array->child; entry != nullptr; entry = entry->next) {
      if (!item(entry, element, parent)) return false;
    }
    return true;
  }

 private:
  // The simple converter leaves the entries of an array inside an element of the array's own name;
  // they belong where that element stands.
  void unwrap(const cJSON* array, xmlNodePtr& element) const {
    const cJsonCsnode* binding = bindings_.find(array);
    if (!value_.arrays_wrapped || binding == nullptr || binding->cs_node == nullptr) return;
    if (!has_name(element, name_of(*binding->cs_node))) return;
    const XmlNodePtr wrapper(element);
    xmlNodePtr first = wrapper->children;
    while (wrapper->children != nullptr) {
      xmlNodePtr entry = wrapper->children;
      xmlUnlinkNode(entry);
      xmlAddPrevSibling(wrapper.get(), entry);
    }
    element = first;
    xmlUnlinkNode(wrapper.get());
  }

  // A leaf's text is what the client sent; of identities, whose module name was translated, the
  // converter's text stays.
  void complete_text(xmlNodePtr element, const cJSON& item, const kestrel_cs_node& node) const {
    std::string text;
    if (cJSON_IsNumber(&item)) {
      text = std::to_string(static_cast<std::int64_t>(item.valuedouble));
    } else if (cJSON_IsString(&item) && !stays(item, node)) {
      text = item.valuestring;
    } else {
      return;
    }
    const xmlNode* child = element->children;
    const bool has_text = child != nullptr && child->content != nullptr;
    if (text == (has_text ? reinterpret_cast<const char*>(child->content) : "")) return;
    xmlNodeSetContent(element, nullptr);
    xmlNodeAddContent(element, BAD_CAST text.c_str());
  }

  bool stays(const cJSON& item, const kestrel_cs_node& node) const {
    if (value_.prepared->empty_values.count(&item) != 0) return true;
    if (!may_be_identity(node)) return false;
    std::string_view module;
    std::string_view rest;
    gnmi::RpcMsgHelpers::extract_prefix(std::string_view(item.valuestring), module, rest);
    return !module.empty() && mapper_.nsByModuleName_.count(std::string(module)) != 0;
  }

  const ConvertedValue& value_;
  const Json2cJsonCsnodeHash& bindings_;
  const gnmi::BaseNamespaceMapper& mapper_;
};

}  // namespace

void complete_wrapper(xmlNodePtr last, const std::vector<kestrel_cs_node*>& nodes) {
  xmlNodePtr element = last;
  for (std::size_t i = nodes.size(); i-- > 0; element = element->parent) {
    complete_namespace(element, *nodes[i], i == 0 ? nullptr : nodes[i - 1]);
    order_keys(element, *nodes[i]);
  }
}

grpc::Status complete_value(const ConvertedValue& value, const Json2cJsonCsnodeHash& bindings,
                            const gnmi::BaseNamespaceMapper& mapper) {
  const Completer completer(value, bindings, mapper);
  xmlNodePtr element = value.first;
  const bool whole = value.is_own_element
                         ? completer.item(value.item, element, value.parent) && element == nullptr
                         : completer.members(value.item, element, *value.parent);
  if (whole) return grpc::Status::OK;
  return {grpc::StatusCode::INTERNAL, "The converted value does not correspond to the payload"};
}

}  // namespace nexa::host::bare

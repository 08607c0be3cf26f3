// Builds the XML of a request path, one element for each path element with its list keys as
// children, and hangs the converted value below it. Works on paths in internal form; namespaces
// come from their prefixes.
#include <grpc/support/log.h>

#include <algorithm>
#include <cassert>
#include <string>
#include <string_view>
#include <utility>

#include "gnmi/gnmi_rpc_msg_helpers.h"
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "nexa_srv_rpc_msg_helpers/messages_json2xml.h"
#include "nexa_srv_rpc_msg_helpers/xml_handles.h"

namespace nexa {
namespace {

using Helpers = ServiceRpcMsgHelpers;

// A name of the path with the namespace that its prefix stands for; empty without one.
struct PathName {
  std::string prefix;
  std::string local;
  std::string ns;
};

PathName resolve_name(const std::string& text, const gnmi::BaseNamespaceMapper& mapper) {
  PathName name;
  gnmi::RpcMsgHelpers::extract_prefix(text, name.prefix, name.local);
  if (!name.prefix.empty()) name.ns = mapper.nsFromYmpPrefix_(name.prefix);
  return name;
}

// The element of one list key; null, logged, on failure. The value keeps its prefix, so the element
// declares what that stands for.
XmlNode build_key(const std::string& key_name, const std::string& key_value,
                  const gnmi::BaseNamespaceMapper& mapper) {
  const PathName name = resolve_name(key_name, mapper);
  XmlNode element(Helpers::build_xml_node(name.local, XML_ELEMENT_NODE));
  if (element == nullptr) return nullptr;
  if (!name.ns.empty()) Helpers::add_xml_attribute(element.get(), "xmlns", name.ns);
  XmlNode text(Helpers::build_xml_node(key_value, XML_TEXT_NODE));
  if (text == nullptr) return nullptr;
  const PathName value = resolve_name(key_value, mapper);
  if (!value.ns.empty()) {
    Helpers::add_xml_attribute(element.get(), "xmlns:" + value.prefix, value.ns);
  }
  append_xml(element.get(), std::move(text));
  return element;
}

// The wrapper under construction.
struct Wrapper {
  const char* function;  // the public one, for the log
  const gnmi::BaseNamespaceMapper& mapper;
  KestrelPath* kestrel_path;
};

// The element of one path element without what lies below it, its namespace declared.
XmlNode build_element(const Wrapper& wrapper, const gnmi::PathElem& elem, bool is_last) {
  const PathName name = resolve_name(elem.name(), wrapper.mapper);
  gpr_log(GPR_DEBUG, "In %s at %d path->elem(i).name() = %s, yangPrefix = %s xpath_node %s",
          wrapper.function, __LINE__, elem.name().c_str(), name.prefix.c_str(), name.local.c_str());
  XmlNode element(Helpers::build_xml_node(name.local, XML_ELEMENT_NODE));
  if (element == nullptr) return nullptr;
  if (name.prefix.empty()) {
    gpr_log(GPR_DEBUG, "In %s at %d yangPrefix IS EMPTY", wrapper.function, __LINE__);
    return element;
  }
  gpr_log(GPR_DEBUG, "In %s at %d yangPrefix IS NOT EMPTY, xmlns = %s", wrapper.function, __LINE__,
          name.ns.c_str());
  if (name.ns.empty()) {
    gpr_log(GPR_DEBUG, "In %s at %d for ymp = %s xmlns is EMPTY", wrapper.function, __LINE__,
            name.prefix.c_str());
    return element;
  }
  gpr_log(GPR_DEBUG, "In %s at %d adding xmlns %s xml_node->name %s", wrapper.function, __LINE__,
          name.ns.c_str(), printable(element->name));
  Helpers::add_xml_attribute(element.get(), "xmlns", name.ns);
  if (is_last) {
    gpr_log(GPR_DEBUG, "In %s at %d saving namespace %s to add to xmlValueRoot", wrapper.function,
            __LINE__, name.ns.c_str());
    wrapper.kestrel_path->value_root_namespaces_.push_back(name.ns);
  }
  return element;
}

// The element of one path element with its keys; null, logged, on failure.
XmlNode build_element_and_keys(const Wrapper& wrapper, const gnmi::PathElem& elem, bool is_last) {
  XmlNode element = build_element(wrapper, elem, is_last);
  if (element == nullptr) return nullptr;
  for (const auto& [key_name, key_value] : elem.key()) {
    gpr_log(GPR_DEBUG, "In %s at %d key_name %s key_val %s", wrapper.function, __LINE__,
            key_name.c_str(), key_value.c_str());
    XmlNode key = build_key(key_name, key_value, wrapper.mapper);
    if (key == nullptr) return nullptr;
    append_xml(element.get(), std::move(key));
  }
  return element;
}

void log_last_node(const char* function, const KestrelPath& path) {
  const kestrel_cs_node* last = path.cs_nodes_.empty() ? nullptr : path.cs_nodes_.back();
  const char* tag = printable_tag(last);
  gpr_log(GPR_DEBUG, "In %s at %d Last node in path has cs_node tag %s", function, __LINE__, tag);
  if (path.last_cs_node_is_leaflist() || path.last_cs_node_is_object_list()) {
    gpr_log(GPR_DEBUG,
            "In %s at %d Last node %s in path is a LIST num possible keys %u num instantiated keys "
            "%u",
            function, __LINE__, tag, static_cast<unsigned>(path.possible_keys_.size()),
            static_cast<unsigned>(path.instantiated_keys_.size()));
  }
}

bool is_scalar(const cJSON& json) {
  constexpr int kScalar = cJSON_False | cJSON_True | cJSON_NULL | cJSON_Number | cJSON_String;
  return (json.type & kScalar) != 0;
}

}  // namespace

xmlNodePtr ServiceRpcMsgHelpers::build_xml_parent_wrapper(const gnmi::Path* path,
                                                          xmlNodePtr* attach_point,
                                                          KestrelPath* kestrel_path,
                                                          Mapper* mapperIntf) {
  assert(attach_point != NULL);
  assert(mapperIntf != NULL);
  gpr_log(GPR_DEBUG, "build_xml_parent_wrapper --> enter");
  const Wrapper wrapper{__func__, *mapperIntf, kestrel_path};
  xmlNodePtr const outer = *attach_point;
  XmlNode top;
  for (int i = 0; i < path->elem_size(); ++i) {
    XmlNode element = build_element_and_keys(wrapper, path->elem(i), i == path->elem_size() - 1);
    if (element == nullptr) {
      gpr_log(GPR_ERROR, "in %s at %d Failed build_xml_node", __func__, __LINE__);
      *attach_point = outer;
      return nullptr;
    }
    xmlNodePtr const parent = std::exchange(*attach_point, element.get());
    if (parent != nullptr) xmlAddChild(parent, element.get());
    gpr_log(GPR_DEBUG, "in %s at %d last xml_node from path xml_node->name %s", __func__, __LINE__,
            printable(element->name));
    if (top == nullptr) {
      top = std::move(element);
    } else {
      static_cast<void>(element.release());
    }
  }
  if (top == nullptr) return nullptr;
  if (gpr_should_log(GPR_LOG_SEVERITY_DEBUG) != 0) log_last_node(__func__, *kestrel_path);
  gpr_log(GPR_DEBUG, "In %s at %d XML WRAPPER", __func__, __LINE__);
  logXmlTree(top.get());
  gpr_log(GPR_DEBUG, "In %s at %d xml attach node %s attach node address 0x%p", __func__, __LINE__,
          printable((*attach_point)->name), static_cast<void*>(*attach_point));
  gpr_log(GPR_DEBUG, "build_xml_parent_wrapper --> exit");
  return top.release();
}

grpc::Status ServiceRpcMsgHelpers::add_keys_as_first_xml_children(xmlNodePtr parent,
                                                                  KestrelPath path) {
  xmlNodePtr const first = parent->children;
  // The first key names in schema order, as many as the path instantiates, whichever those are.
  const std::size_t count = std::min(path.instantiated_keys_.size(), path.key_names_.size());
  for (std::size_t u = 0; u < count; ++u) {
    std::string name = path.key_names_[u];
    const auto given = path.instantiated_keys_.find(name);
    std::string value = given != path.instantiated_keys_.end() ? given->second : std::string();
    XmlNode key(build_xml_node_and_value(name, value));
    if (key == nullptr) {
      gpr_log(GPR_ERROR, "in %s at %d failed build_xml_node_and_value", __func__, __LINE__);
      FreeXmlNode()(parent);
      return {grpc::StatusCode::RESOURCE_EXHAUSTED, kMemoryExhaustion};
    }
    if (first == nullptr) {
      gpr_log(
          GPR_DEBUG,
          "in %s at %d adding child tag %s val %s to parent tag %s which HAD NO PREVIOUS CHILDREN",
          __func__, __LINE__, name.c_str(), value.c_str(), printable(parent->name));
      append_xml(parent, std::move(key));
    } else {
      gpr_log(GPR_DEBUG, "in %s at %d adding child tag %s val %s to parent tag %s", __func__,
              __LINE__, name.c_str(), value.c_str(), printable(parent->name));
      xmlAddPrevSibling(first, key.release());
    }
  }
  return grpc::Status::OK;
}

void cJsonCsnode::attach_xml_path_wrapper_2_xml_value(KestrelPath& path, xmlNodePtr attach_point,
                                                      xmlNodePtr value_root, cJSON* json) {
  if (value_root == nullptr) return;
  if (path.last_cs_node_is_leaf()) {
    gpr_log(GPR_DEBUG,
            "In FUNCTION %s at line %d Attaching leaf xmlNode xmlValue_root->name  %s to attach "
            "point %s",
            __func__, __LINE__, printable(value_root->name), printable(attach_point->name));
    xmlUnlinkNode(value_root);
    xmlAddChild(attach_point, value_root);
    return;
  }
  if (is_scalar(*json)) return;
  xmlNodePtr next = nullptr;
  for (xmlNodePtr child = value_root->children; child != nullptr; child = next) {
    next = child->next;
    gpr_log(GPR_DEBUG, "In FUNCTION %s at line %d Attaching xmlNode child->name  %s to parent %s",
            __func__, __LINE__, printable(child->name), printable(attach_point->name));
    xmlUnlinkNode(child);
    xmlAddChild(attach_point, child);
  }
}

}  // namespace nexa

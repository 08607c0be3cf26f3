// The library's functions in the order in which a server calls them: checks, path, binding,
// conversion, wrapper, text. docs/library.md shows this file.
#include "raw_convert.h"

#include <utility>

#include "nexa/cjson_csnode.h"
#include "nexa/kestrel_path.h"
#include "raw_payload.h"
#include "text/display.h"
#include "text/json_owner.h"
#include "text/utf8.h"
#include "text/xml_owner.h"

namespace nexa_tool {
namespace {

using Helpers = nexa::ServiceRpcMsgHelpers;

constexpr std::size_t kMostShown = 200;  // bytes of a path in a refusal

grpc::Status invalid(const std::string& text) { return {grpc::StatusCode::INVALID_ARGUMENT, text}; }

std::string_view local_name(const gnmi::PathElem& element) {
  const std::string_view name = element.name();
  return name.substr(name.find(':') + 1);
}

grpc::Status check_request(nexa::RequestType mode, const gnmi::Path& path) {
  gnmi::Update update;
  *update.mutable_path() = path;
  grpc::Status status = Helpers::validate_path(update);
  if (status.ok()) status = Helpers::check_0_element_path(mode, path);
  if (status.ok()) status = Helpers::validate_Path(mode, path);
  if (status.ok()) status = Helpers::validate_Encoding(gnmi::JSON_IETF);
  for (const gnmi::PathElem& element : path.elem()) {
    for (const auto& [key, text] : element.key()) {
      const char* const fault = nexa::text::yang_text_fault(text);
      if (status.ok() && fault != nullptr) status = invalid("Key " + key + ": " + fault);
    }
  }
  return status;
}

struct Conversion {
  nexa::ServiceKestrelNamespaceMapperImpl& mapper;
  RawConverter converter;
  nexa::text::JsonPtr values;  // by name: the converters name an element after its member
  nexa::text::XmlNodePtr top;

  // Hangs the value, wrapped in the elements of `external`, below the top element.
  grpc::Status add(const gnmi::Path& external, const std::string& text, nexa::text::JsonPtr json) {
    const std::string place =
        nexa::text::printable(Helpers::build_path_str(external, nullptr), kMostShown);
    std::shared_ptr<nexa::Rfc7951MapperToken> token = mapper.newToken();
    gnmi::Path path;
    grpc::Status status = token->internalizePath(external, path);
    if (!status.ok()) return status;
    nexa::KestrelPath resolved(path, text);
    // Elements below a leaf have no node, and the first one's name is not compared.
    if (!resolved.path2cs_nodes() ||
        resolved.cs_nodes_.size() != static_cast<std::size_t>(path.elem_size()) ||
        local_name(path.elem(0)) != kestrel_hash2str(resolved.cs_nodes_[0]->tag)) {
      return invalid("No schema node for " + place);
    }
    cJSON* const value = json.release();
    const std::string name(local_name(path.elem(path.elem_size() - 1)));
    cJSON_AddItemToObject(values.get(), name.c_str(), value);
    status = check_shape(value, place);
    if (!status.ok()) return status;
    nexa::Json2cJsonCsnodeHash bindings;
    status = nexa::cJsonCsnode::walk_breathfirst_cjson_and_swap_contents(value, token.get(),
                                                                         &resolved, &bindings);
    if (status.ok()) status = check_bindings(value, bindings, place);
    if (!status.ok()) return status;
    nexa::text::XmlNodePtr converted(
        converter == RawConverter::kStrict
            ? Helpers::start_json2xml(token, value, &status, &bindings, &mapper)
            : Helpers::json2xml(token, value, &bindings, &mapper));
    if (converted == nullptr) {
      return status.ok() ? grpc::Status(grpc::StatusCode::INTERNAL, place + " is not converted")
                         : status;
    }
    // A leaf, and the entries of an array, stand in the parent's element; what an object holds
    // stands in the element that the path names.
    if (!cJSON_IsObject(value)) path.mutable_elem()->RemoveLast();
    nexa::KestrelPath wrapper(path, text);
    if (!wrapper.path2cs_nodes()) return invalid("No schema node above " + place);
    xmlNode* attach_point = top.get();
    if (Helpers::build_xml_parent_wrapper(&path, &attach_point, &wrapper, &mapper) == nullptr &&
        path.elem_size() != 0) {
      return invalid(place + " cannot be written");  // a key of more than 32,767 bytes
    }
    const bool is_leaf = !cJSON_IsObject(value) && !cJSON_IsArray(value);
    nexa::cJsonCsnode::attach_xml_path_wrapper_2_xml_value(is_leaf ? resolved : wrapper,
                                                           attach_point, converted.get(), value);
    if (converted->parent != nullptr) static_cast<void>(converted.release());
    return grpc::Status::OK;
  }
};

}  // namespace

grpc::Status raw_convert(nexa::ServiceKestrelNamespaceMapperImpl& mapper, nexa::RequestType mode,
                         const gnmi::Path& path, const std::string& value, RawConverter converter,
                         std::string& xml) {
  grpc::Status status = check_request(mode, path);
  if (!status.ok()) return status;
  nexa::text::JsonPtr document;
  status = read_payload(value, document);
  if (!status.ok()) return status;
  const bool is_tree = path.elem_size() == 0;
  if (is_tree && !cJSON_IsObject(document.get())) return invalid("The whole tree is an object");
  Conversion conversion{
      mapper, converter, nexa::text::JsonPtr(cJSON_CreateObject()),
      nexa::text::XmlNodePtr(Helpers::build_xml_node("config", XML_ELEMENT_NODE))};
  // Of the whole tree the library finds the first member only, so each is a replace of its own.
  while (is_tree && status.ok() && document->child != nullptr) {
    nexa::text::JsonPtr member(cJSON_DetachItemViaPointer(document.get(), document->child));
    gnmi::Path top;
    top.add_elem()->set_name(member->string);
    status = check_request(mode, top);
    if (status.ok()) status = conversion.add(top, value, std::move(member));
  }
  if (!is_tree) status = conversion.add(path, value, std::move(document));
  if (!status.ok()) return status;
  const nexa::text::XmlTextPtr text(Helpers::build_xml_str(conversion.top.get()));
  if (text == nullptr) return {grpc::StatusCode::INTERNAL, "The document could not be written"};
  static_cast<void>(conversion.top.release());  // build_xml_str freed it
  xml = reinterpret_cast<const char*>(text.get());
  return grpc::Status::OK;
}

}  // namespace nexa_tool

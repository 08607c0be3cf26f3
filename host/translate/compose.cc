// The order of the calls, and who owns what between them. Everything lives in handles until it is
// linked into the document, so that any refusal leaves nothing behind.
#include "translate/compose.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>
#include <vector>

#include "translate/bare/handles.h"
#include "translate/bare/json_text.h"
#include "translate/bare/payload.h"
#include "translate/bare/schema_view.h"
#include "translate/bare/target.h"
#include "translate/bare/xml_completion.h"
#include "translate/path_string.h"

namespace nexa::host {
namespace {

using namespace bare;
using Helpers = ServiceRpcMsgHelpers;

constexpr char kNoObject[] =
    "The value of the empty path must be a JSON object of top-level members";
constexpr char kNoXml[] = "The XML document could not be built";

grpc::Status internal(std::string message) {
  return {grpc::StatusCode::INTERNAL, std::move(message)};
}

// The request checks that need no schema.
grpc::Status judge(const gnmi::Path& path, const ComposeRequest& request) {
  gnmi::Update update;
  *update.mutable_path() = path;
  grpc::Status status = Helpers::validate_path(update);
  if (status.ok()) status = Helpers::check_0_element_path(request.mode, path);
  if (status.ok()) status = Helpers::validate_Path(request.mode, path);
  if (status.ok()) status = Helpers::validate_Encoding(gnmi::JSON_IETF);
  return status;
}

grpc::Status parse(const std::string& text, JsonPtr& document) {
  if (const auto error = check_json_text(text)) return invalid("Malformed JSON: " + error->text());
  // The length counts the terminator, which the parser then requires directly behind the value.
  const char* end = nullptr;
  document.reset(cJSON_ParseWithLengthOpts(text.c_str(), text.size() + 1, &end, 1));
  if (document != nullptr) return grpc::Status::OK;
  return invalid("Malformed JSON at byte " + std::to_string(end - text.c_str()));
}

// A converter adds the namespace of a value's prefixed name each time that it names the element,
// and it names the root twice. Without prefix the namespace is completed once.
void drop_prefix(char* name) {
  const char* colon = std::strchr(name, ':');
  if (colon != nullptr) std::memmove(name, colon + 1, std::strlen(colon + 1) + 1);
}

// One conversion: the parts of the document that exist so far.
class Composer {
 public:
  Composer(ServiceKestrelNamespaceMapperImpl& mapper, const ComposeRequest& request)
      : mapper_(mapper), request_(request), token_(mapper.newToken()) {}

  grpc::Status run(std::string& xml) {
    top_.reset(Helpers::build_xml_node("config", XML_ELEMENT_NODE));
    if (top_ == nullptr) return internal(kNoXml);
    grpc::Status status = judge(request_.path, request_);
    if (status.ok()) status = request_.path.elem_size() == 0 ? whole_tree() : single();
    if (!status.ok()) return status;
    const XmlTextPtr text(Helpers::build_xml_str(top_.get()));
    if (text == nullptr) return internal(kNoXml);
    static_cast<void>(top_.release());  // build_xml_str freed the tree
    xml = reinterpret_cast<const char*>(text.get());
    return grpc::Status::OK;
  }

 private:
  grpc::Status single() {
    Target target;
    grpc::Status status = resolve_target(request_.path, request_.value, token_, target);
    if (!status.ok()) return status;
    JsonPtr document;
    status = parse(request_.value, document);
    if (!status.ok()) return status;
    // As a member the value has a name, which gives its element name and namespace whatever its
    // type.
    const JsonPtr holder(cJSON_CreateObject());
    const std::string name(name_of(*target.node()));
    cJSON* value = document.get();
    if (holder == nullptr || !cJSON_AddItemToObject(holder.get(), name.c_str(), value)) {
      throw std::bad_alloc();
    }
    static_cast<void>(document.release());
    return add(target, value);
  }

  // Only the first member of a payload can be found without a path, so each becomes a replace of
  // its own, below the one top element.
  grpc::Status whole_tree() {
    JsonPtr document;
    grpc::Status status = parse(request_.value, document);
    if (!status.ok()) return status;
    if (!cJSON_IsObject(document.get())) return invalid(kNoObject);
    std::vector<const kestrel_cs_node*> seen;
    for (cJSON* member = document->child; member != nullptr; member = member->next) {
      gnmi::Path path;
      path.add_elem()->set_name(member->string);
      Target target;
      status = judge(path, request_);
      if (status.ok()) status = resolve_target(path, std::string(), token_, target);
      if (!status.ok()) return status;
      if (std::find(seen.begin(), seen.end(), target.node()) != seen.end()) {
        return invalid("/" + shown(member->string) + " is given twice");
      }
      seen.push_back(target.node());
      drop_prefix(member->string);
      status = add(target, member);
      if (!status.ok()) return status;
    }
    return grpc::Status::OK;
  }

  // Binds and converts `value` and hangs it, wrapped in the target's path, below the top element.
  grpc::Status add(Target& target, cJSON* value) {
    Prepared prepared;
    Json2cJsonCsnodeHash bindings;
    grpc::Status status;
    if (!form_contradicts_path(target, *value)) {
      status = prepare_payload(target, mapper_, value, prepared);
      if (!status.ok()) return status;
    }
    status = cJsonCsnode::walk_breathfirst_cjson_and_swap_contents(value, token_.get(),
                                                                   target.path.get(), &bindings);
    if (status.ok()) status = check_bindings(target, prepared, bindings);
    if (!status.ok()) return status;
    XmlNodePtr converted;
    status = convert(target, value, bindings, converted);
    if (!status.ok()) return status;
    return attach(target, value, std::move(converted), prepared, bindings);
  }

  grpc::Status convert(const Target& target, cJSON* value, Json2cJsonCsnodeHash& bindings,
                       XmlNodePtr& converted) {
    grpc::Status status;
    converted.reset(request_.converter == Converter::kStrict
                        ? Helpers::start_json2xml(token_, value, &status, &bindings, &mapper_)
                        : Helpers::json2xml(token_, value, &bindings, &mapper_));
    if (converted != nullptr) return grpc::Status::OK;
    if (!status.ok()) return status;
    return internal("The value of " + target.text + " could not be converted");
  }

  grpc::Status attach(Target& target, cJSON* value, XmlNodePtr converted, const Prepared& prepared,
                      const Json2cJsonCsnodeHash& bindings) {
    // The element of a leaf and the entries of an array stand in the parent's element; what an
    // object holds stands in the element that the path itself names.
    const bool own_element = !cJSON_IsObject(value);
    gnmi::Path wrapper_path = target.internal;
    if (own_element) wrapper_path.mutable_elem()->RemoveLast();
    const std::string own_key = target.own_key();
    if (!own_key.empty()) {  // the value itself gives this key
      wrapper_path.mutable_elem(wrapper_path.elem_size() - 1)->mutable_key()->erase(own_key);
    }
    KestrelPath parent(wrapper_path, std::string());
    if (!parent.path2cs_nodes()) return internal(kNoXml);
    xmlNodePtr attach_point = top_.get();
    Helpers::build_xml_parent_wrapper(&wrapper_path, &attach_point, &parent, &mapper_);
    complete_wrapper(attach_point, parent.cs_nodes_);

    // The wrapper carries each key of the path once already, so none is added a second time.
    const xmlNode* behind = attach_point->last;
    const bool is_leaf = own_element && !cJSON_IsArray(value);
    xmlNodePtr root = converted.get();
    cJsonCsnode::attach_xml_path_wrapper_2_xml_value(is_leaf ? *target.path : parent, attach_point,
                                                     root, value);
    if (root->parent != nullptr) static_cast<void>(converted.release());
    ConvertedValue completed{};
    completed.item = value;
    completed.prepared = &prepared;
    completed.first = behind == nullptr ? attach_point->children : behind->next;
    completed.parent = parent.cs_nodes_.empty() ? nullptr : parent.cs_nodes_.back();
    completed.is_own_element = own_element;
    completed.arrays_wrapped = request_.converter == Converter::kSimple;
    return complete_value(completed, bindings, mapper_);
  }

  ServiceKestrelNamespaceMapperImpl& mapper_;
  const ComposeRequest& request_;
  std::shared_ptr<Rfc7951MapperToken> token_;
  XmlNodePtr top_;
};

}  // namespace

grpc::Status compose(ServiceKestrelNamespaceMapperImpl& mapper, const ComposeRequest& request,
                     std::string& xml) {
  try {
    return Composer(mapper, request).run(xml);
  } catch (const std::bad_alloc&) {
    return {grpc::StatusCode::RESOURCE_EXHAUSTED, "Out of memory"};
  } catch (const std::exception& error) {
    return internal(error.what());
  }
}

}  // namespace nexa::host

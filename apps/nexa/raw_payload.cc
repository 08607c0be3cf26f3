// Each check reads the tree once; the scanner's limit on depth keeps the recursion short.
#include "raw_payload.h"

#include <set>

#include "translate/json_scanner.h"

namespace nexa_tool {
namespace {

grpc::Status refused(const std::string& text) { return {grpc::StatusCode::INVALID_ARGUMENT, text}; }

}  // namespace

// cJSON reads more than JSON, and ends a string at an escaped NUL.
grpc::Status read_payload(const std::string& text, nexa::text::JsonPtr& json) {
  nexa::translate::JsonDocument scanned;
  if (const auto done = nexa::translate::scan_json(text, scanned); !done.ok()) {
    return refused("Malformed JSON: " + done.failure().rule + " at " +
                   scanned.place(scanned.fault_offset));
  }
  json.reset(cJSON_ParseWithLength(text.data(), text.size()));
  return json == nullptr ? refused("Malformed JSON") : grpc::Status::OK;
}

// The walk and the converters assert that an array is not empty, and write nothing for null.
grpc::Status check_shape(const cJSON* value, const std::string& place) {
  if (cJSON_IsNull(value)) return refused(place + " is null, which is not converted");
  const bool is_array = cJSON_IsArray(value) != 0;
  if (is_array && value->child == nullptr) return refused(place + " is an empty array");
  for (const cJSON* child = value->child; child != nullptr; child = child->next) {
    if (is_array && cJSON_IsArray(child)) return refused(place + " holds an array in an array");
    grpc::Status status = check_shape(child, is_array ? place : place + "/" + child->string);
    if (!status.ok()) return status;
  }
  return grpc::Status::OK;
}

// The walk leaves members unbound that it finds no schema node for, and binds what is given twice.
grpc::Status check_bindings(const cJSON* value, const nexa::Json2cJsonCsnodeHash& bindings,
                            const std::string& place) {
  const nexa::cJsonCsnode* const binding = bindings.find(value);
  if (binding == nullptr || binding->cs_node == nullptr) return refused("Unknown member " + place);
  const bool is_many = binding->is_list() || binding->is_leaflist();
  const bool is_array = cJSON_IsArray(value) != 0;
  if (is_array && !is_many) return refused(place + " takes one value");
  const bool is_scalar = !is_array && !cJSON_IsObject(value);
  if (is_scalar && binding->cs_node->children != nullptr) {
    return refused(place + " takes an object");
  }
  std::set<const kestrel_cs_node*> seen;
  for (const cJSON* child = value->child; child != nullptr; child = child->next) {
    const std::string at = is_array ? place : place + "/" + child->string;
    grpc::Status status = check_bindings(child, bindings, at);
    if (!status.ok()) return status;
    if (!is_array && !seen.insert(bindings.find(child)->cs_node).second) {
      return refused(at + " is given twice");
    }
  }
  return grpc::Status::OK;
}

}  // namespace nexa_tool

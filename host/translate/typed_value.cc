// Scalars become JSON tokens: a tolerant reader takes a number for any numeric type and a string
// for text.
#include "translate/typed_value.h"

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "text/escape.h"

namespace nexa::translate {
namespace {

using Helpers = nexa::ServiceRpcMsgHelpers;

// False for a kind that has no exact JSON token.
bool append_scalar(const gnmi::TypedValue& value, std::string& out) {
  switch (value.value_case()) {
    case gnmi::TypedValue::kStringVal:
      text::append_json_string(value.string_val(), out);
      return true;
    case gnmi::TypedValue::kIntVal:
      out += std::to_string(value.int_val());
      return true;
    case gnmi::TypedValue::kUintVal:
      out += std::to_string(value.uint_val());
      return true;
    case gnmi::TypedValue::kBoolVal:
      out += value.bool_val() ? "true" : "false";
      return true;
    case gnmi::TypedValue::kLeaflistVal: {
      out += '[';
      bool first = true;
      for (const gnmi::TypedValue& element : value.leaflist_val().element()) {
        if (!first) out += ',';
        first = false;
        if (element.value_case() == gnmi::TypedValue::kLeaflistVal) return false;
        if (!append_scalar(element, out)) return false;
      }
      out += ']';
      return true;
    }
    default:
      return false;
  }
}

}  // namespace

grpc::Status value_as_json(const gnmi::TypedValue& value, bool json_only, std::string& storage,
                           std::string_view& json) {
  gnmi::Encoding encoding = gnmi::PROTO;
  switch (value.value_case()) {
    case gnmi::TypedValue::kJsonIetfVal:
      encoding = gnmi::JSON_IETF;
      json = value.json_ietf_val();
      break;
    case gnmi::TypedValue::kJsonVal:
      encoding = gnmi::JSON;
      json = value.json_val();
      break;
    case gnmi::TypedValue::kAsciiVal:
      encoding = gnmi::ASCII;
      break;
    case gnmi::TypedValue::kBytesVal:
      encoding = gnmi::BYTES;
      break;
    case gnmi::TypedValue::VALUE_NOT_SET:
      return grpc::Status::OK;
    default:
      if (!json_only && append_scalar(value, storage)) {
        json = storage;
        return grpc::Status::OK;
      }
      break;
  }
  return Helpers::validate_Encoding(encoding);
}

}  // namespace nexa::translate

// Scalars become JSON tokens: a tolerant reader takes a number for any numeric type and a string
// for text.
#include "translate/typed_value.h"

#include <array>
#include <charconv>
#include <cmath>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "text/base64.h"
#include "text/escape.h"

namespace nexa::translate {
namespace {

using Helpers = nexa::ServiceRpcMsgHelpers;
using model::ValueKind;

constexpr char kBytesOfText[] = "bytes_val is a value of a binary leaf only";
constexpr char kFalseOfEmpty[] = "false is no value of an empty leaf, delete it";
constexpr char kNoNumber[] = "the number is not finite";
constexpr char kNestedArray[] = "an array is no element of leaflist_val";
constexpr char kNoScalar[] = "an element of leaflist_val is no scalar";
constexpr char kPrecision[] = "decimal_val has more digits behind the point than a decimal64";

constexpr std::uint32_t kMostFraction = 18;  // RFC 7950, section 9.3.4
// A number of 309 digits, its sign, its point and the digits of the smallest fraction.
constexpr std::size_t kLongestNumber = 1100;

grpc::Status refuse(const char* rule) { return {grpc::StatusCode::INVALID_ARGUMENT, rule}; }

template <typename Number>
grpc::Status append_number(Number number, std::string& out) {
  if (!std::isfinite(number)) return refuse(kNoNumber);
  std::array<char, kLongestNumber> text{};
  const auto [end, fault] =
      std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
  if (fault != std::errc()) return refuse(kNoNumber);
  out.append(text.data(), end);
  return grpc::Status::OK;
}

grpc::Status append_decimal(std::int64_t digits, std::uint32_t precision, std::string& out) {
  while (precision > 0 && digits % 10 == 0) {
    if (digits == 0) precision = 1;
    digits /= 10;
    --precision;
  }
  if (precision > kMostFraction) return refuse(kPrecision);
  std::string text = std::to_string(digits);
  const std::size_t sign = digits < 0 ? 1 : 0;
  if (precision > 0) {
    if (text.size() - sign <= precision) text.insert(sign, precision + 1 + sign - text.size(), '0');
    text.insert(text.size() - precision, ".");
  }
  out += text;
  return grpc::Status::OK;
}

grpc::Status append_scalar(const gnmi::TypedValue& value, ValueKind kind, std::string& out) {
  switch (value.value_case()) {
    case gnmi::TypedValue::kStringVal:
      text::append_json_string(value.string_val(), out);
      return grpc::Status::OK;
    case gnmi::TypedValue::kIntVal:
      out += std::to_string(value.int_val());
      return grpc::Status::OK;
    case gnmi::TypedValue::kUintVal:
      out += std::to_string(value.uint_val());
      return grpc::Status::OK;
    case gnmi::TypedValue::kBoolVal:
      if (kind != ValueKind::kEmpty) {
        out += value.bool_val() ? "true" : "false";
        return grpc::Status::OK;
      }
      if (!value.bool_val()) return refuse(kFalseOfEmpty);
      out += "[null]";
      return grpc::Status::OK;
    case gnmi::TypedValue::kBytesVal:
      if (kind != ValueKind::kBinary) return refuse(kBytesOfText);
      out += '"';
      text::append_base64(value.bytes_val(), out);
      out += '"';
      return grpc::Status::OK;
    case gnmi::TypedValue::kFloatVal:
      return append_number(value.float_val(), out);
    case gnmi::TypedValue::kDoubleVal:
      return append_number(value.double_val(), out);
    case gnmi::TypedValue::kDecimalVal:
      return append_decimal(value.decimal_val().digits(), value.decimal_val().precision(), out);
    case gnmi::TypedValue::kLeaflistVal:
      return refuse(kNestedArray);
    default:
      return refuse(kNoScalar);
  }
}

grpc::Status append_array(const gnmi::ScalarArray& array, ValueKind kind, std::string& out) {
  out += '[';
  for (const gnmi::TypedValue& element : array.element()) {
    if (&element != &array.element(0)) out += ',';
    grpc::Status status = append_scalar(element, kind, out);
    if (!status.ok()) return status;
  }
  out += ']';
  return grpc::Status::OK;
}

}  // namespace

bool is_json(const gnmi::TypedValue& value) {
  return value.has_json_ietf_val() || value.has_json_val();
}

grpc::Status value_as_json(const gnmi::TypedValue& value, ValueKind kind, std::string& storage,
                           std::string_view& json) {
  grpc::Status status;
  switch (value.value_case()) {
    case gnmi::TypedValue::kJsonIetfVal:
      json = value.json_ietf_val();
      return status;
    case gnmi::TypedValue::kJsonVal:
      json = value.json_val();
      return status;
    case gnmi::TypedValue::VALUE_NOT_SET:
      return status;
    case gnmi::TypedValue::kAsciiVal:
      return Helpers::validate_Encoding(gnmi::ASCII);
    case gnmi::TypedValue::kProtoBytes:
    case gnmi::TypedValue::kAnyVal:
      return Helpers::validate_Encoding(gnmi::PROTO);
    case gnmi::TypedValue::kLeaflistVal:
      status = append_array(value.leaflist_val(), kind, storage);
      break;
    default:
      status = append_scalar(value, kind, storage);
  }
  json = storage;
  return status;
}

}  // namespace nexa::translate

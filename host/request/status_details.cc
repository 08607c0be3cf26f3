// gRPC writes the text percent-encoded into "grpc-message" and the details in base64 into
// "grpc-status-details-bin"; both count against the client's limit.
#include "request/status_details.h"

#include <cstddef>
#include <string_view>

#include "google/rpc/status.pb.h"
#include "text/display.h"
#include "text/utf8.h"

namespace nexa::request {
namespace {

constexpr std::size_t kMostEncodedText = 2500;
constexpr std::size_t kMostTextInDetails = 1000;
constexpr std::size_t kMostBlamedPathBytes = 1000;

std::size_t encoded_size(char character) {
  const bool plain = character >= ' ' && character <= '~' && character != '%';
  return plain ? 1 : 3;
}

std::string cut_text(const std::string& text) {
  std::size_t encoded = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    encoded += encoded_size(text[at]);
    if (encoded <= kMostEncodedText) continue;
    return text.substr(0, text::prefix_length(text, at)).append(text::kCut);
  }
  return text;
}

}  // namespace

grpc::Status with_details(grpc::StatusCode code, const std::string& text,
                          const gnmi::UpdateResult* blamed) {
  google::rpc::Status details;
  details.set_code(code);
  details.set_message(text::printable(text, kMostTextInDetails));
  if (blamed != nullptr) {
    if (blamed->path().ByteSizeLong() <= kMostBlamedPathBytes) {
      details.add_details()->PackFrom(*blamed);
    } else {
      gnmi::UpdateResult without_path;
      without_path.set_op(blamed->op());
      details.add_details()->PackFrom(without_path);
    }
  }
  return {code, cut_text(text), details.SerializeAsString()};
}

grpc::Status bounded(const grpc::Status& status) {
  if (status.ok()) return status;
  return {status.error_code(), cut_text(status.error_message()), status.error_details()};
}

}  // namespace nexa::request

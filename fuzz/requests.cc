// The text form of the protobuf fuzzer's inputs.
#include "requests.h"

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>

#include "gnmi.pb.h"

namespace fuzz {
namespace {

// Most inputs of a fuzzer are wrong; nobody reads why.
class Silence : public google::protobuf::io::ErrorCollector {
 public:
  void AddError(int /*line*/, int /*column*/, const std::string& /*text*/) override {}
};

std::unique_ptr<google::protobuf::Message> empty_request(std::string_view call) {
  if (call == "get") return std::make_unique<gnmi::GetRequest>();
  if (call == "set") return std::make_unique<gnmi::SetRequest>();
  if (call == "subscribe") return std::make_unique<gnmi::SubscribeRequest>();
  return nullptr;
}

}  // namespace

std::unique_ptr<google::protobuf::Message> parse_request(std::string_view text, std::string& call) {
  const std::size_t end = text.find('\n');
  if (end == std::string_view::npos) return nullptr;
  call = text.substr(0, end);
  auto message = empty_request(call);
  if (message == nullptr) return nullptr;
  google::protobuf::TextFormat::Parser parser;
  Silence silence;
  parser.RecordErrorsTo(&silence);
  parser.SetRecursionLimit(100);
  if (!parser.ParseFromString(std::string(text.substr(end + 1)), message.get())) return nullptr;
  return message;
}

std::string print_request(const std::string& call, const google::protobuf::Message& message) {
  std::string text;
  google::protobuf::TextFormat::PrintToString(message, &text);
  return call + "\n" + text;
}

}  // namespace fuzz

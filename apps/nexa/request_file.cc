// Each request is tried in turn: their field names differ, so that a text with any operation in it
// fits one of them only.
#include "request_file.h"

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>

#include <array>
#include <utility>

namespace nexa_tool {

namespace {

// Keeps the first problem; the parser would print them all.
class FirstProblem : public google::protobuf::io::ErrorCollector {
 public:
  void AddError(int line, google::protobuf::io::ColumnNumber column,
                const std::string& message) override {
    if (!text.empty()) return;
    text = std::to_string(line + 1) + ":" + std::to_string(column + 1) + ": " + message;
  }
  void AddWarning(int /*line*/, google::protobuf::io::ColumnNumber /*column*/,
                  const std::string& /*message*/) override {}

  std::string text;
};

bool is_json(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  return first != std::string::npos && text[first] == '{';
}

nexa::text::Done parse(const std::string& text, google::protobuf::Message& message) {
  if (is_json(text)) {
    const auto status = google::protobuf::util::JsonStringToMessage(text, &message);
    if (status.ok()) return {};
    return nexa::text::unusable("", std::string(status.message()));
  }
  FirstProblem problem;
  google::protobuf::TextFormat::Parser parser;
  parser.RecordErrorsTo(&problem);
  if (parser.ParseFromString(text, &message)) return {};
  return nexa::text::unusable("", std::move(problem.text));
}

google::protobuf::Message& message_of(AnyRequest& request) {
  return std::visit([](auto& alternative) -> google::protobuf::Message& { return alternative; },
                    request);
}

}  // namespace

const char* type_name(const AnyRequest& request) {
  constexpr std::array<const char*, 3> kNames = {"get", "set", "subscribe"};
  return kNames.at(request.index());
}

nexa::text::Result<AnyRequest> parse_request(const std::string& text, const std::string& type) {
  AnyRequest request;
  std::string problems = "not a request";
  std::string fitting;
  int fit = 0;
  for (AnyRequest candidate : {AnyRequest(gnmi::GetRequest()), AnyRequest(gnmi::SetRequest()),
                               AnyRequest(gnmi::SubscribeRequest())}) {
    const char* name = type_name(candidate);
    if (!type.empty() && type != name) continue;
    const nexa::text::Done done = parse(text, message_of(candidate));
    if (!done.ok()) {
      problems.append("\nas ").append(name).append(": ").append(done.failure().line());
      continue;
    }
    fitting.append(fit++ == 0 ? "" : ", ").append(name);
    request = std::move(candidate);
  }
  if (fit == 0) return nexa::text::unusable("", std::move(problems));
  if (fit > 1) {
    return nexa::text::unusable(
        "", "fits more than one request (" + fitting + "); say which with --type");
  }
  return request;
}

}  // namespace nexa_tool

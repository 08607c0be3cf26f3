// The tool's request files: one request of a kind that the text names or fits, or a text why not.
#include "request_file.h"

#include <string>

#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::mapper();  // silences protobuf's lines as well
  const std::string text = fuzz::text_of(data, size);
  int fitting = 0;
  for (const char* type : {"get", "set", "subscribe"}) {
    const auto request = nexa_tool::parse_request(text, type);
    if (request.ok()) {
      if (std::string(nexa_tool::type_name(request.value())) != type) {
        fuzz::fail("another type", text);
      }
      ++fitting;
    } else if (request.failure().rule.empty()) {
      fuzz::fail("refused without a text", text);
    }
  }
  const auto request = nexa_tool::parse_request(text, "");
  if (request.ok() != (fitting == 1)) fuzz::fail("the kinds disagree", text);
  if (!request.ok() && request.failure().rule.empty()) fuzz::fail("refused without a text", text);
  return 0;
}

// The tool's request files: one request of a kind that the text names or fits, or a text why not.
#include "request_file.h"

#include <string>

#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::mapper();  // silences protobuf's lines as well
  const std::string text = fuzz::text_of(data, size);
  int fitting = 0;
  for (const char* type : {"get", "set", "subscribe"}) {
    nexa_tool::AnyRequest request;
    std::string error;
    if (nexa_tool::parse_request(text, type, request, error)) {
      if (std::string(nexa_tool::type_name(request)) != type) fuzz::fail("another type", text);
      ++fitting;
    } else if (error.empty()) {
      fuzz::fail("refused without a text", text);
    }
  }
  nexa_tool::AnyRequest request;
  std::string error;
  const bool is_one = nexa_tool::parse_request(text, "", request, error);
  if (is_one != (fitting == 1)) fuzz::fail("the kinds disagree", text);
  if (!is_one && error.empty()) fuzz::fail("refused without a text", text);
  return 0;
}

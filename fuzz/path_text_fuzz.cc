// A path string as a person types it: what parses prints, and what was printed parses to the same
// elements; a refusal says where.
#include <google/protobuf/util/message_differencer.h>

#include "support.h"
#include "translate/path_string.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = fuzz::text_of(data, size);
  nexa::translate::PathStringError error;
  auto path = nexa::translate::parse_path_string(text, &error);
  if (!path) {
    if (error.message.empty() || error.offset > text.size()) fuzz::fail("no place", text);
    return 0;
  }
  path->clear_origin();  // is not printed
  const std::string printed = nexa::translate::format_path_string(*path);
  const auto again = nexa::translate::parse_path_string(printed, &error);
  if (!again) fuzz::fail("does not parse again", printed);
  if (!google::protobuf::util::MessageDifferencer::Equals(*path, *again)) {
    fuzz::fail("parses to another path", printed);
  }
  return 0;
}

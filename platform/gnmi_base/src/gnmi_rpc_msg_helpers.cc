// Splitting of prefixed names. Knows no schema: a colon is all it looks for.
#include "gnmi/gnmi_rpc_msg_helpers.h"

namespace gnmi {

void RpcMsgHelpers::extract_prefix(const std::string& text, std::string& prefix,
                                   std::string& rest) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) {
    rest = text;
    prefix.clear();
    return;
  }
  // The text may be one of the outputs, so both parts are taken before either is written.
  std::string head = text.substr(0, colon);
  std::string tail = text.substr(colon + 1);
  prefix = std::move(head);
  rest = std::move(tail);
}

}  // namespace gnmi

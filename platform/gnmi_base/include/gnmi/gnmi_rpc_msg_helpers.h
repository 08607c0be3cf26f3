// Name splitting that every gNMI service shares.
#ifndef GNMI_GNMI_RPC_MSG_HELPERS_H_
#define GNMI_GNMI_RPC_MSG_HELPERS_H_

#include <string>
#include <string_view>

#include "gnmi/gnmi_export.h"

namespace gnmi {

class GNMI_EXPORT RpcMsgHelpers {
 public:
  // Splits "prefix:rest" at the first colon (RFC 7951 section 4). Without a colon `prefix` is empty
  // and `rest` is the whole text. `text` may be the same object as `prefix` or `rest`. Any thread.
  static void extract_prefix(const std::string& text, std::string& prefix, std::string& rest);

  // The same on views: both results point into `text`. Allocates nothing.
  static void extract_prefix(std::string_view text, std::string_view& prefix,
                             std::string_view& rest) {
    const std::size_t colon = text.find(':');
    prefix = colon == std::string_view::npos ? std::string_view{} : text.substr(0, colon);
    rest = colon == std::string_view::npos ? text : text.substr(colon + 1);
  }
};

}  // namespace gnmi

#endif  // GNMI_GNMI_RPC_MSG_HELPERS_H_

// Helpers without state: the XML trace and ASCII lower case. Knows nothing of gNMI or YANG.
#include "kitbase/utilities.h"

#include <grpc/support/log.h>

#include <algorithm>

namespace kitbase {

void Utilities::xmlLog(const unsigned char* text, int length) {
  if (text == nullptr || length <= 0 || gpr_should_log(GPR_LOG_SEVERITY_DEBUG) == 0) return;
  gpr_log(GPR_DEBUG, "%.*s", length, reinterpret_cast<const char*>(text));
}

std::string Utilities::to_lower(const std::string& text) {
  std::string lower = text;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return lower;
}

}  // namespace kitbase

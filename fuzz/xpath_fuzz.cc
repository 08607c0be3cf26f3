// Database path text: whatever parses must print as a keypath, and what prints as an xpath with one
// bracket for each key must parse again to the same path.
#include <google/protobuf/util/message_differencer.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "nexa/xpath_parser.h"

namespace {

bool inside_grammar(const std::string& text, const char* acting) {
  return !text.empty() && text.find_first_of(acting) == std::string::npos;
}

bool inside_grammar(const gnmi::Path& path) {
  for (const gnmi::PathElem& element : path.elem()) {
    if (!inside_grammar(element.name(), "/[]=") || element.name() == "...") return false;
    for (const auto& [key, value] : element.key()) {
      if (!inside_grammar(key, "/[]=") || value == "*") return false;
      if (value.find_first_of("[]=") != std::string::npos) return false;
    }
  }
  return path.elem_size() > 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static nexa::ServiceKestrelNamespaceMapperImpl mapper;
  auto token = mapper.newToken();
  nexa::XpathParser parser(*token);
  parser.input_.assign(reinterpret_cast<const char*>(data), size);
  if (!parser.parse()) return 0;
  if (parser.gPath_2_kpath().empty()) std::abort();
  if (!inside_grammar(parser.gPath)) return 0;

  const gnmi::Path first = parser.gPath;
  const std::string bracket_each = "][";
  nexa::XpathParser again(*token);
  again.input_ = nexa::ServiceRpcMsgHelpers::build_path_str(first, &bracket_each);
  if (!again.parse()) std::abort();
  if (!google::protobuf::util::MessageDifferencer::Equals(first, again.gPath)) std::abort();
  return 0;
}

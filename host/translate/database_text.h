// The configuration database's two texts of a path: keypath "/a/b{key1 key2}" and xpath
// "/a/b[k='v'][l='w']". Text only: which names and keys exist is not asked here. Keys come in a
// fixed order, where the library's own functions write them in the order of a protobuf map, which
// differs from run to run.
#ifndef HOST_TRANSLATE_DATABASE_TEXT_H_
#define HOST_TRANSLATE_DATABASE_TEXT_H_

#include <grpcpp/support/status.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "translate/path_string.h"

namespace nexa::translate {

// An element of a path whose keys have an order. In a keypath the key names are not written: a
// parsed one has empty names.
struct OrderedElement {
  std::string name;
  std::vector<std::pair<std::string, std::string>> keys;
};
using OrderedPath = std::vector<OrderedElement>;

// The elements of `path`, keys in byte order of their names.
OrderedPath in_byte_order(const gnmi::Path& path);

// Whether the text has a brace where an xpath would have a bracket.
bool is_keypath(std::string_view text);

// Parses a keypath; nullopt on failure, with `error` filled. "\ " stands for a blank in a key
// value. A closing brace counts where a slash or the end follows, so that a value may hold others.
std::optional<OrderedPath> parse_keypath(std::string_view text, PathStringError* error);

// As XpathParser::gPath_2_kpath writes it.
std::string format_keypath(const OrderedPath& path);

// As ServiceRpcMsgHelpers::build_path_str writes it, each key in brackets of its own and a value
// with an apostrophe in quotation marks; XpathParser reads it back. INVALID_ARGUMENT for a value
// that the text cannot hold.
grpc::Status format_xpath(const OrderedPath& path, std::string& text);

}  // namespace nexa::translate

#endif  // HOST_TRANSLATE_DATABASE_TEXT_H_

// Database path text back into a gNMI path, and the other way round.
#ifndef NEXA_XPATH_PARSER_H_
#define NEXA_XPATH_PARSER_H_

#include <grpcpp/support/status.h>

#include <cstdint>
#include <memory>
#include <string>

#include "gnmi.pb.h"
#include "gnmi/gnmi_rfc7951_defs.h"
#include "nexa/nexa_export.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"

namespace nexa {

// Replaces every occurrence of `from` in `text`, left to right; inserted text is not scanned again.
// An empty `from` changes nothing.
NEXA_EXPORT void replaceAll(std::string& text, const std::string& from, const std::string& to);

// Serves one request, on one thread. Set `input_`, parse(), then read the result; a parser is used
// again by setting a new input.
class NEXA_EXPORT XpathParser {
 public:
  enum State { START = 0, NAME = 1, KEY = 2, VALUE = 3, KEY_END = 4 };

  // The token must be owned by a shared pointer; throws std::bad_weak_ptr otherwise.
  explicit XpathParser(Rfc7951MapperToken& token);
  ~XpathParser();
  XpathParser(const XpathParser&) = delete;
  XpathParser& operator=(const XpathParser&) = delete;

  // Parses `input_` into `gPath`; false for malformed text, with what was built so far in `gPath`.
  bool parse();

  // The keypath text of `gPath`: key values in braces, blanks escaped with a backslash.
  std::string gPath_2_kpath();

  // Writes `gPath` in external names into the update's path and empties `gPath`. Asserts a path
  // that is not empty and an update that is not null.
  grpc::Status assignPathToUpdate(gnmi::Update* update_p);

  // The same; also resolves the path to schema nodes into `pointer`.
  grpc::Status assignPathToUpdate(gnmi::Update* update_p, gnmi::rfc7951::KcnPathPointer& pointer);

  std::shared_ptr<Rfc7951MapperToken> token_;
  std::string input_;
  std::string spare_;
  std::uint32_t position_ = 0;
  std::uint32_t token_start_ = 0;
  int state_ = START;
  gnmi::Path gPath;
  gnmi::PathElem* element_ = nullptr;
};

}  // namespace nexa

#endif  // NEXA_XPATH_PARSER_H_

// The document that a commit hook reads: the change, and whose it is.
#ifndef HOST_HOOK_CHANGE_DOCUMENT_H_
#define HOST_HOOK_CHANGE_DOCUMENT_H_

#include <string>
#include <string_view>
#include <vector>

#include "store/config_store.h"

namespace nexa::hook {

// The document in pieces that belong together in order, so that a large change is not copied.
// Refers to `change`, which outlives it.
class ChangeDocument {
 public:
  ChangeDocument(const store::Change& change, const char* reason);
  ChangeDocument(const ChangeDocument&) = delete;
  ChangeDocument& operator=(const ChangeDocument&) = delete;

  const std::vector<std::string_view>& pieces() const { return pieces_; }

 private:
  std::string head_;
  std::vector<std::string_view> pieces_;
};

}  // namespace nexa::hook

#endif  // HOST_HOOK_CHANGE_DOCUMENT_H_

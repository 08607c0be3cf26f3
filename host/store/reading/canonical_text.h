// The canonical text of a value, read without changing the tree: libyang makes that of some types
// when it is first asked for and keeps it in the value, which readers at work at the same time must
// not do.
#ifndef HOST_STORE_READING_CANONICAL_TEXT_H_
#define HOST_STORE_READING_CANONICAL_TEXT_H_

#include <string_view>

#include "store/tree.h"

namespace nexa::host {

class CanonicalText {
 public:
  explicit CanonicalText(const lyd_node* leaf)
      : CanonicalText(LYD_CTX(leaf), reinterpret_cast<const lyd_node_term*>(leaf)->value) {}
  CanonicalText(const ly_ctx* context, const lyd_value& value);
  ~CanonicalText();
  CanonicalText(const CanonicalText&) = delete;
  CanonicalText& operator=(const CanonicalText&) = delete;

  // Valid as long as this object and the value.
  std::string_view view() const { return text_; }

 private:
  const ly_ctx* context_;
  lyd_value copy_{};  // used when the value has no text yet
  bool is_copied_ = false;
  std::string_view text_;
};

}  // namespace nexa::host

#endif  // HOST_STORE_READING_CANONICAL_TEXT_H_

// What does a broken rule say to a client? One text for each kind of rule, whether libyang's walk
// over the whole tree found it or the check of a change did.
#ifndef HOST_STORE_VIOLATION_TEXT_H_
#define HOST_STORE_VIOLATION_TEXT_H_

#include <string>
#include <string_view>

#include "store/tree.h"
#include "store/validation.h"

namespace nexa::host {

// The first problem that libyang stored on this thread for the loaded schema, in words. `tree` is
// the tree that was judged; a rule with a message of its own is looked up in it.
Violation stored_violation(const ly_ctx* context, const lyd_node* tree);

// Makes libyang keep its messages for this thread instead of printing them, from the first to the
// last day of the object; what it kept earlier is dropped.
class KeptMessages {
 public:
  explicit KeptMessages(const ly_ctx* context);
  ~KeptMessages();
  KeptMessages(const KeptMessages&) = delete;
  KeptMessages& operator=(const KeptMessages&) = delete;

 private:
  const ly_ctx* context_;
  std::uint32_t options_ = LY_LOSTORE;
};

// Instance identifier of a node, module names in front of names where they change.
std::string instance_path(const lyd_node* node);

Violation must_violation(const lyd_node* node, const lysc_must& must);
Violation when_violation(const lyd_node* node, std::string_view condition);

}  // namespace nexa::host

#endif  // HOST_STORE_VIOLATION_TEXT_H_

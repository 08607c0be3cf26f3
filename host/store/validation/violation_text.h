// What does a broken rule say to a client? One text for each kind of rule, whether libyang's walk
// over the whole tree found it or the check of a change did.
#ifndef HOST_STORE_VALIDATION_VIOLATION_TEXT_H_
#define HOST_STORE_VALIDATION_VIOLATION_TEXT_H_

#include <string>
#include <string_view>

#include "store/tree.h"
#include "store/validation/validation.h"

namespace nexa::store {

// The problem that libyang stored last on this thread, in words. `tree` is the tree that was
// judged: a `must` with a message of its own is looked up in it. Problems whose place libyang does
// not tell (a missing node) have an empty path.
Violation stored_violation(const ly_ctx* context, const lyd_node* tree);

// Instance identifier of a node, module names in front of names where they change; empty for null.
std::string instance_path(const lyd_node* node);

Violation must_violation(const lyd_node* node, const lysc_must& must);
Violation when_violation(std::string path, const lysc_when& when);
Violation leafref_violation(const lyd_node* node, std::string_view target);
Violation instance_violation(const lyd_node* node);
Violation missing_violation(std::string path, const lysc_node* node);
Violation few_violation(std::string path, const lysc_node* node, std::uint32_t min);
Violation many_violation(const lyd_node* node, std::uint32_t max);
Violation unique_violation(const lyd_node* node, std::string_view leafs);
Violation both_cases_violation(std::string path, std::string_view one, std::string_view other);

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_VIOLATION_TEXT_H_

// What does a transaction change? Its sparse states before and after, as libyang diffs: with
// defaults for validation, without them for the log, which stores what was configured and nothing
// that follows from it.
#ifndef HOST_STORE_CHANGE_H_
#define HOST_STORE_CHANGE_H_

#include <string>
#include <string_view>

#include "store/touched.h"
#include "store/tree.h"

namespace nexa::host {

// The difference with defaults, for a validator; null when nothing differs. False when libyang
// fails.
bool difference(const Touched& touched, const lyd_node* before, const lyd_node* after,
                TreePtr& diff);

// A change as it is written down.
struct ChangeText {
  bool changes = false;  // whether any configured node differs
  bool whole = false;    // `text` is the configuration after the change
  std::string text;      // the libyang diff as XML, without defaults
  std::string before;    // the touched nodes, top element "config"
  std::string after;
};

// Describes how the touched nodes differ between two trees. A diff that applied to the state before
// would not give the state after is not handed out: the record is the whole configuration then.
// False when libyang fails.
bool describe_change(const Touched& touched, const lyd_node* before, const lyd_node* after,
                     ChangeText& record);

// Applies a recorded diff to a tree without defaults. False with `error` set when the text is no
// diff for the loaded schema or does not fit the tree.
bool apply_record(std::string_view text, TreePtr& tree, std::string& error);

// Reads top-level nodes without validation: configuration only, nothing unknown. False with
// `error`: "PATH: what is wrong".
bool parse_nodes(std::string_view xml, TreePtr& tree, std::string& error);

// The whole tree without defaults, top element "config". Empty after a failure of libyang.
std::string configuration_xml(const lyd_node* tree);

// What stands inside the one top element of a document, an XML declaration before it. nullptr data
// when the text is no such document.
std::string_view inner_xml(std::string_view document);

}  // namespace nexa::host

#endif  // HOST_STORE_CHANGE_H_

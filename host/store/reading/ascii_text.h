// A node as lines for people and line tools, one node a line, two blanks deeper for each level:
//
//   example-device:device
//     name core1
//     port[name=xe-0]
//       speed 10
//       description "to the roof"
//
// Names carry their module where it changes, keys stand as in a path. A value is the leaf's text,
// between double quotes with JSON's escapes when it is empty or holds anything but visible ASCII
// characters other than `"`. An entry of a leaf-list is a line; anydata are their JSON.
#ifndef HOST_STORE_READING_ASCII_TEXT_H_
#define HOST_STORE_READING_ASCII_TEXT_H_

#include <string>

#include "store/node_pairs.h"
#include "store/reading/json_value.h"

namespace nexa::store {

// Appends the lines below a container or a list entry, or the value of a leaf alone; the entries of
// a whole leaf-list are lines of values. `node` is what the form wants of it (wanted.h), and not
// nothing. False when nothing of the wanted part is there; `text` is unchanged then.
bool append_ascii_value(const NodePair& node, const JsonForm& form, std::string& text);

// The lines of all top-level nodes of the two trees.
bool append_ascii_tree(const PairLevel& top, const JsonForm& form, std::string& text);

}  // namespace nexa::store

#endif  // HOST_STORE_READING_ASCII_TEXT_H_

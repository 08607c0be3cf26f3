// How far from its context node can an XPath expression look? Reads the text alone: which steps go
// up, whether it starts at the root, whether it asks for the text of an inner node.
#ifndef HOST_STORE_VALIDATION_EXPRESSION_REACH_H_
#define HOST_STORE_VALIDATION_EXPRESSION_REACH_H_

#include <string_view>

namespace nexa::host {

struct ExpressionReach {
  int levels_up = 0;      // the highest node it can touch, counted from the context node
  bool absolute = false;  // some path starts at the root
  bool opaque = false;    // axes, "//" or deref(): which nodes it touches cannot be told
  bool texts = false;     // compares or converts: the text of an inner node may count
  bool filtered = false;  // has predicates
};

ExpressionReach reach_of(std::string_view expression);

}  // namespace nexa::host

#endif  // HOST_STORE_VALIDATION_EXPRESSION_REACH_H_

// What the generator of modules remembers of the nodes that it wrote, and the writer of statements.
#ifndef TESTS_STORE_RANDOM_YANG_NODES_H_
#define TESTS_STORE_RANDOM_YANG_NODES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "store/random_yang.h"

namespace nexa_test {

enum class Value : std::uint8_t {
  kNone,  // containers, lists
  kString,
  kNumber,
  kBoolean,
  kEnumeration,
  kBits,
  kIdentity,
  kReference,  // leafref
  kUnion,
  kOther,
};

using Steps = std::vector<std::string>;  // data nodes from the top, each "prefix:name"

struct KnownNode {
  Steps path;
  std::string schema_path;  // with choices and cases
  Value value = Value::kNone;
  bool is_list = false;
  bool is_many = false;                 // a list, or a leaf-list
  bool by_user = false;                 // the user orders the entries
  bool is_conditional = false;          // itself, or something above it, has a `when`
  bool is_conditional_default = false;  // and it exists without being configured
  std::string key;                      // of a list, the first one, "prefix:name"
};

// Writes statements, one a line, so that a line or a block of lines can be taken out again.
class StatementWriter {
 public:
  void open(const std::string& head) { line(head + " {"), ++depth_; }
  void close() { --depth_, line("}"); }
  void line(const std::string& text) {
    text_ += std::string(static_cast<std::size_t>(depth_) * 2, ' ') + text + "\n";
  }
  void add(const std::string& lines) { text_ += lines; }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
  int depth_ = 0;
};

// Makes XPath expressions over the nodes known so far.
class ExpressionMaker {
 public:
  ExpressionMaker(Dice& dice, RandomSchema& schema, const std::vector<KnownNode>& nodes)
      : dice_(dice), schema_(schema), nodes_(nodes) {}

  struct Place {
    Steps context;          // the data node that "." is; empty: the root
    std::size_t first = 0;  // nodes before this index in the list of known ones are out of reach
    bool only_relative = false;
    bool is_when = false;
    bool may_look_below = false;  // below "." stand others than what the rule is about
  };

  bool allow_wild = false;   // axes and // that look for a name anywhere
  bool allow_all = false;    // * and node()
  bool allow_crash = false;  // preceding-sibling

  // Empty when there is nothing to look at.
  std::string condition(const Place& place);
  std::string way(const Place& place, const KnownNode& target);
  const KnownNode* target(const Place& place, bool leaf_only);

 private:
  std::string path(const Place& place, bool leaf_only, const KnownNode** found);
  std::string straight_way(const Place& place, const KnownNode& target);
  std::string wild_way(const Place& place, const KnownNode& target);
  std::string predicate(const Place& place, const KnownNode& list);
  std::string comparison(const Place& place);
  std::string of_nodes(const Place& place);
  std::string of_text(const Place& place);
  std::string of_type(const Place& place);
  std::string of_numbers(const Place& place);
  std::string word(Value value);
  const KnownNode* known(const Steps& path) const;
  void see_order(const KnownNode& target);

  Dice& dice_;
  RandomSchema& schema_;
  const std::vector<KnownNode>& nodes_;
};

// A text that fits, or nearly fits, a type of this kind.
std::string sample(Dice& dice, Value value);

}  // namespace nexa_test

#endif  // TESTS_STORE_RANDOM_YANG_NODES_H_

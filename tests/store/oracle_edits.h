// What the edits of a Set mean, in the plainest code: an explicit tree, changed node by node.
// Shares nothing with the store, so that a fault of one does not hide in the other.
#ifndef TESTS_STORE_ORACLE_EDITS_H_
#define TESTS_STORE_ORACLE_EDITS_H_

#include <libyang/libyang.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "store/config_store.h"

namespace nexa_test {

// Why an edit is refused whose path the schema does not have.
inline constexpr char kNoSuchPath[] = "the path names nothing in the schema";

struct ForestDelete {
  void operator()(lyd_node* top) const { lyd_free_all(top); }
};
using Forest = std::unique_ptr<lyd_node, ForestDelete>;  // any node of it may be held

// Nodes from XML without an element around them. False when the schema does not take them.
bool parse_forest(const std::string& inner_xml, Forest& forest);

// "<config>...</config>" without its tags.
std::string without_config(const std::string& xml);

// A configuration without defaults.
class ExplicitTree {
 public:
  // The nodes stood before: flagged as a validation leaves them.
  bool load(const std::string& inner_xml);

  // False, with `why`, when the edit itself is refused.
  bool apply(const nexa::store::Edit& edit, std::string& why);

  // Paths of what the documents gave, containers without presence left out.
  const std::set<std::string>& given() const { return given_; }

  lyd_node* top() const { return top_.get(); }
  // For libyang's functions that may change the first node.
  lyd_node* release() { return top_.release(); }
  void take(lyd_node* any);

  void remove(lyd_node* node);
  void strip_defaults();    // and containers that hold nothing
  std::string xml() const;  // without an element around the nodes

 private:
  using Nodes = std::vector<lyd_node*>;

  lyd_node* children(const lyd_node* parent) const;
  Nodes children_of(const lyd_node* parent) const;
  lyd_node* find(const lyd_node* parent, const lyd_node* like) const;
  void put(lyd_node* parent, lyd_node* node);
  void merge(lyd_node* parent, const lyd_node* source);
  void merge_all(lyd_node* parent, const lyd_node* sources);
  void replace_one(lyd_node* parent, const lyd_node* source);
  void replace_content(lyd_node* parent, const lyd_node* sources);
  void replace_instances(lyd_node* parent, const lysc_node* schema, const lyd_node* sources);
  void drop_missing(lyd_node* parent, const lysc_node* only, const lyd_node* sources);
  void reorder(lyd_node* parent, const lysc_node* schema, const lyd_node* sources);
  void give_way(lyd_node* parent, const lysc_node* schema);
  void replace(const gnmi::Path& path, const lyd_node* document);
  void remove_path(const gnmi::Path& path);
  void select(const gnmi::Path& path, int depth, const lyd_node* parent, Nodes& found) const;
  void note_given(const lyd_node* first);
  void unlink(lyd_node* node);

  Forest top_;
  std::set<std::string> given_;
};

bool is_plain(const lysc_node* schema);  // a container without presence
std::string path_of_node(const lyd_node* node);
std::string print_forest(const lyd_node* top, LYD_FORMAT format, std::uint32_t options);

}  // namespace nexa_test

#endif  // TESTS_STORE_ORACLE_EDITS_H_

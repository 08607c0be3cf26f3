// How does a tree become what the operations of a transaction say? Applies documents and paths,
// touching no more than they name. Judges only what belongs to one operation; constraints are
// asked for when all are applied.
#ifndef HOST_STORE_EDITS_H_
#define HOST_STORE_EDITS_H_

#include <grpcpp/support/status.h>

#include <optional>
#include <string>
#include <vector>

#include "store/config_store.h"
#include "store/standing_defaults.h"
#include "store/touched.h"
#include "store/tree.h"

namespace nexa::host {

struct EditRefusal {
  grpc::Status status;
  std::string path;  // instance identifier, empty when the document has none
  std::string rule;
};

class EditApplier {
 public:
  // Changes `top` (the first top-level node, may be null) and tells `touched`; all outlive this
  // object.
  EditApplier(lyd_node*& top, Touched& touched, const StandingDefaults& standing)
      : top_(top), touched_(touched), standing_(standing) {}

  // Applies one operation. After a refusal the tree may hold a part of it: undo by what is touched.
  std::optional<EditRefusal> apply(const Edit& edit);

  // The whole tree becomes `source`, nodes without defaults.
  void replace_tree(const lyd_node* source);

  // To be called when all is applied: of a module without configured data only standing defaults
  // stay.
  void finish();

 private:
  std::optional<EditRefusal> replace(const gnmi::Path& path, const lyd_node* document);
  std::optional<EditRefusal> remove(const gnmi::Path& path);

  const lyd_node* children(const lyd_node* parent) const;
  void merge(lyd_node* parent, const lyd_node* sources);
  void merge_one(lyd_node* parent, const lyd_node* source);
  void replace_content(lyd_node* parent, const lyd_node* sources);
  void replace_one(lyd_node* parent, const lyd_node* source);
  void replace_instances(lyd_node* parent, const lysc_node* schema, const lyd_node* sources);
  void make_order(lyd_node* parent, const lysc_node* schema, const lyd_node* sources);
  void insert(lyd_node* parent, const lyd_node* source);
  void drop(lyd_node* node);
  void drop_other_cases(const lyd_node* parent, const lysc_node* schema);
  void drop_default_instances(const lyd_node* parent, const lysc_node* schema);

  lyd_node*& top_;
  Touched& touched_;
  const StandingDefaults& standing_;
  bool dropped_ = false;  // whether anything was deleted
};

}  // namespace nexa::host

#endif  // HOST_STORE_EDITS_H_

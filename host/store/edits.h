// How does a configuration become what the operations of a transaction say? Applies documents and
// paths to an image, touching no more than they name. Judges only what belongs to one operation;
// constraints are asked for when all are applied.
#ifndef HOST_STORE_EDITS_H_
#define HOST_STORE_EDITS_H_

#include <cstddef>
#include <vector>

#include "store/config_store.h"
#include "store/image/image.h"
#include "text/result.h"

namespace nexa::store {

class EditApplier {
 public:
  explicit EditApplier(const ImagePtr& before);

  // Applies one operation. After a refusal, whose path is an instance identifier, the image may
  // hold a part of it.
  text::Done apply(const Edit& edit);

  // The image as the operations so far leave it. Defaults are those that stood before, where
  // nothing explicit took their place: a judgement completes them.
  ImagePtr result() const;

  // A tree of the result's explicit nodes, ready to be judged, when the operations' documents are
  // all that it holds: nothing was configured before, and no two of them have a top-level node in
  // common. Null otherwise, and the second time.
  TreePtr take_document();

  // Nodes that the documents of the operations so far hold.
  std::size_t nodes() const { return nodes_; }

 private:
  void add_document(TreePtr document);
  text::Done unite(const model::Target& target, const lyd_node* document);
  text::Done replace(const model::Target& target, const lyd_node* document);
  text::Done remove(const model::Target& target);

  ImageSlot root_;
  ImageSlot union_;                       // what edits of kUnion say; null while there was none
  const model::Schema* model_ = nullptr;  // of its targets
  std::vector<model::Scope> united_;      // the origins that they replace
  TreePtr document_;
  bool is_all_ = false;  // document_ is all that is configured; true of an empty one
  std::size_t nodes_ = 0;
};

}  // namespace nexa::store

#endif  // HOST_STORE_EDITS_H_

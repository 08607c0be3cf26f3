// What readers of the store get: a published image, and operational data beside it.
#ifndef HOST_STORE_TREE_SNAPSHOT_H_
#define HOST_STORE_TREE_SNAPSHOT_H_

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "model/state_mirror.h"
#include "store/config_store.h"
#include "store/image/image.h"

namespace nexa::store {

class TreeSnapshot : public Snapshot {
 public:
  // `image` is not null; `number` is the commit that left it. With `mirror`, which outlives the
  // object, readers see what is configured in the containers "state" as well.
  TreeSnapshot(ImagePtr image, std::uint64_t number, const model::StateMirror* mirror = nullptr)
      : image_(std::move(image)), number_(number), mirror_(mirror) {}

  grpc::Status read(const Query& query, const StateTree* state,
                    const ValueSink& sink) const override;
  grpc::Status read_changes(const Query& query, const Snapshot& since, const StateSource& state,
                            const ChangeSink& sink) const override;
  grpc::Status read_state_changes(const Query& query, const StateTree* since, const StateTree* now,
                                  const ChangeSink& sink) const override;
  void visit_changes(const Snapshot& since, ChangeVisitor& visitor) const override;
  std::string xml() const override;
  std::uint64_t number() const override { return number_; }
  const ImageInner& root() const { return *image_; }

 private:
  ImagePtr image_;
  std::uint64_t number_;
  const model::StateMirror* mirror_;
};

// The tree of an image, and the image of a tree of this store's.
std::shared_ptr<const StateTree> state_tree_of(ImagePtr image);
const ImageInner& image_of_state(const StateTree& tree);

// ConfigStore::parse_state.
text::Result<std::shared_ptr<const StateTree>> parse_state_tree(std::string_view xml);

}  // namespace nexa::store

#endif  // HOST_STORE_TREE_SNAPSHOT_H_

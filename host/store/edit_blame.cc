// Images are kept after each edit, so what an edit changed is the difference of two of them.
#include "store/edit_blame.h"

#include <string>

#include "store/edits.h"
#include "store/image/image_difference.h"
#include "store/image/image_path.h"

namespace nexa::store {
namespace {

bool is_below(std::string_view path, std::string_view above) {
  return path.size() > above.size() && path.substr(0, above.size()) == above &&
         path[above.size()] == '/';
}

class Look {
 public:
  explicit Look(std::string_view fault) : fault_(fault) {}

  // Compares the children of a node whose path is `path_`.
  void children(const ImageInner* before, const ImageInner* after, const lysc_node* parent) {
    each_child_difference(before, after, [&](const NodeDifference& node) {
      const ImageNode& some = node.after != nullptr ? *node.after : *node.before;
      const std::size_t size = path_.size();
      append_path_step(some, parent, path_);
      const bool is_related = path_ == fault_ || is_below(fault_, path_) || is_below(path_, fault_);
      if (is_related) look_at(node, some);
      path_.resize(size);
    });
  }

  bool on_the_way = false;
  bool below = false;

 private:
  void look_at(const NodeDifference& node, const ImageNode& some) {
    const bool stays = node.before != nullptr && node.after != nullptr;
    if (stays && some.kind() == ImageKind::kInner) {
      return children(&node.before->inner(), &node.after->inner(), some.schema());
    }
    if (stays && same_image(*node.before, *node.after)) return;
    (is_below(path_, fault_) ? below : on_the_way) = true;
  }

  const std::string_view fault_;
  std::string path_;
};

}  // namespace

int edit_to_blame(const ImagePtr& before, const std::vector<Edit>& edits, std::string_view path) {
  if (path.empty()) return -1;
  EditApplier applier(before);
  ImagePtr last = before;
  int on_the_way = -1;
  int below = -1;
  bool several_below = false;
  for (std::size_t i = 0; i < edits.size(); ++i) {
    if (!applier.apply(edits[i]).ok()) break;
    ImagePtr next = applier.result();
    Look look(path);
    look.children(last.get(), next.get(), nullptr);
    last = std::move(next);
    if (look.on_the_way) on_the_way = static_cast<int>(i);
    if (!look.below) continue;
    several_below = several_below || below >= 0;
    below = static_cast<int>(i);
  }
  if (on_the_way >= 0) return on_the_way;
  return several_below ? -1 : below;
}

}  // namespace nexa::store

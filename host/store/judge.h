// Is an edited configuration valid, and which defaults belong to it? Keeps the writer's libyang
// tree and chooses the way: the change alone, the whole tree, or the whole tree in a process that
// may die.
#ifndef HOST_STORE_JUDGE_H_
#define HOST_STORE_JUDGE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "store/image/image.h"
#include "store/tree_change.h"
#include "store/validation/validation.h"
#include "store/workspace.h"

namespace nexa::store {

// One thread at a time.
class Judge {
 public:
  struct Verdict {
    enum class Kind : std::uint8_t {
      kValid,    // `image` is the configuration with its defaults
      kInvalid,  // `violation` tells why
      kDied,     // libyang died of it, in another process; `text` tells how
      kFailed,   // there was no memory
    };
    Kind kind = Kind::kFailed;
    ImagePtr image;
    std::optional<Violation> violation;
    std::string text;
    bool whole = false;  // every rule was asked, not only those that the change touches
  };

  explicit Judge(Validator::By by = Validator::By::kLibyangAndTargets);
  ~Judge();
  Judge(const Judge&) = delete;
  Judge& operator=(const Judge&) = delete;

  struct Given {
    std::size_t nodes = 0;  // how many the edits' documents hold
    // A tree of the explicit nodes of the edited configuration and no others, which saves making
    // one; may be null.
    TreePtr document;
  };

  // Judges `edited`, made by edits of `before`, which the last accepted verdict or stand_for()
  // left. `only_whole`: `before` is not known to be valid. Each verdict is to be followed by keep()
  // or take_back().
  Verdict judge(const ImagePtr& before, const ImagePtr& edited, Given given, bool only_whole);

  // Judges all of what is configured in `given`. `before` (may be null): what stood, and may go
  // when its `when` turns false. What is the same in the verdict's image is shared with `like`.
  enum class Place : std::uint8_t {
    kHere,   // in this process, unless libyang may die of the loaded schema
    kChild,  // in a process of its own
  };
  Verdict judge_whole(const ImagePtr& given, const ImageInner* before, const ImageInner& like,
                      Place place = Place::kHere, TreePtr document = nullptr);

  // The verdict's image is the configuration now.
  void keep();
  // It is not: the tree stands for the image before again.
  void take_back();

  // Makes the tree of an image, so that the next judgement need not. False when there is no memory.
  bool stand_for(const ImageInner& image);

  // Whether the module's defaults are in use without any configured data.
  bool has_standing_defaults(const lys_module* module) const;

  std::uint64_t deaths() const { return deaths_; }

 private:
  Verdict judge_change(const ImagePtr& before, const ImagePtr& edited);
  Verdict judge_in_child(TreePtr fresh, const ImageInner& like);
  std::optional<Violation> violation_without_walk(TreePtr fresh);
  TreePtr fresh_tree(const ImageInner& given, const ImageInner* before, TreePtr document) const;
  void forget_tree();

  Validator validator_;
  const PlaceMatters place_matters_;
  lyd_node* tree_ = nullptr;  // owned
  bool has_tree_ = false;     // false: it has to be made of the image before
  bool is_new_tree_ = false;  // the verdict that is neither kept nor taken back made it
  std::size_t nodes_ = 0;     // about as many as the tree has
  TreeChanges changes_;       // of the verdict that is neither kept nor taken back
  std::uint64_t deaths_ = 0;
};

}  // namespace nexa::store

#endif  // HOST_STORE_JUDGE_H_

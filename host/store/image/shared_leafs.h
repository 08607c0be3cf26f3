// Configured leafs that many places have in common: interfaces have the same type, the same MTU and
// the same few words in them, and one node can stand for all of these.
#ifndef HOST_STORE_IMAGE_SHARED_LEAFS_H_
#define HOST_STORE_IMAGE_SHARED_LEAFS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string_view>
#include <vector>

#include "store/image/image.h"

namespace nexa::store {

// A table of the leafs that were asked for last. It holds at most 32,768 of them, some 1.5 MB, also
// when no tree has them any more. Any thread.
class SharedLeafs {
 public:
  // Whether the value of a leaf is worth a look: not a key, whose values differ, and short.
  static bool may_hold(const lysc_node* schema, std::string_view text);

  // The leaf that is known for the value, or what `make` makes, which is known from now on.
  template <typename Make>
  ImageRef<ImageLeaf> get(const lysc_node* schema, std::string_view text, ScalarForm form,
                          const Make& make) {
    const std::size_t hash = hash_of(schema, text);
    Part& part = parts_[hash % kParts];
    const std::lock_guard<std::mutex> lock(part.mutex);
    ImageRef<ImageLeaf>& leaf = slot(part, hash / kParts);
    const bool is_same =
        leaf && leaf->schema() == schema && leaf->form() == form && leaf->text() == text;
    if (!is_same) leaf = make();
    return leaf;
  }

 private:
  static constexpr std::size_t kParts = 32;  // so that threads seldom wait for each other
  static constexpr std::size_t kSlots = 1024;
  static constexpr std::size_t kLongest = 23;

  struct Part {
    std::mutex mutex;
    std::uint64_t generation = 0;
    std::vector<ImageRef<ImageLeaf>> leafs;
  };

  static std::size_t hash_of(const lysc_node* schema, std::string_view text);
  static ImageRef<ImageLeaf>& slot(Part& part, std::size_t hash);

  std::array<Part, kParts> parts_;
};

}  // namespace nexa::store

#endif  // HOST_STORE_IMAGE_SHARED_LEAFS_H_

// The configuration as one commit left it, for everybody who reads: an immutable tree with the
// defaults in it. A commit makes a new tree that shares all that it did not change with the one
// before, so any number of threads read any number of states without a lock, and nobody waits.
//
// Nodes stand for instances of the loaded schema. The children of a container or an entry are
// ordered by the schema; all entries of a list or leaf-list hang below one group node, which keeps
// their order and finds them by key in constant time. Counts of references are atomic; nothing else
// in a node changes once the tree that holds it is published.
#ifndef HOST_STORE_IMAGE_H_
#define HOST_STORE_IMAGE_H_

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/tree.h"

namespace nexa::host {

enum class ImageKind : std::uint8_t {
  kLeaf,       // a leaf, or one entry of a leaf-list
  kAny,        // anydata, anyxml
  kContainer,  // also the root of a tree, whose schema is null
  kEntry,      // of a list
  kGroup,      // all entries of one list or leaf-list
};

// How the text of a leaf becomes JSON (RFC 7951, section 6).
enum class ScalarForm : std::uint8_t {
  kString,    // quoted
  kBare,      // a number that fits, true, false
  kIdentity,  // "module:name"; quoted
  kEmpty,     // [null]
};

class ImageLeaf;
class ImageAny;
class ImageInner;
class ImageGroup;

class ImageNode {
 public:
  ImageNode(const ImageNode&) = delete;
  ImageNode& operator=(const ImageNode&) = delete;

  ImageKind kind() const { return kind_; }
  const lysc_node* schema() const { return schema_; }  // of a group: of its entries
  // Leaf, leaf-list entry: the value is the schema's. Container without presence: nothing in it was
  // configured. Others: never.
  bool is_default() const { return is_default_; }

  const ImageLeaf& leaf() const;    // kLeaf
  const ImageAny& any() const;      // kAny
  const ImageInner& inner() const;  // kContainer, kEntry
  const ImageGroup& group() const;  // kGroup

  void retain() const { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() const {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) destroy(this);
  }
  // Only the holder has it, so that it may be changed in place. For those who make trees.
  bool is_own() const { return references_.load(std::memory_order_acquire) == 1; }

 protected:
  ImageNode(ImageKind kind, bool is_default, const lysc_node* schema)
      : schema_(schema), kind_(kind), is_default_(is_default) {}
  ~ImageNode() = default;

  const lysc_node* schema_;
  mutable std::atomic<std::uint32_t> references_{1};
  ImageKind kind_;
  bool is_default_;

 private:
  static void destroy(const ImageNode* node);
};

// Holds one reference. Null is no node.
template <typename Node>
class ImageRef {
 public:
  ImageRef() = default;
  ImageRef(std::nullptr_t) {}                                // NOLINT(google-explicit-constructor)
  explicit ImageRef(const Node* adopted) : node_(adopted) {}  // takes over the reference
  ImageRef(const ImageRef& other) : node_(other.node_) {
    if (node_ != nullptr) node_->retain();
  }
  ImageRef(ImageRef&& other) noexcept : node_(std::exchange(other.node_, nullptr)) {}
  template <typename Other>
  ImageRef(ImageRef<Other> other) : node_(other.detach()) {}  // NOLINT: to the base
  ImageRef& operator=(ImageRef other) noexcept {
    std::swap(node_, other.node_);
    return *this;
  }
  ~ImageRef() {
    if (node_ != nullptr) node_->release();
  }

  static ImageRef share(const Node* node) {
    if (node != nullptr) node->retain();
    return ImageRef(node);
  }
  const Node* get() const { return node_; }
  const Node* detach() { return std::exchange(node_, nullptr); }
  const Node& operator*() const { return *node_; }
  const Node* operator->() const { return node_; }
  explicit operator bool() const { return node_ != nullptr; }

 private:
  const Node* node_ = nullptr;
};

using ImagePtr = ImageRef<ImageInner>;  // a whole tree: its root

class ImageLeaf : public ImageNode {
 public:
  // libyang's canonical text: identities and instance identifiers with module names.
  std::string_view text() const { return {reinterpret_cast<const char*>(this + 1), size_}; }
  ScalarForm form() const { return form_; }

  static ImageRef<ImageLeaf> make(const lysc_node* schema, std::string_view text, ScalarForm form,
                                  bool is_default);
  // The value of a libyang leaf.
  static ImageRef<ImageLeaf> make(const lyd_node* leaf);

 private:
  friend class ImageNode;
  ImageLeaf(const lysc_node* schema, std::uint32_t size, ScalarForm form, bool is_default)
      : ImageNode(ImageKind::kLeaf, is_default, schema), form_(form), size_(size) {}

  ScalarForm form_;
  std::uint32_t size_;  // the text follows the object, with a null character behind it
};

class ImageAny : public ImageNode {
 public:
  // A copy of the libyang node, linked nowhere. Read only.
  const lyd_node* node() const { return node_.get(); }
  // The element as XML, in one line.
  const std::string& xml() const { return xml_; }

  static ImageRef<ImageAny> make(const lyd_node* any);

 private:
  friend class ImageNode;
  ImageAny(const lysc_node* schema, TreePtr node, std::string xml);

  TreePtr node_;
  std::string xml_;
};

// A container, an entry, or the root.
class ImageInner : public ImageNode {
 public:
  // Leafs, containers, groups and anydata, in the order of the schema; at the top level modules in
  // the order of the context.
  const std::vector<ImageRef<ImageNode>>& children() const { return children_; }
  const ImageNode* find(const lysc_node* schema) const;  // null when there is none
  // The whole text of an entry's keys as a group knows it; empty for others.
  std::string_view key() const { return key_; }
  // Place among the entries of its group.
  std::uint64_t order() const { return order_; }

  static ImageRef<ImageInner> make(const lysc_node* schema, bool is_default,
                                   std::vector<ImageRef<ImageNode>> children);

 private:
  friend class ImageNode;
  friend class ImageGroup;
  friend class ImageEdit;
  ImageInner(ImageKind kind, const lysc_node* schema, bool is_default)
      : ImageNode(kind, is_default, schema) {}

  std::vector<ImageRef<ImageNode>> children_;
  std::string key_;
  std::uint64_t order_ = 0;
};

}  // namespace nexa::host

#endif  // HOST_STORE_IMAGE_H_

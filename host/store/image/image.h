// The configuration as one commit left it, for everybody who reads: an immutable tree with the
// defaults in it. A commit makes a new tree that shares all that it did not change with the one
// before, so any number of threads read any number of states without a lock, and nobody waits.
//
// Nodes stand for instances of the loaded schema (number_schema() first). The children of a
// container or an entry are ordered by the schema; all entries of a list or leaf-list hang below
// one group (image_group.h), which keeps their order and finds them by key. Counts of references
// are atomic; nothing else in a node changes once a tree that holds it is published.
#ifndef HOST_STORE_IMAGE_IMAGE_H_
#define HOST_STORE_IMAGE_IMAGE_H_

#include <atomic>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/image/schema_order.h"
#include "store/tree.h"

namespace nexa::store {

enum class ImageKind : std::uint8_t {
  kLeaf,   // a leaf, or one entry of a leaf-list
  kAny,    // anydata, anyxml
  kInner,  // a container, an entry of a list, or the root of a tree, whose schema is null
  kGroup,  // all entries of one list or leaf-list
};

// How the text of a leaf becomes JSON (RFC 7951, section 6).
enum class ScalarForm : std::uint8_t {
  kString,    // quoted
  kBare,      // a number of at most 32 bits, true, false
  kIdentity,  // "module:name", quoted
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
  // Leaf, leaf-list entry: nobody configured it, its value is the schema's. Container without
  // presence: nothing in it was configured. Others: never.
  bool is_default() const { return is_default_; }

  // Of the kind that the name says; nothing is checked.
  inline const ImageLeaf& leaf() const;
  inline const ImageAny& any() const;
  inline const ImageInner& inner() const;
  inline const ImageGroup& group() const;

  void retain() const { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() const {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) destroy(this);
  }
  // Only the holder has it: who makes a tree may change it in place.
  bool is_own() const { return references_.load(std::memory_order_acquire) == 1; }

 protected:
  ImageNode(ImageKind kind, bool is_default, const lysc_node* schema)
      : schema_(schema), kind_(kind), is_default_(is_default) {}
  ~ImageNode() = default;

  const lysc_node* const schema_;
  mutable std::atomic<std::uint32_t> references_{1};
  const ImageKind kind_;
  bool is_default_ : 1;
  ScalarForm form_ : 3 = ScalarForm::kString;  // of a leaf
  std::uint16_t size_ = 0;                     // bytes of a leaf's text, children of an inner node

 private:
  static void destroy(const ImageNode* node);
};

// Holds one reference; null is no node. Copies share the node.
template <typename Node>
class ImageRef {
 public:
  ImageRef() = default;
  ImageRef(std::nullptr_t) {}  // NOLINT(google-explicit-constructor)
  ImageRef(const ImageRef& other) : node_(other.node_) {
    if (node_ != nullptr) node_->retain();
  }
  ImageRef(ImageRef&& other) noexcept : node_(std::exchange(other.node_, nullptr)) {}
  // To the base class.
  template <typename Other>
  ImageRef(ImageRef<Other> other) : node_(other.detach()) {}  // NOLINT(google-explicit-constructor)
  ImageRef& operator=(ImageRef other) noexcept {
    std::swap(node_, other.node_);
    return *this;
  }
  ~ImageRef() {
    if (node_ != nullptr) node_->release();
  }

  // Takes over a reference that the caller has.
  static ImageRef adopt(const Node* node) {
    ImageRef made;
    made.node_ = node;
    return made;
  }
  static ImageRef share(const Node* node) {
    if (node != nullptr) node->retain();
    return adopt(node);
  }
  const Node* get() const { return node_; }
  const Node* detach() { return std::exchange(node_, nullptr); }
  const Node& operator*() const { return *node_; }
  const Node* operator->() const { return node_; }
  explicit operator bool() const { return node_ != nullptr; }

 private:
  const Node* node_ = nullptr;
};

using ImageSlot = ImageRef<ImageNode>;
using ImagePtr = ImageRef<ImageInner>;  // a whole tree: its root, never null where a tree is meant

// Its text follows the object in memory.
class ImageLeaf final : public ImageNode {
 public:
  // libyang's canonical text: identities and instance identifiers with module names. A null
  // character follows it.
  std::string_view text() const {
    const char* const begin = reinterpret_cast<const char*>(this + 1);
    if (size_ != kLong) return {begin, size_};
    std::size_t size = 0;
    __builtin_memcpy(&size, begin, sizeof(size));
    return {begin + sizeof(size), size};
  }
  ScalarForm form() const { return form_; }

  // Short values that are asked for again and again are one node. Any thread.
  static ImageRef<ImageLeaf> make(const lysc_node* schema, std::string_view text, ScalarForm form,
                                  bool is_default);
  // A default; shared by all who ask for the same. Any thread.
  static ImageRef<ImageLeaf> make_default(const lysc_node* schema, std::string_view text,
                                          ScalarForm form);
  // The value of a libyang leaf or leaf-list entry, with its default flag.
  static ImageRef<ImageLeaf> make(const lyd_node* leaf);

 private:
  friend class ImageNode;
  static constexpr std::uint16_t kLong = 0xFFFF;  // the size stands before the text

  static ImageRef<ImageLeaf> make_new(const lysc_node* schema, std::string_view text,
                                      ScalarForm form, bool is_default);
  ImageLeaf(const lysc_node* schema, ScalarForm form, bool is_default)
      : ImageNode(ImageKind::kLeaf, is_default, schema) {
    form_ = form;
  }
};

class ImageAny final : public ImageNode {
 public:
  // A copy of the libyang node, linked nowhere. Only to be read.
  const lyd_node* node() const { return node_.get(); }
  // The element as XML, in one line.
  const std::string& xml() const { return xml_; }
  // The content as JSON, where the XML alone does not tell it; empty otherwise.
  const std::string& json() const { return json_; }

  static ImageRef<ImageAny> make(const lyd_node* any);

 private:
  friend class ImageNode;
  ImageAny(const lysc_node* schema, TreePtr node, std::string xml, std::string json)
      : ImageNode(ImageKind::kAny, false, schema),
        node_(std::move(node)),
        xml_(std::move(xml)),
        json_(std::move(json)) {}

  TreePtr node_;
  std::string xml_;
  std::string json_;
};

// A container, an entry, or the root. Its children follow the object in memory.
class ImageInner final : public ImageNode {
 public:
  // Leafs, containers, groups and anydata in the order of the schema.
  std::span<const ImageSlot> children() const {
    return {reinterpret_cast<const ImageSlot*>(this + 1), size_};
  }
  // The child of a schema node (its group, if it has several instances); null when there is none.
  const ImageNode* find(const lysc_node* schema) const;

  // `children` in the order of the schema, at most 65,535.
  static ImagePtr make(const lysc_node* schema, bool is_default, std::vector<ImageSlot> children);

 private:
  friend class ImageNode;
  friend struct ImageDraft;
  ImageInner(const lysc_node* schema, bool is_default)
      : ImageNode(ImageKind::kInner, is_default, schema) {}
  ImageSlot* slots() { return reinterpret_cast<ImageSlot*>(this + 1); }
};

// How a value of libyang's is written.
ScalarForm scalar_form(const lyd_value& value);

// The way from a top-level node down to one that is meant: entries, not their groups.
using ImageChain = std::vector<const ImageNode*>;

// The tree without any node.
ImagePtr empty_image();

// Whether two nodes of one schema node have the same value, or the same content below them, the
// default flags included. Shared parts cost nothing.
bool same_image(const ImageNode& left, const ImageNode& right);

// Data nodes in a tree: each leaf, entry and container counts one.
std::size_t count_nodes(const ImageNode& node);

inline const ImageLeaf& ImageNode::leaf() const { return static_cast<const ImageLeaf&>(*this); }
inline const ImageAny& ImageNode::any() const { return static_cast<const ImageAny&>(*this); }
inline const ImageInner& ImageNode::inner() const { return static_cast<const ImageInner&>(*this); }

}  // namespace nexa::store

#include "store/image/image_group.h"

#endif  // HOST_STORE_IMAGE_IMAGE_H_

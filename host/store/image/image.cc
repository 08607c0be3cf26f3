// Nodes are allocated with what follows them in memory, so that a leaf is one small block.
#include "store/image/image.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>

#include "store/image/shared_leafs.h"
#include "store/image/union_value.h"

namespace nexa::store {
namespace {

bool same_group(const ImageGroup& left, const ImageGroup& right) {
  if (left.size() != right.size()) return false;
  bool same = true;
  left.each_difference(right, [&same](const GroupEntry* mine, const GroupEntry* others) {
    same = same && mine != nullptr && others != nullptr && mine->order == others->order &&
           same_image(*mine->node, *others->node);
  });
  return same;
}

bool same_inner(const ImageInner& left, const ImageInner& right) {
  const auto others = right.children();
  return std::equal(left.children().begin(), left.children().end(), others.begin(), others.end(),
                    [](const ImageSlot& one, const ImageSlot& other) {
                      return one->schema() == other->schema() && same_image(*one, *other);
                    });
}

// One leaf for all places of a tree, and all trees, where its default is in use.
class SharedDefaults {
 public:
  ImageRef<ImageLeaf> get(const lysc_node* schema, std::string_view text, ScalarForm form) {
    const std::uint32_t number = schema_number(schema);
    const std::lock_guard<std::mutex> lock(mutex_);
    if (generation_ != schema_generation()) {
      generation_ = schema_generation();
      leafs_.clear();
    }
    if (leafs_.size() <= number) leafs_.resize(number + 1);
    ImageRef<ImageLeaf>& leaf = leafs_[number];
    const bool is_same =
        leaf && leaf->schema() == schema && leaf->form() == form && leaf->text() == text;
    // A leaf-list has several defaults: the last one asked for is shared.
    if (!is_same) leaf = ImageLeaf::make(schema, text, form, true);
    return leaf;
  }

 private:
  std::mutex mutex_;
  std::uint64_t generation_ = 0;
  std::vector<ImageRef<ImageLeaf>> leafs_;  // by number of their schema node
};

}  // namespace

void ImageNode::destroy(const ImageNode* node) {
  switch (node->kind()) {
    case ImageKind::kLeaf:
      static_cast<const ImageLeaf*>(node)->~ImageLeaf();
      ::operator delete(const_cast<ImageNode*>(node));
      return;
    case ImageKind::kInner: {
      auto* const inner = const_cast<ImageInner*>(static_cast<const ImageInner*>(node));
      std::destroy_n(inner->slots(), inner->size_);
      inner->~ImageInner();
      ::operator delete(inner);
      return;
    }
    case ImageKind::kAny:
      delete static_cast<const ImageAny*>(node);
      return;
    case ImageKind::kGroup:
      delete static_cast<const ImageGroup*>(node);
      return;
  }
}

ImageRef<ImageLeaf> ImageLeaf::make(const lysc_node* schema, std::string_view text, ScalarForm form,
                                    bool is_default) {
  static SharedLeafs shared;
  if (is_default || !SharedLeafs::may_hold(schema, text)) {
    return make_new(schema, text, form, is_default);
  }
  return shared.get(schema, text, form, [&] { return make_new(schema, text, form, false); });
}

ImageRef<ImageLeaf> ImageLeaf::make_new(const lysc_node* schema, std::string_view text,
                                        ScalarForm form, bool is_default) {
  const bool is_long = text.size() >= kLong;
  const std::size_t size = text.size();
  const std::size_t head = is_long ? sizeof(size) : 0;
  void* const memory = ::operator new(sizeof(ImageLeaf) + head + size + 1);
  auto* const leaf = new (memory) ImageLeaf(schema, form, is_default);
  leaf->size_ = is_long ? kLong : static_cast<std::uint16_t>(size);
  char* const begin = reinterpret_cast<char*>(leaf + 1);
  if (is_long) std::memcpy(begin, &size, sizeof(size));
  std::memcpy(begin + head, text.data(), size);
  begin[head + size] = '\0';
  return ImageRef<ImageLeaf>::adopt(leaf);
}

ScalarForm scalar_form(const lyd_value& value) {
  switch (value.realtype->basetype) {
    case LY_TYPE_UNION:
      // A member of a union is no union: libyang flattens them.
      return scalar_form(value.subvalue->value);
    case LY_TYPE_EMPTY:
      return ScalarForm::kEmpty;
    case LY_TYPE_IDENT:
      return ScalarForm::kIdentity;
    case LY_TYPE_BOOL:
    case LY_TYPE_INT8:
    case LY_TYPE_INT16:
    case LY_TYPE_INT32:
    case LY_TYPE_UINT8:
    case LY_TYPE_UINT16:
    case LY_TYPE_UINT32:
      return ScalarForm::kBare;
    case LY_TYPE_INT64:
    case LY_TYPE_UINT64:
    case LY_TYPE_UNKNOWN:
    case LY_TYPE_BINARY:
    case LY_TYPE_STRING:
    case LY_TYPE_BITS:
    case LY_TYPE_DEC64:
    case LY_TYPE_ENUM:
    case LY_TYPE_INST:
    case LY_TYPE_LEAFREF:
      break;
  }
  return ScalarForm::kString;
}

ImageRef<ImageLeaf> ImageLeaf::make(const lyd_node* leaf) {
  const lyd_value& value = reinterpret_cast<const lyd_node_term*>(leaf)->value;
  const std::string_view text = lyd_get_value(leaf);
  if ((leaf->flags & LYD_DEFAULT) == 0) return make(leaf->schema, text, scalar_form(value), false);
  return make_default(leaf->schema, text, scalar_form(value));
}

ImageRef<ImageLeaf> ImageLeaf::make_default(const lysc_node* schema, std::string_view text,
                                            ScalarForm form) {
  static SharedDefaults shared;
  return shared.get(schema, text, form);
}

ImageRef<ImageAny> ImageAny::make(const lyd_node* any) {
  lyd_node* copy = nullptr;
  if (lyd_dup_single(any, nullptr, LYD_DUP_NO_META | LYD_DUP_WITH_FLAGS, &copy) != LY_SUCCESS) {
    throw std::bad_alloc();
  }
  TreePtr node(copy);
  char* printed = nullptr;
  const LY_ERR done = lyd_print_mem(&printed, copy, LYD_XML, LYD_PRINT_SHRINK);
  const TextPtr text(printed);
  if (done != LY_SUCCESS || printed == nullptr) throw std::bad_alloc();
  std::string xml(printed);
  std::string json;
  if (const lyd_meta* const mark = json_text_mark(any)) {
    json = lyd_get_meta_value(mark);
    add_json_text(json, xml);
    if (lyd_dup_meta_single(mark, copy, nullptr) != LY_SUCCESS) throw std::bad_alloc();
  }
  return ImageRef<ImageAny>::adopt(
      new ImageAny(any->schema, std::move(node), std::move(xml), std::move(json)));
}

ImagePtr ImageInner::make(const lysc_node* schema, bool is_default,
                          std::vector<ImageSlot> children) {
  void* const memory = ::operator new(sizeof(ImageInner) + children.size() * sizeof(ImageSlot));
  auto* const inner = new (memory) ImageInner(schema, is_default);
  std::uninitialized_move(children.begin(), children.end(), inner->slots());
  inner->size_ = static_cast<std::uint16_t>(children.size());
  return ImagePtr::adopt(inner);
}

const ImageNode* ImageInner::find(const lysc_node* schema) const {
  for (const ImageSlot& child : children()) {
    if (child->schema() == schema) return child.get();
  }
  return nullptr;
}

ImagePtr empty_image() { return ImageInner::make(nullptr, false, {}); }

bool same_image(const ImageNode& left, const ImageNode& right) {
  if (&left == &right) return true;
  if (left.is_default() != right.is_default()) return false;
  switch (left.kind()) {
    case ImageKind::kLeaf:
      return left.leaf().form() == right.leaf().form() && left.leaf().text() == right.leaf().text();
    case ImageKind::kAny:
      return left.any().xml() == right.any().xml();
    case ImageKind::kInner:
      return same_inner(left.inner(), right.inner());
    case ImageKind::kGroup:
      return same_group(left.group(), right.group());
  }
  return false;
}

std::size_t count_nodes(const ImageNode& node) {
  std::size_t count = 0;
  if (node.kind() == ImageKind::kGroup) {
    node.group().each([&count](const GroupEntry& entry) { count += count_nodes(*entry.node); });
    return count;
  }
  if (node.kind() == ImageKind::kInner) {
    for (const ImageSlot& child : node.inner().children()) count += count_nodes(*child);
  }
  return count + (node.schema() != nullptr ? 1 : 0);
}

}  // namespace nexa::store

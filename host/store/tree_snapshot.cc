// Joins which nodes a path names with how their values are written.
#include "store/tree_snapshot.h"

#include "store/change.h"
#include "store/image/image_difference.h"
#include "store/image/image_import.h"
#include "store/image/image_xml.h"
#include "store/reading/change_walk.h"
#include "store/reading/selection.h"
#include "store/reading/typed_value.h"
#include "store/unbound_names.h"
#include "store/validation/violation_text.h"
#include "text/display.h"

namespace nexa::store {
namespace {

constexpr char kNoElement[] = "the document has no top element";

class ParsedState : public StateTree {
 public:
  explicit ParsedState(ImagePtr image) : image_(std::move(image)) {}
  const ImageInner* top() const { return image_.get(); }

 private:
  ImagePtr image_;
};

const ImageInner* top_of(const StateTree* state) {
  return state == nullptr ? nullptr : static_cast<const ParsedState*>(state)->top();
}

ValueForm form_of(const Query& query, DataPart part) {
  return {part,
          query.encoding,
          query.target.path.elem().empty() ? query.encoding != gnmi::JSON
                                           : query.target.qualifies_names(),
          query.models.get(),
          &query.wanted,
          query.depth};
}

bool is_identity(const lysc_node& list, const std::string& key) {
  const lysc_node* const leaf =
      list.nodetype == LYS_LIST ? lys_find_child(&list, list.module, key.c_str(), 0, LYS_LEAF, 0)
                                : &list;
  const lysc_type* const type = leaf != nullptr ? type_of(leaf) : nullptr;
  if (type == nullptr) return false;
  return type->basetype == LY_TYPE_LEAFREF
             ? reinterpret_cast<const lysc_type_leafref*>(type)->realtype->basetype == LY_TYPE_IDENT
             : type->basetype == LY_TYPE_IDENT;
}

// Whether everything on the way to the node is of the models, identities among the keys included.
bool is_of_models(const model::ModelSet& models, const lysc_node& schema, const gnmi::Path& path) {
  if (!models.has_way_to(&schema)) return false;
  int at = path.elem_size();
  for (const lysc_node* node = &schema; node != nullptr && at > 0; node = lysc_data_parent(node)) {
    for (const auto& [name, value] : path.elem(--at).key()) {
      const bool is_outside = value.find(':') != std::string::npos && is_identity(*node, name) &&
                              !models.has_identity(value);
      if (is_outside) return false;
    }
  }
  return true;
}

// Writes values as nodes are found.
class Writer {
 public:
  Writer(const Query& query, const ValueSink& sink)
      : query_(query), sink_(sink), form_(form_of(query, query.part)) {}

  void whole_tree(const PairLevel& top, gnmi::Path& path) {
    if (query_.form == Form::kLeaves) {
      for_each_leaf_of_tree(top, form_, sink_);
    } else {
      give_tree(top, path, form_, sink_);
    }
  }

  void found(const NodePair& node, gnmi::Path& path) {
    if (form_.models != nullptr && !is_of_models(*form_.models, *node.any()->schema(), path))
      return;
    if (query_.form == Form::kLeaves) {
      for_each_leaf(node, path, form_, sink_);
    } else {
      give_value(node, path, form_, sink_);
    }
  }

 private:
  const Query& query_;
  const ValueSink& sink_;
  const ValueForm form_;
};

void write_changes(const Query& query, const ImageInner* before, const ImageInner* after,
                   const ChangeForm& form, const ChangeSink& sink) {
  select_differing(query.target, before, after,
                   [&](const NodePair& node, gnmi::Path& path, const ImageChain& way) {
                     if (node.any() == nullptr) {
                       for_each_change_of_tree(before, after, form, sink);
                       return;
                     }
                     const model::ModelSet* const models = form.value.models;
                     if (models != nullptr && !is_of_models(*models, *node.any()->schema(), path))
                       return;
                     ImageChain chain = way;
                     for_each_change(node, path, chain, form, sink);
                   });
}

void visit_level(const ImageInner* before, const ImageInner* after, ChangeVisitor& visitor,
                 EntryKeys& keys) {
  each_child_difference(before, after, [&](const NodeDifference& difference) {
    const ImageNode* const shown = difference.after ? difference.after : difference.before;
    if (shown == nullptr) return;
    const ImageNode& node = *shown;
    // The order of a leaf-list is part of its value; that of a list's entries no reader sees.
    const bool has_moved = difference.before == difference.after;
    if (has_moved && node.schema()->nodetype != LYS_LEAFLIST) return;
    keys.clear();
    if (node.schema()->nodetype == LYS_LEAFLIST) {
      keys.emplace_back(node.schema(), node.leaf().text());
    } else if (node.schema()->nodetype == LYS_LIST) {
      for (const ImageSlot& key : node.inner().children()) {
        if (!lysc_is_key(key->schema())) break;
        keys.emplace_back(key->schema(), key->leaf().text());
      }
    }
    if (!visitor.enter(node.schema(), keys)) return;
    if (node.kind() == ImageKind::kInner) {
      visit_level(static_cast<const ImageInner*>(difference.before),
                  static_cast<const ImageInner*>(difference.after), visitor, keys);
    }
    visitor.leave();
  });
}

}  // namespace

grpc::Status TreeSnapshot::read_changes(const Query& query, const Snapshot& since,
                                        const StateSource& state, const ChangeSink& sink) const {
  const ChangeForm form{form_of(query, DataPart::kConfig),
                        [&state] { return state ? top_of(state()) : nullptr; }};
  write_changes(query, &static_cast<const TreeSnapshot&>(since).root(), image_.get(), form, sink);
  return grpc::Status::OK;
}

grpc::Status TreeSnapshot::read_state_changes(const Query& query, const StateTree* since,
                                              const StateTree* now, const ChangeSink& sink) const {
  const ChangeForm form{form_of(query, DataPart::kState), [this] { return image_.get(); }};
  write_changes(query, top_of(since), top_of(now), form, sink);
  return grpc::Status::OK;
}

void TreeSnapshot::visit_changes(const Snapshot& since, ChangeVisitor& visitor) const {
  EntryKeys keys;
  visit_level(&static_cast<const TreeSnapshot&>(since).root(), image_.get(), visitor, keys);
}

grpc::Status TreeSnapshot::read(const Query& query, const StateTree* state,
                                const ValueSink& sink) const {
  const ImageInner* const data = query.part != DataPart::kConfig ? top_of(state) : nullptr;
  const model::StateMirror* const mirror = query.part != DataPart::kConfig ? mirror_ : nullptr;
  Writer writer(query, sink);
  const auto found = [&](const NodePair& node, gnmi::Path& path) {
    if (node.any() == nullptr) {
      writer.whole_tree({image_.get(), data, mirror}, path);
    } else {
      writer.found(node, path);
    }
  };
  select_nodes(query.target, image_.get(), data, found, LeafLists::kWhole, mirror);
  return grpc::Status::OK;
}

std::string TreeSnapshot::xml() const { return configuration_xml(*image_); }

std::shared_ptr<const StateTree> state_tree_of(ImagePtr image) {
  return std::make_shared<ParsedState>(std::move(image));
}

const ImageInner& image_of_state(const StateTree& tree) {
  return *static_cast<const ParsedState&>(tree).top();
}

text::Result<std::shared_ptr<const StateTree>> parse_state_tree(std::string_view xml) {
  const std::string_view inner = inner_xml(xml);
  if (inner.data() == nullptr) {
    return text::Failure{grpc::StatusCode::INVALID_ARGUMENT, "", kNoElement};
  }
  if (inner.empty()) return state_tree_of(empty_image());
  if (const std::string name = unbound_name(inner); !name.empty()) {
    const bool has_prefix = name.find(':') != std::string::npos;
    return text::Failure{
        grpc::StatusCode::INVALID_ARGUMENT, text::quoted(name),
        has_prefix ? "the prefix stands for no namespace" : "the element stands in no namespace"};
  }
  ly_err_clean(const_cast<ly_ctx*>(kestrel::context()), nullptr);
  lyd_node* parsed = nullptr;
  const LY_ERR done = lyd_parse_data_mem(kestrel::context(), std::string(inner).c_str(), LYD_XML,
                                         LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &parsed);
  TreePtr tree(parsed);
  if (done != LY_SUCCESS) return stored_violation(kestrel::context(), nullptr).failure();
  return state_tree_of(image_of_tree(tree.get()));
}

}  // namespace nexa::store

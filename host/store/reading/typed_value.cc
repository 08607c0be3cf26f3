// Values are written straight into the message that carries them.
#include "store/reading/typed_value.h"

#include <string_view>

#include "store/image/schema_texts.h"
#include "store/reading/ascii_text.h"
#include "store/reading/json_value.h"
#include "store/reading/native_value.h"
#include "store/reading/wanted.h"

namespace nexa::store {
namespace {

bool set_json(const NodePair& node, const ValueForm& form, gnmi::TypedValue& value) {
  return append_value(
      node, json_form(form),
      form.encoding == gnmi::JSON ? *value.mutable_json_val() : *value.mutable_json_ietf_val());
}

// The value of a leaf, of a leaf-list or of anydata.
bool set_native(const NodePair& node, const ValueForm& form, gnmi::TypedValue& value) {
  const JsonForm filter = json_form(form);
  const SchemaText& text = SchemaTexts::current().of(node.any()->schema());
  if (node.any()->kind() == ImageKind::kAny) return set_json(node, form, value);
  if (!may_hold_wanted(filter, text, node.any()->schema())) return false;
  if (node.any()->kind() == ImageKind::kLeaf) {
    const ImageLeaf& leaf = pick(node, text.is_config).leaf();
    if (!is_wanted_value(filter, leaf)) return false;
    set_native_value(leaf, value);
    return true;
  }
  gnmi::ScalarArray& entries = *value.mutable_leaflist_val();
  each_entry(node, [&](const NodePair& entry) {
    const ImageLeaf& leaf = pick(entry, text.is_config).leaf();
    if (is_wanted_value(filter, leaf)) set_native_value(leaf, *entries.add_element());
  });
  return entries.element_size() > 0;
}

class LeafWalk {
 public:
  LeafWalk(gnmi::Path& path, const ValueForm& form, const ValueSink& sink)
      : texts_(SchemaTexts::current()),
        path_(path),
        form_(form),
        filter_(json_form(form)),
        left_(form.depth),
        sink_(sink) {}

  void level(const PairLevel& at) {
    each_child(at, [&](const NodePair& node) { visit(node); });
  }

  void give(const NodePair& node) {
    if (!is_wanted_leaf(form_, node.any()->schema())) return;
    gnmi::TypedValue value;
    if (!set_leaf(node, value)) return;
    gnmi::Path path = path_;
    sink_(path, value);
  }

 private:
  bool set_leaf(const NodePair& node, gnmi::TypedValue& value) const {
    if (form_.encoding == gnmi::PROTO) return set_native(node, form_, value);
    if (form_.encoding != gnmi::ASCII) return set_json(node, form_, value);
    return append_ascii_value(node, filter_, *value.mutable_ascii_val());
  }

  void visit(const NodePair& node) {
    const SchemaText& text = texts_.of(node.any()->schema());
    if (!may_hold_wanted(filter_, text, node.any()->schema())) return;
    if (text.is_inner && !left_.shows_inner()) return;
    gnmi::PathElem& element = *path_.add_elem();
    const bool qualify = (form_.qualify_names && text.changes_module) || text.shares_name;
    const std::string_view name = text.path_name(qualify);
    element.set_name(name.data(), name.size());
    if (text.is_inner) {
      inner(node, element);
    } else {
      give(node);
    }
    path_.mutable_elem()->RemoveLast();
  }

  void inner(const NodePair& node, gnmi::PathElem& element) {
    const LevelsLeft::Descent deeper(left_);
    if (node.any()->kind() == ImageKind::kInner) return level(PairLevel::below(node));
    each_entry(node, [&](const NodePair& entry) {
      if (!shows_keys(filter_, entry.any()->inner())) return;
      set_entry_keys(entry.any()->inner(), element);
      level(PairLevel::below(entry));
    });
  }

  const SchemaTexts& texts_;
  gnmi::Path& path_;
  const ValueForm form_;
  const JsonForm filter_;
  LevelsLeft left_;
  const ValueSink& sink_;
};

}  // namespace

JsonForm json_form(const ValueForm& form) {
  return {form.part, form.encoding != gnmi::JSON, form.models, form.depth};
}

void set_entry_keys(const ImageInner& entry, gnmi::PathElem& element) {
  for (const ImageSlot& key : entry.children()) {
    if (!lysc_is_key(key->schema())) return;
    (*element.mutable_key())[key->schema()->name] = key->leaf().text();
  }
}

void give_value(const NodePair& node, gnmi::Path& path, const ValueForm& form,
                const ValueSink& sink) {
  const NodePair asked = wanted(node, form.part);
  if (asked.any() == nullptr) return;
  gnmi::TypedValue value;
  bool has_value = false;
  switch (form.encoding) {
    case gnmi::PROTO:
      return for_each_leaf(asked, path, form, sink);
    case gnmi::ASCII:
      has_value = append_ascii_value(asked, json_form(form), *value.mutable_ascii_val());
      break;
    default:
      has_value = set_json(asked, form, value);
  }
  if (has_value) sink(path, value);
}

void give_tree(const PairLevel& top, gnmi::Path& path, const ValueForm& form,
               const ValueSink& sink) {
  const PairLevel asked = wanted(top, form.part);
  gnmi::TypedValue value;
  bool has_value = false;
  switch (form.encoding) {
    case gnmi::PROTO:
      return for_each_leaf_of_tree(asked, form, sink);
    case gnmi::ASCII:
      has_value = append_ascii_tree(asked, json_form(form), *value.mutable_ascii_val());
      break;
    case gnmi::JSON:
      has_value = append_tree(asked, json_form(form), *value.mutable_json_val());
      break;
    default:
      has_value = append_tree(asked, json_form(form), *value.mutable_json_ietf_val());
  }
  if (has_value) sink(path, value);
}

void for_each_leaf(const NodePair& node, gnmi::Path& path, const ValueForm& form,
                   const ValueSink& sink) {
  const NodePair asked = wanted(node, form.part);
  if (asked.any() == nullptr) return;
  LeafWalk walk(path, form, sink);
  if (asked.any()->kind() == ImageKind::kInner) {
    walk.level(PairLevel::below(asked));
  } else {
    walk.give(asked);
  }
}

void for_each_leaf_of_tree(const PairLevel& top, const ValueForm& form, const ValueSink& sink) {
  gnmi::Path path;
  LeafWalk(path, form, sink).level(wanted(top, form.part));
}

}  // namespace nexa::store

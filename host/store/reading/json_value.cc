// Prints straight from the images. What turns out to be empty is cut off again, so nothing is
// looked at twice.
#include "store/reading/json_value.h"

#include <optional>
#include <string_view>

#include "store/image/image_import.h"
#include "store/image/schema_texts.h"
#include "store/node_pairs.h"
#include "store/reading/json_any.h"
#include "store/reading/json_scalar.h"
#include "store/reading/wanted.h"

namespace nexa::store {
namespace {

class Printer {
 public:
  Printer(const JsonForm& form, std::string& json)
      : texts_(SchemaTexts::current()), form_(form), left_(form.depth), json_(json) {}

  // A node that stands for itself: the names below it carry their modules.
  bool value(const NodePair& node) { return content(node, texts_.of(node.any()->schema()), true); }

  // The members of a level; `is_top`: at the top of a value.
  bool members(const PairLevel& level, bool is_top) {
    json_ += '{';
    bool is_first = true;
    each_child(level, [&](const NodePair& node) { member(node, is_top, is_first); });
    json_ += '}';
    return !is_first;
  }

 private:
  // Nothing is appended when nothing of the part is there.
  bool content(const NodePair& node, const SchemaText& text, bool is_top) {
    if (!may_hold_wanted(form_, text, node.any()->schema())) return false;
    switch (node.any()->kind()) {
      case ImageKind::kLeaf:
        return scalar(pick(node, text.is_config).leaf());
      case ImageKind::kAny:
        any(pick(node, text.is_config).any());
        return true;
      case ImageKind::kInner:
        return object(node, text, is_top);
      case ImageKind::kGroup:
        return array(node, text);
    }
    return false;
  }

  bool scalar(const ImageLeaf& leaf) {
    if (!is_wanted_value(form_, leaf)) return false;
    append_json_scalar(leaf, form_.qualify, json_);
    return true;
  }

  bool array(const NodePair& groups, const SchemaText& text) {
    const std::size_t begin = json_.size();
    json_ += '[';
    bool has_any = false;
    each_entry(groups, [&](const NodePair& entry) {
      const std::size_t before = json_.size();
      if (has_any) json_ += ',';
      if (content(entry, text, false)) {
        has_any = true;
      } else {
        json_.resize(before);
      }
    });
    if (has_any) {
      json_ += ']';
    } else {
      json_.resize(begin);
    }
    return has_any;
  }

  bool object(const NodePair& node, const SchemaText& text, bool is_top) {
    const std::size_t begin = json_.size();
    const PairLevel level = PairLevel::below(node);
    const bool is_entry = !text.is_plain_container && !text.is_presence_container;
    if (is_entry && !shows_keys(form_, node.any()->inner())) return false;
    if (is_entry ? entry(level, text, is_top) : members(level, is_top)) return true;
    // Whether the node itself says something, with nothing below it.
    if (!text.is_plain_container && is_in_part(form_.part, text)) return true;
    json_.resize(begin);
    return false;
  }

  // Keys stand in every entry that is there, whatever the part.
  bool entry(const PairLevel& level, const SchemaText& list, bool is_top) {
    json_ += '{';
    bool is_first = true;
    bool has_more = false;
    bool has_keys = false;
    each_child(level, [&](const NodePair& node) {
      const SchemaText& text = texts_.of(node.any()->schema());
      if (!text.is_key) {
        if (member(node, is_top, is_first)) has_more = true;
        return;
      }
      name(text, is_top, is_first);
      scalar(node.any()->leaf());
      is_first = false;
      has_keys = true;
    });
    json_ += '}';
    const bool keys_are_extra = is_state_part(form_.part) && list.is_config;
    return has_more || (has_keys && !keys_are_extra);
  }

  bool member(const NodePair& node, bool is_top, bool& is_first) {
    const SchemaText& text = texts_.of(node.any()->schema());
    if (!may_hold_wanted(form_, text, node.any()->schema())) return false;
    if (text.is_inner && !left_.shows_inner()) return false;
    const std::size_t before = json_.size();
    name(text, is_top, is_first);
    std::optional<LevelsLeft::Descent> deeper;
    if (text.is_inner) deeper.emplace(left_);
    if (content(node, text, false)) {
      is_first = false;
      return true;
    }
    json_.resize(before);
    return false;
  }

  void name(const SchemaText& text, bool is_top, bool is_first) {
    const bool changes = form_.qualify && (is_top || text.changes_module);
    std::string_view rendered = changes || text.shares_name ? text.qualified : text.bare;
    if (is_first) rendered.remove_prefix(1);
    json_ += rendered;
  }

  void any(const ImageAny& any) {
    if (!any.json().empty()) {
      json_ += any.json();
      return;
    }
    append_json_any(
        any.node(), form_.qualify, [this](const lyd_node* known) { inside(known); }, json_);
  }

  // A node inside anydata; its part was decided with the anydata. The copy may be changed by who
  // asks it for its texts.
  void inside(const lyd_node* known) {
    lyd_node* copy = nullptr;
    lyd_dup_single(known, nullptr, LYD_DUP_RECURSIVE | LYD_DUP_NO_META, &copy);
    const TreePtr owner(copy);
    const ImageSlot image = copy == nullptr ? nullptr : image_of_node(copy);
    const JsonForm all{DataPart::kAll, form_.qualify, form_.models};
    const bool has_value =
        image &&
        Printer(all, json_).content({image.get(), nullptr}, texts_.of(known->schema), false);
    if (!has_value) json_ += "{}";
  }

  const SchemaTexts& texts_;
  const JsonForm form_;
  LevelsLeft left_;
  std::string& json_;
};

}  // namespace

bool append_value(const NodePair& node, const JsonForm& form, std::string& json) {
  const NodePair asked = wanted(node, form.part);
  return asked.any() != nullptr && Printer(form, json).value(asked);
}

bool append_tree(const PairLevel& top, const JsonForm& form, std::string& json) {
  const std::size_t begin = json.size();
  if (Printer(form, json).members(wanted(top, form.part), true)) return true;
  json.resize(begin);
  return false;
}

}  // namespace nexa::store

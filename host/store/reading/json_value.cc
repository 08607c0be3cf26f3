// Prints straight from the trees. What turns out to be empty is cut off again, so nothing is looked
// at twice.
#include "store/reading/json_value.h"

#include <string_view>

#include "store/node_pairs.h"
#include "store/reading/canonical_text.h"
#include "store/reading/json_any.h"
#include "store/reading/json_scalar.h"

namespace nexa::host {
namespace {

bool is_config(const lysc_node* schema) { return (schema->flags & LYS_CONFIG_W) != 0; }
bool is_inner(const lysc_node* schema) {
  return (schema->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0;
}
bool is_leaf(const lysc_node* schema) {
  return (schema->nodetype & (LYS_LEAF | LYS_LEAFLIST)) != 0;
}

// Which trees are asked for a part: only the configuration has configuration to give.
PairLevel wanted(const PairLevel& level, DataPart part) {
  return part == DataPart::kConfig ? PairLevel{level.config, nullptr} : level;
}

// Whether a node without children of its own belongs to the part.
bool is_wanted(const lysc_node* schema, DataPart part) {
  switch (part) {
    case DataPart::kAll:
      return true;
    case DataPart::kConfig:
      return is_config(schema);
    case DataPart::kState:
      return !is_config(schema);
  }
  return true;
}

// Whether the node is of another module than the names around it; null: there are none.
bool changes_module(const lysc_node* schema, const lys_module* module) {
  return module == nullptr || schema->module != module;
}

// Whether another module put the node below its parent, where something else has the same name: the
// module is needed then, whatever the form.
bool is_name_of_two(const lysc_node* schema) {
  const lysc_node* const parent = lysc_data_parent(schema);
  if (parent == nullptr || parent->module == schema->module) return false;
  const lysc_node* other = nullptr;
  while ((other = lys_getnext(other, parent, nullptr, 0)) != nullptr) {
    if (other != schema && std::string_view(other->name) == schema->name) return true;
  }
  return false;
}

class Printer {
 public:
  Printer(const JsonForm& form, std::string& json) : form_(form), json_(json) {}

  bool value(const NodePair& node) {
    const lysc_node* schema = node.any()->schema;
    if (is_leaf(schema)) return leaf(node);
    if (is_inner(schema)) return object(node, nullptr);
    return any(node);
  }

  // The members of a level below nodes of `module` (null: at the top of a value).
  bool members(const PairLevel& level, const lys_module* module) {
    json_ += '{';
    is_first_ = true;
    bool has_any = false;
    each_schema(level, [&](const lysc_node* schema) {
      if (member(level, schema, module)) has_any = true;
    });
    json_ += '}';
    return has_any;
  }

  bool array(const PairLevel& level, const lysc_node* schema) {
    if (!is_inner(schema) && !is_wanted(schema, form_.part)) return false;
    const std::size_t begin = json_.size();
    json_ += '[';
    bool has_any = false;
    each_instance(level, schema, [&](const NodePair& node) {
      const std::size_t before = json_.size();
      if (has_any) json_ += ',';
      if (element(node)) {
        has_any = true;
      } else {
        json_.resize(before);
      }
      return true;
    });
    if (!has_any) {
      json_.resize(begin);
      return false;
    }
    json_ += ']';
    return true;
  }

 private:
  bool element(const NodePair& node) {
    const lysc_node* schema = node.any()->schema;
    return is_inner(schema) ? object(node, schema->module) : leaf(node);
  }

  // A config node's value is the configuration's, if that has one.
  bool leaf(const NodePair& node) {
    const lysc_node* schema = node.any()->schema;
    if (!is_wanted(schema, form_.part)) return false;
    if (form_.part == DataPart::kConfig && node.config == nullptr) return false;
    append_json_scalar(pick(node), form_.qualify, json_);
    return true;
  }

  static const lyd_node* pick(const NodePair& node) {
    if (node.config == nullptr || node.state == nullptr) return node.any();
    return is_config(node.config->schema) ? node.config : node.state;
  }

  bool any(const NodePair& node) {
    if (!is_wanted(node.any()->schema, form_.part)) return false;
    if (form_.part == DataPart::kConfig && node.config == nullptr) return false;
    append_json_any(
        pick(node), form_.qualify, [this](const lyd_node* known) { inside(known); }, json_);
    return true;
  }

  // A node inside anydata; its part was decided with the anydata.
  void inside(const lyd_node* node) {
    const JsonForm all{DataPart::kAll, form_.qualify};
    Printer printer(all, json_);
    const NodePair alone{node, nullptr, false};
    const bool has_value =
        is_inner(node->schema) ? printer.object(alone, node->schema->module) : printer.value(alone);
    if (!has_value) json_ += "{}";
  }

  // `module` is that of the surrounding object's names, null at the top of a value.
  bool object(const NodePair& node, const lys_module* module) {
    const lysc_node* schema = node.any()->schema;
    if (form_.part == DataPart::kConfig && (!is_config(schema) || node.config == nullptr)) {
      return false;
    }
    const std::size_t begin = json_.size();
    const bool has_any = schema->nodetype == LYS_LIST
                             ? entry(wanted(PairLevel::below(node), form_.part), schema, module)
                             : members(wanted(PairLevel::below(node), form_.part), module);
    if (has_any || stands_alone(schema)) return true;
    json_.resize(begin);
    return false;
  }

  // Whether the node itself says something, even with nothing below it.
  bool stands_alone(const lysc_node* schema) const {
    if (schema->nodetype == LYS_CONTAINER && (schema->flags & LYS_PRESENCE) == 0) return false;
    return is_wanted(schema, form_.part);
  }

  // Keys stand in every entry that is there, whatever the part.
  bool entry(const PairLevel& level, const lysc_node* list, const lys_module* module) {
    json_ += '{';
    is_first_ = true;
    bool has_more = false;
    bool has_keys = false;
    const bool keys_are_extra = form_.part == DataPart::kState && is_config(list);
    each_schema(level, [&](const lysc_node* schema) {
      if (lysc_is_key(schema)) {
        name(schema, module);
        append_json_scalar(first_of(level, schema), form_.qualify, json_);
        has_keys = true;
      } else if (member(level, schema, module)) {
        has_more = true;
      }
    });
    json_ += '}';
    return has_more || (has_keys && !keys_are_extra);
  }

  static const lyd_node* first_of(const PairLevel& level, const lysc_node* schema) {
    const lyd_node* const node = first_instance(level.config, schema);
    return node != nullptr ? node : first_instance(level.state, schema);
  }

  bool member(const PairLevel& level, const lysc_node* schema, const lys_module* module) {
    if (!is_inner(schema) && !is_wanted(schema, form_.part)) return false;
    if (form_.part == DataPart::kConfig && !is_config(schema)) return false;
    const std::size_t before = json_.size();
    const bool was_first = is_first_;
    name(schema, module);
    bool has_any = false;
    if ((schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0) {
      has_any = array(level, schema);
    } else {
      each_instance(level, schema, [&](const NodePair& node) {
        has_any = is_inner(schema) ? object(node, schema->module) : value(node);
        return false;
      });
    }
    is_first_ = has_any ? false : was_first;
    if (!has_any) json_.resize(before);
    return has_any;
  }

  void name(const lysc_node* schema, const lys_module* module) {
    if (!is_first_) json_ += ',';
    is_first_ = false;
    json_ += '"';
    if ((form_.qualify && changes_module(schema, module)) || is_name_of_two(schema)) {
      json_ += schema->module->name;
      json_ += ':';
    }
    json_ += schema->name;
    json_ += "\":";
  }

  const JsonForm& form_;
  std::string& json_;
  bool is_first_ = true;  // of the object that is open
};

class LeafWalk {
 public:
  LeafWalk(gnmi::Path& path, const JsonForm& form, bool qualify_names, const ValueSink& sink)
      : path_(path), form_(form), qualify_names_(qualify_names), sink_(sink) {}

  void below(const NodePair& node) {
    const lysc_node* parent = node.any()->schema;
    level(wanted(PairLevel::below(node), form_.part), parent->module);
  }

  void level(const PairLevel& at, const lys_module* module) {
    each_schema(at, [&](const lysc_node* schema) { visit(at, schema, module); });
  }

  void give(const NodePair& node) {
    std::string json;
    if (!append_value(node, form_, json)) return;
    gnmi::Path path = path_;
    sink_(path, json);
  }

  void give_array(const PairLevel& at, const lysc_node* schema) {
    std::string json;
    if (!Printer(form_, json).array(wanted(at, form_.part), schema)) return;
    gnmi::Path path = path_;
    sink_(path, json);
  }

 private:
  void visit(const PairLevel& at, const lysc_node* schema, const lys_module* module) {
    if (!is_inner(schema) && !is_wanted(schema, form_.part)) return;
    gnmi::PathElem& element = *path_.add_elem();
    if ((qualify_names_ && changes_module(schema, module)) || is_name_of_two(schema)) {
      element.set_name(std::string(schema->module->name) + ":" + schema->name);
    } else {
      element.set_name(schema->name);
    }
    if (schema->nodetype == LYS_LEAFLIST) {
      give_array(at, schema);
    } else {
      each_instance(at, schema, [&](const NodePair& node) {
        if (!is_inner(schema)) {
          give(node);
          return true;
        }
        if (schema->nodetype == LYS_LIST) set_keys(node.any());
        below(node);
        return true;
      });
    }
    path_.mutable_elem()->RemoveLast();
  }

  void set_keys(const lyd_node* entry) {
    gnmi::PathElem& element = *path_.mutable_elem(path_.elem_size() - 1);
    for (const lyd_node* key = lyd_child(entry);
         key != nullptr && key->schema != nullptr && lysc_is_key(key->schema); key = key->next) {
      (*element.mutable_key())[key->schema->name] = CanonicalText(key).view();
    }
  }

  gnmi::Path& path_;
  const JsonForm& form_;
  const bool qualify_names_;
  const ValueSink& sink_;
};

// The entries of the leaf-list that the two nodes are the first of.
PairLevel entries_of(const NodePair& node) { return {node.config, node.state}; }

}  // namespace

bool append_value(const NodePair& node, const JsonForm& form, std::string& json) {
  if (node.any() == nullptr) return false;
  Printer printer(form, json);
  if (!node.whole_leaf_list) return printer.value(node);
  return printer.array(wanted(entries_of(node), form.part), node.any()->schema);
}

bool append_tree(const lyd_node* config, const lyd_node* state, const JsonForm& form,
                 std::string& json) {
  const std::size_t begin = json.size();
  if (Printer(form, json).members(wanted({config, state}, form.part), nullptr)) return true;
  json.resize(begin);
  return false;
}

void for_each_leaf(const NodePair& node, gnmi::Path& path, const JsonForm& form, bool qualify_names,
                   const ValueSink& sink) {
  if (node.any() == nullptr) return;
  const lysc_node* schema = node.any()->schema;
  LeafWalk walk(path, form, qualify_names, sink);
  if (node.whole_leaf_list) {
    walk.give_array(entries_of(node), schema);
  } else if (is_inner(schema)) {
    if (form.part == DataPart::kConfig && node.config == nullptr) return;
    walk.below(node);
  } else {
    walk.give(node);
  }
}

void for_each_leaf_of_tree(const lyd_node* config, const lyd_node* state, const JsonForm& form,
                           bool qualify_names, const ValueSink& sink) {
  gnmi::Path path;
  LeafWalk(path, form, qualify_names, sink).level(wanted({config, state}, form.part), nullptr);
}

}  // namespace nexa::host

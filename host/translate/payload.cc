// Reading of containers, lists and leaves. The order of judgement is that of the document.
#include "translate/payload.h"

#include <algorithm>
#include <array>
#include <unordered_set>

#include "translate/json_number.h"

namespace nexa::translate {
namespace {

using kestrel::Written;

constexpr char kMetadata[] = "metadata (RFC 7952) is not stored";
constexpr char kSurrogates[] =
    "strict mode takes characters beyond U+FFFF as UTF-8, not as escapes";

// Members up to this number are compared with each other; more go through a set.
constexpr std::uint32_t kFewMembers = 12;

}  // namespace

Payload::Payload(const SchemaNames& names, kestrel::ValueChecker& values, bool strict,
                 std::vector<std::string>* notes)
    : names_(names), values_(values), strict_(strict), notes_(notes) {
  stored.emplace_back();
}

grpc::Status Payload::scan(std::string_view text) {
  if (const text::Done done = scan_json(text, document); !done.ok()) {
    const std::string path = member_path(document.fault_parent);
    return {done.failure().code, (path.empty() ? "" : "member " + path + ": ") + "not JSON at " +
                                     document.place(document.fault_offset) + ": " +
                                     done.failure().rule};
  }
  readings.resize(document.items.size());
  root = document.root;
  return grpc::Status::OK;
}

std::vector<std::uint32_t> Payload::members(std::uint32_t item) const {
  std::vector<std::uint32_t> all;
  for (std::uint32_t at = document.items[item].child; at != kNoItem; at = document.items[at].next) {
    all.push_back(at);
  }
  return all;
}

std::string_view Payload::text_of(std::uint32_t item) const {
  const Reading& reading = readings[item];
  if (reading.stored != 0 && !stored[reading.stored].as_given) return stored[reading.stored].text;
  switch (document.items[item].kind) {
    case JsonKind::kTrue:
      return "true";
    case JsonKind::kFalse:
      return "false";
    default:
      return document.items[item].text;
  }
}

grpc::Status Payload::read_value(const PathStep& step) {
  if (!step.keys.empty()) return read_path_entry(step);
  return read(root, step.node);
}

grpc::Status Payload::read_tree() {
  if (document.items[root].kind != JsonKind::kObject) return refuse(root, "expected an object");
  readings[root].role = Role::kContainer;
  for (std::uint32_t at = document.items[root].child; at != kNoItem; at = document.items[at].next) {
    grpc::Status status = read_member(at, nullptr);
    if (!status.ok()) return status;
  }
  return check_duplicates(root);
}

grpc::Status Payload::read(std::uint32_t item, kestrel_cs_node* node, std::uint32_t like) {
  readings[item].node = node;
  if (is_any_data(node)) return read_any(item, node);
  if (is_leaf_list(node) || is_list(node)) return read_array(item, node);
  if (is_leaf(node)) return read_leaf(item, node);
  if (document.items[item].kind != JsonKind::kObject) {
    return refuse(item, "a container is written as an object");
  }
  readings[item].role = Role::kContainer;
  return read_members(item, node, like);
}

grpc::Status Payload::read_members(std::uint32_t item, kestrel_cs_node* node, std::uint32_t like) {
  std::uint32_t next_like = like == kNoItem ? kNoItem : document.items[like].child;
  for (std::uint32_t at = document.items[item].child; at != kNoItem; at = document.items[at].next) {
    const std::uint32_t at_like = next_like;
    if (at_like != kNoItem) next_like = document.items[at_like].next;
    grpc::Status status = read_member(at, node, at_like);
    if (!status.ok()) return status;
  }
  return check_duplicates(item);
}

grpc::Status Payload::read_member(std::uint32_t item, const kestrel_cs_node* parent,
                                  std::uint32_t like) {
  const std::string_view name = document.items[item].name;
  // With notes wanted every guess is told, also a repeated one.
  if (like != kNoItem && notes_ == nullptr && document.items[like].name == name) {
    return read(item, readings[like].node, like);
  }
  if (!name.empty() && name.front() == '@') return refuse(item, kMetadata);
  NamedNode found =
      names_.resolve(parent, name, strict_ ? NameRules::kStrict : NameRules::kTolerant);
  if (found.node == nullptr) return refuse(item, found.rule);
  if (found.guessed && notes_ != nullptr) note(item, "is " + names_.qualified(found.node));
  return read(item, found.node);
}

// A member is there once, whether its name is qualified or not (RFC 8259 section 4, RFC 7951
// section 4).
grpc::Status Payload::check_duplicates(std::uint32_t item) const {
  const JsonItem& object = document.items[item];
  std::unordered_set<const kestrel_cs_node*> seen;
  std::array<const kestrel_cs_node*, kFewMembers> few{};
  std::size_t count = 0;
  for (std::uint32_t at = object.child; at != kNoItem; at = document.items[at].next) {
    const kestrel_cs_node* node = readings[at].node;
    bool twice = false;
    if (object.count > kFewMembers) {
      twice = !seen.insert(node).second;
    } else {
      for (std::size_t index = 0; index < count; ++index) twice = twice || few[index] == node;
      few[count++] = node;
    }
    if (twice) return refuse(at, "the member is there twice");
  }
  return grpc::Status::OK;
}

grpc::Status Payload::read_array(std::uint32_t item, kestrel_cs_node* node) {
  const JsonItem& array = document.items[item];
  if (array.kind != JsonKind::kArray) {
    return refuse(item, is_list(node) ? "a list is written as an array of objects"
                                      : "a leaf-list is written as an array of values");
  }
  readings[item].role = array.count == 0 ? Role::kNone : Role::kArray;
  std::uint32_t before = kNoItem;
  for (std::uint32_t at = array.child; at != kNoItem; at = document.items[at].next) {
    grpc::Status status = is_list(node) ? read_entry(at, node, before) : read_leaf(at, node);
    if (!status.ok()) return status;
    before = at;
  }
  return grpc::Status::OK;
}

grpc::Status Payload::read_entry(std::uint32_t item, kestrel_cs_node* node, std::uint32_t like) {
  if (document.items[item].kind != JsonKind::kObject) {
    return refuse(item, "a list is written as an array of objects");
  }
  readings[item].node = node;
  readings[item].role = Role::kContainer;
  grpc::Status status = read_members(item, node, like);
  if (!status.ok()) return status;
  return order_keys(item, node);
}

// Puts the key members first, in schema order, so that nothing moves once the entry is bound.
grpc::Status Payload::order_keys(std::uint32_t item, const kestrel_cs_node* node) {
  std::vector<JsonItem>& items = document.items;
  std::uint32_t front = kNoItem;  // last member known to be in its place
  bool moved = false;
  for (const std::uint32_t* tag = node->keys; tag != nullptr && *tag != 0; ++tag) {
    std::uint32_t before = front;
    std::uint32_t at = front == kNoItem ? items[item].child : items[front].next;
    while (at != kNoItem && (readings[at].node->tag != *tag || readings[at].node->ns != node->ns)) {
      before = at;
      at = items[at].next;
    }
    if (at == kNoItem) {
      return refuse(item, std::string("missing key \"") + kestrel_hash2str(*tag) + '"');
    }
    if (before != front) {
      items[before].next = items[at].next;
      std::uint32_t& link = front == kNoItem ? items[item].child : items[front].next;
      items[at].next = link;
      link = at;
      moved = true;
    }
    front = at;
  }
  if (moved && notes_ != nullptr) note(item, "keys moved to the front");
  return grpc::Status::OK;
}

bool Payload::scalar_form(std::uint32_t item, std::string_view& text, Written& written,
                          std::string& rule) {
  const JsonItem& scalar = document.items[item];
  text = scalar.text;
  switch (scalar.kind) {
    case JsonKind::kString:
      written = Written::kString;
      if (strict_ && scalar.surrogates) rule = kSurrogates;
      return rule.empty();
    case JsonKind::kNumber:
      written = Written::kNumber;
      if (has_exponent(text)) {
        std::optional<std::string> plain = without_exponent(text);
        if (!plain) rule = "the number is out of every range";
        if (plain) text = document.keep(std::move(*plain));
      }
      return rule.empty();
    case JsonKind::kTrue:
    case JsonKind::kFalse:
      written = Written::kBoolean;
      text = scalar.kind == JsonKind::kTrue ? "true" : "false";
      return true;
    case JsonKind::kNull:
      written = Written::kNull;
      return true;
    case JsonKind::kArray:
      written = Written::kEmpty;
      if (scalar.count != 1 || document.items[scalar.child].kind != JsonKind::kNull) {
        rule = "an array is no value of a leaf, except [null]";
      }
      return rule.empty();
    case JsonKind::kObject:
      rule = "an object is no value of a leaf";
      return false;
  }
  return false;
}

// Whether the value is what the leaf took last; then it is read as that one was. With notes wanted
// every value is judged, because a judgement may leave one.
bool Payload::is_as_before(std::uint32_t item, kestrel_cs_node* node) {
  if (notes_ != nullptr) return false;
  const auto last = last_taken_.find(node);
  if (last == last_taken_.end()) return false;
  const JsonItem& value = document.items[item];
  const JsonItem& before = document.items[last->second];
  if (value.kind == JsonKind::kArray || value.kind != before.kind || value.text != before.text ||
      value.surrogates != before.surrogates) {
    return false;
  }
  readings[item].stored = readings[last->second].stored;
  return true;
}

grpc::Status Payload::read_leaf(std::uint32_t item, kestrel_cs_node* node) {
  readings[item].node = node;
  readings[item].role = Role::kLeaf;
  if (is_as_before(item, node)) return grpc::Status::OK;
  std::string_view text;
  Written written = Written::kString;
  std::string rule;
  if (!scalar_form(item, text, written, rule)) return refuse(item, rule);
  scratch_.as_given = true;
  if (!values_.check(node, text, written, !strict_, scratch_, rule)) {
    return refuse(item, "value " + shown(item) + ": " + shown_rule(item, std::move(rule)));
  }
  if (!scratch_.qualified.empty() && notes_ != nullptr) {
    note(item, "identity " + shown(item) + " is \"" + scratch_.qualified + '"');
  }
  const bool rewritten = text.data() != document.items[item].text.data() &&
                         document.items[item].kind == JsonKind::kNumber;
  if (scratch_.as_given && rewritten) {
    scratch_.as_given = false;
    scratch_.text = std::string(text);
  }
  if (notes_ == nullptr) last_taken_[node] = item;
  const bool says_all = scratch_.namespaces.empty() && scratch_.mark == Written::kText;
  if (scratch_.as_given && says_all) return grpc::Status::OK;
  readings[item].stored = static_cast<std::uint32_t>(stored.size());
  stored.push_back(std::move(scratch_));
  scratch_ = kestrel::StoredText();
  return grpc::Status::OK;
}

}  // namespace nexa::translate

// Entries that the path names, anydata, and the words of a refusal.
#include <algorithm>
#include <unordered_set>

#include "text/display.h"
#include "translate/any_content.h"
#include "translate/payload.h"

namespace nexa::translate {
namespace {

constexpr std::size_t kLongestShown = 80;
constexpr char kNoAnyName[] = "the name of a member of anydata is a YANG identifier";

bool has_name_twice(const JsonDocument& document, std::uint32_t object) {
  std::unordered_set<std::string_view> names;
  for (std::uint32_t at = document.items[object].child; at != kNoItem;
       at = document.items[at].next) {
    if (!names.insert(document.items[at].name).second) return true;
  }
  return false;
}

std::string_view bare(std::string_view name) {
  const std::size_t colon = name.find(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

}  // namespace

// Gives the entry a key member that the payload left to the path.
std::uint32_t Payload::add_key_item(std::uint32_t entry, const PathKey& key) {
  const auto index = static_cast<std::uint32_t>(document.items.size());
  JsonItem item;
  item.kind = JsonKind::kString;
  item.parent = entry;
  item.offset = document.items[entry].offset;
  item.name = local_name(key.node);
  item.text = document.keep(key.given);
  item.next = document.items[entry].child;
  document.items.push_back(item);
  document.items[entry].child = index;
  ++document.items[entry].count;
  Reading& reading = readings.emplace_back();
  reading.node = key.node;
  reading.role = Role::kLeaf;
  if (!key.stored.as_given || !key.stored.namespaces.empty()) {
    reading.stored = static_cast<std::uint32_t>(stored.size());
    stored.push_back(key.stored);
  }
  return index;
}

// Whether a value that was read says what the path says.
grpc::Status Payload::agree(std::uint32_t item, const PathKey& key) const {
  const JsonItem& value = document.items[item];
  const Reading& reading = readings[item];
  std::string sent(value.kind == JsonKind::kString ? value.text : text_of(item));
  kestrel::Written written = kestrel::Written::kText;
  if (reading.stored != 0) {
    if (!stored[reading.stored].qualified.empty()) sent = stored[reading.stored].qualified;
    written = stored[reading.stored].mark;
  }
  if (values_.canonical(key.node, sent, written) == values_.canonical(key.node, key.given)) {
    return grpc::Status::OK;
  }
  return refuse(item, "value " + shown(item) + ": the path says " + local_name(key.node) + "=\"" +
                          key.given + '"');
}

grpc::Status Payload::read_key(const PathKey& key) {
  grpc::Status status = read_leaf(root, key.node);
  return status.ok() ? agree(root, key) : status;
}

grpc::Status Payload::read_path_entry(const PathStep& step) {
  std::uint32_t entry = root;
  const bool of_leaf_list = is_leaf_list(step.node);
  if (document.items[root].kind == JsonKind::kArray) {
    // An entry may also come as the array of one that RFC 7951 writes for the list.
    if (document.items[root].count != 1 || strict_) {
      return refuse(root, "the path names one entry, and the value is an array");
    }
    entry = document.items[root].child;
  } else {
    const auto array = static_cast<std::uint32_t>(document.items.size());
    JsonItem item;
    item.kind = JsonKind::kArray;
    item.child = root;
    item.count = 1;
    document.items.push_back(item);
    document.items[root].parent = array;
    readings.emplace_back();
    root = array;
  }
  readings[root].node = step.node;
  readings[root].role = Role::kArray;
  if (of_leaf_list) {
    grpc::Status status = read_leaf(entry, step.node);
    return status.ok() ? agree(entry, step.keys.front()) : status;
  }
  if (document.items[entry].kind != JsonKind::kObject) {
    return refuse(entry, "an entry of a list is written as an object");
  }
  readings[entry].node = step.node;
  readings[entry].role = Role::kContainer;
  grpc::Status status = read_members(entry, step.node);
  if (!status.ok()) return status;
  for (const PathKey& key : step.keys) {
    std::uint32_t at = document.items[entry].child;
    while (at != kNoItem && readings[at].node != key.node) at = document.items[at].next;
    if (at == kNoItem) {
      add_key_item(entry, key);
      continue;
    }
    status = agree(at, key);
    if (!status.ok()) return status;
  }
  return order_keys(entry, step.node);
}

grpc::Status Payload::read_any(std::uint32_t item, kestrel_cs_node* node) {
  readings[item].role = Role::kAnyData;
  const JsonKind kind = document.items[item].kind;
  if (kind == JsonKind::kObject) {
    if (has_name_twice(document, item)) return refuse(item, "the object has a member twice");
    for (std::uint32_t at = document.items[item].child; at != kNoItem;
         at = document.items[at].next) {
      grpc::Status status = read_any_member(at);
      if (!status.ok()) return status;
    }
    return grpc::Status::OK;
  }
  if (!values_.takes_any_form(node)) return refuse(item, "anydata is written as an object");
  if (kind == JsonKind::kArray) {
    for (std::uint32_t at = document.items[item].child; at != kNoItem;
         at = document.items[at].next) {
      grpc::Status status = read_opaque(at);
      if (!status.ok()) return status;
    }
  }
  return grpc::Status::OK;
}

// Below anydata a top-level node of the schema keeps its meaning; anything else is carried as it
// is.
grpc::Status Payload::read_any_member(std::uint32_t item) {
  const NamedNode found = names_.resolve(nullptr, document.items[item].name, NameRules::kStrict);
  if (found.node != nullptr) return read(item, found.node);
  return read_opaque(item);
}

grpc::Status Payload::read_opaque(std::uint32_t item) {
  readings[item].role = Role::kOpaque;
  const JsonItem& value = document.items[item];
  const bool is_member =
      value.parent != kNoItem && document.items[value.parent].kind == JsonKind::kObject;
  if (is_member && !is_any_name(value.name)) return refuse(item, kNoAnyName);
  if (value.kind == JsonKind::kObject && has_name_twice(document, item)) {
    return refuse(item, "the object has a member twice");
  }
  if (strict_ && document.items[item].surrogates) return refuse(item, "an escaped surrogate pair");
  for (std::uint32_t at = document.items[item].child; at != kNoItem; at = document.items[at].next) {
    grpc::Status status = read_opaque(at);
    if (!status.ok()) return status;
  }
  return grpc::Status::OK;
}

std::string Payload::shown(std::uint32_t item) const {
  const JsonItem& scalar = document.items[item];
  switch (scalar.kind) {
    case JsonKind::kNull:
      return "null";
    case JsonKind::kTrue:
      return "true";
    case JsonKind::kFalse:
      return "false";
    case JsonKind::kArray:
      return "[null]";
    case JsonKind::kObject:
      return "{}";
    case JsonKind::kNumber:
    case JsonKind::kString:
      break;
  }
  return scalar.kind == JsonKind::kNumber ? text::printable(scalar.text, kLongestShown)
                                          : text::quoted(scalar.text, kLongestShown);
}

// A rule of the type may quote the value: as much of it as elsewhere, and on one line.
std::string Payload::shown_rule(std::uint32_t item, std::string rule) const {
  const std::string value(document.items[item].text);
  const std::string bounded = text::printable(value, kLongestShown);
  if (!value.empty() && value != bounded) {
    std::string made;
    std::size_t copied = 0;
    for (std::size_t at = rule.find(value); at != std::string::npos;
         at = rule.find(value, copied)) {
      made.append(rule, copied, at - copied).append(bounded);
      copied = at + value.size();
    }
    rule = made.append(rule, copied);
  }
  return text::printable(rule);
}

void Payload::append_entry_keys(std::uint32_t entry, std::string& path) const {
  const std::size_t parent = document.items[entry].parent;
  const kestrel_cs_node* node = parent < readings.size() ? readings[parent].node : nullptr;
  bool keyed = false;
  if (node != nullptr) {
    for (const std::uint32_t* tag = node->keys; tag != nullptr && *tag != 0; ++tag) {
      const std::string_view name = kestrel_hash2str(*tag);
      for (const std::uint32_t at : members(entry)) {
        if (bare(document.items[at].name) != name) continue;
        path.append("[").append(name).append("=");
        path.append(text::printable(document.items[at].text, kLongestShown)).append("]");
        keyed = true;
      }
    }
  }
  if (keyed) return;
  std::size_t position = 0;
  for (const std::uint32_t at : members(static_cast<std::uint32_t>(parent))) {
    if (at == entry) break;
    ++position;
  }
  path += "[" + std::to_string(position) + "]";
}

std::string Payload::member_path(std::uint32_t item) const {
  std::vector<std::uint32_t> chain;
  for (; item != kNoItem; item = document.items[item].parent) chain.push_back(item);
  std::string path;
  for (auto at = chain.rbegin(); at != chain.rend(); ++at) {
    const JsonItem& link = document.items[*at];
    if (!link.name.empty()) {
      path.append(path.empty() ? "" : "/").append(text::printable(link.name, kLongestShown));
    } else if (link.parent != kNoItem && document.items[link.parent].kind == JsonKind::kArray &&
               (link.parent != root || root == document.root)) {
      append_entry_keys(*at, path);
    }
  }
  return path;
}

void Payload::note(std::uint32_t item, const std::string& text) const {
  const std::string path = member_path(item);
  notes_->push_back((path.empty() ? "value" : "member " + path) + ": " + text);
}

grpc::Status Payload::refuse(std::uint32_t item, const std::string& rule) const {
  const std::string path = member_path(item);
  return {grpc::StatusCode::INVALID_ARGUMENT,
          (path.empty() ? "" : "member " + path + ": ") + rule + " (" +
              document.place(document.items[item].offset) + ")"};
}

}  // namespace nexa::translate

// Builds the bound tree. All scalars are strings there: a boolean item would print to standard
// output while it is bound, and a number would lose digits.
#include "translate/json_tree.h"

#include <algorithm>
#include <cstring>

namespace nexa::translate {
namespace {

constexpr char kPlaceholder[] = "-";

// The longest text that the library's checked copy takes, its end included, is 32,768 bytes.
constexpr std::size_t kLongestCopied = 32767;

bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

}  // namespace

bool needs_placeholder(std::string_view text) {
  if (text.empty()) return false;
  return text.size() == 1 || text.size() > kLongestCopied || is_blank(text.front()) ||
         is_blank(text.back()) || std::memchr(text.data(), ':', text.size()) != nullptr;
}

bool is_altered_by_library(std::string_view text, const SchemaNames& names) {
  if (text.size() > kLongestCopied) return true;
  std::string copy(text);
  if (nexa::is_json_ietf_null_val(copy)) return true;
  const std::size_t colon = text.find(':');
  return colon != std::string_view::npos && names.by_module(text.substr(0, colon)) != nullptr;
}

text::JsonPtr JsonTreeBuilder::build(std::uint32_t item) { return text::JsonPtr(build_item(item)); }

cJSON* JsonTreeBuilder::build_item(std::uint32_t item) {
  const Reading& reading = payload_.readings[item];
  text::JsonPtr built;
  switch (reading.role) {
    case Role::kContainer:
      built.reset(cJSON_CreateObject());
      if (built != nullptr && !add_members(built.get(), item)) return nullptr;
      break;
    case Role::kArray:
      built.reset(cJSON_CreateArray());
      if (built == nullptr) return nullptr;
      for (std::uint32_t at = payload_.document.items[item].child; at != kNoItem;
           at = payload_.document.items[at].next) {
        cJSON* entry = build_item(at);
        if (entry == nullptr) return nullptr;
        cJSON_AddItemToArray(built.get(), entry);
      }
      break;
    case Role::kLeaf: {
      const std::string_view text = payload_.text_of(item);
      const bool special = reading.stored != 0 || needs_placeholder(text);
      // A text has its own end in the tree, and the scanner refused NUL.
      if (!special) text_.assign(text);
      built.reset(cJSON_CreateString(special ? kPlaceholder : text_.c_str()));
      break;
    }
    case Role::kAnyData:
    case Role::kNone:
    case Role::kOpaque:
      built.reset(cJSON_CreateString(kPlaceholder));
      break;
  }
  items_[item].json = built.get();
  return built.release();
}

bool JsonTreeBuilder::add_members(cJSON* object, std::uint32_t item) {
  const kestrel_cs_node* parent = payload_.readings[item].node;
  for (std::uint32_t at = payload_.document.items[item].child; at != kNoItem;
       at = payload_.document.items[at].next) {
    const Reading& reading = payload_.readings[at];
    if (reading.role == Role::kNone) continue;
    text::JsonPtr member(build_item(at));
    if (member == nullptr) return false;
    const bool added =
        reading.node->ns == parent->ns
            ? cJSON_AddItemToObject(object, local_name(reading.node), member.get())
            : cJSON_AddItemToObject(object, names_.qualified(reading.node).c_str(), member.get());
    if (!added) return false;
    items_[at].name = member->string;
    static_cast<void>(member.release());
  }
  return true;
}

void JsonTreeBuilder::restore_order(std::uint32_t item) {
  const std::vector<JsonItem>& source = payload_.document.items;
  for (std::uint32_t at = source[item].child; at != kNoItem; at = source[at].next) {
    const Built& place = items_[at];
    if (place.json == nullptr || place.json->string == place.name) continue;
    for (std::uint32_t other = source[at].next; other != kNoItem; other = source[other].next) {
      if (items_[other].json == nullptr || items_[other].json->string != place.name) continue;
      nexa::cJsonCsnode::swap_cjson_contents(place.json, items_[other].json);
      break;
    }
  }
}

bool JsonTreeBuilder::correct(std::uint32_t item, nexa::Json2cJsonCsnodeHash& hash) {
  const Reading& reading = payload_.readings[item];
  cJSON* json = items_[item].json;
  if (reading.role == Role::kNone || json == nullptr) return true;
  const nexa::cJsonCsnode* binding = hash.find(json);
  if (binding == nullptr || binding->cs_node != reading.node) {
    nexa::visit_value(json, reading.node, &hash);
    binding = hash.find(json);
    if (binding == nullptr || binding->cs_node != reading.node) return false;
  }
  if (reading.role != Role::kContainer && reading.role != Role::kArray) return true;
  if (reading.role == Role::kContainer && is_list(reading.node)) restore_order(item);
  for (std::uint32_t at = payload_.document.items[item].child; at != kNoItem;
       at = payload_.document.items[at].next) {
    if (!correct(at, hash)) return false;
  }
  return true;
}

}  // namespace nexa::translate

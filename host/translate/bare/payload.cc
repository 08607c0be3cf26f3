// A recursion over payload and schema together; the depth is bounded by the text check. Places are
// rendered only for a refusal.
#include "translate/bare/payload.h"

#include <strings.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "gnmi/gnmi_rpc_msg_helpers.h"
#include "translate/bare/schema_view.h"
#include "translate/path_string.h"

namespace nexa::host::bare {
namespace {

// Beyond this, neighbouring integers share a double.
constexpr double kMaxExactInteger = 9007199254740992.0;

constexpr char kContradiction[] = "contradicts the key in the path";

// One item on the way from the value's root to the item in hand.
struct Place {
  const Place* up;
  const cJSON* item;
  const kestrel_cs_node* node;
};

std::string_view local_name(const cJSON& member) {
  std::string_view module;
  std::string_view local;
  gnmi::RpcMsgHelpers::extract_prefix(std::string_view(member.string), module, local);
  return local;
}

bool is_exact_integer(double number) {
  return std::trunc(number) == number && std::fabs(number) <= kMaxExactInteger;
}

std::string integer_text(double number) {
  return std::to_string(static_cast<std::int64_t>(number));
}

// "[key=value]" for each key that the entry has as a string or number.
void append_entry_keys(const cJSON& entry, const kestrel_cs_node& list, std::string& out) {
  for (std::size_t k = 0; list.keys != nullptr && list.keys[k] != 0; ++k) {
    const char* key = kestrel_hash2str(list.keys[k]);
    for (const cJSON* member = entry.child; key != nullptr && member != nullptr;
         member = member->next) {
      if (local_name(*member) != key) continue;
      if (cJSON_IsString(member)) append_key_predicate(key, shown(member->valuestring), out);
      if (cJSON_IsNumber(member) && is_exact_integer(member->valuedouble)) {
        append_key_predicate(key, integer_text(member->valuedouble), out);
      }
    }
  }
}

// Moves a member that is not the first to the place before `front`. A first member's `prev` is the
// last.
void move_before(cJSON* object, cJSON* member, cJSON* front) {
  member->prev->next = member->next;
  (member->next != nullptr ? member->next : object->child)->prev = member->prev;
  member->next = front;
  member->prev = front->prev;
  (front == object->child ? object->child : front->prev->next) = member;
  front->prev = member;
}

class Preparer {
 public:
  Preparer(const Target& target, const gnmi::BaseNamespaceMapper& mapper, Prepared& prepared)
      : target_(target), mapper_(mapper), prepared_(prepared) {}

  grpc::Status run(cJSON* root) {
    const Place place{nullptr, root, target_.node()};
    prepared_.expected.push_back({root, target_.node()});
    grpc::Status status;
    if (target_.is_entry()) {
      status = remove_path_keys(root, place);
      return status.ok() ? members(root, *target_.node(), place, false) : status;
    }
    if (kind_of(*target_.node()) == NodeKind::kList && !target_.path->instantiated_keys_.empty()) {
      return invalid("Path element " + target_.text + " gives some keys of the list only");
    }
    status = value(root, *target_.node(), place);
    return status.ok() ? agree_with_own_key(*root, place) : status;
  }

 private:
  std::string path_of(const Place& place) const {
    std::string tail;
    std::vector<const Place*> way;
    for (const Place* at = &place; at != nullptr; at = at->up) way.push_back(at);
    for (auto at = way.rbegin(); at != way.rend(); ++at) {
      const cJSON& item = *(*at)->item;
      if ((*at)->up != nullptr && item.string != nullptr)
        tail.append("/").append(shown(item.string));
      const bool entry = cJSON_IsObject(&item) && (*at)->node != nullptr && item.string == nullptr;
      if (entry) append_entry_keys(item, *(*at)->node, tail);
    }
    return target_.text + tail;
  }

  grpc::Status refuse(const Place& place, std::string_view what) const {
    return invalid(path_of(place).append(" ").append(what));
  }

  grpc::Status value(cJSON* item, const kestrel_cs_node& node, const Place& place) {
    switch (kind_of(node)) {
      case NodeKind::kContainer:
        if (!cJSON_IsObject(item)) return refuse(place, "is a container: its value is an object");
        return members(item, node, place, false);
      case NodeKind::kList:
        if (!cJSON_IsArray(item))
          return refuse(place, "is a list: its value is an array of objects");
        return entries(item, node, place);
      case NodeKind::kLeafList:
        if (!cJSON_IsArray(item)) return refuse(place, "is a leaf-list: its value is an array");
        return entries(item, node, place);
      case NodeKind::kLeaf:
        return leaf(item, node, place);
      case NodeKind::kAnyData:
        break;
    }
    return refuse(place, "holds data without a schema, which is not converted");
  }

  grpc::Status entries(cJSON* array, const kestrel_cs_node& node, const Place& place) {
    if (array->child == nullptr) return refuse(place, "is an empty array");
    const bool objects = kind_of(node) == NodeKind::kList;
    for (cJSON* entry = array->child; entry != nullptr; entry = entry->next) {
      const Place entry_place{&place, entry, &node};
      prepared_.expected.push_back({entry, &node});
      if (objects && !cJSON_IsObject(entry)) {
        return refuse(place, "is a list: each of its entries is an object");
      }
      grpc::Status status =
          objects ? members(entry, node, entry_place, true) : scalar(*entry, node, entry_place);
      if (!status.ok()) return status;
    }
    return grpc::Status::OK;
  }

  // The members of a container or, with `ordered`, of a list entry, whose keys come first.
  grpc::Status members(cJSON* object, const kestrel_cs_node& node, const Place& place,
                       bool ordered) {
    const std::size_t begin = prepared_.expected.size();
    for (cJSON* member = object->child; member != nullptr; member = member->next) {
      const Place member_place{&place, member, nullptr};
      const kestrel_cs_node* found = find_child(node, member->string, mapper_);
      if (found == nullptr) return invalid("Unknown member " + path_of(member_place));
      if (std::strlen(member->string) > kMaxTextBytes) {
        return refuse(member_place, "has a name longer than 32767 bytes");
      }
      prepared_.expected.push_back({member, found});
    }
    const std::size_t end = prepared_.expected.size();
    grpc::Status status = refuse_duplicates(begin, place);
    if (status.ok() && ordered) status = keys_to_front(object, node, begin, place);
    for (std::size_t i = begin; status.ok() && i < end; ++i) {
      const auto [member, child] = prepared_.expected[i];
      status = value(member, *child, Place{&place, member, child});
    }
    return status;
  }

  // Refuses two members for one node among what was added from `begin` on.
  grpc::Status refuse_duplicates(std::size_t begin, const Place& place) {
    seen_.assign(prepared_.expected.begin() + static_cast<std::ptrdiff_t>(begin),
                 prepared_.expected.end());
    std::sort(seen_.begin(), seen_.end(),
              [](const Expected& left, const Expected& right) { return left.node < right.node; });
    const auto twice = std::adjacent_find(
        seen_.begin(), seen_.end(),
        [](const Expected& left, const Expected& right) { return left.node == right.node; });
    if (twice == seen_.end()) return grpc::Status::OK;
    return refuse(Place{&place, twice->item, twice->node}, "is given twice");
  }

  grpc::Status keys_to_front(cJSON* entry, const kestrel_cs_node& list, std::size_t begin,
                             const Place& place) {
    const auto first = prepared_.expected.begin() + static_cast<std::ptrdiff_t>(begin);
    cJSON* front = entry->child;  // the member that stands where the next key belongs
    for (int k = 0; list.keys != nullptr && list.keys[k] != 0; ++k) {
      const auto key = std::find_if(first, prepared_.expected.end(), [&](const Expected& member) {
        return member.node->tag == list.keys[k] && member.node->ns == list.ns;
      });
      if (key == prepared_.expected.end()) {
        return refuse(place, std::string("lacks the list key ") + kestrel_hash2str(list.keys[k]));
      }
      if (front != nullptr && key->item == front) {
        front = front->next;
        continue;
      }
      move_before(entry, key->item, front);
    }
    return grpc::Status::OK;
  }

  // The path names the entry: a key in the payload must say the same, and is left to the path.
  grpc::Status remove_path_keys(cJSON* entry, const Place& place) {
    if (!cJSON_IsObject(entry)) return refuse(place, "is a list entry: its value is an object");
    for (const auto& [name, value] : target_.internal.elem().rbegin()->key()) {
      std::string prefix;
      std::string local;
      gnmi::RpcMsgHelpers::extract_prefix(name, prefix, local);
      for (cJSON* member = entry->child; member != nullptr;) {
        cJSON* current = member;
        member = member->next;
        grpc::Status status = remove_path_key(entry, current, local, value, place);
        if (!status.ok()) return status;
      }
    }
    return grpc::Status::OK;
  }

  grpc::Status remove_path_key(cJSON* entry, cJSON* member, const std::string& key,
                               const std::string& value, const Place& place) {
    const bool is_key = local_name(*member) == key;
    // The walk deletes a key by its name without regard to case.
    if (!is_key && strcasecmp(member->string, key.c_str()) != 0) return grpc::Status::OK;
    const Place member_place{&place, member, nullptr};
    const kestrel_cs_node* found = find_child(*target_.node(), member->string, mapper_);
    if (found == nullptr || !is_key) return invalid("Unknown member " + path_of(member_place));
    if (found->ns != target_.node()->ns) return grpc::Status::OK;
    grpc::Status status = scalar(*member, *found, member_place);
    if (!status.ok()) return status;
    if (!says(*member, value)) return refuse(member_place, kContradiction);
    cJSON_Delete(cJSON_DetachItemViaPointer(entry, member));
    return grpc::Status::OK;
  }

  // A path that ends at a key of an entry gives that key's value already.
  grpc::Status agree_with_own_key(const cJSON& leaf, const Place& place) const {
    const std::string key = target_.own_key();
    if (key.empty()) return grpc::Status::OK;
    const gnmi::PathElem& entry = target_.internal.elem(target_.internal.elem_size() - 2);
    if (says(leaf, entry.key().at(key))) return grpc::Status::OK;
    return refuse(place, kContradiction);
  }

  // Whether a key leaf of the payload has the value that the path gives, in the path's internal
  // form.
  bool says(const cJSON& leaf, const std::string& value) const {
    if (cJSON_IsBool(&leaf)) return value == (cJSON_IsTrue(&leaf) ? "true" : "false");
    if (cJSON_IsNumber(&leaf)) return value == integer_text(leaf.valuedouble);
    if (value == leaf.valuestring) return true;
    // An identity stands in the payload with its module name, in the path with the declared prefix.
    std::string_view module;
    std::string_view rest;
    gnmi::RpcMsgHelpers::extract_prefix(std::string_view(leaf.valuestring), module, rest);
    const std::string prefix = mapper_.ympPrefixFromModuleNamePrefix_(std::string(module));
    return !prefix.empty() && value == prefix + ":" + std::string(rest);
  }

  grpc::Status leaf(cJSON* item, const kestrel_cs_node& node, const Place& place) {
    if (!cJSON_IsArray(item)) return scalar(*item, node, place);
    const bool is_empty_value =
        item->child != nullptr && cJSON_IsNull(item->child) && item->child->next == nullptr;
    if (!is_empty_value) return refuse(place, "is a leaf: it takes one value");
    // [null] is the value of the empty type (RFC 7951 section 6.9). To the library it is an array;
    // a blank is the text that it converts to an element without text.
    cJSON_Delete(item->child);
    item->child = nullptr;
    item->type = cJSON_String;
    item->valuestring = static_cast<char*>(cJSON_malloc(sizeof " "));
    if (item->valuestring == nullptr) throw std::bad_alloc();
    std::memcpy(item->valuestring, " ", sizeof " ");
    prepared_.empty_values.insert(item);
    return grpc::Status::OK;
  }

  grpc::Status scalar(const cJSON& item, const kestrel_cs_node& node, const Place& place) const {
    if (cJSON_IsBool(&item)) return grpc::Status::OK;
    if (cJSON_IsNumber(&item)) {
      if (is_exact_integer(item.valuedouble)) return grpc::Status::OK;
      return refuse(place, "loses digits as a number: write it as a string (RFC 7951 section 6.1)");
    }
    if (cJSON_IsNull(&item)) return refuse(place, "is null, which is no value");
    if (!cJSON_IsString(&item)) return refuse(place, "takes a single value, no object or array");
    if (const char* defect = text_defect(item.valuestring)) return refuse(place, defect);
    if (!is_instance_identifier(node)) return grpc::Status::OK;
    return refuse(place, "is an instance-identifier, which is not converted");
  }

  const Target& target_;
  const gnmi::BaseNamespaceMapper& mapper_;
  Prepared& prepared_;
  std::vector<Expected> seen_;  // scratch space of refuse_duplicates
};

}  // namespace

bool form_contradicts_path(const Target& target, const cJSON& root) {
  if (kind_of(*target.node()) != NodeKind::kList) return false;
  const bool keys_open =
      target.path->instantiated_keys_.size() < target.path->possible_keys_.size();
  const bool is_array = cJSON_IsArray(&root) != 0;
  const bool keyless = target.path->possible_keys_.empty();
  return keys_open != is_array && (is_array || !keyless);
}

grpc::Status prepare_payload(const Target& target, const gnmi::BaseNamespaceMapper& mapper,
                             cJSON* root, Prepared& prepared) {
  return Preparer(target, mapper, prepared).run(root);
}

grpc::Status check_bindings(const Target& target, const Prepared& prepared,
                            const Json2cJsonCsnodeHash& bindings) {
  for (const Expected& wanted : prepared.expected) {
    const cJsonCsnode* binding = bindings.find(wanted.item);
    if (binding != nullptr && binding->cs_node == wanted.node) continue;
    const std::string_view name =
        wanted.item->string == nullptr ? name_of(*wanted.node) : wanted.item->string;
    return invalid("Member " + shown(name) + " below " + target.text +
                   " is not the first of its local name in the schema");
  }
  return grpc::Status::OK;
}

}  // namespace nexa::host::bare

// Reads schema records only; the binding of payloads and the resolution of paths stay the
// library's.
#include "translate/bare/schema_view.h"

#include "gnmi/gnmi_rfc7951_schema_enums.h"
#include "gnmi/gnmi_rpc_msg_helpers.h"
#include "translate/bare/json_text.h"

namespace nexa::host::bare {

namespace {

// Value type codes of the schema library (platform/kestrel/README.md).
constexpr std::uint32_t kUnionCode = 19;
constexpr std::uint32_t kInstanceIdentifierCode = 20;
constexpr std::uint32_t kIdentityRefCode = 44;

}  // namespace

NodeKind kind_of(const kestrel_cs_node& node) {
  if ((node.flags & KESTREL_FLAG_ANY_DATA) != 0) return NodeKind::kAnyData;
  if ((node.flags & KESTREL_FLAG_LEAF_LIST) != 0) return NodeKind::kLeafList;
  if ((node.flags & KESTREL_FLAG_LIST) != 0) return NodeKind::kList;
  if (gnmi::rfc7951::is_leaf_type(node.shallow_type)) return NodeKind::kLeaf;
  return NodeKind::kContainer;
}

bool may_be_identity(const kestrel_cs_node& node) {
  return node.shallow_type == kIdentityRefCode || node.shallow_type == kUnionCode;
}

bool is_instance_identifier(const kestrel_cs_node& node) {
  return node.shallow_type == kInstanceIdentifierCode;
}

std::string_view name_of(const kestrel_cs_node& node) {
  const char* name = kestrel_hash2str(node.tag);
  return name == nullptr ? std::string_view() : std::string_view(name);
}

std::size_t key_count(const kestrel_cs_node& list) {
  std::size_t count = 0;
  while (list.keys != nullptr && list.keys[count] != 0) ++count;
  return count;
}

kestrel_cs_node* find_child(const kestrel_cs_node& parent, const char* name,
                            const gnmi::BaseNamespaceMapper& mapper) {
  std::string_view module;
  std::string_view local;
  gnmi::RpcMsgHelpers::extract_prefix(std::string_view(name), module, local);
  const std::uint32_t tag = kestrel_str2hash(local.data());
  if (tag == 0) return nullptr;
  if (!module.empty()) {
    const auto uri = mapper.nsByModuleName_.find(std::string(module));
    if (uri == mapper.nsByModuleName_.end()) return nullptr;
    return kestrel_find_cs_node_child(&parent, tag, kestrel_str2hash(uri->second.c_str()));
  }
  if (kestrel_cs_node* own = kestrel_find_cs_node_child(&parent, tag, parent.ns)) return own;
  kestrel_cs_node* found = nullptr;
  for (kestrel_cs_node* child = parent.children; child != nullptr; child = child->next) {
    if (child->tag != tag) continue;
    if (found != nullptr) return nullptr;  // two modules have it: the name alone has no meaning
    found = child;
  }
  return found;
}

std::string shown(std::string_view text, std::size_t most) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = utf8_length(text.substr(at));
    if (at + length > most) return result + "...";
    const bool control = static_cast<unsigned char>(text[at]) < 0x20 || text[at] == 0x7F;
    if (length == 0 || control) {
      result.push_back('?');
    } else {
      result.append(text.substr(at, length));
    }
    at += length == 0 ? 1 : length;
  }
  return result;
}

const char* text_defect(std::string_view text) {
  if (text.size() > kMaxTextBytes) return "is longer than 32767 bytes";
  for (std::size_t at = 0; at < text.size();) {
    const unsigned char byte = static_cast<unsigned char>(text[at]);
    if (byte >= 0x20 && byte < 0x80) {
      ++at;
      continue;
    }
    const std::size_t length = utf8_length(text.substr(at));
    if (length == 0) return "is not valid UTF-8";
    const std::string_view character = text.substr(at, length);
    const bool noncharacter = character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF";
    const bool control = byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
    if (noncharacter || control) return "has a character that XML cannot carry";
    at += length;
  }
  return nullptr;
}

grpc::Status invalid(std::string message) {
  return {grpc::StatusCode::INVALID_ARGUMENT, std::move(message)};
}

}  // namespace nexa::host::bare

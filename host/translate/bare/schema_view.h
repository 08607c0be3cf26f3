// Small questions about schema nodes that several steps of the translation ask.
#ifndef HOST_TRANSLATE_BARE_SCHEMA_VIEW_H_
#define HOST_TRANSLATE_BARE_SCHEMA_VIEW_H_

#include <grpcpp/support/status.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "gnmi/gnmi_base_namespace_mapper.h"
#include "kestrel/kestrel.h"

namespace nexa::host::bare {

// Bytes of a name or value that the library's checked copy takes; longer ones are refused by name.
inline constexpr std::size_t kMaxTextBytes = 32767;

enum class NodeKind { kContainer, kList, kLeafList, kLeaf, kAnyData };

NodeKind kind_of(const kestrel_cs_node& node);

// Whether values of this node may be identities, whose module name is translated.
bool may_be_identity(const kestrel_cs_node& node);

bool is_instance_identifier(const kestrel_cs_node& node);

// The node's local name; empty when the schema library has no string for it.
std::string_view name_of(const kestrel_cs_node& node);

std::size_t key_count(const kestrel_cs_node& list);

// The child that a member or key name ("local" or "module:local") means: in the named module, else
// in the parent's own, else the only one of that local name. Null when there is none. `name` ends
// with a NUL.
kestrel_cs_node* find_child(const kestrel_cs_node& parent, const char* name,
                            const gnmi::BaseNamespaceMapper& mapper);

// `text` as it may stand in a message: cut at `most` bytes, control characters replaced.
std::string shown(std::string_view text, std::size_t most = 100);

// The first reason why `text` cannot be the text of an XML element (XML 1.0 section 2.2), or null.
const char* text_defect(std::string_view text);

// INVALID_ARGUMENT.
grpc::Status invalid(std::string message);

}  // namespace nexa::host::bare

#endif  // HOST_TRANSLATE_BARE_SCHEMA_VIEW_H_

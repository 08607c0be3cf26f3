// The schema of the process, as a tree of plain records: what every part above this room reads.
//
// The interface is C and process-wide. Records and strings belong to the schema library and live
// for the process; nothing here is ever freed by a caller. All functions may be called from any
// thread once a schema is loaded (kestrel/loader.h); none of them changes anything.
#ifndef KESTREL_KESTREL_H_
#define KESTREL_KESTREL_H_

#include <stdint.h>

#if defined(__GNUC__)
#define KESTREL_EXPORT __attribute__((visibility("default")))
#else
#define KESTREL_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

// Bits of kestrel_cs_node::flags.
enum kestrel_flag {
  KESTREL_FLAG_LIST = 0x1,          // bit 0: a list; together with bit 13: a leaf-list
  KESTREL_FLAG_META_DATA = 0x100,   // bit 8: the node carries meta-data
  KESTREL_FLAG_LEAF_LIST = 0x2000,  // bit 13
  KESTREL_FLAG_LEAFREF = 0x4000,    // bit 14
  KESTREL_FLAG_PRESENCE = 0x10000,  // bit 16: a container whose presence has a meaning
  KESTREL_FLAG_ANY_DATA = 0x20000,  // bit 17: anydata or anyxml
  KESTREL_FLAG_STATE = 0x40000      // bit 18: config false
};

// One entry of a node's meta-data; the list ends at an entry whose key is null.
struct kestrel_meta_data {
  const char* key;
  const char* value;
};

// A data node of the schema. The order of the fields is fixed.
struct kestrel_cs_node {
  uint32_t tag;                               // hash of the node's name
  uint32_t ns;                                // hash of the node's namespace URI
  const uint32_t* keys;                       // tags of the list keys, ended by 0; null when none
  uint32_t shallow_type;                      // value type code; 44 is identityref
  uint32_t flags;                             // enum kestrel_flag
  const struct kestrel_meta_data* meta_data;  // null when the node carries none
  struct kestrel_cs_node* parent;             // null at the top level
  struct kestrel_cs_node* children;           // first child in schema order, or null
  struct kestrel_cs_node* next;               // next sibling, or null
};

// One namespace of the schema. The order of the fields is fixed.
struct KestrelNsEntry {
  const char* uri;
  const char* prefix;    // the prefix that the module declares, unique in the list
  uint32_t hash;         // hash of uri, the key for kestrel_find_cs_root
  const char* revision;  // YYYY-MM-DD, or an empty string
  const char* module;
};

// Each field of both records is 32 bits wide where a pointer is.
#ifdef __cplusplus
static_assert(sizeof(void*) != 4 || sizeof(struct kestrel_cs_node) == 36, "nine 32-bit fields");
static_assert(sizeof(void*) != 4 || sizeof(struct KestrelNsEntry) == 20, "five 32-bit fields");
#else
_Static_assert(sizeof(void*) != 4 || sizeof(struct kestrel_cs_node) == 36, "nine 32-bit fields");
_Static_assert(sizeof(void*) != 4 || sizeof(struct KestrelNsEntry) == 20, "five 32-bit fields");
#endif

// Stores the first entry of the namespace list in *list and returns the number of entries. An empty
// schema gives 0 and leaves *list null.
KESTREL_EXPORT int kestrel_get_nslist(struct KestrelNsEntry** list);

// The first top-level node of a namespace, or null for an unknown hash. Further roots follow by
// `next`; the last one is the module's model-data node, the only one of a module without data
// nodes.
KESTREL_EXPORT struct kestrel_cs_node* kestrel_find_cs_root(uint32_t ns_hash);

// The child of `parent` with this tag and namespace, or null. Constant time, however many children
// there are. `parent` is null or a record that this library handed out, not a copy of one.
KESTREL_EXPORT struct kestrel_cs_node* kestrel_find_cs_node_child(
    const struct kestrel_cs_node* parent, uint32_t tag, uint32_t ns_hash);

// The string of a tag or namespace hash, or null for an unknown one. Callers must not write to it.
KESTREL_EXPORT char* kestrel_hash2str(uint32_t hash);

// The hash of a node name or namespace URI of the schema, or 0 for an unknown string.
KESTREL_EXPORT uint32_t kestrel_str2hash(const char* text);

#ifdef __cplusplus
}  // extern "C"
#endif

#endif  // KESTREL_KESTREL_H_

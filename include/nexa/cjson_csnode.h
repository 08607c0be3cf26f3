// The binding of a parsed JSON_IETF payload to the schema: which node each cJSON item stands for.
#ifndef NEXA_CJSON_CSNODE_H_
#define NEXA_CJSON_CSNODE_H_

#include <cjson/cJSON.h>
#include <grpcpp/support/status.h>
#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "kestrel/kestrel.h"
#include "nexa/kestrel_path.h"
#include "nexa/nexa_export.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"

namespace nexa {

class Json2cJsonCsnodeHash;

// The binding of one item. Owns neither the item nor the schema node.
class NEXA_EXPORT cJsonCsnode {
 public:
  cJsonCsnode(cJSON* item, kestrel_cs_node* node);

  // Kind of the schema node; false when there is none.
  bool is_list() const;
  bool is_leaflist() const;
  bool is_objectlist() const;
  bool is_leafref() const;
  bool is_identityref() const;

  // The schema node's name, or null without a node.
  char* cs_node_tag() const;

  // Refills `keys` from the schema node. Always OK.
  grpc::Status get_keys_of_list();

  // Moves the key members of the bound list entry to its front, in schema order, by swapping
  // contents: other members keep their order only where no swap touched them.
  void reorder_cjson_object_according_to_keys();
  // The same for every entry object of the bound array.
  void reorder_cjson_according_to_keys();

  // The child of `parent` that the member names, by local name; null when there is none.
  static kestrel_cs_node* find_matching_cs_node(cJSON* item, kestrel_cs_node* parent);

  // Exchanges what two items hold and leaves their places. Asserts both.
  static void swap_cjson_contents(cJSON* first, cJSON* second);

  // Entry point of the binding: checks the payload against the resolved path, drops key members
  // that the path fixes, and binds every item below `root`. INVALID_ARGUMENT when array or object
  // contradict the keys of the path, INTERNAL without a schema node for the root. A member without
  // a schema node stays unbound and is not reported. `root`, `path` and `hash` must not be null.
  static grpc::Status walk_breathfirst_cjson_and_swap_contents(cJSON* root,
                                                               Rfc7951MapperToken* token,
                                                               KestrelPath* path,
                                                               Json2cJsonCsnodeHash* hash);

  // Hangs the converted value below `attach_point`, the last element of the path: a leaf as it is,
  // a container's or list's children without their own element, nothing for a scalar JSON value
  // elsewhere. What is not hung stays the caller's: `value_root`, emptied, in all cases but a leaf.
  static void attach_xml_path_wrapper_2_xml_value(KestrelPath& path, xmlNodePtr attach_point,
                                                  xmlNodePtr value_root, cJSON* json);

  cJSON* cjson;
  kestrel_cs_node* cs_node;
  void* spare;
  std::vector<char*> keys;
  bool keys_done;
  std::vector<kestrel_cs_node*> children;
};

// All bindings of one payload, found by item. Owns the bindings, not the items; used by one thread.
class NEXA_EXPORT Json2cJsonCsnodeHash {
 public:
  Json2cJsonCsnodeHash();
  ~Json2cJsonCsnodeHash();
  Json2cJsonCsnodeHash(const Json2cJsonCsnodeHash&) = delete;
  Json2cJsonCsnodeHash& operator=(const Json2cJsonCsnodeHash&) = delete;

  // The item's binding. An item without one gets an entry with a null binding, and null is
  // returned.
  cJsonCsnode* get_cjson_csnode(cJSON* item);

  // The item's binding or null; adds nothing.
  cJsonCsnode* find(const cJSON* item) const;

  // Whether the item has an entry, a null one included.
  bool contains(const cJSON* item) const;

  // Binds the item to `node`, which may be null, in place of any earlier binding; an equal one is
  // kept.
  cJsonCsnode* bind(cJSON* item, kestrel_cs_node* node);

  // Number of entries, null bindings included.
  std::size_t size() const;

 private:
  struct Store;
  std::unique_ptr<Store> store_;
};

// The binding walk. Each function binds `item` to `node` and goes on below it; the results of all
// but visit_object carry nothing.
NEXA_EXPORT grpc::Status visit_object(cJSON* item, kestrel_cs_node* node,
                                      Json2cJsonCsnodeHash* hash);
NEXA_EXPORT void visit_value(cJSON* item, kestrel_cs_node* node, Json2cJsonCsnodeHash* hash);
NEXA_EXPORT void visit_array(cJSON* item, kestrel_cs_node* node, Json2cJsonCsnodeHash* hash);
NEXA_EXPORT void visit_string(cJSON* item, kestrel_cs_node* node, Json2cJsonCsnodeHash* hash);
NEXA_EXPORT void visit_number(cJSON* item, kestrel_cs_node* node, Json2cJsonCsnodeHash* hash);
NEXA_EXPORT void visit_bool(cJSON* item, kestrel_cs_node* node, Json2cJsonCsnodeHash* hash);
NEXA_EXPORT void visit_null(cJSON* item, kestrel_cs_node* node, Json2cJsonCsnodeHash* hash);
NEXA_EXPORT void visit_name(cJSON* item, kestrel_cs_node* node, Json2cJsonCsnodeHash* hash);

}  // namespace nexa

#endif  // NEXA_CJSON_CSNODE_H_

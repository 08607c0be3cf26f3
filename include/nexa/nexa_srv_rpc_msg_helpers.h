// The request-level operations of the library: checks, conversion of payloads to configuration XML,
// and response building. All are static and keep no state; any thread may call them.
#ifndef NEXA_NEXA_SRV_RPC_MSG_HELPERS_H_
#define NEXA_NEXA_SRV_RPC_MSG_HELPERS_H_

#include <cjson/cJSON.h>
#include <grpcpp/support/status.h>
#include <libxml/tree.h>

#include <cstdint>
#include <memory>
#include <string>

#include "gnmi.pb.h"
#include "kestrel/kestrel.h"
#include "nexa.pb.h"
#include "nexa/cjson_csnode.h"
#include "nexa/kestrel_path.h"
#include "nexa/nexa_export.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"

namespace nexa {

// The kind of request that a path belongs to. The numbers are fixed; 0 and 2 are the server's own.
enum RequestType { SUBSCRIBE = 0, GET = 1, DELETE = 2, UPDATE = 3, REPLACE = 4 };

class NEXA_EXPORT ServiceRpcMsgHelpers {
 public:
  // --- Paths and identifiers (gNMI path conventions; RFC 7950 section 6.2). A pass is OK with an
  // empty message; refusals are INVALID_ARGUMENT or UNIMPLEMENTED and are logged.

  static grpc::Status validate_yang_identifier(std::string identifier);
  // Whether the first three characters are "xml" in any letter case.
  static bool starts_with_xml(std::string text);
  // Whether the text is "...".
  static bool is_recursive_wild_card(std::string text);
  // An identifier with or without a prefix, or a wildcard where the request kind allows one.
  static grpc::Status validate_element_name(RequestType type, std::string name);
  static grpc::Status validate_key(RequestType type, std::string key);
  static grpc::Status validate_value(RequestType type, std::string value);
  // Every element name, key name and key value of the path; the first failure wins.
  static grpc::Status validate_Path(RequestType type, gnmi::Path path);
  // Refuses an empty path in a Get or a Set update.
  static grpc::Status check_0_element_path(RequestType type, gnmi::Path path);
  // Number of "*" among element names and key values; -1 when an element is "...".
  static int num_wildcards_in_path(gnmi::Path path);
  // Refuses an update without a path.
  static grpc::Status validate_path(gnmi::Update update);

  // --- Whole requests. Get-side checks return the verdict; Subscribe-side checks return whether
  // the message is acceptable and write a refusal into the notification's status.

  static grpc::Status validate_DataType(gnmi::GetRequest_DataType type);
  static grpc::Status validate_Encoding(gnmi::Encoding encoding);
  static grpc::Status validate_ModelData(gnmi::GetRequest* request);
  static bool validate_encoding(const gnmi::SubscriptionList& list, Notification* notification);
  static bool validate_slist(const gnmi::SubscriptionList& list, Notification* notification);
  static bool validate_subscriptions(const gnmi::SubscriptionList& list,
                                     Notification* notification);
  static bool validate_subscribe(const gnmi::SubscribeRequest& request, Notification* notification);
  static bool validate_poll(const gnmi::SubscribeRequest& request, Notification* notification);

  // --- Responses. Returned messages belong to the response they were added to.

  static gnmi::UpdateResult* build_UpdateResult(gnmi::SetResponse* response, const gnmi::Path& path,
                                                gnmi::UpdateResult_Operation op);
  // `prefix` may be null.
  static gnmi::Notification* build_notification(gnmi::GetResponse* response,
                                                const gnmi::Path* prefix);
  // Nanoseconds since the Unix epoch, wall clock.
  static std::int64_t get_timestamp();
  // Whether the text orders no later than the database's empty configuration document.
  static bool xml_returned_is_empty(std::string xml);
  // The xpath-style text of a path. `separator` stands between keys; " and " when null. Values are
  // not escaped.
  static std::string build_path_str(const gnmi::Path& path, const std::string* separator);
  // Copies the notification's verdict into `status`; false, with `status` untouched, when it has
  // none.
  static bool build_status(const Notification& notification, grpc::Status& status);

  // --- JSON_IETF to XML (RFC 7951 to RFC 7950 XML encoding). `hash` holds the bindings of the
  // payload; an item without one gains a null entry. Returned elements belong to the caller; null
  // is failure.

  using TokenPtr = std::shared_ptr<Rfc7951MapperToken>;
  using Mapper = gnmi::BaseNamespaceMapper;

  // One recursive converter with its own leaf handling; reports only by null. Asserts the mapper.
  static xmlNodePtr json2xml(TokenPtr& token, cJSON* item, Json2cJsonCsnodeHash* hash,
                             Mapper* mapperIntf);
  // The family of per-type converters; a failure is written to `status`. `item` is the root of the
  // payload, without member name: a prefixed name of its own would be declared twice. A JSON null
  // is not converted. Without memory for an object, array, number or boolean std::logic_error is
  // thrown.
  static xmlNodePtr start_json2xml(TokenPtr& token, cJSON* item, grpc::Status* status,
                                   Json2cJsonCsnodeHash* hash, Mapper* mapper);
  static xmlNodePtr json_value2xml(TokenPtr& token, cJSON* item, grpc::Status* status,
                                   Json2cJsonCsnodeHash* hash, Mapper* mapper);
  static xmlNodePtr json_object2xml(TokenPtr& token, cJSON* item, grpc::Status* status,
                                    Json2cJsonCsnodeHash* hash, Mapper* mapper);
  static xmlNodePtr json_array2xml(TokenPtr& token, cJSON* item, grpc::Status* status,
                                   Json2cJsonCsnodeHash* hash, Mapper* mapper);
  static xmlNodePtr json_bool2xml(TokenPtr& token, cJSON* item, grpc::Status* status,
                                  Json2cJsonCsnodeHash* hash, Mapper* mapper);
  static xmlNodePtr json_number2xml(TokenPtr& token, cJSON* item, grpc::Status* status,
                                    Json2cJsonCsnodeHash* hash, Mapper* mapper);
  static xmlNodePtr json_string2xml(TokenPtr& token, cJSON* item, grpc::Status* status,
                                    Json2cJsonCsnodeHash* hash, Mapper* mapper);
  // Converts nothing: null, status untouched.
  static xmlNodePtr json_null2xml(TokenPtr& token, cJSON* item, grpc::Status* status,
                                  Json2cJsonCsnodeHash* hash, Mapper* mapper);
  // Gives `xml` its final name and namespace and returns it; frees it on failure.
  static xmlNodePtr json_name2xml(TokenPtr& token, cJSON* item, xmlNodePtr xml,
                                  grpc::Status* status, Json2cJsonCsnodeHash* hash, Mapper* mapper);

  // --- The XML of the request path.

  // One element per path element, keys as children; the top element, or null for an empty path and
  // after a failure, which is logged. The node that `attach_point` points to, or null, takes the
  // top element as its child and is replaced by the last element; after a failure it is as it was.
  // Asserts `attach_point` and the mapper.
  static xmlNodePtr build_xml_parent_wrapper(const gnmi::Path* path, xmlNodePtr* attach_point,
                                             KestrelPath* kestrel_path, Mapper* mapperIntf);
  // Puts the path's keys before the parent's children. RESOURCE_EXHAUSTED takes the parent out of
  // its tree and frees it.
  static grpc::Status add_keys_as_first_xml_children(xmlNodePtr parent, KestrelPath path);

  // --- XML utilities.

  // An element or text node without namespace; null for any other type.
  static xmlNodePtr build_xml_node(const std::string& name, xmlElementType type);
  // An element with one text child.
  static xmlNodePtr build_xml_node_and_value(std::string& name, std::string& value);
  // Adds the attribute; a failure is only logged.
  static void add_xml_attribute(xmlNodePtr node, const std::string& name, const std::string& value);
  // Serialises the tree under a top element `config` and frees the tree. The text is released with
  // xmlFree; null on failure, and the tree then stays the caller's.
  static xmlChar* build_xml_str(xmlNodePtr root);
  // Logs the tree at DEBUG.
  static void logXmlTree(xmlNodePtr node);
};

// Chooses the conversion of a leaf by its JSON type: 1 string, 2 number, 3 boolean, 0 anything
// else.
NEXA_EXPORT int handle_json2xml_leaf_value(cJSON* item, kestrel_cs_node* node);

// The name of an item's type, taken whole: a flagged type is "UNSUPPORTED".
NEXA_EXPORT std::string cjson_type2name(cJSON* item);

// Whether the text stands for the empty value: one character out of white space, '*', 'n', 'u', 'l'
// with optional white space around it, or white space alone. "[null]" and "null" do not.
NEXA_EXPORT bool is_json_ietf_null_val(std::string& text);

}  // namespace nexa

// Writes an outline of the tree to a file, truncating it. Silent when the file cannot be opened.
extern "C" NEXA_EXPORT void write_xml2file(xmlNodePtr root, const void* ignored,
                                           const std::string& file_name);

#endif  // NEXA_NEXA_SRV_RPC_MSG_HELPERS_H_

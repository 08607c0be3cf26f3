// Stored XML back to the JSON of RFC 7951: the value of one place, or of the whole tree.
#ifndef HOST_TRANSLATE_JSON_REPLY_H_
#define HOST_TRANSLATE_JSON_REPLY_H_

#include <grpcpp/support/status.h>
#include <libxml/tree.h>

#include <string>
#include <string_view>
#include <vector>

#include "kestrel/values.h"
#include "translate/request_path.h"
#include "translate/schema_names.h"

namespace nexa::host {

class JsonReply {
 public:
  // `qualify`: member names carry their module where RFC 7951 section 4 wants it; bare names
  // otherwise.
  JsonReply(const SchemaNames& names, kestrel::ValueChecker& values, bool qualify)
      : names_(names), values_(values), qualify_(qualify) {}

  // The value of the node that `path` names in the document `xml`. NOT_FOUND when it is not there,
  // INTERNAL when the document is none or has a node without schema.
  grpc::Status write(std::string_view xml, const RequestPath& path, std::string& json);

 private:
  struct Group {
    const kestrel_cs_node* node = nullptr;
    std::vector<xmlNodePtr> elements;
  };

  kestrel_cs_node* node_of(xmlNodePtr element, const kestrel_cs_node* parent) const;
  bool is_entry(xmlNodePtr element, const PathStep& step);
  bool group(xmlNodePtr parent, const kestrel_cs_node* node, std::vector<Group>& groups);
  bool write_members(xmlNodePtr parent, const kestrel_cs_node* node, bool outermost);
  bool write_group(const Group& group);
  bool write_value(xmlNodePtr element, const kestrel_cs_node* node, bool outermost);
  void write_leaf(xmlNodePtr element, const kestrel_cs_node* node);
  void write_opaque(xmlNodePtr element);
  std::string with_module_names(xmlNodePtr element, const kestrel_cs_node* node,
                                const std::string& text);
  std::string module_for(xmlNodePtr element, std::string_view prefix) const;

  const SchemaNames& names_;
  kestrel::ValueChecker& values_;
  const bool qualify_;
  std::string out_;
};

// The path in external names: module names where the module changes.
gnmi::Path external_path(const RequestPath& path, const SchemaNames& names);

}  // namespace nexa::host

#endif  // HOST_TRANSLATE_JSON_REPLY_H_

// What printers ask of a schema node again and again, rendered once for each node of the schema:
// its member name in JSON, its tag and namespace in XML, which part of the data it belongs to.
#ifndef HOST_STORE_IMAGE_SCHEMA_TEXTS_H_
#define HOST_STORE_IMAGE_SCHEMA_TEXTS_H_

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/image/schema_order.h"

namespace nexa::store {

// The views live as long as the table and the schema.
struct SchemaText {
  std::string_view qualified;  // `,"module:name":`
  std::string_view bare;       // `,"name":`
  std::string_view name;
  std::string_view xmlns;  // ` xmlns="namespace"`

  bool is_key = false;
  bool is_inner = false;           // a container or a list
  bool is_config = false;          // config true
  bool holds_state = false;        // it or a node below it is config false
  bool changes_module = false;     // its module is not its data parent's; true at the top level
  bool shares_name = false;        // its bare name means a node of another module there, or several
  bool may_have_prefixes = false;  // XML writes some of its values with prefixes; identityrefs
                                   // alone do not count
  bool mixes_json_types = false;   // a union whose text may stand for more than one JSON type
  bool is_plain_container = false;  // without presence
  bool is_presence_container = false;
  bool has_choice = false;  // below it, outside of other data nodes

  // The name as an element of a gNMI path.
  std::string_view path_name(bool qualify) const {
    const std::string_view member = qualify ? qualified : bare;
    return member.substr(2, member.size() - 4);
  }
};

// The text as it stands between the quotes of an attribute.
std::string xml_attribute(std::string_view text);

class SchemaTexts {
 public:
  // The table of the numbered schema, built when it is asked for first. Any thread. Valid until
  // another schema is loaded.
  static const SchemaTexts& current();

  const SchemaText& of(const lysc_node* node) const { return nodes_[schema_number(node)]; }

 private:
  SchemaTexts();
  bool add(const lysc_node* node, const lysc_node* parent);
  // Whether any of the children, or a node below them, is config false.
  bool add_children(const lysc_node* parent, const lysc_module* module);
  std::string_view keep(std::string text) { return kept_.emplace_back(std::move(text)); }
  std::string_view xmlns_of(const lys_module& module);

  std::vector<SchemaText> nodes_;  // by schema_number(); the first one stands for no data node
  std::deque<std::string> kept_;
  std::vector<std::pair<const lys_module*, std::string_view>> namespaces_;
};

}  // namespace nexa::store

#endif  // HOST_STORE_IMAGE_SCHEMA_TEXTS_H_

// Images as XML: what was configured, nothing that is a default, in one line. Namespaces are
// declared where they change, and values that name nodes or identities carry prefixes (RFC 7950,
// sections 9.10.3 and 9.13.2).
#ifndef HOST_STORE_IMAGE_IMAGE_XML_H_
#define HOST_STORE_IMAGE_IMAGE_XML_H_

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/image/image.h"
#include "store/image/schema_texts.h"
#include "text/json_mark.h"

namespace nexa::store {

// The whole tree, top element "config".
std::string configuration_xml(const ImageInner& root);

// Appends elements to a text. The first one declares its namespace; where several are written side
// by side each does. One thread. `attributes`, where taken, go into the start tag as they are: each
// with a blank before it, escaped by the caller.
class XmlWriter {
 public:
  explicit XmlWriter(std::string& out) : texts_(SchemaTexts::current()), out_(out) {}
  XmlWriter(const XmlWriter&) = delete;
  XmlWriter& operator=(const XmlWriter&) = delete;

  // A node with everything configured below it: of a group all entries, of the root all top-level
  // nodes. Nothing for a default, or a container without presence that holds only defaults.
  // The attributes stand in each element that the call writes at its own level.
  void node(const ImageNode& node, std::string_view attributes = {});

  // The start of a container or an entry, default or not, without what is below it; each begin()
  // needs an end(). An element with nothing in it becomes `<name/>`.
  void begin(const ImageInner& inner, std::string_view attributes = {});
  void end();

  // The keys of an entry, in the order of the list; of other nodes nothing.
  void keys(const ImageInner& entry);

  // A leaf or leaf-list entry, default or not.
  void leaf(const ImageLeaf& leaf, std::string_view attributes = {});

  void any(const ImageAny& any, std::string_view attributes = {});

 private:
  struct Open {
    const SchemaText* text;
    const lys_module* outer;  // whose namespace was the default one around the element
  };

  // The mark that a value was found to need.
  struct Mark {
    const lysc_node* schema = nullptr;
    ScalarForm form = ScalarForm::kString;
    std::string text;
    std::optional<text::JsonType> mark;
  };

  void inner(const ImageInner& node, std::string_view attributes);
  void start_tag(const SchemaText& text, const lys_module* module, std::string_view attributes);
  void identity(std::string_view value, const SchemaText& text);
  bool prefixed(const ImageLeaf& leaf, const SchemaText& text);
  void value(std::string_view value, const SchemaText& text);
  std::optional<text::JsonType> mark_of(const ImageLeaf& leaf);
  void declare(const lys_module& module);
  const lys_module* module_named(std::string_view name);

  const SchemaTexts& texts_;
  std::string& out_;
  std::vector<Open> open_;
  const lys_module* module_ = nullptr;  // whose namespace is the default one
  bool tag_is_open_ = false;            // the innermost start tag lacks its ">"
  std::unordered_map<std::string, const lys_module*> modules_;
  std::string module_name_;
  std::vector<Mark> marks_;  // newer ones take the places of older ones
};

}  // namespace nexa::store

#endif  // HOST_STORE_IMAGE_IMAGE_XML_H_

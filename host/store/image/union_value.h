// Values of unions whose members differ in their JSON type: int32 beside string, empty beside
// enumeration. RFC 7951, section 6.10, chooses the member by the JSON type. libyang reads only
// text, and takes the first member that accepts it: "007" becomes the number 7 there.
//
// The image keeps the text and the ScalarForm of the member that the JSON type chose. The libyang
// trees keep the text: a value has the member that libyang chooses, unless that one has another
// canonical text. So rules compare texts, as they do for a client that speaks XML, and no text is
// altered. Documents carry a mark (text/json_mark.h) where the text alone says something else.
#ifndef HOST_STORE_IMAGE_UNION_VALUE_H_
#define HOST_STORE_IMAGE_UNION_VALUE_H_

#include <optional>
#include <string>
#include <string_view>

#include "store/image/image.h"
#include "text/json_mark.h"

namespace nexa::store {

// The hints that make libyang read a text as JSON of this form. Numbers and booleans have one form.
std::uint32_t hints_of(ScalarForm form, std::string_view text);

// The JSON type of a leaf's value.
text::JsonType json_type(ScalarForm form, std::string_view text);

// The type of the member that a union's value has, by its text and form.
LY_DATA_TYPE chosen_member(const ImageLeaf& leaf);

// The mark that a document needs for the value; nothing where its text says it all.
std::optional<text::JsonType> needed_mark(const lysc_node* schema, std::string_view text,
                                          ScalarForm form);

// Gives a leaf or leaf-list entry that was just made of `text` the member of its union that keeps
// the text, when libyang's choice does not. Of a leaf-list entry and of a key the hash stays that
// of libyang's choice, which is the same for every node made so.
void keep_text(lyd_node* leaf, const char* text);

// Whether libyang read the value with a JSON type: in a document one that is marked, in other trees
// one whose text libyang alone would not keep.
bool has_chosen_member(const lyd_node* leaf);

// `xml` as libyang reads it, in `storage` when it has marks; the same text otherwise.
std::string_view readable_marks(std::string_view xml, std::string& storage);

// Gives the marked values of a tree that was read from readable_marks() their members, and takes
// the marks out. A value whose type has no such member under the loaded schema keeps libyang's
// choice if that keeps its text. Null when all fit, else the node whose text would change.
const lyd_node* apply_marks(lyd_node* first);

// The mark of an anydata or anyxml node that says its JSON text; null when there is none. It stays
// on the node.
const lyd_meta* json_text_mark(const lyd_node* any);

// Writes that mark into the start tag of the element that `xml` begins with.
void add_json_text(std::string_view json, std::string& xml);

}  // namespace nexa::store

#endif  // HOST_STORE_IMAGE_UNION_VALUE_H_

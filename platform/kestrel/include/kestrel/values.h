// Judges and spells the values of leaves: what a server needs between the wire and its store,
// beside the plain records of kestrel/kestrel.h. Values come in the JSON encoding of RFC 7951 and
// leave in the XML encoding of RFC 7950, and back.
#ifndef KESTREL_VALUES_H_
#define KESTREL_VALUES_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kestrel/kestrel.h"

namespace kestrel {

// How a value was written; RFC 7951 section 6 says which types may be written how.
enum class Written : std::uint8_t {
  kString,
  kNumber,  // without an exponent
  kBoolean,
  kEmpty,  // [null]
  kNull,
  kText,  // no form of its own: a key in a path, or the text of an XML element
};

// The value of a leaf as XML carries it.
struct StoredText {
  bool as_given = true;  // the text that was checked is already right
  std::string text;      // otherwise: the text to store
  // Declarations that the text needs: (prefix, namespace URI). The prefixes are those of the
  // namespace list.
  std::vector<std::pair<std::string, std::string>> namespaces;
  std::string qualified;  // "module:identity", when a bare identity was given its module
  // Of a union that has members of several JSON types: how the value is written in JSON, when the
  // text alone says something else, or of a key also when it may; kText otherwise.
  Written mark = Written::kText;
};

// Checks values against the loaded schema. Remembers what it learnt about each leaf, so keep one.
// Not thread-safe; several objects are independent of each other.
class KESTREL_EXPORT ValueChecker {
 public:
  ValueChecker();
  ~ValueChecker();
  ValueChecker(const ValueChecker&) = delete;
  ValueChecker& operator=(const ValueChecker&) = delete;

  // Whether `node`, a leaf or leaf-list, takes the value. Sets `out` on success, `rule` otherwise.
  // `lenient` also takes bare numbers for 64-bit and decimal types, quoted numbers for the others,
  // "true" and "false" for a boolean, 1.0 for an integer, null for an empty leaf, line breaks
  // anywhere in base64, and identities without their module, where the schema leaves one meaning.
  bool check(const kestrel_cs_node* node, std::string_view text, Written written, bool lenient,
             StoredText& out, std::string& rule);

  // The canonical text of a value that `node` takes; the text itself when it does not.
  std::string canonical(const kestrel_cs_node* node, std::string_view text,
                        Written written = Written::kText);

  // Whether `node` is an anyxml, which any JSON value can stand for; anydata takes objects only.
  bool takes_any_form(const kestrel_cs_node* node);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace kestrel

#endif  // KESTREL_VALUES_H_

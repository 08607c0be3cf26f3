// Random valid instances of a loaded schema, from a seed: the same seed gives the same instances.
// Every value is one that its type takes; where a type has a pattern, texts are drawn from the
// pattern.
#ifndef TESTS_SUPPORT_INSTANCE_GENERATOR_H_
#define TESTS_SUPPORT_INSTANCE_GENERATOR_H_

#include <libyang/libyang.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "gnmi.pb.h"

namespace nexa_test {

// How a scalar stands in JSON.
enum class TokenKind { kString, kBare, kEmpty };

struct Scalar {
  TokenKind kind = TokenKind::kString;
  LY_DATA_TYPE type = LY_TYPE_STRING;
  std::string text;
};

// An instance of a data node; a list has one child for each entry, and an entry the list's node
// again.
struct Instance {
  const lysc_node* node = nullptr;
  bool array = false;  // a list or leaf-list, its entries below
  Scalar scalar;       // of a leaf, or an entry of a leaf-list
  std::vector<Instance> children;
};

// One update and the tree that it means.
struct GeneratedUpdate {
  gnmi::Path path;
  std::string json;        // the value at the path
  std::string whole_tree;  // the same as one document in the strictest form
};

// Which forms the update's value may take beside the strict ones.
enum class Forms { kStrict, kTolerant };

class InstanceGenerator {
 public:
  InstanceGenerator(const ly_ctx* context, std::uint32_t seed);

  // An update somewhere on the way to `leaf` that holds it; nullopt when no value for a leaf or key
  // on the way was found.
  std::optional<GeneratedUpdate> update_with(const lysc_node* leaf, Forms forms);

  // The same document with one fault or oddity put in.
  std::string damaged(const std::string& json);

  const std::set<const lysc_node*>& covered() const { return covered_; }

 private:
  using Chain = std::vector<const lysc_node*>;

  std::optional<Instance> node_instance(const lysc_node* node, const Chain& wanted, int depth);
  std::optional<Instance> entry_of(const lysc_node* list, const Chain& wanted, int depth);
  bool add_children(Instance& parent, const Chain& wanted, int depth);
  void emit(const Instance& instance, const lys_module* outer, bool strict, bool skip_keys,
            std::string& out);
  void emit_members(const Instance& object, const lys_module* outer, bool strict, bool skip_keys,
                    std::string& out);
  void emit_scalar(const Scalar& scalar, bool strict, std::string& out);
  void add_element(const Instance& step, const lys_module* outer, gnmi::Path& path);
  std::optional<Scalar> value_of(const lysc_node* node);
  int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
  bool chance(int percent) { return below(100) < percent; }

  const ly_ctx* context_;
  std::mt19937 random_;
  std::set<const lysc_node*> covered_;
};

// Whether a namespace is in the schema that was loaded: libyang's own modules are in its context
// only.
bool in_schema(const char* uri);

// All data nodes of the implemented modules.
std::vector<const lysc_node*> data_nodes(const ly_ctx* context);

// Whether the loaded modules allow any value of a leaf, and of the keys above it: an identityref
// whose base nobody derives from has none.
bool can_have_value(const lysc_node* leaf);

// Texts for a node's type, some of which it may not take. `random` drives the choice.
std::string candidate_text(const ly_ctx* context, const lysc_node* node, const lysc_type* type,
                           std::mt19937& random);

// A text that the pattern (XML Schema) is likely to match.
std::string sample_pattern(const std::string& pattern, std::mt19937& random);

}  // namespace nexa_test

#endif  // TESTS_SUPPORT_INSTANCE_GENERATOR_H_

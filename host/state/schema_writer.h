// Writes operational data as XML along the loaded schema: what the schema has no node for is left
// out, so that a provider can serve any version of a module, or a deviated one.
#ifndef HOST_STATE_SCHEMA_WRITER_H_
#define HOST_STATE_SCHEMA_WRITER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/kestrel.h"

namespace nexa::state {

// The loaded module of this name, or null.
const KestrelNsEntry* find_module(std::string_view name);

// Belongs to one thread and one schema.
class SchemaWriter {
 public:
  // Appends to `xml`, which outlives the object.
  explicit SchemaWriter(std::string& xml) : xml_(xml) {}

  // Opens the top-level container `name` of a module; null is no module. False when the schema has
  // none: nothing is opened then. Each open() that says true needs its close().
  bool open_top(const KestrelNsEntry* module, const char* name);
  // The same for a child of what is open, of the same module or of `module`.
  bool open(const char* name);
  bool open(const KestrelNsEntry* module, const char* name);
  // Ends the element; one with nothing in it is taken out again.
  void close();

  // Whether what is open has a child of this name, of the same module.
  bool has(const char* name) const { return child(current(), name) != nullptr; }

  // A leaf, if the schema has it. `text` is its value as XML carries it, not escaped.
  void leaf(const char* name, std::string_view text);
  void leaf(const char* name, std::uint64_t value) { leaf(name, std::to_string(value)); }
  // A leaf whose value is an identity of `module`; left out when that is null.
  void identity_leaf(const char* name, const KestrelNsEntry* module, std::string_view identity);

 private:
  struct Open {
    const kestrel_cs_node* node;
    std::size_t begin;    // of the start tag
    std::size_t content;  // behind it
  };

  const kestrel_cs_node* current() const { return open_.empty() ? nullptr : open_.back().node; }
  static const kestrel_cs_node* child(const kestrel_cs_node* parent, const char* name);
  bool enter(const kestrel_cs_node* node);

  std::string& xml_;
  std::vector<Open> open_;
};

}  // namespace nexa::state

#endif  // HOST_STATE_SCHEMA_WRITER_H_

// Makes a generation of the schema from a compiled libyang context.
#ifndef KESTREL_SRC_SCHEMA_BUILDER_H_
#define KESTREL_SRC_SCHEMA_BUILDER_H_

#include <memory>
#include <vector>

#include "schema.h"

struct lys_module;

namespace kestrel {

// `modules` are implemented, compiled and of different namespaces; they become the namespace list,
// in this order. `table` holds the strings of earlier generations.
std::unique_ptr<Schema> build_schema(const std::vector<const lys_module*>& modules,
                                     StringTable table);

}  // namespace kestrel

#endif  // KESTREL_SRC_SCHEMA_BUILDER_H_

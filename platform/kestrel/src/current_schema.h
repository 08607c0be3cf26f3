// The generation that readers see. Written by the loader alone.
#ifndef KESTREL_SRC_CURRENT_SCHEMA_H_
#define KESTREL_SRC_CURRENT_SCHEMA_H_

#include "schema.h"

namespace kestrel {

extern SchemaView current_schema;

}  // namespace kestrel

#endif  // KESTREL_SRC_CURRENT_SCHEMA_H_

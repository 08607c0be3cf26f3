// Where origin and target of a request's paths may stand, and what an origin stands for.
#ifndef HOST_MODEL_ORIGIN_H_
#define HOST_MODEL_ORIGIN_H_

#include <optional>

#include "gnmi.pb.h"
#include "model/schema_names.h"
#include "text/result.h"

namespace nexa::model {

// The scope of `path` below `prefix`; the origin of neither is the whole schema's. Refusals as in
// Resolver::resolve().
text::Result<Scope> scope_of(const SchemaNames& names, Mode mode, const gnmi::Path& prefix,
                             const gnmi::Path& path);

}  // namespace nexa::model

#endif  // HOST_MODEL_ORIGIN_H_

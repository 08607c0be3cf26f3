// Loads a schema and makes it the one that readers see. Nothing that readers may hold is ever
// freed.
#include "kestrel/loader.h"

#include <memory>
#include <utility>

#include "context_loader.h"
#include "current_schema.h"
#include "schema_builder.h"

namespace kestrel {
namespace {

// A schema that was loaded, with the context that it was made from. Records handed out belong to
// it, so it stays; the chain keeps all of them reachable.
struct Generation {
  Context context;
  std::unique_ptr<Schema> schema;
  std::unique_ptr<Generation> earlier;
};

// A plain pointer: readers may still be at work while the process ends, when an object with a
// destructor would be gone.
Generation* newest = nullptr;

void make_current(std::unique_ptr<Generation> generation) {
  generation->earlier.reset(newest);
  newest = generation.release();
  current_schema = newest->schema->view();
}

}  // namespace

std::string LoadError::text() const {
  std::string result = file;
  if (line != 0) result += ":" + std::to_string(line);
  if (!result.empty() && !message.empty()) result += ": ";
  return result + message;
}

std::optional<LoadError> load(const LoadOptions& options) {
  ContextLoader loader(options);
  if (std::optional<LoadError> error = loader.load()) return error;
  StringTable strings =
      newest == nullptr ? StringTable() : StringTable::successor(newest->schema->strings);
  auto generation = std::make_unique<Generation>();
  generation->schema = build_schema(loader.modules(), std::move(strings));
  generation->context = loader.take_context();
  make_current(std::move(generation));
  return std::nullopt;
}

const struct ly_ctx* context() { return newest == nullptr ? nullptr : newest->context.get(); }

std::size_t node_count() { return current_schema.node_count; }

}  // namespace kestrel

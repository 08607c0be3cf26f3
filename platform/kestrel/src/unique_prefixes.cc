// YANG prefixes need to be unique within a module only; the name maps above this room are keyed by
// prefix, so here they become unique in the schema.
#include "unique_prefixes.h"

#include <grpc/support/log.h>

#include <unordered_set>

namespace kestrel {
namespace {

std::string free_variant(std::string_view prefix, const std::unordered_set<std::string>& taken) {
  for (unsigned number = 2;; ++number) {
    std::string variant = std::string(prefix) + "-" + std::to_string(number);
    if (taken.count(variant) == 0) return variant;
  }
}

}  // namespace

std::vector<std::string> unique_prefixes(const std::vector<DeclaredPrefix>& declared) {
  // Every declared prefix is taken from the start: a module further on may declare what would
  // otherwise be the next free variant.
  std::unordered_set<std::string> taken;
  for (const DeclaredPrefix& entry : declared) taken.emplace(entry.prefix);

  std::vector<std::string> result;
  result.reserve(declared.size());
  std::unordered_set<std::string> used;
  for (const DeclaredPrefix& entry : declared) {
    std::string prefix(entry.prefix);
    if (!used.insert(prefix).second) {
      prefix = free_variant(entry.prefix, taken);
      taken.insert(prefix);
      used.insert(prefix);
      const std::string module(entry.module);
      const std::string wanted(entry.prefix);
      gpr_log(GPR_INFO, "module %s declares the prefix %s of another module and is known as %s",
              module.c_str(), wanted.c_str(), prefix.c_str());
    }
    result.push_back(std::move(prefix));
  }
  return result;
}

}  // namespace kestrel

// "A single request MUST NOT specify origin in both prefix and any path field" (gNMI, mixed-schema
// origins), so two equal ones are refused like two different ones.
#include "model/origin.h"

#include "gnmi/gnmi_base_namespace_mapper.h"
#include "text/display.h"

namespace nexa::model {
namespace {

constexpr char kTargetInPath[] = "a target is taken in the prefix only";
constexpr char kOriginTwice[] = "an origin stands in the prefix or in the paths, not in both";
constexpr char kNotServed[] =
    " not supported, the served ones are \"openconfig\", \"rfc7951\" and none";
constexpr char kNotServedNorModule[] =
    " not supported, the served ones are \"openconfig\", \"rfc7951\", the names of modules and "
    "none";
constexpr char kRfc7951[] = "rfc7951";

constexpr std::size_t kMostOriginShown = 60;

}  // namespace

text::Result<Scope> scope_of(const SchemaNames& names, Mode mode, const gnmi::Path& prefix,
                             const gnmi::Path& path) {
  if (!path.target().empty()) {
    return text::Failure{grpc::StatusCode::INVALID_ARGUMENT, "", kTargetInPath};
  }
  if (!prefix.origin().empty() && !path.origin().empty()) {
    return text::Failure{grpc::StatusCode::INVALID_ARGUMENT, "", kOriginTwice};
  }
  Scope scope;
  scope.origin = path.origin().empty() ? prefix.origin() : path.origin();
  if (scope.origin.empty() || scope.origin == kRfc7951) return scope;
  if (scope.origin == gnmi::BaseNamespaceMapper::ORIGIN_OPENCONFIG_STR) {
    scope.kind = Scope::Kind::kOpenConfig;
    return scope;
  }
  const KestrelNsEntry* const module =
      mode == Mode::kTolerant ? names.by_module(scope.origin) : nullptr;
  if (module != nullptr) {
    scope.kind = Scope::Kind::kModule;
    scope.ns = module->hash;
    return scope;
  }
  return text::Failure{grpc::StatusCode::UNIMPLEMENTED, "",
                       "origin " + text::quoted(scope.origin, kMostOriginShown) +
                           (mode == Mode::kTolerant ? kNotServedNorModule : kNotServed)};
}

}  // namespace nexa::model

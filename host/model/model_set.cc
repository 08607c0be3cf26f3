// Names are looked up in the loaded context; the list of Capabilities says which of them are
// models of this server.
#include "model/model_set.h"

#include <libyang/libyang.h>

#include <algorithm>
#include <functional>

#include "kestrel/loader.h"
#include "text/display.h"

namespace nexa::model {
namespace {

constexpr std::size_t kMostShown = 100;

bool is_meant(const gnmi::ModelData& wanted, const gnmi::ModelData& supported) {
  return wanted.name() == supported.name() &&
         (wanted.organization().empty() || wanted.organization() == supported.organization()) &&
         (wanted.version().empty() || wanted.version() == supported.version());
}

text::Failure unknown_model(int index, const gnmi::ModelData& wanted) {
  text::Failure failure;
  failure.code = grpc::StatusCode::NOT_FOUND;
  failure.rule = "use_models[" + std::to_string(index) + "]: no model " +
                 text::quoted(wanted.name(), kMostShown);
  if (!wanted.organization().empty()) {
    failure.rule += " of " + text::quoted(wanted.organization(), kMostShown);
  }
  if (!wanted.version().empty()) {
    failure.rule += " in version " + text::quoted(wanted.version(), kMostShown);
  }
  return failure;
}

}  // namespace

text::Result<std::shared_ptr<const ModelSet>> ModelSet::of(
    const google::protobuf::RepeatedPtrField<gnmi::ModelData>& models,
    const google::protobuf::RepeatedPtrField<gnmi::ModelData>& supported) {
  if (models.empty()) return std::shared_ptr<const ModelSet>();
  const auto set = std::make_shared<ModelSet>();
  for (int index = 0; index < models.size(); ++index) {
    const gnmi::ModelData& wanted = models.Get(index);
    const bool is_known =
        std::any_of(supported.begin(), supported.end(),
                    [&wanted](const gnmi::ModelData& one) { return is_meant(wanted, one); });
    const lys_module* const module =
        is_known ? ly_ctx_get_module_implemented(kestrel::context(), wanted.name().c_str())
                 : nullptr;
    if (module == nullptr) return unknown_model(index, wanted);
    set->modules_.push_back(module);
    set->names_.push_back(wanted.name());
  }
  std::sort(set->modules_.begin(), set->modules_.end(), std::less<>());
  std::sort(set->names_.begin(), set->names_.end());
  return std::shared_ptr<const ModelSet>(set);
}

bool ModelSet::has(const lys_module* module) const {
  return std::binary_search(modules_.begin(), modules_.end(), module, std::less<>());
}

bool ModelSet::has_way_to(const lysc_node* node) const {
  for (; node != nullptr; node = node->parent) {
    const bool is_data = (node->nodetype & (LYS_CHOICE | LYS_CASE)) == 0;
    if (is_data && !has(node->module)) return false;
  }
  return true;
}

bool ModelSet::has_identity(std::string_view text) const {
  const std::string_view module = text.substr(0, text.find(':'));
  return std::binary_search(names_.begin(), names_.end(), module, std::less<>());
}

}  // namespace nexa::model

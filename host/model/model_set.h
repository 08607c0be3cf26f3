// The models that a client wants to be served from (use_models; gNMI specification, section 2.6).
#ifndef HOST_MODEL_MODEL_SET_H_
#define HOST_MODEL_MODEL_SET_H_

#include <google/protobuf/repeated_field.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "gnmi.pb.h"
#include "text/result.h"

struct lys_module;
struct lysc_node;

namespace nexa::model {

class ModelSet {
 public:
  // The modules that `models` name, null for none named: all are meant then. NOT_FOUND for a model
  // that `supported` (Capabilities) does not have: by its name, and by its organization and version
  // where they are given. Any thread.
  static text::Result<std::shared_ptr<const ModelSet>> of(
      const google::protobuf::RepeatedPtrField<gnmi::ModelData>& models,
      const google::protobuf::RepeatedPtrField<gnmi::ModelData>& supported);

  bool has(const lys_module* module) const;

  // Whether the node and everything above it are of these modules.
  bool has_way_to(const lysc_node* node) const;

  // Whether "module:name" is of one of them.
  bool has_identity(std::string_view text) const;

 private:
  std::vector<const lys_module*> modules_;  // ascending
  std::vector<std::string> names_;          // the same, ascending
};

}  // namespace nexa::model

#endif  // HOST_MODEL_MODEL_SET_H_

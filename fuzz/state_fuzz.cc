// Operational data as a provider writes it: it is refused with a text, or it is read beside the
// configuration as JSON.
#include <cjson/cJSON.h>

#include <memory>

#include "store/tree_store.h"
#include "support.h"

namespace {

using nexa::store::ConfigStore;
using nexa::store::DataPart;
using nexa::store::Form;
using nexa::store::Query;

ConfigStore& store() {
  static const fuzz::TemporaryFolder folder;
  static const std::unique_ptr<ConfigStore> opened = [] {
    fuzz::mapper();
    nexa::store::TreeStoreOptions options;
    options.directory = folder.path();
    options.sync = false;
    auto made = nexa::store::open_tree_store(options);
    if (!made.ok()) fuzz::fail("no store", made.failure().line());
    return std::move(made).value();
  }();
  return *opened;
}

void check_json(const std::string& json) {
  struct FreeJson {
    void operator()(cJSON* item) const { cJSON_Delete(item); }
  };
  // A leaf's value stands alone, which a JSON text may.
  const char* end = nullptr;
  const std::unique_ptr<cJSON, FreeJson> value(
      cJSON_ParseWithLengthOpts(json.data(), json.size(), &end, 0));
  if (value == nullptr || end != json.data() + json.size()) fuzz::fail("no JSON", json);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string xml = fuzz::text_of(data, size);
  const auto parsed = store().parse_state(xml);
  if (!parsed.ok()) {
    if (parsed.failure().rule.empty()) fuzz::fail("refused without a text", xml);
    return 0;
  }
  for (const DataPart part :
       {DataPart::kAll, DataPart::kConfig, DataPart::kState, DataPart::kOperational}) {
    for (const Form form : {Form::kSubtrees, Form::kLeaves}) {
      Query query;
      query.part = part;
      query.form = form;
      const grpc::Status status = store().snapshot()->read(
          query, parsed.value().get(),
          [](gnmi::Path&, gnmi::TypedValue& value) { check_json(value.json_ietf_val()); });
      if (!status.ok()) fuzz::fail("the root cannot be read", status.error_message());
    }
  }
  return 0;
}

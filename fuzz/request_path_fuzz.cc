// Request paths as they come off the wire: every check gives a verdict, a pass has an empty
// message, and what resolves has no more schema nodes than the path has elements.
#include <cstdint>
#include <cstdlib>

#include "kestrel/loader.h"
#include "nexa/nexa_srv_rpc_msg_helpers.h"

namespace {

bool load_models() {
  kestrel::LoadOptions options;
  options.search_dirs = {NEXA_MODELS_DIR};
  return !kestrel::load(options);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using Helpers = nexa::ServiceRpcMsgHelpers;
  static const bool loaded = load_models();
  if (!loaded) std::abort();
  gnmi::Path path;
  if (!path.ParseFromArray(data, static_cast<int>(size))) return 0;
  for (const auto type : {nexa::SUBSCRIBE, nexa::GET, nexa::DELETE, nexa::UPDATE, nexa::REPLACE}) {
    for (const grpc::Status& verdict :
         {Helpers::validate_Path(type, path), Helpers::check_0_element_path(type, path)}) {
      if (verdict.ok() != verdict.error_message().empty()) std::abort();
    }
  }
  if (Helpers::num_wildcards_in_path(path) < -1) std::abort();
  const std::string text = Helpers::build_path_str(path, nullptr);
  if (!text.empty() && text.front() != '/') std::abort();
  nexa::KestrelPath kestrel_path(path, std::string());
  static_cast<void>(kestrel_path.path2cs_nodes());
  if (kestrel_path.cs_nodes_.size() > static_cast<std::size_t>(path.elem_size())) std::abort();
  return 0;
}

// A path string, a newline, and a JSON_IETF value: a whole document comes out, or a refusal that
// says why and leaves the output alone. Both converters.
#include <libxml/parser.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "kestrel/loader.h"
#include "translate/compose.h"
#include "translate/path_string.h"

namespace {

using nexa::host::ComposeRequest;
using nexa::host::Converter;

nexa::ServiceKestrelNamespaceMapperImpl& mapper() {
  static nexa::ServiceKestrelNamespaceMapperImpl instance;
  static const bool ready = [] {
    kestrel::LoadOptions options;
    options.search_dirs = {NEXA_MODELS_DIR};
    return !kestrel::load(options) && instance.populate().ok();
  }();
  if (!ready) std::abort();
  return instance;
}

void check(const ComposeRequest& request) {
  std::string xml = "untouched";
  const grpc::Status status = nexa::host::compose(mapper(), request, xml);
  if (!status.ok()) {
    if (xml != "untouched" || status.error_message().empty()) std::abort();
    return;
  }
  xmlDocPtr document = xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr,
                                     XML_PARSE_NONET | XML_PARSE_HUGE);
  if (document == nullptr) std::abort();
  xmlFreeDoc(document);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto* end_of_path = std::find(data, data + size, '\n');
  if (end_of_path == data + size) return 0;
  nexa::host::PathStringError error;
  const auto path =
      nexa::host::parse_path_string(std::string(reinterpret_cast<const char*>(data),
                                                static_cast<std::size_t>(end_of_path - data)),
                                    &error);
  if (!path) return 0;
  ComposeRequest request;
  request.path = *path;
  request.value.assign(end_of_path + 1, data + size);
  for (const auto mode : {nexa::UPDATE, nexa::REPLACE}) {
    for (const auto converter : {Converter::kStrict, Converter::kSimple}) {
      request.mode = mode;
      request.converter = converter;
      check(request);
    }
  }
  return 0;
}

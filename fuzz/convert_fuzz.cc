// A path string, a newline, and a JSON_IETF value: a whole document comes out, or a refusal that
// says why and gives no document. Both modes.
#include <libxml/parser.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "kestrel/loader.h"
#include "text/xml_owner.h"
#include "translate/path_string.h"
#include "translate/translate.h"

namespace {

using nexa::host::Mode;
using nexa::host::Operation;
using nexa::host::Translator;

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

void check(Translator& translator, const gnmi::Update& update, Operation operation) {
  const nexa::host::Translation result =
      translator.translate(gnmi::Path(), update, operation, true);
  if (!result.status.ok()) {
    if (!result.xml.empty() || result.status.error_message().empty()) std::abort();
    return;
  }
  const nexa::text::XmlDocPtr document(xmlReadMemory(result.xml.data(),
                                                     static_cast<int>(result.xml.size()), nullptr,
                                                     nullptr, XML_PARSE_NONET | XML_PARSE_HUGE));
  if (document == nullptr) std::abort();
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
  gnmi::Update update;
  *update.mutable_path() = *path;
  update.mutable_val()->set_json_ietf_val(std::string(end_of_path + 1, data + size));
  static Translator strict(mapper(), Mode::kStrict);
  static Translator tolerant(mapper(), Mode::kTolerant);
  for (Translator* const translator : {&strict, &tolerant}) {
    for (const Operation operation : {Operation::kUpdate, Operation::kReplace}) {
      check(*translator, update, operation);
    }
  }
  return 0;
}

// One update through the translation layer, or through the bare composition of the library's
// functions, for an instruction counter around it:
//   translate_probe bare|layer ENTRIES
// The first conversion warms caches; the counter sees the second.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/workload.h"
#include "translate/path_string.h"
#include "translate/single_update.h"

namespace {

struct Workload {
  std::string json;
  gnmi::Path path;
  gnmi::Update update;
  std::shared_ptr<nexa::Rfc7951MapperToken> token;
  nexa::ServiceKestrelNamespaceMapperImpl* mapper = nullptr;
  nexa::model::Resolver* resolver = nullptr;
  nexa::translate::Translator* translator = nullptr;
};

std::size_t convert(const char* kind, Workload& work) {
  if (std::strcmp(kind, "bare") == 0) {
    return nexa_bench::convert_nexa(work.json, work.path, work.token, work.mapper);
  }
  const nexa::translate::Translation result =
      nexa::translate::translate_update(*work.resolver, *work.translator, gnmi::Path(), work.update,
                                        nexa::translate::Operation::kUpdate);
  if (!result.status.ok()) std::fprintf(stderr, "%s\n", result.status.error_message().c_str());
  return result.xml.size();
}

}  // namespace

extern "C" __attribute__((noinline, visibility("default"))) std::size_t measured_region(
    const char* kind, Workload* work) {
  return convert(kind, *work);
}

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: translate_probe bare|layer ENTRIES\n");
    return 2;
  }
  Workload work;
  work.mapper = nexa_bench::openconfig_mapper();
  if (work.mapper == nullptr) return 77;
  const int entries = std::atoi(argv[2]);
  work.json = nexa_bench::interfaces_payload(entries);
  work.path = nexa_bench::interfaces_path();
  work.token = work.mapper->newToken();
  nexa::translate::PathStringError error;
  *work.update.mutable_path() =
      nexa::translate::parse_path_string("/openconfig-interfaces:interfaces", &error).value();
  work.update.mutable_val()->set_json_ietf_val(work.json);
  const nexa::model::Schema schema;
  nexa::model::Resolver resolver(schema);
  nexa::translate::Translator translator(*work.mapper, schema);
  work.resolver = &resolver;
  work.translator = &translator;
  if (convert(argv[1], work) == 0) return 1;
  const std::size_t bytes = measured_region(argv[1], &work);
  std::printf("%s: %d leaves, %zu bytes of XML\n", argv[1], entries * nexa_bench::kLeavesPerEntry,
              bytes);
  return bytes == 0 ? 1 : 0;
}

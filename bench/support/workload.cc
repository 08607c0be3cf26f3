// The schema and the payloads that the benchmarks share.
#include "support/workload.h"

#include <libyang/libyang.h>

#include <cstdio>
#include <cstdlib>

#include "kestrel/loader.h"
#include "support/openconfig_payload.h"

namespace nexa_bench {
namespace {

std::unique_ptr<nexa::ServiceKestrelNamespaceMapperImpl> load_mapper() {
  const std::string folder = openconfig_folder();
  if (folder.empty()) {
    std::fputs(kNoOpenConfig, stderr);
    return nullptr;
  }
  kestrel::LoadOptions options;
  options.search_dirs = {folder};
  if (const auto error = kestrel::load(options)) {
    std::fprintf(stderr, "%s\n", error->text().c_str());
    return nullptr;
  }
  auto mapper = std::make_unique<nexa::ServiceKestrelNamespaceMapperImpl>();
  static_cast<void>(mapper->populate());
  return mapper;
}

std::string entry_text(int number) {
  const std::string n = std::to_string(number);
  const std::string name = "\"eth" + n + "\"";
  return "{\"name\":" + name + ",\"config\":{\"name\":" + name +
         ",\"type\":\"iana-if-type:ethernetCsmacd\",\"mtu\":1500,\"loopback-mode\":\"NONE\","
         "\"description\":\"uplink number " +
         n +
         " to the core\",\"enabled\":true}"
         ",\"hold-time\":{\"config\":{\"up\":10,\"down\":20}}"
         ",\"subinterfaces\":{\"subinterface\":[{\"index\":0,\"config\":{\"index\":0,"
         "\"description\":"
         "\"unit 0\",\"enabled\":true}},{\"index\":1,\"config\":{\"index\":1,\"description\":"
         "\"unit 1\",\"enabled\":false}}]}"
         ",\"openconfig-if-ethernet:ethernet\":{\"config\":{\"auto-negotiate\":true,"
         "\"mac-address\":\"00:11:22:33:44:55\",\"enable-flow-control\":false}}}";
}

}  // namespace

nexa::ServiceKestrelNamespaceMapperImpl* openconfig_mapper() {
  static const std::unique_ptr<nexa::ServiceKestrelNamespaceMapperImpl> mapper = load_mapper();
  return mapper.get();
}

std::string interfaces_payload(int entries) {
  std::string text = "{\"openconfig-interfaces:interface\":[";
  for (int i = 0; i < entries; ++i) {
    if (i > 0) text += ",";
    text += entry_text(i);
  }
  return text + "]}";
}

gnmi::Path interfaces_path() {
  gnmi::Path path;
  path.add_elem()->set_name("oc-if:interfaces");
  return path;
}

std::size_t convert_libyang(const std::string& json) {
  // libyang reads whole trees, so the value gets its container back.
  const std::string whole = "{\"openconfig-interfaces:interfaces\":" + json + "}";
  lyd_node* tree = nullptr;
  // The context is only extended by loading, which is over.
  auto* context = const_cast<ly_ctx*>(kestrel::context());
  if (lyd_parse_data_mem(context, whole.c_str(), LYD_JSON, LYD_PARSE_ONLY, 0, &tree) !=
      LY_SUCCESS) {
    return 0;
  }
  char* text = nullptr;
  lyd_print_mem(&text, tree, LYD_XML, LYD_PRINT_WITHSIBLINGS | LYD_PRINT_SHRINK);
  const std::size_t length = text == nullptr ? 0 : std::char_traits<char>::length(text);
  std::free(text);
  lyd_free_all(tree);
  return length;
}

}  // namespace nexa_bench

// What a server does first: load modules, fill the mapper, check and resolve a path, write XML.
#include <cstdio>
#include <cstring>

#include "kestrel/loader.h"
#include "nexa/nexa_srv_rpc_msg_helpers.h"

namespace {

int fail(const char* what) {
  std::printf("consumer: %s\n", what);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return fail("usage: consumer YANG_DIR");
  kestrel::LoadOptions options;
  options.search_dirs = {argv[1]};
  if (const auto error = kestrel::load(options)) return fail(error->text().c_str());
  nexa::ServiceKestrelNamespaceMapperImpl mapper;
  if (!mapper.populate().ok()) return fail("populate");

  gnmi::Path external;
  external.add_elem()->set_name("example-device:device");
  external.add_elem()->set_name("name");
  using Helpers = nexa::ServiceRpcMsgHelpers;
  if (!Helpers::validate_Path(nexa::UPDATE, external).ok()) return fail("validate_Path");
  gnmi::Path path;
  if (!mapper.newToken()->internalizePath(external, path).ok()) return fail("internalizePath");
  nexa::KestrelPath resolved(path, "\"x\"");
  if (!resolved.path2cs_nodes() || !resolved.last_cs_node_is_leaf()) return fail("path2cs_nodes");

  xmlNodePtr attach_point = nullptr;
  xmlNodePtr top = Helpers::build_xml_parent_wrapper(&path, &attach_point, &resolved, &mapper);
  if (top == nullptr || attach_point == nullptr) return fail("build_xml_parent_wrapper");
  xmlChar* text = Helpers::build_xml_str(top);
  if (text == nullptr) return fail("build_xml_str");
  const bool is_config = std::strstr(reinterpret_cast<const char*>(text), "<config") != nullptr;
  xmlFree(text);
  write_xml2file(nullptr, nullptr, "/no/such/folder/file");
  return is_config ? 0 : fail("no config element");
}

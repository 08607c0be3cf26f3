// A path string, a newline, and a JSON_IETF value, through the layer that the server uses: either a
// document that libyang reads over the loaded schema, or a refusal with a text and no document.
#include <libyang/libyang.h>

#include <algorithm>
#include <memory>
#include <string>

#include "kestrel/loader.h"
#include "support.h"
#include "translate/path_string.h"
#include "translate/single_update.h"

namespace {

using nexa::translate::Mode;
using nexa::translate::Operation;
using nexa::translate::Translation;
using nexa::translate::Translator;

struct FreeTree {
  void operator()(lyd_node* tree) const { lyd_free_all(tree); }
};

// The layer converts and checks types; libyang must be able to read what it made.
void check_document(const std::string& xml) {
  constexpr std::string_view kOpen = "<config>";
  constexpr std::string_view kNothing = "<config/>\n";
  if (xml.ends_with(kNothing)) return;
  const std::size_t end = xml.rfind("</config>");
  const std::size_t begin = xml.find(kOpen);
  if (begin == std::string::npos || end == std::string::npos) fuzz::fail("no config", xml);
  const std::string content = xml.substr(begin + kOpen.size(), end - begin - kOpen.size());
  lyd_node* tree = nullptr;
  const LY_ERR result = lyd_parse_data_mem(kestrel::context(), content.c_str(), LYD_XML,
                                           LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &tree);
  const std::unique_ptr<lyd_node, FreeTree> owner(tree);
  if (result != LY_SUCCESS) fuzz::fail("libyang does not read the document", xml);
}

struct Door {
  explicit Door(Mode mode) : resolver(schema, mode), translator(fuzz::mapper(), schema, mode) {}

  nexa::model::Schema schema;
  nexa::model::Resolver resolver;
  Translator translator;
};

void check(Door& door, const gnmi::Update& update, Operation operation) {
  const Translation made = nexa::translate::translate_update(door.resolver, door.translator, {},
                                                             update, operation, true);
  if (!made.status.ok()) {
    if (!made.xml.empty()) fuzz::fail("a refusal with a document", made.xml);
    if (made.status.error_message().empty()) fuzz::fail("a refusal without a text");
    return;
  }
  check_document(made.xml);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::mapper();  // loads the schema
  static Door strict(Mode::kStrict);
  static Door tolerant(Mode::kTolerant);
  const std::uint8_t* const end_of_path = std::find(data, data + size, '\n');
  if (end_of_path == data + size) return 0;
  nexa::translate::PathStringError error;
  const auto path = nexa::translate::parse_path_string(
      fuzz::text_of(data, static_cast<std::size_t>(end_of_path - data)), &error);
  if (!path) return 0;
  gnmi::Update update;
  *update.mutable_path() = *path;
  update.mutable_val()->set_json_ietf_val(std::string(end_of_path + 1, data + size));
  for (const Operation operation : {Operation::kUpdate, Operation::kReplace}) {
    check(strict, update, operation);
    check(tolerant, update, operation);
  }
  return 0;
}

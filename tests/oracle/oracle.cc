// Trees are compared by libyang, and printed as JSON only to show a difference.
#include "oracle.h"

#include <libyang/libyang.h>

#include <map>

#include "text/json_owner.h"
#include "translate/path_string.h"
#include "translate/single_update.h"

namespace nexa_test {
namespace {

struct TreeDeleter {
  void operator()(lyd_node* tree) const { lyd_free_all(tree); }
};
using TreePtr = std::unique_ptr<lyd_node, TreeDeleter>;

using nexa::text::JsonPtr;

struct TextDeleter {
  void operator()(char* text) const { free(text); }
};
using TextPtr = std::unique_ptr<char, TextDeleter>;

std::string last_error() {
  const char* text = ly_errmsg(kestrel::context());
  return text == nullptr ? "unknown" : text;
}

// Reads `text`; null with `error` set on failure.
TreePtr read(const std::string& text, LYD_FORMAT format, std::string& error) {
  lyd_node* tree = nullptr;
  const LY_ERR result = lyd_parse_data_mem(kestrel::context(), text.c_str(), format,
                                           LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &tree);
  if (result != LY_SUCCESS) error = last_error();
  return TreePtr(tree);
}

std::string printed(const lyd_node* tree) {
  char* text = nullptr;
  lyd_print_mem(&text, tree, LYD_JSON, LYD_PRINT_WITHSIBLINGS);
  const TextPtr owner(text);
  return text == nullptr ? "" : text;
}

// The JSON document that has `value` at `path`. Keys become members of their entries.
std::string json_document(const std::string& path, const std::string& value) {
  nexa::translate::PathStringError error;
  const auto parsed = nexa::translate::parse_path_string(path, &error);
  if (!parsed || parsed->elem_size() == 0) return value;
  JsonPtr item(cJSON_Parse(value.c_str()));
  for (int i = parsed->elem_size() - 1; i >= 0; --i) {
    const gnmi::PathElem& element = parsed->elem(i);
    if (element.key_size() > 0) {
      for (const auto& [key, text] : element.key()) {
        if (cJSON_GetObjectItemCaseSensitive(item.get(), key.c_str()) != nullptr) continue;
        cJSON_AddStringToObject(item.get(), key.c_str(), text.c_str());
      }
      JsonPtr array(cJSON_CreateArray());
      cJSON_AddItemToArray(array.get(), item.release());
      item = std::move(array);
    }
    JsonPtr object(cJSON_CreateObject());
    cJSON_AddItemToObject(object.get(), element.name().c_str(), item.release());
    item = std::move(object);
  }
  const TextPtr text(cJSON_PrintUnformatted(item.get()));
  return text.get();
}

// The elements below `config`.
std::string without_config(const std::string& xml) {
  const std::string open = "<config>";
  const std::size_t begin = xml.find(open);
  const std::size_t end = xml.rfind("</config>");
  if (begin == std::string::npos || end == std::string::npos) return "";
  return xml.substr(begin + open.size(), end - begin - open.size());
}

}  // namespace

Oracle::Oracle(const kestrel::LoadOptions& options) {
  if (const auto error = kestrel::load(options)) {
    load_error_ = error->text();
    return;
  }
  ly_log_options(LY_LOSTORE_LAST);
  mapper_ = std::make_unique<nexa::ServiceKestrelNamespaceMapperImpl>();
  mapper_->populate();
}

nexa::translate::Translation Oracle::translate(const std::string& path, const std::string& value,
                                               nexa::translate::Mode mode) {
  nexa::translate::Translation result;
  nexa::translate::PathStringError error;
  const auto parsed = nexa::translate::parse_path_string(path, &error);
  if (!parsed) {
    result.status = {grpc::StatusCode::INVALID_ARGUMENT, error.text()};
    return result;
  }
  gnmi::Update update;
  *update.mutable_path() = *parsed;
  update.mutable_val()->set_json_ietf_val(value);
  const nexa::model::Schema schema;
  const nexa::model::Resolver resolver(schema, mode);
  nexa::translate::Translator translator(*mapper_, schema, mode);
  return nexa::translate::translate_update(resolver, translator, gnmi::Path(), update,
                                           nexa::translate::Operation::kReplace);
}

std::string Oracle::difference(const std::string& path, const std::string& value,
                               const std::string& xml) {
  std::string error;
  const TreePtr from_json = read(json_document(path, value), LYD_JSON, error);
  if (!error.empty()) return "libyang refuses the JSON: " + error;
  const TreePtr from_xml = read(without_config(xml), LYD_XML, error);
  if (!error.empty()) return "libyang refuses the XML: " + error + "\n" + xml;
  if (lyd_compare_siblings(from_json.get(), from_xml.get(), LYD_COMPARE_FULL_RECURSION) ==
      LY_SUCCESS) {
    return "";
  }
  return "from JSON:\n" + printed(from_json.get()) + "\nfrom XML:\n" + printed(from_xml.get());
}

}  // namespace nexa_test

// A text that no YANG string can hold is refused at every door that a text comes in by: what was
// stored could not be given back.
#include <libxml/parser.h>

#include "text/xml_owner.h"
#include "translate/fixture.h"

namespace nexa_test {
namespace characters_test {

constexpr char kName[] = "/example-device:device/port[name=a]/route[metric=1][prefix=p]/next-hop";
constexpr char kNoCharacter[] = "a character that no YANG string can hold";

struct Case {
  const char* text;  // UTF-8
  const char* json;  // the same as an escape; null when there is none
  const char* rule;
};

constexpr Case kCases[] = {
    {"\xFF", nullptr, "not UTF-8"},
    {"\xED\xA0\x80", nullptr, "not UTF-8"},
    {"a\x01", "a\\u0001", kNoCharacter},
    {"\xEF\xB7\x90", "\\ufdd0", kNoCharacter},
    {"\xEF\xB7\xAF", "\\ufdef", kNoCharacter},
    {"\xEF\xBF\xBE", "\\ufffe", kNoCharacter},
    {"\xF0\x9F\xBF\xBF", "\\ud83f\\udfff", kNoCharacter},
};

class Characters : public ExampleModels {
 protected:
  static void expect_refused(const std::string& json, const char* rule) {
    const std::string text = refusal(kName, json);
    EXPECT_EQ(text.find("update of " + std::string(kName) + ": "), 0U) << text;
    EXPECT_NE(text.find(rule), std::string::npos) << text;
    EXPECT_NE(text.find("line 1, column "), std::string::npos) << text;
  }
};

TEST_F(Characters, OfAPayloadAreJudged) {
  for (const Case& each : kCases) {
    // A control character is no JSON to begin with.
    if (each.text[1] != '\x01') expect_refused("\"" + std::string(each.text) + "\"", each.rule);
    if (each.json == nullptr) continue;
    const std::string quoted = "\"" + std::string(each.json) + "\"";
    expect_refused(quoted, each.rule);
    // Also where no schema says what a text is.
    expect_refused("{\"nosuch\":{\"x\":[" + quoted + "]}}", each.rule);
    expect_refused("{" + quoted + ":1}", each.rule);
  }
}

TEST_F(Characters, OfAScalarAreJudged) {
  for (const Case& each : kCases) {
    gnmi::Update update = update_of(kName, "{}");
    update.mutable_val()->set_string_val(each.text);
    const Translation result = set_->tolerant().translate(gnmi::Path(), update, Operation::kUpdate);
    EXPECT_EQ(result.status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(result.status.error_message().find("update of " + std::string(kName) + ": "), 0U);
    EXPECT_NE(result.status.error_message().find(each.rule), std::string::npos)
        << result.status.error_message();
    EXPECT_EQ(result.xml, "");
  }
}

TEST_F(Characters, OfAKeyAreJudged) {
  for (const char* path : {"/device/port[name=a]", "/device/port[name=a]/tag[.=a]"}) {
    for (const Case& each : kCases) {
      gnmi::Update update = update_of(path, "{}");
      gnmi::PathElem* const last =
          update.mutable_path()->mutable_elem(update.path().elem_size() - 1);
      last->mutable_key()->begin()->second = each.text;
      const Translation result =
          set_->tolerant().translate(gnmi::Path(), update, Operation::kUpdate);
      EXPECT_EQ(result.status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
      const std::string key = last->name() == "port" ? "key \"name\"" : "key \".\"";
      EXPECT_NE(result.status.error_message().find(key + ": " + each.rule), std::string::npos)
          << result.status.error_message();
    }
  }
}

// The nearest ones that are characters of YANG.
TEST_F(Characters, BesideTheNoncharactersAreKept) {
  for (const char* text :
       {"\xEF\xB7\x8F", "\xEF\xB7\xB0", "\xEF\xBF\xBD", "\x7F", "\xC2\x85", "\xF0\x9F\xBF\xBD"}) {
    const std::string xml = stored(kName, "\"" + std::string(text) + "\"");
    const nexa::text::XmlDocPtr document(
        xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, 0));
    ASSERT_NE(document, nullptr) << xml;
    const nexa::text::XmlTextPtr content(xmlNodeGetContent(xmlDocGetRootElement(document.get())));
    EXPECT_EQ(reinterpret_cast<const char*>(content.get()), "ap1" + std::string(text));
  }
}

}  // namespace characters_test
}  // namespace nexa_test

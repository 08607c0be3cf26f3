// Texts inside JSON and XML documents: what a reader of them gets is the text again.
#include "text/escape.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>

#include "text/byte_search.h"
#include "text/json_owner.h"
#include "text/xml_owner.h"

namespace {

using nexa::text::append_json_string;
using nexa::text::append_xml_attribute;
using nexa::text::append_xml_leaf;
using nexa::text::append_xml_text;

std::string json(std::string_view text) {
  std::string out;
  append_json_string(text, out);
  return out;
}

std::string attribute(std::string_view text) {
  std::string out;
  append_xml_attribute(text, out);
  return out;
}

// Special characters at every place of the eight bytes that are looked at together.
std::vector<std::string> texts(std::string_view specials) {
  std::vector<std::string> all{"", "plain", "Zürich €"};
  for (const char special : specials) {
    for (std::size_t at = 0; at < 20; ++at) {
      all.emplace_back(20, 'x');
      all.back()[at] = special;
    }
    all.emplace_back(9, special);
  }
  return all;
}

TEST(JsonString, EscapesWhatJsonDoes) {
  EXPECT_EQ(json("a\"b\\c/d"), R"("a\"b\\c/d")");
  EXPECT_EQ(json("\b\f\n\r\t\x1f"), R"("\u0008\u000c\n\r\t\u001f")");
  EXPECT_EQ(json("\x7F€"), "\"\x7F€\"");
}

TEST(JsonString, IsReadBack) {
  for (const std::string& text : texts("\"\\\n\r\t\x01\x1f/\x7f")) {
    const nexa::text::JsonPtr item(cJSON_Parse(json(text).c_str()));
    ASSERT_NE(item, nullptr) << json(text);
    EXPECT_EQ(text, cJSON_GetStringValue(item.get()));
  }
}

TEST(XmlText, EscapesMarkup) {
  std::string xml;
  append_xml_text("a<b>&\"'\n", xml);
  EXPECT_EQ(xml, "a&lt;b&gt;&amp;\"'\n");
}

TEST(XmlAttribute, EscapesWhatAReaderReplaces) {
  EXPECT_EQ(attribute("<\">&\t\n\r'"), "&lt;&quot;&gt;&amp;&#x9;&#xA;&#xD;'");
}

TEST(XmlAttribute, IsReadBackAlsoAsContent) {
  for (const std::string& text : texts("<>&\"'\t\n\r")) {
    std::string xml = "<r a=\"" + attribute(text) + "\">";
    append_xml_leaf("l", text, xml);
    xml += "</r>";
    const nexa::text::XmlDocPtr document(
        xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, "UTF-8", 0));
    ASSERT_NE(document, nullptr) << xml;
    xmlNode* const root = xmlDocGetRootElement(document.get());
    const nexa::text::XmlTextPtr value(xmlGetProp(root, BAD_CAST "a"));
    const nexa::text::XmlTextPtr content(xmlNodeGetContent(root->children));
    EXPECT_EQ(text, reinterpret_cast<const char*>(value.get())) << xml;
    EXPECT_EQ(text, reinterpret_cast<const char*>(content.get())) << xml;
  }
}

}  // namespace

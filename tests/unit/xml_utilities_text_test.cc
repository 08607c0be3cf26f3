// Type names of JSON items and the text of the empty value.
#include <rapidcheck.h>

#include <regex>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/unit_test.h"

namespace {

std::string name_of_type(int type) {
  cJSON item{};
  item.type = type;
  return nexa::cjson_type2name(&item);
}

bool is_empty_value(std::string text) { return nexa::is_json_ietf_null_val(text); }

TEST(CjsonType2Name, NamesEveryType) {
  EXPECT_EQ(name_of_type(cJSON_False), "cJSON_Bool");
  EXPECT_EQ(name_of_type(cJSON_True), "cJSON_Bool");
  EXPECT_EQ(name_of_type(cJSON_NULL), "cJSON_NULL");
  EXPECT_EQ(name_of_type(cJSON_Number), "cJSON_Number");
  EXPECT_EQ(name_of_type(cJSON_String), "cJSON_String");
  EXPECT_EQ(name_of_type(cJSON_Array), "cJSON_Array");
  EXPECT_EQ(name_of_type(cJSON_Object), "cJSON_Object");
}

TEST(CjsonType2Name, AnyOtherTypeIsUnsupported) {
  EXPECT_EQ(name_of_type(cJSON_Invalid), "UNSUPPORTED");
  EXPECT_EQ(name_of_type(cJSON_Raw), "UNSUPPORTED");
  EXPECT_EQ(name_of_type(cJSON_False | cJSON_True), "UNSUPPORTED");
  EXPECT_EQ(name_of_type(cJSON_Object | cJSON_IsReference), "UNSUPPORTED");
}

TEST(CjsonType2Name, AStringWithTheConstantStringFlagIsUnsupported) {
  EXPECT_EQ(name_of_type(cJSON_String | cJSON_StringIsConst), "UNSUPPORTED");
}

TEST(IsJsonIetfNullVal, AcceptsOneCharacterOfTheClassWithWhiteSpaceAround) {
  for (const char* text : {"n", "u", "l", "*", " l ", "\t*\n", "  n", "u\r\n", "\v\fl"}) {
    EXPECT_TRUE(is_empty_value(text)) << text;
  }
}

TEST(IsJsonIetfNullVal, AcceptsWhiteSpaceAlone) {
  for (const char* text : {" ", "  ", "\t", "\n", "\v", "\f", "\r", " \t\n\v\f\r"}) {
    EXPECT_TRUE(is_empty_value(text)) << text;
  }
}

TEST(IsJsonIetfNullVal, RejectsTheWordItself) {
  for (const char* text : {"[null]", "null", "[ null ]", "nu", "ll", "n n", "**", "", "s", "[", "]",
                           "\\", "N", "an", "n\xA0", "0"}) {
    EXPECT_FALSE(is_empty_value(text)) << text;
  }
  EXPECT_FALSE(is_empty_value(std::string(1, '\0')));
  EXPECT_FALSE(is_empty_value(std::string("n\0", 2)));
}

TEST(IsJsonIetfNullVal, LeavesTheTextAlone) {
  std::string text = " n ";
  EXPECT_TRUE(nexa::is_json_ietf_null_val(text));
  EXPECT_EQ(text, " n ");
}

// The pattern that fixes the behaviour, matched by the standard library.
TEST(IsJsonIetfNullVal, AcceptsExactlyWhatThePatternAccepts) {
  const std::regex pattern("\\s*[\\s*null\\s*]\\s*", std::regex::ECMAScript);
  const std::string alphabet = std::string(" \t\n\v\f\r*nulNsk[]\\0a\x7F\xA0\x85") + '\0';
  const auto agrees = [&pattern](const std::string& text) {
    return is_empty_value(text) == std::regex_match(text, pattern);
  };
  // Every text of up to two characters of any value, then random longer ones.
  for (int first = 0; first < 256; ++first) {
    const std::string one(1, static_cast<char>(first));
    ASSERT_TRUE(agrees(one)) << first;
    for (const char second : alphabet) ASSERT_TRUE(agrees(one + second)) << first << second;
  }
  EXPECT_TRUE(rc::check("matches std::regex", [&] {
    RC_ASSERT(agrees(*rc::gen::container<std::string>(rc::gen::elementOf(alphabet))));
  }));
  EXPECT_TRUE(rc::check("matches std::regex among likely characters", [&] {
    RC_ASSERT(agrees(*rc::gen::container<std::string>(rc::gen::elementOf(std::string(" \tnul*")))));
  }));
}

TEST(IsJsonIetfNullVal, TakesAHundredThousandBlanks) {
  EXPECT_TRUE(is_empty_value(std::string(100000, ' ')));
  EXPECT_FALSE(is_empty_value(std::string(100000, ' ') + "x"));
}

}  // namespace

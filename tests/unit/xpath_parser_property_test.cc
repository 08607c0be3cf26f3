// Properties: a path written as text reads back as it was, and a parser that is used again judges
// as a new one does, whatever the text.
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "nexa/xpath_parser.h"

namespace xpath_parser_property_test {

using google::protobuf::util::MessageDifferencer;
using Helpers = nexa::ServiceRpcMsgHelpers;

rc::Gen<std::string> text_of(const std::string& alphabet) {
  return rc::gen::container<std::string>(rc::gen::elementOf(alphabet));
}

rc::Gen<std::string> names() {
  return rc::gen::suchThat(text_of("abcXYZ019_-.:"),
                           [](const std::string& name) { return !name.empty() && name != "..."; });
}

// Everything but the characters that end a token; a lone "*" would be left out of the text.
rc::Gen<std::string> values() {
  return rc::gen::suchThat(text_of("abZ09 /'\"*.:{}\\\n\xC3\xA9"),
                           [](const std::string& value) { return value != "*"; });
}

gnmi::Path arbitrary_path() {
  gnmi::Path path;
  for (const std::string& name : *rc::gen::container<std::vector<std::string>>(names())) {
    gnmi::PathElem* element = path.add_elem();
    element->set_name(name);
    const auto keys = *rc::gen::resize(
        3, rc::gen::container<std::map<std::string, std::string>>(names(), values()));
    element->mutable_key()->insert(keys.begin(), keys.end());
  }
  return path;
}

RC_GTEST_PROP(XpathParserProperty, ReadsBackWhatBuildPathStrWrote, ()) {
  const gnmi::Path path = arbitrary_path();
  const std::string brackets = "][";
  nexa::ServiceKestrelNamespaceMapperImpl mapper;
  const auto token = mapper.newToken();
  nexa::XpathParser parser(*token);
  parser.input_ = Helpers::build_path_str(path, &brackets);
  RC_ASSERT(parser.parse());
  RC_ASSERT(MessageDifferencer::Equals(parser.gPath, path));
}

RC_GTEST_PROP(XpathParserProperty, AUsedParserJudgesAsANewOne, ()) {
  const auto texts = *rc::gen::container<std::vector<std::string>>(text_of("ab/[]='\" /[]="));
  nexa::ServiceKestrelNamespaceMapperImpl mapper;
  const auto token = mapper.newToken();
  nexa::XpathParser used(*token);
  for (const std::string& text : texts) {
    nexa::XpathParser fresh(*token);
    fresh.input_ = text;
    used.input_ = text;
    RC_ASSERT(used.parse() == fresh.parse());
    RC_ASSERT(MessageDifferencer::Equals(used.gPath, fresh.gPath));
  }
}

}  // namespace xpath_parser_property_test

// The example modules, loaded once for each test program, and short forms for updates and what they
// become.
#ifndef TESTS_TRANSLATE_FIXTURE_H_
#define TESTS_TRANSLATE_FIXTURE_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/translate_oracle.h"
#include "translate/path_string.h"

namespace nexa_test {

using nexa::translate::Mode;
using nexa::translate::Operation;
using nexa::translate::Translation;

class ExampleModels : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    std::string error;
    set_ = std::make_unique<LoadedSet>(std::vector<std::string>{NEXA_SOURCE_DIR "/models"},
                                       std::vector<std::string>(), error);
    ASSERT_EQ(error, "");
  }
  static void TearDownTestSuite() { set_.reset(); }

  static Translation translate(const std::string& path, const std::string& json,
                               Mode mode = Mode::kTolerant,
                               Operation operation = Operation::kUpdate) {
    UpdateDoor& translator = mode == Mode::kStrict ? set_->strict() : set_->tolerant();
    gnmi::Update update = update_of(path, json);
    update.mutable_path();
    return translator.translate(gnmi::Path(), update, operation, true);
  }

  // The same for a node that the schema does not have.
  static std::string missing(const std::string& path, const std::string& json) {
    return refusal(path, json, Mode::kTolerant, Operation::kUpdate, grpc::StatusCode::NOT_FOUND);
  }

  // The content of the document's top element.
  static std::string stored(const std::string& path, const std::string& json,
                            Mode mode = Mode::kTolerant) {
    const Translation result = translate(path, json, mode);
    EXPECT_TRUE(result.status.ok()) << path << " " << json << ": " << result.status.error_message();
    return content(result.xml);
  }

  static std::string stored_tree(const std::string& json) {
    const Translation result = translate("/", json, Mode::kTolerant, Operation::kReplace);
    EXPECT_TRUE(result.status.ok()) << json << ": " << result.status.error_message();
    return content(result.xml);
  }

  // The refusal's text.
  static std::string refusal(const std::string& path, const std::string& json,
                             Mode mode = Mode::kTolerant, Operation operation = Operation::kUpdate,
                             grpc::StatusCode code = grpc::StatusCode::INVALID_ARGUMENT) {
    const Translation result = translate(path, json, mode, operation);
    EXPECT_EQ(result.status.error_code(), code) << result.xml;
    EXPECT_EQ(result.xml, "");
    return result.status.error_message();
  }

  static std::string content(const std::string& xml) {
    const std::string head = "<?xml version=\"1.0\"?>\n";
    EXPECT_EQ(xml.substr(0, head.size()), head);
    std::string body = xml.substr(head.size());
    if (body == "<config/>\n") return "";
    EXPECT_EQ(body.substr(0, 8), "<config>");
    return body.substr(8, body.size() - 8 - std::string("</config>\n").size());
  }

  // A leaf of /device/limits, as it is stored.
  static std::string limit(const std::string& leaf, const std::string& json,
                           Mode mode = Mode::kStrict) {
    const std::string open = "<device xmlns=\"urn:example:device\"><limits><" + leaf;
    const std::string close = "</" + leaf + "></limits></device>";
    const std::string text = stored("/example-device:device/limits/" + leaf, json, mode);
    EXPECT_EQ(text.substr(0, open.size()), open);
    if (text.size() < open.size() + close.size()) return text;
    return text.substr(open.size() + 1, text.size() - open.size() - 1 - close.size());
  }

  static std::unique_ptr<LoadedSet> set_;
};

inline std::unique_ptr<LoadedSet> ExampleModels::set_;

}  // namespace nexa_test

#endif  // TESTS_TRANSLATE_FIXTURE_H_

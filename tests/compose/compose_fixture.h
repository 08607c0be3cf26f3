// Composes over the modules of models/.
#ifndef TESTS_COMPOSE_COMPOSE_FIXTURE_H_
#define TESTS_COMPOSE_COMPOSE_FIXTURE_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "kestrel/loader.h"
#include "translate/compose.h"
#include "translate/path_string.h"

namespace nexa::host {

class ComposeTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    kestrel::LoadOptions options;
    options.search_dirs = {NEXA_MODELS_DIR};
    const auto error = kestrel::load(options);
    ASSERT_FALSE(error) << error->text();
    mapper_ = std::make_unique<ServiceKestrelNamespaceMapperImpl>();
    mapper_->populate();
  }
  static void TearDownTestSuite() { mapper_.reset(); }

  grpc::Status status(const std::string& path, const std::string& value, std::string& xml,
                      Converter converter = Converter::kStrict, RequestType mode = UPDATE) {
    PathStringError error;
    const auto parsed = parse_path_string(path, &error);
    EXPECT_TRUE(parsed) << error.text();
    ComposeRequest request;
    if (parsed) request.path = *parsed;
    request.value = value;
    request.mode = mode;
    request.converter = converter;
    return compose(*mapper_, request, xml);
  }

  // The data below `config`; a refusal fails the test.
  std::string data(const std::string& path, const std::string& value,
                   Converter converter = Converter::kStrict, RequestType mode = UPDATE) {
    std::string xml;
    const grpc::Status verdict = status(path, value, xml, converter, mode);
    EXPECT_TRUE(verdict.ok()) << verdict.error_message();
    const std::string head = "<?xml version=\"1.0\"?>\n<config>";
    const std::string tail = "</config>\n";
    if (xml.size() < head.size() + tail.size()) return xml;
    EXPECT_EQ(xml.substr(0, head.size()), head);
    EXPECT_EQ(xml.substr(xml.size() - tail.size()), tail);
    return xml.substr(head.size(), xml.size() - head.size() - tail.size());
  }

  // The text of a refusal with INVALID_ARGUMENT; anything else fails the test.
  std::string refusal(const std::string& path, const std::string& value,
                      RequestType mode = UPDATE) {
    std::string xml = "unchanged";
    const grpc::Status verdict = status(path, value, xml, Converter::kStrict, mode);
    EXPECT_EQ(verdict.error_code(), grpc::StatusCode::INVALID_ARGUMENT) << verdict.error_message();
    EXPECT_EQ(xml, "unchanged");
    return verdict.error_message();
  }

  static std::unique_ptr<ServiceKestrelNamespaceMapperImpl> mapper_;
};

inline std::unique_ptr<ServiceKestrelNamespaceMapperImpl> ComposeTest::mapper_;

}  // namespace nexa::host

#endif  // TESTS_COMPOSE_COMPOSE_FIXTURE_H_

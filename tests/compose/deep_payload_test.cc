// How much of a thread's stack a payload takes that has as many levels as cJSON reads: the library
// walks some of it by recursion, and a server's threads have the stacks that nexad gives them.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "nexa/cjson_csnode.h"
#include "nexa/kestrel_path.h"
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "process_memory.h"
#include "real/temp_folder.h"
#include "support/sanitized.h"
#include "text/json_owner.h"
#include "text/xml_owner.h"

namespace {

using Helpers = nexa::ServiceRpcMsgHelpers;

constexpr std::size_t kLevels = 1000;  // objects inside each other, the outermost one counted
constexpr unsigned char kUnused = 0xA5;

// A thread on memory that shows afterwards what of it was written to.
class MeasuredStack {
 public:
  MeasuredStack()
      : memory_(static_cast<unsigned char*>(mmap(nullptr, nexad::kThreadStackBytes,
                                                 PROT_READ | PROT_WRITE,
                                                 MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
    EXPECT_NE(static_cast<void*>(memory_), MAP_FAILED);
    std::memset(memory_, kUnused, nexad::kThreadStackBytes);
  }
  ~MeasuredStack() { munmap(memory_, nexad::kThreadStackBytes); }
  MeasuredStack(const MeasuredStack&) = delete;
  MeasuredStack& operator=(const MeasuredStack&) = delete;

  // Bytes of the stack that `work` reached.
  template <typename Work>
  std::size_t used_by(Work work) {
    pthread_attr_t attributes;
    EXPECT_EQ(pthread_attr_init(&attributes), 0);
    EXPECT_EQ(pthread_attr_setstack(&attributes, memory_, nexad::kThreadStackBytes), 0);
    pthread_t thread{};
    const auto run = [](void* argument) -> void* {
      (*static_cast<Work*>(argument))();
      return nullptr;
    };
    EXPECT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
    const auto* const end = memory_ + nexad::kThreadStackBytes;
    const auto* const reached = std::find_if(memory_, const_cast<unsigned char*>(end),
                                             [](unsigned char byte) { return byte != kUnused; });
    return static_cast<std::size_t>(end - reached);
  }

 private:
  unsigned char* const memory_;
};

// c1, which holds c2, and so on; the innermost has a leaf. Statements may not be nested so deeply,
// what they make may.
std::string module_text() {
  std::string text = "module deep { namespace \"urn:deep\"; prefix d;";
  text += "grouping g" + std::to_string(kLevels + 1) + " { leaf end { type string; } }";
  for (std::size_t i = 1; i <= kLevels; ++i) {
    text += "grouping g" + std::to_string(i) + " { container c" + std::to_string(i) + " { uses g" +
            std::to_string(i + 1) + "; } }";
  }
  return text + "uses g1; }";
}

// The content of c1.
std::string payload() {
  std::string text;
  for (std::size_t i = 2; i <= kLevels; ++i) text += "{\"c" + std::to_string(i) + "\":";
  return text + R"({"end":"x"})" + std::string(kLevels - 1, '}');
}

enum class Converter { kFamily, kSingle };

// A payload of c1 through the library: read, bound, converted, written. Empty where something
// failed.
std::string convert(nexa::ServiceKestrelNamespaceMapperImpl& mapper, const std::string& value,
                    Converter converter) {
  auto token = mapper.newToken();
  gnmi::Path given;
  given.add_elem()->set_name("deep:c1");
  gnmi::Path path;
  if (!token->internalizePath(given, path).ok()) return {};
  nexa::KestrelPath resolved(path, value);
  const nexa::text::JsonPtr values(cJSON_CreateObject());
  cJSON* const item = cJSON_Parse(value.c_str());
  if (item == nullptr || !resolved.path2cs_nodes()) return {};
  cJSON_AddItemToObject(values.get(), "c1", item);
  nexa::Json2cJsonCsnodeHash bindings;
  grpc::Status status = nexa::cJsonCsnode::walk_breathfirst_cjson_and_swap_contents(
      item, token.get(), &resolved, &bindings);
  if (!status.ok()) return {};
  xmlNode* const converted = converter == Converter::kFamily
                                 ? Helpers::start_json2xml(token, item, &status, &bindings, &mapper)
                                 : Helpers::json2xml(token, item, &bindings, &mapper);
  if (converted == nullptr) return {};
  xmlNode* const top = Helpers::build_xml_node("config", XML_ELEMENT_NODE);
  xmlAddChild(top, converted);
  const nexa::text::XmlTextPtr text(Helpers::build_xml_str(top));
  return text == nullptr ? std::string() : reinterpret_cast<const char*>(text.get());
}

class DeepPayload : public testing::TestWithParam<Converter> {};

TEST_P(DeepPayload, LeavesHalfOfTheStackOfAServersThread) {
  if (nexa_test::kIsSanitized) {
    GTEST_SKIP() << "a sanitizer's frames are larger than those that are shipped";
  }
  ASSERT_EQ(nexa_test::load_module("deep", module_text()), "");
  nexa::ServiceKestrelNamespaceMapperImpl mapper;
  ASSERT_TRUE(mapper.populate().ok());
  const std::string value = payload();
  std::string xml;
  MeasuredStack stack;
  const std::size_t used = stack.used_by([&] { xml = convert(mapper, value, GetParam()); });
  EXPECT_NE(xml.find("<end>x</end>"), std::string::npos);
  EXPECT_NE(xml.find("<c1000>"), std::string::npos);
  RecordProperty("stack_bytes", std::to_string(used));
  EXPECT_LT(used, nexad::kThreadStackBytes / 2);
}

INSTANTIATE_TEST_SUITE_P(BothConverters, DeepPayload,
                         testing::Values(Converter::kFamily, Converter::kSingle),
                         [](const auto& tested) {
                           return tested.param == Converter::kFamily ? "Family" : "Single";
                         });

}  // namespace

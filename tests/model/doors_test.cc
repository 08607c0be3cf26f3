// Every spelling of a path through every door: Get, Set, delete, Subscribe and the tool's convert
// give one answer, or one refusal with one text. The doors are asked as the service asks them.
#include <gmock/gmock.h>
#include <grpcpp/impl/codegen/proto_utils.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "real/temp_folder.h"
#include "request/set_request.h"
#include "server/get_request.h"
#include "server/subscribe_request.h"
#include "store/store_module.h"
#include "store/tree_store.h"
#include "support/results.h"
#include "support/targets.h"
#include "translate/path_string.h"
#include "translate/single_update.h"

namespace nexa_test {
namespace {

using nexa::model::Mode;
using nexa::store::Edit;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr char kTypes[] = R"(module kinds {
  yang-version 1.1; namespace "urn:kinds"; prefix k;
  identity kind;
  identity BGP { base kind; }
  identity OSPF { base kind; }
})";

constexpr char kNet[] = R"(module openconfig-net {
  yang-version 1.1; namespace "urn:net"; prefix oc-net;
  import kinds { prefix k; }
  container net {
    list protocol {
      key "kind name";
      leaf kind { type leafref { path "../config/kind"; } }
      leaf name { type leafref { path "../config/name"; } }
      container config {
        leaf kind { type identityref { base k:kind; } }
        leaf name { type string; }
        leaf note { type string; }
      }
      container timers { container config { leaf hold { type uint16; } } }
    }
  }
})";

constexpr char kMore[] = R"(module other-net {
  yang-version 1.1; namespace "urn:more"; prefix more;
  import openconfig-net { prefix oc-net; }
  augment "/oc-net:net/oc-net:protocol/oc-net:config" { leaf colour { type string; } }
  container net { leaf note { type string; } }
  container box { leaf note { type string; } }
})";

struct Answer {
  grpc::StatusCode code = grpc::OK;
  std::string text;  // of a refusal, without the door's context in front
};

bool operator==(const Answer& left, const Answer& right) {
  return left.code == right.code && left.text == right.text;
}
void PrintTo(const Answer& answer, std::ostream* out) { *out << answer.code << " " << answer.text; }

class Doors : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    const TempFolder folder;
    folder.write("kinds.yang", kTypes);
    folder.write("openconfig-net.yang", kNet);
    folder.write("other-net.yang", kMore);
    ASSERT_EQ(load_text(folder), "");
    mapper_ = std::make_unique<nexa::ServiceKestrelNamespaceMapperImpl>();
    mapper_->populate();
  }
  static void TearDownTestSuite() { mapper_.reset(); }

  void SetUp() override { start(Mode::kTolerant); }

  void start(Mode mode) {
    const LoadedModel& model = loaded_model();
    resolver_ = mode == Mode::kStrict ? &model.strict : &model.tolerant;
    translator_ = std::make_unique<nexa::translate::Translator>(*mapper_, model.schema, mode);
    nexa::store::TreeStoreOptions options;
    folder_ = std::make_unique<TempFolder>();
    options.directory = folder_->file("data");
    options.sync = false;
    store_ = nexa_test::value_of(nexa::store::open_tree_store(options));
  }

  struct Request {
    std::string prefix = "/";
    std::string path;
    std::string prefix_origin;
    std::string origin;

    gnmi::Path prefix_path() const { return parsed(prefix, prefix_origin); }
    gnmi::Path own_path() const { return parsed(path, origin); }
    static gnmi::Path parsed(const std::string& text, const std::string& origin) {
      gnmi::Path result = *nexa::translate::parse_path_string(text, nullptr);
      result.set_origin(origin);
      return result;
    }
  };

  // What follows the first of the contexts that is found.
  static Answer answer(const grpc::Status& status) {
    if (status.ok()) return {};
    const std::string& text = status.error_message();
    const std::size_t end = text.find(": ");
    return {status.error_code(), end == std::string::npos ? text : text.substr(end + 2)};
  }

  Answer commit(const gnmi::SetRequest& request) {
    nexa::store::CommitRequest commit;
    const nexa::request::SetParts parts{
        *resolver_, *translator_, 100, {}, nexa::profile::Profile::kDevice};
    const grpc::Status status = prepare_set(parts, request, commit.edits);
    if (!status.ok()) return answer(status);
    const nexa::store::CommitResult result = store_->commit(commit);
    return {result.status.error_code(), result.status.error_message()};
  }

  Answer set(const Request& asked, const std::string& json, bool replace = false) {
    gnmi::SetRequest request;
    *request.mutable_prefix() = asked.prefix_path();
    gnmi::Update& update = replace ? *request.add_replace() : *request.add_update();
    *update.mutable_path() = asked.own_path();
    update.mutable_val()->set_json_ietf_val(json);
    return commit(request);
  }

  Answer remove(const Request& asked) {
    gnmi::SetRequest request;
    *request.mutable_prefix() = asked.prefix_path();
    *request.add_delete_() = asked.own_path();
    return commit(request);
  }

  Answer get(const Request& asked, std::string& json, std::string* path = nullptr) {
    gnmi::GetRequest request;
    *request.mutable_prefix() = asked.prefix_path();
    *request.add_path() = asked.own_path();
    request.set_encoding(gnmi::JSON_IETF);
    nexa::server::StateCache state(*store_, {}, std::chrono::seconds(1), [](const std::string&) {});
    grpc::ByteBuffer bytes;
    const grpc::Status status = nexa::server::serve_get(
        {*resolver_, *store_, state, {}, {}, nexa::profile::Profile::kDevice}, request, bytes);
    if (!status.ok()) return answer(status);
    gnmi::GetResponse response;
    EXPECT_TRUE(grpc::SerializationTraits<gnmi::GetResponse>::Deserialize(&bytes, &response).ok());
    const gnmi::Update& update = response.notification(0).update(0);
    json = update.val().json_ietf_val();
    if (path != nullptr) *path = nexa::translate::format_path_string(update.path());
    return {};
  }

  Answer subscribe(const Request& asked, std::size_t* leaves = nullptr) {
    gnmi::SubscribeRequest request;
    gnmi::SubscriptionList& list = *request.mutable_subscribe();
    list.set_mode(gnmi::SubscriptionList::STREAM);
    list.set_encoding(gnmi::JSON_IETF);
    *list.mutable_prefix() = asked.prefix_path();
    gnmi::Subscription& one = *list.add_subscription();
    *one.mutable_path() = asked.own_path();
    one.set_mode(gnmi::SAMPLE);
    nexa::telemetry::SubscriptionPlan plan;
    const nexa::telemetry::LeafPaces paces(resolver_->schema(), {});
    const nexa::server::SubscribeParts parts{*resolver_, paces, nexa::profile::Profile::kDevice};
    const grpc::Status status = plan_stream(parts, request, plan);
    if (!status.ok()) return answer(status);
    if (leaves != nullptr) {
      *leaves = 0;
      EXPECT_TRUE(store_->snapshot()
                      ->read(plan.subscriptions.front().query, nullptr,
                             [&](gnmi::Path&, gnmi::TypedValue&) { ++*leaves; })
                      .ok());
    }
    return {};
  }

  Answer convert(const Request& asked, const std::string& json, std::string* xml = nullptr,
                 std::vector<std::string>* notes = nullptr) {
    gnmi::Update update;
    *update.mutable_path() = asked.own_path();
    update.mutable_val()->set_json_ietf_val(json);
    const nexa::translate::Translation result =
        translate_update(*resolver_, *translator_, asked.prefix_path(), update,
                         nexa::translate::Operation::kUpdate, true);
    if (xml != nullptr) *xml = result.xml;
    if (notes != nullptr) *notes = result.notes;
    return answer(result.status);
  }

  // The refusal of all doors, which is one.
  Answer refusal(const Request& asked) {
    std::string json;
    const Answer first = get(asked, json);
    EXPECT_EQ(set(asked, "\"x\""), first) << asked.path;
    EXPECT_EQ(set(asked, "\"x\"", true), first) << asked.path;
    EXPECT_EQ(remove(asked), first) << asked.path;
    EXPECT_EQ(subscribe(asked), first) << asked.path;
    EXPECT_EQ(convert(asked, "\"x\""), first) << asked.path;
    return first;
  }

  static std::unique_ptr<nexa::ServiceKestrelNamespaceMapperImpl> mapper_;
  const nexa::model::Resolver* resolver_ = nullptr;
  std::unique_ptr<nexa::translate::Translator> translator_;
  std::unique_ptr<TempFolder> folder_;
  std::unique_ptr<nexa::store::ConfigStore> store_;
};

std::unique_ptr<nexa::ServiceKestrelNamespaceMapperImpl> Doors::mapper_;

TEST_F(Doors, EverySpellingOfAPathIsOneNode) {
  const std::vector<Request> spellings = {
      {"/", "/net/protocol[kind=BGP][name=a]/config/note", "", ""},
      {"/", "/net/protocol[kind=kinds:BGP][name=a]/config/note", "", ""},
      {"/", "/net/protocol[kind=k:BGP][name=a]/config/note", "", ""},
      {"/", "/openconfig-net:net/protocol[kind=BGP][name=a]/config/note", "", ""},
      {"/", "/oc-net:net/oc-net:protocol[oc-net:kind=k:BGP][name=a]/config/oc-net:note", "", ""},
      {"/", "/net/protocol[openconfig-net:kind=BGP][name=a]/openconfig-net:config/note", "", ""},
      {"/", "/net/protocol[kind=BGP][name=a]/config/note", "", "openconfig"},
      {"/", "/net/protocol[kind=BGP][name=a]/config/note", "openconfig", ""},
      {"/", "/net/protocol[kind=BGP][name=a]/config/note", "", "openconfig-net"},
      {"/", "/net/protocol[kind=BGP][name=a]/config/note", "", "rfc7951"},
      {"/net/protocol[kind=BGP][name=a]", "/config/note", "", ""},
      {"/net/protocol[kind=k:BGP][name=a]", "/config/note", "openconfig-net", ""},
  };
  std::string expected;
  ASSERT_EQ(convert(spellings.front(), "\"x\"", &expected), Answer());
  for (const Request& spelling : spellings) {
    SCOPED_TRACE(spelling.prefix + " " + spelling.path + " " + spelling.origin);
    std::string xml;
    EXPECT_EQ(convert(spelling, "\"x\"", &xml), Answer());
    EXPECT_EQ(xml, expected);
    EXPECT_EQ(set(spelling, "\"x\""), Answer());
    std::string json;
    std::string path;
    EXPECT_EQ(get(spelling, json, &path), Answer());
    EXPECT_EQ(json, "\"x\"");
    const std::string own = nexa::translate::format_path_string(spelling.own_path());
    EXPECT_EQ(path, own) << "the answer keeps the client's spelling";
    std::size_t leaves = 0;
    EXPECT_EQ(subscribe(spelling, &leaves), Answer());
    EXPECT_EQ(leaves, 1U);
    EXPECT_EQ(remove(spelling), Answer());
    EXPECT_EQ(get(spelling, json).text, "no data");
    EXPECT_EQ(set(spelling, "\"y\"", true), Answer());
  }
  EXPECT_THAT(store_->snapshot()->xml(), HasSubstr("<note>y</note>"));
}

TEST_F(Doors, OneRefusalWithOneText) {
  struct Case {
    const char* path;
    const char* origin;
    grpc::StatusCode code;
    const char* text;
  };
  const Case cases[] = {
      {"/net/nosuch", "", grpc::NOT_FOUND, "no node \"nosuch\" below \"/net\""},
      {"/openconfig-net:net/nosuch", "", grpc::NOT_FOUND,
       "no node \"nosuch\" below \"/openconfig-net:net\""},
      {"/nosuch", "", grpc::NOT_FOUND, "no node \"nosuch\" at the top of the schema"},
      {"/nosuch:net", "", grpc::NOT_FOUND, "unknown module \"nosuch\""},
      {"/net/protocol[kind=BGP][name=a]/config/note/x", "", grpc::NOT_FOUND,
       "no node \"x\" below \"/net/protocol/config/note\""},
      {"/box", "openconfig", grpc::NOT_FOUND,
       "no node \"box\" at the top of origin \"openconfig\""},
      {"/net/protocol[kind=RIP][name=a]/config/note", "", grpc::INVALID_ARGUMENT, nullptr},
      {"/net/protocol[size=1]", "", grpc::INVALID_ARGUMENT,
       "\"/net/protocol\" has no key \"size\""},
      {"/net[name=a]", "", grpc::INVALID_ARGUMENT, "\"/net\" has no keys"},
      {"/net", "cli", grpc::UNIMPLEMENTED,
       "origin \"cli\" not supported, the served ones are \"openconfig\", \"rfc7951\", the names "
       "of "
       "modules and none"},
  };
  for (const Case& each : cases) {
    const Answer found = refusal({"/", each.path, "", each.origin});
    EXPECT_EQ(found.code, each.code) << each.path;
    if (each.text != nullptr) {
      EXPECT_EQ(found.text, each.text);
    }
  }
  EXPECT_EQ(refusal({"/net", "/protocol[kind=BGP][name=a]/config", "rfc7951", "rfc7951"}).text,
            "an origin stands in the prefix or in the paths, not in both");
}

TEST_F(Doors, StrictModeTakesRfc7951Only) {
  start(Mode::kStrict);
  const std::string entry = "/openconfig-net:net/protocol[kind=kinds:BGP][name=a]/config";
  EXPECT_EQ(convert({"/", entry + "/note", "", ""}, "\"x\""), Answer());
  EXPECT_EQ(convert({"/", entry + "/other-net:colour", "", ""}, "\"x\""), Answer());
  for (const char* path : {"/net/protocol[kind=kinds:BGP][name=a]/config/note",
                           "/oc-net:net/protocol[kind=kinds:BGP][name=a]/config/note",
                           "/openconfig-net:net/protocol[kind=BGP][name=a]/config/note",
                           "/openconfig-net:net/protocol[kind=k:BGP][name=a]/config/note",
                           "/openconfig-net:net/protocol[kind=kinds:BGP][name=a]/config/colour"}) {
    EXPECT_NE(refusal({"/", path, "", ""}).code, grpc::OK) << path;
  }
}

TEST_F(Doors, TheRootOfAnOriginIsWhatBelongsToIt) {
  const auto fill = [this] {
    ASSERT_EQ(set({"/", "/net/protocol[kind=BGP][name=a]/config/note", "", ""}, "\"x\""), Answer());
    ASSERT_EQ(set({"/", "/box/note", "", ""}, "\"b\""), Answer());
    ASSERT_EQ(set({"/", "/other-net:net/note", "", ""}, "\"m\""), Answer());
  };
  const auto xml = [this] { return store_->snapshot()->xml(); };
  fill();
  std::size_t leaves = 0;
  EXPECT_EQ(subscribe({"/", "/", "", "other-net"}, &leaves), Answer());
  EXPECT_EQ(leaves, 2U);
  EXPECT_EQ(remove({"/", "/", "", "openconfig"}), Answer());
  EXPECT_EQ(xml(),
            "<config><net xmlns=\"urn:more\"><note>m</note></net>"
            "<box xmlns=\"urn:more\"><note>b</note></box></config>");
  fill();
  EXPECT_EQ(remove({"/", "/*", "", "other-net"}), Answer());
  EXPECT_THAT(xml(), AllOf(HasSubstr("urn:net"), testing::Not(HasSubstr("urn:more"))));
  fill();
  EXPECT_EQ(set({"/", "/", "", "openconfig"}, R"({"openconfig-net:net":{}})", true), Answer());
  EXPECT_EQ(xml(),
            "<config><net xmlns=\"urn:more\"><note>m</note></net>"
            "<box xmlns=\"urn:more\"><note>b</note></box></config>");
  EXPECT_EQ(set({"/", "/", "", "openconfig"}, R"({"other-net:box":{}})", true).text,
            "member \"other-net:box\" does not belong to origin \"openconfig\"");
  EXPECT_EQ(remove({"/", "/", "", "rfc7951"}), Answer());
  EXPECT_EQ(xml(), "<config/>");
}

TEST_F(Doors, ANewEntryGetsTheLeavesThatItsKeysStandFor) {
  std::string xml;
  std::vector<std::string> notes;
  const Request hold{"/", "/net/protocol[kind=BGP][name=a]/timers/config/hold", "", ""};
  EXPECT_EQ(convert(hold, "9", &xml, &notes), Answer());
  EXPECT_THAT(xml, HasSubstr("<config><kind xmlns:k=\"urn:kinds\">k:BGP</kind><name>a</name>"
                             "</config></protocol>"));
  EXPECT_THAT(notes, testing::Contains("entry of protocol: config/kind is set with its key kind"));
  EXPECT_THAT(notes, testing::Contains("entry of protocol: config/name is set with its key name"));
  EXPECT_EQ(set(hold, "9"), Answer());
  std::string json;
  EXPECT_EQ(get({"/", "/net/protocol[kind=BGP][name=a]/config/name", "", ""}, json), Answer());
  EXPECT_EQ(json, "\"a\"");
  // A replace keeps what it does not name outside its own node, and what the key needs inside.
  EXPECT_EQ(set({"/", "/net/protocol[kind=BGP][name=a]/config", "", ""}, R"({"note":"n"})", true),
            Answer());
  EXPECT_EQ(get({"/", "/net/protocol[kind=BGP][name=a]/timers/config/hold", "", ""}, json),
            Answer());
  // What is given is not set again.
  EXPECT_EQ(convert({"/", "/net/protocol[kind=BGP][name=a]/config/name", "", ""}, "\"a\"", &xml),
            Answer());
  EXPECT_EQ(xml.find("<name>", xml.find("<config>", 50)), xml.rfind("<name>"));
  EXPECT_NE(set({"/", "/net/protocol[kind=BGP][name=a]/config/name", "", ""}, "\"b\"").code,
            grpc::OK);
  start(Mode::kStrict);
  EXPECT_EQ(
      convert({"/", "/openconfig-net:net/protocol[kind=kinds:BGP][name=a]/config/note", "", ""},
              "\"x\"", &xml),
      Answer());
  EXPECT_EQ(xml.find("<name>a</name><note>"), std::string::npos);
}

}  // namespace
}  // namespace nexa_test

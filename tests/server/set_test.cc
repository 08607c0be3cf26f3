// What does a Set do with its operations, and what does it answer?
#include <condition_variable>
#include <thread>

#include "google/rpc/status.pb.h"
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "server/support/service_fixture.h"
#include "translate/path_string.h"

namespace nexa_test {
namespace {

using nexa::store::Edit;

class Set : public ServiceTest {
 protected:
  void SetUp() override {
    for (const char* path :
         {"/device/name", "/device/location", "/device/port/speed", "/device/port/name",
          "/device/limits/tiny", "/services/ntp", "/device/port/route"}) {
      store.know(path);
    }
  }

  std::string answer() {
    if (service == nullptr) start();
    response.Clear();
    status = set(request, response);
    return shown(status);
  }

  // The edits of the last commit: "replace /device/name <xml content>".
  std::string edits() const {
    const std::vector<nexa::store::CommitRequest> commits = store.commits();
    if (commits.empty()) return "none";
    std::string text;
    for (const nexa::store::Edit& edit : commits.back().edits) {
      text += edit.kind == nexa::store::Edit::Kind::kDelete    ? "delete "
              : edit.kind == nexa::store::Edit::Kind::kReplace ? "replace "
                                                               : "update ";
      // The document of an update says where it belongs.
      const bool has_target = edit.kind != nexa::store::Edit::Kind::kUpdate;
      text += has_target ? nexa::translate::format_path_string(edit.target.path) : "-";
      const std::size_t open = edit.xml.find("<config>");
      if (open != std::string::npos) {
        text += " " + edit.xml.substr(open + 8, edit.xml.find("</config>") - open - 8);
      } else if (!edit.xml.empty()) {
        text += " " + edit.xml;
      }
      text += "\n";
    }
    return text;
  }

  std::string results() const {
    std::string text;
    for (const gnmi::UpdateResult& result : response.response()) {
      text += gnmi::UpdateResult::Operation_Name(result.op()) + " " +
              nexa::translate::format_path_string(result.path()) + "\n";
    }
    return text;
  }

  // The google.rpc.Status behind the last refusal.
  google::rpc::Status details() const {
    google::rpc::Status parsed;
    EXPECT_TRUE(parsed.ParseFromString(status.error_details()));
    return parsed;
  }

  gnmi::SetRequest request;
  gnmi::SetResponse response;
  grpc::Status status;
};

TEST_F(Set, AppliesDeletesThenReplacesThenUpdates) {
  *request.add_update() = update_of("/example-device:device/name", "\"a\"");
  *request.add_update() = update_of("/example-device:device/location", "\"b\"");
  *request.add_replace() = update_of("/example-device:device/limits/tiny", "1");
  *request.add_delete_() = path_of("/example-device:device/port[name=*]");
  *request.add_delete_() = path_of("/example-device:services");
  ASSERT_EQ(answer(), "0 ");
  EXPECT_EQ(edits(),
            "delete /example-device:device/port[name=*]\n"
            "delete /example-device:services\n"
            "replace /example-device:device/limits/tiny "
            "<device xmlns=\"urn:example:device\"><limits><tiny>1</tiny></limits></device>\n"
            "update - "
            "<device xmlns=\"urn:example:device\"><name>a</name></device>\n"
            "update - "
            "<device xmlns=\"urn:example:device\"><location>b</location></device>\n");
  EXPECT_EQ(results(),
            "DELETE /example-device:device/port[name=*]\n"
            "DELETE /example-device:services\n"
            "REPLACE /example-device:device/limits/tiny\n"
            "UPDATE /example-device:device/name\n"
            "UPDATE /example-device:device/location\n");
  const std::int64_t age = nexa::ServiceRpcMsgHelpers::get_timestamp() - response.timestamp();
  EXPECT_GE(age, 0);
  EXPECT_LT(age, 60'000'000'000);
  EXPECT_EQ(store.commits().size(), 1U);
}

TEST_F(Set, JoinsThePrefixAndAnswersPathsAsTheyWereWritten) {
  *request.mutable_prefix() = path_of("/example-device:device");
  request.mutable_prefix()->set_target("box1");
  *request.add_update() = update_of("/name", "\"a\"");
  ASSERT_EQ(answer(), "0 ");
  EXPECT_EQ(edits(),
            "update - "
            "<device xmlns=\"urn:example:device\"><name>a</name></device>\n");
  EXPECT_EQ(results(), "UPDATE /name\n");
  EXPECT_EQ(response.prefix().target(), "box1");
  EXPECT_EQ(store.commits().back().edits.front().target.path.target(), "");
}

TEST_F(Set, NothingToDoIsOk) {
  ASSERT_EQ(answer(), "0 ");
  EXPECT_EQ(response.response_size(), 0);
  EXPECT_GT(response.timestamp(), 0);
  EXPECT_TRUE(store.commits().empty());
}

TEST_F(Set, DeletingTheRootEmptiesTheConfiguration) {
  request.add_delete_();
  ASSERT_EQ(answer(), "0 ");
  EXPECT_EQ(edits(), "replace / <config/>\n");
  EXPECT_EQ(results(), "DELETE /\n");
}

TEST_F(Set, ReplacesTheWholeTree) {
  *request.add_replace() = update_of("/", R"({"example-device:services":{"ntp":true}})");
  ASSERT_EQ(answer(), "0 ");
  EXPECT_EQ(edits(),
            "replace / <services xmlns=\"urn:example:device\"><ntp>true</ntp></services>\n");
}

TEST_F(Set, AnUnknownPathIsNotFound) {
  *request.add_update() = update_of("/example-device:device/name", "\"a\"");
  *request.add_update() = update_of("/example-device:device/nothing", "1");
  EXPECT_EQ(answer(),
            "5 update[1] of /example-device:device/nothing: no node \"nothing\" below "
            "\"/example-device:device\"");
  request.clear_update();
  *request.add_delete_() = path_of("/example-device:nothing");
  EXPECT_EQ(answer(),
            "5 delete[0] of /example-device:nothing: no node \"example-device:nothing\" "
            "at the top of the schema");
  EXPECT_TRUE(store.commits().empty());
}

TEST_F(Set, ABadValueNamesOperationPathAndRule) {
  *request.add_replace() = update_of("/example-device:device/limits/tiny", "1");
  *request.add_replace() = update_of("/example-device:device/limits/tiny", "300");
  const std::string text = answer();
  EXPECT_EQ(text.substr(0, 54), "3 replace[1] of /example-device:device/limits/tiny: va");
  EXPECT_NE(text.find("300"), std::string::npos) << text;
  EXPECT_TRUE(store.commits().empty());
}

TEST_F(Set, RefusalsCarryTheOperationInTheirDetails) {
  *request.add_delete_() = path_of("/example-device:device/name");
  *request.add_update() = update_of("/example-device:device/limits/tiny", "300");
  answer();
  const google::rpc::Status refusal = details();
  EXPECT_EQ(refusal.code(), 3);
  EXPECT_EQ(refusal.message(), status.error_message());
  ASSERT_EQ(refusal.details_size(), 1);
  gnmi::UpdateResult blamed;
  ASSERT_TRUE(refusal.details(0).UnpackTo(&blamed));
  EXPECT_EQ(blamed.op(), gnmi::UpdateResult::UPDATE);
  EXPECT_EQ(nexa::translate::format_path_string(blamed.path()),
            "/example-device:device/limits/tiny");
}

TEST_F(Set, ACommitsRefusalNamesOperationPathValueAndRule) {
  store.on_commit = [](const nexa::store::CommitRequest&) {
    nexa::store::CommitResult result;
    result.status = {grpc::StatusCode::FAILED_PRECONDITION, "refused"};
    result.edit = 1;
    result.path = "/example-device:device/uplink";
    result.rule = "leafref \"../port/name\": no entry \"b\"";
    return result;
  };
  *request.add_delete_() = path_of("/example-device:device/port[name=b]");
  *request.add_update() = update_of("/example-device:device/name", "\"a\"");
  EXPECT_EQ(answer(),
            "9 update[0] of /example-device:device/name: value \"a\": leafref \"../port/name\": no "
            "entry \"b\" at /example-device:device/uplink");
  gnmi::UpdateResult blamed;
  ASSERT_EQ(details().details_size(), 1);
  ASSERT_TRUE(details().details(0).UnpackTo(&blamed));
  EXPECT_EQ(blamed.op(), gnmi::UpdateResult::UPDATE);
}

TEST_F(Set, ARefusalThatBlamesNoOperationGivesItsText) {
  store.on_commit = [](const nexa::store::CommitRequest&) {
    nexa::store::CommitResult result;
    result.status = {grpc::StatusCode::RESOURCE_EXHAUSTED, "the disk is full"};
    return result;
  };
  *request.add_update() = update_of("/example-device:device/name", "\"a\"");
  EXPECT_EQ(answer(), "8 the disk is full");
  EXPECT_EQ(details().details_size(), 0);
}

TEST_F(Set, AnEmptyObjectOrNullIsNoListEntry) {
  for (const char* value : {"{}", " { } ", "null", "\n{\t}\r"}) {
    request.Clear();
    *request.add_update() = update_of("/example-device:device/port[name=a]", value);
    const std::string text = answer();
    EXPECT_EQ(text.substr(0, 56), "3 update[0] of /example-device:device/port[name=a]: valu")
        << value;
    const std::string rule =
        "{} or null is no value for a list entry, give its members or delete it";
    EXPECT_EQ(text.substr(text.size() - rule.size()), rule) << value;
  }
  request.Clear();
  *request.add_update() = update_of("/example-device:device/port[name=a]", R"({"name":"a"})");
  EXPECT_EQ(answer(), "0 ");
}

TEST_F(Set, RefusalsOfTheChecksComeAsTheyAre) {
  options.profile = nexa::profile::Profile::kDevice;
  request.add_union_replace();
  EXPECT_EQ(answer(), "12 Operation union_replace not supported");
  request.Clear();
  request.add_update();
  EXPECT_EQ(answer(), "3 No path field provided");
  request.Clear();
  *request.add_update() = update_of("/device/*", "1");
  EXPECT_EQ(answer(), "12 Wildcard not implemented for UPDATE nor REPLACE");
  request.Clear();
  *request.add_update()->mutable_path() = path_of("/device/name");
  request.mutable_update(0)->mutable_val()->set_proto_bytes("x");
  EXPECT_EQ(answer(), "12 Requested encoding \"PROTO\" not supported");
}

TEST_F(Set, RefusalsOfTheChecksNameTheirOperationInTheDetails) {
  options.profile = nexa::profile::Profile::kDevice;
  *request.add_update() = update_of("/device/name", "\"a\"");
  *request.add_update() = update_of("/device/*", "1");
  *request.add_delete_() = path_of("/device/location");
  EXPECT_EQ(answer(), "12 Wildcard not implemented for UPDATE nor REPLACE");
  ASSERT_EQ(details().details_size(), 1);
  gnmi::UpdateResult blamed;
  ASSERT_TRUE(details().details(0).UnpackTo(&blamed));
  EXPECT_EQ(blamed.op(), gnmi::UpdateResult::UPDATE);
  EXPECT_EQ(nexa::translate::format_path_string(blamed.path()), "/device/*");
  request.add_union_replace();
  answer();
  EXPECT_EQ(details().code(), 12);
  EXPECT_EQ(details().details_size(), 0);
}

TEST_F(Set, OriginsAreServedOrRefusedInWords) {
  *request.add_update() = update_of("/example-device:device/name", "\"a\"");
  request.mutable_update(0)->mutable_path()->set_origin("cli");
  EXPECT_EQ(answer(),
            "12 update[0] of /example-device:device/name: origin \"cli\" not supported, the served "
            "ones are \"openconfig\", \"rfc7951\", the names of modules and none");
  request.mutable_update(0)->mutable_path()->set_origin("rfc7951");
  EXPECT_EQ(answer(), "0 ");
  request.mutable_prefix()->set_origin("openconfig");
  EXPECT_EQ(answer(),
            "3 update[0] of /example-device:device/name: an origin stands in the prefix or in "
            "the paths, not in both");
}

TEST_F(Set, TooManyOperationsAreRefused) {
  options.limits.max_operations = 2;
  for (int count = 0; count < 3; ++count) {
    *request.add_delete_() = path_of("/example-device:device/name");
  }
  EXPECT_EQ(answer(), "3 3 operations in one request, at most 2 are taken");
  EXPECT_EQ(details().code(), 3);
  EXPECT_EQ(details().message(), "3 operations in one request, at most 2 are taken");
}

TEST_F(Set, AVetoOfTheHookComesAsItIs) {
  approve = [](const nexa::store::Change&) {
    return grpc::Status(grpc::StatusCode::FAILED_PRECONDITION, "not on a Sunday");
  };
  *request.add_update() = update_of("/example-device:device/name", "\"a\"");
  EXPECT_EQ(answer(), "9 not on a Sunday");
}

TEST_F(Set, AFaultOfTheStoreIsTheServers) {
  store.on_commit = [](const nexa::store::CommitRequest&) -> nexa::store::CommitResult {
    throw std::runtime_error("no memory");
  };
  *request.add_update() = update_of("/example-device:device/name", "\"a\"");
  EXPECT_EQ(answer(), "13 The server failed to serve the call");
  EXPECT_EQ(recorder.faults(), std::vector<std::string>{"Set failed: no memory"});
}

// It may have been made before memory was wanting, or not.
TEST_F(Set, ACommitThatMemoryEndsIsNeitherDoneNorRefused) {
  store.on_commit = [](const nexa::store::CommitRequest&) -> nexa::store::CommitResult {
    throw std::bad_alloc();
  };
  *request.add_update() = update_of("/example-device:device/name", "\"a\"");
  EXPECT_EQ(answer(), "14 Whether the change was made is not known: memory is wanting");
  EXPECT_TRUE(recorder.faults().empty());
  ASSERT_EQ(recorder.audit_lines().size(), 1U);
  EXPECT_NE(recorder.audit_lines().front().find("UNAVAILABLE"), std::string::npos)
      << recorder.audit_lines().front();
}

// Whose first commit has an outcome that only the next one finds out.
class DoubtfulStore : public FakeStore {
 public:
  DoubtfulStore() {
    on_commit = [this](const nexa::store::CommitRequest& commit) {
      nexa::store::CommitResult result;
      const std::lock_guard<std::mutex> lock(mutex_);
      if (commit.confirm_id.empty()) {
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        constexpr std::chrono::milliseconds kLeft{100};
        pending_ = {"a", 1, 0, std::chrono::nanoseconds(now + kLeft).count(), kLeft};
        result.status = {grpc::StatusCode::FAILED_PRECONDITION, "commit 1 waits"};
      } else {
        result.status = {grpc::StatusCode::UNAVAILABLE, "not known"};
      }
      return result;
    };
  }
  std::optional<nexa::store::PendingCommit> pending() const override {
    const std::lock_guard<std::mutex> lock(mutex_);
    return pending_;
  }
  CommitResult cancel(const std::string& id, const std::string& /*author*/,
                      const std::string& /*reason*/,
                      const std::function<grpc::Status(const nexa::store::Change&)>&) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    cancelled_.push_back(id);
    pending_.reset();
    return {};
  }
  std::vector<std::string> cancelled() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return cancelled_;
  }

 private:
  mutable std::mutex mutex_;
  std::optional<nexa::store::PendingCommit> pending_;
  std::vector<std::string> cancelled_;
};

TEST_F(Set, ACommitThatIsFoundLaterIsStillTakenBackAtItsTime) {
  DoubtfulStore doubtful;
  doubtful.know("/device/name");
  other_store = &doubtful;
  *request.add_update() = update_of("/example-device:device/name", "\"a\"");
  request.add_extension()->mutable_commit()->set_id("a");
  request.mutable_extension(0)->mutable_commit()->mutable_commit();
  EXPECT_EQ(answer(), "14 not known");
  // As long as the watch looks by itself after each change of what waits.
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  request.clear_extension();
  EXPECT_EQ(answer(), "9 commit 1 waits");
  EXPECT_TRUE(eventually([&] { return !doubtful.cancelled().empty(); }, std::chrono::seconds(5)));
  EXPECT_EQ(doubtful.cancelled(), std::vector<std::string>{"a"});
  stop();
}

TEST_F(Set, MeaningfulExtensionsAreRefusedUnknownOnesPassedOver) {
  options.profile = nexa::profile::Profile::kDevice;
  *request.add_update() = update_of("/example-device:device/name", "\"a\"");
  request.add_extension()->mutable_registered_ext()->set_id(gnmi_ext::EID_EXPERIMENTAL);
  request.add_extension();
  EXPECT_EQ(answer(), "0 ");
  request.add_extension()->mutable_commit()->set_id("c1");
  EXPECT_EQ(answer(), "12 Extension commit not supported");
}

TEST_F(Set, OnlyTheMasterOfARoleMaySet) {
  *request.add_update() = update_of("/example-device:device/name", "\"a\"");
  gnmi_ext::MasterArbitration& claim = *request.add_extension()->mutable_master_arbitration();
  EXPECT_EQ(answer(), "3 Extension master_arbitration without an election_id");
  claim.mutable_election_id()->set_low(7);
  EXPECT_EQ(answer(), "0 ");
  claim.mutable_election_id()->set_low(6);
  EXPECT_EQ(answer(),
            "7 Another client is master, the highest election_id is "
            "0x00000000000000000000000000000007");
  claim.mutable_role()->set_id("other");
  EXPECT_EQ(answer(), "0 ");
  claim.clear_role();
  claim.mutable_election_id()->set_high(1);
  EXPECT_EQ(answer(), "0 ");
  EXPECT_EQ(store.commits().size(), 3U);
}

}  // namespace
}  // namespace nexa_test

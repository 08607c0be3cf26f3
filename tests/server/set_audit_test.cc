// Who may Set, and what is kept of it?
#include <gmock/gmock.h>

#include "server/audit.h"
#include "server/support/service_fixture.h"
#include "server/support/stream_client.h"

namespace nexa_test {
namespace {

using nexa::access::Role;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

class SetAudit : public ServiceTest {
 protected:
  void SetUp() override {
    store.know("/device/name");
    access.users["alice"] = {"secret", Role::kReadWrite};
    access.users["bob"] = {"guest", Role::kReadOnly};
    *request.add_update() = update_of("/example-device:device/name", "\"a\"");
  }

  std::string answer(const std::string& user, const std::string& password) {
    if (service == nullptr) start();
    metadata = {{"username", user}, {"password", password}};
    gnmi::SetResponse response;
    return shown(set(request, response));
  }

  // The last audit line without peer and time.
  std::string line() const {
    const std::vector<std::string> lines = recorder.audit_lines();
    if (lines.empty()) return "none";
    std::string text = lines.back();
    const std::size_t peer = text.find(" peer=\"ipv4:127.0.0.1:");
    EXPECT_NE(peer, std::string::npos) << text;
    if (peer != std::string::npos) text.erase(peer, text.find('"', peer + 8) + 1 - peer);
    const std::size_t time = text.find(" time_us=");
    EXPECT_NE(time, std::string::npos) << text;
    return text.substr(0, time);
  }

  gnmi::SetRequest request;
};

TEST_F(SetAudit, KeepsALineOfAnAcceptedSet) {
  ASSERT_EQ(answer("alice", "secret"), "0 ");
  EXPECT_EQ(line(),
            "set user=\"alice\" deletes=0 replaces=0 updates=1 operations=\"update[0] "
            "/example-device:device/name\" verdict=OK commit=1");
  EXPECT_EQ(store.commits().back().author, "alice");
  EXPECT_EQ(store.commits().back().comment, "Set of 1 operations");
}

TEST_F(SetAudit, ReadersMayNotSet) {
  EXPECT_EQ(answer("bob", "guest"), "7 Set needs a user of the role read-write");
  EXPECT_EQ(line(),
            "set user=\"bob\" deletes=0 replaces=0 updates=1 operations=\"update[0] "
            "/example-device:device/name\" verdict=PERMISSION_DENIED reason=\"Set needs a user of "
            "the role read-write\"");
  EXPECT_TRUE(store.commits().empty());
}

TEST_F(SetAudit, OfStrangersTheLoginIsKept) {
  EXPECT_EQ(answer("mallory", "x"), "16 who are you");
  EXPECT_EQ(line(), "none");
  gnmi::GetResponse response;
  metadata.clear();
  EXPECT_EQ(shown(get(gnmi::GetRequest(), response)), "16 who are you");
  StreamClient stream(stub(), std::chrono::seconds(20), {{"username", "eve"}});
  EXPECT_EQ(stream.end(), "16 who are you");
  const std::vector<std::string> lines = recorder.failed_logins();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_THAT(lines[0],
              MatchesRegex(R"(login user="mallory" peer="ipv4:127.0.0.1:[0-9]+" method=Set )"
                           R"(verdict=UNAUTHENTICATED reason="who are you")"));
  EXPECT_THAT(lines[1],
              MatchesRegex(R"(login user="" peer="ipv4:127.0.0.1:[0-9]+" method=Get .*)"));
  EXPECT_THAT(lines[2], MatchesRegex(R"(login user="eve" peer=.* method=Subscribe .*)"));
}

TEST(LoginLine, HasNoControlCharactersAndABound) {
  nexa::server::CallIdentity identity;
  identity.user = "eve\nset user=\"root\"" + std::string(10000, 'x');
  identity.certificate = true;
  identity.certificate_name = std::string("a\0b", 3);
  identity.peer = "ipv4:1.2.3.4:5";
  const std::string line = nexa::server::login_line(
      identity, "Get", {grpc::StatusCode::UNAUTHENTICATED, "who\x1b[31m are you"});
  EXPECT_THAT(line, StartsWith(R"(login user="eve\nset user=\"root\")"));
  EXPECT_THAT(line, HasSubstr(R"( certificate="a\x00b" peer="ipv4:1.2.3.4:5" method=Get )"));
  EXPECT_THAT(line, EndsWith(R"(reason="who\x1B[31m are you")"));
  EXPECT_LT(line.size(), 400U);
}

TEST_F(SetAudit, RefusedRequestsAreKept) {
  *request.add_update() = update_of("/example-device:nothing", "1");
  EXPECT_EQ(answer("alice", "secret").substr(0, 2), "5 ");
  EXPECT_EQ(
      line(),
      "set user=\"alice\" deletes=0 replaces=0 updates=2 operations=\"update[0] "
      "/example-device:device/name, update[1] /example-device:nothing\" verdict=NOT_FOUND "
      "reason=\"update[1] of /example-device:nothing: no node \\\"example-device:nothing\\\" at "
      "the top of the schema\"");
}

TEST(AuditLine, HasNoControlCharactersAndABound) {
  gnmi::SetRequest request;
  for (int count = 0; count < 50; ++count) {
    gnmi::PathElem* element = request.add_delete_()->add_elem();
    element->set_name("list");
    (*element->mutable_key())["k"] = "a\nb\"c\\\x1b[31m\xff" + std::string(10000, 'x');
  }
  nexa::server::SetAudit audit;
  audit.user = "eve\r\nset user=\"root\"";
  audit.peer = "ipv4:1.2.3.4:5";
  audit.verdict = {grpc::StatusCode::ABORTED, "line\none"};
  audit.time = std::chrono::milliseconds(3);
  const std::string line = nexa::server::audit_line(audit, request);
  EXPECT_EQ(line.substr(0, 56),
            "set user=\"eve\\r\\nset user=\\\"root\\\"\" peer=\"ipv4:1.2.3.4:5");
  for (const char character : line) {
    EXPECT_GE(character, ' ') << line;
    EXPECT_LE(character, '~') << line;
  }
  EXPECT_NE(line.find("delete[0] /list[k=a\\nb\\\"c"), std::string::npos) << line;
  EXPECT_NE(line.find(", and 40 more\" verdict=ABORTED reason=\"line\\none\" time_us=3000"),
            std::string::npos)
      << line;
  EXPECT_LT(line.size(), 3000U);
}

}  // namespace
}  // namespace nexa_test

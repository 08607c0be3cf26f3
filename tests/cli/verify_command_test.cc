// nexa verify, over data directories that the test fills: valid, broken by a stricter module, and
// damaged.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "run_program.h"
#include "store/log/commit_log.h"
#include "store_test.h"

namespace {

using nexa_test::Outcome;
using nexa_test::run_nexa;
using testing::HasSubstr;
using testing::StartsWith;

constexpr char kModule[] = R"(module m {
  namespace "urn:m"; prefix m;
  revision $REVISION;
  container top {
    leaf low { type uint8; }
    leaf high { type uint8; $RULE }
    leaf usual { type uint8; default $DEFAULT; }
    list entry { key name; leaf name { type string; } leaf note { type string; } }
  }
})";

class VerifyCommand : public nexa_test::StoreTest {
 protected:
  void SetUp() override {
    write_module("lax", "", "1", "2026-01-01");
    ASSERT_EQ(nexa_test::load_text(options_of("lax")), "");
    open();
    ASSERT_EQ(commit("<low>1</low><high>3</high><entry><name>a</name><note>one</note></entry>"),
              1U);
    ASSERT_EQ(commit("<low>9</low><entry><name>b</name></entry>"), 2U);
  }

  std::string modules(const std::string& name) const { return folder_.file(name); }
  // Another text of the module has another revision.
  void write_module(const std::string& name, const std::string& rule, const std::string& usual,
                    const std::string& revision = "2026-02-02") {
    std::string text = kModule;
    text.replace(text.find("$REVISION"), 9, revision);
    text.replace(text.find("$RULE"), 5, rule);
    text.replace(text.find("$DEFAULT"), 8, usual);
    std::filesystem::create_directory(modules(name));
    folder_.write(name + "/m.yang", text);
  }
  kestrel::LoadOptions options_of(const std::string& name) const {
    kestrel::LoadOptions options;
    options.search_dirs = {modules(name)};
    return options;
  }
  std::uint64_t commit(const std::string& inner) {
    const nexa::store::CommitResult result = StoreTest::commit("top", "urn:m", inner);
    EXPECT_TRUE(result.status.ok()) << result.status.error_message();
    return result.number;
  }
  Outcome verify(const std::string& name, const std::vector<std::string>& more = {}) const {
    std::vector<std::string> words{"verify", "-p", modules(name), "--data", data()};
    words.insert(words.end(), more.begin(), more.end());
    return run_nexa(words);
  }
};

TEST_F(VerifyCommand, AValidDirectoryBesideItsServer) {
  const Outcome run = verify("lax");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "commit 2: valid\n");
  EXPECT_EQ(run.err, "");
  ASSERT_EQ(commit("<entry><name>c</name></entry>"), 3U);
  EXPECT_EQ(verify("lax").out, "commit 3: valid\n");
}

TEST_F(VerifyCommand, AnEmptyConfigurationIsValid) {
  store_.reset();
  std::filesystem::remove_all(data());
  open();
  EXPECT_EQ(verify("lax").out, "commit 0: valid\n");
}

TEST_F(VerifyCommand, ABrokenRuleIsNamedWithItsNode) {
  store_.reset();
  write_module("strict", "must '. >= ../low';", "1");
  const Outcome run = verify("strict");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, StartsWith("commit 2: /m:top/high: must "));
  EXPECT_EQ(run.err, "");
  const Outcome json = verify("strict", {"--json"});
  EXPECT_EQ(json.status, 1);
  EXPECT_THAT(json.out, HasSubstr("\"commit\":\t2"));
  EXPECT_THAT(json.out, HasSubstr("\"verdict\":\t\"violation\""));
  EXPECT_THAT(json.out, HasSubstr("\"text\":\t\"/m:top/high: must "));
}

TEST_F(VerifyCommand, AFalseWhenOfAConfiguredNodeIsAViolation) {
  store_.reset();
  write_module("strict", "when '../low = 1';", "1");
  const Outcome run = verify("strict");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, StartsWith("commit 2: /m:top/high: when "));
}

TEST_F(VerifyCommand, AnotherSchemaThatFitsIsNoViolation) {
  store_.reset();
  write_module("other", "", "7");
  EXPECT_EQ(verify("other").out, "commit 2: valid\n");
}

TEST_F(VerifyCommand, ASchemaWithoutTheNodesIsNamed) {
  store_.reset();
  std::filesystem::create_directory(modules("foreign"));
  folder_.write("foreign/n.yang", "module n { namespace 'urn:n'; prefix n; container n; }");
  const Outcome run = verify("foreign");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, StartsWith("cannot be read: "));
  EXPECT_THAT(run.out, HasSubstr("urn:m"));
}

TEST_F(VerifyCommand, ADamagedLogIsNamed) {
  store_.reset();
  const std::string file = data() + "/nexa.db";
  std::string content;
  {
    std::ifstream in(file, std::ios::binary);
    content.assign(std::istreambuf_iterator<char>(in), {});
  }
  const std::size_t place = content.find(">one</note>");
  ASSERT_NE(place, std::string::npos);
  content[place + 1] = '0';
  std::ofstream(file, std::ios::binary) << content;
  const Outcome run = verify("lax");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, StartsWith("cannot be read: " + file + ": damaged: "));
  EXPECT_THAT(verify("lax", {"--json"}).out, HasSubstr("\"verdict\":\t\"unreadable\""));
}

// What a defect of the server could leave: a commit whose two texts say different things.
class ContradictoryLog : public VerifyCommand {
 protected:
  void append(const std::string& effect) {
    store_.reset();
    nexa::store::LogOptions place;
    place.directory = data();
    place.sync = false;
    const auto log = nexa::store::CommitLog::open(place);
    ASSERT_TRUE(log.ok()) << log.failure().line();
    nexa::store::LogEntry entry;
    entry.number = 3;
    entry.change =
        "<top xmlns=\"urn:m\" xmlns:yang=\"urn:ietf:params:xml:ns:yang:1\" yang:operation=\"none\">"
        "<low yang:operation=\"replace\" yang:orig-default=\"false\" yang:orig-value=\"9\">5</low>"
        "</top>";
    entry.effect = ">m:top\n" + effect + "<\n";
    ASSERT_TRUE(log.value()->append(entry).ok());
  }
};

TEST_F(ContradictoryLog, AgreesWithItself) {
  append("#low\t5\n");
  EXPECT_EQ(verify("lax").out, "commit 3: valid\n");
}

TEST_F(ContradictoryLog, AnotherValueInTheImageIsNamed) {
  append("#low\t6\n");
  EXPECT_EQ(verify("lax").out,
            "commit 3: /m:top/low: the image and the XML in the log have different configurations "
            "here\n");
}

TEST_F(ContradictoryLog, AWrongDefaultInTheImageIsNamed) {
  append("#low\t5\n~#usual\t7\n");
  EXPECT_EQ(verify("lax").out,
            "commit 3: /m:top/usual: what is served is not what validation makes of it here\n");
}

TEST_F(VerifyCommand, ChangesNothing) {
  store_.reset();
  const auto content = [this](const char* name) {
    std::ifstream in(data() + "/" + name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  };
  const std::string database = content("nexa.db");
  const std::string newest = content("nexa.db-newest");
  EXPECT_FALSE(database.empty());
  EXPECT_EQ(verify("lax").status, 0);
  EXPECT_TRUE(content("nexa.db") == database);
  EXPECT_EQ(content("nexa.db-newest"), newest);
}

TEST_F(VerifyCommand, WrongUsage) {
  EXPECT_EQ(run_nexa({"verify", "--data", data()}).status, 2);
  EXPECT_EQ(run_nexa({"verify", "-p", modules("lax"), "--data", "/nowhere/at/all"}).status, 2);
  EXPECT_EQ(verify("lax", {"--parent", "0"}).status, 2);
  const std::string empty = folder_.file("empty");
  std::filesystem::create_directory(empty);
  const Outcome run = run_nexa({"verify", "-p", modules("lax"), "--data", empty});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err,
            "nexa: " + empty + "/nexa.db: no such file; name the data directory of a server\n");
}

TEST_F(VerifyCommand, WorksForItsParentOnly) {
  EXPECT_EQ(verify("lax", {"--parent", std::to_string(getpid())}).out, "commit 2: valid\n");
  const Outcome run = verify("lax", {"--parent", std::to_string(getpid() + 1)});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
}

}  // namespace

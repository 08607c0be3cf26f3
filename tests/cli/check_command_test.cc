// nexa check: request forms, verdicts, exit statuses.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "run_program.h"

namespace check_command_test {

using nexa_test::Outcome;
using nexa_test::run_nexa;

Outcome check(const std::string& request) { return run_nexa({"check", "--request", "-"}, request); }
Outcome check_as_device(const std::string& request) {
  return run_nexa({"check", "--profile", "device", "--request", "-"}, request);
}

void expect_ok(const Outcome& run) {
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "OK\n");
  EXPECT_EQ(run.err, "");
}

void expect_refused(const Outcome& run, const std::string& text) {
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, text);
}

TEST(CheckCommand, AcceptsAGetInTextForm) {
  expect_ok(check("path { elem { name: 'interfaces' } } type: CONFIG encoding: JSON_IETF"));
}

TEST(CheckCommand, AcceptsASetInJsonForm) {
  expect_ok(check(R"( {"update": [{"path": {"elem": [{"name": "a", "key": {"k": "v"}}]},
                                   "val": {"jsonIetfVal": "MQ=="}}]} )"));
}

TEST(CheckCommand, AcceptsASampleSubscription) {
  expect_ok(check("subscribe { subscription { mode: SAMPLE path { elem { name: 'a' } } } }"));
}

TEST(CheckCommand, RefusesOperationalData) {
  expect_refused(check_as_device("path { elem { name: 'a' } } type: OPERATIONAL"),
                 "UNIMPLEMENTED: Requested data type \"OPERATIONAL\" not supported\n");
}

TEST(CheckCommand, NamesTheFieldOfABadPath) {
  expect_refused(check("path { elem { name: 'a' } } path { elem { name: '1' } }"),
                 "INVALID_ARGUMENT: Invalid PathElement.name 1 char 1 is invalid\n  in path[1]\n");
}

TEST(CheckCommand, RefusesUnionReplaceInWords) {
  expect_refused(
      check_as_device("union_replace { path { elem { name: 'a' } } val { json_ietf_val: '1' } }"),
      "UNIMPLEMENTED: Operation union_replace not supported\n  in union_replace[0]\n");
}

TEST(CheckCommand, RefusesAPollAsFirstMessage) {
  expect_refused(
      check("poll {}"),
      "INVALID_ARGUMENT: Unsupported method[ Poll ] provided on initial subscribe request\n");
}

TEST(CheckCommand, WritesTheVerdictAsJson) {
  const Outcome run =
      run_nexa({"check", "--request", "-", "--format", "json"},
               "replace { path { elem { name: '*' } } val { json_ietf_val: '1' } }");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out,
            "{\n\t\"request\":\t\"set\",\n\t\"code\":\t12,\n\t\"name\":\t\"UNIMPLEMENTED\",\n"
            "\t\"message\":\t\"Wildcard not implemented for UPDATE nor REPLACE\",\n"
            "\t\"place\":\t\"replace[0].path\"\n}\n");
  EXPECT_EQ(run.err,
            "UNIMPLEMENTED: Wildcard not implemented for UPDATE nor REPLACE\n"
            "  in replace[0].path\n");
}

TEST(CheckCommand, WritesAPassAsJson) {
  const Outcome run =
      run_nexa({"check", "--request", "-", "--format", "json"}, "path { elem { name: 'a' } }");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out,
            "{\n\t\"request\":\t\"get\",\n\t\"code\":\t0,\n\t\"name\":\t\"OK\",\n"
            "\t\"message\":\t\"\"\n}\n");
}

TEST(CheckCommand, AnUnclearRequestNeedsItsType) {
  const Outcome run = check("prefix { target: 'device' }");
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "nexa: -: fits more than one request (get, set); say which with --type\n");
  expect_ok(run_nexa({"check", "--request", "-", "--type", "set"}, "prefix { target: 'device' }"));
}

TEST(CheckCommand, ATypedEmptySubscribeRequestIsRefused) {
  expect_refused(
      run_nexa({"check", "--request", "-", "--type", "subscribe"}, ""),
      "INVALID_ARGUMENT: Unsupported method[ Aliases ] provided on initial subscribe request\n");
}

TEST(CheckCommand, TextThatIsNoRequestIsWrongUsage) {
  const Outcome run = check("path {\n  nme: 'a'\n}");
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err.substr(0, 75),
            "nexa: -: not a request\n"
            "as get: 2:6: Message type \"gnmi.Path\" has no field n");
  EXPECT_NE(run.err.find("as set: 1:"), std::string::npos);
  EXPECT_NE(run.err.find("as subscribe: 1:"), std::string::npos);
}

TEST(CheckCommand, AFileThatIsNotThereIsWrongUsage) {
  const Outcome run = run_nexa({"check", "--request", "/nowhere/request"});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, "nexa: /nowhere/request: No such file or directory\n");
}

TEST(CheckCommand, WrongOptionsAreWrongUsage) {
  EXPECT_EQ(run_nexa({"check"}).status, 2);
  EXPECT_EQ(run_nexa({"check", "--request", "-", "--type", "put"}).status, 2);
  EXPECT_EQ(run_nexa({"check", "--request", "-", "--format", "xml"}).status, 2);
}

TEST(CheckCommand, ReadsAFile) {
  char name[] = "/tmp/nexa-check-XXXXXX";
  const int descriptor = mkstemp(name);
  ASSERT_GE(descriptor, 0);
  const std::string text = "delete { elem { name: 'a' } }";
  ASSERT_EQ(write(descriptor, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  close(descriptor);
  expect_ok(run_nexa({"check", "--request", name}));
  std::remove(name);
}

}  // namespace check_command_test

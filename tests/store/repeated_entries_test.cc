// Entries that a document gives twice: found at once, however many there are; and commits that
// nobody waits for.
#include "store/repeated_entries.h"

#include <chrono>

#include "store_fixture.h"

namespace repeated_entries_test {

using namespace nexa_test;
using nexa::store::cut_at_repetition;

using RepeatedEntries = StoreTest;

std::string top(const std::string& inner) { return "<top xmlns=\"urn:s\">" + inner + "</top>"; }

std::string repeated(const std::string& text, int count) {
  std::string all;
  for (int index = 0; index < count; ++index) all += text;
  return all;
}

TEST_F(RepeatedEntries, TheDocumentEndsBehindTheFirst) {
  EXPECT_EQ(cut_at_repetition(top("<name>n</name><port><id>a</id><mode>a</mode></port>"
                                  "<port><id>b</id></port><port><id>a</id><mode>b</mode></port>"
                                  "<port><id>a</id></port>")),
            top("<name>n</name><port><id>a</id><mode>a</mode></port><port><id>b</id></port>"
                "<port><id>a</id><mode>b</mode></port>"));
  EXPECT_EQ(cut_at_repetition(top("<tag>x</tag><tag>y</tag><tag/><tag/><tag>x</tag>")),
            top("<tag>x</tag><tag>y</tag><tag/><tag/>"));
}

TEST_F(RepeatedEntries, WhatIsNotTheSameIsNone) {
  EXPECT_EQ(cut_at_repetition(""), "");
  EXPECT_EQ(cut_at_repetition(top("")), "");
  EXPECT_EQ(cut_at_repetition(top("<port><id>a</id></port><rule><id>1</id></rule>"
                                  "<port><id>b</id></port><rule><id>2</id></rule>"
                                  "<tag>1</tag><order>1</order><def>1</def>")),
            "");
  EXPECT_EQ(cut_at_repetition(top("<vendor><x xmlns=\"urn:other\"><tag>a</tag><tag>a</tag></x>"
                                  "</vendor>")),
            "");
  EXPECT_EQ(cut_at_repetition("<top xmlns=\"urn:unknown\"><tag>a</tag><tag>a</tag></top>"), "");
}

// What is no element's text, and what is no XML: the parser will say what is wrong with that.
TEST_F(RepeatedEntries, OnlyElementsCount) {
  EXPECT_EQ(cut_at_repetition(top("<!-- <tag>a</tag> --><tag>a</tag><?x <tag>a</tag>?>")), "");
  EXPECT_EQ(cut_at_repetition(top("<tag>a</tag><!--x--><tag>a</tag><name>n</name>")),
            top("<tag>a</tag><!--x--><tag>a</tag>"));
  const std::string twice = "<tag>a</tag><tag>a</tag>";
  for (const std::string& broken :
       {std::string("<tag>a</tag><tag>a"), std::string("<tag>a</tag><>"), "</top></top>" + twice,
        "<tag>a</tag></tag></top>" + twice, std::string("text<")}) {
    EXPECT_EQ(cut_at_repetition("<top xmlns=\"urn:s\">" + broken), "") << broken;
  }
  EXPECT_EQ(cut_at_repetition("</top>" + twice), "");
}

TEST_F(RepeatedEntries, ManyAreRefusedAtOnce) {
  const std::string entry = "<port><id>a</id></port>";
  const CommitResult two = commit({update(repeated(entry, 2))});
  EXPECT_EQ(two.rule, "duplicate \"port\"");
  EXPECT_EQ(two.path, "/s:top/port[id='a']");
  const auto begin = std::chrono::steady_clock::now();
  for (const std::string& many : {repeated(entry, 200000), repeated("<tag>t</tag>", 200000)}) {
    EXPECT_EQ(commit({update(many)}).status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

using AbandonedCommit = StoreTest;

TEST_F(AbandonedCommit, LeavesNothing) {
  ASSERT_EQ(commit({update("<name>n</name>")}).number, 1U);
  const std::string before = xml();
  CommitRequest request;
  request.edits = {update("<name>m</name>"), update("<speed>7</speed>")};
  int asked = 0;
  request.abandoned = [&asked] { return ++asked == 2; };
  const CommitResult result = store_->commit(request);
  EXPECT_EQ(result.status.error_code(), grpc::StatusCode::CANCELLED);
  EXPECT_EQ(result.status.error_message(), "nobody waits for the commit any more");
  EXPECT_EQ(xml(), before);
  EXPECT_EQ(store_->snapshot()->number(), 1U);
  EXPECT_EQ(commit({update("<speed>8</speed>")}).number, 2U);
  EXPECT_NE(xml().find("<name>n</name>"), std::string::npos);
}

}  // namespace repeated_entries_test

// The record of a failure, and what carries it.
#include "text/result.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>

namespace {

using nexa::text::Done;
using nexa::text::Failure;
using nexa::text::Result;
using nexa::text::unusable;

struct Base {
  virtual ~Base() = default;
  virtual int number() const { return 1; }
};
struct Derived final : Base {
  int number() const override { return 2; }
};

Result<std::unique_ptr<Base>> made(bool works) {
  if (!works) return unusable("users:3", "the name is empty");
  return std::make_unique<Derived>();
}

TEST(Failure, ALineIsPlaceAndRule) {
  EXPECT_EQ(unusable("users:3", "the name is empty").line(), "users:3: the name is empty");
  EXPECT_EQ(unusable("", "--hook is missing").line(), "--hook is missing");
}

TEST(Failure, WhatAnOperatorNamedIsAFailedPrecondition) {
  EXPECT_EQ(unusable("file", "it is empty").code, grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(Failure().code, grpc::StatusCode::FAILED_PRECONDITION);
}

TEST(Failure, AStatusHasTheRuleAlone) {
  const grpc::Status status = Failure{grpc::StatusCode::NOT_FOUND, "/a", "no node"}.status();
  EXPECT_EQ(status.error_code(), grpc::StatusCode::NOT_FOUND);
  EXPECT_EQ(status.error_message(), "no node");
}

TEST(Failure, APlaceGoesInFrontOfTheOneInside) {
  const Failure whole = nexa::text::failure_at("--metrics", unusable("[::1]:80", "in use"));
  EXPECT_EQ(whole.path, "--metrics: [::1]:80");
  EXPECT_EQ(whole.line(), "--metrics: [::1]:80: in use");
  EXPECT_EQ(nexa::text::failure_at("--hook", unusable("", "no program")).line(),
            "--hook: no program");
}

TEST(Result, HandsOverWhatCannotBeCopied) {
  Result<std::unique_ptr<Base>> result = made(true);
  ASSERT_TRUE(result.ok());
  EXPECT_EQ(result.value()->number(), 2);
  const std::unique_ptr<Base> owner = std::move(result).value();
  EXPECT_EQ(owner->number(), 2);
}

TEST(Result, HandsOverItsFailure) {
  Result<std::unique_ptr<Base>> result = made(false);
  ASSERT_FALSE(result.ok());
  EXPECT_EQ(result.failure().path, "users:3");
  const Result<int> other = std::move(result).failure();
  ASSERT_FALSE(other.ok());
  EXPECT_EQ(other.failure().rule, "the name is empty");
}

TEST(Result, AFailureIsNeverTakenForAValue) {
  static_assert(!std::is_convertible_v<int*, Result<std::string>>);
  const Result<std::string> text = "a value";
  ASSERT_TRUE(text.ok());
  EXPECT_EQ(text.value(), "a value");
  const Result<std::string> none = Failure{grpc::StatusCode::INTERNAL, "", "none"};
  EXPECT_FALSE(none.ok());
}

TEST(Result, AValueThatIsNotThereIsNotRead) {
  const Result<int> none = unusable("", "none");
  EXPECT_THROW(static_cast<void>(none.value()), std::bad_variant_access);
  const Done done;
  EXPECT_THROW(static_cast<void>(done.failure()), std::bad_optional_access);
}

TEST(Done, IsDoneUnlessItFailed) {
  EXPECT_TRUE(Done().ok());
  Done failed = unusable("a", "b");
  ASSERT_FALSE(failed.ok());
  const Failure failure = std::move(failed).failure();
  EXPECT_EQ(failure.line(), "a: b");
}

}  // namespace

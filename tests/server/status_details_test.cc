// What of a refusal fits into a trailer?
#include "request/status_details.h"

#include <gtest/gtest.h>

#include "google/rpc/status.pb.h"
#include "server/support/service_fixture.h"

namespace nexa_test {
namespace {

google::rpc::Status details_of(const grpc::Status& status) {
  google::rpc::Status details;
  EXPECT_TRUE(details.ParseFromString(status.error_details()));
  return details;
}

TEST(StatusDetails, CarryCodeTextAndOperation) {
  gnmi::UpdateResult blamed;
  *blamed.mutable_path() = path_of("/a/b");
  blamed.set_op(gnmi::UpdateResult::REPLACE);
  const grpc::Status status =
      nexa::request::with_details(grpc::StatusCode::FAILED_PRECONDITION, "why", &blamed);
  EXPECT_EQ(shown(status), "9 why");
  const google::rpc::Status details = details_of(status);
  EXPECT_EQ(details.code(), 9);
  EXPECT_EQ(details.message(), "why");
  ASSERT_EQ(details.details_size(), 1);
  EXPECT_EQ(details.details(0).type_url(), "type.googleapis.com/gnmi.UpdateResult");
  gnmi::UpdateResult unpacked;
  ASSERT_TRUE(details.details(0).UnpackTo(&unpacked));
  EXPECT_EQ(unpacked.SerializeAsString(), blamed.SerializeAsString());
}

TEST(StatusDetails, LeaveOutAPathThatIsTooLong) {
  gnmi::UpdateResult blamed;
  *blamed.mutable_path() = path_of("/" + std::string(5000, 'a'));
  blamed.set_op(gnmi::UpdateResult::DELETE);
  const grpc::Status status =
      nexa::request::with_details(grpc::StatusCode::NOT_FOUND, std::string(9000, 'x'), &blamed);
  EXPECT_EQ(status.error_message(), std::string(2500, 'x') + "...");
  EXPECT_LT(status.error_details().size(), 1200U);
  gnmi::UpdateResult unpacked;
  ASSERT_TRUE(details_of(status).details(0).UnpackTo(&unpacked));
  EXPECT_EQ(unpacked.op(), gnmi::UpdateResult::DELETE);
  EXPECT_FALSE(unpacked.has_path());
}

TEST(StatusDetails, CountTextAsItTravels) {
  const grpc::Status status = nexa::request::bounded(
      {grpc::StatusCode::INVALID_ARGUMENT, std::string(3000, '%'), "details"});
  EXPECT_EQ(status.error_message(), std::string(833, '%') + "...");
  EXPECT_EQ(status.error_details(), "details");
  std::string euros;
  for (int count = 0; count < 1000; ++count) euros += "€";
  const std::string cut =
      nexa::request::bounded({grpc::StatusCode::INVALID_ARGUMENT, euros}).error_message();
  EXPECT_EQ(cut.size() % 3, 0U);
  EXPECT_EQ(cut.substr(cut.size() - 6), "€...");
  EXPECT_TRUE(nexa::request::bounded(grpc::Status::OK).ok());
}

}  // namespace
}  // namespace nexa_test

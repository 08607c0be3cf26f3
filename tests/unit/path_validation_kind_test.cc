// Kinds of request beyond the ones with rules of their own: they pass where the rules end, and only
// key values are remarked upon.
#include <grpc/support/log.h>
#include <gtest/gtest.h>

#include <string>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/log_capture.h"

namespace path_validation_kind_test {

using nexa::RequestType;
using nexa_test::Lines;
using nexa_test::LogCapture;
using Helpers = nexa::ServiceRpcMsgHelpers;

constexpr char kFile[] = "nexa_srv_rpc_msg_helpers/path_validation.cc";
constexpr int kOtherKinds[] = {0, 2, 5, 7};

TEST(OtherKindsOfRequest, WildcardElementNamesPass) {
  LogCapture log;
  for (const int kind : kOtherKinds) {
    for (const char* name : {"*", "..."}) {
      EXPECT_TRUE(Helpers::validate_element_name(static_cast<RequestType>(kind), name).ok());
    }
  }
  EXPECT_EQ(log.take(), Lines{});
}

TEST(OtherKindsOfRequest, KeyValuesPassAndTheNumberIsLogged) {
  for (const int kind : kOtherKinds) {
    LogCapture log;
    EXPECT_TRUE(Helpers::validate_value(static_cast<RequestType>(kind), "...").ok());
    EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_INFO, kFile,
                                  "This function is called with the wrong transaction type " +
                                      std::to_string(kind)}}));
  }
}

TEST(OtherKindsOfRequest, AnAsteriskInsideAValueIsRefusedWithoutTheNotice) {
  for (const int kind : kOtherKinds) {
    LogCapture log;
    const grpc::Status status = Helpers::validate_value(static_cast<RequestType>(kind), "ab*");
    EXPECT_EQ(status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_ERROR, kFile, status.error_message()}}));
  }
}

TEST(OtherKindsOfRequest, TheEmptyPathPasses) {
  for (const int kind : kOtherKinds) {
    EXPECT_TRUE(Helpers::check_0_element_path(static_cast<RequestType>(kind), gnmi::Path()).ok());
  }
}

TEST(OtherKindsOfRequest, IdentifiersAreStillChecked) {
  for (const int kind : kOtherKinds) {
    gnmi::Path path;
    path.add_elem()->set_name("xmlns");
    const grpc::Status status = Helpers::validate_Path(static_cast<RequestType>(kind), path);
    EXPECT_EQ(status.error_message(), "Invalid PathElement.name xmlns Cannot start with 'xml'");
  }
}

}  // namespace path_validation_kind_test

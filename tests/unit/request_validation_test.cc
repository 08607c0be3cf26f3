// Checks of a Get request's options: data type, encoding, model data.
#include <grpc/support/log.h>
#include <gtest/gtest.h>

#include <string>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/log_capture.h"

namespace request_validation_test {

using grpc::StatusCode;
using nexa_test::Lines;
using nexa_test::LogCapture;
using Helpers = nexa::ServiceRpcMsgHelpers;

constexpr char kFile[] = "nexa_srv_rpc_msg_helpers/request_validation.cc";

void expect_pass(const grpc::Status& status, LogCapture& log) {
  EXPECT_EQ(status.error_code(), StatusCode::OK);
  EXPECT_EQ(status.error_message(), "");
  EXPECT_EQ(log.take(), Lines{});
}

void expect_refused(const grpc::Status& status, StatusCode code, const std::string& message,
                    LogCapture& log) {
  EXPECT_EQ(status.error_code(), code);
  EXPECT_EQ(status.error_message(), message);
  EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_ERROR, kFile, message}}));
}

TEST(ValidateDataType, RefusesOperational) {
  LogCapture log;
  expect_refused(Helpers::validate_DataType(gnmi::GetRequest::OPERATIONAL),
                 StatusCode::UNIMPLEMENTED, "Requested data type \"OPERATIONAL\" not supported",
                 log);
}

TEST(ValidateDataType, PassesEveryOtherType) {
  LogCapture log;
  for (const int type : {0, 1, 2, 4, 17, -1}) {
    SCOPED_TRACE(type);
    expect_pass(Helpers::validate_DataType(static_cast<gnmi::GetRequest_DataType>(type)), log);
  }
}

TEST(ValidateGetEncoding, PassesJsonAndJsonIetf) {
  LogCapture log;
  expect_pass(Helpers::validate_Encoding(static_cast<gnmi::Encoding>(0)), log);
  expect_pass(Helpers::validate_Encoding(static_cast<gnmi::Encoding>(4)), log);
}

TEST(ValidateGetEncoding, RefusesTheOtherEncodingsByName) {
  LogCapture log;
  expect_refused(Helpers::validate_Encoding(static_cast<gnmi::Encoding>(1)),
                 StatusCode::UNIMPLEMENTED, "Requested encoding \"BYTES\" not supported", log);
  expect_refused(Helpers::validate_Encoding(static_cast<gnmi::Encoding>(2)),
                 StatusCode::UNIMPLEMENTED, "Requested encoding \"PROTO\" not supported", log);
  expect_refused(Helpers::validate_Encoding(static_cast<gnmi::Encoding>(3)),
                 StatusCode::UNIMPLEMENTED, "Requested encoding \"ASCII\" not supported", log);
}

TEST(ValidateGetEncoding, RefusesAnUnknownNumberAsInvalid) {
  LogCapture log;
  for (const int encoding : {5, 7, -1}) {
    SCOPED_TRACE(encoding);
    expect_refused(Helpers::validate_Encoding(static_cast<gnmi::Encoding>(encoding)),
                   StatusCode::INVALID_ARGUMENT, "Requested encoding is not valid", log);
  }
}

TEST(ValidateModelData, PassesARequestWithoutModels) {
  LogCapture log;
  gnmi::GetRequest request;
  expect_pass(Helpers::validate_ModelData(&request), log);
}

TEST(ValidateModelData, RefusesARequestWithAModel) {
  LogCapture log;
  gnmi::GetRequest request;
  request.add_use_models();
  expect_refused(Helpers::validate_ModelData(&request), StatusCode::UNIMPLEMENTED,
                 "Use of ModelData not currently supported.", log);
}

}  // namespace request_validation_test

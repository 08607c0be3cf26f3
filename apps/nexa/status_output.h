// How a refusal reaches the user: "CODE_NAME: message" on standard error; and how a failure of what
// the user named does: "nexa: place: what".
#ifndef APPS_NEXA_STATUS_OUTPUT_H_
#define APPS_NEXA_STATUS_OUTPUT_H_

#include <grpcpp/support/status.h>

#include <string>

#include "text/result.h"

namespace nexa_tool {

// Prints the refusal.
void report_refusal(const grpc::Status& status);

// Prints the failure.
void report_failure(const nexa::text::Failure& failure);

// The content of a file, of standard input for "-" or an empty name. False after an error, which is
// reported.
bool read_input(const std::string& name, std::string& content);

}  // namespace nexa_tool

#endif  // APPS_NEXA_STATUS_OUTPUT_H_

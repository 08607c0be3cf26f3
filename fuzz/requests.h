// Requests as the protobuf fuzzer keeps them: a line with the name of the call, then the message in
// protobuf's text form, so that a corpus can be read and written by people.
#ifndef FUZZ_REQUESTS_H_
#define FUZZ_REQUESTS_H_

#include <google/protobuf/message.h>

#include <memory>
#include <string>
#include <string_view>

namespace fuzz {

// Null when the first line names no call, or the rest is no such message. `call` is that line.
std::unique_ptr<google::protobuf::Message> parse_request(std::string_view text, std::string& call);

std::string print_request(const std::string& call, const google::protobuf::Message& message);

}  // namespace fuzz

#endif  // FUZZ_REQUESTS_H_

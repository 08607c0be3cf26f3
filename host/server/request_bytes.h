// From bytes to a message: counted first, parsed afterwards.
#ifndef HOST_SERVER_REQUEST_BYTES_H_
#define HOST_SERVER_REQUEST_BYTES_H_

#include <google/protobuf/message.h>
#include <grpcpp/support/byte_buffer.h>
#include <grpcpp/support/status.h>

#include <cstddef>

namespace nexa::server {

// Parses `bytes` into `request`; they are empty afterwards. INVALID_ARGUMENT when they are no such
// message. Two bytes of a request may become an object a hundred times as large, so all that has an
// object of its own (messages such as path elements and keys, repeated texts, unknown fields) is
// counted before anything is parsed: INVALID_ARGUMENT when there are more than `most_parts`.
grpc::Status read_request(grpc::ByteBuffer& bytes, std::size_t most_parts,
                          google::protobuf::Message& request);

// Writes a message as the bytes that are sent; INTERNAL beyond the 2 GB that a message may have.
grpc::Status write_answer(const google::protobuf::Message& answer, grpc::ByteBuffer& bytes);

}  // namespace nexa::server

#endif  // HOST_SERVER_REQUEST_BYTES_H_

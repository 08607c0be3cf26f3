// The wire format of protobuf, read along the message's descriptor: a tag tells the field and how
// its bytes end. Nothing is allocated.
#include "server/request_bytes.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/coded_stream.h>
#include <grpcpp/support/proto_buffer_reader.h>
#include <grpcpp/support/proto_buffer_writer.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

#include "server/messages.h"

namespace nexa::server {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::io::CodedInputStream;

// What protobuf itself takes.
constexpr int kMostDepth = 100;

enum WireType : std::uint32_t {
  kVarint = 0,
  kFixed64 = 1,
  kLengthDelimited = 2,
  kGroupBegin = 3,
  kGroupEnd = 4,
  kFixed32 = 5,
};
constexpr std::uint32_t kWireTypeBits = 3;
constexpr std::uint32_t kWireTypeMask = 7;

class PartCounter {
 public:
  PartCounter(CodedInputStream& input, std::size_t most) : input_(input), most_(most) {}

  // Goes through a message, or a group that nobody knows where `type` is null. False when the bytes
  // are no message, or when there are too many parts.
  bool count(const Descriptor* type, int depth) {
    if (depth > kMostDepth) return false;
    while (const std::uint32_t tag = input_.ReadTag()) {
      const std::uint32_t wire = tag & kWireTypeMask;
      if (wire == kGroupEnd) return type == nullptr;
      const auto number = static_cast<int>(tag >> kWireTypeBits);
      const FieldDescriptor* field = type == nullptr ? nullptr : type->FindFieldByNumber(number);
      const bool is_message = field != nullptr && field->message_type() != nullptr;
      const bool is_part = field == nullptr || is_message || field->is_repeated();
      if (is_part && ++parts_ > most_) return false;
      const bool ok = is_message && wire == kLengthDelimited
                          ? count_inside(*field->message_type(), depth)
                          : skip(wire, depth);
      if (!ok) return false;
    }
    return input_.ConsumedEntireMessage();
  }

  bool has_too_many() const { return parts_ > most_; }

 private:
  bool count_inside(const Descriptor& type, int depth) {
    int length = 0;
    if (!input_.ReadVarintSizeAsInt(&length)) return false;
    const CodedInputStream::Limit limit = input_.PushLimit(length);
    if (!count(&type, depth + 1) || input_.BytesUntilLimit() != 0) return false;
    input_.PopLimit(limit);
    return true;
  }

  bool skip(std::uint32_t wire, int depth) {
    std::uint64_t number = 0;
    int length = 0;
    switch (wire) {
      case kVarint:
        return input_.ReadVarint64(&number);
      case kFixed64:
        return input_.Skip(sizeof(std::uint64_t));
      case kLengthDelimited:
        return input_.ReadVarintSizeAsInt(&length) && input_.Skip(length);
      case kGroupBegin:
        return count(nullptr, depth + 1);
      case kFixed32:
        return input_.Skip(sizeof(std::uint32_t));
      default:
        return false;
    }
  }

  CodedInputStream& input_;
  const std::size_t most_;
  std::size_t parts_ = 0;
};

grpc::Status check_parts(grpc::ByteBuffer& bytes, std::size_t most, const Descriptor& type) {
  grpc::ProtoBufferReader reader(&bytes);
  CodedInputStream input(&reader);
  PartCounter counter(input, most);
  if (counter.count(&type, 0)) return grpc::Status::OK;
  if (!counter.has_too_many()) return {grpc::StatusCode::INVALID_ARGUMENT, kNoSuchMessage};
  return {grpc::StatusCode::INVALID_ARGUMENT,
          "More than " + std::to_string(most) +
              " path elements, keys and values in one request: at most that many are taken"};
}

}  // namespace

grpc::Status read_request(grpc::ByteBuffer& bytes, std::size_t most_parts,
                          google::protobuf::Message& request) {
  if (!bytes.Valid()) return {grpc::StatusCode::INVALID_ARGUMENT, kNoSuchMessage};
  grpc::Status status = check_parts(bytes, most_parts, *request.GetDescriptor());
  if (status.ok()) {
    grpc::ProtoBufferReader reader(&bytes);
    if (!request.ParseFromZeroCopyStream(&reader)) {
      status = grpc::Status(grpc::StatusCode::INVALID_ARGUMENT, kNoSuchMessage);
    }
  }
  bytes.Clear();
  return status;
}

grpc::Status write_answer(const google::protobuf::Message& answer, grpc::ByteBuffer& bytes) {
  const std::size_t size = answer.ByteSizeLong();
  if (size > std::numeric_limits<int>::max()) {
    return {grpc::StatusCode::INTERNAL, kServerFault};
  }
  bytes.Clear();
  grpc::ProtoBufferWriter writer(&bytes, grpc::kProtoBufferWriterMaxBufferLength,
                                 static_cast<int>(size));
  if (answer.SerializeToZeroCopyStream(&writer)) return grpc::Status::OK;
  return {grpc::StatusCode::INTERNAL, kServerFault};
}

}  // namespace nexa::server

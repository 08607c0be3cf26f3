// Invariant of the notification in hand: while `covered_`, all its paths are relative to the
// prefix, those of `written_` as well; afterwards none is. A message may be written in pieces that
// are put together, and its length stands in front of it, so that is written last.
#include "server/get_answer.h"

#include <google/protobuf/io/coded_stream.h>

#include <array>
#include <utility>

namespace nexa::server {
namespace {

// Tags and lengths of an update, its value and its notification, and the origin of its path.
constexpr std::size_t kBytesAroundUpdate = 64;
// Of messages that are not written yet.
constexpr std::size_t kBatchBytes = 64 << 10;
constexpr int kBatchUpdates = 256;
// Bytes from which a part of a notification is a slice of its own: one costs more than to copy
// less.
constexpr std::size_t kOwnSlice = 4096;
// GetResponse.notification, length-delimited.
constexpr std::uint8_t kNotificationTag = gnmi::GetResponse::kNotificationFieldNumber << 3 | 2;

std::string length_text(std::size_t length) {
  using google::protobuf::io::CodedOutputStream;
  std::array<std::uint8_t, 10> bytes{};
  const std::uint8_t* const begin = bytes.data();
  const std::uint8_t* const end = CodedOutputStream::WriteVarint64ToArray(length, bytes.data());
  return {begin, end};
}

// gRPC keeps the text, without a copy, until it is sent.
grpc::Slice slice_of(std::string text) {
  auto owner = std::make_unique<std::string>(std::move(text));
  std::string* const kept = owner.get();
  grpc::Slice slice(
      kept->data(), kept->size(),
      [](void* own) { const std::unique_ptr<std::string> freed(static_cast<std::string*>(own)); },
      kept);
  static_cast<void>(owner.release());
  return slice;
}

}  // namespace

bool GetAnswer::take_room(std::size_t bytes) {
  if (is_too_large_ || bytes > room_) {
    is_too_large_ = true;
    return false;
  }
  room_ -= bytes;
  return true;
}

void GetAnswer::begin(std::size_t frame) {
  covered_ = true;
  updates_ = 0;
  take_room(frame + kBytesAroundUpdate);
}

void GetAnswer::add(gnmi::Path& path, gnmi::TypedValue& value) {
  const std::size_t bytes = value.ByteSizeLong() + path.ByteSizeLong() + kBytesAroundUpdate;
  if (!take_room(bytes)) return;
  if (covered_ && !prefix_.covers(path)) make_whole();
  if (covered_) prefix_.make_relative(path);
  gnmi::Update& update = *batch_.add_update();
  *update.mutable_path() = std::move(path);
  *update.mutable_val() = std::move(value);
  ++updates_;
  batch_bytes_ += bytes;
  if (batch_bytes_ >= kBatchBytes || batch_.update_size() >= kBatchUpdates) write_batch();
}

void GetAnswer::write_batch() {
  if (batch_.update_size() > 0) written_.push_back(batch_.SerializeAsString());
  batch_.Clear();
  batch_bytes_ = 0;
}

void GetAnswer::make_whole() {
  covered_ = false;
  write_batch();
  for (std::string& text : written_) {
    gnmi::Notification piece;
    piece.ParseFromString(text);
    for (gnmi::Update& update : *piece.mutable_update()) {
      prefix_.make_whole(*update.mutable_path());
    }
    text = piece.SerializeAsString();
  }
}

void GetAnswer::end(std::int64_t timestamp) {
  gnmi::Notification frame;
  frame.set_timestamp(timestamp);
  const gnmi::Path* shown = prefix_.shown(covered_);
  if (shown != nullptr) *frame.mutable_prefix() = *shown;
  if (written_.empty() && batch_bytes_ < kOwnSlice) return gather(frame);
  write_batch();
  const std::string head = frame.SerializeAsString();
  std::size_t length = head.size();
  for (const std::string& text : written_) length += text.size();
  gathered_.push_back(static_cast<char>(kNotificationTag));
  gathered_.append(length_text(length)).append(head);
  for (std::string& text : written_) {
    if (text.size() < kOwnSlice) {
      gathered_.append(text);
      continue;
    }
    close_gathered();
    slices_.push_back(slice_of(std::move(text)));
  }
  written_.clear();
  if (gathered_.size() >= kBatchBytes) close_gathered();
}

// Writes a short notification where it is sent from; its sizes are counted once.
void GetAnswer::gather(const gnmi::Notification& frame) {
  const std::size_t length = frame.ByteSizeLong() + batch_.ByteSizeLong();
  gathered_.push_back(static_cast<char>(kNotificationTag));
  gathered_.append(length_text(length));
  const std::size_t begin = gathered_.size();
  gathered_.resize(begin + length);
  auto* to = reinterpret_cast<std::uint8_t*>(gathered_.data() + begin);
  to = frame.SerializeWithCachedSizesToArray(to);
  batch_.SerializeWithCachedSizesToArray(to);
  batch_.Clear();
  batch_bytes_ = 0;
  if (gathered_.size() >= kBatchBytes) close_gathered();
}

void GetAnswer::close_gathered() {
  if (gathered_.empty()) return;
  gathered_.shrink_to_fit();
  slices_.push_back(slice_of(std::exchange(gathered_, {})));
}

grpc::ByteBuffer GetAnswer::take() {
  close_gathered();
  const std::vector<grpc::Slice> slices = std::exchange(slices_, {});
  if (slices.empty()) {
    const grpc::Slice nothing;
    return {&nothing, 1};
  }
  return {slices.data(), slices.size()};
}

}  // namespace nexa::server

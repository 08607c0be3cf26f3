// A path is encoded as lengths and texts, and kept as what differs from the one before it.
#include "telemetry/path_log.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace nexa::telemetry {
namespace {

void append_number(std::size_t value, std::string& out) {
  while (value >= 0x80) {
    out.push_back(static_cast<char>((value & 0x7F) | 0x80));
    value >>= 7U;
  }
  out.push_back(static_cast<char>(value));
}

void append_text(const std::string& text, std::string& out) {
  append_number(text.size(), out);
  out.append(text);
}

std::string text_of(const gnmi::Path& path) {
  std::string out;
  for (const gnmi::PathElem& element : path.elem()) {
    append_text(element.name(), out);
    append_number(static_cast<std::size_t>(element.key_size()), out);
    if (element.key_size() == 0) continue;
    std::vector<std::pair<const std::string*, const std::string*>> keys;
    for (const auto& [name, value] : element.key()) keys.emplace_back(&name, &value);
    // A protobuf map has an order of its own in each message.
    std::sort(keys.begin(), keys.end(),
              [](const auto& left, const auto& right) { return *left.first < *right.first; });
    for (const auto& [name, value] : keys) {
      append_text(*name, out);
      append_text(*value, out);
    }
  }
  return out;
}

// Reads what encode() wrote; the text is this file's own.
class Decoder {
 public:
  explicit Decoder(std::string_view text) : text_(text) {}

  bool done() const { return at_ == text_.size(); }

  std::size_t number() {
    std::size_t value = 0;
    for (unsigned shift = 0;; shift += 7) {
      const auto byte = static_cast<unsigned char>(text_[at_++]);
      value |= static_cast<std::size_t>(byte & 0x7FU) << shift;
      if (byte < 0x80) return value;
    }
  }

  std::string_view bytes(std::size_t length) {
    const std::string_view part = text_.substr(at_, length);
    at_ += length;
    return part;
  }

  std::string text() { return std::string(bytes(number())); }

 private:
  std::string_view text_;
  std::size_t at_ = 0;
};

gnmi::Path decode(std::string_view text) {
  gnmi::Path path;
  Decoder decoder(text);
  while (!decoder.done()) {
    gnmi::PathElem* element = path.add_elem();
    element->set_name(decoder.text());
    for (std::size_t keys = decoder.number(); keys > 0; --keys) {
      std::string name = decoder.text();
      (*element->mutable_key())[name] = decoder.text();
    }
  }
  return path;
}

std::uint64_t number_of_text(const std::string& text) {
  return std::hash<std::string_view>()(text);
}

}  // namespace

std::uint64_t PathLog::number_of(const gnmi::Path& path) { return number_of_text(text_of(path)); }

PathLog::Encoded PathLog::encode(const gnmi::Path& path) {
  Encoded encoded{text_of(path), 0};
  encoded.number = number_of_text(encoded.text);
  return encoded;
}

PathLog::PathLog(const PathLog& other)
    : kept_(other.kept_ != nullptr ? std::make_unique<Kept>(*other.kept_) : nullptr) {}

PathLog& PathLog::operator=(const PathLog& other) {
  if (this != &other) *this = PathLog(other);
  return *this;
}

const PathLog::Kept& PathLog::kept() const {
  static const Kept nothing;
  return kept_ != nullptr ? *kept_ : nothing;
}

void PathLog::add(Encoded path) {
  if (kept_ == nullptr) kept_ = std::make_unique<Kept>();
  std::string& encoded = path.text;
  kept_->numbers.push_back(path.number);
  const auto [end, ignored] =
      std::mismatch(encoded.begin(), encoded.end(), kept_->last.begin(), kept_->last.end());
  const auto shared = static_cast<std::size_t>(end - encoded.begin());
  append_number(shared, kept_->text);
  append_number(encoded.size() - shared, kept_->text);
  kept_->text.append(encoded, shared);
  kept_->last = std::move(encoded);
}

void PathLog::add(Encoded path, std::uint64_t value) {
  add(std::move(path));
  kept_->values.push_back(value);
}

std::unordered_map<std::uint64_t, std::uint64_t> PathLog::values() const {
  std::unordered_map<std::uint64_t, std::uint64_t> values;
  const Kept& kept = this->kept();
  values.reserve(kept.values.size());
  for (std::size_t i = 0; i < kept.values.size(); ++i) {
    values.emplace(kept.numbers[i], kept.values[i]);
  }
  return values;
}

std::vector<std::uint64_t> PathLog::sorted_numbers() const {
  std::vector<std::uint64_t> sorted = kept().numbers;
  std::sort(sorted.begin(), sorted.end());
  return sorted;
}

void PathLog::for_each_missing(const PathLog& later,
                               const std::function<void(gnmi::Path& path)>& missing) const {
  const Kept& kept = this->kept();
  if (kept.numbers == later.kept().numbers) return;
  const std::vector<std::uint64_t> present = later.sorted_numbers();
  Decoder decoder(kept.text);
  std::string encoded;
  for (const std::uint64_t number : kept.numbers) {
    encoded.resize(decoder.number());
    encoded.append(decoder.bytes(decoder.number()));
    if (std::binary_search(present.begin(), present.end(), number)) continue;
    gnmi::Path path = decode(encoded);
    missing(path);
  }
}

}  // namespace nexa::telemetry

// Mutates requests as messages, so that most of libFuzzer's inputs reach the service: fields are
// set, cleared, copied and dropped by reflection, and libFuzzer's own mutations go into strings and
// numbers.
#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "requests.h"
#include "support.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t max_size);

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

constexpr int kDeepest = 12;

class Mutator {
 public:
  explicit Mutator(unsigned seed) : random_(seed) {}

  void mutate(Message& message, int depth = 0) {
    const auto* const descriptor = message.GetDescriptor();
    if (descriptor->field_count() == 0) return;
    const FieldDescriptor* const field = descriptor->field(below(descriptor->field_count()));
    if (field->is_repeated()) {
      mutate_repeated(message, *field, depth);
    } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
      mutate_member(message, *field, depth);
    } else if (below(8) == 0) {
      message.GetReflection()->ClearField(&message, field);
    } else {
      mutate_scalar(message, *field);
    }
  }

 private:
  int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }

  void mutate_member(Message& message, const FieldDescriptor& field, int depth) {
    if (below(10) == 0 || depth >= kDeepest) {
      message.GetReflection()->ClearField(&message, &field);
    } else {
      mutate(*message.GetReflection()->MutableMessage(&message, &field), depth + 1);
    }
  }

  void mutate_repeated(Message& message, const FieldDescriptor& field, int depth) {
    const Reflection& reflection = *message.GetReflection();
    const int size = reflection.FieldSize(message, &field);
    const bool is_message = field.cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE;
    const int choice = below(6);
    if (size > 0 && choice == 0) {
      reflection.SwapElements(&message, &field, below(size), size - 1);
      reflection.RemoveLast(&message, &field);
    } else if (size > 1 && choice == 1) {
      reflection.SwapElements(&message, &field, below(size), below(size));
    } else if (is_message && size > 0 && choice == 2) {
      // Apart from its place first: adding may move what is copied.
      const std::unique_ptr<Message> copy(
          reflection.GetRepeatedMessage(message, &field, below(size)).New());
      copy->CopyFrom(reflection.GetRepeatedMessage(message, &field, below(size)));
      reflection.AddMessage(&message, &field)->CopyFrom(*copy);
    } else if (is_message && size > 0 && choice > 2) {
      if (depth < kDeepest) {
        mutate(*reflection.MutableRepeatedMessage(&message, &field, below(size)), depth + 1);
      }
    } else if (is_message) {
      Message& added = *reflection.AddMessage(&message, &field);
      if (depth < kDeepest) mutate(added, depth + 1);
    } else if (field.cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
      reflection.AddString(&message, &field, mutated({}));
    } else if (field.cpp_type() == FieldDescriptor::CPPTYPE_ENUM) {
      reflection.AddEnumValue(&message, &field, below(8));
    }
  }

  std::string mutated(std::string text) {
    const std::size_t size = text.size();
    text.resize(size * 2 + 16);
    text.resize(LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(text.data()), size, text.size()));
    return text;
  }

  template <typename Number>
  Number mutated_number(Number value) {
    LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(&value), sizeof value, sizeof value);
    return value;
  }

  void mutate_scalar(Message& message, const FieldDescriptor& field) {
    const Reflection& reflection = *message.GetReflection();
    switch (field.cpp_type()) {
      case FieldDescriptor::CPPTYPE_STRING:
        reflection.SetString(&message, &field, mutated(reflection.GetString(message, &field)));
        break;
      case FieldDescriptor::CPPTYPE_BOOL:
        reflection.SetBool(&message, &field, below(2) == 0);
        break;
      case FieldDescriptor::CPPTYPE_ENUM:
        reflection.SetEnumValue(&message, &field, below(8));
        break;
      case FieldDescriptor::CPPTYPE_INT32:
        reflection.SetInt32(&message, &field, mutated_number(reflection.GetInt32(message, &field)));
        break;
      case FieldDescriptor::CPPTYPE_INT64:
        reflection.SetInt64(&message, &field, mutated_number(reflection.GetInt64(message, &field)));
        break;
      case FieldDescriptor::CPPTYPE_UINT32:
        reflection.SetUInt32(&message, &field,
                             mutated_number(reflection.GetUInt32(message, &field)));
        break;
      case FieldDescriptor::CPPTYPE_UINT64:
        reflection.SetUInt64(&message, &field,
                             mutated_number(reflection.GetUInt64(message, &field)));
        break;
      case FieldDescriptor::CPPTYPE_FLOAT:
        reflection.SetFloat(&message, &field, mutated_number(reflection.GetFloat(message, &field)));
        break;
      case FieldDescriptor::CPPTYPE_DOUBLE:
        reflection.SetDouble(&message, &field,
                             mutated_number(reflection.GetDouble(message, &field)));
        break;
      case FieldDescriptor::CPPTYPE_MESSAGE:
        break;  // a member, or repeated
    }
  }

  std::minstd_rand random_;
};

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t max_size, unsigned seed) {
  std::string call;
  const auto message = fuzz::parse_request(fuzz::text_of(data, size), call);
  if (message == nullptr) return LLVMFuzzerMutate(data, size, max_size);
  Mutator mutator(seed);
  mutator.mutate(*message);
  const std::string text = fuzz::print_request(call, *message);
  if (text.size() > max_size) return size;
  std::copy(text.begin(), text.end(), data);
  return text.size();
}

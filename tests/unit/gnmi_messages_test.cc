// Holds our message descriptors against the table of the published ones, in both directions.
#include <google/protobuf/descriptor.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "gnmi.pb.h"
#include "gnmi_ext.pb.h"

namespace {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using Rows = std::set<std::string>;

std::string row(const std::vector<std::string>& columns) {
  std::string text;
  for (const std::string& column : columns) text += column + "|";
  return text;
}

// The note without the part that no descriptor carries.
std::string comparable_note(std::string note) {
  static const std::string kVersion = "0.7 only";
  const std::size_t at = note.find(kVersion);
  if (at == std::string::npos) return note;
  note.erase(at, kVersion.size());
  if (note.size() >= 2 && note.compare(note.size() - 2, 2, "; ") == 0) note.resize(note.size() - 2);
  return note;
}

Rows published() {
  std::ifstream file(NEXA_TEST_DATA_DIR "/gnmi_fields.tsv");
  Rows rows;
  std::string line;
  std::getline(file, line);  // the header
  while (std::getline(file, line)) {
    std::vector<std::string> columns;
    std::stringstream cells(line);
    for (std::string cell; std::getline(cells, cell, '\t');) columns.push_back(cell);
    columns.resize(6);
    columns[5] = comparable_note(columns[5]);
    rows.insert(row(columns));
  }
  return rows;
}

// A type's name as seen from the file that uses it.
template <typename Type>
std::string name_in(const FileDescriptor& file, const Type& type) {
  return type.file()->package() == file.package() ? type.name() : type.full_name();
}

std::string type_of(const FieldDescriptor& field) {
  if (field.is_map()) {
    const Descriptor& entry = *field.message_type();
    return std::string("map<") + entry.map_key()->type_name() + "," +
           entry.map_value()->type_name() + ">";
  }
  std::string type = field.type_name();
  if (field.message_type() != nullptr) type = name_in(*field.file(), *field.message_type());
  if (field.enum_type() != nullptr) type = name_in(*field.file(), *field.enum_type());
  return (field.is_repeated() ? "repeated " : "") + type;
}

std::string note_of(const FieldDescriptor& field) {
  if (field.real_containing_oneof() != nullptr) {
    return "oneof " + field.real_containing_oneof()->name();
  }
  return field.options().deprecated() ? "deprecated" : "";
}

void add_enum(const EnumDescriptor& type, Rows& rows) {
  rows.insert(row({"enum", type.full_name(), "", "", "", ""}));
  for (int i = 0; i < type.value_count(); ++i) {
    rows.insert(row({"value", type.full_name(), type.value(i)->name(),
                     std::to_string(type.value(i)->number()), "", ""}));
  }
}

void add_message(const Descriptor& type, Rows& rows) {
  if (type.options().map_entry()) return;
  rows.insert(row({"message", type.full_name(), "", "", "", ""}));
  for (int i = 0; i < type.field_count(); ++i) {
    const FieldDescriptor& field = *type.field(i);
    rows.insert(row({"field", type.full_name(), field.name(), std::to_string(field.number()),
                     type_of(field), note_of(field)}));
  }
  for (int i = 0; i < type.enum_type_count(); ++i) add_enum(*type.enum_type(i), rows);
  for (int i = 0; i < type.nested_type_count(); ++i) add_message(*type.nested_type(i), rows);
}

Rows ours() {
  Rows rows;
  for (const FileDescriptor* file :
       {gnmi::Path::descriptor()->file(), gnmi_ext::Extension::descriptor()->file()}) {
    for (int i = 0; i < file->message_type_count(); ++i) add_message(*file->message_type(i), rows);
    for (int i = 0; i < file->enum_type_count(); ++i) add_enum(*file->enum_type(i), rows);
  }
  return rows;
}

Rows missing_from(const Rows& whole, const Rows& part) {
  Rows missing;
  std::set_difference(whole.begin(), whole.end(), part.begin(), part.end(),
                      std::inserter(missing, missing.end()));
  return missing;
}

TEST(GnmiMessages, TableIsRead) { EXPECT_EQ(published().size(), 195U); }

TEST(GnmiMessages, HaveEverythingThatIsPublished) {
  EXPECT_EQ(missing_from(published(), ours()), Rows{});
}

TEST(GnmiMessages, HaveNothingElse) { EXPECT_EQ(missing_from(ours(), published()), Rows{}); }

TEST(GnmiMessages, FileNamesTheServiceVersionByExtension1001) {
  EXPECT_EQ(gnmi::gnmi_service.number(), 1001);
  const FileDescriptor& file = *gnmi::Path::descriptor()->file();
  ASSERT_EQ(file.extension_count(), 1);
  EXPECT_EQ(file.extension(0)->containing_type()->full_name(), "google.protobuf.FileOptions");
  EXPECT_EQ(file.extension(0)->type(), FieldDescriptor::TYPE_STRING);
  EXPECT_EQ(file.options().GetExtension(gnmi::gnmi_service), "0.10.0");
}

struct Method {
  std::string name, input, output;
  bool streams_in, streams_out;
  friend bool operator==(const Method& left, const Method& right) {
    return left.name == right.name && left.input == right.input && left.output == right.output &&
           left.streams_in == right.streams_in && left.streams_out == right.streams_out;
  }
};

TEST(GnmiMessages, ServiceHasThreeUnaryMethodsAndOneBidirectionalStream) {
  const auto* service =
      google::protobuf::DescriptorPool::generated_pool()->FindServiceByName("gnmi.gNMI");
  ASSERT_NE(service, nullptr);
  std::vector<Method> methods;
  for (int i = 0; i < service->method_count(); ++i) {
    const auto& method = *service->method(i);
    methods.push_back({method.name(), method.input_type()->name(), method.output_type()->name(),
                       method.client_streaming(), method.server_streaming()});
  }
  const std::vector<Method> expected = {
      {"Capabilities", "CapabilityRequest", "CapabilityResponse", false, false},
      {"Get", "GetRequest", "GetResponse", false, false},
      {"Set", "SetRequest", "SetResponse", false, false},
      {"Subscribe", "SubscribeRequest", "SubscribeResponse", true, true}};
  EXPECT_EQ(methods, expected);
}

}  // namespace

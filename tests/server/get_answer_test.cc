// An answer that is written in pieces is the message that it would be as a whole.
#include "server/get_answer.h"

#include <grpcpp/impl/codegen/proto_utils.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace nexa_test {
namespace {

using nexa::server::GetAnswer;
using nexa::telemetry::AnswerPrefix;

gnmi::Path path_with(const std::vector<std::string>& names) {
  gnmi::Path path;
  for (const std::string& name : names) path.add_elem()->set_name(name);
  return path;
}

gnmi::GetResponse parsed(grpc::ByteBuffer bytes) {
  gnmi::GetResponse response;
  EXPECT_TRUE(grpc::SerializationTraits<gnmi::GetResponse>::Deserialize(&bytes, &response).ok());
  return response;
}

void add(GetAnswer& answer, const std::vector<std::string>& names, const std::string& text) {
  gnmi::Path path = path_with(names);
  gnmi::TypedValue value;
  value.set_string_val(text);
  answer.add(path, value);
}

std::string names_of(const gnmi::Path& path) {
  std::string text;
  for (const gnmi::PathElem& elem : path.elem()) text += "/" + elem.name();
  return text;
}

TEST(GetAnswer, KeepsOrderOverManyPieces) {
  const AnswerPrefix prefix(gnmi::Path(), false);
  GetAnswer answer(prefix, 1 << 20);
  for (const int count : {1000, 1, 300}) {
    answer.begin(0);
    EXPECT_TRUE(answer.is_empty());
    for (int index = 0; index < count; ++index) {
      add(answer, {"a", std::to_string(index)}, std::to_string(index));
    }
    EXPECT_FALSE(answer.is_empty());
    answer.end(count);
  }
  EXPECT_FALSE(answer.is_too_large());
  const gnmi::GetResponse response = parsed(answer.take());
  ASSERT_EQ(response.notification_size(), 3);
  EXPECT_EQ(response.notification(0).update_size(), 1000);
  EXPECT_EQ(response.notification(0).timestamp(), 1000);
  EXPECT_EQ(response.notification(2).update_size(), 300);
  EXPECT_FALSE(response.notification(0).has_prefix());
  for (int index = 0; index < 1000; ++index) {
    const gnmi::Update& update = response.notification(0).update(index);
    EXPECT_EQ(names_of(update.path()), "/a/" + std::to_string(index));
    EXPECT_EQ(update.val().string_val(), std::to_string(index));
  }
}

TEST(GetAnswer, WritesPathsRelativeToAPrefixThatCoversAll) {
  gnmi::Path whole = path_with({"a"});
  whole.set_target("box");
  const AnswerPrefix prefix(whole, true);
  GetAnswer answer(prefix, 1 << 20);
  answer.begin(0);
  for (int index = 0; index < 600; ++index) add(answer, {"a", "b"}, "x");
  answer.end(1);
  const gnmi::GetResponse response = parsed(answer.take());
  EXPECT_EQ(names_of(response.notification(0).prefix()), "/a");
  EXPECT_EQ(response.notification(0).prefix().target(), "box");
  for (const gnmi::Update& update : response.notification(0).update()) {
    EXPECT_EQ(names_of(update.path()), "/b");
  }
}

TEST(GetAnswer, WritesWholePathsWhenOneLiesBeside) {
  const AnswerPrefix prefix(path_with({"a"}), true);
  for (const int covered : {0, 1, 600}) {
    GetAnswer answer(prefix, 1 << 20);
    answer.begin(0);
    for (int index = 0; index < covered; ++index) add(answer, {"a", "b"}, "x");
    add(answer, {"c"}, "y");
    add(answer, {"a", "b"}, "x");
    answer.end(1);
    const gnmi::GetResponse response = parsed(answer.take());
    const gnmi::Notification& notification = response.notification(0);
    EXPECT_EQ(names_of(notification.prefix()), "");
    ASSERT_EQ(notification.update_size(), covered + 2);
    for (int index = 0; index < notification.update_size(); ++index) {
      EXPECT_EQ(names_of(notification.update(index).path()), index == covered ? "/c" : "/a/b");
    }
  }
}

TEST(GetAnswer, HoldsNoMoreThanItsLimitOverAllNotifications) {
  const AnswerPrefix prefix(gnmi::Path(), false);
  GetAnswer answer(prefix, 1000);
  answer.begin(0);
  add(answer, {"a"}, std::string(400, 'x'));
  answer.end(1);
  EXPECT_FALSE(answer.is_too_large());
  answer.begin(0);
  add(answer, {"a"}, std::string(400, 'x'));
  EXPECT_TRUE(answer.is_too_large());
  add(answer, {"a"}, "");  // also not what would fit
  answer.end(2);
  EXPECT_EQ(parsed(answer.take()).notification(1).update_size(), 0);
}

// Short ones lie together, as many as a slice takes, and a long one keeps its place between them.
TEST(GetAnswer, GathersShortNotificationsAroundLongOnes) {
  const AnswerPrefix prefix(gnmi::Path(), false);
  GetAnswer answer(prefix, 100 << 20);
  constexpr int kCount = 5000;
  const std::string longer(10'000, 'x');
  const auto text_of = [&longer](int index) {
    return index % 100 == 99 ? longer + std::to_string(index) : std::to_string(index);
  };
  for (int index = 0; index < kCount; ++index) {
    answer.begin(0);
    add(answer, {"a"}, text_of(index));
    answer.end(index + 1);
  }
  const grpc::ByteBuffer bytes = answer.take();
  std::vector<grpc::Slice> slices;
  ASSERT_TRUE(bytes.Dump(&slices).ok());
  EXPECT_LE(slices.size(), 2U * kCount / 100 + kCount * 32U / (64 << 10) + 2);
  const gnmi::GetResponse response = parsed(bytes);
  ASSERT_EQ(response.notification_size(), kCount);
  for (int index = 0; index < kCount; ++index) {
    EXPECT_EQ(response.notification(index).timestamp(), index + 1);
    ASSERT_EQ(response.notification(index).update_size(), 1);
    EXPECT_EQ(response.notification(index).update(0).val().string_val(), text_of(index));
  }
}

TEST(GetAnswer, OfNothingIsAnEmptyMessage) {
  const AnswerPrefix prefix(gnmi::Path(), false);
  GetAnswer answer(prefix, 1000);
  grpc::ByteBuffer bytes = answer.take();
  ASSERT_TRUE(bytes.Valid());
  EXPECT_EQ(parsed(bytes).notification_size(), 0);
}

}  // namespace
}  // namespace nexa_test

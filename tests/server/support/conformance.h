// What the tests of the full profile ask and compare, behaviour by behaviour: what clients of gNMI
// 0.10 expect. The number in a test's name is that of the behaviour in the served matrix
// (docs/nexad/gnmi.md).
#ifndef TESTS_SERVER_SUPPORT_CONFORMANCE_H_
#define TESTS_SERVER_SUPPORT_CONFORMANCE_H_

#include <string>

#include "server/support/store_fixture.h"
#include "translate/path_string.h"

namespace nexa_test {

inline constexpr char kDevicePath[] = "/example-device:device";
inline constexpr char kLimitsPath[] = "/example-device:device/limits";

class Conformance : public StoredServiceTest {
 protected:
  gnmi::GetResponse response;

  // "path value" of each update, one line each, or the refusal.
  std::string get_text(const gnmi::GetRequest& asked) {
    response.Clear();
    const grpc::Status status = get(asked, response);
    if (!status.ok()) return shown(status);
    std::string text;
    for (const gnmi::Notification& notification : response.notification()) {
      for (const gnmi::Update& each : notification.update()) {
        text += nexa::translate::format_path_string(each.path()) + " " +
                each.val().ShortDebugString() + "\n";
      }
    }
    return text;
  }

  std::string get_text(const std::string& path, gnmi::Encoding encoding = gnmi::JSON_IETF) {
    gnmi::GetRequest asked;
    asked.set_encoding(encoding);
    *asked.add_path() = path_of(path);
    return get_text(asked);
  }

  std::string set_typed(const std::string& path, const gnmi::TypedValue& value) {
    gnmi::SetRequest change;
    gnmi::Update& update = *change.add_update();
    *update.mutable_path() = path_of(path);
    *update.mutable_val() = value;
    return apply(change);
  }

  static gnmi::Update from(const std::string& origin, const std::string& path,
                           const std::string& json) {
    gnmi::Update update = update_of(path, json);
    update.mutable_path()->set_origin(origin);
    return update;
  }
};

}  // namespace nexa_test

#endif  // TESTS_SERVER_SUPPORT_CONFORMANCE_H_

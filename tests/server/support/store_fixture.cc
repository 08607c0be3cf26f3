// Sets the service up over the real store.
#include "server/support/store_fixture.h"

#include "translate/path_string.h"

namespace nexa_test {

std::string StoredServiceTest::read(const std::string& path) {
  *request.add_path() = path_of(path);
  gnmi::GetResponse response;
  const grpc::Status status = get(request, response);
  request.clear_path();
  if (!status.ok()) return shown(status);
  std::string text;
  for (const gnmi::Update& update : response.notification(0).update()) {
    if (!text.empty()) text += "\n";
    text += nexa::translate::format_path_string(update.path()) + "=";
    text +=
        request.encoding() == gnmi::JSON ? update.val().json_val() : update.val().json_ietf_val();
  }
  return text;
}

}  // namespace nexa_test

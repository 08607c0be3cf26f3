// What came is written as one text for each notification.
#include "server/support/stream_client.h"

#include "server/support/service_fixture.h"
#include "translate/path_string.h"

namespace nexa_test {
namespace {

std::string shown(const gnmi::Notification& notification) {
  std::string text = notification.atomic() ? "atomic " : "";
  if (notification.has_prefix()) {
    text +=
        notification.prefix().target() + nexa::translate::format_path_string(notification.prefix());
  }
  for (const gnmi::Update& update : notification.update()) {
    const gnmi::TypedValue& value = update.val();
    text += "|" + nexa::translate::format_path_string(update.path()) + "=" +
            (value.has_json_val() ? "bare " + value.json_val() : value.json_ietf_val());
  }
  for (const gnmi::Path& path : notification.delete_()) {
    text += "|-" + nexa::translate::format_path_string(path);
  }
  return text;
}

std::string shown(const gnmi::SubscribeResponse& response) {
  if (response.has_sync_response()) return "sync";
  if (response.has_update()) return shown(response.update());
  std::string text;
  for (const gnmi_ext::Extension& extension : response.extension()) {
    const gnmi_ext::ConfigSubscriptionSyncDone& done = extension.config_subscription().sync_done();
    text += "done " + done.server_commit_id() + " " + done.commit_confirm_id();
  }
  return text;
}

}  // namespace

gnmi::SubscribeRequest watch(const std::vector<std::string>& paths, std::uint64_t interval_ms) {
  gnmi::SubscribeRequest request;
  request.mutable_subscribe()->set_encoding(gnmi::JSON_IETF);
  for (const std::string& path : paths) {
    gnmi::Subscription& added = *request.mutable_subscribe()->add_subscription();
    *added.mutable_path() = path_of(path);
    added.set_mode(gnmi::SAMPLE);
    added.set_sample_interval(interval_ms * 1000000);
  }
  return request;
}

StreamClient::StreamClient(gnmi::gNMI::Stub& stub, std::chrono::milliseconds limit,
                           const std::multimap<std::string, std::string>& metadata) {
  context_.set_deadline(std::chrono::system_clock::now() + limit);
  for (const auto& [key, value] : metadata) context_.AddMetadata(key, value);
  stream_ = stub.Subscribe(&context_);
}

StreamClient::StreamClient(gnmi::gNMI::Stub& stub, const gnmi::SubscribeRequest& request)
    : StreamClient(stub) {
  write(request);
}

StreamClient::~StreamClient() {
  if (finished_) return;
  cancel();
  end();
}

bool StreamClient::read(std::string& line) {
  if (!stream_->Read(&response_)) return false;
  line = shown(response_);
  return true;
}

std::vector<std::string> StreamClient::read_to_sync() {
  std::vector<std::string> lines;
  std::string line;
  while (read(line)) {
    lines.push_back(line);
    if (line == "sync") break;
  }
  return lines;
}

std::string StreamClient::next() {
  std::string line;
  return read(line) ? line : "end";
}

std::string StreamClient::end() {
  std::string line;
  while (read(line)) {
  }
  finished_ = true;
  return nexa_test::shown(stream_->Finish());
}

}  // namespace nexa_test

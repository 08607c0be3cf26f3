// Everything in a line is bounded: names and paths are the client's.
#include "server/audit.h"

#include <algorithm>
#include <cstddef>

#include "model/target.h"
#include "request/set_request.h"
#include "text/display.h"
#include "text/utf8.h"
#include "translate/code_name.h"
#include "translate/path_string.h"

namespace nexa::server {
namespace {

constexpr std::size_t kMostPaths = 10;
constexpr std::size_t kMostPathBytes = 120;
constexpr std::size_t kMostNameBytes = 80;
constexpr std::size_t kMostReasonBytes = 300;

std::string shown_operations(const gnmi::SetRequest& request) {
  const std::size_t count = request::operation_count(request);
  const std::size_t shown = std::min(count, kMostPaths);
  std::string text;
  for (std::size_t index = 0; index < shown; ++index) {
    if (!text.empty()) text.append(", ");
    const gnmi::Path joined =
        model::join_paths(request.prefix(), request::operation_path(request, index));
    const std::string path = translate::format_path_string(joined);
    const std::size_t length = text::prefix_length(path, kMostPathBytes);
    text.append(request::operation_name(request, index)).append(" ").append(path, 0, length);
    if (length < path.size()) text.append("...");
  }
  if (count > shown) text.append(", and ").append(std::to_string(count - shown)).append(" more");
  return text;
}

}  // namespace

std::string audit_line(const SetAudit& audit, const gnmi::SetRequest& request) {
  std::string line = "set user=" + text::quoted(audit.user, kMostNameBytes);
  line.append(" peer=").append(text::quoted(audit.peer, kMostNameBytes));
  line.append(" deletes=").append(std::to_string(request.delete__size()));
  line.append(" replaces=").append(std::to_string(request.replace_size()));
  line.append(" updates=").append(std::to_string(request.update_size()));
  if (request.union_replace_size() > 0) {
    line.append(" union_replaces=").append(std::to_string(request.union_replace_size()));
  }
  line.append(" operations=").append(text::quoted(shown_operations(request)));
  if (audit.action.kind != request::CommitAction::Kind::kNone) {
    line.append(" action=").append(name_of(audit.action.kind));
    line.append(" id=").append(text::quoted(audit.action.id, kMostNameBytes));
  }
  line.append(" verdict=").append(translate::code_name(audit.verdict.error_code()));
  if (!audit.verdict.ok()) {
    line.append(" reason=").append(text::quoted(audit.verdict.error_message(), kMostReasonBytes));
  }
  if (audit.commit != 0) line.append(" commit=").append(std::to_string(audit.commit));
  const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(audit.time);
  line.append(" time_us=").append(std::to_string(micros.count()));
  return line;
}

std::string expiry_line(const store::PendingCommit& pending, const store::CommitResult& result) {
  return "expiry id=" + text::quoted(pending.id, kMostNameBytes) +
         " unconfirmed=" + std::to_string(pending.number) +
         " restored=" + std::to_string(pending.base) + " commit=" + std::to_string(result.number);
}

std::string login_line(const CallIdentity& identity, const char* method,
                       const grpc::Status& verdict) {
  std::string line = "login user=" + text::quoted(identity.user, kMostNameBytes);
  if (identity.certificate) {
    line.append(" certificate=").append(text::quoted(identity.certificate_name, kMostNameBytes));
  }
  line.append(" peer=").append(text::quoted(identity.peer, kMostNameBytes));
  line.append(" method=").append(method);
  line.append(" verdict=").append(translate::code_name(verdict.error_code()));
  line.append(" reason=").append(text::quoted(verdict.error_message(), kMostReasonBytes));
  return line;
}

}  // namespace nexa::server

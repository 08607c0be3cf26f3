// An election ID is compared with the highest of its role so far.
#include "server/arbitration.h"

#include <array>
#include <cstddef>
#include <cstdio>

#include "server/messages.h"

namespace nexa::server {
namespace {

constexpr std::size_t kMostRoles = 1000;

std::string as_hex(std::uint64_t high, std::uint64_t low) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "0x%016llx%016llx", static_cast<unsigned long long>(high),
                static_cast<unsigned long long>(low));
  return text.data();
}

}  // namespace

grpc::Status Arbitration::admit(const gnmi::SetRequest& request) {
  const gnmi_ext::MasterArbitration* given = nullptr;
  for (const gnmi_ext::Extension& extension : request.extension()) {
    if (!extension.has_master_arbitration()) continue;
    if (given != nullptr) return {grpc::StatusCode::INVALID_ARGUMENT, kTwoArbitrations};
    given = &extension.master_arbitration();
  }
  if (given == nullptr) return grpc::Status::OK;
  if (!given->has_election_id()) return {grpc::StatusCode::INVALID_ARGUMENT, kNoElectionId};
  const ElectionId id{given->election_id().high(), given->election_id().low()};
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto known = highest_.find(given->role().id());
  if (known == highest_.end()) {
    if (highest_.size() >= kMostRoles) return {grpc::StatusCode::RESOURCE_EXHAUSTED, kTooManyRoles};
    highest_.emplace(given->role().id(), id);
    return grpc::Status::OK;
  }
  if (id < known->second) {
    return {grpc::StatusCode::PERMISSION_DENIED,
            kNotMaster + as_hex(known->second.first, known->second.second)};
  }
  known->second = id;
  return grpc::Status::OK;
}

}  // namespace nexa::server

// The descriptors are gRPC's, which closes them when it likes: each is looked at by its inode
// number first. Between that and shutdown(2) it may become another connection's, which then has to
// connect again; nothing else has a socket that this could end.
#include "connections.h"

#include <fcntl.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <utility>

#include "access/peer_address.h"

namespace nexad {
namespace {

// Floods are seen as they are read; this is for connections that send nothing.
constexpr std::chrono::milliseconds kBetweenLooks{50};
// Their messages are large and many, and most reads bring a part of one.
constexpr std::chrono::milliseconds kBetweenReadsOfKnown{5};
// What a call may have beside its messages, such as headers, and what it costs to refuse one.
constexpr std::uint64_t kBytesOfCall = 16U << 10U;
// Answers to what the server sends, such as windows and pings, of a connection whose caller is
// known: bytes in a second.
constexpr std::uint64_t kBytesOfSecond = 1U << 20U;
// The same of one whose caller is unknown: a monitor that asks for the server's health every few
// seconds does so for years on one connection.
constexpr std::uint64_t kStrangeBytesOfSecond = 4U << 10U;

// 0 when the descriptor is closed.
std::uint64_t inode_of(int fd) {
  struct statx status {};
  if (statx(fd, "", AT_EMPTY_PATH, STATX_INO, &status) != 0) return 0;
  return status.stx_ino;
}

// Cuts a connection of TCP at once: nothing more is read from it.
bool reset(int fd) {
  sockaddr nobody{};
  nobody.sa_family = AF_UNSPEC;
  return connect(fd, &nobody, sizeof nobody) == 0;
}

std::uint64_t bytes_received(int fd) {
  tcp_info info{};
  socklen_t size = sizeof info;
  if (getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) return 0;
  return info.tcpi_bytes_received;
}

}  // namespace

bool Connections::add(int connection) {
  sockaddr_storage storage{};
  socklen_t length = sizeof storage;
  Connection added;
  if (getpeername(connection, reinterpret_cast<sockaddr*>(&storage), &length) == 0) {
    if (const auto peer = nexa::access::peer_of(storage)) {
      added.key = peer->key();
      added.network = peer->network();
    }
  }
  added.inode = inode_of(connection);
  added.idle_since = added.looked = Clock::now();
  const std::lock_guard lock(mutex_);
  const auto old = table_.find(connection);
  if (old != table_.end()) forget(old);
  if (count_of(added.network) >= limits_.of_one_peer && !make_room(&added.network)) return false;
  if (table_.size() - going_ >= limits_.of_all && !make_room(nullptr)) return false;
  next_look_ = std::min(next_look_, added.looked + kBetweenLooks);
  by_key_[added.key] = connection;
  ++of_network_[added.network];
  table_.emplace(connection, std::move(added));
  return true;
}

std::size_t Connections::count_of(const std::string& network) const {
  const auto found = of_network_.find(network);
  return found == of_network_.end() ? 0 : found->second;
}

// Those that gRPC has closed make room first. To look for them costs a system call for each
// connection; the next time for want of room waits ten times as long as this one took.
bool Connections::make_room(const std::string* network) {
  if (Clock::now() >= next_sweep_) {
    const std::size_t before = network == nullptr ? table_.size() - going_ : count_of(*network);
    forget_closed();
    const std::size_t after = network == nullptr ? table_.size() - going_ : count_of(*network);
    if (after < before) return true;
  }
  constexpr int kNever = 3;
  const auto rank = [](const Connection& connection) {
    if (connection.calls == 0) return connection.is_known ? 1 : 0;
    return connection.is_known ? kNever : 2;
  };
  auto first = table_.end();
  for (auto at = table_.begin(); at != table_.end(); ++at) {
    const Connection& connection = at->second;
    if (connection.is_going || rank(connection) == kNever) continue;
    if (network != nullptr && connection.network != *network) continue;
    if (first == table_.end() || std::pair(rank(connection), connection.idle_since) <
                                     std::pair(rank(first->second), first->second.idle_since)) {
      first = at;
    }
  }
  if (first == table_.end()) return false;
  ++counts_.gave_way;
  shut(first->first, first->second);
  return true;
}

void Connections::shut(int descriptor, Connection& connection) {
  if (inode_of(descriptor) == connection.inode) shutdown(descriptor, SHUT_RDWR);
  note_going(connection);
}

// What is shut down is read as long as something comes: a flood has to be cut.
void Connections::end_flood(int descriptor, Connection& connection) {
  ++counts_.flooding;
  if (inode_of(descriptor) == connection.inode && !reset(descriptor)) {
    shutdown(descriptor, SHUT_RDWR);
  }
  note_going(connection);
}

void Connections::note_going(Connection& connection) {
  connection.is_going = true;
  ++going_;
  const auto of_network = of_network_.find(connection.network);
  if (--of_network->second == 0) of_network_.erase(of_network);
}

Connections::Table::iterator Connections::forget(Table::iterator at) {
  const Connection& connection = at->second;
  const auto by_key = by_key_.find(connection.key);
  if (by_key != by_key_.end() && by_key->second == at->first) by_key_.erase(by_key);
  if (connection.is_going) {
    --going_;
  } else {
    const auto of_network = of_network_.find(connection.network);
    if (--of_network->second == 0) of_network_.erase(of_network);
  }
  return table_.erase(at);
}

void Connections::forget_closed() {
  const auto start = Clock::now();
  for (auto at = table_.begin(); at != table_.end();) {
    at = inode_of(at->first) == at->second.inode ? std::next(at) : forget(at);
  }
  const auto end = Clock::now();
  next_sweep_ = end + 10 * (end - start);
}

Connections::Counts Connections::counts() {
  const std::lock_guard lock(mutex_);
  forget_closed();
  counts_.open = table_.size();
  return counts_;
}

Connections::Connection* Connections::find(std::string_view peer) {
  const auto address = nexa::access::parse_peer(peer);
  if (!address) return nullptr;
  const auto by_key = by_key_.find(address->key());
  if (by_key == by_key_.end()) return nullptr;
  const auto found = table_.find(by_key->second);
  return found == table_.end() ? nullptr : &found->second;
}

void Connections::call_began(std::string_view peer) {
  const std::lock_guard lock(mutex_);
  Connection* connection = find(peer);
  if (connection == nullptr) return;
  ++connection->calls;
  if (connection->is_known) {
    connection->taken += kBytesOfCall;
  } else if ((connection->strange_calls += kBytesOfCall) > limits_.stray_bytes &&
             !connection->is_going) {
    end_flood(by_key_.at(connection->key), *connection);
  }
}

void Connections::call_ended(std::string_view peer) {
  const std::lock_guard lock(mutex_);
  Connection* connection = find(peer);
  if (connection == nullptr || connection->calls == 0) return;
  if (--connection->calls == 0) connection->idle_since = Clock::now();
}

void Connections::login_succeeded(const std::string& peer) {
  const std::lock_guard lock(mutex_);
  if (Connection* const connection = find(peer)) connection->is_known = true;
}

void Connections::message_received(const std::string& peer, std::size_t bytes) {
  const std::lock_guard lock(mutex_);
  Connection* connection = find(peer);
  if (connection == nullptr) return;
  connection->taken += bytes;
}

// What was taken is never more than what came: nobody saves up for a flood.
void Connections::measure(int descriptor, Connection& connection, Clock::time_point now) {
  connection.received = bytes_received(descriptor);
  const auto passed = std::chrono::duration_cast<std::chrono::microseconds>(
      now - std::exchange(connection.looked, now));
  const std::uint64_t rate = connection.is_known ? kBytesOfSecond : kStrangeBytesOfSecond;
  const std::uint64_t forgiven = static_cast<std::uint64_t>(passed.count()) * rate / 1'000'000;
  connection.strange_calls -= std::min(connection.strange_calls, forgiven);
  connection.taken += forgiven;
  connection.taken = std::min(connection.taken, connection.received);
}

std::uint64_t Connections::stray_bytes(const Connection& connection) {
  return connection.received - connection.taken;
}

std::uint64_t Connections::allowance(const Connection& connection) const {
  if (!connection.is_known) return limits_.stray_bytes;
  return limits_.stray_bytes + connection.calls * limits_.message_bytes;
}

Connections::Clock::time_point Connections::next_look() {
  const std::lock_guard lock(mutex_);
  return next_look_;
}

void Connections::look() {
  const auto now = Clock::now();
  const std::lock_guard lock(mutex_);
  look_at_all(now);
  next_look_ = table_.empty() ? Clock::time_point::max() : now + kBetweenLooks;
}

void Connections::look_at_all(Clock::time_point now) {
  unknown_bytes_ = 0;
  for (auto at = table_.begin(); at != table_.end();) {
    auto& [descriptor, connection] = *at;
    if (inode_of(descriptor) != connection.inode) {
      at = forget(at);
      continue;
    }
    ++at;
    if (connection.is_going) continue;
    measure(descriptor, connection, now);
    const std::uint64_t stray = stray_bytes(connection);
    const bool is_unused = !connection.is_known && connection.calls == 0 &&
                           limits_.unused.count() != 0 &&
                           now - connection.idle_since >= limits_.unused;
    if (stray > allowance(connection)) {
      end_flood(descriptor, connection);
    } else if (is_unused) {
      ++counts_.unused;
      shut(descriptor, connection);
    } else if (!connection.is_known) {
      unknown_bytes_ += stray;
    }
  }
  while (unknown_bytes_ > limits_.stray_bytes_of_all) unknown_bytes_ -= shut_the_worst();
}

// What came may still wait in the machine's buffer: it is cut before gRPC keeps it.
void Connections::before_read(int descriptor) {
  const auto now = Clock::now();
  const std::lock_guard lock(mutex_);
  const auto found = table_.find(descriptor);
  if (found == table_.end()) return;
  Connection& connection = found->second;
  if (connection.is_going) return;
  if (connection.is_known && now - connection.looked < kBetweenReadsOfKnown) return;
  if (inode_of(descriptor) != connection.inode) return;
  const std::uint64_t before = connection.received;
  measure(descriptor, connection, now);
  if (stray_bytes(connection) > allowance(connection)) {
    end_flood(descriptor, connection);
  } else if (!connection.is_known) {
    unknown_bytes_ += connection.received - before;
    if (unknown_bytes_ > limits_.stray_bytes_of_all) look_at_all(now);
  }
}

// Of those whose callers nobody knows; what it sent.
std::uint64_t Connections::shut_the_worst() {
  const auto stray = [](const Connection& connection) {
    const bool counts = !connection.is_known && !connection.is_going;
    return counts ? stray_bytes(connection) : std::uint64_t{0};
  };
  const auto worst = std::max_element(
      table_.begin(), table_.end(),
      [&](const auto& a, const auto& b) { return stray(a.second) < stray(b.second); });
  const std::uint64_t bytes = stray(worst->second);
  end_flood(worst->first, worst->second);
  return bytes;
}

}  // namespace nexad

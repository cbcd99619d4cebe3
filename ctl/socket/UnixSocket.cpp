#include "ctl/socket/UnixSocket.h"

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "ctl/Error.h"

namespace Ctl {

namespace {

constexpr std::size_t kPiece = 65'536;

void patienceIs(int fd, std::chrono::seconds patience) {
  const timeval time{.tv_sec = patience.count(), .tv_usec = 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
}

}  // namespace

UnixSocket::UnixSocket(std::string who, const std::string& path,
                       std::optional<std::chrono::seconds> patience)
    : who_(std::move(who)), fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const auto refuse = [&](const char* why) {
    if (fd_ >= 0) {
      close(fd_);
    }
    throw Error(fmt::format("no {} at {}: {}", who_, path, why));
  };
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    refuse("the path cannot be a socket's");
  }
  path.copy(std::begin(address.sun_path), path.size());
  if (fd_ >= 0 && patience) {
    patienceIs(fd_, *patience);
  }
  if (fd_ < 0 || connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    refuse(std::strerror(errno));
  }
}

UnixSocket::~UnixSocket() { close(fd_); }

void UnixSocket::fail() const {
  if (errno == EAGAIN) {
    throw Error(fmt::format("{} does not answer", who_));
  }
  throw Error(fmt::format("the connection to {} broke: {}", who_, std::strerror(errno)));
}

void UnixSocket::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    } else if (errno != EINTR) {
      fail();
    }
  }
}

void UnixSocket::sendingEnds() { shutdown(fd_, SHUT_WR); }

std::optional<std::size_t> UnixSocket::sendSome(std::string_view bytes) {
  const ssize_t sent = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  if (sent >= 0) {
    return static_cast<std::size_t>(sent);
  }
  if (errno == EPIPE || errno == ECONNRESET) {
    return std::nullopt;
  }
  if (errno != EINTR && errno != EAGAIN) {
    fail();
  }
  return 0;
}

bool UnixSocket::receiveSome() {
  std::array<char, kPiece> buffer;
  const ssize_t got = recv(fd_, buffer.data(), buffer.size(), 0);
  if (got < 0 && errno == EINTR) {
    return true;
  }
  if (got < 0 && errno == ECONNRESET) {
    return false;  // It closed without reading all that was sent; what it said before is read.
  }
  if (got < 0) {
    fail();
  }
  received_.erase(0, std::exchange(taken_, 0));
  received_.append(buffer.data(), static_cast<std::size_t>(got));
  return got > 0;
}

std::optional<std::string> UnixSocket::receivedLine() {
  const std::size_t end = received_.find('\n', taken_);
  if (end == std::string::npos) {
    return std::nullopt;
  }
  std::string line = received_.substr(taken_, end - taken_);
  taken_ = end + 1;
  return line;
}

std::optional<std::string> UnixSocket::line() {
  while (true) {
    if (auto line = receivedLine()) {
      return line;
    }
    if (!receiveSome()) {
      std::string rest = received_.substr(taken_);
      taken_ = received_.size();
      return rest.empty() ? std::nullopt : std::optional(std::move(rest));
    }
  }
}

}  // namespace Ctl

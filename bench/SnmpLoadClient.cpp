#include "SnmpLoadClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace bench {

namespace {

constexpr std::size_t kLargestDatagram = 65536;

[[noreturn]] void fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

}  // namespace

SnmpLoadClient::SnmpLoadClient(std::uint16_t port, std::string community,
                               std::chrono::seconds patience)
    : community_(std::move(community)),
      patience_(patience),
      socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      in_(kLargestDatagram) {
  if (socket_ < 0) {
    fail("socket");
  }
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(port);
  to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const timeval longest{.tv_sec = patience.count(), .tv_usec = 0};
  if (::connect(socket_, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0 ||
      ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest) != 0) {
    fail("connect");
  }
}

SnmpLoadClient::~SnmpLoadClient() { ::close(socket_); }

void SnmpLoadClient::send(const std::string& packet) {
  out_ = packet;
  // Positive and of four octets, whatever the count.
  const std::uint32_t id = 0x01000000U | (++lastId_ & 0x00ffffffU);
  const std::size_t at = requestIdOffset(community_, out_);
  for (unsigned octet = 0; octet < 4; ++octet) {
    out_[at + octet] = static_cast<char>(id >> (24 - 8 * octet));
  }
  if (::send(socket_, out_.data(), out_.size(), 0) != static_cast<ssize_t>(out_.size())) {
    fail("send");
  }
}

std::string_view SnmpLoadClient::receive() {
  ssize_t size = 0;
  do {  // A process that was stopped for a while finds its wait interrupted: signal(7).
    size = ::recv(socket_, in_.data(), in_.size(), 0);
  } while (size < 0 && errno == EINTR);
  if (size < 0) {
    fail("no answer");
  }
  return {in_.data(), static_cast<std::size_t>(size)};
}

std::string_view SnmpLoadClient::awaitAwake() {
  const auto end = std::chrono::steady_clock::now() + patience_;
  do {
    const ssize_t size = ::recv(socket_, in_.data(), in_.size(), MSG_DONTWAIT);
    if (size >= 0) {
      return {in_.data(), static_cast<std::size_t>(size)};
    }
  } while ((errno == EAGAIN || errno == EINTR) && std::chrono::steady_clock::now() < end);
  fail("no answer");
}

const Response& SnmpLoadClient::ask(Pdu pdu, const std::vector<Oid>& names,
                                    std::uint8_t nonRepeaters, std::uint8_t maxRepetitions) {
  send(encode(pdu, names, nonRepeaters, maxRepetitions));
  if (!decodeResponse(receive(), response_)) {
    throw std::runtime_error("malformed answer");
  }
  return response_;
}

std::size_t SnmpLoadClient::run(std::span<const std::string> packets, unsigned window) {
  std::size_t octets = 0;
  std::size_t sent = 0;
  for (std::size_t answered = 0; answered < packets.size(); ++answered) {
    for (; sent < packets.size() && sent - answered < window; ++sent) {
      send(packets[sent]);
    }
    const std::string_view answer = awaitAwake();
    octets += answer.size();
    if (!decodeResponse(answer, response_) || response_.errorStatus != 0) {
      throw std::runtime_error("an answer is an error");
    }
  }
  return octets;
}

}  // namespace bench

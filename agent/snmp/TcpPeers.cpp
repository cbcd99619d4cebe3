#include "agent/snmp/TcpPeers.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "agent/snmp/NetSnmp.h"
#include "agent/snmp/SnmpEndpoint.h"

namespace Agent {

namespace {

/// Some tens of requests.
constexpr int kMostAtOnce = 2048;
/// Room for the answers that a peer has not read yet; the kernel doubles it. The longest answer has
/// a hundred varbinds.
constexpr int kSendBuffer = 131'072;
/// Of a request no more is taken than by UDP.
constexpr std::size_t kMostUnanswered = SnmpEndpoint::kMaxRequestOctets + kMostAtOnce;

/// net-snmp's functions get no argument of ours.
TcpPeers* serving = nullptr;

Fd spareDescriptor() { return Fd(::open("/dev/null", O_RDONLY | O_CLOEXEC)); }

}  // namespace

TcpPeers::TcpPeers() { serving = this; }

TcpPeers::~TcpPeers() { serving = nullptr; }

bool TcpPeers::listenAt(const std::string& address) {
  netsnmp_transport* const transport = netsnmp_transport_open_server("snmp", address.c_str());
  if (transport == nullptr) {
    return false;
  }
  spare_ = spareDescriptor();
  accept_ = transport->f_accept;
  receive_ = transport->f_recv;
  close_ = transport->f_close;
  transport->f_accept = &TcpPeers::accept;
  transport->f_recv = &TcpPeers::receive;
  transport->f_send = &TcpPeers::send;
  transport->f_close = &TcpPeers::close;
  return netsnmp_register_agent_nsap(transport) >= 0;
}

int TcpPeers::accept(Transport* transport) {
  const int fd = serving->accept_(transport);
  if (fd >= 0) {
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof kSendBuffer);
    serving->admit(fd);
  } else if (errno == EMFILE || errno == ENFILE) {
    serving->turnAway(transport->sock);
  }
  return fd;
}

void TcpPeers::turnAway(int listening) {
  { const Fd givenUp = std::move(spare_); }
  const Fd unwelcome(::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC));
  spare_ = spareDescriptor();
}

void TcpPeers::admit(int fd) {
  if (peers_.size() >= kMostPeers) {
    const auto silent = std::min_element(
        peers_.begin(), peers_.end(),
        [](const auto& a, const auto& b) { return a.second.heard < b.second.heard; });
    hangUp(silent->first);
  }
  peers_[fd] = {++time_, 0};
}

void TcpPeers::hangUp(int fd) {
  peers_.erase(fd);
  ::shutdown(fd, SHUT_RDWR);
}

int TcpPeers::receive(Transport* transport, void* to, int size, void** opaque, int* opaqueSize) {
  const int fd = transport->sock;
  const auto found = serving->peers_.find(fd);
  if (found == serving->peers_.end()) {
    return 0;  // The end, whatever else it had sent.
  }
  const int got = serving->receive_(transport, to, std::min(size, kMostAtOnce), opaque, opaqueSize);
  if (got > 0) {
    Peer& peer = found->second;
    peer.heard = ++serving->time_;
    peer.unanswered += static_cast<std::size_t>(got);
    if (peer.unanswered > kMostUnanswered) {
      serving->hangUp(fd);
    }
  }
  return got;
}

int TcpPeers::send(Transport* transport, const void* from, int size, void** /*opaque*/,
                   int* /*opaqueSize*/) {
  const int fd = transport->sock;
  const auto found = serving->peers_.find(fd);
  if (found != serving->peers_.end()) {
    found->second.unanswered = 0;
    if (::send(fd, from, static_cast<std::size_t>(size), MSG_DONTWAIT | MSG_NOSIGNAL) != size) {
      // Half an answer can't be followed by another one, and waiting would hold everybody.
      serving->hangUp(fd);
    }
  }
  return size;  // A failure would have net-snmp log the whole answer.
}

int TcpPeers::close(Transport* transport) {
  serving->peers_.erase(transport->sock);
  return serving->close_(transport);
}

}  // namespace Agent

#include "monitor/icmp/KernelSocket.h"

#include <linux/net_tstamp.h>
#include <linux/sock_diag.h>
#include <net/if.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>

#include "monitor/icmp/SocketFilter.h"

namespace Monitor::Icmp {

namespace {

/// Room for the answers that come while the event loop is elsewhere: some tens of milliseconds at
/// full rate, if net.core.rmem_max allows it.
constexpr int kReceiveBuffer = 4 << 20;
constexpr int kSendBuffer = 1 << 20;

/// A pending error of the socket, left by some earlier packet, makes a call fail that has nothing
/// to do with it. So many in a row no longer are an accident.
constexpr int kAttempts = 8;

bool setOption(int fd, int level, int option, int value) {
  return ::setsockopt(fd, level, option, &value, sizeof value) == 0;
}

std::string pingGroupRange() {
  std::string range;
  std::ifstream file("/proc/sys/net/ipv4/ping_group_range");
  std::getline(file, range);
  for (char& c : range) {
    c = c == '\t' ? ' ' : c;
  }
  return range;
}

SocketError needsPrivilege(const SocketError& raw) {
  return {raw.error, "ICMP needs a group of this process in net.ipv4.ping_group_range (now \"" +
                         pingGroupRange() + "\"), or the capability CAP_NET_RAW: raw " + raw.text};
}

bool roomMissing(int error) { return error == EAGAIN || error == ENOBUFS || error == ENOMEM; }

}  // namespace

KernelSocket::KernelSocket(UniqueFd fd, const Binding& binding, Framing framing, PacketSink& sink)
    : fd_(std::move(fd)),
      binding_(binding),
      framing_(framing),
      sink_(sink),
      namespace_(namespaceId(binding)) {}

std::variant<std::unique_ptr<KernelSocket>, SocketError> KernelSocket::open(
    const Binding& binding, int family, std::uint16_t identifier, PacketSink& sink) {
  const bool v6 = family == AF_INET6;
  const int protocol = v6 ? int{IPPROTO_ICMPV6} : int{IPPROTO_ICMP};
  auto opened = openSocket(binding, family, SOCK_DGRAM, protocol);
  bool raw = false;
  if (const auto* error = std::get_if<SocketError>(&opened);
      error != nullptr && error->error == EACCES) {  // what ping_group_range refuses with
    raw = true;
    opened = openSocket(binding, family, SOCK_RAW, protocol);
  }
  if (const auto* error = std::get_if<SocketError>(&opened)) {
    return raw && error->error == EPERM ? needsPrivilege(*error) : *error;
  }
  const Framing framing = v6 ? Framing::kIcmpv6 : (raw ? Framing::kIpv4Header : Framing::kIcmpv4);
  std::unique_ptr<KernelSocket> socket(
      new KernelSocket(std::move(std::get<UniqueFd>(opened)), binding, framing, sink));
  if (!socket->setUp(raw, identifier)) {
    const int error = errno;
    return SocketError{error, std::string("ICMP socket: ") + std::strerror(error)};
  }
  return socket;
}

bool KernelSocket::setUp(bool raw, std::uint16_t identifier) {
  const int fd = fd_.get();
  const bool v6 = isV6(framing_);
  // As large as we may: beyond rmem_max takes CAP_NET_ADMIN. Less is counted when it is too little.
  if (!setOption(fd, SOL_SOCKET, SO_RCVBUFFORCE, kReceiveBuffer)) {
    setOption(fd, SOL_SOCKET, SO_RCVBUF, kReceiveBuffer);
  }
  setOption(fd, SOL_SOCKET, SO_SNDBUF, kSendBuffer);
  // ICMP errors, and to be told when a device's queue drops what we send.
  const bool errors =
      v6 ? setOption(fd, SOL_IPV6, IPV6_RECVERR, 1) : setOption(fd, SOL_IP, IP_RECVERR, 1);
  if (!errors) {
    return false;
  }
  if (!v6) {
    // What may not be fragmented needs no identification, whose choice costs the kernel a tenth of
    // a packet's time.
    setOption(fd, SOL_IP, IP_MTU_DISCOVER, IP_PMTUDISC_DO);
  }
  stampTransmissions(false);
  if (raw) {
    identifier_ = identifier;
    return attachReplyFilter(fd, v6 ? AF_INET6 : AF_INET, identifier);
  }
  return learnIdentifier();
}

bool KernelSocket::learnIdentifier() {
  // A ping socket's identifier is its port.
  SocketAddress address =
      (isV6(framing_) ? IpAddress::of(in6addr_any) : IpAddress()).socketAddress(0);
  if (::bind(fd_.get(), address.get(), address.length) != 0) {
    return false;
  }
  sockaddr_in6 bound{};
  socklen_t length = sizeof bound;
  // NOLINTNEXTLINE: the one cast that the sockets interface is built on
  if (::getsockname(fd_.get(), reinterpret_cast<sockaddr*>(&bound), &length) != 0) {
    return false;
  }
  identifier_ = ntohs(bound.sin6_port);  // sockaddr_in has it in the same place
  return true;
}

void KernelSocket::stampTransmissions(bool on) {
  const int receive = SOF_TIMESTAMPING_RX_SOFTWARE | SOF_TIMESTAMPING_SOFTWARE;
  const int flags = receive | (on ? int{SOF_TIMESTAMPING_TX_SOFTWARE} : 0);
  if (!setOption(fd_.get(), SOL_SOCKET, SO_TIMESTAMPING, flags)) {
    setOption(fd_.get(), SOL_SOCKET, SO_TIMESTAMPNS, 1);
  }
}

std::optional<KernelSocket::NamespaceId> KernelSocket::namespaceId(const Binding& binding) {
  struct stat status {};
  if (binding.netns.empty() || ::stat(("/run/netns/" + binding.netns).c_str(), &status) != 0) {
    return std::nullopt;
  }
  return NamespaceId{status.st_dev, status.st_ino};
}

bool KernelSocket::current() const {
  const std::string& device = binding_.boundDevice();
  if (!device.empty()) {
    std::array<char, IF_NAMESIZE> name{};
    socklen_t length = name.size();
    if (::getsockopt(fd_.get(), SOL_SOCKET, SO_BINDTODEVICE, name.data(), &length) != 0 ||
        device != name.data()) {
      return false;
    }
  }
  return namespaceId(binding_) == namespace_;
}

std::uint64_t KernelSocket::overflowed() const {
  std::array<std::uint32_t, SK_MEMINFO_VARS> values{};
  socklen_t length = sizeof values;
  if (::getsockopt(fd_.get(), SOL_SOCKET, SO_MEMINFO, values.data(), &length) != 0) {
    return 0;
  }
  return values[SK_MEMINFO_DROPS];
}

Sent::Stop KernelSocket::classify(int error) const {
  if (roomMissing(error)) {
    return Sent::Stop::kBusy;
  }
  switch (error) {
    case ENETUNREACH:
    case EHOSTUNREACH:
    case ENETDOWN:
    case EHOSTDOWN:
    case EADDRNOTAVAIL:  // no source address reaches it
    case EINVAL:         // a blackhole route
    case EACCES:         // a prohibiting route, or a broadcast address
    case EPERM:          // a packet filter's rule
      // IPv6 says the same of an interface that has been removed.
      return current() ? Sent::Stop::kUnreachable : Sent::Stop::kBroken;
    default:
      return Sent::Stop::kBroken;
  }
}

Sent KernelSocket::send(std::span<const Outgoing> batch) {
  // Not initialised as a whole: mostly few are used.
  std::array<iovec, kMostAtOnce> vectors;
  std::array<mmsghdr, kMostAtOnce> messages;
  const std::size_t size = batch.size();
  for (std::size_t i = 0; i < size; ++i) {
    // sendmmsg() reads only, but its structures serve receiving as well.
    vectors[i] = {const_cast<std::uint8_t*>(batch[i].bytes.data()), batch[i].bytes.size()};
    messages[i] = {};
    messages[i].msg_hdr.msg_name = const_cast<sockaddr_storage*>(&batch[i].to->storage);
    messages[i].msg_hdr.msg_namelen = batch[i].to->length;
    messages[i].msg_hdr.msg_iov = &vectors[i];
    messages[i].msg_hdr.msg_iovlen = 1;
  }
  std::size_t done = 0;
  for (int attempts = 0; done < size;) {
    const int count = ::sendmmsg(fd_.get(), &messages[done], static_cast<unsigned>(size - done), 0);
    if (count > 0) {
      done += static_cast<std::size_t>(count);
      attempts = 0;
    } else if (roomMissing(errno) || ++attempts == kAttempts) {
      const int error = errno;
      return {done, classify(error), error};
    }
  }
  return {done, Sent::Stop::kNone, 0};
}

bool KernelSocket::receive(ReceiveBatch& batch, SteadyTime& time) {
  return drain(ReceiveBatch::Source::kPackets, batch, time) &&
         drain(ReceiveBatch::Source::kErrorQueue, batch, time);
}

bool KernelSocket::drain(ReceiveBatch::Source source, ReceiveBatch& batch, SteadyTime& time) {
  constexpr int kMostBatches = 64;
  int attempts = 0;
  for (int batches = 0; batches < kMostBatches; ++batches) {
    if (const auto count = batch.receive(fd_.get(), source)) {
      time.look();
      for (std::size_t i = 0; i < *count; ++i) {
        handOver(source, batch, i, time);
      }
    } else if (errno == EAGAIN || ++attempts == kAttempts) {
      return true;
    }
  }
  return false;
}

void KernelSocket::handOver(ReceiveBatch::Source source, ReceiveBatch& batch, std::size_t i,
                            const SteadyTime& time) {
  const ReceiveBatch::Notes notes = batch.notes(i);
  const Clock::time_point at = notes.stamp ? time.of(*notes.stamp) : time.now();
  if (source == ReceiveBatch::Source::kPackets) {
    sink_.received(batch.bytes(i), batch.from(i), at);
  } else if (notes.sentCopy && notes.stamp) {
    sink_.transmitted(batch.bytes(i), at);
  } else if (notes.refusal) {
    sink_.refused(batch.bytes(i), *notes.refusal);
  }
}

}  // namespace Monitor::Icmp

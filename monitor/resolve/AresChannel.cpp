#include "monitor/resolve/AresChannel.h"

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

namespace Monitor {

namespace {

constexpr int kTimeoutMs = 2000;
constexpr int kTries = 2;

/// c-ares is set up once for the process and never torn down, as other users could not be known.
void initialise() {
  static const int status = ares_library_init(ARES_LIB_INIT_ALL);
  if (status != ARES_SUCCESS) {
    throw std::runtime_error(fmt::format("c-ares: {}", ares_strerror(status)));
  }
}

/// Where `ip netns` looks for a namespace's own name servers.
std::string serversFileOf(const Binding& binding) {
  if (binding.netns.empty()) {
    return {};
  }
  std::string path = fmt::format("/etc/netns/{}/resolv.conf", binding.netns);
  return ::access(path.c_str(), R_OK) == 0 ? path : std::string();
}

std::string serverList(const std::vector<NameServer>& servers) {
  std::string list;
  for (const auto& [address, port] : servers) {
    list += list.empty() ? "" : ",";
    list += address.isV6() ? fmt::format("[{}]:{}", address.text(), port)
                           : fmt::format("{}:{}", address.text(), port);
  }
  return list;
}

IpAddress addressOf(const ares_addrinfo_node& node) {
  if (node.ai_family == AF_INET6) {
    sockaddr_in6 v6{};
    std::copy_n(reinterpret_cast<const char*>(node.ai_addr), sizeof v6,
                reinterpret_cast<char*>(&v6));
    return IpAddress::of(v6.sin6_addr);
  }
  sockaddr_in v4{};
  std::copy_n(reinterpret_cast<const char*>(node.ai_addr), sizeof v4, reinterpret_cast<char*>(&v4));
  return IpAddress::of(v4.sin_addr);
}

AresChannel::Found foundOf(const ares_addrinfo* result) {
  AresChannel::Found found;
  std::optional<int> ttl;
  for (const ares_addrinfo_node* node = result->nodes; node != nullptr; node = node->ai_next) {
    found.addresses.push_back(addressOf(*node));
    ttl = std::min(ttl.value_or(node->ai_ttl), node->ai_ttl);
  }
  found.ttl = std::chrono::seconds(ttl.value_or(0));
  if (found.addresses.empty()) {
    found.error = ares_strerror(ARES_ENODATA);
  }
  return found;
}

}  // namespace

AresChannel::AresChannel(event_base* base, const VrfConfig& vrf)
    : base_(base),
      binding_(vrf.binding),
      timer_(base, [this] { process(ARES_SOCKET_BAD, ARES_SOCKET_BAD); }) {
  initialise();
  ares_options options{};
  options.timeout = kTimeoutMs;
  options.tries = kTries;
  options.sock_state_cb = &onState;
  options.sock_state_cb_data = this;
  int mask = ARES_OPT_TIMEOUTMS | ARES_OPT_TRIES | ARES_OPT_SOCK_STATE_CB;
  std::string file = serversFileOf(binding_);
  if (!file.empty()) {
    options.resolvconf_path = file.data();
    mask |= ARES_OPT_RESOLVCONF;
  }
  if (const int status = ares_init_options(&channel_, &options, mask); status != ARES_SUCCESS) {
    throw std::runtime_error(fmt::format("c-ares: {}", ares_strerror(status)));
  }
  // Whoever opens its sockets has to do the rest with them too; for that, the system's calls do.
  static constexpr ares_socket_functions kFunctions{
      &openBound, [](ares_socket_t fd, void*) { return ::close(fd); },
      [](ares_socket_t fd, const sockaddr* to, ares_socklen_t length, void*) {
        return ::connect(fd, to, length);
      },
      [](ares_socket_t fd, void* data, size_t size, int flags, sockaddr* from,
         ares_socklen_t* length,
         void*) -> ares_ssize_t { return ::recvfrom(fd, data, size, flags, from, length); },
      [](ares_socket_t fd, const iovec* parts, int count, void*) -> ares_ssize_t {
        return ::writev(fd, parts, count);
      }};
  ares_set_socket_functions(channel_, &kFunctions, this);
  if (!vrf.nameServers.empty()) {
    ares_set_servers_ports_csv(channel_, serverList(vrf.nameServers).c_str());
  }
}

AresChannel::~AresChannel() { ares_destroy(channel_); }

void AresChannel::ask(const std::string& name, OnFound onFound) {
  ares_addrinfo_hints hints{};
  hints.ai_family = AF_UNSPEC;
  auto question = std::make_unique<OnFound>(std::move(onFound));
  ares_getaddrinfo(channel_, name.c_str(), nullptr, &hints, &onResult, question.release());
  setTimer();
}

ares_socket_t AresChannel::openBound(int family, int type, int protocol, void* self) {
  auto opened = openSocket(static_cast<AresChannel*>(self)->binding_, family, type, protocol);
  if (const auto* error = std::get_if<SocketError>(&opened)) {
    errno = error->error;
    return ARES_SOCKET_BAD;
  }
  return std::get<UniqueFd>(opened).release();
}

void AresChannel::onState(void* self, ares_socket_t fd, int readable, int writable) {
  auto* channel = static_cast<AresChannel*>(self);
  channel->sockets_.erase(fd);
  if (readable == 0 && writable == 0) {
    return;
  }
  const int what = EV_PERSIST | (readable != 0 ? EV_READ : 0) | (writable != 0 ? EV_WRITE : 0);
  auto event = std::make_unique<Event>(
      channel->base_, fd, static_cast<short>(what), [channel, fd](short happened) {
        channel->process((happened & EV_READ) != 0 ? fd : ARES_SOCKET_BAD,
                         (happened & EV_WRITE) != 0 ? fd : ARES_SOCKET_BAD);
      });
  event->add();
  channel->sockets_.emplace(fd, std::move(event));
}

void AresChannel::onResult(void* question, int status, int /*timeouts*/, ares_addrinfo* result) {
  const std::unique_ptr<OnFound> onFound(static_cast<OnFound*>(question));
  if (status == ARES_EDESTRUCTION) {
    return;
  }
  Found found;
  if (status == ARES_SUCCESS) {
    found = foundOf(result);
    ares_freeaddrinfo(result);
  } else {
    found.error = ares_strerror(status);
  }
  (*onFound)(std::move(found));
}

void AresChannel::process(ares_socket_t readable, ares_socket_t writable) {
  ares_process_fd(channel_, readable, writable);
  setTimer();
}

void AresChannel::setTimer() {
  timeval wait{};
  if (ares_timeout(channel_, nullptr, &wait) == nullptr) {
    timer_.cancel();
  } else {
    timer_.set(std::chrono::seconds(wait.tv_sec) + std::chrono::microseconds(wait.tv_usec));
  }
}

}  // namespace Monitor

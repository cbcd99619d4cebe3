#include "monitor/icmp/KernelNetwork.h"

#include <sys/epoll.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace Monitor::Icmp {

KernelNetwork::KernelNetwork(std::uint16_t firstIdentifier)
    : watch_(::epoll_create1(EPOLL_CLOEXEC)), nextIdentifier_(firstIdentifier) {
  if (!watch_) {
    throw std::system_error(errno, std::generic_category(), "epoll_create1");
  }
}

Network::Opened KernelNetwork::open(const Binding& binding, int family, PacketSink& sink) {
  auto opened = KernelSocket::open(binding, family, nextIdentifier_++, sink);
  if (auto* error = std::get_if<SocketError>(&opened)) {
    return std::move(*error);
  }
  auto socket = std::move(std::get<std::unique_ptr<KernelSocket>>(opened));
  epoll_event event{};
  event.events = EPOLLIN;  // and EPOLLERR, which can't be left out: the error queue
  event.data.ptr = socket.get();
  if (::epoll_ctl(watch_.get(), EPOLL_CTL_ADD, socket->fd(), &event) != 0) {
    const int error = errno;
    return SocketError{error, std::string("epoll: ") + std::strerror(error)};
  }
  return socket;  // closing it ends the watch
}

bool KernelNetwork::receive() {
  std::array<epoll_event, 64> events{};
  const int count = ::epoll_wait(watch_.get(), events.data(), static_cast<int>(events.size()), 0);
  if (count < 0) {
    return false;
  }
  bool allRead = static_cast<std::size_t>(count) < events.size();
  for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
    auto* const socket = static_cast<KernelSocket*>(events[i].data.ptr);
    allRead = socket->receive(batch_, time_) && allRead;
  }
  return allRead;
}

}  // namespace Monitor::Icmp

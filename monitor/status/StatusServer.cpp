#include "monitor/status/StatusServer.h"

#include <event2/bufferevent.h>
#include <event2/listener.h>
#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "monitor/net/UniqueFd.h"

namespace Monitor {

namespace {

constexpr mode_t kMode = 0660;
/// Readers at once; more are turned away, as each holds a copy of the status.
constexpr std::size_t kMostReaders = 8;
/// A reader that does not read is dropped.
constexpr timeval kPatience{10, 0};
/// How long readers have to wait when there is no descriptor for them. Asking at once again and
/// again would take the time that those who hold the descriptors need to give them back.
constexpr std::chrono::seconds kPause{1};

const sockaddr* generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

/// Whether a process accepts connections there.
bool isListenedAt(const sockaddr_un& address) {
  const UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  return socket &&
         (::connect(socket.get(), generic(address), sizeof address) == 0 || errno == EAGAIN);
}

bool isSocket(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

UniqueFd listenAt(const std::string& path) {
  const auto fail = [&](const std::string& why) -> UniqueFd {
    throw std::runtime_error(fmt::format("status-socket {}: {}", path, why));
  };
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    return fail("the path is too long for a socket");
  }
  path.copy(std::begin(address.sun_path), path.size());
  if (isSocket(path)) {
    if (isListenedAt(address)) {
      return fail("another process listens there");
    }
    ::unlink(path.c_str());
  }
  UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  // The mode is set before anyone can connect: nobody can until listen().
  if (!socket || ::bind(socket.get(), generic(address), sizeof address) != 0 ||
      ::chmod(path.c_str(), kMode) != 0 || ::listen(socket.get(), SOMAXCONN) != 0) {
    return fail(std::strerror(errno));
  }
  return socket;
}

}  // namespace

void StatusServer::Free::operator()(evconnlistener* each) const { evconnlistener_free(each); }
void StatusServer::Free::operator()(bufferevent* each) const { bufferevent_free(each); }

StatusServer::StatusServer(const Loop& loop, std::string path, std::function<std::string()> status)
    : loop_(loop),
      path_(std::move(path)),
      status_(std::move(status)),
      pauseTimer_(loop.base, [this] { evconnlistener_enable(listener_.get()); }) {
  UniqueFd socket = listenAt(path_);
  listener_.reset(evconnlistener_new(
      loop_.base,
      [](evconnlistener*, evutil_socket_t fd, sockaddr*, int, void* self) {
        static_cast<StatusServer*>(self)->accept(fd);
      },
      this, LEV_OPT_CLOSE_ON_FREE | LEV_OPT_CLOSE_ON_EXEC, 0, socket.get()));
  if (listener_ == nullptr) {
    throw std::runtime_error(fmt::format("status-socket {}: no listener", path_));
  }
  (void)socket.release();
  evconnlistener_set_error_cb(listener_.get(), [](evconnlistener*, void* self) {
    static_cast<StatusServer*>(self)->pause();
  });
}

StatusServer::~StatusServer() { ::unlink(path_.c_str()); }

void StatusServer::accept(int fd) {
  UniqueFd socket(fd);
  if (connections_.size() >= kMostReaders) {
    return;
  }
  std::unique_ptr<bufferevent, Free> connection(
      bufferevent_socket_new(loop_.base, socket.get(), BEV_OPT_CLOSE_ON_FREE));
  if (connection == nullptr) {
    return;
  }
  (void)socket.release();
  const auto drained = [](bufferevent* each, void* self) {
    static_cast<StatusServer*>(self)->drop(each);
  };
  const auto failed = [](bufferevent* each, short, void* self) {
    static_cast<StatusServer*>(self)->drop(each);
  };
  bufferevent_setcb(connection.get(), nullptr, drained, failed, this);
  bufferevent_set_timeouts(connection.get(), nullptr, &kPatience);
  const std::string status = status_();
  bufferevent_write(connection.get(), status.data(), status.size());
  connections_.push_back(std::move(connection));
}

void StatusServer::pause() {
  evconnlistener_disable(listener_.get());
  pauseTimer_.set(kPause);
}

void StatusServer::drop(const bufferevent* connection) {
  connections_.remove_if([&](const auto& each) { return each.get() == connection; });
}

}  // namespace Monitor

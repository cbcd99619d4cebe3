#include "agent/feed/FeedServer.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "agent/Quote.h"
#include "agent/StartError.h"

namespace Agent {

namespace {

constexpr int kBacklog = 64;
constexpr mode_t kMode = 0660;

[[noreturn]] void fail(const std::string& path, std::string_view what) {
  throw StartError(fmt::format("--feed {}: {}", path, what));
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    fail(path, fmt::format("expected a path of 1 to {} bytes", sizeof address.sun_path - 1));
  }
  path.copy(address.sun_path, path.size());
  return address;
}

Fd newSocket(const std::string& path) {
  Fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!fd.valid()) {
    fail(path, std::strerror(errno));
  }
  return fd;
}

/// Takes away the socket of a process that is gone; anything else in the way is an error.
void clearPath(const std::string& path, const sockaddr_un& address) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) {
    return;
  }
  if (!S_ISSOCK(status.st_mode)) {
    fail(path, "exists and is no socket");
  }
  const Fd probe = newSocket(path);
  if (connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ||
      errno != ECONNREFUSED) {
    fail(path, "another process listens there");
  }
  unlink(path.c_str());
}

Fd listenAt(const std::string& path) {
  const sockaddr_un address = addressOf(path);
  clearPath(path, address);
  Fd fd = newSocket(path);
  // The mode is set before anyone can connect: nobody can until listen().
  if (bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      chmod(path.c_str(), kMode) != 0 || listen(fd.get(), kBacklog) != 0) {
    fail(path, std::strerror(errno));
  }
  return fd;
}

std::string peerOf(const Fd& socket) {
  ucred peer{};
  socklen_t size = sizeof peer;
  if (getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
    return std::strerror(errno);
  }
  return fmt::format("process {}, user {}, group {}", peer.pid, peer.uid, peer.gid);
}

}  // namespace

FeedServer::Connection::Connection(FeedServer& server, Fd socket)
    : fd(std::move(socket)),
      session(server.clients_, server.queue_, server.inspector_),
      watch(server.loop_, fd.get(),
            [this, &server](EventLoop::Ready ready) { server.ready(*this, ready); }) {}

FeedServer::FeedServer(EventLoop& loop, std::string path, ClientRegistry& clients,
                       OperationQueue& queue, Inspector* inspector, Warn warn, Inform note,
                       Inform inform, Accept accept)
    : loop_(loop),
      path_(std::move(path)),
      clients_(clients),
      queue_(queue),
      inspector_(inspector),
      warn_(std::move(warn)),
      note_(std::move(note)),
      inform_(std::move(inform)),
      accept_(std::move(accept)),
      fd_(listenAt(path_)),
      watch_(loop, fd_.get(), [this](EventLoop::Ready) { this->accept(); }) {
  acceptingIs(true);
}

FeedServer::~FeedServer() { unlink(path_.c_str()); }

Fd FeedServer::acceptNonBlocking(int listening) {
  // Held while accepting, so that one descriptor stays free: net-snmp opens a file for every
  // request, to see who may ask (hosts_access(5)), and refuses the request when it cannot.
  const Fd spare(fcntl(listening, F_DUPFD_CLOEXEC, 0));
  if (!spare.valid()) {
    return Fd(-1);
  }
  return Fd(accept4(listening, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
}

void FeedServer::accept() {
  Fd socket = accept_(fd_.get());
  if (socket.valid()) {
    pauseTold_ = false;
    inform_(fmt::format("feed: connection from {}", peerOf(socket)));
    settle(connections_.emplace_back(*this, std::move(socket)));
  } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
    pauseAccepting(errno);
  }
  if (connections_.size() >= kMaxConnections) {
    acceptingIs(false);
  }
}

void FeedServer::pauseAccepting(int error) {
  acceptingIs(false);
  acceptAgain_ = Clock::now() + kAcceptPause;
  if (!std::exchange(pauseTold_, true)) {
    warn_(fmt::format("--feed {}: new connections have to wait: {}", path_, std::strerror(error)));
  }
}

void FeedServer::run() {
  acceptAgain_.reset();
  acceptingIs(connections_.size() < kMaxConnections);
}

void FeedServer::ready(Connection& connection, EventLoop::Ready ready) {
  if (ready.writable) {
    send(connection);
  }
  if (ready.readable && connection.session.wantsInput()) {
    receive(connection);
  }
  settle(connection);
}

void FeedServer::receive(Connection& connection) {
  std::array<char, LineBuffer::kMaxLine> buffer;
  const ssize_t got = recv(connection.fd.get(), buffer.data(), buffer.size(), 0);
  if (got > 0) {
    connection.session.receive({buffer.data(), static_cast<std::size_t>(got)});
  } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
    connection.session.inputEnded(Session::End::kClosed);
  }
}

void FeedServer::send(Connection& connection) {
  const std::string_view output = connection.session.output();
  if (output.empty()) {
    return;
  }
  if (connection.mute) {
    connection.session.outputTaken(output.size());
    return;
  }
  const ssize_t sent = ::send(connection.fd.get(), output.data(), output.size(), MSG_NOSIGNAL);
  if (sent >= 0) {
    connection.session.outputTaken(static_cast<std::size_t>(sent));
  } else if (errno != EAGAIN && errno != EINTR) {
    // What the client sent before it went still counts; only its answers go nowhere.
    connection.mute = true;
    connection.session.outputTaken(output.size());
  }
}

void FeedServer::noteHello(Connection& connection) {
  if (connection.noted) {
    return;
  }
  if (const auto client = connection.session.client()) {
    connection.noted = true;
    note_(fmt::format("feed: client {}: {}", quote(*client), peerOf(connection.fd)));
  }
}

void FeedServer::settle(Connection& connection) {
  if (connection.session.finished() && connection.session.output().empty()) {
    connections_.remove_if([&](const Connection& other) { return &other == &connection; });
    acceptingIs(true);
    return;
  }
  connection.reading = connection.session.wantsInput();
  connection.watch.interestIs(connection.reading, !connection.session.output().empty());
}

bool FeedServer::Connection::hasWork() {
  return session.hasWork() || (!reading && session.wantsInput());
}

bool FeedServer::hasWork() {
  return std::ranges::any_of(connections_,
                             [](Connection& connection) { return connection.hasWork(); });
}

void FeedServer::work(Ubo::YieldPolicy& yield) {
  // Each connection gets its share: the one that was served goes to the end.
  for (std::size_t count = connections_.size(); count > 0; --count) {
    Connection& connection = connections_.front();
    connections_.splice(connections_.end(), connections_, connections_.begin());
    if (!connection.hasWork()) {
      continue;
    }
    connection.session.work(yield);
    noteHello(connection);
    send(connection);
    settle(connection);
    if (yield.shouldYield()) {
      return;
    }
  }
}

}  // namespace Agent

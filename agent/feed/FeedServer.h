#pragma once

#include <list>
#include <memory>
#include <optional>
#include <string>

#include "agent/Fd.h"
#include "agent/feed/Session.h"
#include "agent/loop/EventLoop.h"

namespace Agent {

/// The feed's Unix stream socket: a thin shell that carries octets between connections and their
/// sessions. A client that misbehaves or dies costs its own connection only.
class FeedServer final : public Work {
 public:
  /// Connections beyond this wait in the kernel's queue until another one closes.
  static constexpr std::size_t kMaxConnections = 256;

  /// Listens at `path`, in place of a socket there that nobody listens at. Its mode is 0660: who
  /// may connect is told by its owner and group. Throws StartError.
  FeedServer(EventLoop& loop, std::string path, ClientRegistry& clients, OperationQueue& queue);
  FeedServer(const FeedServer&) = delete;
  FeedServer& operator=(const FeedServer&) = delete;
  /// Closes all connections and removes the socket.
  ~FeedServer() override;

  bool hasWork() override;
  void work(Ubo::YieldPolicy& yield) override;

 private:
  struct Connection {
    Connection(FeedServer& server, Fd socket);
    Fd fd;
    Session session;
    bool mute = false;  ///< The client takes no answers any more.
    EventLoop::Watch watch;
  };

  void accept();
  void ready(Connection& connection, EventLoop::Ready ready);
  void receive(Connection& connection);
  void send(Connection& connection);
  /// Brings the watch in line with the session, or closes a connection whose session is finished.
  void settle(Connection& connection);
  void acceptingIs(bool on) { watch_.interestIs(on, false); }

  EventLoop& loop_;
  std::string path_;
  ClientRegistry& clients_;
  OperationQueue& queue_;
  Fd fd_;
  std::list<Connection> connections_;
  EventLoop::Watch watch_;
};

}  // namespace Agent

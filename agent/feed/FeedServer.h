#pragma once

#include <functional>
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
class FeedServer final : public Work, public Timer {
 public:
  using Warn = std::function<void(const std::string&)>;
  using Inform = std::function<void(const std::string&)>;
  /// Takes a connection from a listening socket, as accept4 does: an invalid result leaves the
  /// cause in errno.
  using Accept = std::function<Fd(int listening)>;
  /// Does not take the last free descriptor of the process.
  static Fd acceptNonBlocking(int listening);

  /// Connections beyond this wait in the kernel's queue until another one closes.
  static constexpr std::size_t kMaxConnections = 256;
  /// How long connections wait before the next try when the process or the system is out of
  /// descriptors.
  static constexpr std::chrono::milliseconds kAcceptPause{500};

  /// Listens at `path`, in place of a socket there that nobody listens at. Its mode is 0660: who
  /// may connect is told by its owner and group. `inspector` answers inspections; null: they
  /// are refused. Throws StartError.
  /// Each connection is told of in `inform`, and each that says whose records it feeds in `note`,
  /// with what the kernel says of its peer, unix(7).
  FeedServer(EventLoop& loop, std::string path, ClientRegistry& clients, OperationQueue& queue,
             Inspector* inspector, Warn warn, Inform note, Inform inform,
             Accept accept = acceptNonBlocking);
  FeedServer(const FeedServer&) = delete;
  FeedServer& operator=(const FeedServer&) = delete;
  /// Closes all connections and removes the socket.
  ~FeedServer() override;

  bool hasWork() override;
  void work(Ubo::YieldPolicy& yield) override;

  /// When accepting goes on after a pause.
  std::optional<Clock::time_point> next() override { return acceptAgain_; }
  void run() override;

 private:
  struct Connection {
    Connection(FeedServer& server, Fd socket);
    /// Lines to take, or input to ask for again: a queue that was full tells nobody when it is not.
    [[nodiscard]] bool hasWork();
    Fd fd;
    Session session;
    bool mute = false;     ///< The client takes no answers any more.
    bool reading = false;  ///< Input is asked for.
    bool noted = false;    ///< Its hello was.
    EventLoop::Watch watch;
  };

  void accept();
  /// Leaves the listening socket alone for a while. It stays readable all the time, so that
  /// watching it would only spin.
  void pauseAccepting(int error);
  void ready(Connection& connection, EventLoop::Ready ready);
  void receive(Connection& connection);
  void send(Connection& connection);
  void noteHello(Connection& connection);
  /// Brings the watch in line with the session, or closes a connection whose session is finished.
  void settle(Connection& connection);
  void acceptingIs(bool on) { watch_.interestIs(on, false); }

  EventLoop& loop_;
  std::string path_;
  ClientRegistry& clients_;
  OperationQueue& queue_;
  Inspector* inspector_;
  Warn warn_;
  Inform note_;
  Inform inform_;
  Accept accept_;
  std::optional<Clock::time_point> acceptAgain_;
  bool pauseTold_ = false;  ///< One line a shortage, not one a try.
  Fd fd_;
  std::list<Connection> connections_;
  EventLoop::Watch watch_;
};

}  // namespace Agent

#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>

#include "monitor/Prober.h"
#include "monitor/loop/Event.h"

struct bufferevent;
struct evconnlistener;

namespace Monitor {

/// Tells the status to whoever connects to a Unix socket, once, and closes the connection. What
/// they send is not read.
class StatusServer {
 public:
  /// Listens at `path` with mode 0660, in place of a socket there that nobody listens at any more.
  /// Throws std::runtime_error.
  StatusServer(const Loop& loop, std::string path, std::function<std::string()> status);
  StatusServer(const StatusServer&) = delete;
  StatusServer& operator=(const StatusServer&) = delete;
  ~StatusServer();

  [[nodiscard]] const std::string& path() const noexcept { return path_; }

 private:
  struct Free {
    void operator()(evconnlistener* each) const;
    void operator()(bufferevent* each) const;
  };
  using Connections = std::list<std::unique_ptr<bufferevent, Free>>;

  void accept(int fd);
  void pause();
  void drop(const bufferevent* connection);

  Loop loop_;
  std::string path_;
  std::function<std::string()> status_;
  Connections connections_;
  std::unique_ptr<evconnlistener, Free> listener_;
  Timer pauseTimer_;
};

}  // namespace Monitor

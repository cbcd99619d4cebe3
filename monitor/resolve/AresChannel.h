#pragma once

#include <ares.h>

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "monitor/config/Config.h"
#include "monitor/loop/Event.h"
#include "monitor/resolve/NameSource.h"

namespace Monitor {

/// A c-ares channel on the event loop, whose questions go out in one VRF.
class AresChannel {
 public:
  struct Found {
    std::vector<IpAddress> addresses;
    std::chrono::seconds ttl{};  ///< The shortest of the records.
    std::string error;           ///< Empty on success.
  };
  using OnFound = std::function<void(Found)>;

  AresChannel(event_base* base, const VrfConfig& vrf);
  AresChannel(const AresChannel&) = delete;
  AresChannel& operator=(const AresChannel&) = delete;
  /// Questions under way are dropped without an answer. Not to be destroyed from within an OnFound.
  ~AresChannel();

  /// Asks for the IPv4 and IPv6 addresses of `name`. `onFound` may be called from within.
  void ask(const std::string& name, OnFound onFound);

 private:
  static ares_socket_t openBound(int family, int type, int protocol, void* self);
  static void onState(void* self, ares_socket_t fd, int readable, int writable);
  static void onResult(void* question, int status, int timeouts, ares_addrinfo* result);
  void process(ares_socket_t readable, ares_socket_t writable);
  void setTimer();

  event_base* base_;
  Binding binding_;
  std::map<ares_socket_t, std::unique_ptr<Event>> sockets_;
  Timer timer_;
  ares_channel channel_ = nullptr;
};

}  // namespace Monitor

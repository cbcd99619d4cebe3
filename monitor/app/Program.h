#pragma once

#include <event2/event.h>

#include <csignal>
#include <memory>
#include <optional>

#include "monitor/app/CommandLine.h"
#include "monitor/app/Configurer.h"
#include "monitor/app/Notifier.h"
#include "monitor/http/HttpProber.h"
#include "monitor/icmp/IcmpProber.h"
#include "monitor/log/LibeventLog.h"
#include "monitor/log/Log.h"
#include "monitor/loop/Event.h"
#include "monitor/status/StatusServer.h"
#include "monitor/tcp/TcpProber.h"
#include "monitor/watch/Supervisor.h"

namespace Monitor {

/// The running prober. SIGTERM and SIGINT end it, SIGHUP reads the configuration again.
class Program {
 public:
  explicit Program(const CommandLine& line);
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// Returns the exit code.
  [[nodiscard]] int run();

 private:
  struct Free {
    void operator()(event_base* base) const { event_base_free(base); }
  };

  void adjust(Config& config) const;
  void apply(Config config);
  void reload();
  void signOfLife();
  void tellReady() const;

  CommandLine line_;
  std::unique_ptr<event_base, Free> base_;
  Loop loop_;
  Log log_;
  LibeventLog libeventLog_;
  IcmpProber icmp_;
  TcpProber tcp_;
  HttpProber http_;
  Supervisor supervisor_;
  Configurer configurer_;
  std::unique_ptr<StatusServer> statusServer_;
  Notifier notifier_;
  std::optional<std::chrono::microseconds> watchdog_;
  Timer watchdogTimer_;
  Event terminate_, interrupt_, hangUp_;
};

}  // namespace Monitor

#pragma once

#include <chrono>
#include <optional>

#include "agent/loop/EventLoop.h"
#include "agent/plugin/StartGate.h"

namespace Agent {

/// Tells the service manager how the process is (sd_notify(3)): ready when records flow, reloading
/// while the plug-in's agent is replaced, stopping, and that the event loop turns, where a sign of
/// life is asked for. Without a service manager nothing happens.
class ServiceManager final : public Work, public Timer {
 public:
  /// Takes WATCHDOG_USEC out of the environment.
  ServiceManager(const StartGate& gate, Clock::time_point now);
  ServiceManager(const ServiceManager&) = delete;
  ServiceManager& operator=(const ServiceManager&) = delete;
  /// Says "stopping", and takes NOTIFY_SOCKET out of the environment.
  ~ServiceManager() override;

  /// Has work when the gate opened or closed.
  bool hasWork() override { return ready_ != gate_.open(); }
  void work(Ubo::YieldPolicy& yield) override;

  /// When the next sign of life is due: twice within the time after which a silent process counts
  /// as hung.
  [[nodiscard]] std::optional<Clock::time_point> next() override { return due_; }
  void run() override;

 private:
  const StartGate& gate_;
  bool ready_ = false;  ///< What was told last.
  std::chrono::microseconds interval_{};
  std::optional<Clock::time_point> due_;
};

}  // namespace Agent

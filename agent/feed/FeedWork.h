#pragma once

#include "agent/feed/Applier.h"
#include "agent/feed/ClientRegistry.h"
#include "agent/loop/EventLoop.h"

namespace Agent {

/// The feed's applier and its clients' hold times, as the event loop takes them.

class ApplierWork final : public Work {
 public:
  explicit ApplierWork(Applier& applier) : applier_(applier) {}
  bool hasWork() override { return applier_.hasWork(); }
  void work(Ubo::YieldPolicy& yield) override { applier_.work(yield); }

 private:
  Applier& applier_;
};

class HoldTimer final : public Timer {
 public:
  explicit HoldTimer(ClientRegistry& clients) : clients_(clients) {}
  std::optional<Clock::time_point> next() override { return clients_.nextExpiry(); }
  void run() override { clients_.expire(); }

 private:
  ClientRegistry& clients_;
};

}  // namespace Agent

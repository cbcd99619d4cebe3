#pragma once

#include <list>
#include <map>
#include <string>

#include "agent/feed/OperationQueue.h"
#include "agent/interfaces/LinkPlace.h"
#include "agent/loop/EventLoop.h"

namespace Agent {

/// The namespaces that are VRFs: VRF name to the name of its network namespace.
using NetnsVrfs = std::map<std::string, std::string>;

/// Says the kernel's interface indexes: what a feed line `interface` asks for is put into the same
/// queue, in the kernel's name, so that both go through the same standing orders. An interface of
/// VRF blue's namespace is named `eth1@blue`. Nothing is said of an interface that goes: it keeps
/// its index.
class InterfaceWatcher final : public Work, public Timer {
 public:
  InterfaceWatcher(EventLoop& loop, OperationQueue& queue, const LinkPlace::Log& log)
      : loop_(loop), queue_(queue), log_(log) {}
  InterfaceWatcher(const InterfaceWatcher&) = delete;
  InterfaceWatcher& operator=(const InterfaceWatcher&) = delete;

  /// Watches a place, too. `title` names it in the log; `suffix` follows its interfaces' names.
  void placeAdd(std::string title, std::string suffix, std::unique_ptr<LinkPlace::Access> access);

  std::optional<Clock::time_point> next() override;
  void run() override;

  /// Has work when it stopped reading because the queue was full, and there is room again.
  bool hasWork() override { return !reading_ && !queue_.full(); }
  void work(Ubo::YieldPolicy& yield) override;

 private:
  void say(const std::string& name, std::uint32_t index);
  void readingIs(bool on);

  EventLoop& loop_;
  OperationQueue& queue_;
  LinkPlace::Log log_;
  bool reading_ = true;
  std::list<LinkPlace> places_;
};

/// Adds the process's own namespace, and each VRF's.
void watchAll(InterfaceWatcher& watcher, const NetnsVrfs& vrfs);

}  // namespace Agent

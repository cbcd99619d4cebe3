#pragma once

#include <event2/event.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "monitor/Prober.h"
#include "monitor/loop/Event.h"

namespace Monitor::Testing {

struct BaseFree {
  void operator()(event_base* base) const { event_base_free(base); }
};

/// An event loop for one test. What a test waits for comes however slow the machine is; the limit
/// only keeps a broken test from waiting for ever.
class TestLoop {
 public:
  TestLoop() : base_(event_base_new()) {
    // As in the program: a peer that is gone is an error of the write, not the end of the process.
    (void)std::signal(SIGPIPE, SIG_IGN);
  }

  [[nodiscard]] event_base* base() const { return base_.get(); }
  [[nodiscard]] Loop loop() const { return {base(), &Clock::now}; }

  /// False when it did not come.
  [[nodiscard]] bool runUntil(const std::function<bool()>& reached) {
    constexpr std::chrono::seconds kLimit{60};
    const auto end = Clock::now() + kLimit;
    while (!reached()) {
      if (Clock::now() > end) {
        return false;
      }
      Timer wake(base(), [] {});
      wake.set(std::chrono::milliseconds(100));
      event_base_loop(base(), EVLOOP_ONCE);
    }
    return true;
  }
  /// What is ready now, without waiting.
  void runReady() { event_base_loop(base(), EVLOOP_NONBLOCK); }

 private:
  std::unique_ptr<event_base, BaseFree> base_;
};

/// One round of a probe, run to its end.
inline Result roundOf(TestLoop& loop, Prober& prober, const ProbeSpec& spec) {
  std::optional<Result> result;
  const auto probe = prober.probe(spec, [&](const Result& got) { result = got; });
  probe->start();
  EXPECT_FALSE(result) << "the result came from within start()";
  EXPECT_TRUE(loop.runUntil([&] { return result.has_value(); }));
  return result.value_or(Result{});
}

inline void shell(const std::string& command) {
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

/// A network namespace of the test's own, with its loopback up.
class TestNamespace {
 public:
  explicit TestNamespace(std::string name)
      : name_(std::move(name) + "-" + std::to_string(::getpid())) {
    shell("ip netns add " + name_ + " && ip -n " + name_ + " link set lo up");
  }
  TestNamespace(const TestNamespace&) = delete;
  TestNamespace& operator=(const TestNamespace&) = delete;
  ~TestNamespace() { shell("ip netns del " + name_); }

  [[nodiscard]] const std::string& name() const { return name_; }

 private:
  std::string name_;
};

}  // namespace Monitor::Testing

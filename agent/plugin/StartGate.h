#pragma once

#include <cstdint>
#include <string_view>

#include "Ubo/Scheduler.h"
#include "agent/feed/Applier.h"
#include "agent/loop/EventLoop.h"
#include "agent/plugin/PluginHost.h"

namespace Agent {

/// Holds the feed back until the plug-in's agent is in step with its (empty) inputs, and replaces
/// that agent in the only order that keeps its rules: withdraw all records, let the removals drain,
/// replace, wait until it is ready, publish again.
class StartGate final : public Work {
 public:
  StartGate(PluginHost& plugin, PluginInputs inputs, Ubo::Scheduler::Ptr scheduler,
            RecordBook& book, Applier& applier)
      : plugin_(plugin),
        inputs_(std::move(inputs)),
        scheduler_(std::move(scheduler)),
        book_(book),
        applier_(applier) {}

  /// Starts the plug-in's agent; the gate opens when it is ready.
  void start();
  /// Replaces the agent; one more call meanwhile changes nothing.
  void replaceAgent();
  [[nodiscard]] bool open() const noexcept { return state_ == State::kOpen; }
  /// What it is about, for people: "starting", "open", "withdrawing".
  [[nodiscard]] std::string_view stateName() const noexcept;
  /// How often the agent was replaced so far.
  [[nodiscard]] std::uint64_t replacements() const noexcept { return replacements_; }

  bool hasWork() override;
  void work(Ubo::YieldPolicy& yield) override;

 private:
  enum class State : std::uint8_t {
    kClosed,       ///< No agent yet.
    kStarting,     ///< The agent is not ready yet.
    kOpen,         ///< Records flow.
    kWithdrawing,  ///< Records are taken out, for a new agent.
  };

  PluginHost& plugin_;
  PluginInputs inputs_;
  Ubo::Scheduler::Ptr scheduler_;
  RecordBook& book_;
  Applier& applier_;
  State state_ = State::kClosed;
  std::uint64_t replacements_ = 0;
};

}  // namespace Agent

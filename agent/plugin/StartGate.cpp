#include "agent/plugin/StartGate.h"

namespace Agent {

void StartGate::start() {
  plugin_.start(inputs_);
  state_ = State::kStarting;
}

void StartGate::replaceAgent() {
  if (state_ == State::kOpen) {
    applier_.withdrawAll();
    state_ = State::kWithdrawing;
  }
}

std::string_view StartGate::stateName() const noexcept {
  switch (state_) {
    case State::kClosed:
    case State::kStarting:
      return "starting";
    case State::kOpen:
      return "open";
    case State::kWithdrawing:
      break;
  }
  return "withdrawing";
}

bool StartGate::hasWork() {
  switch (state_) {
    case State::kStarting:
      return plugin_.ready();
    case State::kWithdrawing:
      return applier_.withdrawn() && !scheduler_->hasWork();
    case State::kClosed:
    case State::kOpen:
      return false;
  }
  return false;
}

void StartGate::work(Ubo::YieldPolicy& /*yield*/) {
  if (state_ == State::kStarting) {
    applier_.gateIs(true);
    applier_.restoreAll();
    state_ = State::kOpen;
  } else if (state_ == State::kWithdrawing) {
    applier_.gateIs(false);
    plugin_.stop();
    book_.agentReplaced();
    ++replacements_;
    start();
  }
}

}  // namespace Agent

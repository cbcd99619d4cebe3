#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "monitor/Prober.h"
#include "monitor/icmp/Wire.h"

namespace Monitor::Icmp {

/// What a round's requests and replies say.
struct Summary {
  std::uint32_t sent = 0;
  std::uint32_t answered = 0;  ///< In time.
  std::uint32_t late = 0;      ///< Answered, but after their timeout: lost.
  Milliseconds mean{};         ///< Of the round-trip times; 0 when none was answered.
  /// Mean absolute difference of the round-trip times of successive answered requests, in the
  /// order in which they were sent; null with fewer than two.
  std::optional<Milliseconds> jitter;
  double lossPercent = 0;  ///< 0 to 100, of what was sent; 0 when nothing was.
};

/// One burst of requests to one target, from its first request until the next round needs the
/// place: replies that come when it has ended are still recognised, as late.
class Round {
 public:
  enum class Match : std::uint8_t {
    kAnswer,
    kReordered,  ///< An answer that came after that of a later request.
    kDuplicate,
    kLate,     ///< The round, or this request of it, was given up before.
    kForeign,  ///< None of ours: another token, index or sequence.
  };

  void begin(std::uint64_t token, std::uint16_t firstSequence, std::uint16_t requests);
  /// What comes from now on is late.
  void end() noexcept { ended_ = true; }

  [[nodiscard]] std::uint32_t requests() const { return requests_; }
  [[nodiscard]] std::uint32_t sent() const { return static_cast<std::uint32_t>(samples_.size()); }
  /// Whether every request was sent and answered or refused: nothing is left to wait for.
  [[nodiscard]] bool resolved() const noexcept { return resolved_ == requests_; }
  [[nodiscard]] bool ended() const noexcept { return ended_; }
  [[nodiscard]] std::uint64_t token() const noexcept { return token_; }

  /// The header and mark of the next request. Precondition: sent() < requests().
  [[nodiscard]] Echo nextRequest(std::uint32_t slot, std::uint16_t identifier) const;
  void requestSent(Clock::time_point at);
  /// The next request has no way out of this machine; it counts as sent and lost.
  void requestUnsendable();
  /// A network error came in answer. False unless to a request of this round that still waits.
  bool requestRefused(const Echo& echo);

  /// The kernel's own time of sending, better than the one taken before the system call.
  void stampSent(const Echo& echo, Clock::time_point at);
  Match answer(const Echo& echo, Clock::time_point at);

  [[nodiscard]] Summary summarize(std::chrono::nanoseconds timeout) const;

 private:
  enum class State : std::uint8_t { kWaiting, kAnswered, kRefused, kAnsweredLate };

  struct Sample {
    Clock::time_point sent;
    Clock::time_point answered;
    State state = State::kWaiting;
  };

  [[nodiscard]] bool isMine(const Echo& echo) const;

  std::uint64_t token_ = 0;
  std::uint32_t requests_ = 0;
  std::uint32_t resolved_ = 0;
  std::uint32_t furthest_ = 0;  ///< Index of the latest request answered, while resolved_ > 0.
  std::uint16_t firstSequence_ = 0;
  bool ended_ = true;
  std::vector<Sample> samples_;  ///< Of the requests sent.
};

}  // namespace Monitor::Icmp

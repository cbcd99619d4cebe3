#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Reference.h"

namespace Model {

/// A history is a list of steps that make sense in any order and with any of them left out, so that
/// one that fails can be made shorter.

inline constexpr unsigned kConnections = 5;

/// A connection opens and says hello; ignored where one is open.
struct Connect {
  unsigned connection = 0;
  std::string client;
  std::optional<unsigned> holdSeconds;
  bool hello = true;  ///< A client that forgets it is refused everything.
};
/// The client goes away; what it sent is still handled.
struct Disconnect {
  unsigned connection = 0;
};
/// A change is sent; ignored where no connection is open.
struct Send {
  unsigned connection = 0;
  Change change;
};
struct SendSync {
  unsigned connection = 0;
};
/// Something that no session can accept.
struct SendNonsense {
  unsigned connection = 0;
};
/// The kernel tells of an interface.
struct Kernel {
  SetInterface set;
};
struct ReplaceAgent {};
struct Tick {
  unsigned milliseconds = 0;
};
enum class Part : std::uint8_t { kApplier, kGate, kScheduler, kConnection };
/// One part of the process gets a turn.
struct Turn {
  Part part = Part::kApplier;
  unsigned connection = 0;
};
/// The store is compared with what it may be at that moment.
struct Look {};
/// Everything runs until nothing has work left, and is then compared.
struct Settle {};

using Step = std::variant<Connect, Disconnect, Send, SendSync, SendNonsense, Kernel, ReplaceAgent,
                          Tick, Turn, Look, Settle>;

/// When work is interrupted.
enum class Yield : std::uint8_t { kNever, kAlways, kAtRandom };

/// A world: how it runs, and what happens in it.
struct History {
  std::uint64_t seed = 0;
  /// Whether a host writes the store itself; else the feed's clients do through the agent.
  bool isHost = false;
  Yield yield = Yield::kNever;
  unsigned queueCapacity = 1000;
  std::uint32_t countCeiling = 1000;
  int priorities[3] = {0, 0, 0};  ///< Of the three table state machines' tasks.
  std::vector<Step> steps;
};

/// Always the same for a seed.
[[nodiscard]] History randomHistory(std::uint64_t seed);

/// The feed line of a change.
[[nodiscard]] std::string lineOf(const Change& change);
[[nodiscard]] std::string lineOf(const Connect& connect);

[[nodiscard]] std::string describe(const Step& step);
[[nodiscard]] std::string describe(const History& history);

}  // namespace Model

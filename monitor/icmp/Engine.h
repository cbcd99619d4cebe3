#pragma once

// The machine that measures many targets at once over few sockets.
//
// Every target has a slot, and a slot at most one round under way. A round's requests wait in a
// timer wheel for their time, then in their channel's queue for the pacer; after the last one the
// slot waits in the wheel for the deadline. A reply names its slot, so that finding the round costs
// one array access, and is believed only if token, sequence, source and socket are right as well.
//
// A round is judged only when everything that came in before its deadline has been read, however
// late the event loop is; and a reply's time is the kernel's. So being slow does not look like a
// slow or lossy network. What is left of being slow, requests sent much too late and replies that
// the full socket dropped, ends the rounds concerned as overloaded.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "monitor/icmp/Channel.h"
#include "monitor/icmp/Counters.h"
#include "monitor/icmp/LoadMeter.h"
#include "monitor/icmp/Pacer.h"
#include "monitor/icmp/Round.h"
#include "monitor/icmp/TimerWheel.h"

namespace Monitor::Icmp {

struct RoundResult {
  enum class Verdict : std::uint8_t {
    kMeasured,
    kOverloaded,  ///< We were too slow to tell the target's failures from ours.
    kFailed,      ///< There was no way to send from here: no socket, or it broke.
  };

  Verdict verdict = Verdict::kFailed;
  Summary summary;   ///< When measured.
  std::string text;  ///< What went wrong, for a person; may be empty.
};

/// Called from Engine::work() only. May begin, cancel, add and remove any target.
class RoundListener {
 public:
  RoundListener() = default;
  RoundListener(const RoundListener&) = delete;
  RoundListener& operator=(const RoundListener&) = delete;

  virtual void roundEnded(const RoundResult& result) = 0;

 protected:
  ~RoundListener() = default;
};

struct Target {
  IpAddress address;
  std::uint16_t requests = 5;  ///< 1 or more.
  std::chrono::nanoseconds gap{};
  std::chrono::nanoseconds timeout{};
};

struct Settings {
  /// Over all sockets. Twice what 10,000 targets need with 5 requests a second each.
  double packetsPerSecond = 100'000;
  /// A request that could not be sent within this of its time says that we can't keep up.
  std::chrono::nanoseconds latestSend = std::chrono::milliseconds(500);
};

class Engine final : private ChannelListener {
 public:
  using TargetId = std::uint32_t;
  /// Time is looked at in steps of this; work() more often than that is wasted.
  static constexpr std::chrono::milliseconds kTick{2};

  /// `random` gives numbers that nobody outside can guess.
  Engine(Network& network, std::function<Clock::time_point()> now,
         std::function<std::uint64_t()> random, const Settings& settings = {});

  /// `listener` outlives the target.
  [[nodiscard]] TargetId add(const Binding& binding, const Target& target, RoundListener& listener);
  void remove(TargetId id);
  /// Precondition: no round of the target is under way. Its end comes from a later work().
  void begin(TargetId id);
  /// Gives up the round under way, if there is one: its listener hears nothing of it.
  void cancel(TargetId id);

  /// Reads what came in, judges what is over, sends what is due. True when something was sent.
  bool work();
  /// When work() has to be called at the latest, if nothing comes in before; null: never.
  [[nodiscard]] std::optional<Clock::time_point> nextWork() const;

  [[nodiscard]] Counters counters() const;

 private:
  enum class Phase : std::uint8_t {
    kFree,       ///< No target has the slot.
    kIdle,       ///< No round is under way.
    kPausing,    ///< In the wheel, until the next request's time.
    kQueued,     ///< In the channel's queue.
    kListening,  ///< All are sent: in the wheel, until the deadline.
    kEnded,      ///< In ended_; the listener will hear.
  };

  struct Slot {
    Phase phase = Phase::kFree;
    std::uint32_t ticket = 0;   ///< Moves whenever the slot leaves a queue or ended_.
    std::uint32_t opening = 0;  ///< The channel's, when the round began.
    std::uint16_t nextSequence = 0;
    Clock::time_point begun;
    Clock::time_point due;  ///< Of the next request.
    Round round, previous;
    SocketAddress to;
    Target target;
    std::shared_ptr<Channel> channel;
    RoundListener* listener = nullptr;
    std::string text;
  };

  struct Ended {
    Channel::Waiting who;
    RoundResult::Verdict verdict{};
  };

  // ChannelListener
  void replied(const Channel& channel, const Echo& echo, const IpAddress& from,
               Clock::time_point at) override;
  void garbled() override { ++counters_.foreign; }
  void transmitted(const Channel& channel, const Echo& echo, Clock::time_point at) override;
  void refused(const Channel& channel, const Echo& echo, const std::string& text) override;

  /// The slot whose request `echo` claims to be, or null.
  [[nodiscard]] Slot* claimed(const Channel& channel, const Echo& echo);
  [[nodiscard]] Channel::Waiting waiting(TargetId id) const { return {id, slots_[id].ticket}; }
  [[nodiscard]] bool stillWaits(const Channel::Waiting& who, Phase phase) const {
    return slots_[who.slot].ticket == who.ticket && slots_[who.slot].phase == phase;
  }

  void end(TargetId id, RoundResult::Verdict verdict);
  void fail(TargetId id, std::string text);
  void timerFired(TargetId id, bool allRead);
  void queue(TargetId id);
  /// After a request is out of the way: waits for what comes next.
  void proceed(TargetId id, Clock::time_point at);
  void deliver();
  [[nodiscard]] RoundResult resultOf(Slot& slot, RoundResult::Verdict verdict);
  [[nodiscard]] const std::shared_ptr<Channel>& channelOf(const Binding& binding, int family);

  /// Returns how many requests were sent.
  std::size_t send();
  /// Sends a batch of at most `most`; returns how many went. Sets `more` to whether the channel can
  /// take another now.
  std::size_t sendBatch(Channel& channel, std::size_t most, bool& more);
  void takeDue(Channel& channel, std::size_t most);
  /// Deals with the request of the batch at which sending stopped, and those behind it.
  void stopped(Channel& channel, const Sent& sent);
  void failQueue(Channel& channel, const std::string& text);

  Network& network_;
  std::function<Clock::time_point()> now_;
  std::function<std::uint64_t()> random_;
  Settings settings_;
  Pacer pacer_;
  LoadMeter load_;
  TimerWheel wheel_{kTick};
  std::vector<Slot> slots_;
  std::vector<TargetId> free_;
  std::vector<std::shared_ptr<Channel>> channels_;
  std::size_t firstChannel_ = 0;  ///< Which one sends first; each in its turn.
  std::vector<Ended> ended_;
  Counters counters_;

  std::vector<Outgoing> batch_;    ///< What sendBatch() is about to send,
  std::vector<TargetId> batchOf_;  ///< and whose it is.
};

}  // namespace Monitor::Icmp

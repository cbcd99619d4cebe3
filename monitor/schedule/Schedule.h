#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string_view>

#include "monitor/schedule/Phase.h"

namespace Monitor {

/// Decides when each probe's rounds begin.
///
///  1. Rounds begin on the probe's grid (see Grid), one probe's rounds never overlap.
///  2. A place may have slack: its rounds begin up to so much later, together with others, as each
///     time that the process wakes up costs more than beginning a round.
///  3. One call of run() starts a limited number of rounds, so that answers are read in between.
///  4. A round that could not begin within its interval is not made up for: it is left out and
///     counted as overloaded. That is the prober's failure, so no result comes of it.
class Schedule {
 public:
  using TimePoint = Grid::TimePoint;

  /// A probe's place. Leaves the schedule when it is destroyed.
  class Place {
   public:
    /// `startRound` is called from run(); it may destroy places, this one included.
    Place(Schedule& schedule, std::string_view identity, std::chrono::nanoseconds interval,
          std::function<void()> startRound, std::chrono::nanoseconds slack = {});
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    ~Place();

    /// The round that startRound began is over; until then no other begins.
    void finished();

   private:
    friend class Schedule;
    struct FirstToBegin {
      bool operator()(const Place* a, const Place* b) const noexcept {
        return a->begin_ != b->begin_ ? a->begin_ < b->begin_ : a->number_ < b->number_;
      }
    };

    void dueIs(TimePoint due) noexcept;

    Schedule& schedule_;
    Grid grid_;
    std::function<void()> startRound_;
    std::chrono::nanoseconds slack_;
    TimePoint due_;         ///< On the grid.
    TimePoint begin_;       ///< When the round that is due may begin: up to slack_ later.
    std::uint64_t number_;  ///< Makes the order of places that are due together a fixed one.
    bool running_ = false;
    bool waiting_ = false;  ///< Due, but running; not in the queue.
  };

  /// `wakeAt` is told when run() is to be called next, each time that this changes.
  Schedule(std::function<TimePoint()> now, std::function<void(TimePoint)> wakeAt)
      : now_(std::move(now)), wakeAt_(std::move(wakeAt)) {}
  Schedule(const Schedule&) = delete;
  Schedule& operator=(const Schedule&) = delete;

  /// Starts what is due.
  void run();

  [[nodiscard]] std::uint64_t started() const noexcept { return started_; }
  /// Rounds that were left out.
  [[nodiscard]] std::uint64_t overloaded() const noexcept { return overloaded_; }

 private:
  using Queue = std::set<Place*, Place::FirstToBegin>;

  /// Rounds that one call of run() starts at most.
  static constexpr unsigned kMostAtOnce = 32;

  void enqueue(Place& place);
  void wakeUp();

  std::function<TimePoint()> now_;
  std::function<void(TimePoint)> wakeAt_;
  Queue queue_;
  std::optional<TimePoint> wakingAt_;
  std::uint64_t places_ = 0;
  std::uint64_t started_ = 0;
  std::uint64_t overloaded_ = 0;
};

}  // namespace Monitor

#pragma once

#include <poll.h>

#include <chrono>
#include <functional>
#include <list>
#include <optional>
#include <span>
#include <vector>

#include "Ubo/YieldPolicy.h"

namespace Agent {

using Clock = std::chrono::steady_clock;

/// Work that can be cut into slices.
class Work {
 public:
  virtual ~Work() = default;
  [[nodiscard]] virtual bool hasWork() = 0;
  /// Works until nothing is left or the policy says yield; asks it after every item.
  virtual void work(Ubo::YieldPolicy& yield) = 0;
};

/// Something that is due at times of its own.
class Timer {
 public:
  virtual ~Timer() = default;
  [[nodiscard]] virtual std::optional<Clock::time_point> next() = 0;
  virtual void run() = 0;
};

/// Requests from outside, which go before all internal work. Brings its own descriptors.
class RequestSource : public Timer {
 public:
  /// Adds what is to be polled.
  virtual void prepare(std::vector<pollfd>& fds) = 0;
  /// Handles what `fds`, the entries that prepare() added, say is ready. True when there was any.
  virtual bool dispatch(std::span<const pollfd> fds) = 0;
};

/// The process's one loop, on its one thread. A turn waits for something to happen, serves it,
/// and then runs one slice of one piece of work that has any, each piece in its turn. So a request
/// waits at most for one slice. Requests are not to starve the work either: after a number of
/// turns with requests, a slice runs in between.
class EventLoop {
 public:
  /// What a descriptor is ready for. An error or a hang-up counts as both, for the reader or writer
  /// to find out.
  struct Ready {
    bool readable;
    bool writable;
  };
  using OnReady = std::function<void(Ready)>;

  /// A watched descriptor; being destroyed ends the watch, also from inside its own callback. The
  /// loop outlives it.
  class Watch {
   public:
    Watch(EventLoop& loop, int fd, OnReady onReady);
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch();
    void interestIs(bool readable, bool writable) noexcept;

   private:
    friend class EventLoop;
    struct Entry {
      int fd;
      short events = 0;
      bool alive = true;
      OnReady onReady;
    };
    std::list<Entry>::iterator entry_;
  };

  explicit EventLoop(std::chrono::milliseconds sliceBudget) : yield_(sliceBudget) {}
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  /// The loop does not own what it is given, and none of it may go while run() runs.
  void requestSourceIs(RequestSource& source) { source_ = &source; }
  void workAdd(Work& work) { work_.push_back(&work); }
  void timerAdd(Timer& timer) { timers_.push_back(&timer); }

  /// Runs until stop().
  void run();
  void stop() noexcept { running_ = false; }
  /// One turn; waits at most `longest` (without end when absent).
  void turn(std::optional<std::chrono::milliseconds> longest);

 private:
  /// Turns with requests between two slices of work.
  static constexpr unsigned kRequestTurns = 32;

  [[nodiscard]] bool hasWork() const;
  [[nodiscard]] int timeout(std::optional<std::chrono::milliseconds> longest);
  void dispatchWatches(std::size_t first);
  void runTimers();
  void runSlice();

  RequestSource* source_ = nullptr;
  std::vector<Work*> work_;
  std::size_t nextWork_ = 0;
  std::vector<Timer*> timers_;
  std::list<Watch::Entry> watches_;
  std::vector<pollfd> fds_;
  std::vector<Watch::Entry*> polled_;  ///< The watches of fds_, behind the source's entries.
  Ubo::DeadlinePolicy yield_;
  unsigned requestTurns_ = 0;
  bool running_ = false;
};

}  // namespace Agent

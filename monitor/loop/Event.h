#pragma once

#include <event2/event.h>
#include <event2/event_struct.h>

#include <chrono>
#include <functional>

namespace Monitor {

/// A descriptor or a timer that the event loop watches, no longer than this lives. The callback may
/// destroy it.
class Event {
 public:
  using Callback = std::function<void(short what)>;

  /// `fd` -1 makes a timer. `what` as for event_assign(): EV_READ, EV_WRITE, EV_PERSIST.
  Event(event_base* base, int fd, short what, Callback callback);
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  ~Event() { event_del(&event_); }

  void add() { event_add(&event_, nullptr); }
  /// Also wakes with EV_TIMEOUT after `timeout`, never before it has passed. Adding again begins
  /// the time anew.
  void add(std::chrono::nanoseconds timeout);
  void remove() { event_del(&event_); }
  /// Has the callback called as if by EV_TIMEOUT, before the loop waits again and never from here.
  void activate() { event_active(&event_, EV_TIMEOUT, 0); }
  [[nodiscard]] bool pending() const;

 private:
  event event_{};
  Callback callback_;
};

/// A timer whose callback takes no argument.
class Timer {
 public:
  Timer(event_base* base, std::function<void()> callback)
      : event_(base, -1, 0, [call = std::move(callback)](short) { call(); }) {}

  void set(std::chrono::nanoseconds in) { event_.add(in); }
  /// Expires as soon as the callback that is running has returned; cheaper than set({}).
  void expire() { event_.activate(); }
  void cancel() { event_.remove(); }
  [[nodiscard]] bool pending() const { return event_.pending(); }

 private:
  Event event_;
};

}  // namespace Monitor

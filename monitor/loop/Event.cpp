#include "monitor/loop/Event.h"

#include <algorithm>

namespace Monitor {

Event::Event(event_base* base, int fd, short what, Callback callback)
    : callback_(std::move(callback)) {
  event_assign(
      &event_, base, fd, what,
      [](evutil_socket_t, short happened, void* self) {
        // A copy, as the callback may destroy this and so itself.
        const Callback call = static_cast<Event*>(self)->callback_;
        call(happened);
      },
      this);
}

void Event::add(std::chrono::nanoseconds timeout) {
  using namespace std::chrono;
  const auto micros = ceil<microseconds>(std::max(timeout, nanoseconds::zero()));
  const auto whole = floor<seconds>(micros);
  timeval time{};
  time.tv_sec = whole.count();
  time.tv_usec = (micros - whole).count();
  event_add(&event_, &time);
}

bool Event::pending() const {
  return event_pending(&event_, EV_TIMEOUT | EV_READ | EV_WRITE, nullptr) != 0;
}

}  // namespace Monitor

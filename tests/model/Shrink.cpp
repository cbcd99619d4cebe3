#include "Shrink.h"

#include <algorithm>

namespace Model {

namespace {

/// Tries to leave out each chunk of that many steps in turn; true when any could be.
bool shrinkBy(History& history, std::size_t chunk, const std::function<bool(const History&)>& fails,
              const std::function<bool()>& timeIsUp) {
  bool any = false;
  // From the end: what comes late depends on what comes early.
  for (std::size_t end = history.steps.size(); end > 0 && !timeIsUp();) {
    const std::size_t begin = end - std::min(chunk, end);
    History candidate = history;
    candidate.steps.erase(candidate.steps.begin() + static_cast<std::ptrdiff_t>(begin),
                          candidate.steps.begin() + static_cast<std::ptrdiff_t>(end));
    if (fails(candidate)) {
      history = std::move(candidate);
      any = true;
    }
    end = begin;
  }
  return any;
}

/// Tries the plainest way to run it.
void simplify(History& history, const std::function<bool(const History&)>& fails) {
  const auto attempt = [&](const auto& change) {
    History candidate = history;
    change(candidate);
    if (fails(candidate)) {
      history = std::move(candidate);
    }
  };
  attempt([](History& plain) { plain.yield = Yield::kNever; });
  attempt([](History& plain) { plain.queueCapacity = 1000; });
  attempt([](History& plain) { plain.countCeiling = 1'000'000; });
  attempt([](History& plain) { std::ranges::fill(plain.priorities, 0); });
}

}  // namespace

History shrunk(History history, const std::function<bool(const History&)>& fails,
               const std::function<bool()>& timeIsUp) {
  for (std::size_t chunk = history.steps.size() / 2; chunk > 1; chunk /= 2) {
    shrinkBy(history, chunk, fails, timeIsUp);
  }
  simplify(history, fails);
  while (shrinkBy(history, 1, fails, timeIsUp)) {
  }
  return history;
}

}  // namespace Model

#include "agent/interfaces/InterfaceWatcher.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "agent/Quote.h"

namespace Agent {

namespace {

/// The kernel takes nearly any octets for a name; the feed, and all who read what came of it, take
/// UTF-8. No probe can be bound to an interface whose name is none.
bool isUtf8(const std::string& name) {
  try {
    (void)nlohmann::json(name).dump();
    return true;
  } catch (const nlohmann::json::type_error&) {
    return false;
  }
}

}  // namespace

void InterfaceWatcher::placeAdd(std::string title, std::string suffix,
                                std::unique_ptr<LinkPlace::Access> access) {
  places_.emplace_back(
      loop_, std::move(title), std::move(access), log_,
      [this, suffix = std::move(suffix)](const std::string& name, std::uint32_t index) {
        say(name + suffix, index);
      });
}

std::optional<Clock::time_point> InterfaceWatcher::next() {
  auto first = Clock::time_point::max();
  for (const LinkPlace& place : places_) {
    first = std::min(first, place.next());
  }
  return first;
}

void InterfaceWatcher::run() {
  for (LinkPlace& place : places_) {
    place.run(Clock::now());
  }
}

void InterfaceWatcher::work(Ubo::YieldPolicy& /*yield*/) { readingIs(true); }

void InterfaceWatcher::say(const std::string& name, std::uint32_t index) {
  if (!isUtf8(name)) {
    return;
  }
  queue_.push({{}, SetInterface{Pomel::String(name), index}});
  // The rest of the piece at hand still comes, a few hundred links at most. More is not read: lists
  // wait with the kernel, and events that do not fit there are made good by the next list.
  if (queue_.full()) {
    readingIs(false);
  }
}

void InterfaceWatcher::readingIs(bool on) {
  reading_ = on;
  for (LinkPlace& place : places_) {
    place.readingIs(on);
  }
}

void watchAll(InterfaceWatcher& watcher, const NetnsVrfs& vrfs) {
  watcher.placeAdd("own network namespace", "", ownNamespace());
  for (const auto& [vrf, netns] : vrfs) {
    watcher.placeAdd(fmt::format("VRF {}", quote(vrf)), "@" + vrf, namespaceNamed(netns));
  }
}

}  // namespace Agent

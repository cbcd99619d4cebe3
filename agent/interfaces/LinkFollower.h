#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>

#include "agent/interfaces/LinkChannel.h"
#include "agent/interfaces/RtLink.h"
#include "agent/loop/EventLoop.h"

namespace Agent {

/// Follows the links of one namespace: lists all of them, then takes each change as it comes. When
/// changes were lost, or the links changed while they were listed, all are listed again.
///
/// The kernel may say the same of a link many times, whenever any of its properties changes. A name
/// and its index are passed on only when they are news: the index of a name that was not there, or
/// another one than before. So a word of somebody else about that name stands until the kernel
/// really has another.
class LinkFollower {
 public:
  using OnIndex = std::function<void(const std::string& name, std::uint32_t index)>;

  /// Between a list that turned out to be of no use and the next. Links that never rest must not
  /// keep the process listing them.
  static constexpr std::chrono::milliseconds kListPause{250};

  LinkFollower(LinkChannel& channel, OnIndex onIndex)
      : channel_(channel), onIndex_(std::move(onIndex)) {}
  LinkFollower(const LinkFollower&) = delete;
  LinkFollower& operator=(const LinkFollower&) = delete;

  /// Asks for the list when it is time to. Returns why the channel is of no use, or 0 (errno(3)).
  [[nodiscard]] int run(Clock::time_point now);
  /// When run() is to be called; absent while no list is due.
  [[nodiscard]] std::optional<Clock::time_point> next() const {
    return listing_ ? std::nullopt : due_;
  }
  /// Takes one datagram: a piece of a list, or changes. Returns as run().
  [[nodiscard]] int receive(Clock::time_point now);

  /// Whether all links are known and no change was missed.
  [[nodiscard]] bool inStep() const noexcept { return !listing_ && !due_; }

 private:
  struct Link {
    std::uint32_t index = 0;
    std::uint32_t seenIn = 0;  ///< The list that was the latest when it was last heard of.
  };

  [[nodiscard]] int take(const RtMessage& message, Clock::time_point now);
  void present(const LinkPresent& link);
  void gone(std::uint32_t index);
  void forgetUnlisted();
  void lost(Clock::time_point now);

  LinkChannel& channel_;
  OnIndex onIndex_;
  // The links that are there, both ways: no two have one name or one index.
  std::unordered_map<std::string, Link> links_;
  std::unordered_map<std::uint32_t, std::string> names_;
  std::uint32_t sequence_ = 0;  ///< Of the list that was asked for last.
  bool listing_ = false;
  bool spoiled_ = false;  ///< The list under way cannot be trusted.
  std::optional<Clock::time_point> due_ = Clock::time_point();
};

}  // namespace Agent

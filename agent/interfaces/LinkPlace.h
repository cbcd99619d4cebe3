#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "agent/interfaces/LinkFollower.h"
#include "agent/interfaces/Netns.h"
#include "agent/loop/EventLoop.h"

namespace Agent {

/// One network namespace whose links are followed, for as long and as often as it is there.
///
/// A namespace may be missing, vanish or be made anew under its name at any time, and a socket in
/// it keeps its links alive even when its name is gone. So from time to time it is checked whether
/// the name still means the same namespace. Whatever goes wrong is told in one line, not again
/// while the reason is the same, and tried again.
class LinkPlace {
 public:
  /// What the place needs from the system.
  class Access {
   public:
    /// Why there is no channel, for a person.
    using Opened = std::variant<std::unique_ptr<LinkChannel>, std::string>;

    virtual ~Access() = default;
    /// Tells the namespace from others; absent when it is not there.
    [[nodiscard]] virtual std::optional<NetnsId> id() = 0;
    [[nodiscard]] virtual Opened open() = 0;
  };
  using Log = std::function<void(const std::string&)>;

  /// How often a namespace is looked for, and looked after.
  static constexpr std::chrono::milliseconds kCheckPause{2000};

  /// `title` says in the log which place it is.
  LinkPlace(EventLoop& loop, std::string title, std::unique_ptr<Access> access, Log log,
            LinkFollower::OnIndex onIndex);
  LinkPlace(const LinkPlace&) = delete;
  LinkPlace& operator=(const LinkPlace&) = delete;

  /// When run() is to be called.
  [[nodiscard]] Clock::time_point next() const;
  void run(Clock::time_point now);
  /// Switches reading on or off; what comes meanwhile waits with the kernel.
  void readingIs(bool on);

  /// Whether all links are known and no change was missed.
  [[nodiscard]] bool inStep() const { return channel_ && channel_->follower.inStep(); }

 private:
  struct Channel {
    std::unique_ptr<LinkChannel> channel;
    NetnsId id;
    LinkFollower follower;
    EventLoop::Watch watch;
  };

  void check();
  void open();
  void settle(int error);
  void close(const std::string& why);

  EventLoop& loop_;
  std::string title_;
  std::unique_ptr<Access> access_;
  Log log_;
  LinkFollower::OnIndex onIndex_;
  bool reading_ = true;
  Clock::time_point check_;
  std::string trouble_;  ///< What was told last; empty while all is well.
  std::unique_ptr<Channel> channel_;
};

/// The process's own namespace.
[[nodiscard]] std::unique_ptr<LinkPlace::Access> ownNamespace();
/// The namespace of that name.
[[nodiscard]] std::unique_ptr<LinkPlace::Access> namespaceNamed(std::string netns);

}  // namespace Agent

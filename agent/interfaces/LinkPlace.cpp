#include "agent/interfaces/LinkPlace.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "agent/interfaces/LinkSocket.h"

namespace Agent {

namespace {

std::string noSocket(int error) {
  return fmt::format("no rtnetlink socket: {}", std::strerror(error));
}

class OwnNamespace final : public LinkPlace::Access {
 public:
  std::optional<NetnsId> id() override { return NetnsId(); }
  Opened open() override {
    std::unique_ptr<LinkChannel> socket = LinkSocket::open();
    return socket ? Opened(std::move(socket)) : noSocket(errno);
  }
};

class NamespaceNamed final : public LinkPlace::Access {
 public:
  explicit NamespaceNamed(std::string name) : name_(std::move(name)) {}

  std::optional<NetnsId> id() override { return netnsId(name_); }
  Opened open() override {
    std::unique_ptr<LinkChannel> socket;
    int error = 0;
    const auto failure = insideNetns(name_, [&] {
      socket = LinkSocket::open();
      error = errno;
    });
    if (failure) {
      const bool denied = failure->error == EPERM || failure->error == EACCES;
      return fmt::format("{}: {}{}", failure->what, std::strerror(failure->error),
                         denied ? " (it takes CAP_SYS_ADMIN)" : "");
    }
    return socket ? Opened(std::move(socket)) : noSocket(error);
  }

 private:
  std::string name_;
};

}  // namespace

LinkPlace::LinkPlace(EventLoop& loop, std::string title, std::unique_ptr<Access> access, Log log,
                     LinkFollower::OnIndex onIndex)
    : loop_(loop),
      title_(std::move(title)),
      access_(std::move(access)),
      log_(std::move(log)),
      onIndex_(std::move(onIndex)) {}

Clock::time_point LinkPlace::next() const {
  const auto list = channel_ ? channel_->follower.next() : std::nullopt;
  return list ? std::min(*list, check_) : check_;
}

void LinkPlace::run(Clock::time_point now) {
  if (check_ <= now) {
    check_ = now + kCheckPause;
    check();
  }
  if (channel_) {
    settle(channel_->follower.run(now));
  }
}

void LinkPlace::readingIs(bool on) {
  reading_ = on;
  if (channel_) {
    channel_->watch.interestIs(reading_, false);
  }
}

void LinkPlace::check() {
  if (channel_ && access_->id() != channel_->id) {
    // Nothing to tell yet: there may be another one under the name.
    channel_.reset();
  }
  if (!channel_) {
    open();
  }
}

void LinkPlace::open() {
  // Asked before: should the name change hands in between, the next check tells.
  const auto id = access_->id();
  auto opened = access_->open();
  if (const auto* why = std::get_if<std::string>(&opened)) {
    close(*why);
    return;
  }
  auto& channel = std::get<std::unique_ptr<LinkChannel>>(opened);
  LinkChannel& it = *channel;
  channel_.reset(new Channel{std::move(channel), id.value_or(NetnsId()), LinkFollower(it, onIndex_),
                             EventLoop::Watch(loop_, it.fd(), [this](EventLoop::Ready) {
                               settle(channel_->follower.receive(Clock::now()));
                             })});
  readingIs(reading_);
}

void LinkPlace::settle(int error) {
  if (error != 0) {
    close(fmt::format("its interfaces cannot be read: {}", std::strerror(error)));
  } else if (inStep() && !trouble_.empty()) {
    trouble_.clear();
    log_(fmt::format("{}: interfaces are followed again", title_));
  }
}

void LinkPlace::close(const std::string& why) {
  channel_.reset();
  if (trouble_ != why) {
    trouble_ = why;
    log_(fmt::format("{}: interfaces are not followed: {}", title_, why));
  }
}

std::unique_ptr<LinkPlace::Access> ownNamespace() { return std::make_unique<OwnNamespace>(); }

std::unique_ptr<LinkPlace::Access> namespaceNamed(std::string netns) {
  return std::make_unique<NamespaceNamed>(std::move(netns));
}

}  // namespace Agent

#include "Wire.h"

#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <span>
#include <utility>

namespace Netlab {

namespace {

using Monitor::IpAddress;

constexpr std::size_t kLargestPacket = 65'536;

std::optional<std::vector<std::uint8_t>> readPacket(int fd) {
  static thread_local std::array<std::uint8_t, kLargestPacket> buffer;
  const ssize_t size = ::read(fd, buffer.data(), buffer.size());
  if (size <= 0) {
    return std::nullopt;
  }
  return std::vector<std::uint8_t>(buffer.begin(), buffer.begin() + size);
}

void writePacket(int fd, std::span<const std::uint8_t> packet) {
  // A packet that the device has no room for is lost as on any wire; the tests' loads are far from
  // that, and one that came to it would see an unexplained loss and fail.
  if (::write(fd, packet.data(), packet.size()) < 0) {
    return;
  }
}

/// Where a packet goes to; null when it is no IP packet.
std::optional<IpAddress> destination(std::span<const std::uint8_t> packet) {
  if (packet.size() >= 20 && packet[0] >> 4 == 4) {
    in_addr v4{};
    std::memcpy(&v4, &packet[16], sizeof v4);
    return IpAddress::of(v4);
  }
  if (packet.size() >= 40 && packet[0] >> 4 == 6) {
    in6_addr v6{};
    std::memcpy(&v6, &packet[24], sizeof v6);
    return IpAddress::of(v6);
  }
  return std::nullopt;
}

}  // namespace

Wire::Wire(Monitor::UniqueFd near, Monitor::UniqueFd far, std::uint32_t seed)
    : near_(std::move(near)),
      far_(std::move(far)),
      wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      random_(seed),
      thread_([this] { run(); }) {
  // Where it may, the wire runs before whatever else the machine does: what it adds to a delay is
  // then the delay that was asked for.
  sched_param urgent{};
  urgent.sched_priority = 10;
  static_cast<void>(pthread_setschedparam(thread_.native_handle(), SCHED_FIFO, &urgent));
}

Wire::~Wire() {
  ending_ = true;
  ::eventfd_write(wake_.get(), 1);
  thread_.join();
}

void Wire::impair(const IpAddress& to, const Impairment& impairment) {
  const std::lock_guard lock(mutex_);
  impairments_[to] = impairment;
}

std::vector<Passage> Wire::passages(const IpAddress& to) const {
  const std::lock_guard lock(mutex_);
  const auto found = passages_.find(to);
  return found == passages_.end() ? std::vector<Passage>{} : found->second;
}

void Wire::run() {
  while (!ending_) {
    std::array<pollfd, 3> ready{
        {{near_.get(), POLLIN, 0}, {far_.get(), POLLIN, 0}, {wake_.get(), POLLIN, 0}}};
    timespec wait{};
    const timespec* limit = nullptr;
    if (!underWay_.empty()) {
      const auto left = std::max(underWay_.top().due - Clock::now(), Clock::duration::zero());
      const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
      wait.tv_sec = seconds.count();
      wait.tv_nsec = (left - seconds).count();
      limit = &wait;
    }
    if (::ppoll(ready.data(), ready.size(), limit, nullptr) > 0) {
      if (ready[1].revents != 0) {
        carryBack();
      }
      if (ready[0].revents != 0) {
        takeFromNear();
      }
    }
    deliverDue();
  }
}

void Wire::takeFromNear() {
  while (auto packet = readPacket(near_.get())) {
    const auto to = destination(*packet);
    if (!to) {
      continue;
    }
    const std::lock_guard lock(mutex_);
    const Impairment& impairment = impairments_[*to];
    std::vector<Passage>& passages = passages_[*to];
    passages.push_back({chance(impairment.lost), chance(impairment.doubled), {}});
    if (passages.back().lost) {
      continue;
    }
    const Clock::time_point read = Clock::now();
    Clock::duration delay = impairment.delay;
    if (impairment.spread.count() > 0) {
      delay += std::chrono::microseconds(random_() %
                                         static_cast<std::uint64_t>(impairment.spread.count()));
    }
    if (chance(impairment.held)) {
      delay += impairment.hold;
    }
    Copy copy{read + delay, ++count_, read, *to, passages.size() - 1, true, std::move(*packet)};
    if (passages.back().doubled) {
      Copy second = copy;
      second.number = ++count_;
      second.first = false;
      underWay_.push(std::move(second));
    }
    underWay_.push(std::move(copy));
  }
}

void Wire::carryBack() {
  while (const auto packet = readPacket(far_.get())) {
    writePacket(near_.get(), *packet);
  }
}

void Wire::deliverDue() {
  while (!underWay_.empty() && underWay_.top().due <= Clock::now()) {
    const Copy copy = underWay_.top();
    underWay_.pop();
    if (copy.first) {
      const std::lock_guard lock(mutex_);
      passages_[copy.to][copy.passage].delayed = Clock::now() - copy.read;
    }
    writePacket(far_.get(), copy.bytes);
  }
}

}  // namespace Netlab

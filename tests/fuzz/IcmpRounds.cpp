#include "IcmpRounds.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "FakeNetwork.h"
#include "monitor/icmp/Engine.h"

using namespace Monitor;
using namespace Monitor::Icmp;
using namespace std::chrono_literals;
using Request = Testing::FakeNetwork::Request;

namespace {

constexpr std::chrono::milliseconds kTimeout = 200ms;
constexpr std::uint16_t kRequests = 3;

/// A target, what was begun of it and what came of that.
class Measured final : public RoundListener {
 public:
  void begin(Engine& engine) {
    if (!underWay_) {
      underWay_ = true;
      engine.begin(id);
    }
  }
  void cancel(Engine& engine) {
    underWay_ = false;
    engine.cancel(id);
  }
  void replace(Engine& engine) {
    underWay_ = false;
    engine.remove(id);
    id = engine.add({}, {address, kRequests, 20ms, kTimeout}, *this);
  }
  [[nodiscard]] bool underWay() const { return underWay_; }

  IpAddress address;
  Engine::TargetId id = 0;
  /// Packets from the address that its rounds can have been answered by.
  std::size_t heard = 0;

 private:
  void roundEnded(const RoundResult& result) override {
    require(underWay_);
    underWay_ = false;
    const Summary& summary = result.summary;
    require(summary.sent <= kRequests && summary.answered + summary.late <= summary.sent);
    require(summary.mean.count() >= 0 && summary.mean <= kTimeout);
    require(summary.jitter.has_value() == (summary.answered > 1));
    require(!summary.jitter || (summary.jitter->count() >= 0 && *summary.jitter <= kTimeout));
    require(summary.lossPercent >= 0 && summary.lossPercent <= 100);
    require(result.verdict != RoundResult::Verdict::kMeasured || summary.sent == kRequests);
    answered_ += summary.answered;
    require(answered_ <= heard);
  }

  bool underWay_ = false;
  std::size_t answered_ = 0;
};

class World {
 public:
  explicit World(Framing v4) {
    network_.v4Framing = v4;
    network_.sendError = ENETUNREACH;
    network_.onSend = [this](const IpAddress&) { return stop_; };
    for (std::size_t i = 0; i < targets_.size(); ++i) {
      targets_[i].address = *IpAddress::parse(kAddresses[i]);
      targets_[i].id =
          engine_.add({}, {targets_[i].address, kRequests, 20ms, kTimeout}, targets_[i]);
    }
  }

  void step(FuzzInput& input) {
    const unsigned what = input.octet();
    Measured& target = targets_[(what >> 4) % targets_.size()];
    switch (what & 0xf) {
      case 0:
      case 1:
        target.begin(engine_);
        break;
      case 2:
        target.cancel(engine_);
        break;
      case 3:
        target.replace(engine_);
        break;
      case 4:
        // What happens once in a while: no way out, no room, a lost place, a full socket.
        stop_ = static_cast<Sent::Stop>(input.octet() % 4);
        break;
      case 5:
        network_.current = input.octet() % 2 == 0;
        network_.overflowed += input.octet() % 3U;
        network_.allRead = input.octet() % 4 != 0;
        break;
      case 6:
        stamp(input);
        break;
      case 7:
        refuse(input);
        break;
      case 8:
      case 9:
      case 10:
      case 11:
        reply(input, target);
        break;
      default:
        pass(what >> 4);
    }
  }

  /// Every round that was begun and not given up ends, and every packet is accounted for.
  void finish() {
    stop_ = Sent::Stop::kNone;
    network_.allRead = true;
    const auto underWay = [](const Measured& target) { return target.underWay(); };
    for (int passes = 0; std::ranges::any_of(targets_, underWay); ++passes) {
      constexpr int kMostPasses = 100;
      require(passes < kMostPasses);
      pass(10);
    }
    const Counters counters = engine_.counters();
    const std::uint64_t told =
        counters.answered + counters.late + counters.duplicate + counters.foreign;
    require(told <= received_ + refusals_ && counters.refused <= refusals_);
    require(counters.reordered <= received_);
  }

 private:
  static constexpr std::array kAddresses = {"192.0.2.1", "192.0.2.2", "2001:db8::1"};

  void pass(unsigned steps) {
    now_ += steps * 2ms;
    engine_.work();
    // What is on its way to a socket that has been closed reaches nobody.
    if (closed_ != network_.closed) {
      closed_ = network_.closed;
      requests_.clear();
    } else {
      requests_.insert(requests_.end(), network_.requests.begin(), network_.requests.end());
    }
    network_.requests.clear();
  }

  [[nodiscard]] const Request* chosen(FuzzInput& input) const {
    const std::size_t which = input.octet();
    return requests_.empty() || closed_ != network_.closed ? nullptr
                                                           : &requests_[which % requests_.size()];
  }

  void stamp(FuzzInput& input) {
    if (const Request* request = chosen(input)) {
      network_.stamp(*request, input.octet() * 1ms - 20ms);
    }
  }
  void refuse(FuzzInput& input) {
    if (const Request* request = chosen(input)) {
      Request quoted = *request;
      change(input, quoted.bytes);
      ++refusals_;
      Testing::FakeNetwork::refuse(quoted, "refused", input.octet() % (kEchoSize + 1));
    }
  }
  /// The honest reply, as it is or changed, from its target or from another, now or later.
  void reply(FuzzInput& input, Measured& from) {
    const Request* const request = chosen(input);
    if (request == nullptr) {
      return;
    }
    std::vector<std::uint8_t> bytes = Testing::FakeNetwork::replyTo(*request);
    const std::uint8_t how = input.octet();
    change(input, bytes);
    if ((how & 1) != 0) {
      bytes.resize(input.octet());
    } else if ((how & 2) != 0 && bytes.size() == kEchoSize && !isV6(request->framing)) {
      EchoBytes echo{};
      std::copy(bytes.begin(), bytes.end(), echo.begin());
      Testing::FakeNetwork::setChecksum(echo);
      bytes.assign(echo.begin(), echo.end());
    }
    const IpAddress source = (how & 4) != 0 ? from.address : request->to;
    for (Measured& target : targets_) {
      if (target.address == source) {
        ++target.heard;
      }
    }
    ++received_;
    network_.arrive(now_ + input.octet() * 2ms - 20ms, *request, std::move(bytes), source);
  }
  template <class Bytes>
  static void change(FuzzInput& input, Bytes& bytes) {
    for (int left = input.octet() % 4; left > 0; --left) {
      const std::size_t at = input.octet() % bytes.size();
      bytes[at] = input.octet();
    }
  }

  Clock::time_point now_{1'000'000s};
  Testing::FakeNetwork network_{now_};
  std::uint64_t lastToken_ = 0;
  std::array<Measured, 3> targets_;
  Engine engine_{network_, [this] { return now_; },
                 [this] { return lastToken_ += 0x9e3779b97f4a7c15; }};
  Sent::Stop stop_ = Sent::Stop::kNone;
  int closed_ = 0;
  std::vector<Request> requests_;
  std::uint64_t received_ = 0;
  std::uint64_t refusals_ = 0;
};

}  // namespace

void icmpRounds(Framing v4, FuzzInput& input) {
  World world(v4);
  constexpr int kMostSteps = 80;
  for (int step = 0; step < kMostSteps && !input.empty(); ++step) {
    world.step(input);
  }
  world.finish();
}

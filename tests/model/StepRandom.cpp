#include <array>
#include <random>

#include "Step.h"

namespace Model {

namespace {

// Names that run into each other when they are joined, so that rows are shared; and one that is too
// long for a key.
constexpr std::array kClients = {"c", "ch", "d"};
const std::array<std::string, 4> kHosts = {"h", "hh", "g", std::string(120, 'x')};
constexpr std::array kVrfs = {"default", "blue", "red", "a/b c"};
constexpr std::array kInterfaces = {"eth1", "eth2", "eth3"};
constexpr std::array kAddresses = {"10.0.0.1", "10.0.0.11", "10.0.0.111", "::1", "2001:db8::1"};
constexpr std::array kAddressesApart = {"10.0.0.9", "10.0.9.8", "::9", "2001:db8::8"};
constexpr std::array kUrls = {"u", "u1", "http://10.0.0.1/"};
constexpr std::array kUrlsApart = {"u", "u/", "http://10.0.0.1/"};
constexpr std::array kTimes = {0.0F, 0.25F, 1.5F, 12.345F, 3000.0F};

class Maker {
 public:
  explicit Maker(std::uint64_t seed) : random_(seed) {}

  /// Whether rows are to be kept apart: what a shared row shows is the feed's promise alone.
  bool apart = false;

  unsigned below(unsigned bound) { return static_cast<unsigned>(random_() % bound); }
  bool oneIn(unsigned n) { return below(n) == 0; }
  template <class List>
  std::string any(const List& list) {
    return std::string(list[below(static_cast<unsigned>(list.size()))]);
  }

  RecordId record() {
    RecordId id;
    id.host = host();
    id.vrf = vrf();
    id.interface = oneIn(3) ? "" : any(kInterfaces);
    id.kind = static_cast<Kind>(below(3));
    id.target = id.kind == Kind::kHttp ? url() : address();
    id.port = id.kind == Kind::kTcp ? (apart ? 1000 : 1) + below(12) : 0;
    return id;
  }
  std::string client() { return any(kClients) + (apart ? "-" : ""); }
  std::string host() { return any(kHosts) + (apart ? "-" : ""); }
  std::string url() { return apart ? any(kUrlsApart) : any(kUrls); }
  std::string address() { return apart ? any(kAddressesApart) : any(kAddresses); }
  std::string vrf() { return any(kVrfs); }
  SetInterface interface() {
    const unsigned at = below(kInterfaces.size());
    const unsigned ifIndex = 1 + below(13);
    // Two interfaces of one index would share rows, too.
    return {kInterfaces[at], apart ? ifIndex * 3 + at : ifIndex};
  }
  Measured measured(Kind kind) {
    Measured measured;
    measured.time = kTimes[below(kTimes.size())];
    if (kind == Kind::kIcmp) {
      measured.jitter = kTimes[below(3)];
      measured.loss = below(3) * 50;
    }
    measured.comment = oneIn(4) ? "ok" : "";
    return measured;
  }

  Change change() {
    Change change = nobodysChange();
    change.client = apart ? client() : "";  // Else it is the connection's.
    return change;
  }

  Step step() { return apart ? hostStep() : feedStep(); }

 private:
  Change nobodysChange() {
    const unsigned what = below(100);
    if (what < 55) {
      const RecordId id = record();
      return {"", Put{id, measured(id.kind)}};
    }
    if (what < 78) {
      return {"", Remove{record()}};
    }
    if (what < 85) {
      return {"", RemoveHost{vrf(), host()}};
    }
    if (what < 88) {
      return {"", RemoveClient{}};
    }
    return {"", interface()};
  }

  Step feedStep() {
    const unsigned what = below(1000);
    const unsigned connection = below(kConnections);
    if (what < 60) {
      const auto hold = oneIn(2) ? std::optional(below(3)) : std::nullopt;
      return Connect{connection, client(), hold, !oneIn(20)};
    }
    if (what < 90) {
      return Disconnect{connection};
    }
    if (what < 530) {
      return Send{connection, change()};
    }
    if (what < 550) {
      return SendSync{connection};
    }
    if (what < 560) {
      return SendNonsense{connection};
    }
    if (what < 590) {
      return Kernel{interface()};
    }
    if (what < 600) {
      return ReplaceAgent{};
    }
    if (what < 630) {
      return Tick{below(1500)};
    }
    if (what < 860) {
      static constexpr std::array kParts = {Part::kApplier,    Part::kApplier, Part::kConnection,
                                            Part::kConnection, Part::kGate,    Part::kScheduler};
      return Turn{kParts[below(kParts.size())], connection};
    }
    return what < 980 ? Step(Look{}) : Step(Settle{});
  }

  Step hostStep() {
    const unsigned what = below(1000);
    if (what < 450) {
      return Send{0, change()};
    }
    if (what < 480) {
      return ReplaceAgent{};
    }
    if (what < 900) {
      return Turn{Part::kScheduler, 0};
    }
    return what < 980 ? Step(Look{}) : Step(Settle{});
  }

  std::mt19937_64 random_;
};

}  // namespace

History randomHistory(std::uint64_t seed) {
  Maker make(seed);
  History history;
  history.seed = seed;
  history.yield = static_cast<Yield>(make.below(3));
  history.queueCapacity = make.oneIn(2) ? 1 + make.below(4) : 1000;
  history.countCeiling = make.oneIn(2) ? 2 + make.below(20) : 1'000'000;
  for (int& priority : history.priorities) {
    priority = static_cast<int>(make.below(3));
  }
  history.isHost = make.oneIn(3);
  make.apart = history.isHost;
  // Most worlds begin with somebody who speaks.
  for (unsigned connection = 0; connection < 2 && !history.isHost; ++connection) {
    history.steps.emplace_back(Connect{connection, make.client(), std::nullopt, true});
  }
  const unsigned steps = 10 + make.below(250);
  for (unsigned i = 0; i < steps; ++i) {
    history.steps.push_back(make.step());
  }
  return history;
}

}  // namespace Model

#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <queue>
#include <random>
#include <thread>
#include <vector>

#include "monitor/net/IpAddress.h"
#include "monitor/net/UniqueFd.h"

namespace Netlab {

using Clock = std::chrono::steady_clock;

/// What happens to packets on their way to an address. All shares in percent.
struct Impairment {
  std::chrono::microseconds delay{};
  std::chrono::microseconds spread{};  ///< Up to so much is added to the delay, evenly spread.
  unsigned lost = 0;
  unsigned doubled = 0;
  unsigned held = 0;  ///< This share is delayed by `hold` besides, so that later ones overtake it.
  std::chrono::microseconds hold{};
};

/// What did happen to one packet.
struct Passage {
  bool lost = false;
  bool doubled = false;
  Clock::duration delayed{};  ///< From when it was read to when it was written; of the first copy.
};

/// Carries IP packets between two TUN devices on a thread of its own: impaired from the near one to
/// the far one, at once the other way.
class Wire {
 public:
  /// Chances are drawn from `seed`.
  Wire(Monitor::UniqueFd near, Monitor::UniqueFd far, std::uint32_t seed);
  Wire(const Wire&) = delete;
  Wire& operator=(const Wire&) = delete;
  ~Wire();

  void impair(const Monitor::IpAddress& to, const Impairment& impairment);
  /// Of the packets that are through or lost, in the order in which they came.
  [[nodiscard]] std::vector<Passage> passages(const Monitor::IpAddress& to) const;

 private:
  struct Copy {
    Clock::time_point due;
    std::uint64_t number = 0;  ///< Equal times keep their order.
    Clock::time_point read;
    Monitor::IpAddress to;
    std::size_t passage = 0;
    bool first = true;
    std::vector<std::uint8_t> bytes;
    bool operator>(const Copy& other) const {
      return due != other.due ? due > other.due : number > other.number;
    }
  };

  void run();
  void takeFromNear();
  void carryBack();
  void deliverDue();
  [[nodiscard]] bool chance(unsigned percent) { return random_() % 100 < percent; }

  Monitor::UniqueFd near_, far_, wake_;
  std::mt19937 random_;
  mutable std::mutex mutex_;  ///< Guards the two maps.
  std::map<Monitor::IpAddress, Impairment> impairments_;
  std::map<Monitor::IpAddress, std::vector<Passage>> passages_;
  std::priority_queue<Copy, std::vector<Copy>, std::greater<>> underWay_;
  std::uint64_t count_ = 0;
  std::atomic<bool> ending_ = false;
  std::thread thread_;
};

}  // namespace Netlab

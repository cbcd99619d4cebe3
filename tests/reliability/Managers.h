#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include "Rows.h"
#include "SnmpLoadClient.h"

namespace reliability {

/// How often a request took how long.
class Latencies {
 public:
  void add(double milliseconds) { taken_.push_back(milliseconds); }
  void add(const Latencies& others);
  /// `NAME: N requests, p50 ... ms, p99 ... ms, max ... ms`, on standard output.
  void print(const std::string& name);

 private:
  std::vector<double> taken_;
};

/// Four managers, each in a thread of its own, who walk until they are stopped: two by GETNEXT, two
/// by GETBULK.
class Managers {
 public:
  /// Each walk has at most `stretch` varbinds and begins behind a random row; 0: each is one over
  /// everything. `rows` outlives the managers.
  Managers(std::uint16_t port, const Rows& rows, std::size_t stretch);
  Managers(const Managers&) = delete;
  Managers& operator=(const Managers&) = delete;
  ~Managers();

  /// Whether one of them met what a walk must not have; stop() tells.
  [[nodiscard]] bool failed() const noexcept { return failed_; }
  /// Ends all, prints what their requests took, and throws what the first one met.
  void stop();
  /// What they met so far.
  [[nodiscard]] std::uint64_t varbinds() const noexcept { return varbinds_; }
  [[nodiscard]] std::uint64_t walks() const noexcept { return walks_; }

 private:
  struct Manager {
    std::string name;
    bench::Pdu pdu;
    std::uint8_t repetitions;
    Latencies latencies{};
    std::exception_ptr error{};
    std::thread thread{};
  };

  void run(Manager& manager, std::uint64_t seed);
  void end();

  std::uint16_t port_;
  const Rows& rows_;
  std::size_t stretch_;
  std::atomic<bool> stop_{false};
  std::atomic<bool> failed_{false};
  std::atomic<std::uint64_t> varbinds_{0};
  std::atomic<std::uint64_t> walks_{0};  ///< That came to their end.
  std::vector<Manager> managers_;
};

/// One walk over everything, which must meet just the stable rows.
void expectExactly(std::uint16_t port, const Rows& rows);

}  // namespace reliability

#include "Managers.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <stdexcept>

#include "WalkCheck.h"

namespace reliability {

namespace {

using Clock = std::chrono::steady_clock;

/// A bound that only an agent that hangs reaches.
constexpr std::chrono::seconds kPatience{60};
constexpr const char* kCommunity = "public";

const bench::Oid& anywhere(WalkCheck& check, const Rows& rows, std::mt19937_64& random) {
  const std::size_t kind = random() % kKinds;
  const auto column =
      static_cast<std::uint32_t>(kFirstColumn + random() % (kLastColumn[kind] - kFirstColumn + 1));
  return check.beginBehind(kind, column, random() % rows.stable(kind).size());
}

}  // namespace

void Latencies::add(const Latencies& others) {
  taken_.insert(taken_.end(), others.taken_.begin(), others.taken_.end());
}

void Latencies::print(const std::string& name) {
  if (taken_.empty()) {
    return;
  }
  std::ranges::sort(taken_);
  const auto at = [this](double part) {
    return taken_[static_cast<std::size_t>(part * static_cast<double>(taken_.size() - 1))];
  };
  fmt::print("  {:<12} {:>9} requests, p50 {:.3f} ms, p99 {:.3f} ms, max {:.3f} ms\n", name,
             taken_.size(), at(0.5), at(0.99), taken_.back());
}

Managers::Managers(std::uint16_t port, const Rows& rows, std::size_t stretch)
    : port_(port), rows_(rows), stretch_(stretch) {
  managers_.push_back({"GETNEXT", bench::Pdu::kGetNext, 0});
  managers_.push_back({"GETNEXT", bench::Pdu::kGetNext, 0});
  managers_.push_back({"GETBULK 10", bench::Pdu::kGetBulk, 10});
  managers_.push_back({"GETBULK 50", bench::Pdu::kGetBulk, 50});
  std::uint64_t seed = 0;
  for (Manager& manager : managers_) {
    manager.thread = std::thread([this, &manager, seed] { run(manager, seed); });
    ++seed;
  }
}

Managers::~Managers() { end(); }

void Managers::end() {
  stop_ = true;
  for (Manager& manager : managers_) {
    if (manager.thread.joinable()) {
      manager.thread.join();
    }
  }
}

void Managers::stop() {
  end();
  Latencies all;
  for (Manager& manager : managers_) {
    all.add(manager.latencies);
    manager.latencies.print(manager.name);
  }
  all.print("all");
  for (const Manager& manager : managers_) {
    if (manager.error) {
      std::rethrow_exception(manager.error);
    }
  }
}

void Managers::run(Manager& manager, std::uint64_t seed) {
  try {
    std::mt19937_64 random(seed);
    bench::SnmpLoadClient client(port_, kCommunity, kPatience);
    WalkCheck check(rows_);
    while (!stop_) {
      const bench::Oid* from = stretch_ == 0 ? &check.begin() : &anywhere(check, rows_, random);
      bool inside = true;
      for (std::size_t taken = 0; inside && !stop_ && (stretch_ == 0 || taken < stretch_);) {
        const auto start = Clock::now();
        const bench::Response& response = client.ask(manager.pdu, {*from}, 0, manager.repetitions);
        const std::chrono::duration<double, std::milli> took = Clock::now() - start;
        manager.latencies.add(took.count());
        if (response.errorStatus != 0 || response.varbinds.empty()) {
          throw std::runtime_error(fmt::format("{}: error status {}, {} varbinds", manager.name,
                                               response.errorStatus, response.varbinds.size()));
        }
        for (const auto& varbind : response.varbinds) {
          inside = inside && check.take(varbind);
        }
        taken += response.varbinds.size();
        varbinds_ += response.varbinds.size();
        from = &check.last();
      }
      walks_ += inside && stretch_ == 0 ? 0 : 1;
    }
  } catch (const std::exception&) {
    manager.error = std::current_exception();
    failed_ = true;
  }
}

void expectExactly(std::uint16_t port, const Rows& rows) {
  constexpr std::uint8_t kRepetitions = 50;
  bench::SnmpLoadClient client(port, kCommunity, kPatience);
  WalkCheck check(rows);
  const bench::Oid* from = &check.begin();
  for (bool inside = true; inside; from = &check.last()) {
    for (const auto& varbind :
         client.ask(bench::Pdu::kGetBulk, {*from}, 0, kRepetitions).varbinds) {
      inside = inside && check.take(varbind);
    }
  }
}

}  // namespace reliability

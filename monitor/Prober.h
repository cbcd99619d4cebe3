#pragma once

// What every probe protocol implements, and the data that goes in and comes out.
//
// A protocol is a Prober. It makes one Probe for each target; a Probe is told by the scheduler when
// to measure, and answers each start() with one Result. Probers know nothing of intervals that
// pass, of configuration files, names to resolve or the agent.
//
// Rules that every implementation keeps and every caller may rely on:
//  1. everything happens on the one thread that runs the event loop; nothing blocks;
//  2. each start() is followed by exactly one call of the probe's callback, unless the probe is
//     stopped or destroyed first, after which none comes;
//  3. the callback never comes from within start(); it may stop, start or destroy the probe;
//  4. whatever the network does, a round ends: at the latest `timeout` after its last packet;
//  5. what the prober itself failed to do (no socket, no memory, it was too late to see the answer
//     in time) is never reported as the target's failure.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "monitor/net/Binding.h"
#include "monitor/net/IpAddress.h"

struct event_base;

namespace Monitor {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

/// The event loop that a prober registers its sockets and timers with, and the time that it reads.
/// Tests put a time of their own in `now`. Both outlive every prober.
struct Loop {
  event_base* base = nullptr;
  std::function<Clock::time_point()> now = &Clock::now;
};

struct IcmpParameters {
  std::uint16_t burst = 5;         ///< Echo requests a round, 1 or more.
  std::chrono::nanoseconds gap{};  ///< Between two requests of one round.
  bool operator==(const IcmpParameters&) const = default;
};

struct TcpParameters {
  std::uint16_t port = 0;
  bool operator==(const TcpParameters&) const = default;
};

struct StatusRange {
  int first = 0, last = 0;  ///< Both inclusive.
  bool operator==(const StatusRange&) const = default;
};

struct HttpParameters {
  std::string url;
  std::string method = "GET";
  std::vector<StatusRange> expectedStatus;  ///< At least one.
  std::vector<std::pair<std::string, std::string>> headers;
  bool verifyTls = true;
  std::string caFile;  ///< PEM file of trusted certificates; empty: the system's.
  bool operator==(const HttpParameters&) const = default;
};

/// One target, ready to be measured.
struct ProbeSpec {
  Binding binding;
  IpAddress address;
  std::chrono::nanoseconds interval{};  ///< Between the starts of two rounds, for information.
  std::chrono::nanoseconds timeout{};   ///< How long an answer is waited for, above 0.
  std::variant<IcmpParameters, TcpParameters, HttpParameters> parameters;
  bool operator==(const ProbeSpec&) const = default;
};

struct IcmpMeasurement {
  double meanMs = 0;  ///< Mean round-trip time of the answered requests.
  /// Mean absolute difference of successive round-trip times; null with fewer than two of them.
  std::optional<double> jitterMs;
  double lossPercent = 0;  ///< 0 to 100.
};

struct TcpMeasurement {
  double connectMs = 0;
};

/// Phases are counted from the start of the exchange, as libcurl does; a phase that did not take
/// place has the value of the one before it.
struct HttpMeasurement {
  double totalMs = 0;
  double connectMs = 0, tlsMs = 0, firstByteMs = 0;
  int status = 0;
};

enum class Outcome : std::uint8_t {
  kAnswered,     ///< `measured` holds the protocol's measurement.
  kNoAnswer,     ///< The target did not answer, or not as it should; `measured` may be empty.
  kNotMeasured,  ///< The prober could not measure (rule 5): says nothing about the target.
  kOverloaded,   ///< The same, since the prober was too slow. Counted, and said for all at once.
};

struct Result {
  Outcome outcome = Outcome::kNotMeasured;
  std::variant<std::monostate, IcmpMeasurement, TcpMeasurement, HttpMeasurement> measured;
  std::string text;  ///< What happened, for a person: "refused", "timed out", "status 503".
  int error = 0;     ///< The errno of what failed, where there is one.
};

using OnResult = std::function<void(const Result&)>;

/// One target of one protocol. Destroying it stops it.
class Probe {
 public:
  Probe() = default;
  Probe(const Probe&) = delete;
  Probe& operator=(const Probe&) = delete;
  virtual ~Probe() = default;

  /// Begins a round. Precondition: none is under way.
  virtual void start() = 0;
  /// Gives up the round under way, if there is one.
  virtual void stop() = 0;
};

/// Something counted since the start; the name is lower-case words, e.g. "duplicate replies".
struct Counter {
  std::string_view name;
  std::uint64_t value = 0;
};

/// A protocol. It outlives its probes.
class Prober {
 public:
  Prober() = default;
  Prober(const Prober&) = delete;
  Prober& operator=(const Prober&) = delete;
  virtual ~Prober() = default;

  /// What keeps this process from measuring at all, such as a missing privilege, in words for the
  /// operator; null when nothing does. Asked before the first probe is made.
  [[nodiscard]] virtual std::optional<std::string> unavailable() const = 0;

  /// Precondition: `spec.parameters` are this protocol's. A binding that can't be used now (an
  /// interface or namespace that isn't there yet) is no error: each round says so as kNotMeasured.
  [[nodiscard]] virtual std::unique_ptr<Probe> probe(const ProbeSpec& spec, OnResult onResult) = 0;

  [[nodiscard]] virtual std::vector<Counter> counters() const = 0;
};

}  // namespace Monitor

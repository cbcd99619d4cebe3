#include "monitor/icmp/IcmpProber.h"

#include <fmt/format.h>

#include <functional>
#include <utility>

#include "monitor/icmp/Engine.h"
#include "monitor/icmp/KernelNetwork.h"
#include "monitor/icmp/LoopDriver.h"
#include "monitor/icmp/SecureRandom.h"

namespace Monitor {

namespace {

using Icmp::Engine;
using Icmp::RoundResult;
using Icmp::Summary;

Result resultOf(const RoundResult& round) {
  if (round.verdict != RoundResult::Verdict::kMeasured) {
    const bool overloaded = round.verdict == RoundResult::Verdict::kOverloaded;
    return {overloaded ? Outcome::kOverloaded : Outcome::kNotMeasured, {}, round.text};
  }
  const Summary& summary = round.summary;
  std::string text = fmt::format("{} of {} answered", summary.answered, summary.sent);
  if (summary.late > 0) {
    text += fmt::format(", {} too late", summary.late);
  }
  if (!round.text.empty()) {
    text += ", " + round.text;
  }
  return {summary.answered > 0 ? Outcome::kAnswered : Outcome::kNoAnswer,
          IcmpMeasurement{summary.mean.count(),
                          summary.jitter ? std::optional(summary.jitter->count()) : std::nullopt,
                          summary.lossPercent},
          std::move(text)};
}

class IcmpProbe final : public Probe, private Icmp::RoundListener {
 public:
  IcmpProbe(Engine& engine, Icmp::LoopDriver& driver, const ProbeSpec& spec, OnResult onResult)
      : engine_(engine), driver_(driver), onResult_(std::move(onResult)) {
    const auto& parameters = std::get<IcmpParameters>(spec.parameters);
    id_ = engine_.add(spec.binding, {spec.address, parameters.burst, parameters.gap, spec.timeout},
                      *this);
  }
  ~IcmpProbe() override { engine_.remove(id_); }

  void start() override {
    engine_.begin(id_);
    driver_.wake();
  }
  void stop() override { engine_.cancel(id_); }

 private:
  void roundEnded(const RoundResult& round) override {
    // The callback may destroy the probe, and with it the callback.
    const OnResult onResult = onResult_;
    onResult(resultOf(round));
  }

  Engine& engine_;
  Icmp::LoopDriver& driver_;
  OnResult onResult_;
  Engine::TargetId id_;
};

/// Hears nothing: for a socket that is only tried.
class NoSink final : public Icmp::PacketSink {
  void received(std::span<const std::uint8_t>, const IpAddress&, Clock::time_point) override {}
  void transmitted(std::span<const std::uint8_t>, Clock::time_point) override {}
  void refused(std::span<const std::uint8_t>, const std::string&) override {}
};

}  // namespace

struct IcmpProber::Machine {
  explicit Machine(const Loop& loop)
      : engine(network, loop.now, std::ref(random)), driver(loop, engine, network.fd()) {}

  Icmp::SecureRandom random;
  Icmp::KernelNetwork network{static_cast<std::uint16_t>(random())};
  Engine engine;
  Icmp::LoopDriver driver;
};

IcmpProber::IcmpProber(const Loop& loop) : machine_(std::make_unique<Machine>(loop)) {}

IcmpProber::~IcmpProber() = default;

std::optional<std::string> IcmpProber::unavailable() const {
  NoSink sink;
  const auto tried = machine_->network.open({}, AF_INET, sink);
  const auto* error = std::get_if<SocketError>(&tried);
  return error == nullptr ? std::nullopt : std::optional(error->text);
}

std::unique_ptr<Probe> IcmpProber::probe(const ProbeSpec& spec, OnResult onResult) {
  return std::make_unique<IcmpProbe>(machine_->engine, machine_->driver, spec, std::move(onResult));
}

std::vector<Counter> IcmpProber::counters() const {
  const Icmp::Counters counters = machine_->engine.counters();
  return {{"requests sent", counters.sent},
          {"requests answered", counters.answered},
          {"requests lost", counters.lost},
          {"reordered replies", counters.reordered},
          {"late replies", counters.late},
          {"duplicate replies", counters.duplicate},
          {"foreign replies", counters.foreign},
          {"requests refused", counters.refused},
          {"requests unsendable", counters.unsendable},
          {"sending put off", counters.busy},
          {"replies dropped by full sockets", counters.overflowed},
          {"overloaded", counters.overloaded},
          {"rounds failed", counters.failed}};
}

}  // namespace Monitor

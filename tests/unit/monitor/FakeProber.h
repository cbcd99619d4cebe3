#pragma once

#include <map>
#include <string>

#include "monitor/Prober.h"

namespace Monitor::Testing {

/// A prober whose rounds end when the test says so.
class FakeProber final : public Prober {
 public:
  class FakeProbe final : public Probe {
   public:
    FakeProbe(FakeProber& prober, ProbeSpec spec, OnResult onResult)
        : prober_(prober), spec_(std::move(spec)), onResult_(std::move(onResult)) {
      prober_.probes_.push_back(this);
    }
    ~FakeProbe() override { std::erase(prober_.probes_, this); }

    void start() override {
      running_ = true;
      ++starts_;
    }
    void stop() override { running_ = false; }

    void finish(const Result& result) {
      running_ = false;
      const OnResult call = onResult_;
      call(result);
    }
    [[nodiscard]] const ProbeSpec& spec() const { return spec_; }
    [[nodiscard]] bool running() const { return running_; }
    [[nodiscard]] int starts() const { return starts_; }

   private:
    FakeProber& prober_;
    ProbeSpec spec_;
    OnResult onResult_;
    bool running_ = false;
    int starts_ = 0;
  };

  [[nodiscard]] std::optional<std::string> unavailable() const override { return unavailable_; }
  [[nodiscard]] std::unique_ptr<Probe> probe(const ProbeSpec& spec, OnResult onResult) override {
    ++made_;
    return std::make_unique<FakeProbe>(*this, spec, std::move(onResult));
  }
  [[nodiscard]] std::vector<Counter> counters() const override { return {}; }

  void unavailableIs(std::optional<std::string> why) { unavailable_ = std::move(why); }
  [[nodiscard]] const std::vector<FakeProbe*>& probes() const { return probes_; }
  /// All that were ever made.
  [[nodiscard]] int made() const { return made_; }

 private:
  std::vector<FakeProbe*> probes_;
  std::optional<std::string> unavailable_;
  int made_ = 0;
};

}  // namespace Monitor::Testing

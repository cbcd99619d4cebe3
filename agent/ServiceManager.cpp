#include "agent/ServiceManager.h"

#include <fmt/format.h>
#include <systemd/sd-daemon.h>

#include <cstdint>

namespace Agent {

namespace {

constexpr int kKeepEnvironment = 0;
constexpr int kTakeEnvironment = 1;

}  // namespace

ServiceManager::ServiceManager(const StartGate& gate, Clock::time_point now) : gate_(gate) {
  std::uint64_t microseconds = 0;
  if (sd_watchdog_enabled(kTakeEnvironment, &microseconds) > 0) {
    interval_ = std::chrono::microseconds(microseconds) / 2;
    due_ = now;
  }
}

ServiceManager::~ServiceManager() { sd_notify(kTakeEnvironment, "STOPPING=1"); }

void ServiceManager::work(Ubo::YieldPolicy& /*yield*/) {
  using std::chrono::microseconds;
  ready_ = gate_.open();
  if (ready_) {
    sd_notify(kKeepEnvironment, "READY=1\nSTATUS=serving");
  } else {
    const auto now = std::chrono::duration_cast<microseconds>(Clock::now().time_since_epoch());
    sd_notify(kKeepEnvironment, fmt::format("RELOADING=1\nMONOTONIC_USEC={}\n"
                                            "STATUS=replacing the plug-in's agent",
                                            now.count())
                                    .c_str());
  }
}

void ServiceManager::run() {
  sd_notify(kKeepEnvironment, "WATCHDOG=1");
  due_ = Clock::now() + interval_;
}

}  // namespace Agent

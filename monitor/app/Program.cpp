#include "monitor/app/Program.h"

#include <fmt/format.h>

#include "monitor/status/Status.h"

namespace Monitor {

namespace {

/// Changes of what a descriptor is watched for reach the kernel once a turn: libcurl makes several,
/// and what was watched and closed within a turn costs nothing.
event_base* newBase() {
  const std::unique_ptr<event_config, decltype(&event_config_free)> config(event_config_new(),
                                                                           &event_config_free);
  event_config_set_flag(config.get(), EVENT_BASE_FLAG_EPOLL_USE_CHANGELIST);
  return event_base_new_with_config(config.get());
}

}  // namespace

Program::Program(const CommandLine& line)
    : line_(line),
      base_(newBase()),
      loop_{base_.get(), &Clock::now},
      log_(line.verbose ? Severity::kInfo : Severity::kWarning, loop_.now, standardError()),
      libeventLog_(log_),
      icmp_(loop_),
      tcp_(loop_),
      http_(loop_),
      supervisor_(loop_, {icmp_, tcp_, http_}, log_),
      configurer_(
          line.config, [this](Config& config) { adjust(config); },
          [this](Config config) { apply(std::move(config)); }, log_),
      notifier_(Notifier::fromEnvironment()),
      watchdog_(watchdogInterval()),
      watchdogTimer_(base_.get(), [this] { signOfLife(); }),
      terminate_(base_.get(), SIGTERM, EV_SIGNAL | EV_PERSIST,
                 [this](short) { event_base_loopbreak(base_.get()); }),
      interrupt_(base_.get(), SIGINT, EV_SIGNAL | EV_PERSIST,
                 [this](short) { event_base_loopbreak(base_.get()); }),
      hangUp_(base_.get(), SIGHUP, EV_SIGNAL | EV_PERSIST, [this](short) { reload(); }) {
  terminate_.add();
  interrupt_.add();
  hangUp_.add();
}

int Program::run() {
  if (!configurer_.load()) {
    return 1;
  }
  tellReady();
  signOfLife();
  event_base_dispatch(base_.get());
  notifier_.send("STOPPING=1");
  return 0;
}

void Program::adjust(Config& config) const {
  config.agent.socket = line_.agentSocket.value_or(config.agent.socket);
  config.statusSocket = line_.statusSocket.value_or(config.statusSocket);
}

void Program::apply(Config config) {
  const std::string path = config.statusSocket;
  const bool same = statusServer_ != nullptr && statusServer_->path() == path;
  std::unique_ptr<StatusServer> next;
  if (!same && !path.empty()) {
    next = std::make_unique<StatusServer>(loop_, path,
                                          [this] { return statusText(supervisor_, configurer_); });
  }
  supervisor_.apply(std::move(config));
  if (!same) {
    statusServer_ = std::move(next);
  }
}

void Program::reload() {
  using namespace std::chrono;
  const auto now = duration_cast<microseconds>(Clock::now().time_since_epoch());
  notifier_.send(fmt::format("RELOADING=1\nMONOTONIC_USEC={}", now.count()));
  configurer_.load();
  tellReady();
}

void Program::signOfLife() {
  if (watchdog_) {
    notifier_.send("WATCHDOG=1");
    watchdogTimer_.set(*watchdog_);
  }
}

void Program::tellReady() const {
  const std::string status =
      configurer_.error()
          ? fmt::format("the configuration of before goes on: {}", *configurer_.error())
          : fmt::format("{} probes", supervisor_.watches().size());
  // One line: the rest of a long error is in the log.
  notifier_.send(fmt::format("READY=1\nSTATUS={}", status.substr(0, status.find('\n'))));
}

}  // namespace Monitor

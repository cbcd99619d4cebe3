#include "monitor/watch/Watch.h"

#include <fmt/format.h>

#include <algorithm>

#include "monitor/feed/Record.h"
#include "monitor/net/Failure.h"

namespace Monitor {

namespace {

/// How much later a round may begin to begin with others: no part of what it measures, as the times
/// of ICMP and TCP are the kernel's. The time of an HTTP exchange is taken by the loop, which is
/// not to be busy with other rounds just then.
std::chrono::nanoseconds slackOf(const ProbeConfig& probe) {
  constexpr std::chrono::nanoseconds kMost = std::chrono::milliseconds(4);
  return std::holds_alternative<HttpParameters>(probe.parameters)
             ? std::chrono::nanoseconds::zero()
             : std::min(kMost, probe.interval / 10);
}

/// Rounds on end without a measurement after which a record is too old to be shown.
constexpr unsigned kMostUnmeasured = 3;

}  // namespace

Prober& Probers::of(const ProbeConfig& probe) const {
  if (std::holds_alternative<IcmpParameters>(probe.parameters)) {
    return icmp;
  }
  return std::holds_alternative<TcpParameters>(probe.parameters) ? tcp : http;
}

Watch::Watch(WatchContext& context, ProbeConfig config)
    : context_(context), config_(std::move(config)) {
  begin();
}

Watch::~Watch() { withdraw(); }

void Watch::configIs(ProbeConfig config) {
  place_.reset();
  probe_.reset();
  name_.reset();
  address_.reset();
  key_.clear();
  config_ = std::move(config);
  begin();
}

void Watch::begin() {
  place_.emplace(
      context_.schedule, config_.identity(), config_.interval, [this] { startRound(); },
      slackOf(config_));
  if (std::holds_alternative<HttpParameters>(config_.parameters)) {
    key_ = recordKey(config_, {});  // An address is no part of it.
  }
  if (const auto literal = IpAddress::parse(config_.destination)) {
    addressIs(*literal);
    return;
  }
  name_ = context_.names.follow(config_.vrf, config_.destination,
                                [this](const NameAnswer& answer) { nameAnswered(answer); });
  if (name_->latest()) {
    nameAnswered(*name_->latest());
  }
}

void Watch::nameAnswered(const NameAnswer& answer) {
  const auto& found = answer.addresses;
  if (!found.empty()) {
    nameFailureSaid_ = false;
    // The present address stays as long as the name has it, whatever the order of the others.
    if (!address_ || std::ranges::find(found, *address_) == found.end()) {
      addressIs(found.front());
    }
  } else if (address_ && !std::exchange(nameFailureSaid_, true)) {
    context_.log.warning(fmt::format("{}: {}: {}; keeps {}", title(), config_.destination,
                                     answer.error, address_->text()));
  }
}

void Watch::addressIs(const IpAddress& address) {
  if (probe_ != nullptr) {
    place_->finished();  // A round under way ends here, without a result.
  }
  address_ = address;
  key_ = recordKey(config_, address);
  probe_ = context_.probers.of(config_).probe(
      {config_.binding, address, config_.interval, config_.timeout, config_.parameters},
      [this](const Result& result) { roundDone(result); });
}

void Watch::startRound() {
  if (probe_ != nullptr) {
    probe_->start();
  } else if (const auto& answer = name_->latest()) {
    roundDone(noAnswer(fmt::format("{}: {}", config_.destination, answer->error)));
  } else {
    place_->finished();  // The name's answer is on its way; the next round will have it.
  }
}

void Watch::roundDone(const Result& result) {
  place_->finished();
  if (result.outcome == Outcome::kOverloaded) {
    context_.onOverloaded();
    return;
  }
  ++rounds_;
  failures_ += result.outcome == Outcome::kNoAnswer ? 1 : 0;
  report(result);
  const bool first = !last_;
  last_ = result;
  publish(result);
  if (first) {
    context_.onFirstResult();
  }
}

void Watch::publish(const Result& result) {
  auto values = recordValues(config_, result);
  if (!values) {
    if (++unmeasured_ >= kMostUnmeasured) {
      withdraw();
    }
    return;
  }
  unmeasured_ = 0;
  if (key_.empty()) {
    return;  // The address would be part of it, and there is none.
  }
  const bool other = key_ != publishedKey_;
  if (!context_.mirror.put(key_, *std::move(values), this) && other) {
    context_.log.warning(
        fmt::format("{}: shares its record with another probe: {}", title(), key_));
  }
  if (other) {
    withdraw();
    publishedKey_ = key_;
  }
}

void Watch::withdraw() {
  if (!publishedKey_.empty()) {
    context_.mirror.remove(publishedKey_, this);
    publishedKey_.clear();
  }
}

void Watch::report(const Result& result) {
  const bool answered = result.outcome == Outcome::kAnswered;
  if (answered) {
    if (last_ && last_->outcome != Outcome::kAnswered) {
      context_.log.warning(fmt::format("{}: answers again", title()));
    }
  } else if (!last_ || last_->outcome != result.outcome || last_->text != result.text) {
    context_.log.warning(
        fmt::format("{}: {}{}", title(),
                    result.outcome == Outcome::kNotMeasured ? "not measured: " : "", result.text));
  }
}

std::optional<Milliseconds> Watch::resolveTime() const {
  if (name_ == nullptr || !name_->latest()) {
    return std::nullopt;
  }
  return name_->latest()->took;
}

std::string Watch::title() const {
  std::string text = fmt::format("{} (vrf {}) {} ", config_.host, config_.vrf, config_.protocol());
  if (const auto* http = std::get_if<HttpParameters>(&config_.parameters)) {
    text += http->url;
  } else if (const auto* tcp = std::get_if<TcpParameters>(&config_.parameters)) {
    text += fmt::format("{} port {}", config_.destination, tcp->port);
  } else {
    text += config_.destination;
  }
  if (!config_.binding.interface.empty()) {
    text += fmt::format(" through {}", config_.binding.interface);
  }
  return text;
}

}  // namespace Monitor

#include "monitor/feed/FeedClient.h"

#include <event2/buffer.h>
#include <event2/bufferevent.h>
#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>

#include "monitor/feed/Record.h"

namespace Monitor {

namespace {

/// Lines that are under way at most.
constexpr std::size_t kMostUnderWay = 512;
/// How long a change waits for others to go with it: what a thousand probes a second have to say
/// costs a hundred writes then, and as many answers to wake up for.
constexpr std::chrono::milliseconds kGather{10};
/// No answer of an agent is longer.
constexpr std::size_t kLongestAnswer = 65'536;

/// Null when the agent has carried the line out, else why not.
std::optional<std::string> refusalOf(std::string_view answer) {
  if (answer == R"({"ok":true})") {
    return std::nullopt;
  }
  const auto json = nlohmann::json::parse(answer, nullptr, false);
  if (!json.is_object() || !json.contains("ok") || !json["ok"].is_boolean()) {
    return "an answer that is none";
  }
  if (json["ok"].get<bool>()) {
    return std::nullopt;
  }
  return json.contains("error") && json["error"].is_string() ? json["error"].get<std::string>()
                                                             : "no reason given";
}

}  // namespace

void FeedClient::Free::operator()(bufferevent* buffer) const { bufferevent_free(buffer); }

FeedClient::FeedClient(const Loop& loop, std::string client, const AgentConfig& agent,
                       Mirror& mirror, Log& log, FeedPatience patience)
    : loop_(loop),
      client_(std::move(client)),
      agent_(agent),
      log_(log),
      patience_(patience),
      mirror_(mirror),
      retryTimer_(loop.base, [this] { onTimer(); }),
      fillTimer_(loop.base, [this] { fill(); }),
      answerTimer_(loop.base, [this] { lost("no answer"); }) {
  mirror_.listenerIs([this] {
    if (state_ == State::kSpeaking && !fillTimer_.pending()) {
      fillTimer_.set(kGather);
    }
  });
  retryTimer_.set({});
}

FeedClient::~FeedClient() {
  if (state_ != State::kLeaving && state_ != State::kGone) {
    mirror_.listenerIs(nullptr);
  }
}

void FeedClient::sweep() {
  sweepWanted_ = true;
  if (state_ == State::kSpeaking) {
    fill();
  }
}

void FeedClient::leave(std::function<void()> done) {
  onLeft_ = std::move(done);
  mirror_.listenerIs(nullptr);
  if (state_ != State::kSpeaking) {
    gone();
    return;
  }
  fillTimer_.cancel();
  state_ = State::kLeaving;
  send("{\"op\":\"removeClient\"}\n", {UnderWay::Kind::kLeave, {}});
}

void FeedClient::holdBack() { heldBack_ = true; }

void FeedClient::goOn() {
  if (std::exchange(heldBack_, false)) {
    retryTimer_.set({});
  }
}

void FeedClient::holdIs(std::chrono::nanoseconds hold) {
  agent_.hold = hold;
  close();
  state_ = State::kWaiting;
  retryTimer_.set({});
}

bool FeedClient::inStep() const noexcept {
  return state_ == State::kSpeaking && underWay_.empty() && !fillTimer_.pending() && !syncWanted_;
}

std::vector<Counter> FeedClient::counters() const {
  return {{"records", mirror_.size()},
          {"connects", connects_},
          {"lines", lines_},
          {"refused lines", refused_}};
}

void FeedClient::onTimer() {
  if (state_ == State::kGone) {
    if (const auto left = std::exchange(onLeft_, nullptr)) {
      left();
    }
  } else if (!heldBack_) {
    connect();
  }
}

void FeedClient::connect() {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (agent_.socket.size() >= sizeof address.sun_path) {
    lost("the path is too long for a socket");
    return;
  }
  std::copy(agent_.socket.begin(), agent_.socket.end(), std::begin(address.sun_path));
  UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  // Over a Unix socket a connection is there at once or not at all.
  if (!socket ||
      ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    lost(std::strerror(errno));
    return;
  }
  buffer_.reset(bufferevent_socket_new(loop_.base, socket.get(), BEV_OPT_CLOSE_ON_FREE));
  if (buffer_ == nullptr) {
    lost(std::strerror(ENOMEM));
    return;
  }
  (void)socket.release();
  bufferevent_setcb(
      buffer_.get(), [](bufferevent*, void* self) { static_cast<FeedClient*>(self)->onRead(); },
      nullptr,
      [](bufferevent*, short what, void* self) {
        static_cast<FeedClient*>(self)->lost((what & BEV_EVENT_EOF) != 0
                                                 ? "closed by the agent"
                                                 : std::strerror(EVUTIL_SOCKET_ERROR()));
      },
      this);
  bufferevent_enable(buffer_.get(), EV_READ | EV_WRITE);
  state_ = State::kGreeting;
  send(helloLine(client_, agent_.hold), {UnderWay::Kind::kHello, {}});
}

void FeedClient::onRead() {
  while (buffer_ != nullptr) {
    evbuffer* const input = bufferevent_get_input(buffer_.get());
    std::size_t length = 0;
    const std::unique_ptr<char, decltype(&std::free)> line(
        evbuffer_readln(input, &length, EVBUFFER_EOL_LF), &std::free);
    if (line == nullptr) {
      if (evbuffer_get_length(input) > kLongestAnswer) {
        lost("an answer without end");
      }
      return;
    }
    answer({line.get(), length});
  }
}

void FeedClient::answer(std::string_view line) {
  if (underWay_.empty()) {
    lost("an answer to nothing");
    return;
  }
  const bool full = underWay_.size() >= kMostUnderWay;
  const UnderWay step = std::move(underWay_.front());
  underWay_.pop_front();
  if (underWay_.empty()) {
    answerTimer_.cancel();
  } else {
    answerTimer_.set(patience_.answer);
  }
  if (const auto error = refusalOf(line)) {
    refused(step, *error);
  } else {
    carriedOut(step);
  }
  // What waits for room goes on as soon as there is some, collected over one turn of the loop.
  if (state_ == State::kSpeaking && (full || step.kind == UnderWay::Kind::kHello)) {
    fillTimer_.set({});
  }
}

void FeedClient::carriedOut(const UnderWay& step) {
  switch (step.kind) {
    case UnderWay::Kind::kHello:
      state_ = State::kSpeaking;
      ++connects_;
      retry_ = {};
      if (lossSaid_) {
        log_.warning(fmt::format("agent {}: connected", agent_.socket));
        lossSaid_ = false;
      } else {
        log_.info(fmt::format("agent {}: connected", agent_.socket));
      }
      mirror_.sayAll();
      syncWanted_ = true;
      break;
    case UnderWay::Kind::kStep:
      stepEnded(step);
      break;
    case UnderWay::Kind::kSweep:
      swept_ = true;
      break;
    case UnderWay::Kind::kSync:
      log_.info(fmt::format("agent {}: has all {} records", agent_.socket, mirror_.size()));
      break;
    case UnderWay::Kind::kLeave:
      gone();
      break;
  }
}

void FeedClient::refused(const UnderWay& step, const std::string& error) {
  ++refused_;
  if (step.kind == UnderWay::Kind::kHello || step.kind == UnderWay::Kind::kLeave) {
    lost(fmt::format("refused: {}", error));
    return;
  }
  // The same refusal of every round would say nothing new.
  if (error != lastRefusal_) {
    lastRefusal_ = error;
    log_.warning(fmt::format("agent {}: refused a line: {}{}{}", agent_.socket, error,
                             step.key.empty() ? "" : ": ", step.key));
  }
  if (step.kind == UnderWay::Kind::kStep) {
    stepEnded(step);
  }
}

void FeedClient::stepEnded(const UnderWay& step) {
  // The mirror of one who leaves may be another client's already, who waits for answers of its own.
  if (state_ != State::kLeaving) {
    mirror_.answered(step.key);
  }
}

void FeedClient::fill() {
  if (sweepWanted_ && !swept_ && std::ranges::none_of(underWay_, [](const UnderWay& each) {
        return each.kind == UnderWay::Kind::kSweep;
      })) {
    send("{\"op\":\"removeClient\"}\n", {UnderWay::Kind::kSweep, {}});
    mirror_.allRemoved();
    syncWanted_ = true;
  }
  while (underWay_.size() < kMostUnderWay) {
    auto step = mirror_.next();
    if (!step) {
      if (std::exchange(syncWanted_, false)) {
        send("{\"op\":\"sync\"}\n", {UnderWay::Kind::kSync, {}});
      }
      return;
    }
    send(step->line, {UnderWay::Kind::kStep, std::move(step->key)});
  }
}

void FeedClient::send(std::string_view line, UnderWay step) {
  if (underWay_.empty()) {
    answerTimer_.set(patience_.answer);
  }
  underWay_.push_back(std::move(step));
  ++lines_;
  // A caller's temporary lives until here.
  // cppcheck-suppress danglingTemporaryLifetime
  bufferevent_write(buffer_.get(), line.data(), line.size());
}

void FeedClient::close() {
  buffer_.reset();
  underWay_.clear();
  answerTimer_.cancel();
  fillTimer_.cancel();
}

void FeedClient::lost(const std::string& why) {
  close();
  if (state_ == State::kLeaving) {
    gone();
    return;
  }
  state_ = State::kWaiting;
  if (!std::exchange(lossSaid_, true)) {
    log_.warning(fmt::format("agent {}: {}; trying again until it is there", agent_.socket, why));
  }
  retry_ = std::clamp(retry_ * 2, patience_.firstRetry, patience_.longestRetry);
  retryTimer_.set(retry_);
}

void FeedClient::gone() {
  close();
  state_ = State::kGone;
  retryTimer_.set({});  // The one who is told may destroy this, which is still at work here.
}

}  // namespace Monitor

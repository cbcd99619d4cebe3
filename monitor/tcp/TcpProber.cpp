#include "monitor/tcp/TcpProber.h"

#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "monitor/loop/Event.h"
#include "monitor/net/Failure.h"

namespace Monitor {

namespace {

struct Handshake {
  bool complete = false;
  /// The kernel's own measurement, which the loop's delay is no part of. Null when it has none: it
  /// takes none when a segment was sent twice.
  std::optional<Milliseconds> roundTrip;
};

Handshake handshakeOf(int fd) {
  tcp_info info{};
  socklen_t length = sizeof info;
  if (::getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &length) != 0) {
    return {};
  }
  Handshake handshake{info.tcpi_state == TCP_ESTABLISHED, std::nullopt};
  if (info.tcpi_total_retrans == 0 && info.tcpi_rtt != 0) {
    handshake.roundTrip = std::chrono::microseconds(info.tcpi_rtt);
  }
  return handshake;
}

int pendingError(int fd) {
  int error = 0;
  socklen_t length = sizeof error;
  return ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) == 0 ? error : errno;
}

bool writableNow(int fd) {
  pollfd asked{fd, POLLOUT, 0};
  return ::poll(&asked, 1, 0) == 1;
}

}  // namespace

class TcpProbe final : public Probe {
 public:
  TcpProbe(TcpProber& prober, const ProbeSpec& spec, OnResult onResult)
      : prober_(prober),
        binding_(spec.binding),
        family_(spec.address.family()),
        target_(spec.address.socketAddress(std::get<TcpParameters>(spec.parameters).port)),
        timeout_(spec.timeout),
        onResult_(std::move(onResult)),
        later_(prober.loop_.base, [this] { finish(std::exchange(pending_, {})); }) {}

  void start() override {
    begin_ = prober_.loop_.now();
    auto opened = openSocket(binding_, family_, SOCK_STREAM, 0);
    if (auto* error = std::get_if<SocketError>(&opened)) {
      finishLater(notMeasured(std::move(error->text)));
      return;
    }
    socket_ = std::get<UniqueFd>(std::move(opened));
    if (::connect(socket_.get(), target_.get(), target_.length) != 0 && errno != EINPROGRESS) {
      finishLater(connectFailure(errno));
      return;
    }
    // Close by, the answer is often there already: then there is nothing to wait for.
    if (const Handshake handshake = handshakeOf(socket_.get()); handshake.complete) {
      finishLater(connected(handshake));
      return;
    }
    connecting_.emplace(prober_.loop_.base, socket_.get(), EV_WRITE,
                        [this](short what) { finish(outcome(what)); });
    connecting_->add(timeout_);
  }

  void stop() override {
    connecting_.reset();
    later_.cancel();
    socket_.reset();
  }

 private:
  [[nodiscard]] Result outcome(short what) const {
    // Writable goes before timed out: after a delay of the loop's own both may be true, and then
    // libevent tells the timeout alone.
    if ((what & EV_WRITE) == 0 && !writableNow(socket_.get())) {
      return connectFailure(ETIMEDOUT);
    }
    if (const int error = pendingError(socket_.get()); error != 0) {
      return connectFailure(error);
    }
    return connected(handshakeOf(socket_.get()));
  }

  [[nodiscard]] Result connected(const Handshake& handshake) const {
    const Milliseconds elapsed = prober_.loop_.now() - begin_;
    return {Outcome::kAnswered,
            TcpMeasurement{std::min(elapsed, handshake.roundTrip.value_or(elapsed)).count()},
            "connected"};
  }

  /// With what start() already found out.
  void finishLater(Result result) {
    pending_ = std::move(result);
    later_.expire();
  }

  void finish(const Result& result) {
    stop();
    switch (result.outcome) {
      case Outcome::kAnswered:
        ++prober_.counts_.connected;
        break;
      case Outcome::kNoAnswer:
        ++prober_.counts_.noAnswer;
        break;
      case Outcome::kNotMeasured:
      case Outcome::kOverloaded:
        ++prober_.counts_.notMeasured;
        break;
    }
    const OnResult call = onResult_;  // The callee may destroy this.
    call(result);
  }

  TcpProber& prober_;
  Binding binding_;
  int family_;
  SocketAddress target_;
  std::chrono::nanoseconds timeout_;
  OnResult onResult_;
  Timer later_;
  Result pending_;
  Clock::time_point begin_;
  UniqueFd socket_;
  std::optional<Event> connecting_;  ///< Destroyed before the descriptor is closed.
};

std::unique_ptr<Probe> TcpProber::probe(const ProbeSpec& spec, OnResult onResult) {
  return std::make_unique<TcpProbe>(*this, spec, std::move(onResult));
}

std::vector<Counter> TcpProber::counters() const {
  return {{"connected", counts_.connected},
          {"no answer", counts_.noAnswer},
          {"not measured", counts_.notMeasured}};
}

}  // namespace Monitor

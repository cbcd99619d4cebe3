/// A hostile peer of the TCP and HTTP probers: it answers a connection with these octets, in
/// pieces, and closes or resets it. Whatever it says, the round ends with one result, and what is
/// published of that is a line that the agent takes.

#include <event2/event.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "FuzzInput.h"
#include "agent/feed/Parser.h"
#include "monitor/feed/Record.h"
#include "monitor/http/HttpProber.h"
#include "monitor/tcp/TcpProber.h"

using namespace Monitor;

namespace {

constexpr std::chrono::milliseconds kTimeout{500};

struct BaseFree {
  void operator()(event_base* base) const { event_base_free(base); }
};

/// Listens on loopback; answers each connection once something has come over it, or at once.
class Peer {
 public:
  explicit Peer(event_base* base)
      : base_(base),
        listener_(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)),
        acceptable_(base, listener_.get(), EV_READ | EV_PERSIST, [this](short) { accept(); }) {
    const auto any = IpAddress::parse("127.0.0.1")->socketAddress(0);
    require(bind(listener_.get(), any.get(), any.length) == 0 && listen(listener_.get(), 5) == 0);
    acceptable_.add();
  }

  [[nodiscard]] std::uint16_t port() const {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
  }
  void answerIs(std::string_view answer, bool atOnce, bool resets, std::size_t piece) {
    connection_.reset();
    readable_.reset();
    answer_ = answer;
    atOnce_ = atOnce;
    resets_ = resets;
    piece_ = piece;
  }

 private:
  void accept() {
    connection_ =
        UniqueFd(::accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (connection_.get() < 0) {
      return;
    }
    readable_ = std::make_unique<Event>(base_, connection_.get(), short{EV_READ},
                                        [this](short) { answer(); });
    if (atOnce_) {
      answer();
    } else {
      readable_->add();
    }
  }
  void answer() {
    std::array<char, 4096> request{};
    while (recv(connection_.get(), request.data(), request.size(), 0) > 0) {
    }
    while (!answer_.empty()) {
      const auto sent =
          send(connection_.get(), answer_.data(), std::min(piece_, answer_.size()), MSG_NOSIGNAL);
      if (sent <= 0) {
        break;
      }
      answer_.remove_prefix(static_cast<std::size_t>(sent));
    }
    if (resets_) {
      const linger hard{1, 0};
      setsockopt(connection_.get(), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    }
    connection_ = UniqueFd();
  }

  event_base* base_;
  UniqueFd listener_;
  Event acceptable_;
  UniqueFd connection_;
  std::unique_ptr<Event> readable_;
  std::string_view answer_;
  bool atOnce_ = false;
  bool resets_ = false;
  std::size_t piece_ = 0;
};

struct World {
  std::unique_ptr<event_base, BaseFree> base{event_base_new()};
  HttpProber http{{base.get(), &Clock::now}};
  TcpProber tcp{{base.get(), &Clock::now}};
  Peer peer{base.get()};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto& world = *new World;
  const WithinASecond limit;
  (void)std::signal(SIGPIPE, SIG_IGN);
  FuzzInput input(data, size);
  const unsigned how = input.octet();
  const std::size_t piece = 1U + input.octet() * 16U;
  const unsigned kind = how % 4;  // TCP, GET, HEAD, TLS.
  const std::uint16_t port = world.peer.port();

  ProbeConfig probe;
  probe.host = "h";
  probe.vrf = "default";
  if (kind == 0) {
    probe.parameters = TcpParameters{port};
  } else {
    HttpParameters http;
    http.url =
        (kind == 3 ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(port) + '/';
    http.method = kind == 2 ? "HEAD" : "GET";
    http.expectedStatus = {{200, 299}};
    // To read the system's certificates would take most of the time, and no input is signed by one.
    http.verifyTls = false;
    http.caFile = "/dev/null";
    probe.parameters = http;
  }
  ProbeSpec spec;
  spec.address = *IpAddress::parse("127.0.0.1");
  spec.timeout = kTimeout;
  spec.interval = std::chrono::seconds(1);
  spec.parameters = probe.parameters;

  world.peer.answerIs(input.rest(), (how & 4) != 0, (how & 8) != 0, piece);
  std::optional<Result> result;
  Prober& prober = kind == 0 ? static_cast<Prober&>(world.tcp) : world.http;
  const auto probing = prober.probe(spec, [&](const Result& got) {
    require(!result);
    result = got;
  });
  probing->start();
  require(!result);
  while (!result) {
    event_base_loop(world.base.get(), EVLOOP_ONCE);
  }
  event_base_loop(world.base.get(), EVLOOP_NONBLOCK);
  if (const auto values = recordValues(probe, *result)) {
    std::string line = putLine(recordKey(probe, spec.address), *values);
    line.pop_back();
    require(std::holds_alternative<Agent::Operation>(Agent::parseFeedLine(line)));
  }
  return 0;
}

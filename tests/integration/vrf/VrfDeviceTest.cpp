// Every protocol, and the resolver, through a device that a VRF is.
//
// Two neighbours have the same address. One is behind eth1, in the VRF; the other behind eth2,
// where routing leads that knows of no VRF, and it serves nothing and answers no echo. So only what
// is bound to the VRF's device finds anything.
//
// Each test is run twice: with a VRF device, where the kernel has that type, and with eth1 itself
// in its place, which shows that sockets are bound to the device that is configured.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "Lab.h"
#include "Unavailable.h"
#include "monitor/http/HttpProber.h"
#include "monitor/icmp/IcmpProber.h"
#include "monitor/resolve/Resolver.h"
#include "monitor/tcp/TcpProber.h"
#include "tests/unit/monitor/DnsServerTesting.h"
#include "tests/unit/monitor/HttpServerTesting.h"

namespace Monitor::Testing {
namespace {

using namespace std::chrono_literals;
using Netlab::Namespace;

using Parameters = decltype(ProbeSpec::parameters);

constexpr auto kNeighbour = "192.0.2.2";

enum class Kind { kVrfDevice, kInterface };

class VrfDevice : public testing::TestWithParam<Kind> {
 protected:
  void SetUp() override {
    try {
      here_ = std::make_unique<Namespace>(name_);
      inside_ = std::make_unique<Namespace>(name_ + "-in");
      outside_ = std::make_unique<Namespace>(name_ + "-out");
    } catch (const std::exception& error) {
      GTEST_SKIP() << Netlab::unavailable("netns", error.what());
    }
    if (GetParam() == Kind::kVrfDevice) {
      if (std::system(("ip -n " + name_ + " link add blue type vrf table 10 2>&1").c_str()) != 0) {
        GTEST_SKIP() << Netlab::unavailable("vrf-device", "this kernel has no VRF device type");
      }
      here_->run("ip link set blue up");
    }
    // Answers come in where routing would not send anything to.
    here_->run(
        "for each in all default; do echo 0 > /proc/sys/net/ipv4/conf/$each/rp_filter; done");
    join("eth1", *inside_, 100);
    join("eth2", *outside_, 1);
    outside_->run("echo 1 > /proc/sys/net/ipv4/icmp_echo_ignore_all");
    if (GetParam() == Kind::kVrfDevice) {
      here_->run("ip link set eth1 master blue");
    }
  }

  /// In the VRF.
  [[nodiscard]] Binding inVrf(const std::string& interface = "") const {
    return {name_, GetParam() == Kind::kVrfDevice ? "blue" : "eth1", interface};
  }
  /// Beside it.
  [[nodiscard]] Binding besideVrf() const { return {name_, "", ""}; }
  /// Where the servers are.
  [[nodiscard]] Binding atNeighbour() const { return {inside_->name(), "", ""}; }

  /// Rounds until one is answered: an interface that has just come up loses what is sent before the
  /// kernel has activated its queue.
  [[nodiscard]] Result answered(Prober& prober, const Parameters& parameters,
                                const Binding& binding) {
    Result result;
    for (int i = 0; i < 100 && result.outcome != Outcome::kAnswered; ++i) {
      result = roundOf(loop_, prober, spec(parameters, binding, 2s));
    }
    return result;
  }
  [[nodiscard]] static ProbeSpec spec(const Parameters& parameters, const Binding& binding,
                                      std::chrono::nanoseconds timeout = 1s) {
    return {binding, *IpAddress::parse(kNeighbour), 60s, timeout, parameters};
  }

  TestLoop loop_;

 private:
  void join(const std::string& device, const Namespace& far, int metric) const {
    here_->run("ip link add " + device + " type veth peer name eth0 netns " + far.name() +
               " && ip link set " + device + " up && ip addr add 192.0.2.1/24 dev " + device +
               " metric " + std::to_string(metric));
    far.run(std::string("ip addr add ") + kNeighbour + "/24 dev eth0 && ip link set eth0 up");
  }

  const std::string name_ = Netlab::uniqueName();
  std::unique_ptr<Namespace> here_, inside_, outside_;
};

TEST_P(VrfDevice, EchoesAreAnsweredInTheVrfAlone) {
  const Loop loop = loop_.loop();
  IcmpProber prober(loop);
  const IcmpParameters twice{2, 20ms};
  for (const char* interface : {"", "eth1"}) {
    const Result result = answered(prober, twice, inVrf(interface));
    EXPECT_EQ(result.outcome, Outcome::kAnswered) << interface << ": " << result.text;
  }
  const Result beside = roundOf(loop_, prober, spec(twice, besideVrf()));
  EXPECT_EQ(beside.outcome, Outcome::kNoAnswer) << beside.text;
}

TEST_P(VrfDevice, TcpConnectsInTheVrfAlone) {
  TcpProber prober(loop_.loop());
  const UniqueFd server = listener(kNeighbour, atNeighbour());
  const TcpParameters port{portOf(server.get())};
  for (const char* interface : {"", "eth1"}) {
    const Result result = answered(prober, port, inVrf(interface));
    EXPECT_EQ(result.outcome, Outcome::kAnswered) << interface << ": " << result.text;
  }
  const Result beside = roundOf(loop_, prober, spec(port, besideVrf()));
  EXPECT_EQ(beside.outcome, Outcome::kNoAnswer) << beside.text;
}

TEST_P(VrfDevice, HttpIsExchangedInTheVrfAlone) {
  HttpProber prober(loop_.loop());
  const HttpServer server(loop_, kNeighbour, nullptr, atNeighbour());
  HttpParameters http;
  http.url = std::string("http://") + kNeighbour + ":" + std::to_string(server.port()) + "/";
  http.expectedStatus = {{200, 200}};
  for (const char* interface : {"", "eth1"}) {
    const Result result = answered(prober, http, inVrf(interface));
    EXPECT_EQ(result.outcome, Outcome::kAnswered) << interface << ": " << result.text;
  }
  const auto requests = server.requests().size();
  const Result beside = roundOf(loop_, prober, spec(http, besideVrf()));
  EXPECT_EQ(beside.outcome, Outcome::kNoAnswer) << beside.text;
  EXPECT_EQ(server.requests().size(), requests);
}

TEST_P(VrfDevice, NamesAreAskedForInTheVrfAloneAndAgainWhenTheirTtlIsOver) {
  DnsServer server(loop_, atNeighbour(), kNeighbour);
  server.ttlIs(1);
  Resolver resolver(loop_.loop(), {10ms, 1h, 40ms});
  resolver.vrfsAre({server.vrf("default", besideVrf()), server.vrf("blue", inVrf())});
  std::optional<NameAnswer> inside, beside;
  const auto blue =
      resolver.follow("blue", "web1.example", [&](const NameAnswer& answer) { inside = answer; });
  const auto found = [&](const std::string& address) {
    return loop_.runUntil([&] {
      return inside && inside->addresses.size() == 1 && inside->addresses[0].text() == address;
    });
  };
  EXPECT_TRUE(found("192.0.2.1")) << (inside ? inside->error : "no answer");
  server.v4Is("192.0.2.99");
  EXPECT_TRUE(found("192.0.2.99")) << "not asked for again";
  const auto other = resolver.follow("default", "web1.example",
                                     [&](const NameAnswer& answer) { beside = answer; });
  ASSERT_TRUE(loop_.runUntil([&] { return beside.has_value(); }));
  EXPECT_TRUE(beside->addresses.empty());
  EXPECT_NE(beside->error, "");
}

INSTANTIATE_TEST_SUITE_P(On, VrfDevice, testing::Values(Kind::kVrfDevice, Kind::kInterface),
                         [](const testing::TestParamInfo<Kind>& one) {
                           return one.param == Kind::kVrfDevice ? "AVrfDevice"
                                                                : "AnInterfaceInItsPlace";
                         });

}  // namespace
}  // namespace Monitor::Testing

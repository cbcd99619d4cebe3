/// What requests cost the agent, against a GET of a scalar in the same agent, and what a probe
/// costs it in memory. CPU time is the agent's own, user and system.
///
/// usage: snmp_bench AGENT

#include <algorithm>
#include <cstdio>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "AgentProcess.h"
#include "SnmpLoadClient.h"

namespace {

using bench::AgentProcess;
using bench::Oid;
using bench::Pdu;
using bench::SnmpLoadClient;

const Oid kScalar = {1, 3, 6, 1, 2, 1, 1, 3, 0};  // sysUpTime.0
const Oid kIcmpColumn = {1, 3, 6, 1, 4, 1, 61111, 3, 38, 1, 1, 1, 8};
constexpr std::uint8_t kRepetitions = 25;
// A manager's walk waits for each answer before it asks on.
constexpr unsigned kOneByOne = 1;
// More than one manager at a time: the agent finds the next request when it has answered one, so
// that it neither sleeps nor wakes, which every kind of request costs alike.
constexpr unsigned kBusy = 8;
constexpr std::size_t kPackets = 4000;
// A machine's speed wanders from one tenth of a second to the next, above all a virtual one's. The
// kinds of request take short turns, so that each ratio is taken at one speed.
constexpr std::size_t kTurn = 250;
constexpr std::size_t kRounds = 60;
constexpr std::size_t kSmall = 1'000;
constexpr std::size_t kMedium = 10'000;
constexpr std::size_t kLarge = 100'000;

std::string icmpLine(std::size_t host) {
  const std::string n = std::to_string(host);
  return R"({"op":"put","host":"host)" + n +
         R"(","probe":"icmp","interface":"eth1","address":"10.)" +
         std::to_string(host >> 16 & 255) + "." + std::to_string(host >> 8 & 255) + "." +
         std::to_string(host & 255) + R"(","latency":12.345,"jitter":0.2,"packetLoss":0})";
}

std::string httpLine(std::size_t host) {
  const std::string name = "host" + std::to_string(host);
  return R"({"op":"put","host":")" + name +
         R"(","probe":"http","interface":"eth1","url":"http://)" + name +
         R"(/","responseTime":25.7})";
}

std::string tcpLine(std::size_t host) {
  std::string line = icmpLine(host);
  line.replace(line.find("icmp"), 4, "tcp");
  line.erase(line.find(R"(,"jitter")"));
  return line + R"(,"port":443})";
}

std::vector<std::string> helloLines() {
  return {R"({"op":"hello","client":"lab"})", R"({"op":"interface","name":"eth1","ifIndex":7})"};
}

/// The instances of one column, in walk order.
std::vector<Oid> walk(SnmpLoadClient& client) {
  std::vector<Oid> instances;
  Oid from = kIcmpColumn;
  while (true) {
    const auto& response = client.ask(Pdu::kGetBulk, {from}, 0, 50);
    for (const auto& varbind : response.varbinds) {
      if (!std::equal(kIcmpColumn.begin(), kIcmpColumn.end(), varbind.name.begin(),
                      varbind.name.begin() + static_cast<std::ptrdiff_t>(std::min(
                                                 kIcmpColumn.size(), varbind.name.size())))) {
        return instances;
      }
      instances.push_back(varbind.name);
    }
    from = instances.back();
  }
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

bool judge(const std::string& what, double value, double atMost, const char* unit = "") {
  const bool met = value <= atMost;
  std::printf("  %-44s %8.2f%s  (at most %.2f: %s)\n", what.c_str(), value, unit, atMost,
              met ? "met" : "MISSED");
  return met;
}

/// Medians over rounds: CPU seconds for the scalar, ratios to it for the others.
struct Requests {
  double scalar = 0;
  double get = 0;
  double getNext = 0;
  double getBulk = 0;
};

/// Every kind of request asks for the rows at the same places, `place(n)` for the n-th, with
/// `window` requests under way at a time.
template <class Place>
Requests measureAt(const AgentProcess& agent, SnmpLoadClient& client,
                   const std::vector<Oid>& instances, unsigned window, const Place& place) {
  std::vector<std::string> scalar;
  std::vector<std::string> get;
  std::vector<std::string> getNext;
  std::vector<std::string> getBulk;
  for (std::size_t at = 0; at < kPackets; ++at) {
    const Oid& name = instances[place(at) % (instances.size() - 1 - kRepetitions)];
    scalar.push_back(client.encode(Pdu::kGet, {kScalar}));
    get.push_back(client.encode(Pdu::kGet, {name}));
    getNext.push_back(client.encode(Pdu::kGetNext, {name}));
    getBulk.push_back(client.encode(Pdu::kGetBulk, {name}, 0, kRepetitions));
  }
  std::size_t round = 0;
  const auto cost = [&](const std::vector<std::string>& packets) {
    const double began = agent.cpuSeconds();
    client.run(std::span(packets).subspan(round * kTurn % kPackets, kTurn), window);
    return (agent.cpuSeconds() - began) / static_cast<double>(kTurn);
  };
  std::vector<double> scalars;
  std::vector<double> gets;
  std::vector<double> nexts;
  std::vector<double> bulks;
  for (; round <= kRounds; ++round) {
    const double base = cost(scalar);
    const double ofGet = cost(get);
    const double ofNext = cost(getNext);
    const double ofBulk = cost(getBulk);
    if (round == 0) {
      continue;  // Warms up.
    }
    scalars.push_back(base);
    gets.push_back(ofGet / base);
    nexts.push_back(ofNext / base);
    bulks.push_back(ofBulk / base);
  }
  return {median(scalars), median(gets), median(nexts), median(bulks)};
}

void tell(const char* how, const Requests& costs) {
  std::printf("  %s: scalar %.2f us, GET %.2f, GETNEXT %.2f, GETBULK %.2f (no target)\n", how,
              costs.scalar * 1e6, costs.get, costs.getNext, costs.getBulk);
}

struct Costs {
  bool met = true;
  double perVarbind = 0;  ///< Seconds for one varbind of a bulk answer.
};

Costs measureRequests(const std::string& program, std::size_t rows) {
  AgentProcess agent(program);
  auto lines = helloLines();
  for (std::size_t host = 0; host < rows; ++host) {
    lines.push_back(icmpLine(host));
  }
  lines.emplace_back(R"({"op":"sync"})");
  agent.feed(lines);
  SnmpLoadClient client(agent.port(), "public");
  const auto instances = walk(client);
  if (instances.size() != rows) {
    throw std::runtime_error("the walk shows " + std::to_string(instances.size()) + " rows");
  }

  // As managers poll: row after row. Bulk requests stay clear of the column's end.
  const auto rowAfterRow = [](std::size_t at) { return at; };
  const auto inOrder = measureAt(agent, client, instances, kOneByOne, rowAfterRow);
  // Each row wherever it may be, which finds nothing of it in the processor's caches.
  std::mt19937_64 random(4711);
  const auto atRandom = measureAt(agent, client, instances, kOneByOne,
                                  [&](std::size_t) { return static_cast<std::size_t>(random()); });
  const auto busy = measureAt(agent, client, instances, kBusy, rowAfterRow);

  std::printf("%zu rows; GET of a scalar: %.2f us of CPU\n", rows, busy.scalar * 1e6);
  Costs costs;
  costs.met = judge("GET of a row / GET of a scalar", busy.get, 1.15);
  costs.met = judge("GETNEXT of a row / GET of a scalar", busy.getNext, 1.15) && costs.met;
  costs.met = judge("GETBULK of 25 / GET of a scalar", busy.getBulk, 3.0) && costs.met;
  tell("one request at a time", inOrder);
  tell("one at a time, rows at random", atRandom);
  costs.perVarbind = busy.getBulk * busy.scalar / kRepetitions;
  return costs;
}

/// Memory that a probe adds, with `kinds` probes a host.
double bytesPerProbe(const std::string& program, std::size_t hosts, int kinds) {
  AgentProcess agent(program);
  auto lines = helloLines();
  lines.emplace_back(R"({"op":"sync"})");
  agent.feed(lines);
  const std::size_t before = agent.anonymousBytes();
  lines.clear();
  std::size_t probes = 0;
  const auto flush = [&] {
    lines.emplace_back(R"({"op":"sync"})");
    agent.feed(lines);
    lines.clear();
  };
  for (std::size_t host = 0; host < hosts; ++host) {
    lines.push_back(icmpLine(host));
    if (kinds == 3) {
      lines.push_back(httpLine(host));
      lines.push_back(tcpLine(host));
    }
    probes += static_cast<std::size_t>(kinds);
    if (lines.size() > 1000) {
      flush();
    }
  }
  flush();
  return static_cast<double>(agent.anonymousBytes() - before) / static_cast<double>(probes);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: snmp_bench AGENT\n");
    return 2;
  }
  const std::string program = argv[1];
  try {
    bool met = true;
    double perVarbindSmall = 0;
    double perVarbindLarge = 0;
    for (const std::size_t rows : {kSmall, kMedium, kLarge}) {
      const Costs costs = measureRequests(program, rows);
      met = costs.met && met;
      (rows == kSmall ? perVarbindSmall : perVarbindLarge) = costs.perVarbind;
    }
    met =
        judge("bulk varbind at 100,000 rows / at 1,000", perVarbindLarge / perVarbindSmall, 1.2) &&
        met;
    std::printf("Memory of 99,999 probes\n");
    met =
        judge("three kinds of probe a host", bytesPerProbe(program, 33'333, 3), 700, " B/probe") &&
        met;
    std::printf("  %-44s %8.2f B/probe\n", "one probe a host (no target)",
                bytesPerProbe(program, 99'999, 1));
    return met ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "snmp_bench: %s\n", error.what());
    return 1;
  }
}

#include "monitor/config/HostReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "monitor/config/HttpReader.h"
#include "monitor/config/Names.h"
#include "monitor/config/Scalars.h"

namespace Monitor {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMaxNameBytes = 255;
constexpr std::uint32_t kMaxBurst = 100;
constexpr std::string_view kDestination = "an IPv4 address, an IPv6 address or a domain name";

bool isDestination(const std::string& text) {
  return IpAddress::parse(text).has_value() || isDomainName(text);
}

void readTimes(Problems& problems, Map& map, std::chrono::nanoseconds& interval,
               std::chrono::nanoseconds& timeout) {
  if (const auto field = map.take("interval")) {
    interval = readDuration(problems, *field, 10ms, 24h).value_or(interval);
  }
  if (const auto field = map.take("timeout")) {
    timeout = readDuration(problems, *field, 1ms, 1h).value_or(timeout);
  }
}

void readBurst(Problems& problems, Map& map, IcmpParameters& icmp) {
  if (const auto field = map.take("burst")) {
    icmp.burst = static_cast<std::uint16_t>(
        readWholeNumber(problems, *field, 1, kMaxBurst).value_or(icmp.burst));
  }
  if (const auto field = map.take("burst-gap")) {
    icmp.gap = readDuration(problems, *field, 1ms, 10s).value_or(icmp.gap);
  }
}

/// How long a round may take.
std::chrono::nanoseconds longestRound(const ProbeConfig& probe) {
  const auto* icmp = std::get_if<IcmpParameters>(&probe.parameters);
  return probe.timeout + (icmp == nullptr ? 0ns : icmp->gap * (icmp->burst - 1));
}

}  // namespace

void readDefaults(Problems& problems, const Field& field, ProbeDefaults& defaults) {
  Map map(problems, field, "a map of defaults for the probes");
  readTimes(problems, map, defaults.interval, defaults.timeout);
  readBurst(problems, map, defaults.icmp);
}

std::optional<std::string> readPath(Problems& problems, const Field& field,
                                    const std::filesystem::path& directory) {
  const auto text = readText(problems, field, "a path");
  if (!text) {
    return std::nullopt;
  }
  if (text->empty() || text->find('\0') != std::string::npos) {
    problems.expected(field, "a path");
    return std::nullopt;
  }
  return (directory / *text).string();
}

std::vector<ProbeConfig> HostReader::read(const Field& hosts) {
  if (!hosts.node.IsSequence()) {
    problems_.expected(hosts, "a list of hosts");
    return {};
  }
  for (std::size_t i = 0; i < hosts.node.size(); ++i) {
    readHost({hosts.node[i], fmt::format("{}[{}]", hosts.path, i)});
  }
  return std::move(probes_);
}

void HostReader::readHost(const Field& field) {
  Map map(problems_, field, "a map with the keys name and icmp, tcp or http");
  Host host;
  if (const auto name = map.need("name", "the host's name in the tables")) {
    host.common.host = readName(problems_, *name, kMaxNameBytes).value_or("-");
    host.address = name;
  }
  host.common.vrf = kDefaultVrf;
  if (const auto vrf = map.take("vrf")) {
    const auto name = readText(problems_, *vrf, "the name of a VRF");
    const auto known = std::ranges::find(vrfs_, name.value_or(host.common.vrf), &VrfConfig::name);
    if (known == vrfs_.end()) {
      problems_.expected(*vrf, "one of the keys of vrfs, or default");
    } else {
      host.common.vrf = known->name;
      host.common.binding = known->binding;
    }
  }
  if (const auto address = map.take("address")) {
    host.address = address;
  }
  const auto icmp = map.take("icmp");
  const auto tcp = map.take("tcp");
  const auto http = map.take("http");
  if (field.node.IsMap() && !icmp && !tcp && !http) {
    problems_.add(field.node.Mark(), field.path, "expected at least one of icmp, tcp and http");
  }
  readProbes(host, icmp, {"a map of ICMP settings", true, &HostReader::readIcmp});
  readProbes(host, tcp, {"a map with the key port", false, &HostReader::readTcp});
  readProbes(host, http, {"a map with the key url", false, &HostReader::readHttp});
}

void HostReader::readProbes(const Host& host, const std::optional<Field>& field, const Kind& kind) {
  if (!field) {
    return;
  }
  if (!field->node.IsSequence()) {
    readProbe(host, *field, kind);
    return;
  }
  if (field->node.size() == 0) {
    problems_.expected(*field, "at least one probe");
  }
  for (std::size_t i = 0; i < field->node.size(); ++i) {
    readProbe(host, {field->node[i], fmt::format("{}[{}]", field->path, i)}, kind);
  }
}

void HostReader::readProbe(const Host& host, const Field& field, const Kind& kind) {
  Map map(problems_, field, kind.what, kind.mayBeNothing);
  ProbeConfig probe = host.common;
  probe.interval = defaults_.interval;
  probe.timeout = defaults_.timeout;
  readTimes(problems_, map, probe.interval, probe.timeout);
  if (const auto interface = map.take("interface")) {
    probe.binding.interface = readText(problems_, *interface, "an interface's name").value_or("-");
    if (!isDeviceName(probe.binding.interface)) {
      problems_.expected(*interface, "an interface's name, 1 to 15 bytes");
    }
  }
  (this->*kind.readKeys)(map, host, probe);
  checkTimes(field, probe);
  checkIsNew(field, probe);
  probes_.push_back(std::move(probe));
}

void HostReader::readIcmp(Map& map, const Host& host, ProbeConfig& probe) {
  IcmpParameters icmp = defaults_.icmp;
  readBurst(problems_, map, icmp);
  probe.parameters = icmp;
  readDestination(map, host, probe);
}

void HostReader::readTcp(Map& map, const Host& host, ProbeConfig& probe) {
  constexpr std::uint32_t kLast = std::numeric_limits<std::uint16_t>::max();
  TcpParameters tcp;
  if (const auto port = map.need("port", "a port from 1 to 65535")) {
    tcp.port = static_cast<std::uint16_t>(readWholeNumber(problems_, *port, 1, kLast).value_or(0));
  }
  probe.parameters = tcp;
  readDestination(map, host, probe);
}

void HostReader::readHttp(Map& map, const Host& /*host*/, ProbeConfig& probe) {
  readHttpKeys(problems_, map, directory_, probe);
  if (const auto address = map.take("address")) {
    probe.destination = readText(problems_, *address, kDestination).value_or("-");
    if (!isDestination(probe.destination)) {
      problems_.expected(*address, kDestination);
    }
  }
}

void HostReader::readDestination(Map& map, const Host& host, ProbeConfig& probe) {
  const auto own = map.take("address");
  const auto& field = own ? own : host.address;
  if (!field) {
    return;  // The host's name is missing, which has been said.
  }
  probe.destination = readText(problems_, *field, kDestination).value_or("-");
  if (!isDestination(probe.destination)) {
    problems_.expected(*field, kDestination);
  }
}

void HostReader::checkTimes(const Field& field, const ProbeConfig& probe) {
  if (longestRound(probe) > probe.interval) {
    problems_.add(field.node.Mark(), field.path,
                  "expected rounds that end within the interval, but the timeout, with ICMP after "
                  "the last packet of the burst, ends after it");
  }
}

void HostReader::checkIsNew(const Field& field, const ProbeConfig& probe) {
  const int line = field.node.Mark().line + 1;
  const auto [other, isNew] = lines_.emplace(probe.identity(), line);
  if (!isNew) {
    problems_.add(
        field.node.Mark(), field.path,
        fmt::format("expected a probe that differs from the one in line {}, in host, VRF, "
                    "interface, or address, port or URL",
                    other->second));
  }
}

}  // namespace Monitor

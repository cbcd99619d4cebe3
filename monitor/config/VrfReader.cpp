#include "monitor/config/VrfReader.h"

#include <fmt/format.h>

#include <charconv>
#include <limits>

#include "monitor/config/Map.h"
#include "monitor/config/Names.h"
#include "monitor/config/Scalars.h"

namespace Monitor {

namespace {

/// The longest VRF name that an SNMP manager can ask for.
constexpr std::size_t kMaxVrfBytes = 32;
constexpr std::uint16_t kDnsPort = 53;

std::optional<NameServer> parseNameServer(const std::string& text) {
  if (const auto address = IpAddress::parse(text)) {
    return NameServer{*address, kDnsPort};
  }
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) {
    return std::nullopt;
  }
  std::string host = text.substr(0, colon);
  const bool brackets = host.starts_with('[') && host.ends_with(']');
  const auto address = IpAddress::parse(brackets ? host.substr(1, host.size() - 2) : host);
  unsigned port = 0;
  const auto [end, error] =
      std::from_chars(text.data() + colon + 1, text.data() + text.size(), port);
  if (!address || address->isV6() != brackets || error != std::errc() ||
      end != text.data() + text.size() || port == 0 ||
      port > std::numeric_limits<std::uint16_t>::max()) {
    return std::nullopt;
  }
  return NameServer{*address, static_cast<std::uint16_t>(port)};
}

std::vector<NameServer> readNameServers(Problems& problems, const Field& field) {
  std::vector<NameServer> servers;
  if (!field.node.IsSequence() || field.node.size() == 0) {
    problems.expected(field, "a list of one or more name servers");
    return servers;
  }
  for (std::size_t i = 0; i < field.node.size(); ++i) {
    const Field item{field.node[i], fmt::format("{}[{}]", field.path, i)};
    constexpr std::string_view kWhat = "an address, or ADDRESS:PORT with an IPv6 one in brackets";
    const auto text = readText(problems, item, kWhat);
    if (!text) {
      continue;
    }
    if (const auto server = parseNameServer(*text)) {
      servers.push_back(*server);
    } else {
      problems.expected(item, kWhat);
    }
  }
  return servers;
}

bool isNamespaceName(const std::string& text) {
  return !text.empty() && text != "." && text != ".." && text.find('/') == std::string::npos;
}

VrfConfig readVrf(Problems& problems, const std::string& name, const Field& field) {
  VrfConfig vrf{name, {}, {}};
  const bool isDefault = name == kDefaultVrf;
  Map map(problems, field,
          isDefault ? "a map with the key name-servers" : "a map with the key device or netns");
  if (!isDefault) {
    const auto device = map.take("device");
    const auto netns = map.take("netns");
    if (field.node.IsMap() && device.has_value() == netns.has_value()) {
      problems.add(field.node.Mark(), field.path, "expected either device or netns");
    }
    if (device) {
      vrf.binding.device = readText(problems, *device, "the name of a VRF device").value_or("-");
      if (!isDeviceName(vrf.binding.device)) {
        problems.expected(*device, "the name of a VRF device, 1 to 15 bytes");
      }
    }
    if (netns) {
      vrf.binding.netns =
          readName(problems, *netns, std::numeric_limits<std::uint8_t>::max()).value_or("-");
      if (!isNamespaceName(vrf.binding.netns)) {
        problems.expected(*netns, "the name of a network namespace");
      }
    }
  }
  if (const auto servers = map.take("name-servers")) {
    vrf.nameServers = readNameServers(problems, *servers);
  }
  return vrf;
}

}  // namespace

std::vector<VrfConfig> readVrfs(Problems& problems, const std::optional<Field>& field) {
  std::vector<VrfConfig> vrfs = {{std::string(kDefaultVrf), {}, {}}};
  if (!field) {
    return vrfs;
  }
  Map map(problems, *field, "a map of VRFs by name");
  for (const auto& [name, value] : map.takeRest()) {
    if (name.empty() || name.size() > kMaxVrfBytes) {
      problems.add(value.node.Mark(), value.path,
                   fmt::format("expected a VRF name of 1 to {} bytes", kMaxVrfBytes));
      continue;
    }
    VrfConfig vrf = readVrf(problems, name, value);
    if (name == kDefaultVrf) {
      vrfs.front() = std::move(vrf);
    } else {
      vrfs.push_back(std::move(vrf));
    }
  }
  return vrfs;
}

}  // namespace Monitor

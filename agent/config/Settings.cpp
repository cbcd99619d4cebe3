#include "agent/config/Settings.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <limits>

#include "agent/Quote.h"
#include "agent/feed/Parser.h"

namespace Agent {

namespace {

constexpr std::size_t kMaxCommunityBytes = 64;
constexpr std::string_view kKernelInterfaces = "kernel";
constexpr std::string_view kFeedInterfaces = "feed";

bool isPort(std::string_view text) {
  unsigned port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  return error == std::errc() && end == text.data() + text.size() && port >= 1 &&
         port <= std::numeric_limits<std::uint16_t>::max();
}

bool isAddress(int family, std::string_view text) {
  in6_addr address{};
  return inet_pton(family, std::string(text).c_str(), &address) == 1;
}

/// ADDRESS:PORT
bool isPlaceV4(std::string_view rest) {
  const std::size_t colon = rest.rfind(':');
  return colon != std::string_view::npos && isAddress(AF_INET, rest.substr(0, colon)) &&
         isPort(rest.substr(colon + 1));
}

/// [ADDRESS]:PORT
bool isPlaceV6(std::string_view rest) {
  const std::size_t close = rest.rfind("]:");
  return rest.starts_with('[') && close != std::string_view::npos &&
         isAddress(AF_INET6, rest.substr(1, close - 1)) && isPort(rest.substr(close + 2));
}

}  // namespace

Settings overlaid(Settings above, Settings below) {
  const auto fill = [](auto& to, auto& from) {
    if (!to) {
      to = std::move(from);
    }
  };
  if (!above.listen && !above.agentx) {
    above.listen = std::move(below.listen);
    above.agentx = std::move(below.agentx);
  }
  fill(above.feed, below.feed);
  fill(above.feedFiles, below.feedFiles);
  fill(above.trace, below.trace);
  fill(above.traceFile, below.traceFile);
  fill(above.plugin, below.plugin);
  fill(above.snmpConf, below.snmpConf);
  fill(above.community, below.community);
  fill(above.sliceBudget, below.sliceBudget);
  fill(above.maxContexts, below.maxContexts);
  fill(above.maxRepetitions, below.maxRepetitions);
  fill(above.maxVarbinds, below.maxVarbinds);
  fill(above.interfaces, below.interfaces);
  fill(above.netnsVrfs, below.netnsVrfs);
  fill(above.verbose, below.verbose);
  return above;
}

std::optional<Expected> checkListenAddress(std::string_view text) {
  constexpr std::string_view kUdp = "udp:";
  constexpr std::string_view kUdp6 = "udp6:";
  const bool good = (text.starts_with(kUdp) && isPlaceV4(text.substr(kUdp.size()))) ||
                    (text.starts_with(kTcp) && isPlaceV4(text.substr(kTcp.size()))) ||
                    (text.starts_with(kUdp6) && isPlaceV6(text.substr(kUdp6.size())));
  if (good) {
    return std::nullopt;
  }
  return Expected{fmt::format(
      "expected udp:ADDRESS:PORT, udp6:[ADDRESS]:PORT or tcp:ADDRESS:PORT, not {}", quote(text))};
}

std::optional<Expected> checkCommunity(std::string_view text) {
  constexpr char kFirstPrintable = '!';
  constexpr char kLastPrintable = '~';
  const bool printable =
      std::ranges::all_of(text, [](char c) { return c >= kFirstPrintable && c <= kLastPrintable; });
  if (printable && !text.empty() && text.size() <= kMaxCommunityBytes) {
    return std::nullopt;
  }
  return Expected{fmt::format("expected 1 to {} printable ASCII characters without blanks",
                              kMaxCommunityBytes)};
}

std::optional<Expected> checkSliceBudget(long milliseconds) {
  if (milliseconds >= 1 && milliseconds <= kMaxSliceBudget) {
    return std::nullopt;
  }
  return Expected{fmt::format("expected 1 to {} milliseconds", kMaxSliceBudget)};
}

std::optional<Expected> checkMaxContexts(long count) {
  if (count >= 1 && count <= kMaxMaxContexts) {
    return std::nullopt;
  }
  return Expected{fmt::format("expected 1 to {}", kMaxMaxContexts)};
}

std::optional<Expected> checkAnswerLimit(long varbinds) {
  if (varbinds >= 1 && varbinds <= kLargestAnswer) {
    return std::nullopt;
  }
  return Expected{fmt::format("expected 1 to {}", kLargestAnswer)};
}

std::optional<Expected> checkInterfaces(std::string_view text) {
  if (text == kKernelInterfaces || text == kFeedInterfaces) {
    return std::nullopt;
  }
  return Expected{fmt::format("expected {} or {}", kKernelInterfaces, kFeedInterfaces)};
}

Interfaces interfacesOf(std::string_view text) {
  return text == kKernelInterfaces ? Interfaces::kKernel : Interfaces::kFeedOnly;
}

std::optional<Expected> checkNetnsVrf(std::string_view text) {
  if (!text.empty() && text.size() <= kMaxVrfBytes && text != kDefaultVrf) {
    return std::nullopt;
  }
  return Expected{
      fmt::format("expected the name of a VRF other than default, 1 to {} bytes", kMaxVrfBytes)};
}

std::optional<Expected> checkNetns(std::string_view text) {
  const bool isFile = !text.empty() && text != "." && text != ".." && text.size() <= NAME_MAX &&
                      text.find('/') == std::string_view::npos;
  return isFile ? std::nullopt
                : std::optional(Expected{"expected the name of a network namespace"});
}

}  // namespace Agent

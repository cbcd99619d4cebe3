#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace Agent {

/// What rtnetlink says of links, as values (rtnetlink(7), RFC 3549).

/// A link is there under this name; also said when anything else about it changes.
struct LinkPresent {
  std::uint32_t index = 0;
  std::string name;
  friend bool operator==(const LinkPresent&, const LinkPresent&) = default;
};
/// A link is gone from its namespace.
struct LinkGone {
  std::uint32_t index = 0;
  friend bool operator==(const LinkGone&, const LinkGone&) = default;
};
/// The answer to a request is complete; `error` is 0 or why it is not (errno(3)).
struct AnswerEnd {
  int error = 0;
  friend bool operator==(const AnswerEnd&, const AnswerEnd&) = default;
};

struct RtMessage {
  /// Of the request that it answers. An event may bear that of the request which caused it,
  /// another process's, so only an answer's end can be told by it.
  std::uint32_t sequence = 0;
  bool interrupted = false;  ///< The links changed while they were listed: the list may lie.
  /// monostate: nothing that matters here.
  std::variant<std::monostate, LinkPresent, LinkGone, AnswerEnd> what;
};

/// The messages of one datagram from the kernel, in order; null when its framing is broken, as what
/// was lost with the rest cannot be told. A message of sound framing that says nothing useful is
/// passed on as one that does not matter. `datagram` is aligned as nlmsghdr.
[[nodiscard]] std::optional<std::vector<RtMessage>> parseRtDatagram(
    std::span<const std::byte> datagram);

/// The request for all links of the namespace. `sequence` comes back with the answer; not 0.
[[nodiscard]] std::vector<std::byte> makeLinkDumpRequest(std::uint32_t sequence);

}  // namespace Agent

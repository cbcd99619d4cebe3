#include "agent/interfaces/RtLink.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

namespace Agent {

namespace {

using What = decltype(RtMessage::what);

/// Where the next message or attribute begins (netlink(7)).
constexpr std::size_t aligned(std::size_t size) {
  constexpr std::size_t kAlignment = MNL_ALIGNTO;
  return (size + kAlignment - 1) / kAlignment * kAlignment;
}

/// An attribute callback: `data` takes the link's name.
int takeName(const nlattr* attribute, void* data) {
  if (mnl_attr_get_type(attribute) == IFLA_IFNAME &&
      mnl_attr_validate(attribute, MNL_TYPE_NUL_STRING) >= 0) {
    *static_cast<std::string*>(data) = mnl_attr_get_str(attribute);
  }
  return MNL_CB_OK;
}

What linkOf(const nlmsghdr& header) {
  if (mnl_nlmsg_get_payload_len(&header) < sizeof(ifinfomsg)) {
    return {};
  }
  const auto* link = static_cast<const ifinfomsg*>(mnl_nlmsg_get_payload(&header));
  // A bridge tells of its ports in the same group, as family AF_BRIDGE: a port that leaves the
  // bridge is "deleted" there, though the interface stays.
  if (link->ifi_family != AF_UNSPEC || link->ifi_index <= 0) {
    return {};
  }
  const auto index = static_cast<std::uint32_t>(link->ifi_index);
  if (header.nlmsg_type == RTM_DELLINK) {
    return LinkGone{index};
  }
  std::string name;
  mnl_attr_parse(&header, sizeof(ifinfomsg), takeName, &name);
  return name.empty() ? What() : LinkPresent{index, std::move(name)};
}

/// The number at the start of the payload: an error, negative, or 0. Absent when it is neither: an
/// answer without a word is no success, nor is one with a word that the kernel does not have.
std::optional<int> errorOf(const nlmsghdr& header) {
  constexpr int kLastError = 4095;  // Of the kernel, MAX_ERRNO.
  int error = 0;
  if (mnl_nlmsg_get_payload_len(&header) < sizeof error) {
    return std::nullopt;
  }
  std::memcpy(&error, mnl_nlmsg_get_payload(&header), sizeof error);
  return error <= 0 && error >= -kLastError ? std::optional(-error) : std::nullopt;
}

What whatOf(const nlmsghdr& header) {
  switch (header.nlmsg_type) {
    case RTM_NEWLINK:
    case RTM_DELLINK:
      return linkOf(header);
    case NLMSG_DONE:
    case NLMSG_ERROR:
      return AnswerEnd{errorOf(header).value_or(EBADMSG)};
    default:
      return {};
  }
}

/// Null when the octets do not begin with a whole message. mnl_nlmsg_ok() takes a length from 2^31
/// on for a negative one, which is less than anything.
const nlmsghdr* wholeMessage(std::span<const std::byte> octets) {
  const auto* header = reinterpret_cast<const nlmsghdr*>(octets.data());
  const bool whole = octets.size() >= sizeof(nlmsghdr) && header->nlmsg_len >= sizeof(nlmsghdr) &&
                     header->nlmsg_len <= octets.size();
  return whole ? header : nullptr;
}

}  // namespace

std::optional<std::vector<RtMessage>> parseRtDatagram(std::span<const std::byte> datagram) {
  std::vector<RtMessage> messages;
  while (!datagram.empty()) {
    const nlmsghdr* header = wholeMessage(datagram);
    if (header == nullptr) {
      return std::nullopt;
    }
    messages.push_back(
        {header->nlmsg_seq, (header->nlmsg_flags & NLM_F_DUMP_INTR) != 0, whatOf(*header)});
    // Behind the last message, its padding may be missing.
    datagram = datagram.subspan(std::min(datagram.size(), aligned(std::size_t{header->nlmsg_len})));
  }
  return messages;
}

std::vector<std::byte> makeLinkDumpRequest(std::uint32_t sequence) {
  // Of all that is known about a link only index and name are of use here; its counters are half of
  // the answer's octets.
  constexpr std::uint32_t kFilter = RTEXT_FILTER_SKIP_STATS;
  std::vector<std::byte> request(sizeof(nlmsghdr) + aligned(sizeof(ifinfomsg)) + sizeof(nlattr) +
                                 sizeof kFilter);
  nlmsghdr* header = mnl_nlmsg_put_header(request.data());
  header->nlmsg_type = RTM_GETLINK;
  header->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  header->nlmsg_seq = sequence;
  auto* link = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(header, sizeof(ifinfomsg)));
  link->ifi_family = AF_UNSPEC;
  mnl_attr_put_u32(header, IFLA_EXT_MASK, kFilter);
  return request;
}

}  // namespace Agent

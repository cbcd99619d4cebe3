#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

/// Just enough BER (ITU-T X.690) to write SNMPv2c requests and to look into their answers.

using Oid = std::vector<std::uint32_t>;

/// Request PDUs by their tags (RFC 3416 section 3).
enum class Pdu : std::uint8_t { kGet = 0xa0, kGetNext = 0xa1, kGetBulk = 0xa5 };

/// An SNMPv2c message that asks for `names`. `nonRepeaters` and `maxRepetitions` are a GETBULK's;
/// the other requests carry zeros in their place. The request-id takes four octets, always at
/// requestIdOffset(), so that a packet can be sent again under another.
[[nodiscard]] std::string encodeRequest(Pdu pdu, std::string_view community,
                                        const std::vector<Oid>& names,
                                        std::uint8_t nonRepeaters = 0,
                                        std::uint8_t maxRepetitions = 0);
[[nodiscard]] std::size_t requestIdOffset(std::string_view community, std::string_view packet);

/// What an answer says.
struct Response {
  std::uint32_t requestId = 0;
  std::int64_t errorStatus = 0;
  struct Varbind {
    Oid name;
    std::uint8_t tag = 0;  ///< Of the value; 0x80 to 0x82 are the exceptions of RFC 3416.
    std::string_view value;
  };
  std::vector<Varbind> varbinds;
};

/// Reads an answer; false when it is no well-formed SNMPv2c response. Values refer to `packet`.
[[nodiscard]] bool decodeResponse(std::string_view packet, Response& response);

}  // namespace bench

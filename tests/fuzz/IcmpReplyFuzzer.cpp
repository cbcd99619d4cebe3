#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "FuzzInput.h"
#include "IcmpRounds.h"
#include "monitor/icmp/Wire.h"

using namespace Monitor::Icmp;

// The first octet chooses the framing, and whether the others are what happens to the prober's
// rounds or a packet for its reader, in a buffer of their own so that reading behind their end is
// found.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const WithinASecond limit;
  if (size == 0) {
    return 0;
  }
  constexpr std::uint8_t kRounds = 0x80;
  if ((data[0] & kRounds) != 0) {
    FuzzInput input(data + 1, size - 1);
    icmpRounds((data[0] & 1) != 0 ? Framing::kIpv4Header : Framing::kIcmpv4, input);
    return 0;
  }
  const Framing framing = static_cast<Framing>(data[0] % 3);
  const std::vector<std::uint8_t> packet(data + 1, data + size);
  const std::span<const std::uint8_t> bytes(packet);

  // What is read out of a packet is what stands in it: a request made of it has the same octets.
  const auto stands = [&](std::span<const std::uint8_t> echo, const Echo& read) {
    const EchoBytes written = writeRequest(framing, read);
    require(std::equal(written.begin() + 4, written.begin() + 24, echo.begin() + 4));
  };
  if (const auto reply = parseReply(bytes, framing)) {
    require(bytes.size() >= kEchoSize);
    std::size_t header = 0;
    if (framing == Framing::kIpv4Header) {
      header = std::size_t{4} * (bytes[0] & 0xf);
    }
    stands(bytes.subspan(header), *reply);
  }
  if (const auto quotation = parseQuotation(bytes, framing)) {
    stands(bytes, *quotation);
  }
  if (const auto copy = parseSentCopy(bytes, framing)) {
    stands(bytes.last(kEchoSize), *copy);
  }
  return 0;
}

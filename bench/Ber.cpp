#include "Ber.h"

#include <algorithm>

namespace bench {

namespace {

constexpr char kInteger = 0x02;
constexpr char kOctetString = 0x04;
constexpr char kNull = 0x05;
constexpr char kOid = 0x06;
constexpr char kSequence = 0x30;
constexpr std::uint8_t kResponse = 0xa2;

std::string tlv(char tag, std::string_view content) {
  std::string out(1, tag);
  const std::size_t size = content.size();
  if (size < 0x80) {
    out += static_cast<char>(size);
  } else if (size < 0x100) {
    out += {static_cast<char>(0x81), static_cast<char>(size)};
  } else {
    out += {static_cast<char>(0x82), static_cast<char>(size >> 8), static_cast<char>(size & 0xff)};
  }
  return out.append(content);
}

std::string smallInteger(std::uint8_t value) {
  // A leading zero octet keeps values from 128 on positive.
  return value < 0x80 ? tlv(kInteger, std::string(1, static_cast<char>(value)))
                      : tlv(kInteger, {std::string{'\0', static_cast<char>(value)}});
}

void appendBase128(std::string& out, std::uint32_t value) {
  for (unsigned shift = 28; shift > 0; shift -= 7) {
    if (value >> shift != 0) {
      out += static_cast<char>(0x80 | (value >> shift & 0x7f));
    }
  }
  out += static_cast<char>(value & 0x7f);
}

std::string encodeOid(const Oid& oid) {
  std::string out;
  appendBase128(out, oid.at(0) * 40 + oid.at(1));
  for (std::size_t at = 2; at < oid.size(); ++at) {
    appendBase128(out, oid[at]);
  }
  return tlv(kOid, out);
}

/// Takes elements off the front of `rest`.
class Reader {
 public:
  explicit Reader(std::string_view rest) : rest_(rest) {}
  [[nodiscard]] bool atEnd() const { return rest_.empty(); }
  bool next(std::uint8_t& tag, std::string_view& content) {
    if (rest_.size() < 2) {
      return false;
    }
    tag = static_cast<std::uint8_t>(rest_[0]);
    std::size_t size = static_cast<std::uint8_t>(rest_[1]);
    std::size_t header = 2;
    if (size >= 0x80) {
      const std::size_t octets = size & 0x7f;
      if (octets > 2 || rest_.size() < 2 + octets) {
        return false;
      }
      size = 0;
      for (; header < 2 + octets; ++header) {
        size = size << 8 | static_cast<std::uint8_t>(rest_[header]);
      }
    }
    if (rest_.size() < header + size) {
      return false;
    }
    content = rest_.substr(header, size);
    rest_.remove_prefix(header + size);
    return true;
  }

 private:
  std::string_view rest_;
};

std::int64_t integerOf(std::string_view content) {
  std::int64_t value = !content.empty() && (content[0] & 0x80) != 0 ? -1 : 0;
  for (const char octet : content) {
    value = static_cast<std::int64_t>(static_cast<std::uint64_t>(value) << 8 |
                                      static_cast<std::uint8_t>(octet));
  }
  return value;
}

Oid oidOf(std::string_view content) {
  Oid oid;
  std::uint32_t value = 0;
  for (const char octet : content) {
    value = value << 7 | (static_cast<std::uint8_t>(octet) & 0x7f);
    if ((octet & 0x80) != 0) {
      continue;
    }
    if (oid.empty()) {
      const std::uint32_t first = std::min(value / 40, 2U);
      oid = {first, value - first * 40};
    } else {
      oid.push_back(value);
    }
    value = 0;
  }
  return oid;
}

}  // namespace

std::string encodeRequest(Pdu pdu, std::string_view community, const std::vector<Oid>& names,
                          std::uint8_t nonRepeaters, std::uint8_t maxRepetitions) {
  std::string varbinds;
  for (const Oid& name : names) {
    varbinds += tlv(kSequence, encodeOid(name) + tlv(kNull, ""));
  }
  const std::string body = tlv(kInteger, std::string(4, '\1')) + smallInteger(nonRepeaters) +
                           smallInteger(maxRepetitions) + tlv(kSequence, varbinds);
  return tlv(kSequence,
             smallInteger(1) + tlv(kOctetString, community) + tlv(static_cast<char>(pdu), body));
}

std::size_t requestIdOffset(std::string_view community, std::string_view packet) {
  // The placeholder id stands behind the first integer header of four octets after the community.
  const std::string placeholder = tlv(kInteger, std::string(4, '\1'));
  return packet.find(placeholder, packet.find(community) + community.size()) + 2;
}

bool decodeResponse(std::string_view packet, Response& response) {
  std::uint8_t tag = 0;
  std::string_view content;
  Reader outer(packet);
  if (!outer.next(tag, content) || tag != kSequence) {
    return false;
  }
  Reader message(content);
  if (!message.next(tag, content) || !message.next(tag, content) || !message.next(tag, content) ||
      tag != kResponse) {
    return false;
  }
  Reader pdu(content);
  if (!pdu.next(tag, content)) {
    return false;
  }
  response.requestId = static_cast<std::uint32_t>(integerOf(content));
  if (!pdu.next(tag, content)) {
    return false;
  }
  response.errorStatus = integerOf(content);
  if (!pdu.next(tag, content) || !pdu.next(tag, content)) {
    return false;
  }
  response.varbinds.clear();
  Reader list(content);
  while (!list.atEnd()) {
    Response::Varbind varbind;
    if (!list.next(tag, content)) {
      return false;
    }
    Reader pair(content);
    if (!pair.next(tag, content) || tag != kOid) {
      return false;
    }
    varbind.name = oidOf(content);
    if (!pair.next(varbind.tag, varbind.value)) {
      return false;
    }
    response.varbinds.push_back(std::move(varbind));
  }
  return true;
}

}  // namespace bench

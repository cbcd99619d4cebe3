"""SNMPv1 and v2c messages as octets (RFC 3416, X.690), as far as the tests need them.

A client of our own sends what the stock tools cannot: messages that are wrong, and many requests
without a process for each.
"""

import collections

INTEGER, OCTETS, NULL, OID, SEQUENCE = 0x02, 0x04, 0x05, 0x06, 0x30
NO_SUCH_OBJECT, NO_SUCH_INSTANCE, END_OF_MIB_VIEW = 0x80, 0x81, 0x82
GET, GETNEXT, RESPONSE, SET, GETBULK = 0xA0, 0xA1, 0xA2, 0xA3, 0xA5
V1, V2C = 0, 1

NO_ERROR, NO_SUCH_NAME, GEN_ERR, NO_ACCESS, NOT_WRITABLE = 0, 2, 5, 6, 17

TYPE_NAMES = {
    INTEGER: "INTEGER", OCTETS: "OCTET STRING", NULL: "NULL", OID: "OBJECT IDENTIFIER",
    0x43: "TimeTicks", NO_SUCH_OBJECT: "noSuchObject", NO_SUCH_INSTANCE: "noSuchInstance",
    END_OF_MIB_VIEW: "endOfMibView",
}

Response = collections.namedtuple("Response", "request_id error index varbinds")


def _length(count):
    if count < 0x80:
        return bytes([count])
    octets = count.to_bytes((count.bit_length() + 7) // 8, "big")
    return bytes([0x80 | len(octets)]) + octets


def tlv(tag, content):
    return bytes([tag]) + _length(len(content)) + content


def integer(value):
    magnitude = value if value >= 0 else ~value
    return tlv(INTEGER, value.to_bytes(magnitude.bit_length() // 8 + 1, "big", signed=True))


def octets(value):
    return tlv(OCTETS, value)


def null():
    return tlv(NULL, b"")


def _sub_identifier(number):
    groups = [number & 0x7F]
    while number := number >> 7:
        groups.append(0x80 | number & 0x7F)
    return bytes(reversed(groups))


def oid(numbers):
    first, second, *rest = numbers
    return tlv(OID, b"".join(map(_sub_identifier, (40 * first + second, *rest))))


def sequence(*parts):
    return tlv(SEQUENCE, b"".join(parts))


def varbind(name, value=None):
    return sequence(oid(name), null() if value is None else value)


def message(kind, varbinds, request_id=1, community=b"public", version=V2C, second=0, third=0):
    """`second` and `third` are error status and index, or GETBULK's non-repeaters and
    max-repetitions."""
    pdu = tlv(kind, integer(request_id) + integer(second) + integer(third) + sequence(*varbinds))
    return sequence(integer(version), octets(community), pdu)


class _Reader:
    def __init__(self, data):
        self.data = data
        self.at = 0

    def next(self):
        """(tag, content) of the next element."""
        tag, count = self.data[self.at], self.data[self.at + 1]
        self.at += 2
        if count & 0x80:
            size = count & 0x7F
            count = int.from_bytes(self.data[self.at:self.at + size], "big")
            self.at += size
        content = self.data[self.at:self.at + count]
        if len(content) != count:
            raise ValueError("an element is longer than what holds it")
        self.at += count
        return tag, content

    def expect(self, wanted):
        tag, content = self.next()
        if tag != wanted:
            raise ValueError(f"tag {tag:#x} where {wanted:#x} is expected")
        return content

    def rest(self):
        while self.at < len(self.data):
            yield self.next()


def _to_oid(content):
    numbers, number = [], 0
    for octet in content:
        number = number << 7 | octet & 0x7F
        if not octet & 0x80:
            numbers.append(number)
            number = 0
    first = min(numbers[0] // 40, 2)
    return (first, numbers[0] - 40 * first, *numbers[1:])


def _to_value(tag, content):
    if tag == INTEGER:
        return int.from_bytes(content, "big", signed=True)
    if tag == OID:
        return _to_oid(content)
    return content if tag == OCTETS else None


def parse_response(data):
    """A Response whose varbinds are (OID, type, value)."""
    body = _Reader(_Reader(data).expect(SEQUENCE))
    body.expect(INTEGER)
    body.expect(OCTETS)
    pdu = _Reader(body.expect(RESPONSE))
    numbers = [_to_value(INTEGER, pdu.expect(INTEGER)) for _ in range(3)]
    varbinds = []
    for tag, content in _Reader(pdu.expect(SEQUENCE)).rest():
        if tag != SEQUENCE:
            raise ValueError("a varbind is no sequence")
        pair = _Reader(content)
        name = _to_oid(pair.expect(OID))
        tag, value = pair.next()
        varbinds.append((name, TYPE_NAMES.get(tag, hex(tag)), _to_value(tag, value)))
    return Response(*numbers, varbinds)

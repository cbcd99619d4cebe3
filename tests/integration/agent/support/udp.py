"""An SNMP client of our own: one UDP socket, one request at a time."""

import itertools
import socket

from support import ber
from support.waiting import PATIENCE

_TRIES = 3


class Client:
    def __init__(self, port, address="127.0.0.1", community="public", version=ber.V2C):
        family = socket.AF_INET6 if ":" in address else socket.AF_INET
        self._socket = socket.socket(family, socket.SOCK_DGRAM)
        self._socket.connect((address, port))
        self._ids = itertools.count(1)
        self.community = community.encode()
        self.version = version

    def close(self):
        self._socket.close()

    def send(self, datagram):
        """Octets as they are. What an agent that is gone would answer with ICMP is not our matter."""
        try:
            self._socket.send(datagram)
        except ConnectionRefusedError:
            pass

    def receive(self, patience=PATIENCE):
        """The next datagram; TimeoutError when none comes."""
        self._socket.settimeout(patience)
        return self._socket.recv(65_536)

    def _request(self, kind, varbinds, second=0, third=0, community=None):
        """Sends a request until its response is there; other datagrams are passed over."""
        request_id = next(self._ids)
        data = ber.message(kind, varbinds, request_id, community or self.community, self.version,
                           second, third)
        for _ in range(_TRIES):
            self.send(data)
            try:
                while True:
                    response = ber.parse_response(self.receive(PATIENCE / _TRIES))
                    if response.request_id == request_id:
                        return response
            except (TimeoutError, ConnectionRefusedError):
                continue
        raise AssertionError(f"no response to request {request_id} in {PATIENCE:g} s")

    def get(self, *oids):
        return self._request(ber.GET, map(ber.varbind, oids))

    def get_next(self, *oids):
        return self._request(ber.GETNEXT, map(ber.varbind, oids))

    def get_bulk(self, *oids, non_repeaters=0, max_repetitions=10):
        return self._request(ber.GETBULK, map(ber.varbind, oids), non_repeaters, max_repetitions)

    def set(self, *pairs):
        """`pairs` are (OID, encoded value)."""
        return self._request(ber.SET, [ber.varbind(*pair) for pair in pairs])

    def unanswered(self, datagrams, probe):
        """Sends datagrams that must get no answer, then a GET of `probe` that must. As the agent
        takes them in order, a first answer to the GET proves the silence. Returns its response."""
        for datagram in datagrams:
            self.send(datagram)
        request_id = next(self._ids) + 1_000_000
        self.send(ber.message(ber.GET, [ber.varbind(probe)], request_id, self.community))
        response = ber.parse_response(self.receive())
        if response.request_id != request_id:
            raise AssertionError(f"answered, but should have been silent: {response}")
        return response

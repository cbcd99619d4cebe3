"""A master that is good for so long."""

import socket
import struct
import threading

_HEADER = 20
_NETWORK_ORDER = 0x10
_RESPONSE = 18


class HalfMaster:
    """At a Unix socket; says yes to the first `answers` requests of each connection (RFC 2741) and
    then hangs up, or reads on and never says a word again. `asked`: requests, by connection."""

    def __init__(self, path, answers, hangs_up=False):
        self.asked = []
        self._answers = answers
        self._hangs_up = hangs_up
        self._connections = []
        self._threads = []
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.bind(str(path))
        self._socket.listen()
        self._start(self._accept)

    def _start(self, run, *arguments):
        self._threads.append(threading.Thread(target=run, args=arguments, daemon=True))
        self._threads[-1].start()

    def _accept(self):
        while True:
            try:
                connection, _ = self._socket.accept()
            except OSError:
                return
            self._connections.append(connection)
            self.asked.append(0)
            self._start(self._serve, connection, len(self.asked) - 1)

    def _serve(self, connection, number):
        with connection, connection.makefile("rb") as requests:
            while len(header := requests.read(_HEADER)) == _HEADER:
                order = ">" if header[2] & _NETWORK_ORDER else "<"
                _, _, flags, session, transaction, packet, length = struct.unpack(
                    f"{order}BBBxLLLL", header)
                requests.read(length)
                self.asked[number] += 1
                answer = struct.pack(f"{order}BBBxLLLLLHH", 1, _RESPONSE, flags & _NETWORK_ORDER,
                                     session or 1, transaction, packet, 8, 0, 0, 0)
                if self.asked[number] <= self._answers:
                    try:
                        connection.sendall(answer)
                    except BrokenPipeError:
                        return  # The agent is gone.
                elif self._hangs_up:
                    return

    def close(self):
        """Idempotent."""
        for each in (self._socket, *self._connections):
            try:
                each.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
        self._socket.close()
        for thread in self._threads:
            thread.join()

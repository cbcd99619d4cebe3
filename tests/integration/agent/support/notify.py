"""A service manager's side of sd_notify(3)."""

import socket

from support.waiting import until


class Manager:
    """Listens for what services say."""

    def __init__(self, scratch):
        self.path = scratch.path / "notify.sock"
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._socket.bind(str(self.path))
        self._socket.setblocking(False)
        self.said = []  # every NAME=VALUE so far

    def close(self):
        self._socket.close()

    def listen(self):
        """Takes what has come; returns all that was ever said."""
        while True:
            try:
                self.said += self._socket.recv(65_536).decode().split("\n")
            except BlockingIOError:
                return self.said

    def wait_for(self, *words):
        """Waits until all these were said, in this order, whatever was said in between."""
        def heard():
            rest = iter(self.listen())
            return all(word in rest for word in words)

        until(heard, lambda: f"{words} among {self.said}")

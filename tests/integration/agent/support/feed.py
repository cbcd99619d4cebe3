"""A feed client: JSON lines over a Unix stream socket, each answered by one."""

import json
import select
import socket
import threading

from support.waiting import PATIENCE, until


class Connection:
    """The bare socket, for sending what is wrong."""

    def __init__(self, path):
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self._socket.settimeout(PATIENCE)
        self._received = b""
        try:
            until(lambda: self._connected(path), f"a connection to {path}")
        except BaseException:
            self.close()
            raise

    def _connected(self, path):
        try:
            self._socket.connect(str(path))
        except BlockingIOError:
            return False  # so many wait to be accepted that the kernel takes no more just now
        return True

    def close(self):
        self._socket.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def fileno(self):
        return self._socket.fileno()

    def end_sending(self):
        self._socket.shutdown(socket.SHUT_WR)

    def send(self, data):
        self._socket.sendall(data)

    def send_while_taken(self, data):
        """Sends as much of the octets as the agent and the kernel take; returns how many. It ends
        when nothing is taken for a second, though a pause proves nothing and nothing rests on it."""
        sent = 0
        while sent < len(data) and select.select([], [self._socket], [], 1.0)[1]:
            sent += self._socket.send(data[sent:sent + 65_536])
        return sent

    def line(self):
        """The next answer as it was sent, without its line end; None at the connection's end."""
        while b"\n" not in self._received:
            try:
                more = self._socket.recv(65_536)
            except ConnectionResetError:
                more = b""
            if not more:
                if self._received:
                    raise AssertionError(f"the connection ended within the answer {self._received!r}")
                return None
            self._received += more
        line, self._received = self._received.split(b"\n", 1)
        return line

    def answer(self):
        line = self.line()
        return None if line is None else json.loads(line)

    def ask_text(self, text):
        self.send(text + b"\n")
        return self.answer()

    def ask(self, **line):
        """Sends an object, returns the answer."""
        return self.ask_text(json.dumps(line, ensure_ascii=False).encode())


class Client:
    """A client whose lines are all in order; what it says is noted in a projection.Model."""

    def __init__(self, path, name, model, **hello):
        self.connection = Connection(path)
        self.name = name
        self.model = model
        self._ask({"op": "hello", "client": name, **hello})

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.connection.close()

    def _accept(self, line, answer):
        if answer != {"ok": True}:
            raise AssertionError(f"{line} was answered {answer}")
        self.model.apply(self.name, line)

    def _ask(self, line):
        self._accept(line, self.connection.ask(**line))

    def say(self, op, **fields):
        self._ask({"op": op, **fields})

    def say_all(self, lines):
        """Many lines at once: answers are taken while lines are sent."""
        data = b"".join(json.dumps(line).encode() + b"\n" for line in lines)
        sender = threading.Thread(target=self.connection.send, args=(data,), daemon=True)
        sender.start()
        for line in lines:
            self._accept(line, self.connection.answer())
        sender.join()

    def interface(self, name, if_index):
        self.say("interface", name=name, ifIndex=if_index)

    def put(self, host, probe, **fields):
        self.say("put", host=host, probe=probe, **fields)

    def remove(self, host, probe, **fields):
        self.say("remove", host=host, probe=probe, **fields)

    def sync(self):
        """When this returns, SNMP shows all that was said before."""
        self._ask({"op": "sync"})

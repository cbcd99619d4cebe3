"""A feed client that never rests, and what may be seen of its records at any moment."""

import collections
import random
import threading

from support import projection

_HOSTS = 30
_BATCH = 25
_TARGETS = {"icmp": {"address": "192.0.2.1"}, "http": {"url": "http://x/"},
            "tcp": {"address": "2001:db8::1", "port": 443}}
_FLAPPING = "flapping"
_INDEXES = (100, 2)  # of different lengths, so that rows change their place
_STATES = ({"latency": 12.345, "jitter": 0.5, "packetLoss": 1, "responseTime": 2.5},
           {"latency": 1000, "jitter": 9.9996, "packetLoss": 99, "responseTime": 0.125})
_FIELDS = {"icmp": ("latency", "jitter", "packetLoss"), "http": ("responseTime",), "tcp": ("latency",)}


def _put(at, probe, state):
    """The record of a host in one of its states; every third is behind the flapping interface."""
    where = {"host": f"churn{at}" + "x" * (at % 5), **_TARGETS[probe]}
    if at % 3 == 0:
        where["interface"] = _FLAPPING
    return {"op": "put", "probe": probe, **where,
            **{field: _STATES[state][field] for field in _FIELDS[probe]}}


def _remove(at, probe):
    put = _put(at, probe, 0)
    return {"op": "remove", **{field: put[field] for field in put
                               if field != "op" and field not in _FIELDS[probe]}}


class Churn:
    """Replaces, removes and brings back records, and changes an interface's index, in a thread of
    its own until it is stopped."""

    def __init__(self, agent, seed, name="churn"):
        self.name = name
        self._rng = random.Random(seed)
        self._client = agent.client(name)
        self._stop = threading.Event()
        self.batches = 0  # that SNMP shows
        self.error = None
        self._thread = threading.Thread(target=self._run, daemon=True)

    def __enter__(self):
        self._client.interface(_FLAPPING, _INDEXES[0])
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._stop.set()
        self._thread.join()
        if self.error:
            raise self.error

    def _line(self):
        at, probe = self._rng.randrange(_HOSTS), self._rng.choice(list(_TARGETS))
        what = self._rng.random()
        if what < 0.04:
            return {"op": "interface", "name": _FLAPPING, "ifIndex": self._rng.choice(_INDEXES)}
        if what < 0.3:
            return _remove(at, probe)
        return _put(at, probe, self._rng.randrange(2))

    def _run(self):
        try:
            while not self._stop.is_set():
                self._client.say_all([self._line() for _ in range(_BATCH)])
                self._client.sync()
                self.batches += 1
        except (AssertionError, OSError) as error:
            self.error = error

    def seen(self):
        """{OID: {(type, value)}}: all that may be there at some moment."""
        allowed = collections.defaultdict(set)
        for oid, kind, value in (varbind for rows in self._states() for varbind in rows.varbinds()):
            allowed[oid].add((kind, value))
        return allowed

    def rows(self):
        """{(probe, key): [cells]}: each row in each of its states."""
        found = collections.defaultdict(list)
        for model in self._states():
            for probe, rows in model.rows().items():
                for key, cells in rows.items():
                    if cells not in found[probe, key]:
                        found[probe, key].append(cells)
        return found

    def _states(self):
        for state in range(len(_STATES)):
            for if_index in _INDEXES:
                model = projection.Model()
                model.apply(self.name, {"op": "interface", "name": _FLAPPING, "ifIndex": if_index})
                for at in range(_HOSTS):
                    for probe in _TARGETS:
                        model.apply(self.name, _put(at, probe, state))
                yield model

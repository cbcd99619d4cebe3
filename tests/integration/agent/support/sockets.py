"""Loopback sockets: free ports, and what a process has open according to the kernel."""

import collections
import ipaddress
import os
import re
import socket

Inet = collections.namedtuple("Inet", "protocol address port listening")

_TCP_LISTEN = "0A"
_UDP_UNCONNECTED = "07"


def free_port(address="127.0.0.1"):
    """A UDP port that nobody has right now."""
    family = socket.AF_INET6 if ":" in address else socket.AF_INET
    with socket.socket(family, socket.SOCK_DGRAM) as probe:
        probe.bind((address, 0))
        return probe.getsockname()[1]


def _descriptors(pid):
    folder = f"/proc/{pid}/fd"
    links = []
    for name in os.listdir(folder):
        try:
            links.append(os.readlink(f"{folder}/{name}"))
        except FileNotFoundError:
            pass  # closed meanwhile
    return links


def _inodes(pid):
    found = (re.fullmatch(r"socket:\[(\d+)\]", link) for link in _descriptors(pid))
    return {int(match[1]) for match in found if match}


def _address(text):
    """The kernel prints addresses as words in the order of this machine's bytes."""
    octets = b"".join(bytes.fromhex(text[at:at + 8])[::-1] for at in range(0, len(text), 8))
    return str(ipaddress.ip_address(octets))


def inet_sockets(pid):
    """The process's TCP and UDP sockets of both families."""
    mine = _inodes(pid)
    found = set()
    for protocol in ("tcp", "tcp6", "udp", "udp6"):
        with open(f"/proc/{pid}/net/{protocol}") as table:
            for line in list(table)[1:]:
                words = line.split()
                address, port = words[1].split(":")
                if int(words[9]) in mine:
                    found.add(Inet(protocol, _address(address), int(port, 16),
                                   words[3] in (_TCP_LISTEN, _UDP_UNCONNECTED)))
    return found


def unix_sockets(pid):
    """The paths of the process's bound Unix sockets."""
    mine = _inodes(pid)
    with open(f"/proc/{pid}/net/unix") as table:
        rows = [line.split() for line in list(table)[1:]]
    return {row[7] for row in rows if len(row) > 7 and int(row[6]) in mine}


def other_sockets(pid):
    """Inodes of sockets of the process that are neither TCP, UDP nor Unix ones (raw, packet...)."""
    known = set()
    for protocol, column in (("tcp", 9), ("tcp6", 9), ("udp", 9), ("udp6", 9), ("unix", 6)):
        with open(f"/proc/{pid}/net/{protocol}") as table:
            known |= {int(line.split()[column]) for line in list(table)[1:]}
    return _inodes(pid) - known


def open_files(pid):
    """The regular paths that the process has open."""
    return {link for link in _descriptors(pid) if link.startswith("/") and link != "/dev/null"}

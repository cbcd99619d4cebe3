"""Network interfaces that no test has to share: a network of the test program's own.

enter() moves the whole program into new namespaces, so nothing of the machine's network is seen or
touched from there, and all of it goes with the program."""

import ctypes
import os
import socket
import subprocess
import unittest

from support import places
from support.waiting import PATIENCE

_CLONE_NEWNS, _CLONE_NEWUSER, _CLONE_NEWNET = 0x20000, 0x10000000, 0x40000000
_MS_REC, _MS_PRIVATE = 0x4000, 0x40000
_libc = ctypes.CDLL(None, use_errno=True)


def _check(result):
    if result != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))


def _unshare(flags):
    _check(_libc.unshare(flags))


def _mount(source, target, kind, flags=0, data=None):
    _check(_libc.mount(source, target, kind, ctypes.c_ulong(flags), data))


def _become_root_of_a_new_user_namespace():
    user, group = os.getuid(), os.getgid()
    _unshare(_CLONE_NEWUSER | _CLONE_NEWNS | _CLONE_NEWNET)
    for file, text in (("setgroups", "deny"), ("uid_map", f"0 {user} 1"), ("gid_map", f"0 {group} 1")):
        with open(f"/proc/self/{file}", "w") as to:
            to.write(text)


def enter(module):
    """Skips the module's tests, loudly, on a machine that gives no namespaces."""
    try:
        try:
            _unshare(_CLONE_NEWNS | _CLONE_NEWNET)
        except PermissionError:
            _become_root_of_a_new_user_namespace()
        _mount(b"none", b"/", None, _MS_REC | _MS_PRIVATE)
        # Where namespaces have their names; its own, so that the machine's are not among them.
        _mount(b"conmon", b"/run", b"tmpfs")
        ip("link", "set", "lo", "up")
    except OSError as error:
        print(f"UNAVAILABLE: netns: {module}: {error}", flush=True)
        raise unittest.SkipTest(f"no network namespace here: {error}") from error


def disk(path, size):
    """A file system of its own below the program's own /run, with room for `size` bytes."""
    os.mkdir(path)
    _mount(b"conmon", os.fsencode(path), b"tmpfs", data=b"size=%d" % size)


def ip(*words):
    done = subprocess.run([places.program("ip"), *map(str, words)], capture_output=True, text=True,
                          timeout=PATIENCE)
    if done.returncode != 0:
        raise OSError(done.returncode, f"ip {' '.join(map(str, words))}: {done.stderr.strip()}")
    return done.stdout


def if_index(name):
    return socket.if_nametoindex(name)


def drops(pid):
    """How many messages the kernel could not give to the process's netlink sockets."""
    inodes = set()
    for name in os.listdir(f"/proc/{pid}/fd"):
        link = os.readlink(f"/proc/{pid}/fd/{name}")
        if link.startswith("socket:["):
            inodes.add(link[len("socket:["):-1])
    with open(f"/proc/{pid}/net/netlink") as table:
        head, *rows = [line.split() for line in table]
    return sum(int(row[head.index("Drops")]) for row in rows if row[head.index("Inode")] in inodes)

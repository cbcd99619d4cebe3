"""Where things are. ctest says it; without it, the release build is taken."""

import os
import pathlib
import shutil

ROOT = pathlib.Path(__file__).resolve().parents[4]
AGENT = pathlib.Path(os.environ.get("CONMON_SNMPD", ROOT / "build/release/bin/conmon-snmpd"))
PLUGIN = AGENT.parent.parent / "lib/libConnectivityMonitorSnmp.so"
LEAKS = ROOT / "tests/lsan.supp"
MIBS = ROOT / "mibs"
BASE_MIBS = ROOT / ".deps/npm/node_modules/net-snmp/lib/mibs"
JS_WALK = ROOT / "tests/integration/js/walk.js"


def program(name):
    """The path of an installed program; those of administrators included."""
    path = shutil.which(name, path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")
    if path is None:
        raise AssertionError(f"{name} is not installed")
    return path

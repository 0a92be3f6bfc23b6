# SPDX-License-Identifier: Apache-2.0
"""Names in object files, as binutils show them."""

import collections
import subprocess

Symbol = collections.namedtuple("Symbol", "name bind visibility")


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def defined(path):
    """The names that the objects in a library define for others: binding GLOBAL, WEAK or UNIQUE."""
    found = set()
    for line in output("readelf", "-sW", str(path)).splitlines():
        fields = line.split()
        if len(fields) == 8 and fields[4] in {"GLOBAL", "WEAK", "UNIQUE"} and fields[6] != "UND":
            found.add(Symbol(fields[7], fields[4], fields[5]))
    return found


def demangled(names):
    """A dictionary of names and their readable forms."""
    names = sorted(names)
    if not names:
        return {}
    lines = subprocess.run(["c++filt"], input="\n".join(names), capture_output=True, text=True, check=True).stdout
    return dict(zip(names, lines.splitlines()))


def exports(shared_library):
    """The names that a shared library gives to programs."""
    lines = output("nm", "-D", "--defined-only", "--without-symbol-versions", str(shared_library)).splitlines()
    return {fields[2] for fields in (line.split() for line in lines) if len(fields) == 3 and fields[1] != "A"}

# SPDX-License-Identifier: Apache-2.0
"""Reads every #include and fails on an arrow between layers that the architecture does not have."""

import re

from checking import files, run, text

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)
PROGRAMS = {"code", "learning", "tolvend", "vanto", "vantoproxy", "vexd"}
HOST = {"dispatch", "ipc", "jobdata", "process", "sandbox", "signing"}
SOURCE = {"value", "bundle", "job", "archive", "runtime"}
# Public headers that belong to a layer above value; VantoService.h holds them all and is for callers only.
PUBLIC = {
    "IndentedDescription.h": "archive",
    "VantoServiceArchiver.h": "archive",
    "VantoServiceBundle.h": "bundle",
    "VantoServiceConstants.h": "bundle",
    "VantoServiceDiscovery.h": "bundle",
    "VantoServiceRuntime.h": "runtime",
    "VantoServiceMain.h": "runtime",
    "VantoService.h": "callers",
}
USES = {
    "value": {"value"},
    "bundle": {"bundle", "value"},
    "job": {"job", "bundle", "value"},
    "archive": {"archive", "bundle", "value"},
    "runtime": {"runtime", "bundle", "value"},
    "host": {"host", "value"},
    "programs": {"programs", "host", "callers", "value", "bundle", "archive", "runtime"},
}


def layer_of_file(path):
    return path.parts[1] if path.parts[0] == "src" else path.parts[0]


def layer_of_include(quote, name):
    """The layer that an include line leads to, None for the system's headers."""
    folder, _, rest = name.partition("/")
    if quote == "<":
        return PUBLIC.get(rest, "value") if folder == "VantoService" else None
    if folder in HOST:
        return "host"
    if folder in PROGRAMS:
        return "programs"
    return folder if rest else "a file without its folder"


def problems(root):
    found = []
    for path in files(root, ["src", "host", "programs"]):
        layer = layer_of_file(path)
        for quote, name in INCLUDE.findall(text(root, path)):
            target = layer_of_include(quote, name)
            if target is not None and target not in USES.get(layer, set()):
                found.append(f"{path}: {layer} includes {name}, which is {target}")
    for path in files(root, ["include", "examples"]):
        for quote, name in INCLUDE.findall(text(root, path)):
            if quote == '"' and (path.parts[0] == "include" or name.partition("/")[0] in HOST | SOURCE):
                found.append(f"{path}: includes {name}, which is not installed")
    return found


GOOD = {
    "src/value/PlistArray.cpp": '#include "value/Fd.h"\n#include <VantoService/Bundle.h>\n#include <vector>\n',
    "src/runtime/Main.cpp": '#include "value/platform/ipc.h"\n#include <VantoService/VantoServiceBundle.h>\n',
    "host/ipc/Frame.cpp": '#include "ipc/Frame.h"\n#include "dispatch/Workers.h"\n#include "value/Fd.h"\n',
    "include/VantoService/Bundle.h": "#include <VantoService/KorURL.h>\n",
    "programs/vanto/main.cpp": '#include "vanto/Console.h"\n#include "ipc/Codec.h"\n#include <VantoService/VantoService.h>\n',
}
BAD = {
    "value uses bundle": ({"src/value/A.cpp": '#include "bundle/Keys.h"\n'}, "value includes bundle/Keys.h"),
    "value uses a bundle's public header": (
        {"src/value/A.cpp": "#include <VantoService/VantoServiceBundle.h>\n"}, "which is bundle"),
    "bundle uses job": ({"src/bundle/A.cpp": '#include "job/Job.h"\n'}, "bundle includes job/Job.h"),
    "runtime uses host": ({"src/runtime/A.cpp": '  # include "ipc/Codec.h"\n'}, "which is host"),
    "host uses runtime": ({"host/ipc/A.cpp": '#include "runtime/Entry.h"\n'}, "host includes runtime/Entry.h"),
    "source uses tests": ({"host/ipc/A.cpp": '#include "support/Log.h"\n'}, "which is support"),
    "no folder": ({"src/value/A.cpp": '#include "Fd.h"\n'}, "without its folder"),
    "host uses a program": ({"host/ipc/A.cpp": '#include "vanto/Console.h"\n'}, "which is programs"),
    "private header in an example": ({"examples/a.cpp": '#include "value/Fd.h"\n'}, "which is not installed"),
    "private header in a public one": (
        {"include/VantoService/A.h": '#include "value/Fd.h"\n'}, "which is not installed"),
}

if __name__ == "__main__":
    run(problems, GOOD, BAD)

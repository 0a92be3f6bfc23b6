# SPDX-License-Identifier: Apache-2.0
"""The shared library as it ships: its size, what it needs, its name, and that no code of ours runs when it is loaded."""

import pathlib
import re
import subprocess
import sys
import tempfile

from symbols import output

# A quarter of it compiles and enters sandbox profiles. Before that and the check of clients the limit was 400 KiB.
LARGEST = 700 * 1024
NEEDED = {"libc.so.6", "libm.so.6", "libgcc_s.so.1", "libstdc++.so.6", "ld-linux-x86-64.so.2", "ld-linux-aarch64.so.1"}
NAME = "libvantoservice.so.1"
RECORD = "vanto_crash_info"
# One address: the compiler's own entry, which every shared library has.
INIT_ARRAY = 8


def sections(path):
    """Sizes by section name."""
    lines = output("readelf", "-SW", str(path)).splitlines()
    found = re.findall(r"\] (\S+)\s+\S+\s+[0-9a-f]+ [0-9a-f]+ ([0-9a-f]+)", "\n".join(lines))
    return {name: int(size, 16) for name, size in found}


def problems(library):
    with tempfile.TemporaryDirectory() as folder:
        stripped = pathlib.Path(folder) / "stripped"
        subprocess.run(["strip", "-o", stripped, library], check=True)
        size, parts = stripped.stat().st_size, sections(stripped)
        dynamic = output("readelf", "-dW", str(stripped))
    found = []
    if size >= LARGEST:
        found.append(f"stripped it has {size} bytes, not under {LARGEST}")
    for name in sorted(set(re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic)) - NEEDED):
        found.append(f"it needs {name}")
    if f"[{NAME}]" not in "".join(re.findall(r"\(SONAME\).*", dynamic)):
        found.append(f"its name is not {NAME}")
    if "BIND_NOW" not in dynamic:
        found.append("its symbols are not all bound when it is loaded")
    if parts.get(".init_array", 0) > INIT_ARRAY or ".ctors" in parts:
        found.append("it runs code of its own when it is loaded")
    if RECORD not in parts:
        found.append(f"it has no section {RECORD}")
    return found


def self_test():
    record = f'__attribute__((used, section("{RECORD}"))) unsigned long record[7] = {{4}};\n'
    link = ["-shared", "-fPIC", f"-Wl,-soname,{NAME}", "-Wl,-z,now"]
    cases = {
        "": (record, link),
        "needs": (record, [*link, "-Wl,--no-as-needed", "-lresolv"]),
        "name": (record, [option for option in link if "soname" not in option]),
        "bound": (record, [*link[:-1], "-Wl,-z,lazy"]),
        "runs code": (record + "#include <string>\nstd::string text(64, 'a');\n", link),
        "no section": ("int nothing;\n", link),
        "bytes": (record + f"char big[{LARGEST}] = {{1}};\n", link),
    }
    with tempfile.TemporaryDirectory() as folder:
        library = pathlib.Path(folder) / "library.so"
        for expected, (source, options) in cases.items():
            command = ["g++", "-x", "c++", "-", *options, "-o", str(library)]
            subprocess.run(command, input=source, text=True, check=True)
            found = problems(library)
            if len(found) != (1 if expected else 0) or expected not in "".join(found):
                sys.exit(f"expected '{expected}', found {found}")
    print(f"found each of {len(cases) - 1} planted faults")


if __name__ == "__main__":
    if sys.argv[1:] == ["--self-test"]:
        self_test()
    else:
        faults = problems(sys.argv[1])
        print("\n".join(faults))
        sys.exit(1 if faults else 0)

# SPDX-License-Identifier: Apache-2.0
"""The version script names what the shared library exports, and that is what the headers mark for export.

exports.py SCRIPT LIBRARY ARCHIVES...    checks
exports.py --update SCRIPT ARCHIVES...   writes the version script anew
"""

import pathlib
import re
import sys

from symbols import defined, demangled, exports

HEAD = """/* SPDX-License-Identifier: Apache-2.0 */
/* Everything that libvantoservice.so exports. Written by scripts/update-exports; a test compares the two. */
VANTOSERVICE_1 {
  global:
"""
TAIL = """  local:
    *;
};
"""


def marked(archives):
    """What the archives define with default visibility. Weak names are templates and inline functions, of which every
    program has its own."""
    return {symbol.name for archive in archives for symbol in defined(archive)
            if symbol.bind == "GLOBAL" and symbol.visibility == "DEFAULT"}


def listed(script):
    names = set(re.findall(r"^    (\w+);", script, re.M))
    return names


def script_of(names):
    readable = demangled(names)
    lines = [f"    {name};" + (f" /* {readable[name]} */" if readable[name] != name else "") for name in sorted(names)]
    return HEAD + "".join(line + "\n" for line in lines) + TAIL


def differences(in_script, exported, wanted):
    found = [f"{name} is exported and not in the version script" for name in exported - in_script]
    found += [f"{name} is in the version script and not exported" for name in in_script - exported]
    found += [f"{name} is marked for export and not in the version script" for name in wanted - in_script]
    found += [f"{name} is in the version script and not marked for export" for name in in_script - wanted]
    return sorted(found)


def self_test():
    names = {"vanto_send", "_ZN6Bundle10mainBundleEv"}
    assert listed(script_of(names)) == names
    assert not differences(names, names - {"VANTOSERVICE_1"}, names)
    assert len(differences(names, names | {"extra"}, names)) == 1
    assert len(differences(names, names - {"vanto_send"}, names)) == 1
    assert len(differences(names, names, names | {"new"})) == 1
    assert len(differences(names, names, names - {"vanto_send"})) == 1
    print("found each of 4 planted differences")


if __name__ == "__main__":
    if sys.argv[1:] == ["--self-test"]:
        self_test()
    elif sys.argv[1] == "--update":
        pathlib.Path(sys.argv[2]).write_text(script_of(marked(sys.argv[3:])), encoding="utf-8")
    else:
        version_script = pathlib.Path(sys.argv[1]).read_text(encoding="utf-8")
        faults = differences(listed(version_script), exports(sys.argv[2]), marked(sys.argv[3:]))
        print("\n".join(faults))
        sys.exit(1 if faults else 0)

# SPDX-License-Identifier: Apache-2.0
"""Names outside namespace vanto in the static archives must be those that the interface fixes."""

import pathlib
import re
import subprocess
import sys
import tempfile

from symbols import defined, demangled

# The last line has names that the interface fixes one by one: of functions that a program calls or defines itself, and of
# the data that whoever looks at a crashed process reads.
INTERFACE = re.compile(
    r"(Bundle|_?Kor|myKor|kVex|Pellmo|Plist|_?Qel|Vanto|Vex|dispatch_|sandbox_|tolven_data|vanto_)\w*(::|\(|$)"
    r"|(framework)?[bB]undleForBinaryImagePath\("
    r"|(archived(Array|Dictionary)|(array|dictionary)WithArchiveOfClass|descriptionWithIndent)\("
    r"|(_vanto_main|_vanto_runtime_get_entitlements_data|audit_token_to_au32|connectionEvaluator|gCRAnnotations)$")
DECORATION = re.compile(r"^(typeinfo( name)?|vtable|VTT|guard variable|(non-)?virtual thunk) (for|to) ")


def allowed(symbol, readable):
    readable = DECORATION.sub("", readable)
    if symbol.bind != "GLOBAL" and re.search(r"\b(std|__gnu_cxx)::", readable):
        return True  # instances of the standard library's templates, which every program shares
    if re.match(r"([^(]* )?vanto::", readable) or symbol.name.startswith("DW.ref."):
        return True
    return INTERFACE.match(readable) is not None


def problems(archives):
    found = []
    for archive in archives:
        symbols = defined(archive)
        readable = demangled({symbol.name for symbol in symbols})
        for symbol in sorted(symbols):
            if not allowed(symbol, readable[symbol.name]):
                found.append(f"{archive}: {readable[symbol.name]} stands in the global namespace")
    return found


def self_test():
    source = ("namespace vanto { int inside() { return 1; } } class Bundle { void f(); }; void Bundle::f() {}\n"
              'extern "C" { int vanto_send; bool connectionEvaluator() { return false; } int planted; }\n'
              "struct vanto_object { void g(); }; void vanto_object::g() {}\n")
    with tempfile.TemporaryDirectory() as folder:
        objects = pathlib.Path(folder) / "a.o"
        subprocess.run(["g++", "-x", "c++", "-", "-c", "-o", objects], input=source, text=True, check=True)
        found = problems([objects])
    if len(found) != 1 or "planted" not in found[0]:
        sys.exit(f"expected one problem, found {found}")
    print("found the planted name and no other")


if __name__ == "__main__":
    if sys.argv[1:] == ["--self-test"]:
        self_test()
    else:
        faults = problems(sys.argv[1:])
        print("\n".join(faults))
        sys.exit(1 if faults else 0)

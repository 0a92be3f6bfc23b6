# SPDX-License-Identifier: Apache-2.0
"""Compiles every header alone, those that are installed with both compilers, and the C headers as C11 too."""

import concurrent.futures
import os
import subprocess

from checking import files, run

C_HEADERS = {"Export.h", "KorRunLoop.h", "tolven_data.h", "vanto.h", "vanto_code.h", "VantoServiceMain.h"}
WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Werror"]
CXX = [["g++", "-std=c++20"], ["clang++", "-std=c++20"]]
C = [["gcc", "-std=c11"], ["clang", "-std=c11"]]


def compile_alone(root, compiler, path):
    language = "c" if "c11" in compiler[1] else "c++"
    command = [*compiler, *WARNINGS, "-fsyntax-only", "-x", language, "-", "-Iinclude", "-Isrc", "-Ihost", "-Iprograms"]
    # The declaration behind it, because C does not know an empty file.
    program = f'#include "{root / path}"\ntypedef int nothing_else;\n'
    result = subprocess.run(command, cwd=root, input=program, capture_output=True, text=True)
    if result.returncode == 0:
        return []
    first = next((line for line in result.stderr.splitlines() if "error" in line), "no message")
    return [f"{path}: does not compile alone with {compiler[0]}: {first}"]


def problems(root):
    work = []
    for path in files(root, ["include", "src", "host", "programs"], {".h"}):
        # Our own sources meet the other compiler in the builds that it makes; those of callers may never do so.
        compilers = CXX if path.parts[0] == "include" else CXX[:1]
        work += [(compiler, path) for compiler in compilers]
        if path.parts[0] == "include" and path.name in C_HEADERS:
            work += [(compiler, path) for compiler in C]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = pool.map(lambda item: compile_alone(root, *item), work)
    # One report for each header: what the first compiler that refuses it says.
    found = {}
    for (_, path), result in zip(work, results):
        if result:
            found.setdefault(path, result[0])
    return list(found.values())


GOOD = {
    "include/VantoService/vanto.h": "#pragma once\n#include <stdbool.h>\nbool vanto_f(void);\n",
    "src/value/Fd.h": "#pragma once\n#include <VantoService/vanto.h>\n",
    "programs/vanto/C.h": '#pragma once\n#include "value/Fd.h"\n',
    "host/ipc/A.h": '#pragma once\n#include "value/Fd.h"\n',
}
BAD = {
    "missing include": ({"src/value/B.h": "#pragma once\nstd::string f();\n"}, "src/value/B.h: does not compile"),
    "C++ in a C header": (
        {"include/VantoService/VantoServiceMain.h": "#pragma once\nnamespace vanto {}\n"}, "does not compile"),
}

if __name__ == "__main__":
    run(problems, GOOD, BAD)

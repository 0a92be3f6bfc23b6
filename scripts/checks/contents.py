# SPDX-License-Identifier: Apache-2.0
"""What no file of the tree may contain, how long files may be, and how often references are given away on purpose."""

import re

from checking import CODE, files, run, text

FOLDERS = ["src", "host", "include", "programs", "tests", "bench", "fuzz", "examples", "docs", "packaging", "cmake",
           "scripts", ".ci"]
TOP = ["CMakeLists.txt", "CMakePresets.json", "Makefile", "README.md", "CONTRIBUTING.md", "CHANGELOG.md"]
SHIPPED = ("src/", "host/", "include/", "programs/")
WORDS = [
    (re.compile(r"\bPart [1-5]\.[1-4]\b|\bspec\.md\b|\bthe specification\b", re.I), "speaks of what is not in the tree"),
    (re.compile(r"(?<![\w.])/work/|/tmp/brief|/root/\."), "names a path of one machine"),
    (re.compile(r"\bTODO\b(?!\((port|perf)\))|\bFIXME\b|\bXXX\b"), "has a TODO without a known kind"),
]
LONGEST = 400

# Where references are given away on purpose: how often a file says leak(), and why.
LEAKS = {
    "src/runtime/ClientValidation.cpp": (1, "the list of allowed clients is never dropped"),
    "src/runtime/VantoServiceRuntime.cpp": (1, "the process keeps its shared runtime"),
    "host/dispatch/Dispatch.cpp": (1, "a plain function that creates hands its reference to the caller"),
    "host/dispatch/RunLoop.cpp": (1, "the loop of the main thread is never freed"),
    "host/process/Files.cpp": (3, "plain functions that create hand their references to the caller"),
    "host/ipc/ArrayObject.cpp": (1, "an array keeps plain pointers to its elements"),
    "host/ipc/ConnectionInterface.cpp": (1, "a C function that creates hands its reference to the caller"),
    "host/ipc/DictionaryKey.h": (1, "a key is copied as plain memory"),
    "host/ipc/DictionaryObject.cpp": (2, "entries are moved as plain memory"),
    "host/ipc/ObjectInterface.cpp": (1, "a C function that creates hands its reference to the caller"),
    "host/jobdata/JobDataInterface.cpp": (2, "a C function that makes hands its reference to the caller"),
    "src/value/BundleMain.cpp": (1, "the process keeps its main bundle"),
    "src/value/KorFunctions.cpp": (1, "a plain function that creates hands its reference to the caller"),
    "src/value/KorBundle.cpp": (3, "plain functions that create or copy hand their references to the caller"),
    "src/value/KorPropertyList.cpp": (2, "a plain function that creates hands its reference to the caller"),
}


def all_files(root):
    found = files(root, FOLDERS, CODE | {".py", ".txt", ".md", ".cmake", ".in", ".map", ""})
    found += [path.relative_to(root) for path in (root / name for name in TOP) if path.is_file()]
    return [path for path in found if "corpus" not in path.parts and "samples" not in path.parts]


def needs_licence_line(path):
    return path.suffix in CODE | {".py", ".cmake"} or path.name == "CMakeLists.txt"


def problems_of_file(path, content):
    name = path.as_posix()
    found = []
    if needs_licence_line(path) and "SPDX-License-Identifier: Apache-2.0" not in content.partition("\n")[0]:
        found.append(f"{name}: does not begin with the licence line")
    if path.name != "contents.py":
        for number, line in enumerate(content.splitlines(), 1):
            found += [f"{name}:{number}: {reason}" for pattern, reason in WORDS if pattern.search(line)]
    if name.startswith(SHIPPED) and content.count("\n") > LONGEST:
        found.append(f"{name}: is longer than {LONGEST} lines")
    if name.startswith(SHIPPED):
        leaks, (expected, _) = len(re.findall(r"[.>]leak\(\)", content)), LEAKS.get(name, (0, ""))
        if leaks != expected:
            found.append(f"{name}: gives references away {leaks} times, not {expected}")
    return found


def problems(root):
    found = []
    for path in all_files(root):
        try:
            found += problems_of_file(path, text(root, path))
        except UnicodeDecodeError:
            if path.suffix:
                found.append(f"{path}: is not UTF-8")
    return found


LICENCE = "// SPDX-License-Identifier: Apache-2.0\n"
GOOD = {
    "src/value/A.cpp": LICENCE + "int a;  // TODO(perf): measure\n",
    "README.md": "# Read me\n",
}
BAD = {
    "no licence": ({"src/value/B.cpp": "int b;\n"}, "licence line"),
    "licence later": ({"src/value/B.cpp": "\n" + LICENCE}, "licence line"),
    "speaks of Parts": ({"docs/a.md": "as Part 3" ".1 says\n"}, "docs/a.md:1: speaks of"),
    "machine path": ({"README.md": "see /work/main\n"}, "names a path"),
    "TODO without a kind": ({"src/value/B.cpp": LICENCE + "// TODO: this\n"}, "TODO"),
    "TODO of a wrong kind": ({"src/value/B.cpp": LICENCE + "// TODO(now): this\n"}, "TODO"),
    "long file": ({"host/ipc/B.cpp": LICENCE + "\n" * LONGEST}, "longer than"),
    "a leak": ({"host/ipc/B.cpp": LICENCE + "auto* a = b.leak();\n"}, "gives references away 1 times"),
}

if __name__ == "__main__":
    run(problems, GOOD, BAD)

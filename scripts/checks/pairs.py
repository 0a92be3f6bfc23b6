# SPDX-License-Identifier: Apache-2.0
"""Each source file has its test file, and each file stands in the build list of its folder."""

import re

from checking import files, run, text

# Sources that nothing of their own can be tested of, and why.
WITHOUT_TEST = {
    "programs/tolvend/Manager.cpp": "the tests of the whole program run it",
    "programs/tolvend/main.cpp": "the tests of the whole program run it",
    "programs/vanto/codemain.cpp": "the tests of the whole program run it",
    "programs/vanto/main.cpp": "the tests of the whole program run it",
    "programs/vexd/digestermain.cpp": "the tests of the whole program run it",
    "programs/vexd/main.cpp": "the tests of the whole program run it",
    "programs/vantoproxy/Start.cpp": "the tests of the whole program run it",
    "programs/vantoproxy/main.cpp": "the tests of the whole program run it",
}


def test_of(path):
    """src/value/X.cpp -> tests/value/XTest.cpp, host/ipc/X.cpp -> tests/host/ipc/XTest.cpp, and so for programs"""
    folders = path.parts[1:-1] if path.parts[0] == "src" else path.parts[:-1]
    return "/".join(["tests", *folders, path.stem + "Test.cpp"])


def listed(root, path):
    """True when a build list in the file's folder or one above it names the file."""
    for folder in path.parents:
        lists = root / folder / "CMakeLists.txt"
        name = path.relative_to(folder).as_posix()
        if lists.is_file() and re.search(rf"(?<![\w/.-]){re.escape(name)}(?![\w.-])", lists.read_text(encoding="utf-8")):
            return True
    return False


def problems(root):
    found = []
    for path in files(root, ["src", "host", "programs"], {".cpp"}):
        if path.as_posix() not in WITHOUT_TEST and not (root / test_of(path)).is_file():
            found.append(f"{path}: has no test file {test_of(path)}")
    for path in files(root, ["src", "host", "tests", "programs", "bench", "fuzz", "examples"], {".c", ".cpp"}):
        if not listed(root, path):
            found.append(f"{path}: is in no build list")
    return found


GOOD = {
    "src/value/A.cpp": "",
    "src/value/CMakeLists.txt": "target_sources(vanto_core PRIVATE\n  A.cpp)\n",
    "host/ipc/B.cpp": "",
    "host/ipc/CMakeLists.txt": "target_sources(vanto_host PRIVATE B.cpp)\n",
    "tests/value/ATest.cpp": "",
    "tests/value/CMakeLists.txt": "vanto_add_test(value_tests FAKE ATest.cpp)\n",
    "tests/host/ipc/BTest.cpp": "",
    "tests/host/ipc/CMakeLists.txt": "vanto_add_test(ipc_tests HOST BTest.cpp)\n",
}
BAD = {
    "no test": (
        {"src/value/C.cpp": "", "src/value/CMakeLists.txt": "A.cpp C.cpp"}, "no test file tests/value/CTest.cpp"),
    "no host test": (
        {"host/ipc/C.cpp": "", "host/ipc/CMakeLists.txt": "B.cpp C.cpp"}, "no test file tests/host/ipc/CTest.cpp"),
    "no test of a program": (
        {"programs/vanto/C.cpp": "", "programs/vanto/CMakeLists.txt": "C.cpp"}, "no test file tests/programs/vanto/CTest.cpp"),
    "test not built": ({"tests/value/DTest.cpp": ""}, "tests/value/DTest.cpp: is in no build list"),
    "source not built": (
        {"src/value/E.cpp": "", "tests/value/ETest.cpp": "", "tests/value/CMakeLists.txt": "ATest.cpp ETest.cpp"},
        "src/value/E.cpp: is in no build list"),
}

if __name__ == "__main__":
    run(problems, GOOD, BAD)

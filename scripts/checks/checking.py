# SPDX-License-Identifier: Apache-2.0
"""How every check runs: over the tree, or, with --self-test, over small trees that show that it can fail."""

import pathlib
import sys
import tempfile

CODE = {".h", ".c", ".cpp"}


def files(root, folders, suffixes=CODE):
    """The files with one of the suffixes in the folders, as sorted paths relative to root."""
    found = []
    for folder in folders:
        for path in (root / folder).rglob("*"):
            if path.is_file() and path.suffix in suffixes:
                found.append(path.relative_to(root))
    return sorted(found)


def text(root, path):
    return (root / path).read_text(encoding="utf-8")


def _problems_of(problems, tree):
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        for name, content in tree.items():
            path = root / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(content, encoding="utf-8")
        return problems(root)


def _self_test(problems, good, bad):
    wrong = _problems_of(problems, good)
    if wrong:
        print("a good tree is refused: " + "; ".join(wrong))
        return 1
    for name, (change, expected) in bad.items():
        found = _problems_of(problems, {**good, **change})
        if len(found) != 1 or expected not in found[0]:
            print(f"{name}: expected one problem with '{expected}', found {found}")
            return 1
    print(f"found each of {len(bad)} planted faults")
    return 0


def run(problems, good, bad):
    """Ends the process with status 0 when problems(root) is empty. `good` is a tree (name: content) without problems;
    each of `bad` is a change to it and a part of the one problem that it must cause."""
    if sys.argv[1:] == ["--self-test"]:
        sys.exit(_self_test(problems, good, bad))
    found = problems(pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ".").resolve())
    for problem in found:
        print(problem)
    sys.exit(1 if found else 0)

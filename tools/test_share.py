#!/usr/bin/env python3
"""Prints how much of the tracked source is test code.

Counts non-blank lines of tracked .c .cpp .h .py .sh .cmake files,
CMakeLists.txt, *.in and .ci/run. Everything under tests/ and fuzz/ is test
code; fuzz corpora are data and are not counted. With --by-file, also lists
the test files, largest first.

    tools/test_share.py [--by-file]
"""
import os
import subprocess
import sys

SUFFIXES = (".c", ".cpp", ".h", ".py", ".sh", ".cmake", ".in")


def counted(path):
    name = os.path.basename(path)
    if "/corpus/" in path:
        return False
    return path.endswith(SUFFIXES) or name == "CMakeLists.txt" or path == ".ci/run"


def non_blank_lines(path):
    with open(path, encoding="utf-8", errors="replace") as f:
        return sum(1 for line in f if line.strip())


def main():
    root = subprocess.run(["git", "rev-parse", "--show-toplevel"], capture_output=True,
                          text=True, check=True).stdout.strip()
    os.chdir(root)
    files = subprocess.run(["git", "ls-files"], capture_output=True, text=True,
                           check=True).stdout.split()
    tests, code = {}, {}
    for path in filter(counted, files):
        (tests if path.startswith(("tests/", "fuzz/")) else code)[path] = non_blank_lines(path)
    t, c = sum(tests.values()), sum(code.values())
    print(f"test code {t} of {t + c} non-blank lines: {100.0 * t / (t + c):.1f}%"
          f" (library and everything else: {c})")
    if "--by-file" in sys.argv:
        for path, n in sorted(tests.items(), key=lambda item: -item[1]):
            print(f"{n:6d} {path}")


if __name__ == "__main__":
    try:
        main()
    except BrokenPipeError:  # piped into head: the reader has all it wants
        sys.stderr.close()

#!/usr/bin/env python3
"""Enters the suites of a test program with CTest, one test each: suites.py PROGRAM PREFIX SECONDS OUTPUT [EMULATOR...].

The tests of a suite share a process: each makes its own board and leaves nothing behind, and five thousand starts of a
process take longer than what they test."""
import pathlib
import subprocess
import sys


def suites_of(program, emulator):
    """The names of the program's suites, in its order."""
    listed = subprocess.run([*emulator, program, "--gtest_list_tests"], capture_output=True, text=True, check=True).stdout
    return [line.split("#")[0].strip() for line in listed.splitlines() if line and not line.startswith((" ", "Running main"))]


def main(program, prefix, seconds, output, *emulator):
    lines = [f"# Written by tests/suites.py from {pathlib.Path(program).name}."]
    for suite in suites_of(program, emulator):
        name = f"{prefix}{suite.rstrip('.')}"
        words = " ".join(f"[==[{word}]==]" for word in (*emulator, program, f"--gtest_filter={suite}*", "--gtest_brief=1"))
        lines.append(f"add_test([==[{name}]==] {words})")
        lines.append(f"set_tests_properties([==[{name}]==] PROPERTIES TIMEOUT {seconds})")
    pathlib.Path(output).write_text("\n".join(lines) + "\n", encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))

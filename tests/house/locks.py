"""What is said about locks is true."""
import shutil
import subprocess

import tree

# The clock and its lock, and what works on the board's state, which one lock guards. boardsim/libc/ only calls it.
ROOMS = ("boardsim/kernel/", "boardsim/board.cpp", "boardsim/board/", "boardsim/calls/", "boardsim/control/", "boardsim/tool/")


def locks(complain):
    """The board's state and its clock are touched only with its lock held, as clang's thread-safety analysis sees it (takes a minute)."""
    if shutil.which("clang++") is None:
        return "clang++ is not installed (Debian package clang)"
    command = ["clang++", "-std=gnu++20", "-fsyntax-only", "-I.", "-Wthread-safety", "-DBOARDSIM_VERSION=\"\""]
    for path in (file for room in ROOMS for file in tree.files(".cpp", below=room)):
        output = subprocess.run([*command, path], cwd=tree.ROOT, capture_output=True, text=True).stderr
        for line in output.splitlines():
            where, warning, text = line.partition(": warning: ")
            if warning and "-Wthread-safety" in text:
                file, number, *_ = where.split(":")
                complain(file, number, text)

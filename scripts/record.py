#!/usr/bin/env python3
"""Writes what a command has measured into docs/measurements.md: `record.py SECTION COMMAND <text`. The section's old text
gives way to a line that says what was measured when, and standard input."""
import os
import pathlib
import platform
import re
import subprocess
import sys
import time

PAGE = pathlib.Path(__file__).resolve().parent.parent / "docs/measurements.md"


def output_of(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True, cwd=PAGE.parent, check=True).stdout.strip()
    except (OSError, subprocess.CalledProcessError):
        return ""


def main(section, command):
    """Exits with a text when the page has no such section."""
    text, page = sys.stdin.read().strip(), PAGE.read_text()
    revision = output_of("git", "describe", "--always", "--dirty", "--tags") or "sources outside of git"
    compiler = output_of("c++", "-dumpfullversion")
    heading = (f"`{command}` on {time.strftime('%Y-%m-%d', time.gmtime())}, {revision}, GCC {compiler}, "
            f"{os.cpu_count()} processors ({platform.machine()}):")
    block = re.compile(rf"(?s)(<!-- begin {re.escape(section)} -->\n).*?(<!-- end {re.escape(section)} -->)")
    if not block.search(page):
        sys.exit(f"{PAGE.name} has no section \"{section}\"")
    PAGE.write_text(block.sub(lambda found: f"{found[1]}\n{heading}\n\n{text}\n\n{found[2]}", page))


if __name__ == "__main__":
    main(*sys.argv[1:])

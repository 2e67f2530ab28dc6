"""The shape of source files."""
import re
import shutil
import subprocess

import tree

LONGEST_FILE = 500
LONGEST_FUNCTION = 60
DEEPEST_SUITE = 4  # OnBoard, StationRun, the room's fixture, the suite
SOURCES = (".h", ".cpp")
TEXTS = ("LICENSE", "packaging/debian/copyright")  # in forms that have no comments
SCRIPTS = (".sh", ".py", ".cmake", "CMakeLists.txt")


def first_lines(complain):
    """Every source and script says in its first line what it is for, unless its header says it; every header is included
    once."""
    for path in tree.files(*SOURCES):
        start = tree.text(path).splitlines()
        header = path[:-4] + ".h" if path.endswith(".cpp") and (tree.ROOT / (path[:-4] + ".h")).is_file() else None
        if header and start and start[0] == f'#include "{header}"':
            continue  # its header says it
        if not start or not re.match(r"// \w|// /", start[0]) or "clang-format" in start[0]:
            complain(path, 1, "the first line does not say what the file is for")
        elif header and start[0] == tree.text(header).splitlines()[0]:
            complain(path, 1, "the first line says what that of its header says: begin with the include")
        if path.endswith(".h") and "#pragma once" not in start[:12]:
            complain(path, 1, "a header without #pragma once behind its first comment")
    scripts = tree.files(*SCRIPTS)
    others = [path for path in tree.files() if "." not in path.rpartition("/")[2] and path not in (*scripts, *TEXTS)]
    for path in scripts + others:
        start = [line for line in tree.text(path).splitlines()[:2] if not line.startswith("#!")]
        if not start or not re.match(r'# \w|"""\w', start[0]):
            complain(path, 1, "the first line does not say what the file is for")


def lengths(complain):
    """No source is longer than 500 lines, no function longer than 60; tables may be."""
    for path in tree.files(*SOURCES, *SCRIPTS):
        total = len(tree.text(path).splitlines())
        if total > LONGEST_FILE:
            complain(path, total, f"the file has {total} lines; {LONGEST_FILE} are the most")
    for path in tree.files(*SOURCES):
        start = 1
        for number, line in tree.lines(path):
            if re.match(r"[A-Za-z]", line):  # the first line of a function, a class or a table; only a function ends with "}"
                start = number
            elif line == "}" and number - start >= LONGEST_FUNCTION:
                complain(path, start, f"the function has {number - start + 1} lines; {LONGEST_FUNCTION} are the most")


def real_time(complain):
    """Tests that run processes and sockets of the PC wait for events, never for an amount of time."""
    for path in tree.files(*SOURCES, below="tests/"):
        if path.startswith(("tests/central/", "tests/e2e/", "tests/kills/", "tests/station/", "tests/boardsim/launcher/")):
            for number, line in tree.lines(path):
                if re.search(r"\b(u|nano|clock_nano)?sleep(_for|_until)?\(", line.partition("//")[0]):
                    complain(path, number, "a test that sleeps")


def fixtures(complain):
    """A suite is at most the fourth class below testing::Test: two fixtures of the harness, one of its room, itself."""
    bases = {}  # by folder and class, from its definition or alias: where it stands, and what it is made from
    for path in tree.files(*SOURCES, below="tests/"):
        text, folder = tree.text(path), path.rpartition("/")[0]
        for found in re.finditer(r"^ *(?:class|struct) (\w+)(?: final)?\s*:([^{;]+)\{|^using (\w+) = ([\w:]+);", text, re.M):
            of = re.findall(r"\b(?:::)?([\w:]+)", re.sub(r"<.*?>", "", found[2] or found[4]))
            line = text[:found.start(1 if found[1] else 3)].count("\n") + 1
            bases[folder, found[1] or found[3]] = (path, line, of, bool(found[1]))

    def depth(folder, name):
        if name.endswith(("testing::Test", "testing::TestWithParam")):
            return 0
        for place in (folder, "tests/harness"):
            if (place, name) in bases and name not in bases[place, name][2]:
                _, _, of, counts = bases[place, name]
                below = max((depth(place, base) for base in of), default=-1)
                return below + counts if below >= 0 else -1
        return -1  # no fixture

    for (folder, name), (path, line, _, _) in bases.items():
        if depth(folder, name) > DEEPEST_SUITE:
            complain(path, line, f"{name} is class number {depth(folder, name)} below testing::Test; {DEEPEST_SUITE} are the most")


def foreign_words(line):
    """What of a line speaks of the papers or the machine that it was written on."""
    papers = ("spec", "specification", "specified in", r"part [0-9]+", r"issue #?[0-9]+")
    refused = re.compile(r"\b(" + "|".join(papers[:2]) + r")s?\b|\b(" + "|".join(papers[2:]) + r")\b", re.I)
    machine = re.compile(r"(?<![\w./])/" + r"(work|root|home)/\w")
    return [found[0] for found in (refused.search(line), machine.search(line)) if found]


def words(complain):
    """Sources speak of boards and stations, not of the papers or the machine that they were written on."""
    for path in tree.files():
        if path == "tests/house/sources.py":
            continue
        for number, line in tree.lines(path):
            for word in foreign_words(line):
                complain(path, number, f'"{word}" says nothing to a reader who has the project only')


def formatting(complain):
    """clang-format would change nothing."""
    if shutil.which("clang-format") is None:
        return "clang-format is not installed (Debian package clang-format)"
    command = ["clang-format", "--dry-run", "--Werror", *tree.files(*SOURCES)]
    for line in subprocess.run(command, cwd=tree.ROOT, capture_output=True, text=True).stderr.splitlines():
        if match := re.match(r"(.+?):(\d+):\d+: error: ", line):
            complain(match[1], match[2], "not as clang-format writes it (clang-format -i FILE)")


def shell(complain):
    """shellcheck has nothing to say of a shell script, and none takes a command that never ran for one that went well."""
    scripts = [path for path in tree.files()
               if re.search(r"^#!.*\b(ba)?sh\b|^# shellcheck shell=", "\n".join(tree.text(path).splitlines()[:2]), re.M)]
    for path in scripts:
        for number, line in tree.lines(path):
            if re.search(r"\b(if|while|until) ! [{(]", line):
                complain(path, number, "when a redirection behind this fails, the shell takes it for success")
    if shutil.which("shellcheck") is None:
        return "shellcheck is not installed (Debian package shellcheck)"
    command = ["shellcheck", "--external-sources", "--severity=warning", "--format=gcc", *scripts]
    for line in subprocess.run(command, cwd=tree.ROOT, capture_output=True, text=True).stdout.splitlines():
        if match := re.match(r"(.+?):(\d+):\d+: (.*)", line):
            complain(match[1], match[2], match[3])
    return None

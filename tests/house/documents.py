"""What documents point to exists: links, headings, files, targets, options."""
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import unicodedata

import tree

OWN_FOLDERS = ("t1_sdk", "boardsim", "station", "tests", "benchmarks", "docs", "scripts", "cmake")
# Where the options of each command are defined, and what a definition looks like.
OPTIONS = {
    "./test": ("test", r"^ +((?:-[\w-]+ \| )*--[\w-]+)\)"),
    "./bench": ("bench", r"^ +((?:-\w+ \| )?--[\w-]+)\)"),
    "./run": ("run", r"(--[\w-]+)(?= *[|)])"),
    "boardsim": ("boardsim/tool/options.cpp", r'(?:add_option|add_flag|set_version_flag)\(\s*"(?:-\w,)?(--[\w-]+)'),
    "boardrec": ("boardrec/tool/main.cpp", r'"(--[\w-]+)"'),
    "t1station": ("station/app/command_line.cpp station/app/records_command.cpp "
                  "station/app/central_command.cpp station/app/users_command.cpp", r'(--[\w-]+)[",]'),
}


def anchors(path):
    """The fragments by which a document's headings are reached."""
    seen, found = {}, set()
    for heading in re.findall(r"^#+ +(.*?)\s*$", re.sub(r"^```.*?^```", "", tree.text(path), flags=re.M | re.S), re.M):
        plain = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading).replace("`", "")
        slug = re.sub(r"[^\w\- ]", "", plain.lower()).replace(" ", "-")
        count = seen[slug] = seen.get(slug, -1) + 1
        found.add(f"{slug}-{count}" if count else slug)
    return found
PRINTED = ("docs/fault-matrix.md", "docs/what-a-pass-means.md")  # ./run --faults, --passes


def links(complain):
    """Links lead to files of the project, and to headings that they have."""
    for path in tree.files(".md"):
        for number, line in tree.lines(path):
            for link in re.findall(r"\]\(([^)\s]+)\)", line):
                if re.match(r"[a-z]+:", link):
                    continue
                target, _, fragment = link.partition("#")
                file = (tree.ROOT / path).parent / target if target else tree.ROOT / path
                if not file.exists():
                    complain(path, number, f"a link to {link}, which does not exist")
                elif fragment and fragment not in anchors(file.resolve().relative_to(tree.ROOT)):
                    complain(path, number, f"a link to {link}, which is no heading of that document")


def paths(complain):
    """Files and folders that a document, script or comment names exist; programs below build/ have a target."""
    everything = tree.files()
    cmake = "\n".join(tree.text(path) for path in tree.files("CMakeLists.txt"))
    targets = set(re.findall(r"(?:add_executable|add_library|add_custom_target|bt_tests)\((\w+)", cmake))
    own = "|".join(OWN_FOLDERS)
    pattern = rf"(?<![\w./<$}}{{-])((?:{own})/[\w./*-]*)"
    for path in tree.files(".md", ".sh", ".cmake", ".h", ".cpp", "CMakeLists.txt"):
        example = re.findall(r"<!-- example: (.+) -->", tree.text(path))  # what files have in their names that are none
        for number, line in tree.lines(path):
            if any(name in line for name in example):
                continue
            for word in re.findall(pattern, line):
                word = re.split(r"/[A-Z]+\b", word.rstrip("./"))[0]  # capitals stand for any name
                if not any(tree.ROOT.glob(word)) and not (path.endswith((".h", ".cpp")) and '"' in line):
                    complain(path, number, f"{word} does not exist")
            if path.endswith(".md"):
                for word in re.findall(rf"\bbuild/\w+/((?:{own})/[\w./-]+)", line):
                    if not (tree.ROOT / word).exists() and word.rpartition("/")[2] not in targets:
                        complain(path, number, f"nothing builds {word}")
                for word in re.findall(r"`((?:[\w-]+/)*[\w-]+\.(?:cpp|h|sh|py|md|cmake))`", line):
                    if not any(known == word or known.endswith("/" + word) for known in everything):
                        complain(path, number, f"{word} does not exist")


def width(line):
    """The columns that a line takes: a Chinese character or punctuation mark takes two."""
    return sum(2 if unicodedata.east_asian_width(character) in "WF" else 1 for character in line)


def wrapped(complain):
    """Prose in documents is wrapped at 120 columns; tables, code and the pages that a program prints are not."""
    for path in tree.files(".md"):
        code = path in PRINTED
        for number, line in tree.lines(path):
            code ^= line.strip().startswith("```")
            if width(line.rstrip("\n")) > 120 and not code and not line.startswith("|"):
                complain(path, number, "a line of more than 120 columns")


def options(complain):
    """Options that a document gives to one of the project's commands are known to it."""
    known = {}
    for command, (path, pattern) in OPTIONS.items():
        known[command] = set(re.findall(r"--[\w-]+", " ".join(re.findall(pattern, "".join(map(tree.text, path.split())), re.M)))) | {"--help"}
    for path in tree.files(".md"):
        joined = re.sub(r"\\\n", "  ", tree.text(path))
        for number, line in enumerate(joined.splitlines(), 1):
            for span in re.findall(r"`([^`]+)`", line) or [line]:
                for command, rest in re.findall(r"(\./test|\./bench|\./run|\bboardrec|\bboardsim|\bt1station) ([^|;&`]*)", span):
                    for option in re.findall(r"(?<!\S)--[a-z][\w-]*", rest.partition(" -- ")[0]):
                        if option not in known[command]:
                            complain(path, number, f"{command} has no option {option}")
            for option in re.findall(r"`(--[a-z][\w-]*)", line):
                if not any(option in options for options in known.values()):
                    complain(path, number, f"no command has an option {option}")


def api_reference(complain, build):
    """The API reference is made without a warning: every public declaration says what it is for, but for fields."""
    if shutil.which("doxygen") is None:
        return "doxygen is not installed (Debian package doxygen)"
    configuration = tree.text("docs/Doxyfile") + f"OUTPUT_DIRECTORY = {build}/api\n"
    run = subprocess.run(["doxygen", "-"], cwd=tree.ROOT, input=configuration, capture_output=True, text=True)
    for line in run.stderr.splitlines():
        if re.search(r"\(variable\) of (struct|class) .* is not documented", line):
            continue
        where = re.match(r"(?:.*?/)?((?:t1_sdk|boardsim|docs)/.*?):(\d+): warning: (.*)", line)
        complain(*(where.groups() if where else ("docs/Doxyfile", 1, line)))
    if run.returncode != 0:
        complain("docs/Doxyfile", 1, f"doxygen ended with status {run.returncode}")


def chain(complain):
    """The program in docs/records.md finds the same hashes as the station in records that it once wrote."""
    program = re.search(r"^```python\n(import hashlib.*?)^```", tree.text("docs/records.md"), re.M | re.S)[1]
    with tempfile.TemporaryDirectory() as folder:
        records = sqlite3.connect(f"{folder}/records.db")
        records.executescript(tree.text("tests/station/data/records-1.sql"))
        records.close()
        for damage, word in ((None, "as stored"), ("UPDATE attempt SET description = 'x'", "CHANGED")):
            if damage:
                records = sqlite3.connect(f"{folder}/records.db")
                records.executescript(f"DROP TRIGGER attempt_update; {damage};")
                records.close()
            run = subprocess.run([sys.executable, "-c", program, f"{folder}/records.db"], capture_output=True, text=True)
            said = [line.split(" ", 1)[1] for line in run.stdout.splitlines()]
            if run.returncode != 0 or not said or said[0] != word or (not damage and set(said) != {word}):
                complain("docs/records.md", 1, f"its program says {said or run.stderr} where it should say {word}")


def quirks(complain):
    """The tests that docs/quirks.md names exist."""
    known = set()
    for path in tree.files("_test.cpp"):
        text = tree.text(path)
        known |= {".".join(names) for names in re.findall(r"^ *TEST(?:_F|_P)?\( *(\w+), *(\w+)", text, re.M)}
        suites = re.findall(r"^ *(?:class|struct) (\w+)", text, re.M)
        known |= {f"{suite}.{test}" for suite in suites for test in re.findall(r"^ +(\w+)\) \{", text, re.M)}
    for number, line in tree.lines("docs/quirks.md"):
        for name in re.findall(r"`([A-Z][A-Za-z0-9]+\.[A-Z][A-Za-z0-9]+)`", line):
            if name not in known:
                complain("docs/quirks.md", number, f"there is no test {name}")

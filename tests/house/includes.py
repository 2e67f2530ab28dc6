"""Which file may include which, and files that nobody uses."""
import json
import pathlib
import re

import tree

# A folder may include itself and what stands here; the longest prefix counts. docs/architecture.md draws it.
ROOF = "t1_sdk/boardtest/service/"
WINGS = ("t1_sdk/boardtest/peripheral/", "t1_sdk/boardtest/comm/", "t1_sdk/boardtest/sensor/")
# A folder inside a wing is a room: others include the one header that is named like it, tests what they test.
ROOMS = tuple(sorted({found[0] for path in tree.files(".h", ".cpp") for wing in WINGS
                      if (found := re.match(rf"{wing}\w+/", path))}))
MIDDLE = ("t1_sdk/boardtest/platform/", "t1_sdk/boardtest/protocol/")
GROUND = ("t1_sdk/util/", "t1_sdk/xmldocument/")
BOARD = ("boardsim/devices/", "boardsim/families/", "boardsim/kernel/")
# The rooms of the station, and those below each that it may include.
STATION = {
    "web": ("line", "figures", "records", "report", "plan", "catalogue", "text"),
    "plant": ("line", "central", "report", "records", "plan", "text"),
    "line": ("tools", "run", "central", "records", "plan", "link", "protocol", "catalogue", "text"),
    "tools": ("run", "terminal", "link", "protocol", "text"),
    "terminal": ("run", "protocol", "catalogue", "text"),
    "report": ("terminal", "figures", "records", "run", "plan", "catalogue", "text"),
    "run": ("records", "plan", "link", "protocol", "catalogue", "text"),
    "central": ("figures", "records", "plan", "text"),
    "figures": ("records", "text"),
    "records": ("plan", "text"),
    "plan": ("catalogue", "text"),
    "catalogue": ("protocol", "text"),
    "link": ("text",),
    "protocol": ("text",),
    "text": (),
}
MAY_INCLUDE = {
    "t1_sdk/main.cpp": (ROOF,),
    ROOF: WINGS + MIDDLE + GROUND,
    **{place: MIDDLE + GROUND for place in WINGS + ROOMS},
    **{folder: GROUND for folder in MIDDLE},
    **{folder: () for folder in GROUND},
    "boardrec/tool/": ("boardrec/compare/", "boardrec/session/", "boardrec/format/", "catalogue/", "version/"),
    "boardrec/compare/": ("boardrec/session/", "boardrec/format/"),
    "boardrec/replay/": ("boardrec/session/", "boardrec/memory/", "boardrec/format/"),
    "boardrec/session/": ("boardrec/format/",),
    "boardrec/recorder/": ("boardrec/memory/", "boardrec/format/"),
    "boardrec/memory/": (),
    "boardrec/format/": (),
    "boardsim/tool/": ("boardsim/control/", "boardsim/board.h", "boardsim/board/", "boardrec/compare/", "boardrec/session/", "boardrec/format/", "version/") + BOARD,
    "boardsim/control/": ("boardsim/board.h", "boardsim/board/") + BOARD,
    "boardsim/libc/": ("boardsim/calls/", "boardsim/board/") + BOARD,
    "boardsim/calls/": ("boardsim/board/",) + BOARD,
    "boardsim/board.h": ("boardsim/board/",) + BOARD,
    "boardsim/board.cpp": ("boardsim/board.h", "boardsim/board/") + BOARD,
    "boardsim/board/": ("boardsim/jigs/",) + BOARD,
    "boardsim/jigs/": ("boardsim/families/", "boardsim/kernel/"),
    "boardsim/devices/": ("boardsim/families/", "boardsim/kernel/"),
    "boardsim/families/": ("boardsim/kernel/", "catalogue/"),
    "boardsim/kernel/": (),
    "catalogue/": (),
    "version/": (),
    "station/app/": tuple(f"station/{room}/" for room in STATION) + ("catalogue/",),
    **{f"station/{room}/": tuple(f"station/{lower}/" for lower in lowers) + ("catalogue/", "version/") for room, lowers in STATION.items()},
    "benchmarks/": ("t1_sdk/", "station/"),
    "tests/boardrec/": ("boardrec/", "catalogue/", "tests/e2e/", "tests/harness/"),
    "tests/boardsim/": ("boardsim/", "tests/harness/"),
    "tests/station/": ("station/", "catalogue/", "version/", "tests/harness/"),
    "tests/fuzz/": ("t1_sdk/", "catalogue/", "boardrec/", "boardsim/board.h", "boardsim/tool/", "station/web/", "tests/"),
    "tests/central/": ("station/", "tests/e2e/child.h", "tests/harness/", "tests/station/"),
    "tests/e2e/": ("boardrec/session/recording.h", "boardsim/control/client.h", "tests/harness/"),
    "tests/kills/": ("station/", "tests/e2e/child.h", "tests/harness/", "tests/station/"),
    "tests/matrix/": ("t1_sdk/", "catalogue/", "boardsim/board.h", "boardsim/families/families.h", "boardsim/jigs/wiring.h", "tests/"),
    "tests/": ("t1_sdk/", "catalogue/", "boardsim/board.h"),
}
# The drawings of floors, and the house that each of them shows; a room's cell begins with its name.
DRAWINGS = {"## The floors of the program": "t1_sdk/", "## The floors of the simulated board": "boardsim/",
            "## The floors of the recordings": "boardrec/", "## The floors of the station": "station/"}
# These write numbers, records and texts afresh: not even a header's header is the program's.
INDEPENDENT = ("boardrec/", "boardsim/", "station/", "tests/boardrec/", "tests/boardsim/", "tests/central/", "tests/station/", "tests/e2e/", "tests/kills/")


def quoted(path):
    """(line, included path) of every #include "..."."""
    for number, line in tree.lines(path):
        if match := re.match(r'\s*#\s*include\s+"([^"]+)"', line):
            yield number, match[1]


def owner(path):
    """The entry of MAY_INCLUDE that speaks for a file."""
    return max((key for key in MAY_INCLUDE if path.startswith(key)), key=len, default=None)


def is_inside_a_room(target):
    """Whether a header is for the files of its own room only."""
    return target.startswith(ROOMS) and not re.search(r"/(\w+)/\1\.h$", target)


def directions(complain):
    """Includes point down only, between the folders of the program, the simulated board, the station and the tests. Of a
    room of the program's, others include the one header that is named like it."""
    includes = {path: list(quoted(path)) for path in tree.files(".h", ".cpp")}
    for path, targets in includes.items():
        home = owner(path)
        if home is None:
            complain(path, 1, "a file in a folder for which tests/house/includes.py has no row")
            continue
        for number, target in targets:
            if not (tree.ROOT / target).is_file():
                complain(path, number, f'"{target}" is not the path of a file from the project\'s root')
            elif not target.startswith((home,) + MAY_INCLUDE[home]):
                complain(path, number, f"{home} must not include {target}")
            elif is_inside_a_room(target) and not target.startswith(home) and not path.startswith("tests/"):
                complain(path, number, f"{target} is for its own room; others include the header named like it")
    for path in includes:
        if path.startswith(INDEPENDENT):
            for number, target in includes[path]:
                seen, waiting = set(), [target]
                while waiting:
                    header = waiting.pop()
                    if header in seen:
                        continue
                    seen.add(header)
                    waiting += [further for _, further in includes.get(header, [])]
                if reached := sorted(header for header in seen if header.startswith("t1_sdk/")):
                    complain(path, number, f"reaches {reached[0]}, but must share no header with the program")


def drawn_floors(heading):
    """The lines of the drawing below a heading of docs/architecture.md, numbered from the top."""
    text = tree.text("docs/architecture.md").partition(heading + "\n")[2]
    return list(enumerate(text.partition("```")[2].partition("```")[0].splitlines()))


def floors(complain):
    """Each include leads to a lower floor, as docs/architecture.md draws them: no two folders may include each other."""
    for heading, house in DRAWINGS.items():
        floor = {}
        for room in (key for key in MAY_INCLUDE if key.startswith(house) and not key.endswith(".cpp")):
            name = room.rstrip("/").rpartition("/")[2]
            cell = rf"(?:^ |│ )(?:\w+/)?{re.escape(name)}(?![\w.])"
            lines = [number for number, line in drawn_floors(heading) if re.search(cell, line)]
            if lines:
                floor[room] = lines[0]
            else:
                complain("docs/architecture.md", 1, f'"{heading}" does not draw {room}')
        for room, lower in MAY_INCLUDE.items():
            for target in lower:
                if room in floor and floor.get(target, floor[room] + 1) <= floor[room]:
                    complain("docs/architecture.md", 1, f"{room} may include {target}, which is not drawn below it")


# What a file of the program may ask the compiler for: both ways are tested against each other.
CONDITIONS = {"t1_sdk/xmldocument/xml_scan.h": {"__SSE2__"}}


def program_headers(complain):
    """The program needs the C++ standard library without its streams, libc and POSIX threads, and has no test hook."""
    folders = ("arpa/", "linux/", "net/", "netinet/", "sys/")
    refused = {"iostream", "fstream", "sstream", "istream", "ostream", "iomanip", "filesystem", "regex", "locale", "thread",
               "future", "random"}
    for path in tree.files(".h", ".cpp", below="t1_sdk/"):
        for number, line in tree.lines(path):
            if match := re.match(r"\s*#\s*include\s+<([^>]+)>", line):
                if match[1] in refused:
                    complain(path, number, f"<{match[1]}> is too large for the board, or goes past its system calls")
                elif "/" in match[1] and not match[1].startswith(folders):
                    complain(path, number, f"<{match[1]}> is of no library that the board has")
            elif match := re.match(r"\s*#\s*(?:el)?if(?:n?def)?\b(.*)", line):
                if not set(re.findall(r"\w+", match[1])) <= {"defined", "__GNUC__", "__clang__"} | CONDITIONS.get(path, set()):
                    complain(path, number, "the program is compiled one way only: no conditional parts")
            if path.endswith(".h") and not line.isascii():
                complain(path, number, "a text that is not ASCII in a header: tests include it without GBK literals")


def unused_files(complain, build):
    """Every header is included by another file than its own source; every source is built, or named by a CMakeLists.txt."""
    users = {}
    for path in tree.files(".h", ".cpp"):
        for _, target in quoted(path):
            users.setdefault(target, set()).add(path)
    for header in tree.files(".h"):
        if not users.get(header, set()) - {header[:-2] + ".cpp"}:
            complain(header, 1, "nobody includes this header")
    built = {entry["file"] for entry in json.loads((build / "compile_commands.json").read_text())}
    for file in [file for file in built if "/Unity/" in file]:  # which is compiled in place of several
        built.update(re.findall(r'#include "(.*)"', pathlib.Path(file).read_text(encoding="utf-8")))
    named = {word for path in tree.files("CMakeLists.txt") for word in re.findall(r"[\w.]+\.cpp", tree.text(path))}
    for source in tree.files(".cpp"):
        if str(tree.ROOT / source) not in built and source.rpartition("/")[2] not in named:
            complain(source, 1, "no target builds this source")
    scripts = "\n".join(tree.text(path) for path in tree.files() if not path.endswith((".h", ".cpp", ".md")))
    for script in tree.files(".sh", ".py", ".cmake"):
        name = script.rpartition("/")[2]
        if name not in scripts and not re.search(rf"(import|from) {re.escape(name.rpartition('.')[0])}\b", scripts):
            complain(script, 1, "nobody runs or includes this script")

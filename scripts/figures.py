#!/usr/bin/env python3
"""What a run of the tests came to, as tables for docs/measurements.md: `figures.py KIND FILE...`. KIND is tests (ctest's
JUnit file), faults (the sweep's logs, one a board), coverage (gcovr's summaries, one a house), fuzzing (the fuzzers' logs), mutants (what
scripts/mutate.py prints) or soak (what tests/soak/soak.py prints)."""
import collections
import pathlib
import re
import sys
import xml.etree.ElementTree


def table(head, rows, left=1):
    """A table whose first `left` columns are words, the others numbers."""
    lines = [head, ["---"] * left + ["---:"] * (len(head) - left), *rows]
    return "\n".join(f"| {' | '.join(str(cell) for cell in row)} |" for row in lines)


def found(pattern, text, path):
    match = re.search(pattern, text, re.M)
    if match is None:
        sys.exit(f"{path} does not say what its run came to")
    return match.groups()


def tests(path):
    """Suites and seconds of each folder; the seconds of all are shorter, since several run at a time."""
    run = xml.etree.ElementTree.parse(path).getroot()
    suites, seconds = collections.Counter(), collections.Counter()
    for case in run.iter("testcase"):
        folder = case.get("name").partition("/")[0]
        suites[folder] += 1
        seconds[folder] += float(case.get("time"))
    rows = [(folder, suites[folder], f"{seconds[folder]:.1f}") for folder in sorted(suites)]
    return table(("Folder", "Suites", "Seconds"), [*rows, ("all, several at a time", sum(suites.values()), run.get("time"))])


def faults(*paths):
    rows = []
    for path in map(pathlib.Path, paths):
        pattern = r"^(\d+) of \d+ faults tried in (\d+) tests on boards, (\d+) of them undecided, (\d+) wrong"
        rows.append((path.stem.removeprefix("sweep-"), *map(int, found(pattern, path.read_text(), path))))
    rows.append(("all", *map(sum, list(zip(*rows))[1:])))
    return table(("Board", "Faults tried", "Tests", "Undecided", "Wrong"), rows)


def coverage(*paths):
    rows = []
    for path in map(pathlib.Path, paths):
        for what in ("lines", "functions", "branches"):
            share, ran, of = found(rf"^{what}: ([\d.]+)% \((\d+) out of (\d+)\)", path.read_text(), path)
            rows.append((f"`{path.stem.removeprefix('coverage-')}/`", what, f"{share} %", ran, of))
    return table(("House", "", "Share", "Ran", "Of"), rows, left=2)


def fuzzing(*paths):
    rows = []
    for path in map(pathlib.Path, paths):
        runs, seconds = found(r"^Done (\d+) runs in (\d+) second", path.read_text(errors="replace"), path)
        rows.append((f"`{path.stem}`", seconds, runs))
    return table(("Target", "Seconds", "Inputs"), rows) + "\n\nNo findings."


def mutants(path):
    text = pathlib.Path(path).read_text()
    counts, = found(r"^(\| Kind (?:.*\n)+?\(and .*\))", text, path)
    survivors = re.findall(r"^# (\S+) survived\n(.*)\n((?:[-+] .*\n?)+)", text, re.M)
    return "\n\n".join([counts.replace("\n(", "\n\n("), *(f"Survived: `{name}`\n\n```diff\n{lines.strip()}\n```"
                                                      for name, _, lines in survivors)])


def soak(path):
    text, = found(r"^(\d+ units in \d+ runs, (?:.*\n)+?\n(?:\|.*\n)+)", pathlib.Path(path).read_text(), path)
    return text


if __name__ == "__main__":
    kinds = {kind.__name__: kind for kind in (tests, faults, coverage, fuzzing, mutants, soak)}
    print(kinds[sys.argv[1]](*sys.argv[2:]))

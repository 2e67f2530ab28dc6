"""The station's records, as rows of the table: commits, and files of many runs."""
import pathlib
import statistics
import subprocess
import tempfile

import table

COMMIT_ROUNDS = 101
FILE_ROUNDS = 15
SMALL = 1000
KEPT = 10_000
MANY = 100_000
MILLION = 1_000_000
LISTS = ("the newest 100", "a batch that nobody has", "a verdict that none has", "last runs that failed", "a step that took long",
         "a measured value that none has")


def columns(build, *words):
    """What a run of records_speed prints, column by column."""
    command = [build / "benchmarks/records_speed", *map(str, words)]
    output = subprocess.run(command, stdout=subprocess.PIPE, check=True, text=True).stdout
    return list(zip(*(map(float, line.split()) for line in output.splitlines())))


def file_rows(build, runs):
    """The same with a file of so many runs, against one of a thousand."""
    with tempfile.TemporaryDirectory(dir=build) as folder:
        files = [pathlib.Path(folder) / name for name in ("small.db", "large.db")]
        for file, size in zip(files, (SMALL, runs)):
            columns(build, "fill", file, size)
        found = columns(build, "files", FILE_ROUNDS, *files)
    against = f"{SMALL:,} runs"
    return [table.Row(f"Records: {what}, {runs:,} runs", table.ratio(column[1::2], column[::2]), against, 2)
            for what, column in zip(("open", "begin a run", "list a unit's", "show a run"), found)]


def records(build):
    """Commits of the records, and a file of 100,000 runs."""
    rows = []
    for place, name, goal in ((build, "disk", 1.25), (pathlib.Path("/dev/shm"), "memory", None)):
        if place.is_dir():
            with tempfile.TemporaryDirectory(dir=place) as folder:
                ours, bare = columns(build, "commits", folder, COMMIT_ROUNDS)
            rows.append(table.Row(f"Records: a commit ({name})", table.paired_ratio(ours, bare), "SQLite alone", goal))
    return rows + file_rows(build, MANY)


def figures_rows(build):
    """All figures of a year of a million runs, and their growth since ten thousand."""
    with tempfile.TemporaryDirectory(dir=build) as folder:
        files = [pathlib.Path(folder) / name for name in ("small.db", "large.db")]
        for file, size in zip(files, (KEPT, MILLION)):
            columns(build, "fill", file, size)
        (found,) = columns(build, "figures", FILE_ROUNDS, *files)
    name = f"Figures of all runs, {MILLION:,} runs"
    return [table.Row(name, statistics.median(found[1::2]), "seconds", 1),
            table.Row(name, table.ratio(found[1::2], found[::2]), f"{KEPT:,} runs")]


def list_rows(build, runs):
    """A page of lists of a file of so many runs, and their growth since ten thousand: what few runs answer is looked for in
    all of them."""
    with tempfile.TemporaryDirectory(dir=build) as folder:
        files = [pathlib.Path(folder) / name for name in ("small.db", "large.db")]
        for file, size in zip(files, (KEPT, runs)):
            columns(build, "fill", file, size)
        found = columns(build, "lists", FILE_ROUNDS, *files)
    rows = []
    for what, column in zip(LISTS, found):
        name = f"Runs listed: {what}, {runs:,} runs"
        rows += [table.Row(name, statistics.median(column[1::2]), "seconds", digits=4),
                 table.Row(name, table.ratio(column[1::2], column[::2]), f"{KEPT:,} runs")]
    return rows


def million(build):
    """Files of a million runs, 2 GB; minutes, and only when it is named."""
    return file_rows(build, MILLION) + figures_rows(build) + list_rows(build, MILLION)

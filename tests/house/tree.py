"""The project's files, as the house rules look at them."""
import os
import pathlib

ROOT = pathlib.Path(__file__).resolve().parents[2]
INPUTS = "tests/fuzz/corpus/"  # what the fuzzers found: bytes, nobody's text


def files(*suffixes, below=""):
    """Paths from the root, sorted, of the files with one of these suffixes (any, without one). A suffix may be a name."""
    found = []
    for folder, folders, names in os.walk(ROOT):
        at_root = pathlib.Path(folder) == ROOT
        folders[:] = [f for f in folders if f not in (".git", ".cache", "__pycache__") and not (at_root and f == "build")]
        for name in names:
            if name == ".git":  # a file in a second working tree
                continue
            path = (pathlib.Path(folder) / name).relative_to(ROOT).as_posix()
            if path.startswith(below) and not path.startswith(INPUTS) and (not suffixes or name.endswith(suffixes)):
                found.append(path)
    return sorted(found)


def text(path):
    """A file's text; bytes that are no UTF-8 read as question marks."""
    return (ROOT / path).read_text(encoding="utf-8", errors="replace")


def lines(path):
    """(number, line) of every line, from 1."""
    return enumerate(text(path).splitlines(), 1)

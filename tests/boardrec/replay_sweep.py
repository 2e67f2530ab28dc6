#!/usr/bin/env python3
"""Sessions on simulated boards, healthy and with each kind of fault that the simulator knows, recorded: each replay is
exact, and a simulated board with the same fault agrees with the recording.

    replay_sweep.py BUILD             every family once, and every third kind of fault on one of them
    replay_sweep.py BUILD --all       every family with every kind of fault
"""
import argparse
import collections
import concurrent.futures
import itertools
import os
import pathlib
import re
import sys
import tempfile

sys.dont_write_bytecode = True  # nothing is left beside the sources

import sessions
from sessions import output_of

EVERY = 3  # so many kinds of fault apart are those that are tried without --all
# Words of faults for which anything may stand, and what does here; any other is a number, and 1.
WORDS = {"ERRNO": ["EIO", "EINTR"], "ADDRESS": ["0xb0"], "BYTES": ["3"]}
WHOLE_FAULTS = {"interface NAME ADDRESS|none": ["interface eth0 none", "interface eth0 127.9.9.9"]}
ALSO = {"fopen": "open", "fgets": "read", "fread": "read", "fstat": "stat"}  # calls that meet the faults of another
SOME_NODE = "/dev/rtc"  # where no session makes such a call

Fault = collections.namedtuple("Fault", "form words")


class Forms:
    """The simulator's own list of the faults that a board takes, and words that follow it."""

    def __init__(self, listed, calls):
        """`calls`: those of a session, as "open /dev/rtc"."""
        self.calls, self.possible = calls, {}
        for line in listed.splitlines():
            if not line.startswith(" "):
                form = line
                self.possible[form] = {}
            elif all(": " in part for part in line.strip().split("; ")) and line.strip()[0].isupper():
                self.possible[form] = dict(part.split(": ", 1) for part in line.strip().split("; "))

    def faults(self):
        return [Fault(form, words) for form in self.possible for words in self.follow(form)]

    def follow(self, form):
        """Faults of this form: each word that it leaves the choice of stands in one of them at least, each node in each."""
        if form in WHOLE_FAULTS:
            return WHOLE_FAULTS[form]
        places = [self.choices(form, place) for place in re.findall(r"(?:\[.*?\]+(?= |$)|\S)+", form)]
        nodes = [""]
        if "NODE" in form.split() and "NODE" not in self.possible[form]:
            places.remove([SOME_NODE])
            nodes = [node for call, node in map(str.split, self.calls) if call == form.split()[0]] or [SOME_NODE]
        followed = []
        for node, turn in itertools.product(nodes, range(max(map(len, places)))):
            # Two inputs that are shorted are not the same one.
            words = [place[(turn + number) % len(place)] for number, place in enumerate(places)]
            words[1:1] = [node]
            followed.append(" ".join(word for word in words if word))
        return followed

    def choices(self, form, place):
        """What may stand at a place of a form: a word for each choice; an empty one for what may be left out."""
        if place == "NODE" and place not in self.possible[form]:
            return [SOME_NODE]
        if place == "[REQUEST]":
            return [""]  # any
        if place.startswith("[#"):
            return ["#1"]  # a call that fails for ever lets some programs try for ever
        if place.startswith("["):
            inside = place[1:-1]
            return ([] if "ERRNO" in inside else [""]) + self.choices(form, inside)
        name = place.replace("...", "").replace("[+]", "")
        if name in self.possible[form]:
            return [value for part in re.split(r", | or ", self.possible[form][name]) for value in ends_of(part)]
        return [" ".join(words) for choice in name.split("|") for words in itertools.product(*(
            WORDS.get(word, ["1"]) if word.isupper() else [word] for word in choice.split()))]


def ends_of(part):
    """"0 to 5" and "from 1" as numbers at their ends, and 1, which most boards have; a name is itself."""
    if found := re.fullmatch(r"from (\d+)", part):
        return [found[1]]
    found = re.fullmatch(r"(\d+) to (\d+)", part)
    return [str(number) for number in sorted({int(found[1]), 1, int(found[2])})] if found else [part]


class Boards(sessions.Boards):
    """Sessions that are recorded, replayed and compared."""

    def faults(self, family):
        """All that can befall this board in a session."""
        calls = set()
        for line in output_of(self.tool, "show", self.folder / f"{family}.rec").splitlines():
            if match := re.match(r"\S+ (\w+) (/\S+)", line):
                calls.add(f"{ALSO.get(match[1], match[1])} {match[2]}")
        return Forms(output_of(self.launcher, "--board", family, "--fault", "list"), sorted(calls)).faults()

    def try_session(self, family, fault=""):
        """What was wrong with it; None when this board has no place for the fault."""
        file = self.folder / f"{family}{'-' + re.sub(r'[^0-9A-Za-z]+', '_', fault) if fault else ''}.rec"
        laid = ["--fault", fault] if fault else []
        recorded = self.record(family, file, *laid)
        if not file.exists():
            return None if b"fault: " in recorded.stderr else [f"{family}, {fault}: {last_of(recorded.stderr)}"]
        wrong = []
        replayed = self.launch("--replay", file)
        if b"every call as it was recorded" not in replayed.stderr:
            wrong.append(f"{family} {fault or 'healthy'}, replayed: {last_of(replayed.stderr)}")
        if not fault:
            return wrong
        compared = self.launch("--compare", file, "--board", family, *laid)
        if compared.returncode != 0:
            wrong.append(f"{family} {fault}, compared: {last_of(compared.stderr + compared.stdout)}")
        file.unlink()
        return wrong


def last_of(text):
    return text[-2000:].decode(errors="replace")


def tries_of(faults, everything):
    """(form, [(family, fault)]): the first that the family has a place for is tried. `faults`: by family."""
    by_form = collections.defaultdict(lambda: collections.defaultdict(list))
    for family in faults:
        for fault in faults[family]:
            by_form[fault.form][family].append((family, fault.words))
    tries = []
    for number, (form, families) in enumerate(by_form.items()):
        if everything:  # of a form's faults each family tries others
            tries += [(form, [where]) for place, all_of_it in enumerate(families.values()) for index, where in enumerate(all_of_it)
                      if index % len(families) == place % min(len(families), len(all_of_it))]
        elif number % EVERY == 0:  # each form begins with another family
            all_of_it = list(itertools.chain(*families.values()))
            first = number * len(all_of_it) // len(by_form)
            tries.append((form, all_of_it[first:] + all_of_it[:first]))
    return tries


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--all", action="store_true")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="boardrec-") as folder, \
            concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        boards = Boards(options.build.resolve(), pathlib.Path(folder))
        families = boards.families()
        wrong = list(itertools.chain.from_iterable(pool.map(boards.try_session, families)))
        tries = tries_of(dict(zip(families, pool.map(boards.faults, families))), options.all)

        def try_fault(where):
            return next((found for family, fault in where if (found := boards.try_session(family, fault)) is not None), None)

        found = list(pool.map(try_fault, (where for _, where in tries)))
    met = {form for (form, _), result in zip(tries, found) if result is not None}
    wrong += itertools.chain.from_iterable(result for result in found if result)
    wrong += [f"no board takes a fault of the form {form}" for form in {form for form, _ in tries} - met]
    sessions = len(families) + sum(result is not None for result in found)
    print(*wrong, sep="\n", end="\n" if wrong else "")
    print(f"{sessions} sessions of {len(families)} families with {len(met)} kinds of faults were recorded, replayed and "
          f"compared: {len(wrong)} findings")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())

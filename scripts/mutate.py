#!/usr/bin/env python3
"""Tests of the tests: changes the program in small ways and looks whether a test fails.

Every mutant is one change of one place in t1_sdk/, or with --of station in station/. It is built and tested in a copy
of the tree (build/mutants/tree), without optimisation and warnings; the checkout is never changed. First the tests of
the changed file's own folder run, then, if all of them pass, those of all others (tests/e2e for main.cpp only). Of the
station, tests/station runs first, then what starts the station as a program. Mutants that do not compile are not
counted; those of tests/mutants-equivalent.txt, which no test can tell from the program, are not made.

    scripts/mutate.py --list                      all mutants, by kind
    scripts/mutate.py --count 300 --seed 7        a sample, spread over files and kinds
    scripts/mutate.py --only t1_sdk/util/text.cpp:12:number:1
    scripts/mutate.py --list --texts --count 400 >sample; scripts/mutate.py --from sample    the same ones for ever

A mutant's name is FILE:LINE:KIND:N, the N-th change of that kind in the line. Its text is "FILE | OLD LINES | NEW LINES",
and "| N" behind the N-th of several that read alike: lines that move leave it as it is. Kinds: number (1 more, 1 less,
the highest bit), text (a character, the line end), condition, arithmetic, flag (true and false), order (two
statements exchanged), statement (removed), return (of a zero or empty value), wait (twice as long).
A survivor is printed as tests/mutants-equivalent.txt wants it, in case that is what it is.
Exit status: 0 when no mutant survived, 1 when one did, 2 when the tests fail without one.
"""
import argparse
import collections
import concurrent.futures
import fcntl
import fnmatch
import json
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import time

sys.dont_write_bytecode = True  # nothing but sources in scripts/
from mutations import apply, diff_of, mutants_of, texts_of

ROOT = pathlib.Path(__file__).resolve().parent.parent
EQUIVALENT = ROOT / "tests/mutants-equivalent.txt"
# The tests of each house. Those behind the first ones start programs, and run where these were built.
SUITES = {"t1_sdk": ["xmldocument", "util", "protocol", "platform", "service", "sensor", "comm", "peripheral", "wrapped"],
          "station": ["station", "line", "central", "kill"]}
IN_PLACE = {"e2e", "line", "central", "kill"}
# A changed path may no longer be one of the simulated board's: no mutant may do harm to this machine's files.
UNPRIVILEGED = "setpriv --reuid=65534 --regid=65534 --clear-groups" if os.geteuid() == 0 else ""


def read_sources(root, house):
    """The house's sources by name."""
    return {str(path.relative_to(root)): path.read_text() for path in sorted((root / house).rglob("*"))
            if path.suffix in (".cpp", ".h")}


def read_equivalents():
    """What a mutant's file and diff look like, as one pattern for each block of tests/mutants-equivalent.txt: a
    reason (# lines), a file, and the changed lines. A * in them stands for anything."""
    text = EQUIVALENT.read_text() if EQUIVALENT.exists() else ""
    blocks = re.sub("^#.*\n", "", text, flags=re.M).split("\n\n")
    return [re.compile(".*".join(map(re.escape, block.strip().split("*")))) for block in blocks if block.strip()]


def is_equivalent(mutant, source, known):
    shown = "\n".join([mutant.file, *diff_of(mutant, source)])
    return any(pattern.fullmatch(shown) for pattern in known)


def sample(mutants, count, seed):
    """One mutant of each kind in each file, in random order of these, then a second one of each, and so on. The random
    numbers hang on the names alone: a change in one file leaves what is taken of the others as it is."""
    groups = collections.defaultdict(list)
    for mutant in mutants:
        groups[mutant.file, mutant.kind].append((random.Random(f"{seed} {mutant.name}").random(), mutant))
    turns = [(turn, random.Random(f"{seed} {name}").random(), mutant)
             for name, group in groups.items() for turn, (_, mutant) in enumerate(sorted(group))]
    return [mutant for _, _, mutant in sorted(turns)[:count]]


def write_if_other(path, data):
    if not path.exists() or path.read_bytes() != data:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)


class Workshop:
    """The copy of the tree, its build, and the runs of its tests."""

    def __init__(self, directory, jobs):
        self.tree, self.build, self.runs = directory / "tree", directory / "build", directory / "runs"
        self.jobs = jobs
        self.times = directory / "times.json"
        self.usual = {}  # seconds and processor seconds that a suite takes when all is well

    def prepare(self, as_is):
        self.runs.mkdir(parents=True, exist_ok=True)
        self.lock = open(self.runs / "lock", "w")
        fcntl.flock(self.lock, fcntl.LOCK_EX | fcntl.LOCK_NB)  # two runs would mix their mutants
        if not as_is:
            self.copy_tree()
        if not (self.build / "build.ninja").exists():
            linker = ["-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld"] if shutil.which("ld.lld") else []
            subprocess.run(["cmake", "-S", self.tree, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                            "-DCMAKE_CXX_FLAGS_DEBUG=", "-DCMAKE_CXX_FLAGS=-w",
                            *linker],
                           check=True, stdout=subprocess.DEVNULL)

    def copy_tree(self):
        """Brings the copy up to date. Files that have not changed keep their times, and need no new build."""
        listed = subprocess.run(["git", "ls-files", "-zco", "--exclude-standard"], cwd=ROOT, check=True,
                                capture_output=True).stdout.decode().split("\0")
        wanted = {name for name in listed if name and (ROOT / name).is_file()}
        for name in wanted:
            write_if_other(self.tree / name, (ROOT / name).read_bytes())
            shutil.copymode(ROOT / name, self.tree / name)
        for path in list(self.tree.rglob("*")):
            if path.is_file() and str(path.relative_to(self.tree)) not in wanted:
                path.unlink()

    def make(self, suites):
        """The compiler's output when the suites' programs do not build, else None."""
        programs = ["t1station" if suite == "line" else f"{suite}_tests" for suite in suites]
        run = subprocess.run(["nice", "-n", "2", "ninja", "-C", self.build, f"-j{self.jobs}", *programs],
                             capture_output=True, text=True, errors="replace")
        return run.stdout if run.returncode else None

    def program(self, suite):
        return self.tree / "tests/line/process_test.py" if suite == "line" else self.build / f"tests/{suite}_tests"

    def keep(self, suite, name):
        """A copy of the suite's program that the next build leaves alone, where it needs no other one beside it."""
        program = self.program(suite)
        if suite in IN_PLACE:
            return program
        copy = self.runs / f"{suite}-{re.sub(r'[^0-9A-Za-z]+', '-', name)}"
        copy.unlink(missing_ok=True)  # a broken-off run may still be using it
        shutil.copy2(program, copy)
        return copy

    def run(self, suite, program, patterns=("*",)):
        """Runs the tests, those of the first pattern first. None when all pass, else the first one that failed, or
        what else happened. The limits are far above what the suite needs when all is well."""
        seconds, cpu_seconds = self.usual.get(suite, (900, 600))
        for pattern in patterns:
            words = f"'{self.build}'" if suite == "line" else f"--gtest_fail_fast --gtest_brief=1 '--gtest_filter={pattern}'"
            command = (f"ulimit -c 0 -v 3000000 -t {20 + 2 * cpu_seconds:.0f}; set -o pipefail; "
                       f"timeout -k 5 {120 + 3 * seconds:.0f} nice -n 2 {UNPRIVILEGED} '{program}' "
                       f"{words} 2>&1 </dev/null "
                       "| { grep -a FAILED || true; }")
            run = subprocess.run(["bash", "-c", command], cwd=self.runs, capture_output=True, text=True,
                                 errors="replace")
            if run.returncode:
                failed = re.findall(r"\[  FAILED  \] (\w\S+)", run.stdout)
                late = run.returncode in (124, 137, 152)
                return failed[0] if failed else "time limit" if late else f"status {run.returncode}"
        return None

    def run_unmutated(self, suites):
        """Runs suites, remembering how long they take. The failures, by suite."""
        failures = {}
        for suite in suites:
            before = os.times()
            failures[suite] = self.run(suite, self.program(suite))
            after = os.times()
            cpu = after.children_user + after.children_system - before.children_user - before.children_system
            self.usual[suite] = (after.elapsed - before.elapsed, cpu)
        self.times.write_text(json.dumps(self.usual))
        return {suite: failed for suite, failed in failures.items() if failed}


def own_suite(file):
    house, *folders = file.split("/")[:-1]
    if house == "station":
        return house
    return next((folder for folder in reversed(folders) if folder in SUITES[house]), "e2e")


def likely_tests(file):
    """A filter for the tests named like the file: factory_store.cpp has *FactoryStore*."""
    stem = pathlib.Path(file).stem
    return "*" + "".join(word.capitalize() for word in stem.split("_")) + "*"


class Judge:
    """Builds mutants one after the other while others are being tested."""

    def __init__(self, shop, sources, texts, log):
        self.shop, self.sources, self.texts, self.log = shop, sources, texts, log
        self.results = {}  # by name: "uncompilable", what caught it, or None for a survivor

    def note(self, mutant, result):
        self.results[mutant.name] = result
        with open(self.log, "a") as log:
            log.write(json.dumps([self.texts[mutant.name], result], ensure_ascii=False) + "\n")
        print(f"{len(self.results):4} {mutant.name}: {result or 'SURVIVED'}", flush=True)

    def build(self, mutant, suites):
        """The suites' programs with the mutant in them as (suite, program), None when it does not compile."""
        path = self.shop.tree / mutant.file
        path.write_text(apply(mutant, self.sources[mutant.file]))
        try:
            if self.shop.make(suites) is not None:
                return None
            return [(suite, self.shop.keep(suite, mutant.name)) for suite in suites]
        finally:
            path.write_text(self.sources[mutant.file])

    def test(self, mutant, programs, then):
        result = None
        for suite, program in programs:
            if result is None:
                likely = (likely_tests(mutant.file), "*") if suite == own_suite(mutant.file) else ("*",)
                result = self.shop.run(suite, program, likely)
            if suite not in IN_PLACE:
                program.unlink()
        then(mutant, result)

    def build_and_test(self, mutants, suites_of, then):
        tasks = []
        with concurrent.futures.ThreadPoolExecutor(self.shop.jobs) as pool:
            for mutant in mutants:
                while sum(not task.done() for task in tasks) > self.shop.jobs:
                    time.sleep(0.1)
                suites = suites_of(mutant)
                programs = self.build(mutant, suites)
                if programs is None:
                    self.note(mutant, "uncompilable")
                    continue
                tasks.append(pool.submit(self.test, mutant, programs, then))
                if IN_PLACE.intersection(suites):
                    concurrent.futures.wait(tasks)  # their programs must stay until they have run
        for task in tasks:
            task.result()

    def judge(self, mutants):
        """First all mutants against their own folder's tests, then those that are left against all others."""
        left = []
        self.build_and_test(mutants, lambda mutant: [own_suite(mutant.file)],
                            lambda mutant, result: self.note(mutant, result) if result else left.append(mutant))
        print(f"{len(left)} pass the tests of their own folder; now those of the others", flush=True)
        self.build_and_test(sorted(left), lambda mutant: [suite for suite in SUITES[mutant.file.split("/")[0]]
                                                          if suite != own_suite(mutant.file)], self.note)


def report(mutants, results, sources, equivalents):
    """Prints the survivors and the totals. Returns how many survived."""
    kinds = collections.defaultdict(collections.Counter)
    for mutant in mutants:
        result = results[mutant.name]
        outcome = "not compiling" if result == "uncompilable" else "caught" if result else "survived"
        kinds[mutant.kind][outcome] += 1
        kinds["all"][outcome] += 1
        if outcome == "survived":
            print(f"\n# {mutant.name} survived", mutant.file, *diff_of(mutant, sources[mutant.file]), sep="\n")
    print("\n| Kind | Made | Not compiling | Caught | Survived | Caught, % |\n|---|---|---|---|---|---|")
    for kind in sorted(kinds, key=lambda name: (name == "all", name)):
        count = kinds[kind]
        judged = count["caught"] + count["survived"]
        share = f"{100 * count['caught'] / judged:.1f}" if judged else "-"
        print(f"| {kind} | {sum(count.values())} | {count['not compiling']} | {count['caught']} | {count['survived']} "
              f"| {share} |")
    print(f"(and {equivalents} known equivalent ones, not made)")
    return kinds["all"]["survived"]


def arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--list", action="store_true", help="only list the mutants and how many there are of each kind")
    parser.add_argument("--count", type=int, help="how many to sample (all, if not given)")
    parser.add_argument("--seed", type=int, default=1, help="of the sample; the same seed gives the same one")
    parser.add_argument("--only", action="append", metavar="NAME", default=[],
                        help="this mutant, by its name or text; may be given several times")
    parser.add_argument("--from", dest="file", type=pathlib.Path, metavar="FILE",
                        help="those that a file has, a name or text a line; those that are gone are said")
    parser.add_argument("--texts", action="store_true", help="with --list: nothing but texts, for --from")
    parser.add_argument("--of", default="t1_sdk", choices=SUITES, help="the house to change: the program, or the station")
    parser.add_argument("--files", default="*", metavar="PATTERN", help="only files that match, as 't1_sdk/util/*'")
    parser.add_argument("--dir", type=pathlib.Path, default=ROOT / "build/mutants", help="where to work")
    parser.add_argument("--jobs", type=int, default=2, help="compilers, and programs of tests, at a time")
    parser.add_argument("--as-is", action="store_true",
                        help="work on the last run's copy: neither bring it up to date nor test it without a mutant")
    parser.add_argument("--resume", action="store_true", help="keep the results of the last run, which broke off")
    return parser.parse_args()


def named(every, texts, wanted):
    """The mutants of these names and texts. Those that there are not are said on standard error."""
    known = {key: mutant for mutant in every for key in (mutant.name, texts[mutant.name])}
    for name in wanted:
        if name not in known:
            print(f"no such mutant (any more): {name}", file=sys.stderr)
    return [known[name] for name in dict.fromkeys(wanted) if name in known]


def chosen(options, every, texts, sources):
    """The mutants to make, and how many equivalent ones are known among all."""
    known = read_equivalents()
    equivalent = {m.name for m in every if is_equivalent(m, sources[m.file], known)}
    if options.only or options.file:
        lines = options.file.read_text().splitlines() if options.file else []
        wanted = options.only + [line.strip() for line in lines if line.strip() and not line.startswith("#")]
        return sorted(named(every, texts, wanted), key=lambda m: (m.file.endswith(".h"), m)), len(equivalent)
    mutants = [m for m in every if fnmatch.fnmatch(m.file, options.files) and m.name not in equivalent]
    mutants = sample(mutants, options.count, options.seed)
    return sorted(mutants, key=lambda m: (m.file.endswith(".h"), m)), len(equivalent)  # headers need most building


def print_list(mutants, sources, equivalents):
    for mutant in mutants:
        print(mutant.name, *diff_of(mutant, sources[mutant.file]), sep="\n    ")
    kinds = collections.Counter(mutant.kind for mutant in mutants)
    print(*(f"{kind}: {count}" for kind, count in kinds.most_common()), f"all: {len(mutants)}", sep=", ")
    print(f"(and {equivalents} known equivalent ones)")


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(3))  # the copy's source is put back before the end
    options = arguments()
    shop = Workshop(options.dir.resolve(), options.jobs)
    sources = read_sources(shop.tree if options.as_is else ROOT, options.of)
    every = [mutant for file, text in sources.items() for mutant in mutants_of(file, text)]
    texts = texts_of(every, sources)
    mutants, equivalents = chosen(options, every, texts, sources)
    if options.list and options.texts:
        print(*(texts[mutant.name] for mutant in mutants), sep="\n")
        return 0
    if options.list:
        print_list(mutants, sources, equivalents)
        return 0
    shop.prepare(options.as_is)
    print("Building and testing without a mutant ...", flush=True)
    suites = SUITES[options.of] + ["e2e"] * any(own_suite(mutant.file) == "e2e" for mutant in mutants)
    if (failure := shop.make(suites)) is not None:
        print(failure)
        return 2
    if options.as_is and shop.times.exists():
        shop.usual = json.loads(shop.times.read_text())
    elif failures := shop.run_unmutated(suites):
        print("These fail without a mutant:", failures)
        return 2
    log = options.dir / "results.jsonl"
    judge = Judge(shop, sources, texts, log)
    if options.resume and log.exists():
        done = dict(map(json.loads, log.read_text().splitlines()))
        judge.results = {mutant.name: done[texts[mutant.name]] for mutant in mutants if texts[mutant.name] in done}
    else:
        log.write_text("")
    judge.judge([mutant for mutant in mutants if mutant.name not in judge.results])
    return 1 if report(mutants, judge.results, sources, equivalents) else 0


if __name__ == "__main__":
    sys.exit(main())

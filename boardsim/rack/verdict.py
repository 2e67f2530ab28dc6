"""What a line said of a day, held against the truth."""
import collections
import contextlib
import dataclasses
import itertools
import json
import math
import sqlite3
import statistics
import subprocess

import day
import report


class Verdict:
    """`findings` are what is not as it was, in words."""

    def __init__(self, options, hands, database):
        """`hands` have played the day. `database` is the plant's, which serves; None without one."""
        self.options, self.hands, self.database = options, hands, database
        self.records = options.folder / "records.db"
        self.findings = list(hands.findings)
        self.truths = {one.run: one.truth for one in hands.played}
        self.took = {one.run: one.seconds for one in hands.played}  # by the hands' own clock
        self.sent_late = 0  # runs that came to the database behind the line's end

    def ask(self, *words):
        command = [self.options.build / "station/t1station", *words]
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        if done.returncode != 0:
            self.findings.append(f"{' '.join(map(str, words))} ends with {done.returncode}: {done.stderr.strip()}")
        return done.stdout

    def judge(self):
        """Fills `findings`. Returns the figures."""
        self.ask("records", "check", self.records)
        stored = [json.loads(row) for row in self.ask("records", "export", self.records, "--format", "jsonl").splitlines()]
        runs = [self.truth_of(run) for run in sorted(stored, key=lambda run: run["id"])]
        for missing in self.truths.keys() - {run["id"] for run in stored}:
            self.findings.append(f"run {missing} is in no record")
        truth = day.figures(runs)
        told = json.loads(self.ask("stats", self.records, "--json") or "{}")
        self.judge_figures(told_figures(told) if told else {}, truth, "told")
        self.judge_durations(told, stored)
        html = self.options.folder / "report.html"
        self.ask("records", "export", self.records, "--format", "html", "-o", html)
        printed = report.figures(html.read_text(encoding="utf-8")) if html.exists() else {}
        self.judge_figures(printed, report.printed(truth), "the report says")
        for slot, suspects in self.hands.suspects().items():
            listing = self.ask("records", "suspect", self.records, "--slot", slot)
            self.findings += wrong_suspects(slot, serials_of(listing), suspects)
        if self.database:
            self.judge_database()
        return told

    def judge_figures(self, told, truth, what):
        for name, is_so in told.items():
            for its, value, was in differences(is_so, truth[name]):
                self.findings.append(f"{name}{its}: {what} {value}, and was {was}")

    def judge_durations(self, told, stored):
        """No attempt took longer than the hands have seen, none that was given up took less than its time-out, and what is
        told of a step's seconds is what its attempts' seconds say."""
        seconds = collections.defaultdict(list)
        for run in stored:
            its = [attempt for attempt in run["attempts"] if attempt["seconds"] is not None]
            if sum(attempt["seconds"] for attempt in its) > self.took.get(run["id"], math.inf):
                self.findings.append(f"{run['serial']}: its attempts took longer than its run")
            for attempt in its:
                if attempt["outcome"] == "timed_out" and attempt["seconds"] < self.hands.limit:
                    self.findings.append(f"{run['serial']}: {attempt['step']} was given up after {attempt['seconds']} s")
                if run["kind"] == "production" and run["verdict"]:
                    seconds[run["plan_name"], attempt["step"]].append(attempt["seconds"])
        of_steps = {(step["plan"], step["step"]): (step["median"], step["percentile_95"]) for step in told.get("steps", ())
                    if step["median"] is not None}
        self.judge_figures({"seconds": of_steps}, {"seconds": {step: quantiles(its) for step, its in seconds.items()}}, "told")

    def judge_database(self):
        """Sends what is left, and looks whether the database has what the line has."""
        there, url = self.database.rows(RUNS_THERE), self.database.url()
        self.ask("records", "forward", self.records, "--to", url)
        self.sent_late = len(self.database.rows(RUNS_THERE)) - len(there)
        with contextlib.closing(sqlite3.connect(self.records)) as records:
            here = [list(map(str, row)) for row in records.execute(RUNS_THERE)]
        there = self.database.rows(RUNS_THERE)
        if here != there:
            self.findings.append(f"the plant's database has {len(there)} runs, of which {sum(run not in here for run in there)} "
                                 f"are others than the line's {len(here)}")
        self.ask("records", "check", url)
        if (told := self.ask("stats", "--json", url)) != (expected := self.ask("stats", "--json", self.records)):
            self.findings.append(f"the figures of the plant's database are {told!r}, those of the line {expected!r}")

    def truth_of(self, run):
        """What a stored run should have been. What it was counts only where nobody could know it before: how far a run came
        whose station died or whose board was pulled."""
        was = day.Run(run["serial"], run["plan_name"], run["slot"], run["verdict"], steps_of(run["attempts"]), run["kind"])
        truth = self.truths.get(run["id"])
        if truth is None:  # its station died over the scan
            truth = dataclasses.replace(was, verdict="interrupted", kind="production")
        if not truth.steps:
            truth = dataclasses.replace(truth, steps=was.steps)
        if was != truth:
            what = "an escape: " if was.verdict == "passed" and truth.verdict != "passed" else ""
            self.findings.append(f"{what}{was.serial} in slot {was.slot} was {describe(was)}, and deserves {describe(truth)}")
        if bool(run["retried"]) != was.is_retried:
            self.findings.append(f"{was.serial} in slot {was.slot} is called {'' if run['retried'] else 'not '}retried")
        return truth

    def summary(self, told):
        """The day in words."""
        the_day, hands = self.hands.day, self.hands
        everyone = [unit for queue in the_day.queues.values() for unit in queue]
        defects = {unit.serial: hands.deserved(unit) for unit in everyone if unit.defect.faults}
        unseen = [serial for serial, comes_to in defects.items() if comes_to.verdict == "passed" and not comes_to.is_retried]
        marked = [row for row in told.get("slots", ()) if row["marked"]]
        yields = [f"{told[name]:.1%}" if told.get(name) is not None else "-" for name in ("first_pass_yield", "final_yield")]
        lines = [
            f"{len(everyone)} units in {told.get('runs')} runs; first-pass yield {yields[0]}, final yield {yields[1]}",
            f"Units with a defect that a test can find: {len(defects) - len(unseen)}; that none can: {len(unseen)}"
            + "".join(f" {serial}" for serial in unseen),
            f"The station was killed {times(hands.deaths)}",
            self.words_of_database(),
            f"The fixture of slot {the_day.worn} was bad from its unit {the_day.worn_from + 1} on, until the check at the "
            f"change of shifts, behind its unit {min(the_day.change, len(the_day.queues[the_day.worn]))}; marked: "
            + (", ".join(f"slot {row['slot']} (p = {row['p']:.2g})" for row in marked) or "none, in so few units it does not show"),
        ]
        for slot, suspects in hands.found.items():
            again = " ".join(unit.serial for unit in hands.again[slot]) or "none"
            lines.append(f"The check found slot {slot}: units since the check before: {len(set(suspects))}; of these not passed, and "
                         f"tested again: {again}")
        lines += [f"The records: {self.records}", f"The report: {self.options.folder / 'report.html'}"]
        lines += [f"Not as it was: {finding}" for finding in self.findings]
        return "\n".join(lines)

    def words_of_database(self):
        if not self.database:
            return "There was no plant's database"
        return (f"The plant's database was killed {times(self.hands.outages)}; runs that came to it behind the line's end: "
                f"{self.sent_late}")


RUNS_THERE = "SELECT id, serial, verdict, hash FROM run WHERE sequence IS NOT NULL ORDER BY id"


def told_figures(told):
    return {
        "runs": told["runs"],
        "check_runs": told["check_runs"],
        "units": told["units"],
        "verdicts": {row["verdict"]: row["runs"] for row in told["verdicts"] if row["runs"]},
        "retried": told["retried"]["runs"],
        "first_pass_yield": told["first_pass_yield"],
        "first_pass_yield_strict": told["first_pass_yield_strict"],
        "final_yield": told["final_yield"],
        "failures": {(row["plan"], row["step"], row["words"] or ""):
                     (row["outcomes"], [[span["low"], span["high"]] for span in row["numbers"]]) for row in told["failures"]},
        "steps": {(row["plan"], row["step"]): {"runs": row["runs"], "retried": row["retried"]["runs"], "outcomes": row["outcomes"]}
                  for row in told["steps"]},
        "batches": {row["begin"]: [row["units"], row["first_runs"]["units"], row["first_runs"]["passed"]] for row in told["batches"]},
        "slots": {row["slot"]: (row["runs"], row["not_passed"]) for row in told["slots"]},
        "marked": sorted(row["slot"] for row in told["slots"] if row["marked"]),
    }


def steps_of(attempts):
    """What became of the steps of a stored run."""
    steps = []
    for name, tries in itertools.groupby(attempts, key=lambda attempt: attempt["step"]):
        tries = list(tries)
        words = None if tries[-1]["outcome"] == "passed" else tries[-1]["description"] or ""
        steps.append(day.Step(name, tuple(one["outcome"] for one in tries), words))
    return tuple(steps)


def quantiles(values):
    """The median and the 95th percentile, in proportion between the two nearest values."""
    return statistics.median(values), statistics.quantiles([*values, *values[:len(values) == 1]], n=20, method="inclusive")[18]


def differences(told, was):
    """What is told otherwise than it was: (place, told, was)."""
    if isinstance(told, dict) and isinstance(was, dict):
        for key in sorted(told.keys() | was.keys(), key=str):
            for place, *both in differences(told.get(key), was.get(key)):
                yield f" of {key}{place}", *both
    elif not are_alike(told, was):
        yield "", told, was


def are_alike(told, was):
    if isinstance(told, (list, tuple)) and isinstance(was, (list, tuple)):
        return len(told) == len(was) and all(map(are_alike, told, was))
    return told == was or (isinstance(told, float) and isinstance(was, float) and math.isclose(told, was, rel_tol=1e-9))


def serials_of(listing):
    """Of the runs that `t1station records suspect` lists."""
    return [row.split()[2] for row in listing.splitlines()[1:]]


def wrong_suspects(slot, told, truth):
    """What is wrong with the units that are called suspect, in a list of at most one text."""
    if set(told) == set(truth):
        return []
    return [f"suspect in slot {slot} are {' '.join(told) or 'none'}, and should be {' '.join(truth) or 'none'}"]


def describe(run):
    steps = [f"{step.name} {'/'.join(step.outcomes)} ({step.words})" for step in run.steps if set(step.outcomes) != {"passed"}]
    return run.verdict + (f" at {'; '.join(steps)}" if steps else "") + f", {len(run.steps)} steps"


def times(count):
    return "once" if count == 1 else f"{count} times"

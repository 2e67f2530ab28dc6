"""What a line said of a day, held against the truth."""
import contextlib
import dataclasses
import json
import sqlite3
import subprocess

import day


class Verdict:
    """`findings` are what is not as it was, in words."""

    def __init__(self, options, hands, database):
        """`hands` have played the day. `database` is the plant's, which serves; None without one."""
        self.options, self.hands, self.database = options, hands, database
        self.records = options.folder / "records.db"
        self.findings = list(hands.findings)
        self.truths = {one.run: one.truth for one in hands.played}
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
        for name, is_so in told_figures(told).items() if told else ():
            if is_so != truth[name] and not (isinstance(is_so, float) and abs(is_so - truth[name]) < 1e-9):
                self.findings.append(f"{name}: told {is_so}, and was {truth[name]}")
        for slot, suspects in self.hands.suspects().items():
            listing = self.ask("records", "suspect", self.records, "--slot", slot)
            self.findings += wrong_suspects(slot, serials_of(listing), suspects)
        if self.database:
            self.judge_database()
        return told

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
        truth = self.truths.get(run["id"])
        plan, last = run["plan_name"], {attempt["step"]: attempt["outcome"] for attempt in run["attempts"]}
        failed = frozenset(step for step, outcome in last.items() if outcome in ("failed", "timed_out"))
        if truth is None:  # its station died over the scan
            truth = day.Run(run["serial"], plan, run["slot"], "interrupted", bool(run["retried"]), failed)
        was = day.Run(run["serial"], plan, run["slot"], run["verdict"], bool(run["retried"]), failed, run["kind"])
        if truth.verdict == "interrupted" or (truth.verdict == "error" and not truth.failed_steps):
            truth = dataclasses.replace(truth, is_retried=was.is_retried, failed_steps=failed)
        if was != truth:
            what = "an escape: " if was.verdict == "passed" and truth.verdict != "passed" else ""
            self.findings.append(f"{what}{was.serial} in slot {was.slot} was {describe(was)}, and deserves {describe(truth)}")
        return truth

    def summary(self, told):
        """The day in words."""
        the_day, hands = self.hands.day, self.hands
        everyone = [unit for queue in the_day.queues.values() for unit in queue]
        defects = {unit.serial: day.deserved(unit, False, hands.steps[unit.family])[:2]
                   for unit in everyone if unit.defect.faults}
        unseen = [serial for serial, comes_to in defects.items() if comes_to == ("passed", False)]
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
    steps = {}
    for failure in told["failures"]:
        count = sum(failure["outcomes"].get(outcome, 0) for outcome in ("failed", "timed_out"))
        if count:
            key = failure["plan"], failure["step"]
            steps[key] = steps.get(key, 0) + count
    return {
        "runs": told["runs"],
        "check_runs": told["check_runs"],
        "units": told["units"],
        "verdicts": {row["verdict"]: row["runs"] for row in told["verdicts"] if row["runs"]},
        "retried": told["retried"]["runs"],
        "first_pass_yield": told["first_pass_yield"],
        "first_pass_yield_strict": told["first_pass_yield_strict"],
        "final_yield": told["final_yield"],
        "failing_steps": steps,
        "slots": {row["slot"]: (row["runs"], row["not_passed"]) for row in told["slots"]},
        "marked": sorted(row["slot"] for row in told["slots"] if row["marked"]),
    }


def serials_of(listing):
    """Of the runs that `t1station records suspect` lists."""
    return [row.split()[2] for row in listing.splitlines()[1:]]


def wrong_suspects(slot, told, truth):
    """What is wrong with the units that are called suspect, in a list of at most one text."""
    if set(told) == set(truth):
        return []
    return [f"suspect in slot {slot} are {' '.join(told) or 'none'}, and should be {' '.join(truth) or 'none'}"]


def describe(run):
    steps = f" at {', '.join(sorted(run.failed_steps))}" if run.failed_steps else ""
    return f"{run.verdict}{', retried' if run.is_retried else ''}{steps}"


def times(count):
    return "once" if count == 1 else f"{count} times"

#!/usr/bin/env python3
"""A day of a line at high speed, whose truth is known: boards with and without defects, a fixture that goes bad, boards that
are pulled out, a station that is killed. At its end every verdict and every figure is held against the truth.

Everything goes through the line's own doors: hands put boards in and take them out, scan and acknowledge.
"""
import argparse
import asyncio
import contextlib
import dataclasses
import json
import pathlib
import random
import re
import signal
import subprocess
import sys

sys.dont_write_bytecode = True  # nothing is left beside the sources

import day
import units
from demonstration import Station, all_done, line_file, own_folder, status_of
from line_client import LineClient, Refused
from rack import RELEASE, ROOT, Rack, RackError, free_port

MADE_HERE = ("records.db*", "report.html", "station.log")
LEFT_OUT = ("rtc",)  # the PC's own clock disturbs it while the boards' time runs fast
HANGS = "sd"  # in one test of a unit that hangs; it alone is not waited for with patience
PATIENT, IMPATIENT = 1200, 120  # seconds of the boards' time
AGAIN = 0.2  # seconds between two tries to reach a station that is being started
MOST_TRIES = 20  # for one unit to come to its end, against hanging only


@dataclasses.dataclass
class Played:
    """One run of a unit: its id, what it was to be, and what it was."""
    run: str
    truth: day.Run
    verdict: str = ""
    is_retried: bool = False


def quick_plan(text):
    """A family's plan for boards whose time runs fast on a PC that may be busy: without what that disturbs, and patient."""
    head, *steps = text.split("[[step]]")
    kept = []
    for step in steps:
        name = re.search(r'name = "([^"]+)"', step)[1]
        if name not in LEFT_OUT:
            patience = IMPATIENT if name == HANGS else PATIENT
            kept.append(re.sub(r"\ntimeout = .*", "", step).replace("\ntest = ", f"\ntimeout = {patience}\ntest = ", 1))
    return "[[step]]".join([head, *kept])


class Shift:
    """The hands of a whole day."""

    def __init__(self, options, the_day, steps, rack, station, line):
        """`steps` are the names of the steps of each family's plan."""
        self.options, self.day, self.steps = options, the_day, steps
        self.rack, self.station, self.line = rack, station, line
        self.played = []  # in the order in which the runs began
        self.deaths = 0
        self.left = sum(map(len, the_day.queues.values()))

    async def work(self, slot):
        for place, unit in enumerate(self.day.queues[slot]):
            await self.test(slot, place, unit)
            self.left -= 1
            print(f"Slot {slot}: {unit.serial} {self.played_of(unit)[-1].verdict}, {self.left} units left", flush=True)

    def played_of(self, unit):
        return [one for one in self.played if one.truth.serial == unit.serial]

    async def test(self, slot, place, unit):
        """Until the unit has the verdict that it deserves by itself: who pulled it puts it in again, and so does the operator
        of a station that died."""
        is_worn = self.day.is_worn(slot, place)
        is_pulled, dies = bool(unit.defect.pulled), (slot, place) in self.day.deaths
        for _ in range(MOST_TRIES):
            deaths = self.deaths
            await self.clear(slot)
            await self.rack.insert(slot, unit.family, unit.defect.faults + (day.WORN.faults if is_worn else ()),
                                   self.options.speed)
            played = await self.begin(slot, unit, is_worn)
            reached = self.line.seen
            if played:
                if is_pulled or dies:
                    await self.line.until(lambda: self.is_half_way(slot, played.run) or self.is_gone(slot, played.run, reached))
                if dies:
                    self.deaths += 1
                    self.station.process.kill()
                elif is_pulled:
                    await self.rack.pull(slot, unit.defect.pulled)
                    played.truth = dataclasses.replace(played.truth, verdict="error", is_retried=False, failed_steps=frozenset())
                its = await self.see_to_the_end(slot, played.run, reached)
                played.verdict, played.is_retried = its["verdict"], bool(its.get("retried"))
            if self.rack.has_board(slot):
                await self.rack.pull(slot)
            was_cut_off = played is None or (played.verdict == "interrupted" and self.deaths > deaths)
            if played and was_cut_off:
                played.truth = dataclasses.replace(played.truth, verdict="interrupted", is_retried=played.is_retried)
            if not was_cut_off and not is_pulled:
                return
            is_pulled, dies = is_pulled and was_cut_off, False
        raise RackError(f"{unit.serial} does not come to its end in slot {slot}")

    async def begin(self, slot, unit, is_worn):
        """Scans the unit. None when the station died over it; what it stored of the run is found in its records."""
        try:
            run = await self.line.scan(unit.serial, slot)
        except (Refused, OSError):
            await asyncio.sleep(AGAIN)
            return None
        verdict, is_retried, steps = day.deserved(unit, is_worn, self.steps[unit.family])
        self.played.append(Played(run, day.Run(unit.serial, unit.family, slot, verdict, is_retried, steps)))
        return self.played[-1]

    async def see_to_the_end(self, slot, run, reached):
        """The run with its verdict."""
        while True:
            its = await self.line.until(lambda: self.ended(slot, run) or self.is_gone(slot, run, reached))
            if its is not True:
                return its
            with contextlib.suppress(OSError):  # the station died again
                return await self.line.stored(run)

    async def clear(self, slot):
        """Waits until the slot takes a unit; acknowledges what is left there."""

        def state():
            shown = self.line.slot(slot)
            if not shown or shown["state"] not in ("idle", "done"):
                return None
            return "free" if shown["state"] == "idle" or shown["run"]["verdict"] == "passed" else "left"

        while await self.line.until(state) == "left":
            with contextlib.suppress(Refused, OSError):
                await self.line.acknowledge(slot)
            await self.line.until(lambda: state() != "left" or self.line.slot(slot)["run"] is None)

    def shown(self, slot, run):
        shown = self.line.slot(slot)
        return shown["run"] if shown and shown["run"] and shown["run"]["id"] == run else None

    def is_half_way(self, slot, run):
        its = self.shown(slot, run)
        return its and (its["verdict"] or 2 * its["index"] >= its["total"] > 0)

    def is_gone(self, slot, run, reached):
        """Whether the slot shows this run no longer: a pass of which nobody had heard when the station died is over."""
        return self.line.slot(slot) is not None and self.line.seen > reached and self.shown(slot, run) is None

    def ended(self, slot, run):
        its = self.shown(slot, run)
        return its if its and its["verdict"] else None


class Verdict:
    """What the line said of the day, held against the truth."""

    def __init__(self, options, shift):
        self.options, self.shift = options, shift
        self.records = options.folder / "records.db"
        self.findings = []

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
        for missing in {one.run for one in self.shift.played} - {run["id"] for run in stored}:
            self.findings.append(f"run {missing} is in no record")
        truth = day.figures(runs)
        told = json.loads(self.ask("stats", self.records, "--json") or "{}")
        for name, is_so in self.told_figures(told).items() if told else ():
            if is_so != truth[name] and not (isinstance(is_so, float) and abs(is_so - truth[name]) < 1e-9):
                self.findings.append(f"{name}: told {is_so}, and was {truth[name]}")
        return told

    def truth_of(self, run):
        """What a stored run should have been. What it was counts only where nobody could know it before: how far a run came
        whose station died or whose board was pulled."""
        truth = next((one.truth for one in self.shift.played if one.run == run["id"]), None)
        plan, last = run["plan_name"], {attempt["step"]: attempt["outcome"] for attempt in run["attempts"]}
        failed = frozenset(step for step, outcome in last.items() if outcome in ("failed", "timed_out"))
        if truth is None:  # its station died over the scan
            truth = day.Run(run["serial"], plan, run["slot"], "interrupted", bool(run["retried"]), failed)
        was = day.Run(run["serial"], plan, run["slot"], run["verdict"], bool(run["retried"]), failed)
        if truth.verdict == "interrupted" or (truth.verdict == "error" and not truth.failed_steps):
            truth = dataclasses.replace(truth, is_retried=was.is_retried, failed_steps=failed)
        if was != truth:
            what = "an escape: " if was.verdict == "passed" and truth.verdict != "passed" else ""
            self.findings.append(f"{what}{was.serial} in slot {was.slot} was {describe(was)}, and deserves {describe(truth)}")
        return truth

    @staticmethod
    def told_figures(told):
        steps = {}
        for failure in told["failures"]:
            count = sum(failure["outcomes"].get(outcome, 0) for outcome in ("failed", "timed_out"))
            if count:
                key = failure["plan"], failure["step"]
                steps[key] = steps.get(key, 0) + count
        return {
            "runs": told["runs"],
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

    def summary(self, told):
        """The day in words."""
        the_day, shift = self.shift.day, self.shift
        everyone = [unit for queue in the_day.queues.values() for unit in queue]
        defects = {unit.serial: day.deserved(unit, False, shift.steps[unit.family])[:2] for unit in everyone if unit.defect.faults}
        unseen = [serial for serial, comes_to in defects.items() if comes_to == ("passed", False)]
        marked = [row for row in told.get("slots", ()) if row["marked"]]
        yields = [f"{told[name]:.1%}" if told.get(name) is not None else "-" for name in ("first_pass_yield", "final_yield")]
        lines = [
            f"{len(everyone)} units in {told.get('runs')} runs; first-pass yield {yields[0]}, final yield {yields[1]}",
            f"Units with a defect that a test can find: {len(defects) - len(unseen)}; that none can: {len(unseen)}"
            + "".join(f" {serial}" for serial in unseen),
            f"The station was killed {shift.deaths} times",
            f"The fixture of slot {the_day.worn} was bad from its unit {the_day.worn_from + 1} on; marked: "
            + (", ".join(f"slot {row['slot']} (p = {row['p']:.2g})" for row in marked) or "none, a day too short to tell"),
        ]
        if any(row["slot"] == the_day.worn for row in marked):
            lines.append("To be tested again, since they went through it: "
                         + " ".join(unit.serial for unit in the_day.queues[the_day.worn][the_day.worn_from:]))
        lines += [f"The records: {self.records}", f"The report: {self.options.folder / 'report.html'}"]
        lines += [f"Not as it was: {finding}" for finding in self.findings]
        return "\n".join(lines)


def describe(run):
    steps = f" at {', '.join(sorted(run.failed_steps))}" if run.failed_steps else ""
    return f"{run.verdict}{', retried' if run.is_retried else ''}{steps}"


def prepare(options):
    """Empties the folder of the day before, and writes the plans. Returns their folder, and the steps of each."""
    for left in [file for pattern in MADE_HERE for file in options.folder.glob(pattern)]:
        left.unlink()
    plans = options.folder / "plans"
    plans.mkdir(exist_ok=True)
    steps = {}
    for family in units.FAMILIES:
        text = quick_plan((options.plans / f"{family}.toml").read_text(encoding="utf-8"))
        (plans / f"{family}.toml").write_text(text, encoding="utf-8")
        steps[family] = re.findall(r'\[\[step\]\]\nname = "([^"]+)"', text)
    return plans, steps


async def play(options):
    """Returns the exit status."""
    for ending in (signal.SIGTERM, signal.SIGHUP):
        asyncio.get_running_loop().add_signal_handler(ending, asyncio.current_task().cancel)
    lock = own_folder(options.folder)
    options.port = options.port or free_port()  # the usual one is the demonstration's
    plans, steps = prepare(options)
    rack = Rack(options.build)
    families = {str(number + 1): units.FAMILIES[number % len(units.FAMILIES)] for number in range(options.slots)}
    ports = {slot: rack.add(slot) for slot in families}
    file = options.folder / "line.toml"
    file.write_text(line_file(options, ports, families.values(), plans), encoding="utf-8")
    station = Station(options.build, file, options.folder / "station.log")
    tasks, line = [], None
    try:
        address = await station.start()
        print(f"A day of {options.units} units. The same day again: --seed {options.seed}. The page: {address}", flush=True)
        line = LineClient(re.sub(r"^\w+://|/$", "", address), "shift")
        shift = Shift(options, day.draw(options.seed, options.units, families), steps, rack, station, line)
        keeping = asyncio.create_task(station.keep())
        working = [asyncio.create_task(shift.work(slot)) for slot in families]
        tasks = [keeping, *working]
        await all_done(working, tasks)
    finally:
        for task in tasks:
            task.cancel()
        await asyncio.gather(*tasks, return_exceptions=True)
        if line:
            line.close()
        await station.end()
        await rack.close()
    verdict = Verdict(options, shift)
    told = verdict.judge()
    verdict.ask("records", "export", verdict.records, "--format", "html", "-o", options.folder / "report.html")
    print(verdict.summary(told), flush=True)
    lock.close()
    return 1 if verdict.findings else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("units", type=int, metavar="N", help="units of the day")
    parser.add_argument("--build", type=pathlib.Path, default=RELEASE, metavar="FOLDER", help="where the programs were built")
    parser.add_argument("--folder", type=pathlib.Path, default=ROOT / "build/shift", help="for plans, records, report; emptied")
    parser.add_argument("--plans", type=pathlib.Path, default=ROOT / "plans", metavar="FOLDER", help="has FAMILY.toml each")
    parser.add_argument("--port", type=int, default=0, help="of the page; a free one by default")
    parser.add_argument("--seed", default=str(random.randrange(1000000)), help="the same one plays the same day")
    parser.add_argument("--slots", type=int, default=8, metavar="N", help="of the line")
    parser.add_argument("--speed", type=int, default=20, metavar="N", help="the boards' time runs N times as fast")
    options = parser.parse_args()
    status = status_of(play, options)
    if status is None:
        print("The day was broken off", file=sys.stderr)
    sys.exit(2 if status is None else status)


if __name__ == "__main__":
    main()

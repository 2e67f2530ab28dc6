#!/usr/bin/env python3
"""A day of a line at high speed, whose truth is known: boards with and without defects, a fixture that goes bad, boards that
are pulled out, a station that is killed, a plant's database that goes away. At its end every verdict and every figure is held
against the truth.

Everything goes through the line's own doors: hands put boards in and take them out, scan, acknowledge and unlock. Each of the
day's two shifts begins with a check of every slot. The database is played where a PostgreSQL server is installed.
"""
import argparse
import asyncio
import contextlib
import dataclasses
import functools
import math
import pathlib
import random
import re
import signal
import subprocess
import sys
import time

sys.dont_write_bytecode = True  # nothing is left beside the sources

import database
import day
import units
import verdict
from demonstration import Station, all_done, line_file, own_folder, status_of, table
from line_client import LineClient, Refused
from rack import RELEASE, ROOT, Rack, RackError, free_port

MADE_HERE = ("records.db*", "report.html", "station.log")
LEFT_OUT = ("rtc",)  # the PC's own clock disturbs it while the boards' time runs fast
HANGS = [step for defect in units.HANGS for step, _ in defect.says]  # in these tests units hang: they are not waited for with patience
PATIENT, IMPATIENT = 1200, 120  # seconds of the boards' time
AGAIN = 0.2  # seconds between two tries to reach a station that is being started
MOST_TRIES = 20  # for one unit to come to its end, against hanging only


@dataclasses.dataclass
class Played:
    """One run of a unit: its id, what it was to be, how it ended, and how long that took, from before its scan."""
    run: str
    truth: day.Run
    verdict: str = ""
    seconds: float = math.inf


def quick_plan(text):
    """A family's plan for boards whose time runs fast on a PC that may be busy: without what that disturbs, and patient."""
    head, *steps = text.split("[[step]]")
    kept = []
    for step in steps:
        name = re.search(r'name = "([^"]+)"', step)[1]
        if name not in LEFT_OUT:
            patience = IMPATIENT if name in HANGS else PATIENT
            kept.append(re.sub(r"\ntimeout = .*", "", step).replace("\ntest = ", f"\ntimeout = {patience}\ntest = ", 1))
    return "[[step]]".join([head, *kept])


class Hands:
    """What operators and engineers do in a whole day."""

    def __init__(self, options, the_day, hall, line):
        self.options, self.day, self.hall, self.line = options, the_day, hall, line
        self.rack, self.database, self.steps = hall.rack, hall.database, hall.steps
        self.shift = 1
        self.played = []  # in the order in which the runs began
        self.deaths = self.outages = 0
        self.left = sum(map(len, the_day.queues.values()))
        self.units_until_database = 0  # is started again; 0: it runs
        self.since_check = {slot: [] for slot in the_day.queues}  # serial numbers that came to the slot since it was in order
        self.found = {}  # of each slot that was locked by its check: the serial numbers since the check before
        self.again = {slot: [] for slot in the_day.queues}  # units that are tested once more for that
        self.findings = []
        self.limit = IMPATIENT / options.speed  # seconds, after which a test that hangs is given up
        self.refusal = None  # why the line last took no unit

    async def play(self, tasks):
        """The day from its first check to its last unit. `tasks` are what has to go on meanwhile; what works joins them."""
        for shift in (1, 2):
            self.shift = shift
            if shift == 2:
                await self.change_shifts()
            await self.play_shift(tasks)

    async def play_shift(self, tasks):
        for hand in (self.check, self.work):  # no unit is tested before every slot is checked
            working = [asyncio.create_task(hand(slot)) for slot in self.day.queues]
            tasks += working
            await all_done(working, tasks)

    async def change_shifts(self):
        """The line begins anew, with the check units of the next shift."""
        self.hall.write_line_file(self.shift)
        reached = self.line.seen
        self.hall.station.process.terminate()
        await self.line.until(lambda: self.line.seen > reached)

    async def work(self, slot):
        """The units of a shift, after those whose slot was found to be out of order."""
        for unit in self.again[slot]:
            await self.test(slot, dataclasses.replace(unit, defect=dataclasses.replace(unit.defect, pulled="")))
        for place, unit in self.day.of_shift(slot, self.shift):
            await self.test(slot, unit, self.day.is_worn(slot, place), (slot, place) in self.day.deaths,
                            self.day.outages.get((slot, place), 0))
            self.left -= 1
            print(f"Slot {slot}: {unit.serial} {self.last_of(unit).verdict}, {self.left} units left", flush=True)
            await self.look_after_database()

    def last_of(self, unit):
        return next(one for one in reversed(self.played) if one.truth.serial == unit.serial)

    async def check(self, slot):
        """The point check: the good unit passes and the bad one fails, before a unit is taken. A fixture by which they do not is
        mended, a label that is on the wrong unit put right, and the slot checked anew."""
        pair = day.check_units(slot, self.hall.families[slot], self.shift)
        if (slot, self.shift) in self.day.bad_first:
            pair = pair[::-1]
        is_mislabelled = self.shift == 2 and slot == self.day.mislabelled
        await self.clear(slot)
        await self.expect_refusal(slot, "its check is due")
        is_worn = self.shift == 2 and slot == self.day.worn
        waiting = list(pair)
        for _ in range(MOST_TRIES):
            defect = units.GOOD if is_mislabelled else waiting[0].defect
            played = await self.run(slot, dataclasses.replace(waiting[0], defect=defect), is_worn, kind="check")
            if played and played.verdict == waiting[0].defect.verdict:
                del waiting[0]
            elif played:
                await self.mend(slot, f"{waiting[0].serial} ended as {played.verdict}")
                is_worn, is_mislabelled, waiting = False, False, list(pair)
            if not waiting:
                self.since_check[slot] = []
                return
        raise RackError(f"the check of slot {slot} does not come to its end; the line's last refusal: {self.refusal}")

    async def expect_refusal(self, slot, why):
        """Scans the slot's first unit, which must not be taken."""
        for unit in self.day.queues[slot][:1]:
            try:
                self.findings.append(f"slot {slot} takes a unit, though {why}: run {await self.line.scan(unit.serial, slot)}")
            except Refused as refusal:
                if why not in str(refusal):
                    self.findings.append(f"slot {slot} takes no unit, though not since {why}: {refusal}")

    async def mend(self, slot, what):
        """What an engineer does behind a wrong check: asks which units are suspect, mends the fixture, unlocks the slot."""
        await self.clear(slot)
        await self.expect_refusal(slot, "is locked")
        told = await asyncio.to_thread(self.ask_suspects, slot)
        self.findings += verdict.wrong_suspects(slot, told, self.since_check[slot])
        self.found[slot] = self.since_check[slot]
        its_units = [unit for unit in self.day.queues[slot] if unit.serial in told]
        self.again[slot] = [unit for unit in its_units if self.last_of(unit).verdict != "passed"]
        print(f"Slot {slot}: {what}; suspect since its check before: {len(told)} runs", flush=True)
        try:
            await self.line.unlock(slot, "its contact was changed")
        except Refused as refusal:
            self.findings.append(f"slot {slot} is not locked by its wrong check: {refusal}")
        with contextlib.suppress(Refused):  # a pass that is shown keeps its unit from being tested again
            await self.line.acknowledge(slot)

    def ask_suspects(self, slot):
        station, records = self.options.build / "station/t1station", self.options.folder / "records.db"
        asked = subprocess.run([station, "records", "suspect", records, "--slot", slot], stdout=subprocess.PIPE, text=True)
        return verdict.serials_of(asked.stdout)

    def suspects(self):
        """Of each slot: whose tests may have to be done again: those between its wrong check and the one before, else those since
        the last check."""
        return self.since_check | self.found

    async def test(self, slot, unit, is_worn=False, dies=False, outage=0):
        """Until the unit has the verdict that it deserves by itself: who pulled it puts it in again, and so does the operator
        of a station that died. The station `dies` half-way; an `outage` of the database begins there, in units."""
        self.since_check[slot].append(unit.serial)
        is_pulled = bool(unit.defect.pulled)
        for _ in range(MOST_TRIES):
            deaths = self.deaths
            strike = functools.partial(self.strike, slot, unit, dies, outage)
            played = await self.run(slot, unit, is_worn, strike if is_pulled or dies or outage else None)
            was_cut_off = played is None or (played.verdict == "interrupted" and self.deaths > deaths)
            if played and was_cut_off:
                played.truth = dataclasses.replace(played.truth, verdict="interrupted", steps=())
            if not was_cut_off and not is_pulled:
                return
            is_pulled = is_pulled and was_cut_off
            if played:  # a scan that was refused has seen nothing go wrong
                dies, outage = False, 0
        raise RackError(f"{unit.serial} does not come to its end in slot {slot}; the line's last refusal: {self.refusal}")

    async def run(self, slot, unit, is_worn, strike=None, kind="production"):
        """One run of a unit, from the moment when its slot is free. `strike` is what happens half-way. None when the station
        died over the scan."""
        await self.clear(slot)
        await self.rack.insert(slot, unit.family, unit.defect.faults + (day.WORN.faults if is_worn else ()), self.options.speed)
        begun = time.monotonic()
        played = await self.begin(slot, unit, is_worn, kind)
        reached = self.line.seen
        if played:
            if strike:
                await self.line.until(lambda: self.is_half_way(slot, played.run) or self.is_gone(slot, played.run, reached))
                await strike(played)
            its = await self.see_to_the_end(slot, played.run, reached)
            played.verdict, played.seconds = its["verdict"], time.monotonic() - begun
        if self.rack.has_board(slot):
            await self.rack.pull(slot)
        return played

    async def strike(self, slot, unit, dies, outage, played):
        """What goes wrong around a unit that is half-way."""
        if outage and self.database:
            self.outages += not self.units_until_database
            self.units_until_database = max(outage, self.units_until_database)
            await self.database.kill()
        if dies:
            self.deaths += 1
            self.hall.station.process.kill()
        elif unit.defect.pulled:
            await self.rack.pull(slot, unit.defect.pulled)
            played.truth = dataclasses.replace(played.truth, verdict="error", steps=())

    async def look_after_database(self):
        """A unit has ended: starts the database when it was away for long enough."""
        if self.units_until_database:
            self.units_until_database -= 1
            if not self.units_until_database:
                await self.database.start()

    async def begin(self, slot, unit, is_worn, kind):
        """Scans the unit. None when the station died over it; what it stored of the run is found in its records."""
        try:
            run = await self.line.scan(unit.serial, slot)
        except (Refused, OSError) as error:
            self.refusal = error
            await asyncio.sleep(AGAIN)
            return None
        self.played.append(Played(run, dataclasses.replace(self.deserved(unit, is_worn), slot=slot, kind=kind)))
        return self.played[-1]

    def deserved(self, unit, is_worn=False):
        """The run that a unit is to have, in whichever slot."""
        comes_to = day.deserved(unit, is_worn, self.steps[unit.family], self.limit)
        return day.Run(unit.serial, unit.family, "", *comes_to)

    async def see_to_the_end(self, slot, run, reached):
        """The run with its verdict."""
        while True:
            its = await self.line.until(lambda: self.ended(slot, run) or self.is_gone(slot, run, reached))
            if its is not True:
                return its
            with contextlib.suppress(OSError):  # the station died again
                return await self.line.stored(run)

    async def clear(self, slot):
        """Waits until nothing is tested in the slot; acknowledges what is left there."""

        def state():
            shown = self.line.slot(slot)
            if not shown or shown["state"] not in ("idle", "done", "locked"):
                return None
            return "left" if shown["state"] == "done" and shown["run"]["verdict"] != "passed" else "free"

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


@contextlib.asynccontextmanager
async def plant(options):
    """The plant's database as long as this lasts; None where no server is installed."""
    tools = database.folder_of_tools()
    if not tools:
        print("No PostgreSQL server is installed (Debian's package postgresql): a day without a plant's database", flush=True)
        yield None
        return
    its = database.Database(tools)
    try:
        await its.make((options.build / "station/t1station").absolute())
        yield its
    finally:
        await its.close()


@contextlib.asynccontextmanager
async def judged(options, play_it):
    """What came of what `play_it(options, database)` plays, which returns its hands: its verdict, and the figures told. The
    options' folder is this one's as long as that lasts."""
    for ending in (signal.SIGTERM, signal.SIGHUP):
        asyncio.get_running_loop().add_signal_handler(ending, asyncio.current_task().cancel)
    with own_folder(options.folder):
        async with plant(options) as its_database:
            hands = await play_it(options, its_database)
            if its_database:
                await its_database.start()  # it may be away at the line's end
            judge = verdict.Verdict(options, hands, its_database)
            told = judge.judge()
        yield judge, told


async def play(options):
    """Returns the exit status."""
    async with judged(options, play_day) as (judge, told):
        print(judge.summary(told), flush=True)
    return 1 if judge.findings else 0


class Hall:
    """What the hands of a day work with: the rack, the line's process and its file, the plant's database."""

    def __init__(self, options, its_database):
        """`its_database` is None without one."""
        options.port = options.port or free_port()  # the usual one is the demonstration's
        self.options, self.database = options, its_database
        self.plans, self.steps = prepare(options)  # the steps are those of each family
        self.rack = Rack(options.build)
        self.families = {str(number + 1): units.FAMILIES[number % len(units.FAMILIES)] for number in range(options.slots)}
        self.ports = {slot: self.rack.add(slot) for slot in self.families}
        self.file = options.folder / "line.toml"
        self.write_line_file(1)
        self.station = Station(options.build, self.file, options.folder / "station.log")

    def write_line_file(self, shift):
        """The line's file in shift 1 or 2."""
        pairs = [day.check_units(slot, family, shift) for slot, family in self.families.items()]
        good, bad = ([unit.serial for unit in its_units] for its_units in zip(*pairs))
        tables = [line_file(self.options, self.ports, self.families.values(), self.plans),
                  table("[check]", every_hours=24, good=good, bad=bad)]
        tables += [table("[central]", postgresql=self.database.url())] if self.database else []
        self.file.write_text("\n".join(tables), encoding="utf-8")


@contextlib.asynccontextmanager
async def at_work(hall, tasks):
    """The hall's line as its operator sees it, from its start to its end. The tasks, which are there until then, and the line's
    boards end with it."""
    line = None
    try:
        address = await hall.station.start()
        line = LineClient(re.sub(r"^\w+://|/$", "", address), "shift")
        yield line
    finally:
        for task in tasks:
            task.cancel()
        await asyncio.gather(*tasks, return_exceptions=True)
        if line:
            line.close()
        await hall.station.end()
        await hall.rack.close()


async def play_day(options, its_database):
    """From the start of the line to its end. Returns the day's hands."""
    hall = Hall(options, its_database)
    tasks = []
    async with at_work(hall, tasks) as line:
        print(f"A day of {options.units} units. The same day again: --seed {options.seed}. The page: http://{line.host}/", flush=True)
        hands = Hands(options, day.draw(options.seed, options.units, hall.families), hall, line)
        tasks.append(asyncio.create_task(hall.station.keep()))
        await hands.play(tasks)
    return hands


def parser_for(description, folder):
    """Of the options that all have who play a line; `folder` is where they do."""
    parser = argparse.ArgumentParser(description=description, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, default=RELEASE, metavar="FOLDER", help="where the programs were built")
    parser.add_argument("--folder", type=pathlib.Path, default=folder, help="for plans, records, report; emptied")
    parser.add_argument("--plans", type=pathlib.Path, default=ROOT / "plans", metavar="FOLDER", help="has FAMILY.toml each")
    parser.add_argument("--port", type=int, default=0, help="of the page; a free one by default")
    parser.add_argument("--seed", default=str(random.randrange(1000000)), help="the same one draws the same units")
    parser.add_argument("--slots", type=int, default=8, metavar="N", help="of the line")
    parser.add_argument("--speed", type=int, default=20, metavar="N", help="the boards' time runs N times as fast")
    return parser


def main():
    parser = parser_for(__doc__, ROOT / "build/shift")
    parser.add_argument("units", type=int, metavar="N", help="units of the day")
    options = parser.parse_args()
    status = status_of(play, options)
    if status is None:
        print("The day was broken off", file=sys.stderr)
    sys.exit(2 if status is None else status)


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""A line that works without a pause: what it takes must not grow, and at the end its figures must be the truth.

Eight slots get unit after unit, good and bad ones; the plant's database is killed or ended again and again; streams of events
and an operator's page in a browser stay open, and all pages are asked for behind each unit. One process of the station lives
through it all."""
import asyncio
import collections
import os
import pathlib
import random
import sys
import time

sys.dont_write_bytecode = True  # nothing is left beside the sources
ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "boardsim/rack"))
import day  # noqa: E402
import growth  # noqa: E402
import shift  # noqa: E402
import watch  # noqa: E402
from demonstration import status_of  # noqa: E402
from readers import Readers  # noqa: E402

SAMPLE = 4  # units between two samples
OUTAGE, AWAY = 40, 12  # units from one outage of the database to the next, and until it is back
CATCH_UP = 300  # seconds in which the database has what was stored while it was away, however busy this PC is


class Hands(shift.Hands):
    """Who works without a pause, until the time is over."""

    def __init__(self, options, hall, line):
        super().__init__(options, day.Day({slot: [] for slot in hall.families}, 0, "", 0, frozenset(), {}, frozenset(), ""), hall, line)
        self.units = day.draw_units(random.Random(f"soak {options.seed}"), hall.families)
        self.drawn = collections.defaultdict(collections.deque)  # of each slot, not yet tested
        self.deadline = None  # is set when the first unit is begun
        self.begun = self.tested = 0  # units
        self.readers = self.watch = self.page = None
        self.samples = []

    async def soak(self, tasks):
        """All of it; what works joins the tasks, which have to go on meanwhile."""
        self.readers = Readers(self.line.host)
        try:
            async with watch.open_page(f"http://{self.line.host}/") as page:
                self.watch = watch.Watch(self.hall.station.process.pid, self.options.folder / "records.db", self.line, page)
                self.samples = self.watch.samples
                await self.play_shift(tasks)
                await self.watch.end()
                self.findings += self.watch.findings
                await self.catch_up()
        finally:
            self.readers.close()
            self.findings += self.readers.findings

    def goes_on(self):
        self.deadline = self.deadline or time.monotonic() + self.options.minutes * 60
        return time.monotonic() < self.deadline and self.begun < self.options.units

    async def work(self, slot):
        while self.goes_on():
            self.begun += 1
            unit = self.next_unit(slot)
            await self.test(slot, unit)
            self.tested += 1
            is_sample = self.tested % SAMPLE == 0
            await self.look_after_database()
            await self.readers.look(self.last_of(unit).run)
            if is_sample and self.goes_on():  # later, some slots are empty
                await self.watch.look(self.tested, await self.readers.open_streams())

    def next_unit(self, slot):
        while not self.drawn[slot]:
            its_slot, unit = next(self.units)
            self.drawn[its_slot].append(unit)
        return self.drawn[slot].popleft()

    async def begin(self, slot, unit, is_worn, kind):
        asked = time.monotonic()
        played = await super().begin(slot, unit, is_worn, kind)
        if self.watch:
            self.watch.scans.append((time.monotonic() - asked) * 1000)
        return played

    async def look_after_database(self):
        """Behind each unit: the database goes away and comes back."""
        if self.database and self.tested % OUTAGE == 0:
            self.outages += 1
            await (self.database.kill() if self.outages % 2 else self.database.stop())
        elif self.database and self.tested % OUTAGE == AWAY:
            await self.database.start()

    async def catch_up(self):
        """The database comes back for good: it must get all that it has missed."""
        if not self.database:
            return
        await self.database.start()
        try:
            async with asyncio.timeout(CATCH_UP):
                await self.line.until(lambda: self.line.line and self.line.line["central"]["behind"] == 0)
        except TimeoutError:
            self.findings.append(f"the database is back, and the line does not catch up: {self.line.line['central']}")


class StationEnded(Exception):
    """By itself; the text has its status."""


async def stays_alive(process):
    """Raises StationEnded when the process ends."""
    raise StationEnded(f"the station ended by itself, with status {await process.wait()}; station.log is beside its records")


async def play_soak(options, its_database):
    """From the start of the line to its end. Returns its hands."""
    hall = shift.Hall(options, its_database)
    tasks = []
    async with shift.at_work(hall, tasks) as line:
        print(f"{options.minutes} minutes. The same units again: --seed {options.seed}. The page: http://{line.host}/", flush=True)
        hands = Hands(options, hall, line)
        tasks.append(asyncio.create_task(stays_alive(hall.station.process)))
        await hands.soak(tasks)
    return hands


def left_behind():
    """What runs still that was started here, and what is left of it, in words."""
    children = pathlib.Path(f"/proc/self/task/{os.getpid()}/children").read_text(encoding="ascii").split()
    return [f"process {child} is left: {pathlib.Path('/proc', child, 'cmdline').read_text()}" for child in children]


async def play(options):
    """Returns the exit status."""
    try:
        async with shift.judged(options, play_soak) as (judge, told):
            hands = judge.hands
            findings = judge.findings + left_behind()
    except StationEnded as end:
        print(f"Not as it should be: {end}")
        return 1
    log = options.folder / "records.db-wal"
    if log.exists() and log.stat().st_size > 0:
        findings.append(f"{log} has {log.stat().st_size} bytes that are not in the records, though the station has ended")
    rows = growth.judge(watch.FIGURES, hands.samples)
    findings += [f"{row.figure.words} grew by {growth.number(row.growth)}; the limit is {growth.number(row.limit)}"
                 for row in rows if row.grew]
    print(f"\n{hands.tested} units in {told.get('runs')} runs, {len(hands.samples)} samples, "
          f"{sum('heap' in sample for sample in hands.samples)} of them with the page; the database was away {hands.outages} times"
          f"{'' if judge.database else ' (there was none)'}; findings: {len(findings)}\n\n{growth.table(rows)}\n")
    if not any(row.limit is not None for row in rows):
        print("Too few samples to tell growth from noise: nothing was judged but the truth. A longer soak has more")
    for finding in findings:
        print(f"Not as it should be: {finding}")
    return 1 if findings else 0


def main():
    parser = shift.parser_for(__doc__, ROOT / "build/soak")
    parser.add_argument("minutes", type=float, metavar="MINUTES", help="in which units are begun")
    parser.add_argument("--units", type=int, default=sys.maxsize, metavar="N", help="and so many at most")
    options = parser.parse_args()
    status = status_of(play, options, "./test")
    if status is None:
        print("The soak was broken off", file=sys.stderr)
    sys.exit(2 if status is None else status)


if __name__ == "__main__":
    main()

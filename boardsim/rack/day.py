"""A day of a line, in two shifts: which units come to which slot, what is wrong with them and with the fixtures, when the
station dies and the plant's database; drawn by a seed. And what a line that makes no mistake says of such a day, found
without asking the line."""
import collections
import dataclasses
import itertools
import math
import os
import random
import re

import units

GOOD_SHARE = 0.78
LASTING_SHARE = 0.4  # of the days, on which the database comes back when the line has ended
UNSEEN = {  # wiring faults that no test of such a board can find
    "normal": units.Defect("its inputs T3 and T4 are shorted, which no test finds", ("short T3 T4",), verdict="passed"),
    "6484": units.Defect("its inputs T3 and SYNC are shorted, which no test finds", ("short T3 SYNC",), verdict="passed"),
    "k": units.Defect("its output F8 is stuck closed, which no test finds", ("output F8 closed",), verdict="passed"),
}
WORN = units.Defect("the fixture's contact of input T1 is worn", ("wire T1 cut",), says=units.T1_OPEN)
GIVEN_UP = "no reply within {limit} s: the board does not know this code, or the test hangs"  # the station's own words
MARKED_BELOW = 0.01  # the probability at which a slot is marked
MARKED_FROM = 20  # its runs
NUMBER = re.compile(r"(?:(?<![0-9A-Za-z)\]\u0080-\U0010ffff])[-+])?(?:0[xX][0-9A-Fa-f]+|[0-9]+(?:\.[0-9]+)?)", re.A)


@dataclasses.dataclass(frozen=True)
class Day:
    """`queues` has the units of each slot, in their order. The second shift begins before each slot's unit `change`. The
    fixture of slot `worn` is bad from its unit `worn_from` on, counted from 0, until the second shift's check. `deaths` has
    (slot, unit) in the middle of whose run the station is killed; `outages` the same of the database, and how many units the
    line ends until it is back, infinity when that is behind the line's end. `bad_first` has (slot, shift) whose check begins
    with the bad unit. In the second shift the label of slot `mislabelled`'s bad unit is on a good one; empty: on its own."""
    queues: dict
    change: int
    worn: str
    worn_from: int
    deaths: frozenset
    outages: dict
    bad_first: frozenset
    mislabelled: str

    def is_worn(self, slot, place):
        return slot == self.worn and self.worn_from <= place < self.change

    def of_shift(self, slot, shift):
        """(place, unit) of a slot in shift 1 or 2."""
        places = list(enumerate(self.queues[slot]))
        return places[:self.change] if shift == 1 else places[self.change:]


def draw(seed, count, slots):
    """A day with so many units. `slots` are the families of the slots by their names."""
    chance = random.Random(f"day {seed}")
    names = list(slots)
    queues = {name: [] for name in names}
    for slot, unit in itertools.islice(draw_units(chance, slots), count):
        queues[slot].append(unit)
    worn = chance.choice(names)
    length = len(queues[worn])
    worn_from = chance.randrange(length // 5, length // 2 + 1)
    change = chance.randrange(length // 2 + 1, len(queues[names[0]]) + 1)
    deaths = draw_moments(chance, queues, 1 + count // 100)
    outages = {moment: chance.randrange(1, 2 + count // 10) for moment in draw_moments(chance, queues, 1 + count // 100)}
    if chance.random() < LASTING_SHARE:
        outages |= {moment: math.inf for moment in draw_moments(chance, queues, 1)}
    bad_first = {(slot, shift) for slot in names for shift in (1, 2) if chance.random() < 0.5}
    mislabelled = chance.choice([*names, ""])
    return Day(queues, change, worn, worn_from, frozenset(deaths), outages, frozenset(bad_first), mislabelled)


def draw_units(chance, slots):
    """(slot, unit) without end, for each slot in turn."""
    letters = "".join(chance.choices("ABCDEFGHJKLMNPQRSTUVWXYZ", k=2))
    first = chance.randrange(10**units.DIGITS // 2)
    for number, (slot, family) in enumerate(itertools.cycle(slots.items()), first):
        yield slot, units.Unit(f"{letters}{number:0{units.DIGITS}}", family, draw_defect(chance, family))


def draw_moments(chance, queues, count):
    """So many of (slot, unit), now and then the same one twice."""
    slots = [chance.choice(list(queues)) for _ in range(count)]
    return [(slot, chance.randrange(len(queues[slot]))) for slot in slots if queues[slot]]


def check_units(slot, family, shift):
    """The good and the bad unit by which a slot is checked in shift 1 or 2. Each shift has some of its own, so that every
    slot's check is due when the shift begins."""
    number = f"{shift:02}{int(slot):04}"
    return units.Unit(f"GOLD{number}", family, units.GOOD), units.Unit(f"BAD{number}", family, units.CHECKED_WITH)


def draw_defect(chance, family):
    if chance.random() < GOOD_SHARE:
        return units.GOOD
    hangs = [hang for hang in units.HANGS if family in hang.families]
    kinds = [units.SHAKY] * 3 + [chance.choice(hangs), chance.choice(units.PULLED)]
    kinds += [chance.choice([broken for broken in units.BROKEN if family in broken.families]) for _ in range(6)]
    kinds += [UNSEEN[family]] if family in UNSEEN else []
    return chance.choice(kinds)


@dataclasses.dataclass(frozen=True)
class Step:
    """What became of a step in a run: the outcomes of its attempts, and what was said of the last one if it did not pass, ""
    when nothing was."""
    name: str
    outcomes: tuple
    words: str | None = None


@dataclasses.dataclass(frozen=True)
class Run:
    """A run as it was, or should have been."""
    serial: str
    plan: str
    slot: str
    verdict: str
    steps: tuple = ()  # as far as it came
    kind: str = "production"  # or "check", which is in no figure but its number

    @property
    def is_retried(self):
        return any(len(step.outcomes) > 1 for step in self.steps)


def deserved(unit, is_worn, names, limit):
    """Of a unit that is tested to the end in a plan of steps with these names: its verdict, and what becomes of the steps. A
    defect that no step looks for passes. Beside its own wiring fault a board does not speak of the fixture's. A test that hangs
    is given up after `limit` seconds; behind it there is no board any more."""
    steps = []
    for name in names:
        causes = [cause for cause in ([unit.defect, WORN] if is_worn else [unit.defect]) if cause.said_of(name) is not None]
        outcome = "passed" if not causes else "timed_out" if causes[0].verdict == "error" else "failed"
        is_again = re.fullmatch(unit.defect.retried, name) is not None
        outcomes = ("failed" if is_again else outcome, outcome)[not is_again:]
        if outcome == "timed_out":
            return "error", (*steps, Step(name, outcomes[-1:], GIVEN_UP.format(limit=math.ceil(limit))))
        steps.append(Step(name, outcomes, causes[0].said_of(name) if causes else None))
    return "failed" if any(step.words is not None for step in steps) else "passed", tuple(steps)


def figures(all_runs):
    """What `t1station stats --json` says of these runs, in the order in which they began, as far as it is compared."""
    runs = [run for run in all_runs if run.kind == "production"]
    by_unit = collections.defaultdict(list)
    for run in runs:
        by_unit[run.plan, run.serial].append(run)
    firsts = [its[0] for its in by_unit.values()]
    judged = [first for first in firsts if first.verdict in ("passed", "failed", "error")]
    lasts = [its[-1] for its in by_unit.values()]
    slots = {slot: [run for run in runs if run.slot == slot] for slot in sorted({run.slot for run in runs})}
    return {
        "runs": len(runs),
        "check_runs": len(all_runs) - len(runs),
        "units": len(by_unit),
        "verdicts": dict(collections.Counter(run.verdict for run in runs)),
        "retried": sum(run.is_retried for run in runs),
        "first_pass_yield": share(judged, passed_at_once),
        "first_pass_yield_strict": share(firsts, passed_at_once),
        "final_yield": share(lasts, lambda run: run.verdict == "passed"),
        "failures": failures(runs),
        "steps": steps(runs),
        "batches": batches(by_unit.keys(), judged),
        "slots": {slot: (len(its), not_passed(its)) for slot, its in slots.items()},
        "marked": sorted(slot for slot, its in slots.items() if is_marked(its, runs)),
    }


def failures(runs):
    """By plan, step and words without their numbers: the runs by the outcome of the step's last attempt, and the least and
    the greatest number at each place."""
    kinds = {}
    for run in runs:
        for step in run.steps:
            if step.outcomes[-1] != "passed":
                kind, numbers = word_kind(step.words)
                outcomes, ranges = kinds.setdefault((run.plan, step.name, kind), (collections.Counter(), []))
                outcomes[step.outcomes[-1]] += 1
                ranges += [[number, number] for number in numbers[len(ranges):]]
                for span, number in zip(ranges, numbers):
                    span[:] = min(span[0], number), max(span[1], number)
    return kinds


def batches(units_of_plans, judged):
    """By one character more than all serial numbers have in common: the units, their first runs that are judged, and how many
    of these were good."""
    serials = [serial for _, serial in units_of_plans]
    length = len(os.path.commonprefix(serials)) + 1
    found = {serial[:length]: [0, 0, 0] for serial in serials}
    for serial in serials:
        found[serial[:length]][0] += 1
    for run in judged:
        found[run.serial[:length]][1] += 1
        found[run.serial[:length]][2] += passed_at_once(run)
    return found


def word_kind(words):
    """Words with # for each number, and the numbers."""
    numbers = [float(int(found[0], 16)) if "x" in found[0].lower() else float(found[0]) for found in NUMBER.finditer(words)]
    return NUMBER.sub("#", words), numbers


def steps(runs):
    """By plan and step: the runs that came to it, those in which it was tried again, and the attempts by outcome."""
    found = {}
    for run in runs:
        for step in run.steps:
            its = found.setdefault((run.plan, step.name), {"runs": 0, "retried": 0, "outcomes": collections.Counter()})
            its["runs"] += 1
            its["retried"] += len(step.outcomes) > 1
            its["outcomes"].update(step.outcomes)
    return found


def passed_at_once(run):
    return run.verdict == "passed" and not run.is_retried


def share(runs, is_so):
    return sum(map(is_so, runs)) / len(runs) if runs else None


def not_passed(runs):
    return sum(run.verdict != "passed" for run in runs)


def is_marked(its, runs):
    others = len(runs) - len(its)
    return len(its) >= MARKED_FROM and others > 0 and fisher(not_passed(its), len(its), not_passed(runs), len(runs)) < MARKED_BELOW


def fisher(bad, size, all_bad, total):
    """Fisher's exact test, two-sided: how likely so uneven a share of bad ones is by chance."""

    def ways(count):
        return math.comb(all_bad, count) * math.comb(total - all_bad, size - count)

    possible = [ways(count) for count in range(max(0, size - (total - all_bad)), min(all_bad, size) + 1)]
    return sum(one for one in possible if one <= ways(bad)) / math.comb(total, size)

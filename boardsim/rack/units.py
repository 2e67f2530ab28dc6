"""Units for a line: serial numbers, and what is wrong with them, drawn by a seed."""
import dataclasses
import random
import string

FAMILIES = ("normal", "k", "rkd2", "6484")  # of a demonstration's slots, in their order
DIGITS = 8  # of a serial number, behind two letters


@dataclasses.dataclass(frozen=True)
class Defect:
    """What is wrong with a unit, and how its run through its family's plan ends therefore."""
    words: str
    faults: tuple = ()  # of the simulated board
    verdict: str = "failed"
    is_retried: bool = False  # a step passes or fails at its second attempt
    failing: str = ""  # the names of the steps that fail or hang by it, as a pattern
    pulled: str = ""  # how the board is pulled out in the middle of its run; empty: it is not
    families: tuple = FAMILIES


GOOD = Defect("nothing is wrong with it", verdict="passed")
SHAKY = Defect("mounting its card fails once", ("mount #1 EIO",), verdict="passed", is_retried=True)
SLOW = Defect("its SD card is so slow that the test hangs", ("medium /dev/mmc01 slow 60000", "medium /dev/mmc11 slow 60000"),
              verdict="error", failing="sd")
PULLED = (Defect("it is pulled out, which resets its connection", verdict="error", pulled="reset"),
          Defect("it is pulled out without a word", verdict="error", pulled="silence"))
BROKEN = (Defect("the wire of input T2 is cut", ("wire T2 cut",), failing="alarm-[2-9]in.*"),
          Defect("output F1 is dead", ("output F1 dead",), failing="alarm-.*"),
          Defect("input T1 is stuck low", ("input T1 stuck low",), failing="alarm-.*"),
          Defect("it has no temperature sensor", ("sensors none",), failing="temp"),
          Defect("its focus motor never comes to its limit", ("limit switch never",), failing="abf"),
          Defect("its timing record is missing", ("record timing none",), failing="get-tg"),
          Defect("it has no SD card", ("medium /dev/mmc01 absent",), is_retried=True, failing="sd",
                 families=("normal", "k", "6484")),
          Defect("the wires between RS485 ports 1 and 2 are cut", ("rs485 1 2 open",), failing="rs485", families=("k",)))
CHECKED_WITH = Defect("its output F1 is dead, which every plan finds", ("output F1 dead",), failing="alarm-.*")
GOOD_IN_A_ROUND = 10  # beside three broken ones and one of each other kind


@dataclasses.dataclass(frozen=True)
class Unit:
    serial: str
    family: str
    defect: Defect


def draw(seed, families=FAMILIES):
    """Units without end, for slots of these families in turn. The same seed draws the same units."""
    chance = random.Random(f"units {seed}")
    letters = "".join(chance.choices(string.ascii_uppercase, k=2))
    number = chance.randrange(10**DIGITS // 2)  # so that no demonstration comes to the last one
    while True:
        kinds = [GOOD] * GOOD_IN_A_ROUND + [None] * 3 + [SHAKY, SLOW, chance.choice(PULLED)]
        chance.shuffle(kinds)
        for position, kind in enumerate(kinds):
            family = families[position % len(families)]
            defect = kind or chance.choice([broken for broken in BROKEN if family in broken.families])
            number += 1
            yield Unit(f"{letters}{number:0{DIGITS}}", family, defect)

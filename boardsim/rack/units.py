"""Units for a line: serial numbers, and what is wrong with them, drawn by a seed."""
import dataclasses
import random
import re
import string

FAMILIES = ("normal", "k", "rkd2", "6484")  # of a demonstration's slots, in their order
DIGITS = 8  # of a serial number, behind two letters


@dataclasses.dataclass(frozen=True)
class Defect:
    """What is wrong with a unit, and how its run through its family's plan ends therefore."""
    words: str
    faults: tuple = ()  # of the simulated board
    verdict: str = "failed"  # "error": the test hangs that finds it
    retried: str = ""  # the names of the steps that pass or fail at their second attempt, as a pattern
    says: tuple = ()  # (pattern, words): the names of the steps that fail or hang by it, and what their boards say then
    pulled: str = ""  # how the board is pulled out in the middle of its run; empty: it is not
    families: tuple = FAMILIES

    @property
    def is_retried(self):
        return bool(self.retried)

    def said_of(self, step):
        """What a board says of a step that fails by it, "" when it says nothing; None of a step that does not fail."""
        return next((words for pattern, words in self.says if re.fullmatch(pattern, step)), None)


GOOD = Defect("nothing is wrong with it", verdict="passed")
SHAKY = Defect("mounting its card fails once", ("mount #1 EIO",), verdict="passed", retried="sd")
SLOW = Defect("its SD card is so slow that the test hangs", ("medium /dev/mmc01 slow 60000", "medium /dev/mmc11 slow 60000"),
              verdict="error", says=(("sd", ""),))
SILENT = Defect("its main application never answers, so that the test hangs", ("app silent",), verdict="error",
                says=(("iris", ""),), families=("normal", "k", "6484"))  # on rkd2 it is the RS485 test that asks first, and hangs
HANGS = (SLOW, SILENT)
PULLED = (Defect("it is pulled out, which resets its connection", verdict="error", pulled="reset"),
          Defect("it is pulled out without a word", verdict="error", pulled="silence"))
T1_OPEN = (("alarm-(5in|8in).*", "测试失败:T1不通或(F1+F1-)短路!!!"), ("alarm-(2in4out|1in3out)", ""))
DEAD_F1 = Defect("output F1 is dead", ("output F1 dead",), says=T1_OPEN)
BROKEN = (Defect("the wire of input T2 is cut", ("wire T2 cut",),
                 says=(("alarm-(5in|8in).*", "测试失败:T2不通或(F2+F2-)短路!!!"), ("alarm-2in4out", ""))),
          DEAD_F1,
          Defect("input T1 is stuck low", ("input T1 stuck low",),
                 says=(("alarm-(5in|8in).*", "测试失败:(F1+F1-)或(T1T2)或(T1T3)短路!!!"), ("alarm-(2in4out|1in3out)", ""))),
          Defect("it has no temperature sensor", ("sensors none",), says=(("temp", "未发现温度传感器"),)),
          Defect("its focus motor never comes to its limit", ("limit switch never",), says=(("abf", "ABF fail"),)),
          Defect("its timing record is missing", ("record timing none",), says=(("get-tg", "TG param ERROR"),)),
          Defect("it has no SD card", ("medium /dev/mmc01 absent",), retried="sd", says=(("sd", "挂载失败"),),
                 families=("normal", "k", "6484")),
          Defect("the wires between RS485 ports 1 and 2 are cut", ("rs485 1 2 open",),
                 says=(("rs485", "<t1>ERROR RS485_1/RS485_2测试不通过."),), families=("k",)))
CHECKED_WITH = dataclasses.replace(DEAD_F1, words="its output F1 is dead, which every plan finds")
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

"""Two days of a line in its records, the same each time: rows as the station writes them, with hashes that fit to nothing."""
import datetime
import hashlib
import random
import signal
import sqlite3

from real_line import RealLine

START = datetime.datetime(2026, 3, 28, 5, 30, tzinfo=datetime.timezone.utc)  # before the hour that a summer time takes away
STEPS = (("clock", 1536, "测试RTC时钟", 0.6), ("rs485", 1024, "RS485测试", 1.1), ("temperature", 7426, "测试温度", 0.2),
         ("usb", 4608, "测试USB", 0.4), ("light", 14592, "测试内置灯", 2.5))
HOSTILE = "=1+1 <script>alert(1)</script> & \"<b>\" 亮度 71"


def moment(seconds):
    """So many seconds after the start, as the station writes times."""
    return (START + datetime.timedelta(seconds=seconds)).isoformat(timespec="milliseconds").replace("+00:00", "Z")


class Filling:
    """Writes runs into a file that a station has made."""

    def __init__(self, file, words, seed):
        self.words = words
        self.file = sqlite3.connect(file)
        self.random = random.Random(seed)
        self.rows = self.sequence = self.file.execute("SELECT coalesce(max(sequence), 0) FROM run").fetchone()[0]
        self.plans = {}
        for name, version in (("main-board", "3"), ("main-board", "4"), ("k-board", "1")):
            text = f'format = 1\nname = "{name}"\nversion = "{version}"\n'
            self.plans[name, version] = hashlib.sha256(text.encode()).hexdigest()
            self.file.execute("INSERT INTO plan VALUES (?, ?, ?, ?)", (self.plans[name, version], name, version, text))

    def id(self, seconds):
        self.rows += 1
        at = int((START.timestamp() + seconds) * 1000)
        return f"{at >> 16:08x}-{at & 65535:04x}-7000-8000-{self.rows:012x}"

    def defects(self, slot):
        """The steps that fail as often as they are tried."""
        likely = {"clock": 0.01, "rs485": 0.14 if slot == "3" else 0.02, "temperature": 0.015}
        return {name for name, share in likely.items() if self.random.random() < share}

    def attempt(self, run, step, number, seconds, defects):
        """One try of a step; its outcome and how long it took."""
        draw = self.random
        name, code, title, usual = STEPS[step]
        took = usual * draw.uniform(0.9, 1.4)
        outcome, words, value = "passed", "测试成功", None
        if name == "temperature":
            value = round(draw.gauss(54 if name in defects else 41.5, 2.4), 2)
            outcome, words = ("passed", f"温度 {value}") if value <= 52 else ("failed", f"温度 {value} 超出范围")
        elif name == "rs485" and (name in defects or draw.random() < 0.03):
            outcome, words = "failed", f"485口{draw.randint(1, 2)}收到{draw.randint(0, 7)}字节"
        elif name == "clock" and name in defects:
            outcome, words = "failed", "时钟停止"
        elif name == "usb" and draw.random() < 0.012:
            outcome, words, took = "timed_out", None, 20.0
        elif name == "light" and draw.random() < 0.01:
            outcome, words = "failed", self.words
        row = self.id(seconds)
        request = f'<?xml version="1.0" encoding="gb2312" ?><Test TestCode="{code}" />'.encode("gbk")
        self.file.execute(
            "INSERT INTO attempt (id, run_id, step, step_index, number, code, started, request) VALUES (?, ?, ?, ?, ?, ?, ?, ?)",
            (row, run, name, step, number, code, moment(seconds), request))
        if value is not None:
            self.file.execute("INSERT INTO measurement VALUES (?, 0, 'degrees', ?, 'degC', 20.0, 52.0, ?)",
                              (row, value, "passed" if value <= 52 else "high"))
        reply = None if words is None else f'<Result TestName="{title}" Description="{words}" />'.encode("gbk")
        self.file.execute(
            "UPDATE attempt SET ended = ?, seconds = ?, outcome = ?, board_name = ?, description = ?, reply = ?, console = ? "
            "WHERE id = ?", (moment(seconds + took), took, outcome, title, words, reply, b"boot\nok\n", row))
        return outcome, took

    def run(self, serial, seconds, slot, plan, number, kind="production", ends=True):
        """One unit through all steps, each tried twice; its verdict."""
        row = self.id(seconds)
        self.file.execute(
            "INSERT INTO run (id, serial, plan_id, kind, station, slot, operator, board, build, number, started, software) "
            "VALUES (?, ?, ?, ?, 'ICT-3', ?, 'Wu', '192.0.2.7:36001', 'BUILD: Mar 29 2019-22:09:55', ?, ?, 't1station 1.0')",
            (row, serial, self.plans[plan], kind, slot, number, moment(seconds)))
        if not ends:
            return None
        took, retried, verdict, reasons = 0.0, 0, "passed", []
        defects = self.defects(slot)
        for step in range(len(STEPS)):
            outcome, seconds_of = self.attempt(row, step, 1, seconds + took, defects)
            took += seconds_of
            if outcome == "failed" and STEPS[step][0] != "light":
                retried = 1
                outcome, seconds_of = self.attempt(row, step, 2, seconds + took, defects)
                took += seconds_of
            if outcome != "passed":
                verdict = "error" if outcome == "timed_out" or verdict == "error" else "failed"
                reasons.append(f"step {STEPS[step][0]}: {outcome}")
        self.sequence += 1
        self.file.execute(
            "UPDATE run SET ended = ?, seconds = ?, verdict = ?, reason = ?, retried = ?, sequence = ? WHERE id = ?",
            (moment(seconds + took), took, verdict, "; ".join(reasons) or None, retried, self.sequence, row))
        self.file.execute("UPDATE run SET hash = ? WHERE id = ?", (hashlib.sha256(row.encode()).hexdigest(), row))
        return verdict


def fill(file, words=HOSTILE, units=300, seed=1):
    """Units of two plans, and of two versions of one, on four slots, the third of which is worn; failed ones come again.
    `words` are what the board says of its light."""
    filling = Filling(file, words, seed)
    step = 2 * 86400 / max(units, 1)
    for unit in range(units):
        slot = str(unit % 4 + 1)
        plan = ("k-board", "1") if unit % 5 == 4 else ("main-board", "3" if unit < units / 2 else "4")
        serial = f"{'KW' if plan[0] == 'k-board' else 'AB'}{unit + 1:08}"
        verdict = filling.run(serial, unit * step, slot, plan, 1)
        if verdict != "passed":
            filling.run(serial, unit * step + step / 2, slot, plan, 2)
        if unit % 50 == 0:
            filling.run("GOLD000001", unit * step + step / 3, slot, plan, unit // 50 + 1, kind="check")
    filling.run("AB99999999", units * step, "1", ("main-board", "4"), 1, ends=False)
    filling.file.commit()
    filling.file.close()


class FilledLine(RealLine):
    """A line with these two days behind it."""

    def __init__(self, program, words=HOSTILE):
        super().__init__(program)
        self.end(signal.SIGTERM)
        fill(self.path("records.db"), words)
        self.come_back()

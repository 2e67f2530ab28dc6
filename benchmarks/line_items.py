"""A line of many slots, as rows of the table: times, memory, processor time, and how soon what is stored is shown."""
import contextlib
import http.client
import json
import os
import pathlib
import selectors
import socket
import sqlite3
import statistics
import subprocess
import tempfile
import time

import table

STEPS = 50  # of the plan
ANSWER = 0.2  # seconds until a board answers
MANY = 200  # slots
BUSY = 64
BESIDE = 3  # `t1station run` at a time
BROWSERS = 8
WINDOW = 1.0  # seconds with streams, and without
FLOOR_ROUNDS = 200
INTERVAL = 0.1  # seconds between documents on a stream
PATIENCE = 120  # seconds

PLAN = "format = 1\nname = \"bench\"\nversion = \"1\"\nserial = '.*'\n"
# What the board says begins with the time of its answer.
STEP = "[[step]]\nname = \"step-{}\"\ntest = \"temp\"\n[[step.measure]]\nname = \"answered\"\nmatch = '([0-9.]+)'\n"
ANSWERED = "SELECT run.slot, attempt.step_index, measurement.value FROM measurement " \
           "JOIN attempt ON attempt.id = attempt_id JOIN run ON run.id = run_id"


def processor_time(process):
    """Seconds of a process that runs, of all its threads."""
    return time.clock_gettime((~process.pid << 3) | 2)  # as clock_getcpuclockid() does


def peak_memory(process):
    """The most kB that it ever had resident."""
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text(encoding="utf-8")
    return int(status.partition("VmHWM:")[2].split()[0])


def wait_for(process):
    """Seconds of processor time that a process has taken in all, once it is over."""
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise RuntimeError(f"{process.args} ended with {process.returncode}")
    return usage.ru_utime + usage.ru_stime


@contextlib.contextmanager
def boards(build):
    """The address at which as many boards answer as connect."""
    command = [build / "benchmarks/line_speed", "boards", str(ANSWER)]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as process:
        try:
            yield f"127.0.0.1:{int(process.stdout.readline())}"
        finally:
            process.kill()


def write_plan(folder, steps=STEPS):
    file = folder / f"plan-{steps}.toml"
    file.write_text(PLAN + "".join(STEP.format(number) for number in range(steps)), encoding="utf-8")
    return file


def write_line(folder, board, slots):
    """A line's file; its records are in its folder, too."""
    plan = write_plan(folder).name
    text = '[station]\nname = "bench"\nrecords = "records.db"\nlisten = "127.0.0.1:0"\n'
    for number in range(slots):
        text += f'[[slot]]\nname = "{number}"\nboard = "{board}"\nplan = "{plan}"\n'
    file = folder / "line.toml"
    file.write_text(text, encoding="utf-8")
    return file


class Line:
    """A station with a unit in each slot, for as long as the `with` block."""

    def __init__(self, build, folder, board, slots):
        self.slots = slots
        self.records = folder / "records.db"
        self.command = [build / "station/t1station", "line", write_line(folder, board, slots)]

    def __enter__(self):
        self.process = subprocess.Popen(self.command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.port = int(self.process.stdout.readline().rpartition(":")[2].rstrip("/\n"))
        self.start = processor_time(self.process)
        return self

    def __exit__(self, *_):
        if self.process.returncode is None:
            self.process.kill()
            self.process.wait()
        self.process.stdout.close()

    def scan_all(self):
        """A unit into each slot, evenly within the time of an answer, so that boards do not answer all at once."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        start = time.monotonic()
        for number in range(self.slots):
            connection.request("POST", "/api/scan", json.dumps({"text": f"UNIT{number}", "slot": str(number)}),
                               {"Content-Type": "application/json"})
            answer = connection.getresponse()
            if answer.status != 200:
                raise RuntimeError(answer.read())
            answer.read()
            time.sleep(max(0.0, start + (number + 1) * ANSWER / self.slots - time.monotonic()))
        connection.close()

    def ask_records(self, query):
        with contextlib.closing(sqlite3.connect(f"file:{self.records}?mode=ro", uri=True, timeout=PATIENCE)) as records:
            return records.execute(query).fetchall()

    def wait_for_verdicts(self):
        start = time.monotonic()
        while self.ask_records("SELECT count(*) FROM run WHERE verdict = 'passed'")[0][0] < self.slots:
            if time.monotonic() - start > PATIENCE:
                raise RuntimeError("the units' verdicts do not come")
            time.sleep(ANSWER)

    def tests(self):
        """That have ended so far."""
        return self.ask_records("SELECT count(*) FROM attempt WHERE outcome IS NOT NULL")[0][0]

    def test_seconds(self):
        return [seconds for seconds, in self.ask_records("SELECT seconds FROM attempt")]

    def end(self):
        """Seconds of processor time in all."""
        self.process.terminate()
        return wait_for(self.process)


class Streams:
    """Browsers' streams of events, for as long as the `with` block."""

    def __init__(self, port, count):
        self.selector = selectors.DefaultSelector()
        for _ in range(count):
            stream = socket.create_connection(("127.0.0.1", port), PATIENCE)
            stream.sendall(f"GET /api/events HTTP/1.1\r\nHost: 127.0.0.1:{port}\r\n\r\n".encode())
            self.selector.register(stream, selectors.EVENT_READ)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for key in list(self.selector.get_map().values()):
            key.fileobj.close()
        self.selector.close()

    def read(self, seconds):
        """What comes within that time. Without streams: nothing."""
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            for key, _ in self.selector.select(left):
                if not key.fileobj.recv(1 << 20):
                    raise RuntimeError("the line has ended a stream")


def one_slot(build, board):
    """A line of one slot, and `t1station run` beside it: the line, ended; seconds of processor time a run and a test."""
    with tempfile.TemporaryDirectory(dir=build) as place, contextlib.ExitStack() as running:
        folder = pathlib.Path(place)
        plans = {steps: write_plan(folder, steps) for steps in (STEPS, 1)}

        def run(number, steps):
            command = [build / "station/t1station", board, "run", "--plan", plans[steps], "--serial", "UNIT", "--records",
                       folder / f"{number}.db"]
            return subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

        line = running.enter_context(Line(build, folder, board, 1))
        line.scan_all()
        whole = [wait_for(process) for process in [run(number, STEPS) for number in range(BESIDE)]]
        line.wait_for_verdicts()
        short = [wait_for(run(BESIDE + number, 1)) for number in range(BESIDE)]
        with_start = statistics.median(whole) / STEPS
        without = (statistics.median(whole) - statistics.median(short)) / (STEPS - 1)
        seconds, memory = line.test_seconds(), peak_memory(line.process)
        line.end()
    return seconds, memory, with_start, without


def many_slots(build, board):
    """Of a line of many slots."""
    with tempfile.TemporaryDirectory(dir=build) as place, Line(build, pathlib.Path(place), board, MANY) as line:
        line.scan_all()
        line.wait_for_verdicts()
        seconds, memory, start = line.test_seconds(), peak_memory(line.process), line.start
        whole = line.end()
    return seconds, memory, whole / len(seconds), (whole - start) / len(seconds)


def with_streams(build, board, slots):
    """Processor time a test with browsers' streams, against without them, in turns."""
    costs = {0: [], BROWSERS: []}
    with tempfile.TemporaryDirectory(dir=build) as place, Line(build, pathlib.Path(place), board, slots) as line:
        line.scan_all()
        end = time.monotonic() + (STEPS * ANSWER - 2 * ANSWER - 2 * WINDOW)
        while time.monotonic() < end:
            for count, found in costs.items():
                with Streams(line.port, count) as streams:
                    streams.read(ANSWER)  # the documents that each gets at once are not counted
                    before, tests = processor_time(line.process), line.tests()
                    streams.read(WINDOW)
                    found.append((processor_time(line.process) - before) / (line.tests() - tests))
        line.wait_for_verdicts()
        line.end()
    return table.paired_ratio(costs[BROWSERS], costs[0])


def line(build):
    """A line of 200 slots against one of one slot and against `t1station run`; eight browsers that look on."""
    with boards(build) as board:
        one, one_memory, run_whole, run_test = one_slot(build, board)
        many, many_memory, line_whole, line_test = many_slots(build, board)
        streams = {slots: with_streams(build, board, slots) for slots in (BUSY,)}
    growth = (many_memory - one_memory) / (MANY - 1)
    return [
        table.Row(f"Line: a test with {MANY} slots, median", table.ratio(many, one), "1 slot", 1.05),
        table.Row("Line: processor time a test", line_whole / run_whole, "t1station run", 1.2),
        table.Row("Line: the same without start-up", line_test / run_test, "t1station run", 1.2),
        table.Row("Line: memory a slot, kB", growth, "", 300, below=True, digits=0),
        *(table.Row(f"Line: processor time, {BROWSERS} streams, {slots} slots", figure, "no streams", 1.1, below=True)
          for slots, figure in streams.items())]


def output_of(build, *words):
    command = [build / "benchmarks/line_speed", *map(str, words)]
    return subprocess.run(command, stdout=subprocess.PIPE, check=True, text=True).stdout.splitlines()


def line_delay(build):
    """From a reply's last byte until it is stored and shown, with 64 slots busy."""
    with tempfile.TemporaryDirectory(dir=build) as place, boards(build) as board:
        folder = pathlib.Path(place)
        bare = []
        for name in ("before", "after"):
            (folder / name).mkdir()
            bare += map(float, output_of(build, "floor", folder / name, FLOOR_ROUNDS))
            if name == "before":
                seen = output_of(build, "delays", write_line(folder, board, BUSY))
        with contextlib.closing(sqlite3.connect(folder / "records.db")) as records:
            answered = {(slot, step): at for slot, step, at in records.execute(ANSWERED)}
    stored, shown = [], []
    for row in seen:
        slot, step, at_view, at_stream = row.split()
        reply = answered[slot, int(step)]
        stored.append(float(at_view) - reply)
        shown.append(float(at_stream) - reply)
    name, interval = f"Line: from reply to {{}} ({BUSY} slots), {{}}", "100 ms, a stream's pace"
    return [
        table.Row(name.format("stored", "median"), table.ratio(stored, bare), "a bare commit"),
        table.Row(name.format("stored", "99th percentile"), table.percentile(stored, 99) / table.percentile(bare, 99), "a bare commit"),
        table.Row(name.format("event", "median"), table.ratio(shown, bare), "a bare commit"),
        table.Row(name.format("event", "99th percentile"), table.percentile(shown, 99) / table.percentile(bare, 99), "a bare commit"),
        table.Row(name.format("event", "median"), statistics.median(shown) / INTERVAL, interval),
        table.Row(name.format("event", "99th percentile"), table.percentile(shown, 99) / INTERVAL, interval)]

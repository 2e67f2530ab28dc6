"""A finished `t1station line` on simulated boards, for tests that start, end and kill it."""
import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(sys.argv[1])
PATIENCE = 60  # seconds for anything, however busy this PC is
PLAN = """format = 1
name = "short"
version = "1"
serial = '[A-Z]{2}[0-9]{8}'
[[step]]
name = "temperature"
test = "temp"
"""


class Process:
    """A program whose lines are read as they come."""

    def __init__(self, *command, **more):
        self.process = subprocess.Popen([str(word) for word in command], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=more.pop("stderr", subprocess.DEVNULL), text=True,
                                        start_new_session=True, **more)

    def line(self, pattern):
        """The next line that matches, as a match."""
        for text in self.process.stdout:
            if match := re.match(pattern, text):
                return match
        raise AssertionError(f"{self.process.args} ended without {pattern}")

    def end(self, how=signal.SIGTERM):
        """Sends a signal and returns the exit status."""
        self.process.send_signal(how)
        status = self.process.wait(PATIENCE)
        self.close()
        return status

    def close(self):
        """Ends it, and what it started and left behind."""
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self.process.pid, signal.SIGKILL)
        self.process.wait()
        for stream in (self.process.stdin, self.process.stdout, self.process.stderr):
            if stream:
                with contextlib.suppress(BrokenPipeError):
                    stream.close()


class LineTest(unittest.TestCase):
    """A folder with a plan, and processes that are gone at the end."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="boardtest-line."))
        self.addCleanup(shutil.rmtree, self.folder)
        self.write("plan.toml", PLAN)

    def write(self, name, text):
        (self.folder / name).write_text(text)
        return self.folder / name

    def line_file(self, board="127.0.0.1:1", more="", station="", slot=""):
        return self.write("line.toml", f"""[station]
name = "ICT-3"
records = "records.db"
{station or 'listen = "127.0.0.1:0"'}
board_wait = 0.1
[[slot]]
name = "1"
board = "{board}"
plan = "plan.toml"
{slot}
{more}""")

    def start(self, *words, **more):
        process = Process(*words, **more)
        self.addCleanup(process.close)
        return process

    def start_line(self, file, *before):
        line = self.start(*before, BUILD / "station/t1station", "line", file)
        line.url = line.line(r"listening on (http://\S+/)$")[1]
        return line

    def board(self, family="normal", *words):
        """The address of a slot of a rack with one board in it."""
        rack = self.start(sys.executable, ROOT / "boardsim/rack/rack.py", "--build", BUILD, "1")
        address = rack.line(r"slot 1 at (127\.0\.0\.1:\d+)")[1]
        rack.process.stdin.write(" ".join(["insert", "1", family, *words]) + "\n")
        rack.process.stdin.flush()
        rack.line("inserted 1 ")
        return address

    def refused(self, *words):
        """Exit status and complaint of a line that does not start."""
        ended = subprocess.run([BUILD / "station/t1station", "line", *words], capture_output=True, text=True, timeout=PATIENCE,
                               check=False, stdin=subprocess.DEVNULL)
        self.assertEqual(ended.stdout, "")
        return ended.returncode, ended.stderr

    @staticmethod
    def get(line, path):
        with urllib.request.urlopen(line.url + path, timeout=PATIENCE) as answer:
            return json.load(answer)

    @staticmethod
    def post(line, path, body):
        request = urllib.request.Request(line.url + path, json.dumps(body).encode(), {"Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=PATIENCE) as answer:
            return json.load(answer)

    def await_slot(self, line, like):
        """Reads the stream of events until the slot is so."""
        with urllib.request.urlopen(line.url + "api/events", timeout=PATIENCE) as events:
            for text in events:
                if text.startswith(b"data:") and b'"slots"' in text:
                    slot = json.loads(text[5:])["slots"][0]
                    if like(slot):
                        return slot
        raise AssertionError("the stream of events has ended")

    def records(self, *words):
        return subprocess.run([BUILD / "station/t1station", "records", *words], capture_output=True, text=True, timeout=PATIENCE,
                              check=False).stdout

    def run_stored(self):
        """The last run in the records."""
        return json.loads(self.records("export", self.folder / "records.db", "--format", "jsonl").splitlines()[-1])

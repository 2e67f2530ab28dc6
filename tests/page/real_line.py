"""The station itself, `t1station line`, with a user of each role and two slots at whose boards nobody is."""
import pathlib
import signal
import subprocess
import tempfile

PLAN = """format = 1
name = "main-board"
version = "3"
serial = '[A-Z]{2}[0-9]{8}'
max_runs = 1
[[step]]
name = "clock"
test = "rtc"
"""
PASSWORD = "correct horse"


class RealLine:
    """Its records stay when the process dies and comes back, and so does its port."""

    def __init__(self, program, users=(), board_wait=86400):
        self.program, self.board_wait = program, board_wait
        self.folder = tempfile.TemporaryDirectory(prefix="boardtest.")
        self.process, self.port = None, 0
        for name, role in users:
            subprocess.run([program, "users", "add", self.path("users.toml"), name, "--role", role], check=True,
                           input=PASSWORD + "\n", text=True, stdout=subprocess.DEVNULL)
        self.users = bool(users)
        pathlib.Path(self.path("plan.toml")).write_text(PLAN)
        self.come_back()

    @property
    def url(self):
        return f"http://127.0.0.1:{self.port}/"

    def path(self, name):
        return str(pathlib.Path(self.folder.name) / name)

    def come_back(self):
        slots = "".join(f'[[slot]]\nname = "{name}"\nboard = "127.0.0.1:1"\nplan = "plan.toml"\n' for name in "12")
        pathlib.Path(self.path("line.toml")).write_text(
            f'[station]\nname = "ICT-3"\nrecords = "records.db"\nlisten = "127.0.0.1:{self.port}"\nlanguage = "en"\n'
            f'board_wait = {self.board_wait}\n{slots}' + ('[users]\nfile = "users.toml"\n' if self.users else ""))
        self.process = subprocess.Popen([self.program, "line", self.path("line.toml")], stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, text=True)
        said = self.process.stdout.readline()
        self.port = int(said.rstrip("/\n").rpartition(":")[2])

    def end(self, by):
        """Ends the process by a signal; its exit code."""
        self.process.send_signal(by)
        self.process.wait(timeout=40)
        self.process.stdout.close()
        return self.process.returncode

    def close(self):
        if self.process.poll() is None:
            self.end(signal.SIGKILL)
        self.folder.cleanup()

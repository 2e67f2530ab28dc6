"""A plant's database for a line of simulated boards: a PostgreSQL server in a folder of its own, which can be killed."""
import asyncio
import contextlib
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile

from rack import RackError, free_port

INSTALLED = pathlib.Path("/usr/lib/postgresql")  # a folder for each version, as Debian has it
NOBODY = 65534  # a user without rights: the server refuses to be run by root
NAME, ROLE = "boards", "line"
START_WAIT = 60  # seconds in which it serves, however busy this PC is
LOOK_AGAIN = 0.05  # seconds between two looks at whether it serves
LAST_WORDS = 400  # characters, of what a program says that fails
SETTINGS = """
listen_addresses = '127.0.0.1'
unix_socket_directories = ''
port = {port}
fsync = off
shared_buffers = 16MB
"""


def folder_of_tools():
    """Of the newest server on this PC; None when there is none."""
    found = [tool.parent for tool in INSTALLED.glob("*/bin/initdb")]
    return max(found, key=lambda folder: int(folder.parent.name), default=None)


class Database:
    """The server with its one database, at a port of 127.0.0.1 that stays the same. Whoever connects is trusted."""

    def __init__(self, tools):
        """`tools` are what folder_of_tools() has found."""
        self.tools, self.port, self.process = tools, free_port(), None
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="boardtest-plant."))

    def url(self, role=ROLE):
        return f"postgresql://{role}@127.0.0.1:{self.port}/{NAME}"

    async def make(self, station):
        """Makes it as an administrator does, with the tables and the line's role; it serves then. `station` is the program
        t1station. Raises RackError when that cannot be done."""
        if os.getuid() == 0:
            os.chown(self.folder, NOBODY, NOBODY)
        await run(*self._as_nobody("initdb", "-D", self.folder / "data", "-U", "admin", "-A", "trust", "-E", "UTF8",
                                   "--locale=C", "--no-sync", "--no-instructions"), cwd=self.folder)
        with open(self.folder / "data/postgresql.conf", "a", encoding="utf-8") as settings:
            settings.write(SETTINGS.format(port=self.port))
        await self.start()
        at_first = ["-X", "-q", "-d", f"postgresql://admin@127.0.0.1:{self.port}/postgres"]
        await run(self.tools / "psql", *at_first, "-c", f"CREATE ROLE {ROLE} LOGIN", "-c", f"CREATE DATABASE {NAME}")
        await run(station, "records", "central", "init", self.url("admin"), "--role", ROLE)

    async def start(self):
        """Starts it, if it does not run; it serves then. Raises RackError when it does not."""
        try:
            async with asyncio.timeout(START_WAIT):
                while not (self._runs() and await self._serves()):
                    if not self._runs():  # nor does it as long as a process of the one that was killed is left
                        await self._begin()
                    await asyncio.sleep(LOOK_AGAIN)
        except TimeoutError as error:
            raise RackError(f"the database does not start: {tail(self.folder / 'log')}") from error

    async def kill(self):
        """Kills it, all its processes, as a power cut would."""
        if not self._runs():
            return
        workers = pathlib.Path(f"/proc/{self.process.pid}/task/{self.process.pid}/children").read_text(encoding="ascii")
        for pid in [self.process.pid, *map(int, workers.split())]:
            with contextlib.suppress(ProcessLookupError):  # it has just ended
                os.kill(pid, signal.SIGKILL)
        await self.process.wait()

    async def stop(self):
        """Ends it as an administrator does; its clients lose their connections."""
        if self._runs():
            self.process.send_signal(signal.SIGINT)
            await self.process.wait()

    async def close(self):
        """Ends it, and removes what it held."""
        await self.kill()
        shutil.rmtree(self.folder, ignore_errors=True)  # where a process that was killed is still writing, its file stays

    def rows(self, query):
        """The rows of a query, each a list of texts, told by PostgreSQL's own tool."""
        command = [self.tools / "psql", "-X", "-q", "-A", "-t", "-d", self.url(), "-c", query]
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        if done.returncode != 0:
            raise RackError(f"the database does not answer: {done.stderr.strip()}")
        return [row.split("|") for row in done.stdout.splitlines()]

    def _as_nobody(self, tool, *words):
        """The command, which ends with the thread that starts it; a change of user would forget that wish if it came first."""
        user = [f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups"] if os.getuid() == 0 else []
        return ["setpriv", "--pdeathsig=QUIT", *user, self.tools / tool, *words]

    def _runs(self):
        return self.process is not None and self.process.returncode is None

    async def _begin(self):
        with open(self.folder / "log", "ab") as log:
            self.process = await asyncio.create_subprocess_exec(
                *self._as_nobody("postgres", "-D", self.folder / "data"), stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                cwd=self.folder, start_new_session=True)

    async def _serves(self):
        asking = await asyncio.create_subprocess_exec(
            self.tools / "pg_isready", "-q", "-h", "127.0.0.1", "-p", str(self.port))
        return await asking.wait() == 0


async def run(*command, cwd=None):
    """Runs a command to its end. Raises RackError with what it says when it fails."""
    process = await asyncio.create_subprocess_exec(*command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                                   stderr=subprocess.STDOUT, cwd=cwd)
    said, _ = await process.communicate()
    if process.returncode != 0:
        raise RackError(f"the database cannot be made: {said.decode(errors='replace').strip()[-LAST_WORDS:]}")


def tail(log):
    return log.read_text(encoding="utf-8", errors="replace").strip()[-LAST_WORDS:]

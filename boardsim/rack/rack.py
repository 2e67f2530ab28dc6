#!/usr/bin/env python3
"""A rack of simulated boards: slots with a connector each, into which boards are put and from which they are pulled.

A slot's connector is a port of 127.0.0.1 that stays the same; the board behind it is another one each time, with an address
of its own. Connecting to a slot without a board is refused, and so it is while a board starts.

    rack.py [--build FOLDER] [--console FOLDER] SLOT[=PORT] ...

says where the connectors are, reads commands from standard input, one a line, and says each event in a line:

    insert SLOT FAMILY [--speed N] [--build FOLDER] [--fault TEXT] ...
    pull SLOT [reset|silence]

It ends, and all its boards with it, at the end of its input, on SIGINT and on SIGTERM; when it is killed, they end as well.
"""
import argparse
import asyncio
import collections
import contextlib
import ctypes
import functools
import os
import pathlib
import re
import shlex
import signal
import socket
import struct
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
RELEASE = ROOT / "build/release"
WAYS = ("reset", "silence")  # how a board can be pulled
SERVICE_PORT = 36001  # of the program on a board
START_WAIT = 30  # seconds in which a board listens, however busy this PC is
LONGEST_LINE = 1 << 20  # bytes, of a board's console
LOOK_AGAIN = 0.02  # seconds between two looks at whether a board listens
LISTENS = "0A"  # the state in the kernel's table of TCP sockets
PR_SET_PDEATHSIG = 1

libc = ctypes.CDLL(None, use_errno=True)


class RackError(Exception):
    """What was asked for cannot be done; the text says why, for people."""


def end_with_parent(parent, end=signal.SIGKILL):
    """In a child process, before its program: it ends when the thread that started it does, even when that is killed."""
    libc.prctl(PR_SET_PDEATHSIG, end)
    if os.getppid() != parent:
        os._exit(1)


class Board:
    """One simulated board: its process, its address, its console."""

    def __init__(self, process, console):
        self.process = process
        self.address = None  # 127.x.y.z, once it has said it
        self.console = console  # a binary file that takes what it prints, or None
        self.said = collections.deque(maxlen=4)  # its last lines, for why it does not start
        self.reading = asyncio.create_task(self._read())
        self.is_announced = asyncio.Event()

    @classmethod
    async def start(cls, build, family, faults, speed, console):
        command = [build / "boardsim/boardsim", "--board", family, "--speed", str(speed)]
        for fault in faults:
            command += ["--fault", fault]
        try:
            process = await asyncio.create_subprocess_exec(
                *command, "--", build / "t1_sdk/boardtest", stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT, limit=LONGEST_LINE, start_new_session=True,
                preexec_fn=functools.partial(end_with_parent, os.getpid()))
        except OSError as error:
            raise RackError(f"{command[0]} cannot be started: {error.strerror}") from error
        return cls(process, console)

    async def _read(self):
        """Takes what the board prints, to its end: a full pipe would hold it up."""
        while line := await self.process.stdout.readline():
            if self.console:
                with contextlib.suppress(OSError):  # a full disk does not hold a board up
                    self.console.write(line)
                    self.console.flush()
            self.said.append(line.decode(errors="replace").strip())
            if found := re.match(rf"boardsim: board .* at ([0-9.]+):{SERVICE_PORT}$", self.said[-1]):
                self.address = found[1]
                self.is_announced.set()
        self.is_announced.set()
        if self.console:
            with contextlib.suppress(OSError):
                self.console.close()

    async def serves(self):
        """Waits until it takes stations. Returns whether it does. Trying to connect would not do: its program ends when a
        station leaves before its greeting."""
        try:
            async with asyncio.timeout(START_WAIT):
                await self.is_announced.wait()
                while self.process.returncode is None and self.address:
                    if listens(self.address):
                        return True
                    await asyncio.sleep(LOOK_AGAIN)
                await self.ended()
        except TimeoutError:
            self.said.append(f"it does not listen within {START_WAIT} s")
        return False

    async def ended(self):
        """Waits for its end, with everything that it printed. Returns its exit status, 128 and the signal's number for one
        that a signal ended."""
        status = await self.process.wait()
        await self.reading
        return 128 - status if status < 0 else status

    async def cut_power(self):
        """Ends it at once. Its launcher and its program are a process group."""
        if self.process.returncode is None:
            with contextlib.suppress(ProcessLookupError):  # it has just ended
                os.killpg(self.process.pid, signal.SIGKILL)
        await self.ended()


def listens(address):
    """Whether a program of this PC listens on the service port of this address."""
    wanted = f"{struct.unpack('=I', socket.inet_aton(address))[0]:08X}:{SERVICE_PORT:04X}"
    with open("/proc/net/tcp", encoding="ascii") as table:
        return any(line.split()[1] == wanted and line.split()[3] == LISTENS for line in table)


def free_port():
    """A port of 127.0.0.1 that nobody has. A listener that got it from the system itself would lose it with its first board."""
    with socket.create_server(("127.0.0.1", 0)) as probe:
        return probe.getsockname()[1]


def reset(connection):
    """Closes it so that the other side sees a reset."""
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    connection.close()


async def pass_on(source, sink):
    """Passes bytes on, and their end."""
    loop = asyncio.get_running_loop()
    while data := await loop.sock_recv(source, 65536):
        await loop.sock_sendall(sink, data)
    sink.shutdown(socket.SHUT_WR)


async def take_in(connection):
    """Takes what comes and says nothing, until the other side leaves."""
    try:
        while await asyncio.get_running_loop().sock_recv(connection, 65536):
            pass
    except OSError:
        pass
    finally:
        connection.close()


class Slot:
    """A place for a board, with its connector."""

    def __init__(self, name, port, say):
        self.name, self.say = name, say
        self.board = None
        self.lock = asyncio.Lock()  # one hand at a time
        self.stations = {}  # the socket of each connection and the task that carries it
        self.silent = set()  # tasks of connections whose board was pulled without a word
        self.tasks = ()  # of the board that is in it: what connects it, and what watches it
        self.listener = socket.socket()
        self.listener.setblocking(False)
        self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)  # beside connections that are not gone yet
        try:
            self.listener.bind(("127.0.0.1", port or free_port()))
        except OSError as error:
            raise RackError(f"slot {name} cannot have port {port}: {error.strerror}") from error

    @property
    def port(self):
        return self.listener.getsockname()[1]

    async def insert(self, board, what):
        try:
            await self._begin(board)
        except BaseException:  # also when nobody waits for it any more
            await board.cut_power()
            raise
        self.board = board
        self.tasks = (asyncio.create_task(self._connect(board.address)), asyncio.create_task(self._watch(board)))
        self.say(f"inserted {self.name} {what} {board.address}:{SERVICE_PORT}")

    async def _begin(self, board):
        if not await board.serves():
            status = "" if board.process.returncode is None else f" (status {await board.ended()})"
            raise RackError(f"the board in slot {self.name} did not start{status}: {' '.join(board.said)}")
        try:
            self.listener.listen()
        except OSError as error:
            raise RackError(f"slot {self.name} cannot listen on port {self.port}: {error.strerror}") from error

    async def pull(self, how):
        connecting, watching = self.tasks
        watching.cancel()
        self._refuse()  # which ends the other one
        await asyncio.gather(connecting, watching, return_exceptions=True)
        stations, self.stations = self.stations, {}
        for task in stations.values():
            task.cancel()
        await asyncio.gather(*stations.values(), return_exceptions=True)
        for station in stations:
            if station.fileno() < 0:
                continue  # it broke in the same moment
            if how == "reset":
                reset(station)
            else:
                task = asyncio.create_task(take_in(station))
                self.silent.add(task)
                task.add_done_callback(self.silent.discard)
        board, self.board = self.board, None
        await board.cut_power()

    async def close(self):
        if self.board:
            await self.pull("reset")
        silent = list(self.silent)
        for task in silent:
            task.cancel()
        await asyncio.gather(*silent, return_exceptions=True)
        self.listener.close()

    def _refuse(self):
        """Connecting is refused from now on; the port stays the slot's."""
        if self.listener.getsockopt(socket.SOL_SOCKET, socket.SO_ACCEPTCONN):  # else later connections would be shut down, too
            self.listener.shutdown(socket.SHUT_RDWR)

    async def _watch(self, board):
        """Says when the board ends by itself: a restart, or its program did."""
        status = await board.ended()
        self._refuse()
        self.say(f"ended {self.name} {status}")

    async def _connect(self, address):
        """Connects stations with the board."""
        loop = asyncio.get_running_loop()
        while True:
            try:
                station, _ = await loop.sock_accept(self.listener)
            except OSError:
                return  # nobody listens any more
            station.setblocking(False)
            self.stations[station] = asyncio.create_task(self._carry(station, address))

    async def _carry(self, station, address):
        """Carries one connection to its end. When it is cancelled, the station's side is left open to who does that."""
        board = socket.socket()
        board.setblocking(False)
        try:
            await asyncio.get_running_loop().sock_connect(board, (address, SERVICE_PORT))
            for connection in (station, board):
                connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            self.say(f"connected {self.name}")
            async with asyncio.TaskGroup() as ways:
                ways.create_task(pass_on(station, board))
                ways.create_task(pass_on(board, station))
        except* OSError:
            reset(board)
            reset(station)
        else:
            station.close()
        finally:
            board.close()
        if self.stations.pop(station, None):
            self.say(f"disconnected {self.name}")


class Rack:
    """Slots by name. Use it from one thread, which must live as long as the boards."""

    def __init__(self, build=RELEASE, console=None, say=lambda event: None):
        """`build` is the folder of the boards' programs. The boards' consoles go to SLOT.log in the folder `console`. `say` is
        called with each event, a line as the program says it."""
        self.build, self.console, self.say = pathlib.Path(build), console and pathlib.Path(console), say
        self.slots = {}

    def add(self, slot, port=0):
        """Adds an empty slot. Returns the port of its connector on 127.0.0.1, a free one without `port`."""
        if slot in self.slots:
            raise RackError(f"there are two slots {slot}")
        self.slots[slot] = Slot(slot, port, self.say)
        return self.slots[slot].port

    def has_board(self, slot):
        """Whether a board is in a slot, on or off."""
        return self._slot(slot).board is not None

    async def insert(self, slot, family, faults=(), speed=1, build=None):
        """Puts a board into a slot, and returns when it takes stations: its address. `build` is the folder of its programs
        where these are others than the rack's."""
        place = self._slot(slot)
        async with place.lock:
            if place.board:
                raise RackError(f"there is a board in slot {slot}")
            try:
                console = self.console and open(self.console / f"{slot}.log", "wb")
            except OSError as error:
                raise RackError(f"{error.filename} cannot be written: {error.strerror}") from error
            board = await Board.start(pathlib.Path(build or self.build), family, faults, speed, console)
            await place.insert(board, family)
            return board.address

    async def pull(self, slot, how="reset"):
        """Pulls the board out of a slot: its power is gone at once. Its connections are reset, or (`silence`) stay open
        without a word."""
        place = self._slot(slot)
        if how not in WAYS:
            raise RackError(f'a board is pulled with {" or ".join(WAYS)}, not "{how}"')
        async with place.lock:
            if not place.board:
                raise RackError(f"there is no board in slot {slot}")
            await place.pull(how)
            self.say(f"pulled {slot}")

    async def close(self):
        """Pulls all boards and gives the connectors up."""
        for slot in self.slots.values():
            async with slot.lock:
                await slot.close()

    def _slot(self, name):
        if name not in self.slots:
            raise RackError(f"there is no slot {name}")
        return self.slots[name]


class Words(argparse.ArgumentParser):
    """Reads the words of a command; what is wrong with them is a RackError."""

    def error(self, message):
        raise RackError(message)


def command_parser():
    """Of what comes on standard input."""
    parser = Words(prog="", add_help=False)
    commands = parser.add_subparsers(dest="command", required=True, parser_class=Words)
    insert = commands.add_parser("insert", add_help=False)
    insert.add_argument("slot")
    insert.add_argument("family")
    insert.add_argument("--speed", default="1")
    insert.add_argument("--build")
    insert.add_argument("--fault", action="append", default=[])
    pull = commands.add_parser("pull", add_help=False)
    pull.add_argument("slot")
    pull.add_argument("how", nargs="?", default="reset")
    return parser


async def obey(rack, line):
    """Does what a line asks for."""
    try:
        words = command_parser().parse_args(shlex.split(line))
        if words.command == "insert":
            await rack.insert(words.slot, words.family, words.fault, words.speed, words.build)
        else:
            await rack.pull(words.slot, words.how)
    except (RackError, ValueError) as error:  # shlex finds a quotation mark without its other one
        rack.say(f"error {error}")


async def standard_input():
    """A reader of it."""
    reader = asyncio.StreamReader()
    try:
        await asyncio.get_running_loop().connect_read_pipe(lambda: asyncio.StreamReaderProtocol(reader), sys.stdin)
    except (ValueError, PermissionError) as error:
        raise RackError("commands come from a pipe or a terminal, not from a file") from error
    return reader


async def serve(options):
    """The rack as a program."""
    asyncio.get_running_loop().add_signal_handler(signal.SIGTERM, asyncio.current_task().cancel)
    rack = Rack(options.build, options.console, functools.partial(print, flush=True))
    lines = await standard_input()
    try:
        for name, port in options.slots:
            rack.say(f"slot {name} at 127.0.0.1:{rack.add(name, port)}")
        while line := await lines.readline():
            if line.strip():
                await obey(rack, line.decode(errors="replace"))
    finally:
        await rack.close()


def slot_and_port(text):
    """NAME or NAME=PORT, in two; port 0 stands for a free one."""
    found = re.fullmatch(r"([A-Za-z0-9-]{1,16})(?:=([0-9]{1,5}))?", text)
    if not found or int(found[2] or 0) > 65535:
        raise ValueError
    return found[1], int(found[2] or 0)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default=RELEASE, metavar="FOLDER", help="where boardsim and boardtest were built")
    parser.add_argument("--console", metavar="FOLDER", help="takes the boards' consoles, SLOT.log each")
    parser.add_argument("slots", nargs="+", type=slot_and_port, metavar="SLOT[=PORT]")
    options = parser.parse_args()
    try:
        asyncio.run(serve(options))
    except RackError as error:
        sys.exit(f"rack.py: {error}")
    except (KeyboardInterrupt, asyncio.CancelledError):
        pass  # it was asked to end


if __name__ == "__main__":
    main()

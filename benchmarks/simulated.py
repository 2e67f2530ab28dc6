"""A program behind the simulated board, and a station that talks to it."""
import os
import random
import socket
import struct
import subprocess
import time

PORT = 36001
PATIENCE = 30  # seconds until a board must listen


class Simulated:
    """A program that runs behind the board for as long as the `with` block."""

    def __init__(self, build, *program, options=(), variables=()):
        self.address = "127." + ".".join(str(random.randint(1, 254)) for _ in range(3))
        self.command = [build / "boardsim/boardsim", "--address", self.address, "--console", "gbk", *options, "--", *program]
        self.variables = {**os.environ, **dict(variables)}

    def __enter__(self):
        start = time.monotonic()
        self.process = subprocess.Popen(self.command, env=self.variables, stdout=subprocess.DEVNULL)
        while not self.listens():
            if self.process.poll() is not None or time.monotonic() - start > PATIENCE:
                raise RuntimeError(f"{self.command} does not listen")
        self.start = time.monotonic() - start
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()

    def listens(self):
        """Whether somebody is listening; asked without a connection, which would be a station."""
        address = int.from_bytes(socket.inet_aton(self.address), "little")
        with open("/proc/net/tcp", encoding="ascii") as table:
            return f" {address:08X}:{PORT:04X} 00000000:0000 0A " in table.read()

    def keep_apart(self):
        """The program on this PC's first processor, with the station; what carries its console on another one."""
        processors = sorted(os.sched_getaffinity(0))
        with open(f"/proc/{self.process.pid}/task/{self.process.pid}/children", encoding="ascii") as children:
            program = int(children.read().split()[0])
        for thread in os.listdir(f"/proc/{program}/task"):
            os.sched_setaffinity(int(thread), processors[:1])
        os.sched_setaffinity(self.process.pid, processors[1:] or processors)

    def station(self):
        """A station that is connected to it."""
        return Station(socket.create_connection((self.address, PORT), PATIENCE))


class Station:
    """The station's end of a connection."""

    def __init__(self, connection):
        self.socket = connection
        self.socket.settimeout(PATIENCE)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)

    def send(self, text):
        self.socket.sendall(struct.pack("<i", len(text)) + text)

    def receive(self):
        """The next record's text; what the board sends on its own is passed over."""
        while True:
            text = self.read(struct.unpack("<i", self.read(4))[0])
            if b"<TestCode>255<" not in text:
                return text

    def read(self, size):
        received = b""
        while len(received) < size:
            part = self.socket.recv(size - len(received))
            if not part:
                raise RuntimeError("the board has closed the connection")
            received += part
        return received

#!/usr/bin/env python3
"""Prints the memory in kB of a static ARM program after 100 and 10,000 requests, and of a floor: PROGRAM FLOOR.

No simulated board can stand in front of a static program. It runs under emulation instead, as nobody, without a single
privilege and in a network of its own (`unshare --net`), and is asked only for what touches nothing.
"""
import fcntl
import pathlib
import re
import socket
import struct
import subprocess
import sys
import tempfile
import time

from simulated import PORT, Station

POWERLESS = ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", "--bounding-set=-all", "--inh-caps=-all",
             "--ambient-caps=-all", "--no-new-privs"]
GUEST = 1 << 32  # bytes of a 32-bit address space
FEW, MANY = 100, 10_000
UNANSWERED = (b"<TestItem><TestCode>4242</TestCode></TestItem>", b"<TestItem><TestCode>1024</TestItem>", b"no document")
# The temperature of a machine that has no such sensor, and a setting without its value.
ANSWERED = (b"<TestItem><TestCode>7426</TestCode></TestItem>", b"<TestItem><TestCode>9728</TestCode></TestItem>")


def bring_loopback_up():
    """Refuses to go on where there is any other interface: this is not a network of its own."""
    if [name for _, name in socket.if_nameindex()] != ["lo"]:
        sys.exit("guest_memory.py: start it with unshare --net")
    up = struct.pack("16sh", b"lo", 0x41)  # IFF_UP | IFF_RUNNING
    with socket.socket() as any_socket:
        fcntl.ioctl(any_socket, 0x8914, up)  # SIOCSIFFLAGS


class Guest:
    """A static ARM program under emulation, without privileges."""

    def __init__(self, program, *arguments):
        self.log = tempfile.NamedTemporaryFile("r")
        pathlib.Path(self.log.name).chmod(0o666)
        command = [*POWERLESS, "qemu-arm", "-d", "page", "-D", self.log.name, program, *arguments]
        self.process = subprocess.Popen(command, stdout=subprocess.DEVNULL, cwd="/")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()

    def proc(self, name):
        return pathlib.Path(f"/proc/{self.process.pid}/{name}")

    def check_powerless(self):
        """Ends everything unless the emulator runs, as nobody, and has no privilege and can get none."""
        status = dict(line.split(":\t", 1) for line in self.proc("status").read_text().splitlines() if ":\t" in line)
        powers = {status[name].strip("0") for name in ("CapInh", "CapPrm", "CapEff", "CapBnd", "CapAmb")}
        if powers != {""} or "0" in status["Uid"].split() or status["NoNewPrivs"] != "1":
            self.process.kill()
            sys.exit("guest_memory.py: the program has kept privileges")

    def base(self):
        """Where the guest's address 0 is in the emulator's."""
        return int(re.search(r"guest_base\s+(0x[0-9a-f]+)", pathlib.Path(self.log.name).read_text())[1], 16)

    def memory(self):
        """Resident kB of the guest's own address space, without what the emulator itself takes."""
        total, inside, base = 0, False, self.base()
        for line in self.proc("smaps").read_text().splitlines():
            if mapping := re.match(r"([0-9a-f]+)-[0-9a-f]+ ", line):
                inside = base <= int(mapping[1], 16) < base + GUEST
            elif inside and line.startswith("Rss:"):
                total += int(line.split()[1])
        return total


def connect(guest):
    for _ in range(300):
        if guest.process.poll() is not None:
            sys.exit("guest_memory.py: the program has ended")
        connection = socket.socket()
        if connection.connect_ex(("127.0.0.1", PORT)) == 0:
            return Station(connection)
        connection.close()
        time.sleep(0.1)
    sys.exit("guest_memory.py: the program does not listen")


def ask(station, times):
    for number in range(times):
        if number % 2 == 0:
            station.send(UNANSWERED[number // 2 % len(UNANSWERED)])
        else:
            station.send(ANSWERED[number // 2 % len(ANSWERED)])
            station.receive()


def main(program, floor):
    bring_loopback_up()
    with Guest(program) as guest:
        station = connect(guest)
        guest.check_powerless()
        ask(station, FEW)
        early = guest.memory()
        ask(station, MANY - FEW)
        late = guest.memory()
    with Guest(floor) as guest:
        time.sleep(2)
        guest.check_powerless()
        print(early, late, guest.memory())


main(*sys.argv[1:])

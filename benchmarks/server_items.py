"""Round trips, start and allocations of the server, behind the simulated board, as rows of the table."""
import contextlib
import mmap
import os
import struct
import subprocess
import tempfile

import table
from simulated import Simulated

# A setting of the voltage without the voltage: it is refused and answered before any device is opened. So the program
# does nothing but receive, understand, report and send.
REQUEST = b"<TestItem><TestCode>9728</TestCode></TestItem>"
CONSOLE_LINES = 8  # what the program prints meanwhile
ROUNDS = 6000
STARTS = 31
COUNTED = 1000


def boardtest(build):
    return (build / "t1_sdk/boardtest",)


def echo_server(build, size, lines=0):
    return build / "benchmarks/echo_server", str(size), str(lines)


def reply_size(build):
    with Simulated(build, *boardtest(build)) as board:
        station = board.station()
        station.send(REQUEST)
        return len(station.receive())


def requests(build):
    """Round trips of a request that has nothing to wait for."""
    size = reply_size(build)
    servers = (boardtest(build), echo_server(build, size), echo_server(build, size, CONSOLE_LINES))
    with contextlib.ExitStack() as running:
        boards = [running.enter_context(Simulated(build, *server)) for server in servers]
        for board in boards:
            board.keep_apart()
        command = ["taskset", "--cpu-list", str(min(os.sched_getaffinity(0))), build / "benchmarks/round_trips", REQUEST, str(ROUNDS), *(board.address for board in boards)]
        output = subprocess.run(command, stdout=subprocess.PIPE, check=True, text=True).stdout
    ours, bare, printing = zip(*(map(int, line.split()) for line in output.splitlines()))
    rows = []
    # The console lines are part of the program's product: the bare server is for information.
    for against, floor, goal in (("echo server", bare, None), ("echo server, same console lines", printing, 1.15)):
        rows.append(table.Row("Request, median", table.ratio(ours, floor), against, goal))
        rows.append(table.Row("Request, 99th percentile", table.percentile(ours, 99) / table.percentile(floor, 99),
                              against, goal))
    return rows


def until_listening(build, server):
    """Seconds from the launcher's start to listening."""
    with Simulated(build, *server) as board:
        return board.start


def start(build):
    """Time from start to listening."""
    ours, floor = [], []
    for _ in range(STARTS):
        ours.append(until_listening(build, boardtest(build)))
        floor.append(until_listening(build, echo_server(build, 1)))
    return [table.Row("Start to listening", table.ratio(ours, floor), "echo server")]


def allocations_of(build, server):
    """Allocations for each request of a running server, its own."""
    with tempfile.NamedTemporaryFile() as file:
        file.truncate(mmap.PAGESIZE)
        memory = mmap.mmap(file.fileno(), mmap.PAGESIZE)
        library = build / "benchmarks/libcount_allocations.so"
        variables = {"BOARDSIM_PRELOAD_FIRST": str(library), "BENCH_ALLOCATIONS": file.name}
        with Simulated(build, *server, variables=variables) as board:
            station = board.station()

            def ask(times):
                for _ in range(times):
                    station.send(REQUEST)
                    station.receive()
                return struct.unpack("QQ", memory[:16])

            before = ask(COUNTED // 10)
            after = ask(COUNTED)
    if after[1] == before[1]:
        raise RuntimeError("the simulated board allocates nothing: nothing was counted")
    return (after[0] - before[0]) / COUNTED


def allocations(build):
    """Allocations for each request, in the steady state."""
    size = reply_size(build)
    ours = allocations_of(build, boardtest(build))
    floor = allocations_of(build, echo_server(build, size))
    return [table.Row("Allocations for each request", ours, f"echo server: {floor:.2f}")]

#!/usr/bin/env python3
"""A line with four slots of simulated boards: puts boards in, scans them, looks at what comes of it, takes them out.

Everything that an operator does is done as one does it: with the hands (the rack) and over HTTP. It goes on until it is ended
(Ctrl-C), or for so many units; then nothing that it started is left.
"""
import argparse
import asyncio
import collections
import contextlib
import dataclasses
import fcntl
import functools
import itertools
import json
import os
import pathlib
import random
import re
import signal
import socket
import sys

sys.dont_write_bytecode = True  # nothing is left beside the sources

import units
from line_client import LineClient, Refused
from rack import RELEASE, ROOT, Rack, RackError, end_with_parent, free_port

PORT = 8036  # of the page, where nobody has it
START_AGAIN = 3  # seconds behind a station that ended by itself
SHUT_DOWN = 8  # seconds in which a station ends that was told to
REFUSED_AGAIN = 2  # seconds behind a scan that was refused


class CannotStart(Exception):
    """The demonstration is over, with this exit status; the text says why."""

    def __init__(self, status, text):
        super().__init__(text)
        self.status = status


class Station:
    """The process of a line, which is started again when it ends by itself, as a PC's service manager does."""

    def __init__(self, build, file, log):
        self.command = [build / "station/t1station", "line", file]
        self.log = log
        self.process = None

    async def start(self):
        """Returns the page's address once it is served."""
        with open(self.log, "ab") as log:
            said_before = log.tell()
            try:
                self.process = await asyncio.create_subprocess_exec(
                    *self.command, stdin=asyncio.subprocess.DEVNULL, stdout=asyncio.subprocess.PIPE, stderr=log,
                    start_new_session=True, preexec_fn=functools.partial(end_with_parent, os.getpid(), signal.SIGTERM))
            except OSError as error:
                raise CannotStart(3, f"{self.command[0]} cannot be started: {error.strerror}") from error
        first = (await self.process.stdout.readline()).decode()
        if found := re.match(r"listening on (\S+)", first):
            return found[1]
        status = await self.process.wait()
        with open(self.log, "rb") as log:
            log.seek(said_before)
            raise CannotStart(status, f"the line does not start: {log.read().decode(errors='replace').strip() or first}")

    async def keep(self):
        while True:
            status = await self.process.wait()
            print(f"The station ended (status {status}, {self.log}); it is started again", flush=True)
            await asyncio.sleep(START_AGAIN)
            await self.start()

    async def end(self):
        if self.process is None or self.process.returncode is not None:
            return
        self.process.terminate()
        try:
            await asyncio.wait_for(self.process.wait(), SHUT_DOWN)
        except TimeoutError:
            self.process.kill()
            await self.process.wait()


class Hands:
    """What an operator does at the slots."""

    def __init__(self, options, rack, line):
        self.options, self.rack, self.line = options, rack, line
        self.verdicts = collections.Counter()
        self.unexpected = 0  # units whose run ended otherwise than their defects deserve

    async def work(self, slot, its_units):
        """Takes one unit after the other to a slot."""
        await self.pause(int(slot) / 2)  # not all at once
        for unit in its_units:
            await self.clear(slot)
            before = self.run_in(slot)
            await self.rack.insert(slot, unit.family, unit.defect.faults, self.options.speed)
            self.say(slot, unit, f"is put in: {unit.defect.words}")
            if run := await self.begin(slot, unit, before):
                await self.see_to_the_end(slot, unit, run)
            else:
                await asyncio.sleep(REFUSED_AGAIN)
            if self.rack.has_board(slot):
                await self.rack.pull(slot)
            await self.pause(0.5)

    async def clear(self, slot):
        """Waits until the slot takes a unit; acknowledges what is left there, unless a person does."""

        def is_free():
            shown = self.line.slot(slot)
            return shown and (shown["state"] == "idle" or self.shows(shown, passed=True))

        def is_left():
            return not self.options.serial_by_hand and self.shows(self.line.slot(slot), passed=False)

        await self.line.until(lambda: is_free() or is_left())
        if is_left():
            await self.acknowledge(slot)

    @staticmethod
    def shows(shown, passed):
        """Whether a slot shows a verdict, which is passed or is another."""
        return shown and shown["state"] == "done" and (shown["run"]["verdict"] == "passed") == passed

    def run_in(self, slot):
        """The id of the run that the slot shows, or None."""
        shown = self.line.slot(slot)
        return shown["run"]["id"] if shown and shown["run"] else None

    async def begin(self, slot, unit, before):
        """Scans the unit, or waits until a person has scanned one. The run's id; None when the line refuses the unit."""
        if self.options.serial_by_hand:
            print(f"Slot {slot} waits for a scan: type slot:{slot}, Enter, {unit.serial}, Enter", flush=True)
            return await self.line.until(lambda: (now := self.run_in(slot)) != before and now)
        while True:
            try:
                return await self.line.scan(unit.serial, slot)
            except Refused as refusal:
                self.say(slot, unit, f"is refused: {refusal}")
                return None
            except OSError:  # the station is being started again
                await asyncio.sleep(START_AGAIN / 10)

    async def see_to_the_end(self, slot, unit, run):
        """Looks at a run until it has its verdict, and at that for a while."""
        reached = self.line.seen

        def is_half_way():
            its = self.its_run(slot, run, reached)
            return its and (its["verdict"] or 2 * its["index"] >= its["total"] > 0)

        def has_ended():
            its = self.its_run(slot, run, reached)
            return its if its and its["verdict"] else None

        if unit.defect.pulled:
            await self.line.until(is_half_way)
            await self.rack.pull(slot, unit.defect.pulled)
        its = await self.line.until(has_ended)
        self.judge(slot, unit, its)
        await self.pause(1 if its["verdict"] == "passed" else 2)
        if its["verdict"] != "passed" and not self.options.serial_by_hand:
            await self.acknowledge(slot)

    def its_run(self, slot, run, reached):
        """This run as the slot shows it; None while the line cannot be reached. A station that was started again may not
        have it any more."""
        shown = self.line.slot(slot)
        if shown and shown["run"] and shown["run"]["id"] == run:
            return shown["run"]
        return {"verdict": "lost", "failures": []} if shown and self.line.seen > reached else None

    def judge(self, slot, unit, its):
        """Says the verdict, and whether it is what the unit deserves."""
        unit = dataclasses.replace(unit, serial=its.get("serial", unit.serial))  # a person may have scanned another one
        verdict = its["verdict"]
        self.verdicts[verdict] += 1
        words = verdict + (", retried" if its.get("retried") else "")
        if (verdict, bool(its.get("retried"))) != (unit.defect.verdict, unit.defect.is_retried):
            self.unexpected += 1
            found = "; ".join(f"{failure['step']}: {failure['description']}" for failure in its["failures"])
            words += f", which nobody expected: {found or its.get('reason')}"
        self.say(slot, unit, words)

    async def acknowledge(self, slot):
        try:
            await self.line.acknowledge(slot)
        except (Refused, OSError):
            pass  # somebody else did, or it has to be done again when the station is back

    async def pause(self, times):
        await asyncio.sleep(times * self.options.pause)

    def say(self, slot, unit, words):
        print(f"Slot {slot}, {unit.family}: {unit.serial} {words}", flush=True)

    def summary(self):
        counts = ", ".join(f"{count} {verdict}" for verdict, count in sorted(self.verdicts.items())) or "none"
        return f"Units: {counts}" + (f"; {self.unexpected} ended otherwise than expected" if self.unexpected else "")


def listen_port():
    """The usual port, or a free one where somebody has it."""
    with socket.socket() as probe:
        probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            probe.bind(("127.0.0.1", PORT))
            probe.listen()
        except OSError:
            return free_port()
    return PORT


def table(heading, **values):
    """The text of a table of the line's file."""
    return f"{heading}\n" + "".join(f"{key} = {json.dumps(value, ensure_ascii=False)}\n" for key, value in values.items())


def line_file(options, ports, families, plans):
    """The text of the line's file, for slots at these ports with boards of these families, whose plans are in a folder."""
    listen = f"127.0.0.1:{options.port or listen_port()}"
    tables = [table("[station]", name="DEMO", records="records.db", listen=listen, language="en", board_wait=30, greeting_wait=100,
                    time_scale=options.speed)]
    for (slot, port), family in zip(ports.items(), families):
        plan = os.path.relpath(plans / f"{family}.toml", options.folder)
        tables.append(table("[[slot]]", name=slot, board=f"127.0.0.1:{port}", plan=plan))
    return "\n".join(["# A line of simulated boards, written anew at each start.\n" + tables[0], *tables[1:]])


def own_folder(folder):
    """Makes the folder, which belongs to this demonstration as long as what is returned stays open."""
    folder.mkdir(parents=True, exist_ok=True)
    lock = open(folder / "lock", "ab")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError as error:
        raise CannotStart(4, f"another demonstration runs in {folder}") from error
    return lock


def units_for(slot, options):
    """The units of one slot, which is counted from 0."""
    return itertools.islice(units.draw(options.seed), slot, options.units, len(units.FAMILIES))


async def all_done(working, tasks):
    """Waits for all that work. Raises what any of the tasks could not do."""
    while any(not task.done() for task in working):
        done, _ = await asyncio.wait([task for task in tasks if not task.done()], return_when=asyncio.FIRST_COMPLETED)
        for task in done:
            task.result()


async def demonstrate(options):
    """Returns the exit status."""
    for ending in (signal.SIGTERM, signal.SIGHUP):
        asyncio.get_running_loop().add_signal_handler(ending, asyncio.current_task().cancel)
    lock = own_folder(options.folder)
    rack = Rack(options.build, options.folder)
    ports = {str(number): rack.add(str(number)) for number, _ in enumerate(units.FAMILIES, 1)}
    file = options.folder / "line.toml"
    file.write_text(line_file(options, ports, units.FAMILIES, options.plans), encoding="utf-8")
    station = Station(options.build, file, options.folder / "station.log")
    hands, tasks = None, []
    try:
        address = await station.start()
        print(f"The page: {address}", flush=True)
        print(f"The records: {options.folder / 'records.db'}", flush=True)
        print(f"The same units again: --seed {options.seed}. Ctrl-C ends it all", flush=True)
        line = LineClient(re.sub(r"^\w+://|/$", "", address), "demonstration")
        hands = Hands(options, rack, line)
        keeping = asyncio.create_task(station.keep())
        working = [asyncio.create_task(hands.work(slot, units_for(index, options))) for index, slot in enumerate(ports)]
        tasks = [keeping, *working]
        await all_done(working, tasks)
    finally:
        for task in tasks:
            task.cancel()
        await asyncio.gather(*tasks, return_exceptions=True)
        if hands:
            line.close()
            with contextlib.suppress(OSError):  # the terminal may be gone
                print(f"Ending ... {hands.summary()}", flush=True)
        await station.end()
        await rack.close()
        lock.close()
    return 1 if hands.unexpected else 0


def status_of(play, options, command="./run"):
    """Plays it in the folder of the options, for who typed this command. The exit status; None when it was asked to end."""
    options.folder = pathlib.Path(min(str(options.folder), os.path.relpath(options.folder), key=len))  # as people would type it
    try:
        return asyncio.run(play(options))
    except CannotStart as error:
        print(f"{command}: {error}", file=sys.stderr)
        return error.status
    except (RackError, OSError) as error:
        print(f"{command}: {error}", file=sys.stderr)
        return 3
    except (KeyboardInterrupt, asyncio.CancelledError):
        return None


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, default=RELEASE, metavar="FOLDER", help="where the programs were built")
    parser.add_argument("--folder", type=pathlib.Path, default=ROOT / "build/line", help="for the line's file, records, logs")
    parser.add_argument("--plans", type=pathlib.Path, default=ROOT / "plans", metavar="FOLDER", help="has FAMILY.toml each")
    parser.add_argument("--port", type=int, default=0, help=f"of the page; {PORT} by default, or a free one")
    parser.add_argument("--seed", default=str(random.randrange(1000000)), help="the same one draws the same units")
    parser.add_argument("--serial-by-hand", action="store_true", help="leaves scanning and acknowledging to a person")
    parser.add_argument("--speed", type=int, default=6, metavar="N", help="the boards' time runs N times as fast")
    parser.add_argument("--pause", type=float, default=4, metavar="SECONDS", help="for which a verdict is looked at")
    parser.add_argument("--units", type=int, metavar="N", help="ends after so many units")
    options = parser.parse_args()
    sys.exit(status_of(demonstrate, options) or 0)


if __name__ == "__main__":
    main()

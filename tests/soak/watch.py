"""What a soak looks at: the station's process, its records, and an operator's page in a real browser."""
import asyncio
import contextlib
import json
import os
import pathlib
import re
import sqlite3
import statistics
import subprocess

from growth import Figure, number

PAGE = pathlib.Path(__file__).with_name("page.py")
DEBIANS_PYTHON = pathlib.Path("/usr/bin/python3")  # which has Debian's selenium
NEEDED = (DEBIANS_PYTHON, pathlib.Path("/usr/lib/python3/dist-packages/selenium"), pathlib.Path("/usr/bin/chromedriver"))
PATIENCE = 600  # seconds, against hanging only
TICKS = os.sysconf("SC_CLK_TCK")
KB, MB = 1 << 10, 1 << 20
FIGURES = (
    # SQLite's caches, 2 MB for each of three connections that stay open, fill while the records are small.
    Figure("memory", "Memory of the station (RssAnon), MB", room=8, share=0.1),
    Figure("descriptors", "Its descriptors", room=6),
    Figure("threads", "Its threads", room=3),
    Figure("streams", "Its streams of events", room=1),
    Figure("processor", "Processor time for a run, ms", room=10, share=0.5, is_per_run=True),
    Figure("written", "Written for a run, kB", room=20, share=0.25, is_per_run=True),
    Figure("stored", "Stored for a run, kB", room=4, share=0.15, is_per_run=True),
    Figure("log", "The records' write-ahead log, MB", room=4),
    Figure("behind", "Runs that the database has not yet", room=20),
    Figure("scan", "A scan is answered, ms"),  # the PC's business as much as the station's
    Figure("heap", "The page's heap, MB", room=1, share=0.25),
    Figure("nodes", "Nodes of its document", room=50, share=0.1),
    Figure("listeners", "Its listeners", room=20),
)


def of_process(pid):
    """What a process takes: memory, descriptors, threads; and since its start processor time, and bytes that it wrote."""
    process = pathlib.Path("/proc", str(pid))
    status = dict(re.findall(r"^(\w+):\s+(\d+)", (process / "status").read_text(encoding="utf-8"), re.M))
    times = (process / "stat").read_text(encoding="utf-8").rpartition(")")[2].split()[11:13]
    written = re.search(r"^wchar: (\d+)", (process / "io").read_text(encoding="ascii"), re.M)[1]
    return {"memory": int(status["RssAnon"]) * KB / MB, "threads": int(status["Threads"]),
            "descriptors": len(os.listdir(process / "fd")), "processor": sum(map(int, times)) * 1000 / TICKS,
            "written": int(written) / KB}


def of_records(records):
    """Runs that have ended, and what is stored: whole pages, whether they are in the file or only in its log yet."""
    with contextlib.closing(sqlite3.connect(f"file:{records}?mode=ro", uri=True, timeout=PATIENCE)) as reader:
        runs, = reader.execute("SELECT count(*) FROM run WHERE verdict IS NOT NULL").fetchone()
        pages, = reader.execute("PRAGMA page_count").fetchone()
        size, = reader.execute("PRAGMA page_size").fetchone()
    log = pathlib.Path(f"{records}-wal")
    return {"runs": runs, "stored": pages * size / KB, "log": log.stat().st_size / MB}


class Page:
    """An operator's page, open in a real browser as long as this lasts."""

    def __init__(self, process):
        self.process = process

    async def figures(self):
        """What the page takes. Nothing when the browser has ended."""
        try:
            self.process.stdin.write(b"\n")
            return json.loads(await self.process.stdout.readline())
        except (OSError, ValueError):
            return {}


@contextlib.asynccontextmanager
async def open_page(address, program=PAGE):
    """None where no browser is installed. `program` has it open, and tells what it takes."""
    if not all(one.exists() for one in NEEDED):
        print("No browser is installed (Debian's packages chromium-driver and python3-selenium): nobody has the page open", flush=True)
        yield None
        return
    process = await asyncio.create_subprocess_exec(DEBIANS_PYTHON, program, address, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    try:
        page = Page(process)
        async with asyncio.timeout(PATIENCE):
            await page.figures()  # it is open then
        yield page
    finally:
        process.stdin.close()  # by which it ends
        async with asyncio.timeout(PATIENCE):
            await process.wait()


class Watch:
    """Takes samples. `findings` are what is wrong beside them, in words."""

    def __init__(self, pid, records, line, page):
        """`page` is None without one. `line` is the line as its operator sees it."""
        self.pid, self.records, self.line, self.page = pid, records, line, page
        self.samples = []
        self.scans = []  # milliseconds of each since the last sample
        self.findings = []
        self.asking = None  # the task in which the page is asked: a busy PC's browser takes its time, and no slot waits for it

    async def look(self, units, streams):
        """`units` have been tested so far; the station has so many `streams` of events."""
        sample = {"units": units, "streams": streams, **of_process(self.pid), **of_records(self.records)}
        if self.line.line:
            sample["behind"] = self.line.line["central"]["behind"]
        if self.scans:
            sample["scan"], self.scans = statistics.median(self.scans), []
        self.samples.append(sample)
        print(", ".join(f"{key} {number(value)}" for key, value in sample.items() if value is not None), flush=True)
        if self.page and (not self.asking or self.asking.done()):
            await self.end()
            self.asking = asyncio.create_task(self.ask_page(sample))

    async def ask_page(self, sample):
        figures = await self.page.figures()
        sample |= figures
        if not figures:
            self.page = None
            self.findings.append(f"behind {sample['units']} units the browser with the page has ended")

    async def end(self):
        """The page has answered, if it was asked; however long that takes while the line works."""
        try:
            async with asyncio.timeout(PATIENCE):
                if self.asking:
                    await self.asking
        except TimeoutError:
            self.findings.append(f"the browser with the page has not answered for {PATIENCE} seconds behind the last unit")

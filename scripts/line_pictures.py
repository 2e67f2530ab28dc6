#!/usr/bin/python3
"""Makes the pictures of docs/line.md, first-day.md and results.md anew, from the running pages:
line_pictures.py [FOLDER [NAME ...]]. Those with zh in their names are of the pages in Chinese. Those of results need build/release/station/t1station."""
import base64
import pathlib
import struct
import subprocess
import sys
import zlib

sys.dont_write_bytecode = True  # nothing is left beside the sources
ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tests" / "page"))
from browser import CLOCK, PIXELS, start_chromium  # noqa: E402
from filled_records import FilledLine  # noqa: E402
from line_stand_in import LineStandIn, ended, failure, moment, run, slot  # noqa: E402
from selenium.webdriver.support.ui import WebDriverWait  # noqa: E402

PATIENCE = 120  # seconds, against hanging only
TODAY = {"runs": 128, "passed": 119, "failed": 7, "error": 2, "first_pass_yield": 0.921}
IDLE = [slot(str(number), next=number == 1) for number in range(1, 5)]
TESTING = [slot("1", "testing", run(1, "AB00012345", step="rs485", index=4, total=19, started=moment(-9))),
           slot("2", "testing", run(2, "AB00012346", step="rtc", index=5, total=19, started=moment(-12))),
           slot("3", "waiting", run(3, "AB00012347", step=None, started=moment(-3))), slot("4", next=True)]
PASSED = slot("1", "done", run(1, "AB00012345", verdict="passed", seconds=47.2))
FAILED = slot("2", "done", run(2, "AB00012346", verdict="failed", seconds=51.9, retried=True, failures=[
    failure("temp", description="测试失败"), failure("rtc", description="RTC 时钟停止", attempt=1, attempts=1, measurements=[])]))
ERROR = slot("3", "done", run(3, "AB00012347", verdict="error", seconds=80.4, failures=[
    failure("sd", "timed_out", None, 2, 2, [])]))
ASKING = slot("4", "testing", run(4, "AB00012348", step="light", index=14, total=19, started=moment(-40),
                                  question={"zh": "补光灯亮了吗?", "en": "Is the light on?"}))
CHECK_DUE = [slot(number, "locked", reason="its check is due: test the good and the bad check unit") for number in ("1", "2")]
PICTURES = {  # name: language, slots, whether the station is there
    "idle": ("en", IDLE, True), "testing": ("en", TESTING, True), "check": ("en", CHECK_DUE, True), "passed": ("en", [PASSED, *TESTING[1:]], True),
    "failed": ("en", [slot("1", next=True), FAILED, *TESTING[2:3], slot("4")], True),
    "error": ("en", [slot("1", next=True), *TESTING[1:2], ERROR, slot("4")], True),
    "question": ("zh", [{**PASSED, "next": True}, FAILED, ERROR, ASKING], True),
    "lost": ("en", [PASSED, FAILED, *TESTING[2:]], False)}
PICTURES |= {f"zh-{name}": ("zh", slots, there) for name, (language, slots, there) in PICTURES.items() if language == "en"}
RESULTS = {  # name: address, height in pixels
    "results": ("results?from=2026-03-28&to=2026-03-31&language=en", 1950),
    "results-runs": ("runs?verdict=failed&from=2026-03-28&plan=main-board&language=en", 620),
    "results-zh": ("results?from=2026-03-28&to=2026-03-31&language=zh", 1950),
    "results-zh-runs": ("runs?verdict=failed&from=2026-03-28&plan=main-board&language=zh", 620),
    "results-shift": ("en", 1000), "results-zh-shift": ("zh", 1000),  # a report in this language, a file
    "results-run": ("runs?serial=AB00000003&language=zh", 1010)}


# The commonest 256 colours of a picture, and for each pixel the one that is nearest to its own.
INDEXED = PIXELS + """
  const [picture, done] = arguments;
  pixels(picture).then(({ data, width, height }) => {
    const colours = new Uint32Array(data.buffer).map((colour) => colour & 0xffffff);
    const counts = new Map();
    for (const colour of colours) counts.set(colour, (counts.get(colour) ?? 0) + 1);
    const split = (colour) => [colour & 255, (colour >> 8) & 255, colour >> 16];
    const common = [...counts].sort(([, a], [, b]) => b - a).slice(0, 256).map(([colour]) => split(colour));
    const nearest = new Map();
    for (const colour of counts.keys()) {
      const apart = common.map((other) => split(colour).reduce((sum, part, at) => sum + (part - other[at]) ** 2, 0));
      nearest.set(colour, apart.indexOf(Math.min(...apart)));
    }
    let places = "";
    for (const colour of colours) places += String.fromCharCode(nearest.get(colour));
    done([width, height, common.flat(), btoa(places)]);
  });"""


def indexed(driver, png):
    """The same picture in 256 colours, which are enough for letters on plain ground: a third of the size."""
    width, height, palette, places = driver.execute_async_script(INDEXED, png)
    pixels = base64.b64decode(places)
    raw = b"".join(b"\0" + pixels[at:at + width] for at in range(0, len(pixels), width))

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 3, 0, 0, 0)) +
            chunk(b"PLTE", bytes(palette)) + chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b""))


def picture(driver, language, slots, there):
    """The page as it shows these slots, as a small PNG."""
    line = LineStandIn()
    try:
        line.runs = [ended(120 - n, ("passed", "passed", "failed", "passed", "error")[n % 5]) for n in range(10)]
        line.show(*slots, language=language, today=TODAY, central={"state": "connected", "behind": 0})
        driver.get(line.url)
        wait = WebDriverWait(driver, PATIENCE)
        ready = "return document.body.dataset.connection === 'live' && document.querySelectorAll('#verdicts li').length === 10"
        wait.until(lambda _: driver.execute_script(ready))
        if not there:
            line.die()
            wait.until(lambda _: driver.execute_script("return document.body.dataset.connection") == "lost")
        return indexed(driver, driver.execute_cdp_cmd("Page.captureScreenshot", {"format": "png"})["data"])
    finally:
        line.close()


def report_of_shift(line, language):
    """Where the report of the first day's twelve hours is, as a line's engineer makes it."""
    report = line.path("shift.html")
    subprocess.run([line.program, "records", "export", line.path("records.db"), "--format", "html", "--language", language,
                    "--from", "2026-03-29T00:00:00Z", "--to", "2026-03-29T12:00:00Z", "-o", report], check=True)
    return pathlib.Path(report).as_uri()


def picture_of_results(driver, line, address, height):
    """A page of the engineer's, as a small PNG; of a unit the report of its first run."""
    driver.execute_cdp_cmd("Emulation.setTimezoneOverride", {"timezoneId": "Asia/Shanghai"})
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                           {"width": 1280, "height": height, "deviceScaleFactor": 1, "mobile": False})
    wait = WebDriverWait(driver, PATIENCE)
    if address in ("en", "zh"):
        driver.get(report_of_shift(line, address))
        return indexed(driver, driver.execute_cdp_cmd("Page.captureScreenshot", {"format": "png"})["data"])
    ready = "return document.body?.dataset.ready === 'true'"
    driver.get(line.url + address)
    wait.until(lambda _: driver.execute_script(ready))
    if "serial=" in address:
        driver.get(driver.execute_script("return Array.from(document.querySelectorAll('[data-run] a')).at(-1).href"))
        wait.until(lambda _: driver.execute_script(ready))
    return indexed(driver, driver.execute_cdp_cmd("Page.captureScreenshot", {"format": "png"})["data"])


def main():
    folder = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ROOT / "docs" / "images")
    folder.mkdir(parents=True, exist_ok=True)
    driver = start_chromium()
    try:
        driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": CLOCK})
        driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                               {"width": 1280, "height": 800, "deviceScaleFactor": 1, "mobile": False})
        names = sys.argv[2:] or [*PICTURES, *RESULTS]
        for name in [name for name in names if name in PICTURES]:
            data = picture(driver, *PICTURES[name])
            (folder / f"line-{name}.png").write_bytes(data)
            print(f"line-{name}.png: {len(data)} bytes")
        if of_results := [name for name in names if name in RESULTS]:
            line = FilledLine(str(ROOT / "build" / "release" / "station" / "t1station"), "亮度 71 过低")
            try:
                for name in of_results:
                    data = picture_of_results(driver, line, *RESULTS[name])
                    (folder / f"{name}.png").write_bytes(data)
                    print(f"{name}.png: {len(data)} bytes")
            finally:
                line.close()
    finally:
        driver.quit()


main()

#!/usr/bin/python3
"""An operator's page in a real browser, open until the end of standard input: page.py ADDRESS. Behind each line that comes
there it says, as JSON, what the page takes."""
import json
import pathlib
import sys

sys.dont_write_bytecode = True  # nothing is left beside the sources
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "page"))
from browser import start_chromium  # noqa: E402
from selenium.webdriver.support.ui import WebDriverWait  # noqa: E402

PATIENCE = 500  # seconds, against hanging only


def main(address):
    driver = start_chromium(logs=())  # that of hours would be what grows
    try:
        driver.set_script_timeout(PATIENCE)
        driver.set_page_load_timeout(PATIENCE)
        driver.get(address)
        for _ in sys.stdin:
            WebDriverWait(driver, PATIENCE).until(lambda _: driver.execute_script("return document.body.dataset.connection") == "live")
            driver.execute_cdp_cmd("HeapProfiler.collectGarbage", {})
            counts = driver.execute_cdp_cmd("Memory.getDOMCounters", {})
            heap = driver.execute_cdp_cmd("Runtime.getHeapUsage", {})["usedSize"]
            print(json.dumps({"heap": heap / (1 << 20), "nodes": counts["nodes"], "listeners": counts["jsEventListeners"]}), flush=True)
    finally:
        driver.quit()


if __name__ == "__main__":
    main(*sys.argv[1:])

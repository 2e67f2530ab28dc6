#!/usr/bin/python3
"""Somebody who has the operator's page open in a real browser, until the end of standard input: onlooker.py ADDRESS. Behind
each line that comes there it says, as JSON, which serial number and verdict the page shows in each slot."""
import json
import pathlib
import sys

sys.dont_write_bytecode = True  # nothing is left beside the sources
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "page"))
from browser import PATIENCE, start_chromium  # noqa: E402
from selenium.webdriver.support.ui import WebDriverWait  # noqa: E402

TILES = """return Object.fromEntries(Array.from(document.querySelectorAll("[data-slot]"),
  ({ dataset }) => [dataset.slot, [dataset.serial ?? null, dataset.verdict ?? null]]));"""


def main(address):
    driver = start_chromium(logs=())
    try:
        driver.get(address)
        for _ in sys.stdin:
            WebDriverWait(driver, PATIENCE).until(lambda _: driver.execute_script("return document.body.dataset.connection") == "live")
            print(json.dumps(driver.execute_script(TILES)), flush=True)
    finally:
        driver.quit()


if __name__ == "__main__":
    main(*sys.argv[1:])

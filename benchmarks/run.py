#!/usr/bin/env python3
"""Runs the benchmarks that are built in BUILD_FOLDER and prints their table: run.py BUILD_FOLDER [PATTERN]."""
import inspect
import pathlib
import re
import sys

sys.dont_write_bytecode = True  # nothing is left beside the sources

import arm_items
import central_items
import line_items
import recorder_items
import records_items
import server_items
import storage_items
import table
import xml_items

ITEMS = {item.__name__: item for item in (
    server_items.requests, server_items.start, server_items.allocations, xml_items.xml, storage_items.storage,
    records_items.records, records_items.million, central_items.central, line_items.line, line_items.line_delay, recorder_items.recorder, arm_items.sizes,
    arm_items.memory)}
WHEN_NAMED = ("million", "central")


def main(arguments):
    if not arguments:
        for name, item in ITEMS.items():
            print(f"{name:12} {inspect.getdoc(item)}")
        return 0
    build = pathlib.Path(arguments[0]).resolve()
    pattern = "".join(arguments[1:])
    chosen = [item for name, item in ITEMS.items() if re.search(pattern, name) and (pattern or name not in WHEN_NAMED)]
    if not chosen:
        print(f"no benchmark is called so; there are {', '.join(ITEMS)}", file=sys.stderr)
        return 64
    rows = []
    for item in chosen:
        print(f"Measuring: {item.__name__} ...", file=sys.stderr)
        rows += item(build)
    print(table.render(rows))
    return 0


sys.exit(main(sys.argv[1:]))

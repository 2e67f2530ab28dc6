"""Sizes of the ARM program's files, and the memory that it takes, as rows of the table."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

import table

SMALL = 450_000  # bytes of the static file
LITTLE = 2 * 1024  # kB of memory


def sizes(build):
    """Sizes of the stripped ARM files, static and dynamic."""
    rows = []
    for preset, kind in (("armhf-static", "static"), ("armhf", "dynamic")):
        folder = build.parent / preset
        files = folder / "t1_sdk/boardtest", folder / "benchmarks/minimal/minimal"
        ours, floor = (stripped_size(file) for file in files)
        if kind == "static":
            rows.append(table.Row("ARM file, static, bytes", ours, "", SMALL, below=True, digits=0))
        rows.append(table.Row(f"ARM file, {kind}", ours / floor, "minimal program"))
    return rows


def stripped_size(file):
    """Of the file as it is put on a board: without symbols."""
    copy = file.with_suffix(".stripped")
    subprocess.run(["arm-linux-gnueabihf-strip", "-o", copy, file], check=True)
    size = copy.stat().st_size
    copy.unlink()
    return size


def memory(build):
    """Memory of the static ARM program, under emulation in a network of its own, after 100 and 10,000 requests."""
    if os.geteuid() != 0:
        print("memory: not measured, since only root can take every privilege away from the program", file=sys.stderr)
        return []
    folder = build.parent / "armhf-static"
    script = pathlib.Path(__file__).parent / "guest_memory.py"
    with tempfile.TemporaryDirectory() as place:  # which nobody may look into, unlike the build perhaps
        os.chmod(place, 0o755)
        programs = [shutil.copy(folder / name, place) for name in ("t1_sdk/boardtest", "benchmarks/minimal/minimal")]
        output = subprocess.run(["unshare", "--net", sys.executable, "-B", script, *programs], stdout=subprocess.PIPE,
                                check=True, text=True).stdout
    early, late, floor = map(int, output.split())
    return [table.Row("ARM memory after 10,000 requests, kB", late, "", LITTLE, below=True, digits=0),
            table.Row("ARM memory after 10,000 requests", late / early, "after 100 requests", 1.0),
            table.Row("ARM memory after 10,000 requests", late / floor, "minimal program")]

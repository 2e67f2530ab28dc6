"""The speeds of the storage tests, as rows of the table."""
import pathlib
import subprocess
import tempfile

import table

ROUNDS = 40
NEAR = 1.03


def storage(build):
    """The speeds that the storage tests print, against a bare loop, on real file systems."""
    rows = []
    for folder, name in ((pathlib.Path("/dev/shm"), "memory"), (build, "disk")):
        if not folder.is_dir():
            continue
        with tempfile.TemporaryDirectory(dir=folder) as place:
            command = [build / "benchmarks/storage_speed", str(ROUNDS), pathlib.Path(place) / "usbtest.dat"]
            run = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=True, text=True)
        columns = list(zip(*(map(float, line.split()) for line in run.stderr.splitlines())))
        for what, ours, floor in (("written", columns[0], columns[2]), ("read", columns[1], columns[3])):
            rows.append(table.Row(f"Storage test: time of a MB {what} ({name})", table.paired_ratio(floor, ours), "bare loop", NEAR))
    return rows

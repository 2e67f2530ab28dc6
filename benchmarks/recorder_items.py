"""What recording costs a program, as rows of the table."""
import os
import pathlib
import subprocess
import tempfile

import table

ROUNDS = 31
CALLS = ("lseek", "read of a file", "ioctl with a record")


def costs_of(build, folder, recorded):
    """Nanoseconds of processor time of each of the calls."""
    variables = dict(os.environ)
    if recorded:
        variables |= {"LD_PRELOAD": str(build / "boardrec/libboardrecord.so"), "BOARDRECORD": f"{folder}/session.rec"}
    output = subprocess.run([build / "tests/recorded_program", "cost", folder], env=variables, stdout=subprocess.PIPE,
                            check=True, text=True).stdout
    pathlib.Path(folder, "session.rec").unlink(missing_ok=True)  # a recorder replaces nothing
    return [int(line) for line in output.split()]


def recorder(build):
    """A call that is recorded, on a file in memory, and what the recorder takes of it."""
    with tempfile.TemporaryDirectory(dir="/dev/shm") as folder:
        rounds = [(costs_of(build, folder, False), costs_of(build, folder, True)) for _ in range(ROUNDS)]
    rows = []
    for index, name in enumerate(CALLS):
        plain, recorded = ([costs[index] for costs in side] for side in zip(*rounds))
        rows.append(table.Row(f"Recorded {name}", table.paired_ratio(recorded, plain), "not recorded", digits=1))
    output = subprocess.run(["size", build / "boardrec/libboardrecord.so"], stdout=subprocess.PIPE, check=True, text=True).stdout
    text, data, zeros = map(int, output.splitlines()[1].split()[:3])
    rows.append(table.Row("Recorder in memory, bytes", text + data + zeros, "", digits=0))
    return rows

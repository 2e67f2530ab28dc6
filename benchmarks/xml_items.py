"""What xml_bench measures, as rows of the table."""
import json
import subprocess

import table

PROGRAM = "boardtest"
REPETITIONS = 9
WORKS = {"parse": "parse", "read": "read", "parse_and_read": "parse and read", "build": "build"}
MESSAGES = {"request_60": "request of 60 bytes", "reply_400": "reply of 400 bytes", "reply_1900": "reply of 1.9 kB"}
LINEAR = 2.2  # what twice the elements may cost


def measure(build):
    """Medians of the processor time, all benchmarks in random order: {(work, document, library): time}."""
    command = [build / "benchmarks/xml_bench", f"--benchmark_repetitions={REPETITIONS}",
               "--benchmark_enable_random_interleaving=true", "--benchmark_format=json"]
    output = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True).stdout
    return {tuple(entry["run_name"].split("/")[:3]): entry["cpu_time"] for entry in json.loads(output)["benchmarks"]
            if entry.get("aggregate_name") == "median"}


def elements_of(document):
    """Of a long document."""
    return int(document.partition("_")[0])


def name_of(work, document):
    return f"XML: {WORKS[work]}, {MESSAGES.get(document) or f'{elements_of(document):,} elements'}"


def rows_of(times):
    """Messages against the fastest of the others, then long documents: against it, too, and against half of themselves."""
    documents = dict.fromkeys(document for _, document, _ in times)
    lengths = sorted((document for document in documents if document not in MESSAGES), key=elements_of)
    rows = []
    for document in [message for message in MESSAGES if message in documents] + lengths:
        for work in WORKS:
            if (work, document, PROGRAM) in times:
                rows += rows_about(times, work, document)
    return rows


def rows_about(times, work, document):
    ours = times[work, document, PROGRAM]
    peers = {other: time for (its, of, other), time in times.items() if (its, of) == (work, document) and other != PROGRAM}
    if peers:
        fastest = min(peers, key=peers.get)
        ahead = 1 if document in MESSAGES else None
        return [table.Row(name_of(work, document), ours / peers[fastest], fastest, ahead, below=True)]
    half = times[work, f"{elements_of(document) // 2}_elements", PROGRAM]
    return [table.Row(name_of(work, document), ours / half, "half the elements", LINEAR)]


def xml(build):
    """The XML document against other libraries; how its time grows with the document."""
    return rows_of(measure(build))

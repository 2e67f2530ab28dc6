"""What xml_bench measures, as rows of the table."""
import statistics
import subprocess

import table

PROGRAM = "boardtest"
FLOOR = "scan"  # a bare search for the ends of all tags
WORKS = {"parse": "parse", "read": "read", "parse_and_read": "parse and read", "build": "build"}
MESSAGES = {"request_60": "request of 60 bytes", "reply_400": "reply of 400 bytes", "reply_1900": "reply of 1.9 kB"}
LINEAR = 2.2  # what twice the elements may cost


def measure(build):
    """The processor time of each turn: {(work, document): {library: times}}; same places were one behind the other."""
    output = subprocess.run([build / "benchmarks/xml_bench"], stdout=subprocess.PIPE, check=True, text=True).stdout
    times = {}
    for line in output.splitlines():
        name, *turns = line.split()
        work, document, library = name.split("/")
        times.setdefault((work, document), {})[library] = [float(turn) for turn in turns]
    return times


def elements_of(document):
    """Of a long document."""
    return int(document.partition("_")[0])


def name_of(work, document):
    return f"XML: {WORKS[work]}, {MESSAGES.get(document) or f'{elements_of(document):,} elements'}"


def against(work, document, times, other, **more):
    """The row of the ratios to another one, turn by turn."""
    ratios = [mine / its for mine, its in zip(times[PROGRAM], times[other])]
    return table.Row(name_of(work, document), statistics.median(ratios), interval=table.median_interval(ratios), **more)


def rows_of(measured):
    """Each document against the fastest of the others and against the floor; or against half of itself."""
    rows = []
    for (work, document), times in measured.items():
        if "half" in times:
            rows.append(against(work, document, times, "half", against="half the elements", goal=LINEAR))
            continue
        peers = [against(work, document, times, peer, against=peer, goal=1, below=True)
                 for peer in times if peer not in (PROGRAM, FLOOR)]
        rows.append(max(peers, key=lambda row: row.figure))
        if FLOOR in times:
            rows.append(against(work, document, times, FLOOR, against="search for < and > alone"))
    return rows


def xml(build):
    """The XML document against other libraries; how its time grows with the document."""
    return rows_of(measure(build))

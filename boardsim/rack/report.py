"""The report of a window, read back: what stands in its tables and tiles, found by an HTML parser that knows nothing of it."""
import collections
import html.parser

YIELDS = ("first_pass_yield", "first_pass_yield_strict", "final_yield")
MOST_KINDS = 50  # of failures that a report has
VOID = {"meta", "link", "br", "img", "input"}


class Reader(html.parser.HTMLParser):
    """`rows` are (section, attributes, cells) of all rows of tables, `tiles` the big number of each tile by its name."""

    def __init__(self, text):
        super().__init__()
        self.rows, self.tiles, self.open = [], {}, []
        self.section = self.tile = self.cell = None
        self.feed(text)
        self.close()

    def handle_starttag(self, tag, attributes):
        its = dict(attributes)
        if tag not in VOID:
            self.open.append(tag)
        if "data-figures" in its:
            self.section = its["data-figures"]
        if "data-figure" in its:
            self.tile = its["data-figure"]
        if tag == "tr":
            self.rows.append((self.section, its, []))
        if tag in ("td", "th"):
            self.rows[-1][2].append("")
            self.cell = len(self.open)

    def handle_startendtag(self, tag, attributes):
        pass  # has no text

    def handle_endtag(self, tag):
        if not self.open or self.open.pop() != tag:
            raise ValueError(f"</{tag}> ends what it did not begin, in line {self.getpos()[0]}")
        if tag in ("td", "th"):
            self.cell = None
        if tag == "b":
            self.tile = None
        if tag == "section":
            self.section = None

    def handle_data(self, data):
        if self.cell is not None:
            self.rows[-1][2][-1] += data
        elif self.tile and "b" in self.open:
            self.tiles[self.tile] = self.tiles.get(self.tile, "") + data


def figures(text):
    """What a report says, as far as it is compared. Raises ValueError for what is no such report."""
    reader = Reader(text)
    rows = collections.defaultdict(list)
    for section, attributes, cells in reader.rows:
        if any(name.startswith("data-") for name in attributes):
            rows[section].append((attributes, [cell.strip() for cell in cells]))
    found = {name: reader.tiles[name] for name in YIELDS}
    found["runs"] = int(reader.tiles["runs"])
    found["verdicts"] = {its["data-verdict"]: int(cells[1]) for its, cells in rows["verdicts"] if int(cells[1])}
    found["slots"] = {cells[1]: (int(cells[2]), int(cells[3])) for _, cells in rows["slots"]}
    found["batches"] = {cells[0]: [int(cells[1]), int(cells[3]), int(cells[3]) - int(cells[4])] for _, cells in rows["batches"]}
    found["marked"] = sorted(cells[1] for its, cells in rows["slots"] if "data-marked" in its)
    found["steps"] = {(cells[0], cells[1].split()[1]): (int(cells[2]), int(cells[3]), int(cells[6])) for _, cells in rows["steps"]}
    if len(rows["failures"]) < MOST_KINDS:
        found["failures"] = dict(sum((collections.Counter({(cells[4], cells[5]): int(cells[1])}) for _, cells in rows["failures"]),
                                     collections.Counter()))
    return found


def printed(truth):
    """The same of figures that were found without it."""
    found = {name: "–" if truth[name] is None else f"{100 * truth[name]:.1f} %" for name in YIELDS}
    found |= {name: truth[name] for name in ("runs", "slots", "marked")}
    are_batches = 1 < len(truth["batches"]) < truth["units"]  # not each unit one of its own
    found["batches"] = truth["batches"] if are_batches else {}
    found["verdicts"] = truth["verdicts"] | ({"retried": truth["retried"]} if truth["retried"] else {})
    found["steps"] = {step: (its["runs"], its["outcomes"].total(), its["retried"]) for step, its in truth["steps"].items()}
    failures = collections.Counter()
    for (plan, step, _), (outcomes, _) in truth["failures"].items():
        failures[plan, step] += outcomes.total()
    return found | {"failures": dict(failures)}

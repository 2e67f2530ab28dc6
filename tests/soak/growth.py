"""What grows that should not: figures of a long run, each against the units that had been tested when it was taken.

The first quarter is the warm-up. Behind it a line is laid through the samples by their median slope (Theil and Sen), which a
few that lie far off do not move; times the units of the whole run it is what the figure grows by. Units, not seconds: how
many units a second has depends on what else the PC does."""
import dataclasses
import itertools
import statistics

WARM_UP = 1 / 4  # of the units
FEWEST = 16  # samples behind the warm-up that tell growth from noise
MOST = 160  # samples that are looked at, evenly over the run: the slopes of all pairs are taken
PER = 1000  # units, for which slopes are shown


@dataclasses.dataclass(frozen=True)
class Figure:
    """Grows when the run adds more than `room`, in its unit, and more than this `share` of what it was behind the warm-up;
    without either it is only shown. Where it is `per_run`, samples have a sum since the start, and the figure is what a run
    adds to it."""
    key: str
    words: str
    room: float = None
    share: float = 0
    is_per_run: bool = False

    def series(self, samples):
        """(units, value) of the samples that have it."""
        its = [sample for sample in samples if sample.get(self.key) is not None]
        if not self.is_per_run:
            return [(sample["units"], sample[self.key]) for sample in its]
        return [(after["units"], (after[self.key] - before[self.key]) / (after["runs"] - before["runs"]))
                for before, after in itertools.pairwise(its) if after["runs"] > before["runs"]]


@dataclasses.dataclass(frozen=True)
class Row:
    """What became of a figure. `growth` is that of the whole run, `limit` what it may be; None when nothing decides."""
    figure: Figure
    start: float
    end: float
    slope: float
    growth: float
    limit: float

    @property
    def grew(self):
        return self.limit is not None and self.growth > self.limit


def judge(figures, samples):
    """A row for each figure of which there are samples behind the warm-up."""
    rows = []
    for figure in figures:
        series = figure.series(thinned(samples))
        warm = [(units, value) for units, value in series if units > samples[-1]["units"] * WARM_UP]
        if len(warm) > 1:
            rows.append(row_of(figure, warm, samples[-1]["units"]))
    return rows


def row_of(figure, warm, units):
    slope = statistics.median((b - a) / (v - u) for (u, a), (v, b) in itertools.combinations(warm, 2) if v > u)
    height = statistics.median(value - slope * at for at, value in warm)
    start = height + slope * units * WARM_UP
    is_judged = figure.room is not None and len(warm) >= FEWEST
    limit = max(figure.room, figure.share * start) if is_judged else None
    return Row(figure, start, height + slope * units, slope, slope * units, limit)


def thinned(samples):
    """At most MOST of them, the last one among them."""
    step = max(1, -(-len(samples) // MOST))
    return samples[::-1][::step][::-1]


def table(rows):
    """The rows for people, as a table of a document."""
    head = ("Figure", "Behind the warm-up", "At the end", f"Slope, {PER:,} units", "Growth", "Limit", "")
    cells = [head, ["---"] + ["---:"] * 5 + ["---"]]
    for row in rows:
        numbers = (row.start, row.end, row.slope * PER, row.growth)
        limit = "-" if row.limit is None else number(row.limit)
        cells.append([row.figure.words, *map(number, numbers), limit, "grew" if row.grew else ""])
    return "\n".join(f"| {' | '.join(line)} |" for line in cells)


def number(value):
    """A count, or a number with three digits that count."""
    digits = 0 if isinstance(value, int) or abs(value) >= 100 else 1 if abs(value) >= 10 else 2 if abs(value) >= 1 else 3
    return f"{value:.{digits}f}"

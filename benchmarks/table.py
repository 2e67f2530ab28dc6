"""The table of the benchmarks: every figure, what it is held against, its goal, and whether it is met."""
import math
import statistics
import typing
import unicodedata


class Row(typing.NamedTuple):
    """One figure; the smaller the better."""
    name: str
    figure: float
    against: str = ""  # the peer or floor that it is a ratio to, or what it counts
    goal: float | None = None  # the most that it may be; None: no goal, for information
    below: bool = False  # the goal itself does not meet the goal: ahead of a peer, not level with it
    digits: int = 2
    interval: tuple[float, float] | None = None  # where the figure lies with 95 %, of one that was found in many rounds


def verdict(row):
    """"met", "missed", or "" without a goal. With an interval, all of it has to meet the goal, or none: else "level"."""
    if row.goal is None:
        return ""
    if row.interval is not None:
        ends = [verdict(row._replace(figure=end, interval=None)) for end in row.interval]
        return ends[0] if ends[0] == ends[1] else "level"
    figure = round(row.figure, row.digits) if not row.below else row.figure
    return "met" if figure < row.goal or (not row.below and figure == row.goal) else "missed"


def ratio(ours, theirs):
    """The ratio of two medians."""
    return statistics.median(ours) / statistics.median(theirs)


def paired_ratio(ours, theirs):
    """The median of the ratios, round by round: of what drifts from round to round."""
    return statistics.median(mine / its for mine, its in zip(ours, theirs))


def median_interval(values):
    """Between which of the values the median of what they are samples of lies with at least 95 %: an order statistic,
    which asks nothing of how they are spread. Six values or more."""
    ordered = sorted(values)
    count = len(ordered)
    outside, beyond = 0.5 ** count, 0  # how probable it is that the median lies beyond the outermost values
    while 2 * (outside + math.comb(count, beyond + 1) * 0.5 ** count) <= 0.05:
        beyond += 1
        outside += math.comb(count, beyond) * 0.5 ** count
    return ordered[beyond], ordered[-1 - beyond]


def percentile(values, percent):
    """The value that so many percent of the values do not exceed."""
    ordered = sorted(values)
    return ordered[max(0, -(-len(ordered) * percent // 100) - 1)]


def number(value, digits):
    return f"{value:,.{digits}f}"


def cells(row):
    goal = "" if row.goal is None else ("< " if row.below else "≤ ") + number(row.goal, row.digits)
    interval = "" if row.interval is None else "–".join(number(end, row.digits) for end in row.interval)
    return [row.name, number(row.figure, row.digits), interval, row.against, goal, verdict(row)]


def width(text):
    return sum(2 if unicodedata.east_asian_width(c) in "WF" else 1 for c in text)


def render(rows):
    """The whole table as a text, in Markdown."""
    lines = [["Measured", "Figure", "95 %", "Against", "Goal", ""], *map(cells, rows)]
    widths = [max(map(width, column)) for column in zip(*lines)]

    def line(row):
        padded = []
        for index, (text, wide) in enumerate(zip(row, widths)):
            blanks = " " * (wide - width(text))
            padded.append(blanks + text if index in (1, 2, 4) else text + blanks)
        return "| " + " | ".join(padded) + " |"

    rule = ["-" * (wide + 1) + (":" if index in (1, 2, 4) else "-") for index, wide in enumerate(widths)]
    return "\n".join([line(lines[0]), "|" + "|".join(rule) + "|", *map(line, lines[1:])])

"""The table of the benchmarks: every figure, what it is held against, its goal, and whether it is met."""
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


def verdict(row):
    """"met", "missed", or "" without a goal."""
    if row.goal is None:
        return ""
    figure = round(row.figure, row.digits) if not row.below else row.figure
    return "met" if figure < row.goal or (not row.below and figure == row.goal) else "missed"


def ratio(ours, theirs):
    """The ratio of two medians."""
    return statistics.median(ours) / statistics.median(theirs)


def paired_ratio(ours, theirs):
    """The median of the ratios, round by round: of what drifts from round to round."""
    return statistics.median(mine / its for mine, its in zip(ours, theirs))


def percentile(values, percent):
    """The value that so many percent of the values do not exceed."""
    ordered = sorted(values)
    return ordered[max(0, -(-len(ordered) * percent // 100) - 1)]


def number(value, digits):
    return f"{value:,.{digits}f}"


def cells(row):
    goal = "" if row.goal is None else ("< " if row.below else "≤ ") + number(row.goal, row.digits)
    return [row.name, number(row.figure, row.digits), row.against, goal, verdict(row)]


def width(text):
    return sum(2 if unicodedata.east_asian_width(c) in "WF" else 1 for c in text)


def render(rows):
    """The whole table as a text, in Markdown."""
    lines = [["Measured", "Figure", "Against", "Goal", ""], *map(cells, rows)]
    widths = [max(map(width, column)) for column in zip(*lines)]

    def line(row):
        padded = []
        for index, (text, wide) in enumerate(zip(row, widths)):
            blanks = " " * (wide - width(text))
            padded.append(blanks + text if index in (1, 3) else text + blanks)
        return "| " + " | ".join(padded) + " |"

    rule = ["-" * (wide + 1) + (":" if index in (1, 3) else "-") for index, wide in enumerate(widths)]
    return "\n".join([line(lines[0]), "|" + "|".join(rule) + "|", *map(line, lines[1:])])

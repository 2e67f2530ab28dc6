"""The catalogue of tests and families, held against what the program and the documents say of them."""
import re
import tomllib

import tree

CATALOGUE = tomllib.loads(tree.text("catalogue/catalogue.toml"))
ALARM = "alarm-"


def table_of(path, heading):
    """(number, cells) of every row of the table behind a heading."""
    rows, inside = [], False
    for number, line in tree.lines(path):
        if line.startswith("#"):
            inside = line.lstrip("# ") == heading
        elif inside and line.startswith("|"):
            rows.append((number, [cell.strip() for cell in line.strip("|").split("|")]))
    return rows[2:]


def codes(complain):
    """The catalogue has the test codes that the program answers, and the documents list them with their hexadecimal forms."""
    known = {test["code"] for test in CATALOGUE["test"]}
    dispatch = "t1_sdk/boardtest/service/dispatch.cpp"
    table = re.search(r"kTests\[\] = \{\n(.*?)\n\};", tree.text(dispatch), re.S)[1]
    answered = {int(code) for code in re.findall(r"^ *\{ *(-?\d+),", table, re.M)}
    for code in sorted(known ^ answered):
        complain(dispatch, 1, f"{code} is {'not ' if code in known else ''}answered, but {'' if code in known else 'not '}in "
                 "catalogue/catalogue.toml")
    listed = {}
    for number, cells in table_of("docs/protocol.md", "Test codes"):
        code = int(cells[0])
        listed[code] = number
        if cells[1] != (f"0x{code:X}" if code > 0 else ""):
            complain("docs/protocol.md", number, f"{code} is 0x{code & 0xFFFFFFFF:X}")
    for code in sorted(known ^ listed.keys()):
        complain("docs/protocol.md", listed.get(code, 1), f"{code} is only here or only in catalogue/catalogue.toml")
    for number, line in tree.lines("catalogue/catalogue.toml"):
        if match := re.match(r"code = (\d+)(.*)", line):
            if match[2] != f"  # 0x{int(match[1]):X}":
                complain("catalogue/catalogue.toml", number, f"the comment should be # 0x{int(match[1]):X}")


def alarm_codes(complain):
    """docs/boards.md lists the alarm codes that the catalogue gives to each family."""
    given = {}
    for family in CATALOGUE["family"]:
        name = family["name"]
        alarm = [test["code"] for test in CATALOGUE["test"]
                 if test["name"].startswith(ALARM) and name in test.get("families", [name])]
        given[name] = ", ".join(map(str, sorted(alarm)))
    listed = {}
    for number, (families, listed_codes) in table_of("docs/boards.md", "Alarm codes"):
        for name in re.findall(r"`([^`]+)`", families):
            listed[name] = listed_codes
            if given.get(name) != listed_codes:
                complain("docs/boards.md", number, f"{name} is given {given.get(name)}")
    for name in given.keys() - listed.keys():
        complain("docs/boards.md", 1, f"{name} is missing in the table of alarm codes")

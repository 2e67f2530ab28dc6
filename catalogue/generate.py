#!/usr/bin/env python3
"""Checks catalogue.toml and writes the tables of the library `catalogue`: generate.py CATALOGUE.toml TABLES.cpp."""
import pathlib
import re
import sys
import tomllib

TEST_KEYS = {"code": int, "name": str, "title": str, "seconds": int, "families": list, "voltages": list}
FAMILY_KEYS = {"name": str, "type": int, "alarm_outputs": int, "description": str, "voltage": int}
OPTIONAL = {"families", "voltages", "voltage"}


def mistakes_of(catalogue):
    """What is wrong with a catalogue, a line each."""
    for kind, keys in (("test", TEST_KEYS), ("family", FAMILY_KEYS)):
        seen = set()
        for row in catalogue.get(kind, []):
            name = row.get("name", row)
            yield from (f"{kind} {name}: {key} is no key" for key in row.keys() - keys.keys())
            yield from (f"{kind} {name}: {key} is missing" for key in keys.keys() - row.keys() - OPTIONAL)
            yield from (f"{kind} {name}: {key} has the wrong type"
                        for key, value in row.items() if key in keys and not isinstance(value, keys[key]))
            yield from (f"{kind} {name}: {row[key]} is there twice" for key in ("name", "code") if row.get(key) in seen)
            seen |= {row.get("name"), row.get("code")} - {None}
            if not re.fullmatch("[a-z0-9][a-z0-9-]*", str(name)):
                yield f"{kind} {name}: a name has small letters, digits and hyphens"
    names = {family.get("name") for family in catalogue.get("family", [])}
    for test in catalogue.get("test", []):
        yield from (f"test {test.get('name')}: there is no family {family}" for family in set(test.get("families", [])) - names)
        voltages = test.get("voltages", [1, 1])
        if len(voltages) != 2 or not 0 < voltages[0] <= voltages[1]:
            yield f"test {test.get('name')}: voltages are the lowest and the highest"
    yield from (f"{key} is no kind of row" for key in catalogue.keys() - {"test", "family"})
    yield from (f"there is no {kind}" for kind in ("test", "family") if not catalogue.get(kind))


def quoted(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def tables_of(catalogue):
    """The C++ source of both tables."""
    lists, tests, families = [], [], []
    for test in catalogue["test"]:
        given = test.get("families", [])
        identifier = "{}"
        if given:
            identifier = f"kFamilies{len(lists)}"
            lists.append(f"constexpr std::string_view {identifier}[] = {{{', '.join(map(quoted, given))}}};")
        lowest, highest = test.get("voltages", (0, 0))
        tests.append(f"    {{{test['code']}, {quoted(test['name'])}, {quoted(test['title'])}, {test['seconds']}, "
                     f"{'false' if 'families' in test else 'true'}, {identifier}, {{{lowest}, {highest}}}}},")
    for family in catalogue["family"]:
        families.append(f"    {{{quoted(family['name'])}, {family['type']:#x}, {family['alarm_outputs']}, "
                        f"{quoted(family['description'])}, {family.get('voltage', 0)}}},")
    return "\n".join([
        "// Written by catalogue/generate.py from catalogue/catalogue.toml.", '#include "catalogue/catalogue.h"', "",
        "namespace catalogue {", "namespace {", *lists, "constexpr Test kTests[] = {", *tests, "};",
        "constexpr Family kFamilies[] = {", *families, "};", "}  // namespace",
        "std::span<const Test> tests() { return kTests; }", "std::span<const Family> families() { return kFamilies; }",
        "}  // namespace catalogue", ""])


def main(source, target):
    try:
        catalogue = tomllib.loads(pathlib.Path(source).read_text(encoding="utf-8"))
    except (OSError, ValueError) as error:
        return f"{source}: {error}"
    if mistakes := list(mistakes_of(catalogue)):
        return "\n".join(f"{source}: {mistake}" for mistake in mistakes)
    pathlib.Path(target).write_text(tables_of(catalogue), encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))

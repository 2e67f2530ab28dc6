#!/usr/bin/env python3
"""Runs one house rule: `rules.py RULE [BUILD_FOLDER]`; without a rule, says what each of them asks for.

A rule is a function that complains about a file and a line. The exit status is 1 after a complaint, 77 when the rule
cannot be tried here.
"""
import inspect
import pathlib
import sys

sys.dont_write_bytecode = True  # nothing is left beside the sources

import catalogue
import commits
import documents
import includes
import libc_calls
import locks
import names
import recorder
import sources
import translations

RULES = {rule.__name__: rule for rule in (
    includes.directions, includes.floors, includes.program_headers, includes.unused_files, names.one_definition,
    names.constants, sources.first_lines, sources.lengths, sources.fixtures, sources.real_time, sources.words,
    sources.formatting, sources.shell, commits.commits, documents.links, documents.paths, documents.wrapped,
    documents.options, documents.quirks, translations.translations, catalogue.codes, catalogue.alarm_codes, documents.chain,
    documents.api_reference, libc_calls.libc_calls, libc_calls.unreached, recorder.recorded_calls, recorder.recorder_needs,
    locks.locks)}


def main(arguments):
    if not arguments:
        for name, rule in RULES.items():
            print(f"{name:16} {rule.__doc__}")
        return 0
    rule, complaints = RULES[arguments[0]], []

    def complain(path, line, text):
        complaints.append(f"{path}:{line}: {text}")

    needs_build = "build" in inspect.signature(rule).parameters
    reason = rule(complain, pathlib.Path(arguments[1]).resolve()) if needs_build else rule(complain)
    if reason:
        print(f"not tried: {reason}")
        return 77
    if complaints:
        print("\n".join(sorted(set(complaints), key=complaints.index)))
        print(f"The rule: {rule.__doc__}")
    return 1 if complaints else 0


sys.exit(main(sys.argv[1:]))

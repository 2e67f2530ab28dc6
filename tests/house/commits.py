"""The shape of commits."""
import os
import shutil
import subprocess

import sources
import tree

LONGEST_TITLE = 72
FIRST = "ef4fc23"  # the rule is younger than the history before this commit


def git(*words):
    """What git says, or None when it cannot say it."""
    if shutil.which("git") is None:
        return None
    run = subprocess.run(["git", *words], cwd=tree.ROOT, capture_output=True, text=True)
    return run.stdout.strip() if run.returncode == 0 else None


def base():
    """The commit behind which commits are looked at: BOARDTEST_BASE, else the last tag, else the first that counts."""
    for candidate in (os.environ.get("BOARDTEST_BASE"), git("describe", "--tags", "--abbrev=0"), FIRST):
        if candidate and git("merge-base", "--is-ancestor", candidate, "HEAD") is not None:
            return candidate
    return None


def commits(complain):
    """A commit since the last tag has a title of at most 72 characters, an empty line, and a body that says why."""
    start = base()
    if start is None:
        return "no clone with a tag or the first commit that counts"
    for record in git("log", "--no-merges", "--format=%h%x00%B%x01", f"{start}..HEAD").split("\x01"):
        name, _, message = record.strip().partition("\0")
        if not name:
            continue
        title, *rest = message.strip().splitlines()
        if len(title) > LONGEST_TITLE:
            complain(name, 1, f"the title has {len(title)} characters; {LONGEST_TITLE} are the most")
        if len(rest) < 2 or rest[0] or not "".join(rest).strip():
            complain(name, 2, "no body behind an empty line says why")
        for number, line in enumerate(message.splitlines(), 1):
            for word in sources.foreign_words(line):
                complain(name, number, f'"{word}" says nothing to a reader who has the project only')
    return None

"""Names that must not stand for two things in one program."""
import re

import tree

# What ends up in one program with a folder of tests: its own files, the harness, and the program or the simulator.
PARTS = {"tests/boardsim/": ("boardsim/",), "tests/station/": ("station/",), "tests/e2e/": ()}
OTHER_PARTS = ("t1_sdk/", "boardsim/", "tests/harness/")


def without_texts(source):
    """A source without comments, texts, characters and preprocessor lines."""
    pattern = r"//[^\n]*|/\*.*?\*/|'(?:\\.|[^'\\\n])+'|\"(?:\\.|[^\"\\\n])*\"|^\s*#(?:\\\n|[^\n])*"
    return re.sub(pattern, " ", source, flags=re.S | re.M)


def types(path):
    """The qualified names of the types that a file defines outside functions and unnamed namespaces."""
    kept = without_texts(re.sub(r"(?<=\d)'(?=\d)", "", tree.text(path)))
    scopes, start = [], 0  # a scope is the namespace that it opens, or None
    for found in re.finditer(r"[{};]", kept):
        head = " ".join(kept[start:found.start()].split())
        start = found.end()
        if found[0] == "}" and scopes:
            scopes.pop()
        if found[0] != "{":
            continue
        namespace = re.search(r"\bnamespace ?([\w:]*)$", head)
        defined = re.search(r"\b(?:struct|class|union|enum) (?:class |\[\[\w+\]\] |__attribute__\(\(\w+\)\) )*([\w:]+)[^()=]*$", head)
        if defined and all(scopes) and not namespace:
            yield "::".join([*scopes, defined[1]])
        scopes.append((namespace[1] or None) if namespace else None)


def constants(complain):
    """A constant of a file, a namespace or a class is named kLikeThis."""
    for path in tree.files(".h", ".cpp"):
        for number, line in tree.lines(path):
            named = re.match(r"(?:(?:inline |static )*|  static )constexpr (?:[^()={]*[ &*])?(\w+)(?:\[\w*\])* ?[={]", line)
            if named and not re.match(r"k[A-Z0-9]", named[1]):
                complain(path, number, f"the constant {named[1]} is not named kLikeThis")


def one_definition(complain):
    """No type has two definitions in the files of one program: the linker would take either for both, in silence."""
    defined = {path: set(types(path)) for path in tree.files(".h", ".cpp")}
    for folder in sorted({re.match(r"tests/\w+/", path)[0] for path in defined if re.match(r"tests/\w+/\w", path)}):
        first = {}
        for path in defined:
            if path.startswith((folder, *PARTS.get(folder, OTHER_PARTS))):
                for name in defined[path]:
                    if (other := first.setdefault(name, path)) != path:
                        complain(path, 1, f"{name} is also defined in {other}")

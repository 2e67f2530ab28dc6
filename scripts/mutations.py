"""The small changes that scripts/mutate.py makes to the program: where in a source, and to what."""
import collections
import re

Mutant = collections.namedtuple("Mutant", "name file kind start end text")  # file[start:end] becomes text

TOKEN = re.compile(
    r"""(?P<skip>\s+|//[^\n]*|/\*.*?\*/|^[ \t]*\#[^\n]*)|(?P<raw>R"(?P<mark>[^()\s]*)\(.*?\)(?P=mark)")"""
    r"""|(?P<text>"(?:\\.|[^"\\\n])*")|(?P<char>'(?:\\.|[^'\\\n])+')"""
    r"""|(?P<number>\b(?:0[xX][0-9a-fA-F']+|\d[\d']*(?:\.\d+)?)[uUlLs]*)|(?P<word>[A-Za-z_]\w*)"""
    r"""|(?P<sign>->|::|<<=|>>=|[-+*/&|^%=!<>]=|&&|\|\||\+\+|--|<<|>>|.)""", re.S | re.M)
Token = collections.namedtuple("Token", "kind text start end")

OTHER = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&"}
NOT_RETURNED = (["true"], ["false"], ["nullptr"], ["{", "}"], ['""'])  # zero already, or changed as a flag
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "/", "&": "|", "|": "&", "<<": ">>", ">>": "<<",
              "+=": "-=", "-=": "+=", "&=": "|=", "|=": "&="}


def tokens_of(source):
    return [Token(m.lastgroup, m[0], m.start(), m.end()) for m in TOKEN.finditer(source) if m.lastgroup != "skip"]


def closing(tokens, opening):
    """Index of the parenthesis that closes the one at that index."""
    depth = 0
    for i in range(opening, len(tokens)):
        depth += (tokens[i].text in "([{") - (tokens[i].text in ")]}")
        if depth == 0:
            return i
    return len(tokens) - 1


def branches_of(words, question):
    """The two branches of a ?:, each as (first, last) token index."""
    depth, colon = 0, None
    for i in range(question + 1, len(words)):
        if depth == 0 and words[i] == ":" and colon is None:
            colon = i
        elif depth == 0 and words[i] in (";", ",", ")", "]", "}"):
            return ((question + 1, colon - 1), (colon + 1, i - 1)) if colon else None
        depth += (words[i] in "([{") - (words[i] in ")]}")
    return None


def statements_of(tokens):
    """Statements that stand on their own, as lists of (first, last) token index, one list a block."""
    blocks, done = [[None, True, []]], []  # start of the statement, whether it is a block, statements
    depth = [0]
    for i, token in enumerate(tokens):
        block = blocks[-1]
        if token.text == "{":
            before = tokens[i - 1] if i else token
            is_block = before.text in (")", "else", "do", "const", "override", "noexcept", ";", "{", "}", ":")
            blocks.append([None, is_block, []])
            depth.append(0)
            continue
        if token.text == "}":
            done.append(blocks.pop())
            depth.pop()
            if not blocks:
                return []
            following = tokens[i + 1].text if i + 1 < len(tokens) else ""
            if done[-1][1] and following not in (";", ")", ","):
                blocks[-1][0] = None
                blocks[-1][2].append(None)  # a compound: its neighbours are not adjacent
            continue
        if block[0] is None:
            block[0] = i
        depth[-1] += (token.text in "([") - (token.text in ")]")
        if token.text == ";" and depth[-1] == 0:
            block[2].append((block[0], i))
            block[0] = None
        elif token.text == ":" and depth[-1] == 0 and tokens[block[0]].text in ("case", "default", "public", "private"):
            block[0] = None
    return [b[2] for b in done if b[1]]


def is_declaration(tokens, first, last):
    words = [t.text for t in tokens[first:last + 1]]
    if words[0] in ("using", "static", "constexpr", "const", "auto", "struct", "unsigned", "static_assert", "template",
                    "namespace", "extern", "friend", "typedef", "class", "enum", "virtual", "explicit"):
        return True
    if words[0] in ("return", "if", "for", "while", "else", "break", "continue", "do", "case"):
        return False
    head = re.match(r"[\w:<>, ]+?[*&]* [*&]?\w+ ?[;={(\[]", " ".join(words).replace(" :: ", "::"))
    return head is not None


def number_changes(text):
    digits = text.rstrip("uUlLs")
    suffix = text[len(digits):]
    if "." in digits:
        return [str(float(digits) + 1) + suffix]
    plain = digits.replace("'", "")
    value = int(plain, 0) if plain[:2] in ("0x", "0X") else int(plain, 8 if plain[0] == "0" and len(plain) > 1 else 10)
    form = "0x{:X}".format if plain[:2] in ("0x", "0X") else "{}".format
    changes = [value + 1, value - 1]
    if form != "{}".format and value > 1:
        changes.append(value ^ (1 << (value.bit_length() - 1)))
    return [f"({form(v)})" if v < 0 else form(v) + suffix for v in dict.fromkeys(changes) if v != value]


def text_changes(text):
    """The literal with one character changed, and without its line end."""
    body = text[1:-1]
    plain = [m.start() for m in re.finditer(r"\\(?:x[0-9a-fA-F]+|[0-7]+|.)|%[-+ #0]*[\d.*]*[hlz]*\w|(.)", body)
             if m.group(1) is not None]
    changes = []
    if plain:
        at = plain[len(plain) // 2]
        old = body[at]
        new = "国" if ord(old) > 127 and old != "国" else "中" if ord(old) > 127 else "x" if old != "x" else "y"
        changes.append(f'"{body[:at]}{new}{body[at + 1:]}"')
    if body.endswith("\\n"):
        changes.append(f'"{body[:-2]}"')
    return changes


def spaced(source, token):
    return source[token.start - 1:token.start] in (" ", "\n") and source[token.end:token.end + 1] in (" ", "\n")


def changes_of(source, tokens):
    """Every change as (kind, start, end, text)."""
    words = [t.text for t in tokens]
    for i, token in enumerate(tokens):
        kind, text, start, end = token
        if text == "static_assert":
            continue
        if kind == "number":
            if words[i - 1] == "-" and not spaced(source, tokens[i - 1]) and text.isdigit():
                start = tokens[i - 1].start
                yield from (("number", start, end, new) for new in (str(1 - int(text)), f"{-1 - int(text)}", text))
            else:
                yield from (("number", start, end, new) for new in number_changes(text))
        elif kind == "char":
            yield "text", start, end, f"'{chr(ord(text[1]) ^ 1)}'" if len(text) == 3 and text[1] not in "&]" else "'x'"
        elif kind == "raw":
            letters = [m.start() for m in re.finditer("[A-Za-z]", text)][1:]  # the first one is the R
            at = start + letters[len(letters) // 2] if letters else None
            if at is not None:
                yield "text", at, at + 1, "x" if source[at] != "x" else "y"
        elif kind == "text":
            yield from (("text", start, end, new) for new in text_changes(text))
        elif text in ("true", "false"):
            yield "flag", start, end, "false" if text == "true" else "true"
        elif text in OTHER and spaced(source, token):
            yield "condition", start, end, OTHER[text]
        elif text == "!":
            yield "condition", start, end, ""
        elif text in ("if", "while") and words[i + 1] == "(":
            last = closing(tokens, i + 1)
            inside = [j for j in range(i + 2, last) if words[j] == ";"]
            begin = tokens[inside[-1] + 1].start if inside else tokens[i + 2].start
            stop = tokens[last].start
            if text == "if" and not re.match(r"const\b|auto\b|int\b", source[begin:stop]):
                yield "condition", begin, stop, f"!({source[begin:stop]})"
        elif text == "?" and (found := branches_of(words, i)):
            first, last = (source[tokens[a].start:tokens[b].end] for a, b in found)
            yield "condition", start, tokens[found[1][1]].end, f"? {last} : {first}"
        elif text in ARITHMETIC and spaced(source, token) and "text" not in (tokens[i - 1].kind, tokens[i + 1].kind):
            yield "arithmetic", start, end, ARITHMETIC[text]
        elif text in ("sleep", "usleep") and words[i + 1] == "(":
            stop = tokens[closing(tokens, i + 1)].start
            yield "wait", tokens[i + 1].end, stop, f"2 * ({source[tokens[i + 1].end:stop]})"
    for block in statements_of(tokens):
        for number, span in enumerate(block):
            if span is None or is_declaration(tokens, *span) or words[span[0]] in ("else", "do", "return"):
                if span is not None and words[span[0]] == "return" and span[1] - span[0] > 1:
                    if words[span[0] + 1:span[1]] not in NOT_RETURNED and tokens[span[0] + 1].kind != "number":
                        yield "return", tokens[span[0]].start, tokens[span[1]].end, "return {};"
                continue
            start, end = tokens[span[0]].start, tokens[span[1]].end
            yield "statement", start, end, ";" if words[span[0] - 1] in (")", "else") else ""
            after = block[number + 1] if number + 1 < len(block) else None
            if after is None or is_declaration(tokens, *after):
                continue
            if {words[span[0]], words[after[0]]} & {"if", "for", "while", "return", "break", "continue", "else", "do"}:
                continue
            next_start, next_end = tokens[after[0]].start, tokens[after[1]].end
            yield "order", start, next_end, source[next_start:next_end] + source[end:next_start] + source[start:end]


def without_asserts(source):
    """The source with static_assert statements blanked: nothing is changed in them."""
    return re.sub(r"static_assert\(.*?\);", lambda m: re.sub(r"[^\n]", " ", m[0]), source, flags=re.S)


def mutants_of(file, source):
    counts = collections.Counter()
    masked = without_asserts(source)
    for kind, start, end, text in sorted(set(changes_of(masked, tokens_of(masked)))):
        line = source.count("\n", 0, start) + 1
        counts[line, kind] += 1
        yield Mutant(f"{file}:{line}:{kind}:{counts[line, kind]}", file, kind, start, end, text)


def apply(mutant, source):
    return source[:mutant.start] + mutant.text + source[mutant.end:]


def diff_of(mutant, source):
    """The changed lines, without indentation: `- old` and `+ new`."""
    begin = source.rfind("\n", 0, mutant.start) + 1
    stop = source.find("\n", mutant.end)
    old = source[begin:stop].splitlines()
    new = (source[begin:mutant.start] + mutant.text + source[mutant.end:stop]).splitlines()
    return [f"{sign} {line.strip()}" for sign, lines in (("-", old), ("+", new)) for line in lines if line.strip()]


def texts_of(mutants, sources):
    """A text for each mutant, by name: its file and its lines before and after, whatever their numbers are. The second
    of several mutants that read alike has "| 2" behind it, and so on."""
    seen, texts = collections.Counter(), {}
    for mutant in mutants:
        lines = diff_of(mutant, sources[mutant.file])
        old, new = (" / ".join(line[2:] for line in lines if line[0] == sign) for sign in "-+")
        text = f"{mutant.file} | {old} | {new or '(removed)'}"
        seen[text] += 1
        texts[mutant.name] = text if seen[text] == 1 else f"{text} | {seen[text]}"
    return texts

"""Finds the places of C++ sources where a small change of the text makes another program, and the changes."""

import random
import re
from dataclasses import dataclass

TOKEN = re.compile(
    r"""
      (?P<skipped>\s+|//[^\n]*|/\*.*?\*/|\#(?:[^\\\n]|\\.)*)
    | (?P<text>(?:u8|[uUL])?R"(?P<mark>[^()\\\s]{0,16})\(.*?\)(?P=mark)"|(?:u8|[uUL])?(?:"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])+'))
    | (?P<number>\.?\d(?:[eEpP][+-]|'?[\w.])*)
    | (?P<word>[A-Za-z_]\w*)
    | (?P<sign><=>|<<=|>>=|->\*|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)
    """,
    re.VERBOSE | re.DOTALL,
)
INTEGER = re.compile(r"(0[xX]|0[bB]|0(?=\d))?([\da-fA-F']+?)([uUlLzZ]*)")
BASES = {"0x": (16, "x"), "0b": (2, "b"), "0": (8, "o"), "": (10, "d")}
# A type, and a name behind it.
DECLARATION = re.compile(r"(?:::)?\w+(?:::\w+|<[^;=()]*>)*[*&]*\s+[*&]*\w")

COMPARISONS = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">"}
CONNECTIVES = {"&&": "||", "||": "&&"}
SUMS = {"+": "-", "-": "+", "+=": "-=", "-=": "+="}
TRUTHS = {"true": "false", "false": "true"}
LOG_MACRO = re.compile(r"(?:[A-Z]+_)+LINE")  # LOG_LINE(logger, LEVEL, ...), and what leaves out the logger
LOG_LEVELS = ("200", "300", "400", "500")

OPENING = {"(": ")", "[": "]", "{": "}"}
CLOSING = set(OPENING.values())
CONTROL = {"if", "else", "for", "while", "do", "switch", "try", "catch", "case", "default"}
TYPES = {"class", "struct", "union", "enum"}
# What starts a statement that is no expression, or one that stays.
OTHER_STATEMENTS = CONTROL | TYPES | {
    "return", "co_return", "break", "continue", "goto", "using", "namespace", "typedef", "template", "static_assert",
    "static", "const", "constexpr", "constinit", "extern", "friend", "auto", "public", "protected", "private",
}
PURE = {")", "const", "noexcept", "override"}  # what stands before the "= 0" of a pure virtual function
# What can stand before the condition of ?:, next to opening brackets.
BEFORE_CONDITION = {"=", "return", "co_return", "throw", ",", ";", "?", ":", "+=", "-=", "|=", "&="}


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int
    line: int


@dataclass(frozen=True)
class Mutant:
    """One change: the bytes from start to end of the file become `new`."""

    path: str
    line: int
    kind: str
    start: int
    end: int
    new: str

    def apply(self, text):
        return text[: self.start] + self.new + text[self.end :]

    def lines(self, text):
        """The changed lines before and after the change, each as one line."""
        first = text.rfind("\n", 0, self.start) + 1
        last = text.find("\n", self.end)
        last = len(text) if last < 0 else last
        after = text[first : self.start] + self.new + text[self.end : last]
        return " ".join(text[first:last].split()), " ".join(after.split())


class Source:
    """The tokens of one file, without comments and directives, and for each bracket its counterpart."""

    def __init__(self, path, text):
        self.path, self.text = path, text
        self.tokens = []
        line = 1
        for match in TOKEN.finditer(text):
            if match.lastgroup != "skipped":
                kind = "text" if match.group("text") else match.lastgroup
                self.tokens.append(Token(kind, match.group(), match.start(), match.end(), line))
            line += match.group().count("\n")
        self.partner = {}
        opened = []
        for index, token in enumerate(self.tokens):
            if token.text in OPENING and token.kind == "sign":
                opened.append(index)
            elif token.text in CLOSING and token.kind == "sign" and opened:
                self.partner[index] = opened[-1]
                self.partner[opened.pop()] = index

    def at(self, index):
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ""

    def between(self, first, last):
        return self.text[self.tokens[first].start : self.tokens[last].end]

    def line_before(self, token):
        return self.text[: token.start].rpartition("\n")[2]

    def spaced(self, token):
        """Spaces stand around binary operators, and not around the same signs in types."""
        return self.text[token.start - 1 : token.start].isspace() and self.text[token.end : token.end + 1].isspace()

    def level(self, first, last):
        """Indices from first to last, without what stands in brackets between them."""
        index = first
        while index <= last:
            yield index
            index = self.partner.get(index, index) + 1 if self.at(index) in OPENING else index + 1

    def mutant(self, kind, first, last, new):
        return Mutant(self.path, self.tokens[first].line, kind, self.tokens[first].start, self.tokens[last].end, new)


def log_level(source, index):
    """Index of the level that a log line starting at that index is written at; None for another place."""
    if not LOG_MACRO.fullmatch(source.at(index)) or source.at(index + 1) != "(":
        return None
    commas = [i for i in source.level(index + 2, source.partner.get(index + 1, index)) if source.at(i) == ","]
    return next((i - 1 for i in commas[:2] if source.at(i - 1) in LOG_LEVELS and source.at(i - 2) in ("(", ",")), None)


def left_alone(source):
    """Indices of tokens that say how the program is written rather than what it does."""
    alone = set()
    lines = set()
    for index, token in enumerate(source.tokens):
        if token.text == "static_assert":
            alone.update(range(index, source.partner.get(index + 1, index) + 1))
        elif token.text in ("using", "namespace") and not source.line_before(token).strip():
            lines.add(token.line)
        elif token.text == "template" and source.at(index + 1) == "<":
            depth, end = 0, index + 1
            while end < len(source.tokens):
                depth += {"<": 1, ">": -1, ">>": -2}.get(source.at(end), 0)
                if depth <= 0:
                    break
                end = source.partner.get(end, end) + 1 if source.at(end) in OPENING else end + 1
            alone.update(range(index, end + 1))
        alone.add(log_level(source, index))  # has a kind of its own
    alone.update(index for index, token in enumerate(source.tokens) if token.line in lines)
    return alone


def token_sites(source, alone):
    """Sites of one token."""
    for index, token in enumerate(source.tokens):
        before, text = source.at(index - 1), token.text

        def site(kind, *news):
            return [source.mutant(kind, index, index, new) for new in news]

        level = log_level(source, index)
        if level:
            place = LOG_LEVELS.index(source.at(level))
            near = LOG_LEVELS[max(place - 1, 0) : place] + LOG_LEVELS[place + 1 : place + 2]
            yield [source.mutant("log level", level, level, new) for new in near]
        if index in alone or before == "operator":
            continue
        if token.kind == "word" and text in TRUTHS:
            yield site("truth", TRUTHS[text])
        elif token.kind == "number" and not (before == "=" and text == "0" and source.at(index - 2) in PURE):
            news = neighbours(text)
            if news:
                yield site("constant", *news)
        elif token.kind == "sign" and source.spaced(token):
            if text in COMPARISONS:
                yield site("comparison", COMPARISONS[text])
            elif text in CONNECTIVES:
                yield site("connective", CONNECTIVES[text])
            elif text in SUMS and not any('"' in source.at(i) for i in (index - 1, index + 1)):
                yield site("sum", SUMS[text])


def neighbours(number):
    """The integers beside a literal, written like it; none for another number."""
    parts = INTEGER.fullmatch(number)
    if not parts:
        return []
    prefix, digits, suffix = parts.group(1) or "", parts.group(2), parts.group(3)
    base, letter = BASES[prefix.lower()]
    try:
        value = int(digits.replace("'", ""), base)
    except ValueError:
        return []
    if letter == "x" and digits.isupper():
        letter = "X"
    return [f"{prefix}{other:{letter}}{suffix}" for other in (value + 1, value - 1) if other >= 0]


def condition_sites(source, alone):
    """Conditions of if, while and ?:. A lone == or != is left to the comparisons."""
    for index, token in enumerate(source.tokens):
        if index in alone:
            continue
        if token.text in ("if", "while") and source.at(index + 1) == "(":
            first, last = index + 2, source.partner.get(index + 1, 0) - 1
            for semicolon in [i for i in source.level(first, last) if source.at(i) == ";"]:
                first = semicolon + 1
        elif token.text == "?":
            first, last = index, index - 1
            while first > 0:
                before = source.at(first - 1)
                if before in OPENING or before in BEFORE_CONDITION:
                    break
                first = source.partner.get(first - 1, first - 1) if before in CLOSING else first - 1
        else:
            continue
        if first > last:
            continue
        signs = {source.at(i) for i in source.level(first, last)}
        declares = "=" in signs
        compares = signs & {"==", "!="} and not signs & {"&&", "||", "?"}
        constant = first == last and source.at(first) in TRUTHS
        if not (declares or compares or constant):
            yield [source.mutant("condition", first, last, f"!({source.between(first, last)})")]


def opens_lambda(source, brace):
    index = brace - 1
    while source.tokens[index].kind == "word" or source.at(index) in ("::", "<", ">", "*", "&", "->"):
        index -= 1
    return source.at(index) in (")", "]") and index >= 0


def scope_of(source, scope, begin, brace):
    """What a brace opens, told by where it stands and the tokens from `begin` that lead to it: a block, a type, a
    namespace, or, as part of an expression, a lambda or a list."""
    inside = "lambda" if opens_lambda(source, brace) else "list"
    head = [source.at(i) for i in source.level(begin, brace - 1)]
    if scope in ("block", "lambda"):
        if not head or head[0] in CONTROL:
            return "block"
        return "type" if head[0] in TYPES else inside
    if scope == "list":
        return inside
    if "namespace" in head or head[:1] == ["extern"]:
        return "namespace"
    assigns = any(word == "=" and head[place - 1] != "operator" for place, word in enumerate(head) if place)
    if not assigns and "(" not in head and TYPES.intersection(head):
        return "list" if "enum" in head else "type"
    in_initialisers = len(head) > 1 and head[-2] in (":", ",")
    return inside if assigns or "(" not in head or in_initialisers else "block"


def statements(source):
    """Expression statements that stand on a line: indices of their first token and of their semicolon."""
    scope, begin, outer = "namespace", 0, []
    for index, token in enumerate(source.tokens):
        if token.kind != "sign":
            continue
        if token.text == "{":
            opened = scope_of(source, scope, begin, index)
            outer.append((scope, begin, opened in ("lambda", "list")))
            scope, begin = opened, index + 1
        elif token.text == "}" and outer:
            scope, begin, goes_on = outer.pop()
            begin = begin if goes_on else index + 1
        elif token.text == ":" and source.at(begin) in ("case", "default", "public", "protected", "private"):
            begin = index + 1
        elif token.text == ";" and "(" not in [source.at(i) for i in open_brackets(source, begin, index)]:
            if scope in ("block", "lambda") and is_expression(source, begin, index):
                yield begin, index
            begin = index + 1


def open_brackets(source, first, last):
    """Brackets from first on that are not closed before last."""
    return [i for i in source.level(first, last) if source.at(i) in OPENING and source.partner.get(i, last) > last]


def is_expression(source, first, last):
    text = source.between(first, last)
    if first >= last or source.tokens[first].line != source.tokens[last].line:
        return False
    if source.at(first) in OTHER_STATEMENTS or re.fullmatch(r"\(void\)\s*\w+;", text):
        return False
    if source.at(first) not in ("throw", "delete", "co_await") and DECLARATION.match(text):
        return False
    return any(sign in text for sign in ("(", "=", "++", "--", "throw", "delete"))


def statement_sites(source, alone):
    """Statements dropped, and calls next to each other in the other order."""
    earlier = None
    for first, last in statements(source):
        if first in alone:
            continue
        yield [source.mutant("statement", first, last, ";")]
        is_call = source.at(last - 1) == ")" and source.at(first) != "throw" and not any(
            source.at(i).endswith("=") for i in source.level(first, last)
        )
        if is_call and earlier and earlier[1] == first - 1:
            one, other = source.between(*earlier), source.between(first, last)
            lines = source.tokens[first].line - source.tokens[earlier[0]].line
            if lines == 1 and one != other:
                gap = source.text[source.tokens[earlier[1]].end : source.tokens[first].start]
                yield [source.mutant("order", earlier[0], last, other + gap + one)]
        earlier = (first, last) if is_call else None


def sites(path, text):
    """All sites of a file in the order of its text, each a list of mutants to choose from."""
    source = Source(path, text)
    alone = left_alone(source)
    found = [*token_sites(source, alone), *condition_sites(source, alone), *statement_sites(source, alone)]
    return sorted(found, key=lambda site: (site[0].start, site[0].end, site[0].kind))


# A change in a header rebuilds a lot: of its sites half as many are taken as of those in a source.
HEADER_SHARE = 0.5


def ordered(texts, seed):
    """One mutant of each site of the files (path: text), in an order each start of which is spread over the files in
    proportion to their sites. It depends on the texts and the seed alone."""
    keyed = []
    for path, text in sorted(texts.items()):
        chance = random.Random(f"{seed} {path}")
        found = sites(path, text)
        chance.shuffle(found)
        share = HEADER_SHARE if path.endswith(".h") else 1
        for place, site in enumerate(found):
            key = (place + chance.random()) / len(found) / share
            keyed.append((key, path, place, chance.choice(site)))
    return [mutant for *_, mutant in sorted(keyed, key=lambda entry: entry[:3])]

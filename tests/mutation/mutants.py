"""The small changes of a source file, as a mistaken programmer might make them."""

import hashlib
import re
from dataclasses import dataclass

SEED = "1"
LIBRARY_FOLDERS = ("library", "include/rk")


@dataclass(frozen=True)
class Mutant:
    file: str  # relative to the project's folder
    line: int  # the first line that changes, from 1
    rule: str
    old: str  # the lines that change, with their ends
    new: str

    def key(self):
        """What the mutant is wherever it stands: a line of the list of harmless changes, without the reason."""
        return " | ".join((self.file, " ".join(self.old.split()), " ".join(self.new.split())))

    def rank(self):
        return hashlib.sha256(f"{SEED}|{self.line}|{self.rule}|{self.key()}".encode()).hexdigest()


def swapped(pairs):
    table = dict(pair.split() for pair in pairs)
    return lambda found: table[found]


# Replacements of one place in a line's code: rule, what to find (the first group changes), what comes instead.
REPLACEMENTS = (
    ("number", r"(?<![\w.'])(0[xX][0-9A-Fa-f]+|\d+)(?=[uUlL]*\b)(?!')", lambda found: str(int(found, 0) + 1)),
    ("comparison", r"\s(==|!=|<=|>=|<|>)\s", swapped(("== !=", "!= ==", "< <=", "> >=", "<= <", ">= >"))),
    ("logic", r"\s(&&|\|\|)\s", swapped(("&& ||", "|| &&"))),
    ("negation", r"(!)[\w(]", lambda found: ""),
    ("arithmetic", r"[\w)\]] ([-+*/%&|]|<<|>>) [\w(]",
     swapped(("+ -", "- +", "* +", "/ *", "% /", "& |", "| &", "<< >>", ">> <<"))),
    ("assignment", r"\s(\+=|-=)\s", swapped(("+= -=", "-= +="))),
    ("step", r"(\+\+|--)", swapped(("++ --", "-- ++"))),
    ("sign", r"(?:[({,=:?] ?|return )(-)\d", lambda found: ""),
    ("boolean", r"\b(true|false)\b", swapped(("true false", "false true"))),
    ("condition", r"\b(?:if|while) (\([^;]*\))(?:\s*\{|\s+return\b.*|\s+continue;|\s+break;)?$",
     lambda found: f"(!{found})"),
    # Of the narrowest, the sign changes; a change of sign alone is for the compiler to notice elsewhere.
    ("cast", r"static_cast<(u?int(?:8|16|32)_t)>",
     swapped(("uint8_t int8_t", "int8_t uint8_t", "uint16_t uint8_t", "int16_t int8_t", "uint32_t uint16_t",
              "int32_t int16_t"))),
    ("row", r"[{\s](\{[^{}]*\}, ?)(?:\{|\S|$)", lambda found: ""),
)

FIELD_TYPE = re.compile(r"^(\s+)(u?)(int\d+_t)( (?!unused)\w+(\[.*\])?;)")
MEMBER = re.compile(r"\b([a-z]\w*(?:\.[a-z]\w*)*)\.([a-z]\w*)\b(?!\()")
DECLARATION = re.compile(r"^\s*((const|constexpr|inline|static|auto|using|struct|namespace|typedef|return|else|case|default|"
                         r"break|continue|u?int\d*_t|char|bool|j[a-z]+)\b|[A-Z]\w+ [*&]?\w+( =|;|\())")


def masked(line):
    """The line with comments, and the characters of its texts, blanked: places stay the same."""
    code = re.sub(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])\'', lambda m: m[0][0] + "\x01" * (len(m[0]) - 2) + m[0][0], line)
    comment = code.find("//")
    return code if comment == -1 else code[:comment].rstrip()


def in_code(file, lines, codes):
    for i, code in enumerate(codes):
        for rule, pattern, replace in REPLACEMENTS:
            for match in re.finditer(pattern, code):
                first, last = match.span(1)
                new = lines[i][:first] + replace(lines[i][first:last]) + lines[i][last:]
                yield Mutant(file, i + 1, rule, lines[i], new)
        if match := FIELD_TYPE.match(code):
            sign = "" if match[2] else "u"
            yield Mutant(file, i + 1, "type", lines[i], lines[i].replace(match[2] + match[3], sign + match[3], 1))


def in_texts(file, lines, codes):
    """One letter or digit of each text becomes another."""
    for i, code in enumerate(codes):
        for match in re.finditer('"(\x01+)"', code):
            places = [p for p in range(match.start(1), match.end(1))
                      if lines[i][p].isalnum() and lines[i][p - 1] not in "%\\"]
            if places and not code.startswith(("#", 'extern "C"')):
                place = places[len(places) * 2 // 3]
                other = {"z": "a", "Z": "A", "9": "0"}.get(lines[i][place]) or chr(ord(lines[i][place]) + 1)
                yield Mutant(file, i + 1, "text", lines[i], lines[i][:place] + other + lines[i][place + 1:])


def in_members(file, lines, codes):
    """A member becomes the one that the file uses after it, of the same object."""
    uses = [(i, match) for i, code in enumerate(codes) for match in MEMBER.finditer(code)]
    for number, (i, match) in enumerate(uses):
        other = next((later[2] for _, later in uses[number + 1:] if later[1] == match[1] and later[2] != match[2]), None)
        if other is not None:
            yield Mutant(file, i + 1, "member", lines[i], lines[i][:match.start(2)] + other + lines[i][match.end(2):])


def statements(codes):
    """First and last line of each plain statement: no declaration, no jump."""
    i = 0
    while i < len(codes):
        last = i
        if codes[i].startswith("    ") and not DECLARATION.match(codes[i]) and \
                (i == 0 or codes[i - 1] == "" or codes[i - 1][-1] in ";{}:)" or codes[i - 1].strip() == "else"):
            while last < len(codes) - 1 and last - i < 8 and codes[last] and codes[last][-1] not in ";{}":
                last += 1
            text = "".join(codes[i:last + 1])
            if codes[last].endswith(";") and text.count("(") == text.count(")") and not re.match(r"\s*(if|for|while)\b", text):
                yield i, last
        i = last + 1


def independent(first, second):
    """Whether the order of two statements cannot matter: assignments of values that are at hand (nothing is asked of Java)
    of which neither reads the other's target."""
    parts = [re.fullmatch(r"\s*([\w.\[\]]+) = ([\w.\[\]()<>:, +-]+);\s*", text) for text in (first, second)]
    return all(parts) and not any("env" in part[2] for part in parts) and \
        parts[0][1] not in second and parts[1][1] not in first


def in_statements(file, lines, codes):
    """A statement is left out, or changes places with the next one."""
    found = list(statements(codes))
    for (first, last), following in zip(found, found[1:] + [None]):
        old = "".join(lines[first:last + 1])
        indent = re.match(r"\s*", lines[first])[0]
        yield Mutant(file, first + 1, "dropped", old, f"{indent};\n")
        if following and following[0] == last + 1 and re.match(r"\s*", lines[following[0]])[0] == indent:
            other = "".join(lines[following[0]:following[1] + 1])
            if not independent(old, other):
                yield Mutant(file, first + 1, "order", old + other, other + old)


def in_rows(file, lines, codes):
    """A row of a table that has its line for itself is left out; neighbouring fields of a record change places."""
    for i, code in enumerate(codes):
        if re.match(r"\s*\{.*\},$", code):
            yield Mutant(file, i + 1, "row", lines[i], "\n")
        if i + 1 < len(codes) and FIELD_TYPE.match(code) and FIELD_TYPE.match(codes[i + 1]):
            yield Mutant(file, i + 1, "order", lines[i] + lines[i + 1], lines[i + 1] + lines[i])


def mutants_of(root, file):
    lines = (root / file).read_text().splitlines(keepends=True)
    codes = [masked(line.rstrip("\n")) for line in lines]
    # What only the preprocessor reads, and the assertions themselves, are left alone.
    left_alone = [code.startswith(("#", "RK_AT", "static_assert")) or "static_assert" in code or code.endswith("\\")
                  for code in codes]
    found = {}
    for make in (in_code, in_texts, in_members, in_statements, in_rows):
        for mutant in make(file, lines, codes):
            if mutant.new != mutant.old and not left_alone[mutant.line - 1]:
                found.setdefault((mutant.line, mutant.old, mutant.new), mutant)
    return list(found.values())


def mixed(mutants):
    """In an order that takes each kind of change in turn."""
    by_rule = {}
    for mutant in sorted(mutants, key=Mutant.rank):
        by_rule.setdefault(mutant.rule, []).append(mutant)
    turns = []
    for group in by_rule.values():
        turns += [(place, mutant.rank(), mutant) for place, mutant in enumerate(group)]
    return [mutant for _, _, mutant in sorted(turns, key=lambda turn: turn[:2])]


def source_files(root):
    return sorted(str(path.relative_to(root)) for folder in LIBRARY_FOLDERS for path in (root / folder).rglob("*")
                  if path.suffix in (".cpp", ".h"))


def pick(root, number, files):
    """`number` mutants (None: all) over the files: some of each, more of those in which there are more."""
    queues = {file: mixed(mutants_of(root, file)) for file in files}
    total = sum(map(len, queues.values()))
    if number is None or number >= total:
        return [mutant for queue in queues.values() for mutant in queue], total
    few = min(4, max(1, number // max(1, len(files))))
    picked = {file: queue[:few] for file, queue in queues.items()}
    left = number - sum(map(len, picked.values()))
    for file, queue in queues.items():
        picked[file] += queue[few:few + round(max(0, left) * max(0, len(queue) - few) / total)]
    chosen = [mutant for queue in picked.values() for mutant in queue]
    rest = sorted((m for file, queue in queues.items() for m in queue[len(picked[file]):]), key=Mutant.rank)
    chosen += rest[:max(0, number - len(chosen))]
    # Over all files from the beginning, for whoever does not wait for the end.
    return sorted(chosen[:number], key=Mutant.rank), total

"""What may be changed in a C++ source, one change at a time. Used by mutate.py.

The sources are taken apart into tokens only, not understood: a change that does not compile is found out by the compiler.
The white space is what clang-format makes of it: an operator with blanks on both sides takes two operands, a bracket
without one before it is not a comparison.
"""
import bisect
import collections
import difflib
import hashlib
import re

KINDS = ("sign", "comparison", "index", "name", "literal", "statement", "return", "condition")

TOKEN = re.compile(r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)
  | (?P<string>"(?:[^"\\\n]|\\.)*")
  | (?P<char>'(?:[^'\\\n]|\\.[^']*)')
  | (?P<number>(?:\d|\.\d)(?:[eEpP][+-]|'(?=\w)|[\w.])*)
  | (?P<name>[A-Za-z_]\w*)
  | (?P<op><<=|>>=|<=>|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|[-+*/%&|^~!<>=?:;,.(){}\[\]])
""", re.VERBOSE | re.MULTILINE | re.DOTALL)

KEYWORDS = set("""alignas alignof auto bool break case catch char class const consteval constexpr constinit const_cast continue
    decltype default delete do double dynamic_cast else enum explicit extern false final float for friend goto if inline int
    long mutable namespace new noexcept nullptr operator override private protected public reinterpret_cast return short
    signed sizeof static static_assert static_cast struct switch template this throw true try typedef typename union
    unsigned using virtual void volatile while""".split())

# What takes two operands, and what it may become.
SPACED = {
    "+": ("sign", ["-"]), "-": ("sign", ["+"]), "*": ("sign", ["/"]), "/": ("sign", ["*"]), "%": ("sign", ["*"]),
    "&": ("sign", ["|"]), "|": ("sign", ["&"]), "^": ("sign", ["|"]), "<<": ("sign", [">>"]), ">>": ("sign", ["<<"]),
    "+=": ("sign", ["-="]), "-=": ("sign", ["+="]), "*=": ("sign", ["/="]), "/=": ("sign", ["*="]),
    "|=": ("sign", ["&="]), "&=": ("sign", ["|="]),
    "<": ("comparison", ["<=", ">="]), "<=": ("comparison", ["<", ">"]), ">": ("comparison", [">=", "<="]),
    ">=": ("comparison", [">", "<"]), "==": ("comparison", ["!="]), "!=": ("comparison", ["=="]),
    "&&": ("comparison", ["||"]), "||": ("comparison", ["&&"]),
}
ASSIGNMENTS = {"=", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=", "<<=", ">>="}

Token = collections.namedtuple("Token", "kind text at end")


class Mutant:
    """One change of one source.

    before, after  the lines that it touches, joined to one
    key            names the change however the lines around it move
    """

    def __init__(self, path, kind, text, at, end, put):
        first = text.rfind("\n", 0, at) + 1
        last = text.find("\n", end)
        last = len(text) if last < 0 else last
        self.path, self.kind, self.at, self.end, self.put = path, kind, at, end, put
        self.line = text.count("\n", 0, at) + 1
        self.before = " ".join(text[first:last].split())
        self.after = " ".join((text[first:at] + put + text[end:last]).split())
        self.key = ""

    def applied(self, text):
        return text[:self.at] + self.put + text[self.end:]


def tokens_of(text):
    found = []
    for match in TOKEN.finditer(text):
        if match.lastgroup not in ("comment", "directive"):
            found.append(Token(match.lastgroup, match[0], match.start(), match.end()))
    return found


class Source:
    """A source with its tokens, the partner of each bracket, and the function bodies."""

    def __init__(self, path, text):
        self.path, self.text, self.tokens = path, text, tokens_of(text)
        self.partner = {}
        self.bodies = []  # places of the brackets, and of the token that begins the head
        self.found = []
        self._match()

    def _match(self):
        opened, scopes = [], []
        head = 0
        for i, token in enumerate(self.tokens):
            if token.text in "([{":
                opened.append(i)
                if token.text == "{":
                    words = [t.text for t in self.tokens[head:i]]
                    inside = scopes and scopes[-1] != "scope"
                    if inside:
                        scopes.append("block")
                    elif words and (words[0] in ("namespace", "class", "struct", "enum", "union", "extern") or
                                    (words[0] == "template" and "(" not in words)):
                        scopes.append("scope")
                    elif "(" in words and "=" not in words and self.tokens[i - 1].text in (
                            ")", "noexcept", "const", "override", "final", "}", *words[-1:]):
                        scopes.append("function")
                        self.bodies.append([head, i, None])
                    else:
                        scopes.append("block")
                    head = i + 1
            elif token.text in ")]}" and opened:
                start = opened.pop()
                self.partner[start], self.partner[i] = i, start
                if token.text == "}":
                    if scopes and scopes.pop() == "function":
                        self.bodies[-1][2] = i
                    head = i + 1
            elif token.text == ";" and not any(self.tokens[place].text != "{" for place in opened):
                head = i + 1

    def spaced(self, i):
        token = self.tokens[i]
        return self.text[token.at - 1].isspace() and self.text[token.end:token.end + 1].isspace()

    def add(self, kind, first, last, put):
        """Replaces the tokens first to last."""
        mutant = Mutant(self.path, kind, self.text, self.tokens[first].at, self.tokens[last].end, put)
        if mutant.after != mutant.before:
            self.found.append(mutant)

    def inner(self, i):
        """The text between a bracket and its partner."""
        return self.text[self.tokens[i].end:self.tokens[self.partner[i]].at].strip()


def excluded(source):
    """Tokens of static_assert, attributes, template heads and using: no object code."""
    out = set()
    tokens = source.tokens
    for i, token in enumerate(tokens):
        if token.text == "static_assert" and i + 1 in source.partner:
            out.update(range(i, source.partner[i + 1] + 1))
        elif token.text == "[" and i + 1 < len(tokens) and tokens[i + 1].text == "[" and i in source.partner:
            out.update(range(i, source.partner[i] + 1))
        elif token.text in ("using", "namespace"):
            j = i
            while j < len(tokens) and tokens[j].text not in (";", "{"):
                out.add(j)
                j += 1
        elif token.text == "template":
            j, depth = i + 1, 0
            while j < len(tokens):
                depth += {"<": 1, ">": -1, ">>": -2}.get(tokens[j].text, 0)
                out.add(j)
                if depth <= 0:
                    break
                j += 1
    return out


def operators(source, out):
    tokens = source.tokens
    for i, token in enumerate(tokens):
        if i in out or token.kind != "op" or i == 0:
            continue
        before = tokens[i - 1].text
        if token.text in SPACED and source.spaced(i) and before != "operator":
            kind, others = SPACED[token.text]
            for other in others:
                source.add(kind, i, i, other)
        elif token.text in ("++", "--"):
            source.add("sign", i, i, "--" if token.text == "++" else "++")
        elif token.text in ("-", "!", "~") and (before in ("return", "case") or not (
                tokens[i - 1].kind in ("name", "number") or before in (")", "]", "operator"))):
            source.add("sign" if token.text != "!" else "condition", i, i, "")


def indices(source, out):
    tokens = source.tokens
    for i, token in enumerate(tokens):
        if i in out or token.text != "[" or i not in source.partner or i < 2:
            continue
        before, further = tokens[i - 1], tokens[i - 2]
        is_declared = further.kind == "name" and further.text != "return" or further.text in (">", "&", "*") and \
            not source.spaced(i - 2)
        if before.text not in (")", "]") and (before.kind != "name" or before.text in KEYWORDS or is_declared):
            continue
        last = source.partner[i]
        if last == i + 1 or tokens[last - 1].text in ("=", "&"):
            continue
        if last == i + 2 and tokens[i + 1].text.isdigit():
            value = int(tokens[i + 1].text)
            source.add("index", i + 1, i + 1, str(value + 1))
            if value > 0:
                source.add("index", i + 1, i + 1, str(value - 1))
        else:
            source.add("index", i + 1, last - 1, source.inner(i) + " + 1")
            source.add("index", i + 1, last - 1, source.inner(i) + " - 1")


def changed_number(text):
    """Another number of the same form: a whole one more, or a real one with another last digit."""
    form = re.fullmatch(r"0([0-7]+)([uUlL]*)", text)
    if form:
        return f"0{int(form[1], 8) + 1:o}{form[2]}"
    form = re.fullmatch(r"(\d[\d']*)([uUlLzZ]*)", text)
    if form:
        return str(int(form[1].replace("'", "")) + 1) + form[2]
    form = re.fullmatch(r"(0[xX][\da-fA-F']+)([uUlL]*)", text)
    if form:
        return hex(int(form[1].replace("'", ""), 16) + 1) + form[2]
    form = re.fullmatch(r"((?:0[xX])?[\da-fA-F]*\.?[\da-fA-F]*?)(\d)((?:[eEpP][+-]?\d+)?[fFlL]?)", text)
    if form:
        # 0.0 becomes 1.0, so that a zero becomes something else than nearly one.
        digits = form[1] + form[2]
        if not re.search(r"[1-9a-fA-F]", re.sub(r"^0[xX]", "", digits)):
            return re.sub(r"0", "1", digits, count=1) + form[3] if not digits.lower().startswith("0x") else None
        return form[1] + str((int(form[2]) + 1) % 10) + form[3]
    return None


def literals(source, out):
    subscripts = set()
    for i, token in enumerate(source.tokens):
        if token.text == "[" and i in source.partner:
            subscripts.update(range(i, source.partner[i]))
    for i, token in enumerate(source.tokens):
        if i in out or i in subscripts:
            continue
        if token.text in ("true", "false"):
            source.add("literal", i, i, "false" if token.text == "true" else "true")
        elif token.kind == "number":
            put = changed_number(token.text)
            if put is not None:
                source.add("literal", i, i, put)
        elif token.kind == "string" and re.search(r"[A-Za-z0-9]\"$", token.text):
            source.add("literal", i, i, token.text[:-2] + ("x" if token.text[-2] != "x" else "y") + '"')
        elif token.kind == "char" and re.fullmatch(r"'[A-Ya-y0-8 !.]'", token.text):
            source.add("literal", i, i, f"'{chr(ord(token.text[1]) + 1)}'")


def is_variable(tokens, i):
    after = tokens[i + 1].text if i + 1 < len(tokens) else ""
    before = tokens[i - 1].text if i else ""
    return tokens[i].kind == "name" and tokens[i].text not in KEYWORDS and after not in ("(", "::", "<", "{") and \
        before not in ("::", "goto", ">") and not (i + 1 < len(tokens) and tokens[i + 1].kind == "name") and \
        not (after in ("&", "*") and i + 2 < len(tokens) and tokens[i + 1].end != tokens[i + 2].at and
             tokens[i].end == tokens[i + 1].at)


def names(source, out):
    """A name gives place to the most similar ones of its function, arguments to their neighbours."""
    tokens = source.tokens
    for head, begin, end in source.bodies:
        if end is None:
            continue
        known = {True: {}, False: {}}  # members, others
        for i in range(head, end):
            if is_variable(tokens, i):
                known[tokens[i - 1].text in (".", "->")][tokens[i].text] = True
        for i in range(begin, end):
            if i in out or not is_variable(tokens, i) or tokens[i - 1].kind == "name" and tokens[i - 1].text != "return":
                continue
            others = [name for name in known[tokens[i - 1].text in (".", "->")] if name != tokens[i].text]
            others.sort(key=lambda name: -difflib.SequenceMatcher(None, name, tokens[i].text).ratio())
            for other in others[:2]:
                source.add("name", i, i, other)
        for i in range(begin, end):
            if tokens[i].text != "(" or i not in source.partner or tokens[i - 1].kind != "name" or i in out or \
                    tokens[i - 1].text in ("if", "while", "for", "switch", "return"):
                continue
            last, starts, depth = source.partner[i], [i + 1], 0
            for j in range(i + 1, last):
                depth += {"(": 1, "[": 1, "{": 1, ")": -1, "]": -1, "}": -1}.get(tokens[j].text, 0)
                if tokens[j].text == "," and depth == 0:
                    starts.append(j + 1)
            starts.append(last + 1)
            for a, b, c in zip(starts, starts[1:], starts[2:]):
                first = source.text[tokens[a].at:tokens[b - 2].end]
                second = source.text[tokens[b].at:tokens[c - 2].end]
                source.add("name", a, c - 2, f"{second}, {first}")


def path_end(source, i, end):
    """Behind `*a.b[c](d)->e`, from which a statement may begin; None for anything else."""
    tokens = source.tokens
    while i < end and tokens[i].text in ("*", "++", "--"):
        i += 1
    if i < end and tokens[i].text == "(" and i in source.partner:
        i = source.partner[i] + 1
    elif i < end and tokens[i].kind == "name" and (tokens[i].text not in KEYWORDS or tokens[i].text == "this"):
        i += 1
    else:
        return None
    while i < end:
        if tokens[i].text in (".", "->", "::") and tokens[i + 1].kind == "name":
            i += 2
        elif tokens[i].text in ("[", "(") and i in source.partner:
            i = source.partner[i] + 1
        else:
            return i
    return i


def statements(source, out):
    tokens = source.tokens
    for _, begin, end in source.bodies:
        if end is None:
            continue
        for i in range(begin, end):
            if i in out or tokens[i].text not in (";", "{", "}", ":") or i + 1 >= end:
                continue
            first = i + 1
            if tokens[first].text in ("break", "continue"):
                source.add("statement", first, first, "")
                continue
            at = path_end(source, first, end)
            if at is None or tokens[at].text not in ASSIGNMENTS | {"++", "--", ";"}:
                continue
            depth = 0
            while at < end and (tokens[at].text != ";" or depth):
                depth += {"(": 1, "[": 1, "{": 1, ")": -1, "]": -1, "}": -1}.get(tokens[at].text, 0)
                if depth < 0:
                    break
                at += 1
            if tokens[at].text == ";" and at > first:
                source.add("statement", first, at, ";")


def returns(source, out):
    tokens = source.tokens
    for head, begin, end in source.bodies:
        if end is None:
            continue
        gives = [i for i in range(begin, end) if tokens[i].text == "return" and i not in out]
        valued = [i for i in gives if tokens[i + 1].text != ";"]
        if tokens[begin + 1].text not in ("}", "return"):
            mutant = Mutant(source.path, "return", source.text, tokens[begin].end, tokens[begin].end,
                            " return {};" if valued else " return;")
            mutant.after = f"{source.text[tokens[head].at:tokens[begin].at]} {{{mutant.put}"
            mutant.after = " ".join(mutant.after.split())
            source.found.append(mutant)
        for i in valued:
            last = i + 1
            while tokens[last].text != ";" or any(
                    source.partner.get(j, 0) > last for j in range(i, last) if tokens[j].text in "([{"):
                last += 1
            if tokens[i + 1].text not in ("true", "false") and last > i + 1:
                source.add("return", i + 1, last - 1, "{}")


def conditions(source, out):
    tokens = source.tokens
    for i, token in enumerate(tokens):
        if i in out or token.text not in ("if", "while") or i + 1 not in source.partner:
            continue
        inner = source.inner(i + 1)
        if ";" in inner or re.match(r"(const |auto )", inner):
            continue
        first, last = i + 2, source.partner[i + 1] - 1
        source.add("condition", first, last, f"!({inner})")
        if token.text == "if":
            source.add("condition", first, last, "true")
        source.add("condition", first, last, "false")


def mutants_of(path, text):
    """Every change of a source, each with a key of its own."""
    source = Source(path, text)
    out = excluded(source)
    for look in (operators, indices, literals, names, statements, returns, conditions):
        look(source, out)
    seen = collections.Counter()
    for mutant in sorted(source.found, key=lambda mutant: (mutant.at, mutant.end, mutant.put)):
        place = (mutant.kind, mutant.before, mutant.after)
        seen[place] += 1
        told = "\0".join((path, *place, str(seen[place])))
        mutant.key = hashlib.sha1(told.encode()).hexdigest()[:10]
    unique = {}
    for mutant in source.found:
        unique.setdefault((mutant.at, mutant.end, mutant.put), mutant)
    return list(unique.values())


def in_random_order(mutants, seed):
    """One of each kind in turn. A mutant's place depends on its key, so that other changes of the sources leave it."""
    queues = collections.defaultdict(list)
    for mutant in mutants:
        rank = hashlib.sha1(f"{seed}:{mutant.key}".encode()).hexdigest()
        bisect.insort(queues[mutant.kind], (rank, mutant.key, mutant), key=lambda entry: entry[:2])
    turn = 0
    ordered = []
    while any(turn < len(queue) for queue in queues.values()):
        ordered += [queues[kind][turn][2] for kind in KINDS if turn < len(queues[kind])]
        turn += 1
    return ordered


ITSELF = """
constexpr double kHalf = 0.5;
// a comment with a < b
int sum(const int* values, int count, int first)
{
    int total = 0;
    for (int i = first; i < count; ++i) {
        if (values[i] > 3 && !skipped(values, i)) {
            total += values[i];
        }
    }
    return total;
}
"""
# Kind, and the line that it makes.
EXPECTED = [
    ("sign", "total -= values[i];"), ("sign", "for (int i = first; i < count; --i) {"),
    ("comparison", "for (int i = first; i <= count; ++i) {"), ("comparison", "if (values[i] > 3 || !skipped(values, i)) {"),
    ("index", "total += values[i + 1];"), ("name", "if (values[i] > 3 && !skipped(i, values)) {"),
    ("name", "for (int i = count; i < count; ++i) {"), ("literal", "constexpr double kHalf = 0.6;"),
    ("literal", "if (values[i] > 4 && !skipped(values, i)) {"), ("statement", ";"), ("return", "return {};"),
    ("return", "int sum(const int* values, int count, int first) { return {};"),
    ("condition", "if (!(values[i] > 3 && !skipped(values, i))) {"), ("condition", "if (values[i] > 3 && skipped(values, i)) {"),
]


def itself():
    """The kinds of change that a small source does not get; nothing when all is well."""
    made = {(mutant.kind, mutant.after) for mutant in mutants_of("a.cpp", ITSELF)}
    wrong = [f"not made: {kind}: {line}" for kind, line in EXPECTED if (kind, line) not in made]
    wrong += [f"a change of a comment: {line}" for _, line in made if "comment" in line]
    ordered = in_random_order(mutants_of("a.cpp", ITSELF), 1)
    again = in_random_order(mutants_of("a.cpp", "int x;\n" + ITSELF), 1)
    if [m.key for m in ordered] != [m.key for m in again]:
        wrong.append("the order depends on the lines around")
    for text, other in (("3", "4"), ("0x1p-52", "0x2p-52"), ("1.570796326795", "1.570796326796"), ("0.0F", "1.0F"),
                        ("16384U", "16385U"), ("1e-12", "2e-12"), ("07777U", "010000U")):
        if changed_number(text) != other:
            wrong.append(f"{text} becomes {changed_number(text)}, expected {other}")
    return wrong

#!/usr/bin/env python3
"""docs/errors.md has every status, outcome, finding and message that there is, and no other.

    errors.py ROOT KOR LIBRARY    ROOT is the repository, KOR the program, LIBRARY the shared library
    errors.py --itself ROOT KOR LIBRARY    faults planted in the page are found

Numbers, names and texts are asked of program and library, names of enumerators are read from the public headers. Of the
messages of kor the fixed words are compared with the texts in the sources, both ways: what stands between two values.
"""
import ctypes
import json
import pathlib
import re
import subprocess
import sys

PAGE = "docs/errors.md"

# Folders whose texts reach the user of kor. What is found by these calls and assignments is a message or a part of one.
SOURCES = ["tools/kor", "recordings", "series", "session", "simulation", "platform"]
CALL = re.compile(r"\b(?:Misuse|Failure|warn|complain|refuse\w*|fail\w*|noMemoryFor)\s*[({]")
ASSIGNED = re.compile(r"(?:[.\s](?:reason|found|expected|advice)|\bm_fault)\s*\+?=\s*")

# Texts found by CALL that no message holds, with the reason.
NO_MESSAGES = {
    "--mcs off": "an option that stands for OPTION",
}


def without_comments(text):
    """C++ without comments and without characters in quotes."""
    return re.sub(r'(R"\(.*?\)"|"(?:\\.|[^"\\\n])*")|//[^\n]*|/\*.*?\*/' + r"|'(?:\\.|[^'\\])'",
                  lambda found: found[1] or " ", text, flags=re.S)


def end_of(text, at):
    """Where the bracket that opens at a place is closed."""
    depth = 0
    while at < len(text):
        if text[at] == '"':
            at += 1
            while text[at] != '"':
                at += 2 if text[at] == "\\" else 1
        elif text[at] in "({":
            depth += 1
        elif text[at] in ")}":
            depth -= 1
            if depth == 0:
                return at
        at += 1
    return at


def literals(expression):
    """The strings of an expression; those that stand side by side are one."""
    expression = re.sub(r'R"\((.*?)\)"', lambda found: '"' + found[1].replace('"', '\\"') + '"', expression)
    for run in re.finditer(r'"(?:\\.|[^"\\])*"(?:\s*"(?:\\.|[^"\\])*")*', expression):
        text = "".join(re.findall(r'"((?:\\.|[^"\\])*)"', run[0]))
        yield text.replace('\\"', '"').replace("\\n", "\n").replace("\\\\", "\\")


def fragments(text):
    """What stands between two values of a message, if that is two words at least."""
    for part in re.split(r"\{[^{}]*\}|\n", text):
        part = " ".join(part.split()).strip(" :;,.'\"()")
        if len(re.findall(r"[A-Za-z]{2,}", part)) >= 2:
            yield part


def sources(root):
    for folder in SOURCES:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in (".cpp", ".h"):
                yield path, without_comments(path.read_text(encoding="utf-8"))


def messages_of(root):
    """(place, fragment) of all messages of the sources."""
    for path, text in sources(root):
        spans = [text[call.end() - 1:end_of(text, call.end() - 1)] for call in CALL.finditer(text)]
        spans += [text[found.end():re.compile(r"[;}]").search(text, found.end()).start()] for found in ASSIGNED.finditer(text)]
        for span in spans:
            for literal in literals(span):
                for fragment in fragments(literal):
                    yield path.relative_to(root), fragment


def sections(page):
    """The text of each section by its heading."""
    parts = re.split(r"^#+ (.*)$", page, flags=re.M)
    return dict(zip(parts[1::2], parts[2::2]))


def rows(text):
    """The cells of the rows of a section's tables, without their headings."""
    for table in re.findall(r"(?:^\|.*\n)+", text + "\n", flags=re.M):
        for line in table.splitlines()[2:]:
            yield [cell.strip().replace("\\|", "|") for cell in re.split(r"(?<!\\)\|", line)[1:-1]]


def codes(cell):
    """What stands in code in a cell, with the blanks that are part of it."""
    return re.findall(r"`([^`]*)`", cell)


def enumerators(text, name):
    """{name: number} of an enumeration in a header."""
    body = re.search(r"enum (?:class )?" + name + r"[^{;]*\{(.*?)\n\};", text, flags=re.S)[1]
    body = re.sub(r"//[^\n]*", "", body)
    return {key: int(value) for key, value in re.findall(r"(\w+) = (-?\d+)", body)}


class Facts:
    """What program, library and headers say."""

    def __init__(self, root, kor, library):
        headers = root / "include/KORInterface"
        self.session = (headers / "Session.h").read_text(encoding="utf-8")
        self.status = (headers / "Status.h").read_text(encoding="utf-8")
        self.c = (headers / "kor.h").read_text(encoding="utf-8")
        self.loaded = ctypes.CDLL(str(library))
        texts = [re.sub(r"\{[^{}]*\}", "\n", literal) for _, text in sources(root) for literal in literals(text)]
        texts.append((root / "params/file/messages.txt").read_text(encoding="utf-8"))
        self.pool = plain("\n".join(texts))

        def run(*arguments):
            return subprocess.run([kor, *arguments], check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                  encoding="utf-8")
        listed = run("--help").stdout.split("Exit statuses:\n")[1]
        self.exits = {int(number) for number in re.findall(r"^  (\d+)", listed, flags=re.M)}
        self.rules = {rule["rule"]: rule["severity"] for rule in json.loads(run("prm", "check", "--rules", "--json").stdout)}
        folder = root / "data/polarizer"
        summary = run("replay", "--prm", str(folder), "--id", "1005", "--summary", "json", str(folder / "polarizer.csv")).stderr
        self.outcomes = list(json.loads(summary)["outcomes"])

    def text(self, function, number):
        call = getattr(self.loaded, function)
        call.restype = ctypes.c_char_p
        return call(number).decode()


def differences(what, found, wanted):
    """What a table lacks, and what it has too much."""
    return ([f"{what}: {each} is missing" for each in wanted if each not in found] +
            [f"{what}: {each} is there, and nothing is called so" for each in found if each not in wanted])


def check(page, facts, told):
    """What is wrong with a page."""
    wrong, section = [], sections(page)
    table = {name: list(rows(text)) for name, text in section.items()}

    wrong += differences("exit statuses", [int(row[0]) for row in table["Exit statuses"]], facts.exits)

    names = {number: {name} for name, number in enumerators(facts.status, "StatusCode").items()}
    for name, number in enumerators(facts.c, "kor_status").items():
        names.setdefault(number, set()).add(name)
    wrong += differences("status codes", [(int(row[0]), sorted(codes(row[1])), row[2]) for row in
                                          table["Status codes of the library"]],
                         [(number, sorted(each), facts.text("kor_status_text", number)) for number, each in names.items()])

    # Rows of outcomes: name in results, name and perhaps reason in a host, text.
    outcomes, reasons = enumerators(facts.session, "SampleOutcome"), enumerators(facts.session, "NoMatrixReason")
    wanted = [((name,), facts.text("kor_outcome_text", number)) for name, number in outcomes.items() if name != "noMatrix"]
    wanted += [(("noMatrix", name), "no matrix: " + facts.text("kor_reason_text", number))
               for name, number in reasons.items() if name != "none"]
    of_page = table["Outcomes of a sample"]
    wrong += differences("outcomes in results", [name for row in of_page for name in codes(row[0])], facts.outcomes)
    wrong += differences("outcomes in a host", [(tuple(codes(row[1])), row[2]) for row in of_page], wanted)
    for name, number in enumerators(facts.session, "SpoiledBy").items():
        if name != "nothing" and f"`{name}` ({facts.text('kor_spoiled_text', number)})" not in section["Outcomes of a sample"]:
            wrong.append(f"outcomes: `{name}` with its text is missing")

    kinds = enumerators(facts.session, "FindingKind"), enumerators(facts.c, "kor_finding_kind")
    wrong += differences("findings of a read", [tuple(codes(row[0])) for row in table["Findings of a read"]],
                         [pair for pair in zip(*kinds)])
    wrong += differences("findings of the check", [(codes(row[0])[0], row[1]) for row in
                                                   table["Findings of the parameter check"]], list(facts.rules.items()))
    wrong += differences("messages", [(int(row[0]), codes(row[1])[0]) for row in table["Messages of the parameter file"]],
                         [(number, facts.text("kor_message_text", number)) for number in range(601, 625)])
    wrong += [f"{name}: the row of {row[0]} has no remedy" for name, its in table.items() for row in its
              if not any(row[1:])]

    # Messages of kor: from there on.
    words = " ".join(page[page.index("## Messages of kor"):].replace("\\|", "|").split())
    for place, fragment in told:
        if fragment not in words and fragment not in NO_MESSAGES:
            wrong.append(f"{place}: \"{fragment}\" stands nowhere in {PAGE}")
    begun = False
    for name, its in table.items():
        begun = begun or name == "Messages of kor"
        for message in [code for row in its for code in codes(row[0])] if begun else []:
            for part in re.split(BETWEEN, message):
                if not known(plain(part).split(), facts.pool):
                    wrong.append(f"{PAGE}: `{message}`: no text of the sources has \"{part.strip()}\"")
    return wrong


# What stands between the fixed words of a message in the page: stand-ins, numbers, and what all messages have.
BETWEEN = r"[\"'$]*\b[A-Z][A-Z]*\b[\"']*|-?\b\d[\de]*\b|\b(?:found|expected)\b|[;:,]"


def plain(text):
    """Without quotation marks and punctuation."""
    return "\n".join(" ".join(re.sub(r"[\"'(),;:.]", " ", line).split()) for line in text.splitlines())


def known(words, pool):
    """Whether words are those of a text of the sources, or of few that stand one behind the other."""
    count = len(words)
    pieces, at = 0, 0
    while at < count:
        end = count
        while end > at + 1 and " ".join(words[at:end]) not in pool:
            end -= 1
        pieces, at = pieces + 1, end
    return count < 3 or pieces <= (count + 1) / 2


PLANTS = [  # what is replaced, by what, and what has to be found
    (r"\| 71 \|", "| 72 |", "exit statuses"),
    (r"\| 551 \| `kNotLoaded`", "| 551 | `kUnloaded`", "status codes"),
    (r"`rejected_status`", "`rejected`", "outcomes in results"),
    (r"`bothLevelsExcluded`", "`bothLevelsOut`", "outcomes in a host"),
    (r"`processValues` \(values", "`processValues` (numbers", "outcomes"),
    (r"`shortTable`", "`longTable`", "findings of a read"),
    (r"\| `tilt-rows` \| warning", "| `tilt-rows` | error", "findings of the check"),
    (r"is not foun\.`", "is not found.`", "messages"),
    (r"`--view shows one recording`", "`--view shows all recordings`", "--view shows"),
    (r"\| `--view shows", "| `the sensor hangs upside down` | turn it |\n| `--view shows", "no text of the sources"),
    (r"\| `ignored-text` .*\n", "", "findings of the check"),
    (r"\| 65 \| bad recording.*\n", "| 65 | | | |\n", "no remedy"),
]


def main(arguments):
    itself = arguments[:1] == ["--itself"]
    root, kor, library = (pathlib.Path(argument).resolve() for argument in arguments[1 if itself else 0:])
    facts, told = Facts(root, str(kor), library), list(messages_of(root))
    page = (root / PAGE).read_text(encoding="utf-8")
    if itself:
        missed = [(old, new) for old, new, word in PLANTS
                  if not re.search(old, page) or
                  not any(word in each for each in check(re.sub(old, new, page, count=1), facts, told))]
        print("\n".join(f"not found: {old} in place of {new}" for old, new in missed) or f"{len(PLANTS)} faults")
        return 1 if missed else 0
    wrong = check(page, facts, told)
    print("\n".join(wrong) if wrong else f"{len(told)} parts of messages")
    return 1 if wrong or not told else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))

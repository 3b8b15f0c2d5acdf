#!/usr/bin/env python3
"""Keeps the sources valid for compilers that are not at hand, first of all MSVC.

    export_lint.py ROOT      reads the sources below ROOT; exit status 1 and one line for each finding
    export_lint.py --itself  shows that every rule finds what it is there for

Rules:
  export    public classes and functions carry KORINTERFACE_API, but for plain records and what is all inline
  member    data members of standard-library types in exported classes are those listed here: such a type is not
            exported itself (MSVC warning C4251), so host and library must be built with the same standard library
  extension no compiler extension outside Export.h
  posix     no POSIX header and no POSIX-only name outside the files that ask for the operating system
"""
import re

import harness

MEMBERS = {
    ("CKorThreeVec2Levelv2", "m_logStream"),  # its place and type are part of the class
    ("CStyloPRM", "entries"),                 # the growable sequence of the record
}
SOURCES = ("include", "mek", "platform", "models", "params", "engine", "module", "session", "capi", "recordings", "simulation",
           "accuracy", "tools", "examples")
# A program with wide arguments has another entry point on Windows.
ASKS_FOR_SYSTEM = re.compile(r"platform/(posix/.*|windows/.*|Lock\.h)|examples/host\.cpp")
EXTENSION = re.compile(r"__attribute__|__builtin_|__extension__|__typeof__|\btypeof\b|__int128|__restrict|__asm__|"
                       r"#\s*pragma\s+GCC|#\s*include_next|#\s*include\s*<bits/|(?<![\w>])\(\{")
POSIX = re.compile(r"#\s*include\s*<(unistd\.h|dlfcn\.h|pthread\.h|dirent\.h|strings\.h|fcntl\.h|sys/[^>]*|spawn\.h|"
                   r"windows\.h|io\.h)>|\b(M_PI|ssize_t|alloca|strcasecmp|localtime_r|gmtime_r|_WIN32)\b")
FIXED_WIDTH = re.compile(r"std::(u?int\d+_t|size_t|ptrdiff_t|nullptr_t)\b")
TYPE = re.compile(r"^(?:template\s*<.*>\s*)?(class|struct)\s+(KORINTERFACE_API\s+)?(\w+)(?:\s*:[^:].*)?$")


def stripped(text):
    """Without comments and the content of literals, the lines in their places."""
    pattern = re.compile(r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'', re.S)
    return pattern.sub(lambda m: ('""' if m.group(0)[0] in "\"R" else " ") + "\n" * m.group(0).count("\n"), text)


def statements(text):
    """Each declaration with the names around it: (line, enclosing types, text, opens a block).

    Bodies of functions and initialisers are passed over.
    """
    text = re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", "", text, flags=re.M)
    scopes, piece, start, line, at, skipping = [], "", 1, 1, 0, 0
    while at < len(text):
        c = text[at]
        at += 1
        line += c == "\n"
        if skipping:
            skipping += (c == "{") - (c == "}")
            continue
        if c not in "{};":
            if not piece.strip():
                start = line
            piece += c
            continue
        piece = re.sub(r"\b(public|protected|private)\s*:(?!:)", " ", piece)
        words = " ".join(piece.split())
        kind = TYPE.match(words)
        if c == "{":
            yield start, list(scopes), words, True
            if kind:
                scopes.append((kind.group(3), bool(kind.group(2))))
            elif re.match(r"(inline )?namespace\b|extern\b", words):
                scopes.append(None)
            else:
                skipping = 1
        elif c == ";":
            if words:
                yield start, list(scopes), words, False
        elif scopes:
            scopes.pop()
        piece = ""


def check_exports(name, text):
    types, declares, defines = {}, set(), set()
    for line, scopes, words, opens in statements(stripped(text)):
        kind = TYPE.match(words)
        owner = next((scope for scope in reversed(scopes) if scope), None)
        if kind:
            if opens:
                types[kind.group(3)] = (line, kind.group(1), bool(kind.group(2)))
            continue
        is_function = "(" in words and not re.match(r"(using|typedef|static_assert|friend|enum)\b", words)
        if owner is None:
            if is_function and not re.match(r"(template|inline|constexpr|static)\b", words) and \
                    not opens and "KORINTERFACE_API" not in words:
                yield f"{name}:{line}: export: {words}"
            continue
        if is_function:
            inside = opens or re.search(r"=\s*(default|delete)$", words)
            (defines if inside else declares).add(owner[0])
        elif owner[1] and "std::" in FIXED_WIDTH.sub("", words) and not re.match(r"(using|typedef|friend)\b", words):
            member = re.sub(r"\s*(=.*|\[.*)?$", "", words).split()[-1].lstrip("*&")
            if (owner[0], member) not in MEMBERS:
                yield f"{name}:{line}: member: {owner[0]}::{member} is of a standard-library type"
    for type_name, (line, keyword, exported) in types.items():
        if not exported and (type_name in declares or (keyword == "class" and type_name not in defines)):
            yield f"{name}:{line}: export: {type_name} lacks KORINTERFACE_API"


def check_portable(name, text):
    for number, line in enumerate(stripped(text).splitlines(), start=1):
        if not name.endswith("/Export.h"):
            found = EXTENSION.search(line)
            if found:
                yield f"{name}:{number}: extension: {found.group(0)}"
            found = POSIX.search(line)
            if found and not ASKS_FOR_SYSTEM.fullmatch(name):
                yield f"{name}:{number}: posix: {found.group(0)}"


def check(name, text):
    if name.startswith("include/") and not name.endswith("/Export.h"):
        yield from check_exports(name, text)
    yield from check_portable(name, text)


def itself():
    wanted = [
        ("class A { int m; };", "export"),
        ("struct A { int f() const; };", "export"),
        ("int f(int);", "export"),
        ("namespace n { class A {}; }", "export"),
        ("class KORINTERFACE_API A { public: class B { int m; }; };", "export"),
        ("class KORINTERFACE_API A { std::string m_name; };", "member"),
        ("class KORINTERFACE_API A : public B {\npublic:\n    A();\nprivate:\n    std::vector<int> m_v;\n};", "member"),
        ("class KORINTERFACE_API A { int f() { return 1; } std::shared_ptr<float> m_p = nullptr; };", "member"),
        ("static int a __attribute__((aligned(8)));", "extension"),
        ("inline int g() { return ({ 1; }); }", "extension"),
        ("#include <unistd.h>", "posix"),
        ("const double pi = M_PI;", "posix"),
        ("class KORINTERFACE_API A { A(const A& o); std::int32_t m; double d[3]; std::uint8_t b[2]; };", None),
        ("struct P { float x; float y; std::int32_t z[3]; };", None),
        ("inline std::string f(int a) { std::string s; return s; }", None),
        ("KORINTERFACE_API int f(A& a);", None),
        ("class KORINTERFACE_API A { void f(const std::string& s); /* std::string m; */ };", None),
        ("class A;", None),
        ("namespace n { class A { public: A() : m(0) {} int f() const { return m; } private: int m; }; }", None),
        ("// class A { int m; };\nconst char* const t = \"M_PI\";", None),
    ]
    return harness.judge(wanted, lambda text: check("include/x/X.h", text))


def over(root):
    files = [file for folder in SOURCES for file in sorted((root / folder).rglob("*")) if file.suffix in (".h", ".cpp")]
    findings = [finding for file in files
                for finding in check(file.relative_to(root).as_posix(), file.read_text(encoding="utf-8"))]
    # A member that has gone must leave the list, too.
    headers = {file.stem: stripped(file.read_text(encoding="utf-8")) for file in files if "include" in file.parts}
    findings += [f"member: {owner}::{member} is listed but not there" for owner, member in sorted(MEMBERS)
                 if not any(f" {owner} " in text and f" {member};" in text for text in headers.values())]
    return harness.report(files, findings, least=50)


if __name__ == "__main__":
    harness.main(itself, over)

#!/usr/bin/env python3
"""Holds the C# declarations against the headers of the C interface.

    csharp.py ROOT     reads kor.h, Records.h and examples/KorExample.cs; exit status 1 and one line for each difference
    csharp.py --itself shows that differences are found

Every function is declared with as many parameters of fitting types; every record and structure has the same fields in the
same order at the same offsets; every enumeration has the same names and numbers. An array of C is a row of fields with
numbers behind their names.
"""
import pathlib
import re
import sys

C_SIZES = {"uint8_t": 1, "int32_t": 4, "uint32_t": 4, "float": 4, "uint64_t": 8, "double": 8}
SHARP_SIZES = {"byte": 1, "int": 4, "uint": 4, "float": 4, "ulong": 8, "double": 8}
SAME = {"uint8_t": "byte", "int32_t": "int", "uint32_t": "uint", "float": "float", "uint64_t": "ulong", "double": "double"}
RECORDS = {"D_VECTOR2": "DVector2", "D_VECTOR3": "DVector3", "F_VECTOR2": "FVector2", "F_VECTOR4": "FVector4",
           "KOR_RAWINFO": "RawInfo", "KOR_INFO": "Info"}
ENUMS = {"kor_text": "TextPart"}
PREFIXES = {"kor_status": "KOR_", "kor_mode": "KOR_MODE_", "kor_finding_kind": "KOR_FINDING_"}
HANDLES = {"kor_prm", "kor_engine", "kor_reader", "kor_writer"}


def camel(words):
    return "".join(word[:1].upper() + word[1:].lower() for word in words.split("_"))


def sharp_name(c_name):
    return RECORDS.get(c_name) or ENUMS.get(c_name) or camel(c_name.removeprefix("kor_"))


def without_comments(text):
    return re.sub(r"//[^\n]*|/\*.*?\*/", " ", text, flags=re.S)


def laid_out(fields, sizes):
    """Fields with their offsets: each at a multiple of its size."""
    at, found = 0, []
    for name, kind in fields:
        at = -(-at // sizes[kind]) * sizes[kind]
        found.append((name, kind, at))
        at += sizes[kind]
    return found


def c_structs(text):
    for name, body in re.findall(r"struct (\w+) \{(.*?)\}", text, re.S):
        fields = []
        for kind, field, count in re.findall(r"(\w+) (\w+)(?:\[(\d+)\])?;", body):
            base = field[:1].upper() + field[1:] if name in RECORDS else camel(field)
            names = [base] if not count else [f"{base}{i}" for i in range(int(count))]
            fields += [(each, kind) for each in names]
        yield name, laid_out(fields, C_SIZES)


def sharp_structs(text):
    for name, body in re.findall(r"\[StructLayout\(LayoutKind\.Sequential\)\]\s*public struct (\w+)\s*\{(.*?)\}", text, re.S):
        fields = []
        for kind, names in re.findall(r"public (\w+) ([\w, ]+);", body):
            fields += [(each.strip(), kind) for each in names.split(",")]
        yield name, laid_out(fields, SHARP_SIZES)


def numbers(body):
    """Names and numbers of an enumeration."""
    return {name: -2**31 if value.strip() in ("-2147483647 - 1", "int.MinValue") else int(value)
            for name, value in re.findall(r"(\w+) = ([^,\n}]+)", body)}


def fits(c_type, sharp_type):
    """Whether a parameter of C# passes what one of C expects."""
    bare = c_type.replace("const ", "").rstrip("*")
    stars = c_type.count("*")
    sharp = re.sub(r"^\[In, Out\] ", "", sharp_type)
    if bare in HANDLES:
        return sharp == ("out IntPtr" if stars == 2 else "IntPtr")
    if bare == "char":
        return sharp == "byte[]"
    if bare == "size_t":
        return sharp == ("UIntPtr" if stars == 0 else "out UIntPtr")
    if bare in SAME:
        plain = SAME[bare]
    else:
        plain = sharp_name(bare)
    if stars == 0:
        return sharp == plain
    forms = {f"{plain}[]", f"in {plain}", f"ref {plain}"}
    if not c_type.startswith("const "):
        forms = {f"{plain}[]", f"out {plain}", f"ref {plain}"}
    return sharp in forms


def differences(header, records, sharp):
    header, records, sharp = (without_comments(text) for text in (header, records, sharp))
    theirs = dict(sharp_structs(sharp))
    for name, fields in list(c_structs(records)) + list(c_structs(header)):
        wanted = [(field, SAME[kind], at) for field, kind, at in fields]
        if theirs.pop(sharp_name(name), None) != wanted:
            yield f"struct {name}: the fields of {sharp_name(name)} are others"
    yield from (f"struct {name} is none of C" for name in theirs)

    enums = dict(re.findall(r"public enum (\w+)\s*\{(.*?)\}", sharp, re.S))
    for name, body in re.findall(r"enum (kor_\w+) \{(.*?)\}", header, re.S):
        prefix = PREFIXES.get(name, name.upper() + "_")
        wanted = {camel(each.removeprefix(prefix)): value for each, value in numbers(body).items()}
        if numbers(enums.pop(sharp_name(name), "")) != wanted:
            yield f"enum {name}: the numbers of {sharp_name(name)} are others"
    yield from (f"enum {name} is none of C" for name in enums)

    declared = {}
    for result, name, parameters in re.findall(r"static extern (\w+) (\w+)\(([^;]*)\);", sharp, re.S):
        parts = re.sub(r"\[In, Out\]", "[In+Out]", " ".join(parameters.split())).split(", ") if parameters.strip() else []
        declared[name] = result, [part.replace("[In+Out]", "[In, Out]").rsplit(" ", 1)[0] for part in parts]
    for result, name, parameters in re.findall(r"KORINTERFACE_API\s+([\w ]+\**) ?(kor_\w+)\(([^)]*)\);", header):
        found_result, found = declared.pop(name, (None, []))
        if found_result is None:
            yield f"{name} is not declared in C#"
            continue
        parts = [] if parameters == "void" else [" ".join(part.split()) for part in parameters.split(",")]
        types = [re.sub(r" ?(\**)\w+$", "", part.replace(" *", "* ")) if "*" not in part else
                 re.match(r"(.*\*)", part)[1].replace(" *", "*") for part in parts]
        if found_result != ("IntPtr" if result.strip().startswith("const char") else "int"):
            yield f"{name}: another result"
        if len(types) != len(found) or not all(fits(c, s) for c, s in zip(types, found)):
            yield f"{name}: {types} is declared as {found}"
    yield from (f"{name} is no function of kor.h" for name in declared)


def read(root):
    return [(pathlib.Path(root) / name).read_text(encoding="utf-8") for name in
            ("include/KORInterface/kor.h", "include/KORInterface/Records.h", "examples/KorExample.cs")]


def itself():
    files = read(pathlib.Path(__file__).parents[2])
    planted = [
        ("public uint Line;", "public int Line;"),
        ("public float AzimuthRaw;\n        public float ElevationRaw;", "public float ElevationRaw;\n        public float AzimuthRaw;"),
        ("        public int GoesOn;\n", ""),
        ("Valid = 6", "Valid = 5"),
        ("kor_reader_close", "kor_reader_shut"),
        ("int kor_engine_set_mount_mode(IntPtr engine, int mode)", "int kor_engine_set_mount_mode(IntPtr engine, uint mode)"),
        ("int kor_prm_get_mount_mode(IntPtr prm, out int mode)", "int kor_prm_get_mount_mode(IntPtr prm)"),
        ("public struct Problem", "public struct Trouble"),
    ]
    wrong = 0
    for old, new in planted:
        if old not in files[2] or not list(differences(files[0], files[1], files[2].replace(old, new))):
            print(f"not found: {new!r} in place of {old!r}")
            wrong += 1
    print(f"{len(planted)} differences, {wrong} not found")
    return 1 if wrong else 0


def main():
    if sys.argv[1] == "--itself":
        return itself()
    found = list(differences(*read(sys.argv[1])))
    print("\n".join(found + [f"{len(found)} differences"]))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())

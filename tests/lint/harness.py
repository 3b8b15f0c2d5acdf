"""What the lints have in common: a run over the files of a tree, and one over samples that have to be found."""
import pathlib
import subprocess
import sys


def tracked(root, endings):
    """Files that are in the repository or about to be: path from the root -> text."""
    listed = subprocess.run(["git", "-C", root, "ls-files", "-z", "--cached", "--others", "--exclude-standard"], check=True,
                            stdout=subprocess.PIPE).stdout.decode().split("\0")
    return {path: (root / path).read_text(encoding="utf-8", errors="replace") for path in sorted(listed)
            if path.endswith(endings) and (root / path).is_file()}


def judge(samples, check):
    """Runs a check of (sample, rule that it breaks or None) and ends with 1 if a finding is missing or too much."""
    wrong = 0
    for sample, rule in samples:
        found = {finding.split(": ")[1] for finding in check(sample)}
        if found != ({rule} if rule else set()):
            print(f"{sample!r}: wanted {rule}, found {found or None}")
            wrong += 1
    print(f"{len(samples)} samples, {wrong} wrong")
    return 1 if wrong else 0


def report(files, findings, more="", least=100):
    """Prints the findings. So few files mean that the tree was not found."""
    print("\n".join([*findings, f"{len(files)} files{more}, {len(findings)} findings"]))
    return 1 if findings or len(files) < least else 0


def main(itself, check):
    """`--itself`, or the root of the tree."""
    sys.exit(itself() if sys.argv[1:] == ["--itself"] else check(pathlib.Path(sys.argv[1])))

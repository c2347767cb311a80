#!/usr/bin/env python3
"""compare.py DIRECT DRIVEN EXPLAINED: which tests of two piglit results are lost in the second.

Exit status 1 when one is lost for which EXPLAINED has no reason."""
import bz2
import json
import pathlib
import sys

PASSED = {"pass", "warn"}


def load(folder):
    """The results of a run by test name."""
    for path in pathlib.Path(folder).glob("results.json*"):
        text = bz2.decompress(path.read_bytes()) if path.suffix == ".bz2" else path.read_bytes()
        return json.loads(text)["tests"]
    sys.exit(f"compare.py: {folder} has no results")


def reason_of(name, reasons):
    return next((reason for start, reason in reasons if name.lower().startswith(start.lower())), None)


def main(direct, driven, explained):
    reasons = []
    for line in pathlib.Path(explained).read_text().splitlines():
        if line and not line.startswith("#"):
            start, reason = line.split(" : ", 1)
            reasons.append((start, reason))
    expected, given = load(direct), load(driven)
    same = lost = unexplained = 0
    for name, result in sorted(expected.items()):
        other = given.get(name, {"result": "not run"})
        parts = [part for part, told in result.get("subtests", {}).items()
                 if told in PASSED and other.get("subtests", {}).get(part) not in PASSED]
        if result["result"] not in PASSED and not parts:
            continue
        if other["result"] in PASSED and not parts:
            same += 1
            continue
        reason = reason_of(name, reasons)
        lost += 1
        unexplained += reason is None
        print(f"{name}: {other['result']}" + (f", {len(parts)} parts" if parts else "") + f" ({reason or 'NO REASON KNOWN'})")
    print(f"{same} tests pass on both, {lost} are lost, {unexplained} of them without a reason")
    return unexplained != 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))

"""Prints what gcovr counted, file by file, and compares what was never taken with the list of what cannot be:
report.py COVERAGE_JSON LIST

A line of the list is FILE | line or branch | TEXT OF THE LINE | why.
"""

import collections
import json
import sys
from pathlib import Path


def count(file):
    """Lines and branches of a file: how many there are and how many were taken; and what was not."""
    source = Path(file["file"]).read_text().splitlines()
    totals, taken, untaken = [0, 0], [0, 0], []
    for line in file["lines"]:
        if line["gcovr/noncode"] or line["gcovr/excluded"]:
            continue
        text = source[line["line_number"] - 1].strip()
        totals[0] += 1
        taken[0] += line["count"] > 0
        if line["count"] == 0:
            untaken.append((file["file"], "line", text))
        for branch in line["branches"]:
            totals[1] += 1
            taken[1] += branch["count"] > 0
            if branch["count"] == 0 and line["count"] > 0:
                untaken.append((file["file"], "branch", text))
    return totals, taken, untaken


def listed(path):
    entries = [line.split(" | ") for line in Path(path).read_text().splitlines() if line and not line.startswith("#")]
    # The text of a line may itself hold the separator; the reason may not.
    return collections.Counter((entry[0], entry[1], " | ".join(entry[2:-1])) for entry in entries)


def main():
    coverage, explained = json.loads(Path(sys.argv[1]).read_text()), listed(sys.argv[2])
    all_totals, all_taken, all_untaken = [0, 0], [0, 0], collections.Counter()
    print(f"{'file':34}{'lines':>8}{'taken':>8}{'branches':>10}{'taken':>8}")
    for file in sorted(coverage["files"], key=lambda file: file["file"]):
        totals, taken, untaken = count(file)
        all_totals = [a + b for a, b in zip(all_totals, totals)]
        all_taken = [a + b for a, b in zip(all_taken, taken)]
        all_untaken.update(untaken)
        print(f"{file['file']:34}{totals[0]:8}{taken[0]:8}{totals[1]:10}{taken[1]:8}")
    print(f"{'all':34}{all_totals[0]:8}{all_taken[0]:8}{all_totals[1]:10}{all_taken[1]:8}")
    if not all_totals[0]:
        sys.exit("nothing was counted")

    missing, stale = all_untaken - explained, explained - all_untaken
    for title, entries in ("never taken", missing), ("listed as never taken, and taken", stale):
        for (file, kind, text), number in sorted(entries.items()):
            print(f"{title}: {file} | {kind} | {text}" + (f" ({number} times)" if number > 1 else ""))
    sys.exit(1 if missing or stale else 0)


main()

#!/usr/bin/env python3
"""The project's version, where pages and examples name it, and the form of CHANGELOG.md.

  versions_test.py SOURCES VERSION
"""
import pathlib
import re
import sys

# File: a pattern with one group that finds the version in it; how many of its numbers.
PLACES = (
    ("docs/first-minute.md", r"dorven[_-](\d[\d.]*\d)[_-]", 3),
    ("examples/host/CMakeLists.txt", r"find_package\(DorVenKameraPlugin (\S+) ", 2),
)
KINDS = ["Added", "Changed", "Fixed"]


def faults(sources, version):
    for name, pattern, numbers in PLACES:
        wanted = ".".join(version.split(".")[:numbers])
        found = re.findall(pattern, (sources / name).read_text(encoding="utf-8"))
        if not found:
            yield f"{name}: names no version"
        yield from (f"{name}: names {other}, and the version is {wanted}" for other in found if other != wanted)

    sections = re.split(r"^## ", (sources / "CHANGELOG.md").read_text(encoding="utf-8"), flags=re.MULTILINE)[1:]
    if not sections or not re.match(re.escape(version) + r"(?: \(unreleased\))?\n", sections[0]):
        yield f"CHANGELOG.md: its topmost version is not {version}"
    for section in sections:
        kinds = re.findall(r"^### (.*)", section, re.MULTILINE)
        if not kinds or kinds != [kind for kind in KINDS if kind in kinds]:
            yield f"CHANGELOG.md: {section.splitlines()[0]} has {kinds}, and not what stands in {KINDS}, in that order"


def main():
    wrong = list(faults(pathlib.Path(sys.argv[1]), sys.argv[2]))
    for line in wrong:
        print(line)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())

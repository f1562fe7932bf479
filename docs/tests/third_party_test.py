#!/usr/bin/env python3
"""Compares docs/third-party.md with the packages of scripts/setup.sh and with the notices that the build installs.

  third_party_test.py SOURCES
"""
import pathlib
import re
import sys

COPYRIGHT = "/usr/share/doc/{}/copyright"


def tables_of(page):
    """Heading: package: its licence, the last cell."""
    tables, rows = {}, {}
    for line in page.splitlines():
        if line.startswith("## "):
            rows = tables.setdefault(line[3:], {})
        row = re.match(r"\| `(\S+)` \|.*\| ([^|]+) \|$", line)
        if row:
            rows[row[1]] = row[2]
    return tables


def installed_by(setup):
    """Of every group: name=(packages), on one line or on several."""
    groups = re.findall(r"^\w+=\(([^)]+)\)", re.sub(r"#.*", "", setup), re.MULTILINE)
    return {package for names in groups for package in names.split()}


def noticed_by(cmake):
    lists = re.findall(r"(?:set|list)\((?:APPEND )?notices ([^)]*)\)", cmake)
    return {package for names in lists for package in names.split()}


def faults(sources):
    tables = tables_of((sources / "docs/third-party.md").read_text(encoding="utf-8"))
    shipped = tables["Part of what is shipped"]
    listed = set().union(*tables.values())
    noticed = noticed_by((sources / "cmake/Install.cmake").read_text(encoding="utf-8"))
    installed = installed_by((sources / "scripts/setup.sh").read_text(encoding="utf-8"))
    yield from (f"{name}: its notice is installed, and the page does not say so" for name in noticed - set(shipped))
    yield from (f"{name}: is said to be shipped, and its notice is not installed" for name in set(shipped) - noticed)
    yield from (f"{name}: scripts/setup.sh installs it, and the page does not name it" for name in installed - listed)
    yield from (f"{name}: on the page, and nothing installs it" for name in listed - installed - noticed)
    for name, licence in shipped.items():
        path = pathlib.Path(COPYRIGHT.format(name))
        if path.exists() and licence not in path.read_text(encoding="utf-8", errors="replace"):
            yield f"{name}: {path} has no licence '{licence}'"


def main():
    wrong = sorted(faults(pathlib.Path(sys.argv[1])))
    for line in wrong:
        print(line)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""Reads every statement that reports, and the table of reported places: no two statements report the same place.

  reported_places_test.py ROOT     ROOT: the folder of the whole source tree
"""
import collections
import pathlib
import re
import sys

FOLDERS = ("merror", "mfileio", "mstreams", "mutil", "mipc", "host_interface", "image_road", "DorVenKameraPlugin")
DEFINES_MACROS = ("errtrace.h", "massert.h", "reported_places.h")
HERE = re.compile(r"\b(?:M_TRACE|M_ERRLOG|M_ERRTRACE|M_ASSERT|M_HERE)\b")
# A number given to a macro, or one that a source keeps for its own calls of the libraries.
FIXED = re.compile(r"\bM_(?:TRACE|ASSERT)_AT\(\s*(\d+)|\bconstexpr int k\w*Line = (\d+);")
RAW = re.compile(r"\b_M(?:ErrLog|ErrTrace|Trace)_Location\(([^;]*)\)|\b__LINE__\b")


def rows(table, text):
    block = re.search(table + r"\[\] = \{(.*?)\n\};", text, re.S).group(1)
    return [re.findall(r'"([^"]*)"|(\d+)', row) for row in re.findall(r"\{ (.*?) \}", block)]


def read_table(root):
    text = (root / "merror/inc/reported_places.h").read_text()
    sources = {row[0][0]: (row[1][0], int(row[2][1])) for row in rows("kReportedSources", text)}
    fixed = [(row[0][0], int(row[1][1])) for row in rows("kFixedPlaces", text)]
    return sources, fixed


def own_name(text):
    found = re.search(r'\bkFile\[\] = "([^"]*)"', text)
    return found and found.group(1)


def find_faults(root):
    sources, fixed = read_table(root)
    faults = [f"the table has {name}:{line} twice" for (name, line), count in collections.Counter(fixed).items()
              if count > 1]
    statements = collections.defaultdict(set)  # place: where
    used_fixed = set()
    shared = collections.defaultdict(set)  # name: sources
    seen = set()
    for path in sorted(p for folder in FOLDERS for p in (root / folder).rglob("*") if p.suffix in (".cpp", ".h")):
        if "tests" in path.parts or path.name in DEFINES_MACROS:
            continue
        text = re.sub(r"//[^\n]*", "", path.read_text())
        lines = text.split("\n")
        reports = [n for n, line in enumerate(lines, 1) if HERE.search(line)]
        faults += [f"{path.name}:{n} has two statements in one line" for n in reports
                   if len(HERE.findall(lines[n - 1])) > 1]
        numbers = [int(a or b) for a, b in FIXED.findall(text)]
        for raw in RAW.finditer(text):
            if raw.group(0) == "__LINE__" or not re.search(r"codeLine|line|k\w*Line", raw.group(1)):
                faults.append(f"{path.name} reports past the table: {raw.group(0)}")
        if not reports and not numbers:
            continue
        name, added = sources.get(path.name, (own_name(text), 0))
        if name is None:
            faults.append(f"{path.name} reports under a name of another source and has no row")
            continue
        if own_name(text) not in (None, name):
            faults.append(f"{path.name} calls itself {own_name(text)}, and {name} in the table")
        seen.add(path.name)
        shared[name].add(path.name)
        if len(lines) >= 1000:
            faults.append(f"{path.name} is too long for its numbers")
        for n in reports:
            statements[name, added + n].add(f"{path.name}:{n}")
        for number in numbers:
            statements[name, number].add(f"{path.name}, given number {number}")
            used_fixed.add((name, number))
            if numbers.count(number) > 1:
                faults.append(f"{path.name} gives number {number} to two statements")
    faults += [f"{name}:{line} is the place of {' and '.join(sorted(where))}"
               for (name, line), where in sorted(statements.items()) if len(where) > 1]
    faults += [f"{name}:{line} is given and not in the table" for name, line in sorted(used_fixed - set(fixed))]
    faults += [f"{name}:{line} is in the table and not given" for name, line in sorted(set(fixed) - used_fixed)]
    faults += [f"{source} has a row and reports nothing" for source in sorted(set(sources) - seen)]
    for name, files in sorted(shared.items()):
        with_fixed = any(name == place for place, _ in fixed)
        if len(files) > 1 or with_fixed:
            faults += [f"{file} shares the name {name} and has no row of its own" for file in sorted(files)
                       if file not in sources and any(HERE.search(l) for l in [(next(root.rglob(file))).read_text()])]
    added = collections.Counter(sources.values())
    faults += [f"{name}: two sources add {number}" for (name, number), count in added.items() if count > 1]
    faults += [f"{source} adds {number}, which is no multiple of 1000" for source, (_, number) in sources.items()
               if number <= 0 or number % 1000]
    return faults, len(statements)


def main():
    faults, count = find_faults(pathlib.Path(sys.argv[1]))
    for fault in faults:
        print(fault)
    print(f"{count} places, {len(faults)} faults")
    return 1 if faults or count < 100 else 0


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""Adds up test results: "N passed, N failed" (", N skipped") as the last line.

usage: summarize_tests.py [--failures] FILE …

FILE is a JUnit file of CTest or a .check file that holds "passed" or "failed". A CTest entry that ran a GoogleTest
program counts as the tests that the program says it runs; those that a crash kept from running have failed. With
--failures the output of what failed comes first, and the sum stands in brackets; without it only the names come first.
Exit status: 0 nothing failed, 1 something failed, 2 a file cannot be read.
"""
import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

PASSED = re.compile(r'^\[  PASSED  \] (\d+) tests?\.', re.M)
SKIPPED = re.compile(r'^\[  SKIPPED \] (\d+) tests?, listed below', re.M)
RAN = re.compile(r'^\[==========\] Running (\d+) tests? from', re.M)
# One test of a GoogleTest program: its name, its output, and how it ended; none when the program ended during the test.
# The last line of its output may lack a line end.
ONE = re.compile(r'^\[ RUN      \] (\S+)$(.*?)'
                 r'(?:\[ +(OK|FAILED|SKIPPED) +\] \1(?=[ ,\n])[^\n]*$|(?=^\[ RUN      \])|\Z)',
                 re.M | re.S)
SHOWN = 6000  # characters of output


def count_case(case):
    """(passed, failed, skipped) of one CTest entry."""
    output = case.findtext('system-out') or ''
    if case.get('status') in ('disabled', 'notrun') or case.find('skipped') is not None:
        return 0, 0, 1
    broken = case.find('failure') is not None or case.get('status') == 'fail'
    count = number_in(RAN, output)
    if count is None:
        return (0, 1, 0) if broken else (1, 0, 0)
    skipped = number_in(SKIPPED, output) or 0
    if not broken:
        return count - skipped, 0, skipped
    passed = number_in(PASSED, output)
    if passed is None:  # the program did not come to its end
        passed = sum(one.group(3) == 'OK' for one in ONE.finditer(output))
    return passed, max(1, count - passed - skipped), skipped


def number_in(pattern, output):
    """What the program says of its tests; none when it did not come to say it."""
    found = pattern.search(output)
    return int(found.group(1)) if found else None


def failures_of(case):
    """(name, output) of each test that failed in a CTest entry."""
    name = case.get('name')
    output = case.findtext('system-out') or ''
    ran = list(ONE.finditer(output))
    broken = [(one.group(1), one.group(2)) for one in ran
              if one.group(3) == 'FAILED' or (one is ran[-1] and one.group(3) is None)]
    found = [(f'{name}: {test}', text) for test, text in broken] or [(name, output)]
    not_run = (number_in(RAN, output) or 0) - len(ran)
    if not_run > 0:
        found.append((f'{name}: not run after it: {not_run}', ''))
    return found


def count_file(path, show_failures):
    """[passed, failed, skipped] of a file; prints what failed."""
    if path.endswith('.check'):
        with open(path, encoding='utf-8') as file:
            ok = file.read().strip() == 'passed'
        if not ok:
            print(f'FAILED: {pathlib.Path(path).stem}')
        return [1, 0, 0] if ok else [0, 1, 0]
    total = [0, 0, 0]
    for case in ElementTree.parse(path).getroot().iter('testcase'):
        counts = count_case(case)
        total = [a + b for a, b in zip(total, counts)]
        if not counts[1]:
            continue
        for name, output in failures_of(case):
            print(f'FAILED: {name}')
            if show_failures:
                print(output.strip()[-SHOWN:])
    return total


def main(arguments):
    show_failures = '--failures' in arguments
    total = [0, 0, 0]
    for path in (argument for argument in arguments if not argument.startswith('--')):
        try:
            counts = count_file(path, show_failures)
        except (OSError, ElementTree.ParseError) as error:
            print(f'summarize_tests: {path}: {error}', file=sys.stderr)
            return 2
        total = [a + b for a, b in zip(total, counts)]
    skipped = f', {total[2]} skipped' if total[2] else ''
    line = f'{total[0]} passed, {total[1]} failed{skipped}'
    print(f'({line})' if show_failures else line)  # only the last line of a run is the plain one
    return 1 if total[1] else 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))

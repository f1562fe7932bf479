#!/usr/bin/env python3
"""Adds up test results: "N passed, N failed" (", N skipped") as the last line.

usage: summarize_tests.py [--failures] FILE …

FILE is a JUnit file of CTest or a .check file that holds "passed" or "failed". A CTest entry that ran a whole
GoogleTest program (as under Wine) counts as the tests that the program says it ran. With --failures the failing
entries' names and output come first, and the sum stands in brackets. Exit status: 0 nothing failed, 1 something failed, 2 a file cannot be read.
"""
import re
import sys
import xml.etree.ElementTree as ElementTree

PASSED = re.compile(r'^\[  PASSED  \] (\d+) tests?\.', re.M)
FAILED = re.compile(r'^\[  FAILED  \] (\d+) tests?, listed below', re.M)
RAN = re.compile(r'^\[==========\] Running (\d+) tests? from', re.M)


def count_case(case):
    """(passed, failed, skipped) of one CTest entry."""
    output = case.findtext('system-out') or ''
    if case.get('status') in ('disabled', 'notrun') or case.find('skipped') is not None:
        return 0, 0, 1
    broken = case.find('failure') is not None or case.get('status') == 'fail'
    ran = RAN.search(output)
    if not ran or int(ran.group(1)) <= 1:
        return (0, 1, 0) if broken else (1, 0, 0)
    passed = int(match.group(1)) if (match := PASSED.search(output)) else 0
    failed = int(ran.group(1)) - passed
    if broken and failed == 0:
        failed = 1
    return passed, failed, 0


def count_file(path, show_failures):
    if path.endswith('.check'):
        with open(path, encoding='utf-8') as file:
            ok = file.read().strip() == 'passed'
        return (1, 0, 0) if ok else (0, 1, 0)
    total = [0, 0, 0]
    for case in ElementTree.parse(path).getroot().iter('testcase'):
        counts = count_case(case)
        total = [a + b for a, b in zip(total, counts)]
        if show_failures and counts[1]:
            print(f'FAILED: {case.get("name")}')
            print((case.findtext('system-out') or '')[-6000:])
    return tuple(total)


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

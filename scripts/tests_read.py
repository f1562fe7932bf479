#!/usr/bin/env python3
"""Which tests clang-tidy has not read as they stand: reading all of them takes as long as half of all other jobs.

usage: tests_read.py list BUILD_FOLDER [MOST]   the sources of tests that were not read as they stand, MOST at most
       tests_read.py mark SOURCE …              these were read, and are clean

scripts/tests_read.txt has a line for each source that was read: a digest of its text and of the profile, and its name.
A header of tests counts for nothing: it is read with the next source that includes it. After a conflict either side of
the file will do: what has no line is read again.
"""
import hashlib
import json
import os
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
OF_TESTS = re.compile(r'(^|/)(tests|test_support)/')
PROFILE, MARKS = '.clang-tidy-tests', 'scripts/tests_read.txt'


def digest_of(root, name):
    return hashlib.sha256((root / PROFILE).read_bytes() + (root / name).read_bytes()).hexdigest()[:16]


def marks_of(root):
    """Of each source that was read: the digest of what was read."""
    path = root / MARKS
    lines = path.read_text(encoding='utf-8').splitlines() if path.exists() else []
    return {name: digest for digest, name in (line.split(' ', 1) for line in lines if line.count(' ') == 1)}


def compiled_tests(root, build):
    """Sources of tests that the build compiles, in order."""
    entries = json.loads((build / 'compile_commands.json').read_text(encoding='utf-8'))
    names = {os.path.relpath(os.path.join(entry['directory'], entry['file']), root) for entry in entries}
    return sorted(name for name in names if OF_TESTS.search(name) and not name.startswith(('..', 'build/')))


def unread(root, build):
    marks = marks_of(root)
    return [name for name in compiled_tests(root, build) if marks.get(name) != digest_of(root, name)]


def mark(root, names):
    """Notes what was read; forgets sources that are gone."""
    marks = marks_of(root) | {name: digest_of(root, name) for name in names}
    lines = (f'{marks[name]} {name}\n' for name in sorted(marks) if (root / name).is_file())
    (root / MARKS).write_text(''.join(lines), encoding='utf-8')


def main(arguments):
    if arguments[:1] == ['list'] and len(arguments) in (2, 3):
        found = unread(ROOT, pathlib.Path(arguments[1]))
        chosen = found[:int(arguments[2])] if arguments[2:] else found
        if len(chosen) < len(found):
            print(f'tests_read: {len(found)} tests were not read as they stand; {len(chosen)} of them now, the others '
                  'by scripts/lint.sh tidy-tests', file=sys.stderr)
        print('\n'.join(chosen), end='\n' if chosen else '')
        return 0
    if arguments[:1] == ['mark']:
        mark(ROOT, arguments[1:])
        return 0
    print(__doc__.split('\n\n')[1], file=sys.stderr)
    return 2


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))

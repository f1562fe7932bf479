"""Holds docs/oddities.md and the sources together: each has the same names.

    oddities.py FOLDER

A source names an oddity in one line, "kept on purpose: docs/oddities.md, NAME"; the page's tables have one row per
NAME.
Exit code 0: every name that a source gives has its row, every row has a source, and no source gives its reason itself.
"""
import os
import re
import sys

PHRASE = re.compile(r'kept\s+(?:///?\s+)?on\s+(?:///?\s+)?purpose', re.IGNORECASE)
PLACE = re.compile(r': docs/oddities\.md, ([a-z0-9-]+)')
ROW = re.compile(r'^\| `([^`]+)` \|')
SOURCES = ('.cpp', '.h', '.inc')
OTHER_FOLDERS = ('build', 'docs')


def sources_of(folder):
    for path, folders, names in os.walk(folder):
        folders[:] = sorted(name for name in folders
                            if not name.startswith('.') and not (path == folder and name in OTHER_FOLDERS))
        for name in sorted(names):
            if name.endswith(SOURCES):
                yield os.path.join(path, name)


def names_in(source, problems):
    """Names that a source gives, and what is wrong with the way it gives them."""
    with open(source, encoding='utf-8') as file:
        text = file.read()
    for found in PHRASE.finditer(text):
        place = PLACE.match(text, found.end())
        if place:
            yield place[1]
        else:
            line = text.count('\n', 0, found.start()) + 1
            problems.append(f'{source}:{line}: write "kept on purpose: docs/oddities.md, NAME" in one line; '
                            'the reason stands on the page')


def rows_of(page, problems):
    """Names of the page's rows."""
    names = set()
    with open(page, encoding='utf-8') as file:
        for number, line in enumerate(file, 1):
            row = ROW.match(line)
            if row and row[1] in names:
                problems.append(f'{page}:{number}: {row[1]} has two rows')
            elif row:
                names.add(row[1])
    return names


def main():
    folder = sys.argv[1]
    problems = []
    page = os.path.join(folder, 'docs', 'oddities.md')
    rows = rows_of(page, problems)
    used = {}
    for source in sources_of(folder):
        for name in names_in(source, problems):
            used.setdefault(name, []).append(source)
    problems += [f'{sources[0]}: {name} has no row in docs/oddities.md'
                 for name, sources in used.items() if name not in rows]
    problems += [f'{page}: no source names {name}' for name in sorted(rows - used.keys())]
    if not rows:
        problems.append(f'{page}: has no row')
    for problem in problems:
        print(problem)
    print(f'{len(rows)} oddities, {sum(map(len, used.values()))} places, {len(problems)} problems')
    sys.exit(1 if problems else 0)


if __name__ == '__main__':
    main()

#!/usr/bin/env python3
"""Adds up gcovr's summary of files for each folder.

usage: coverage_by_folder.py SUMMARY.json
"""
import collections
import json
import os
import sys

COUNTS = ('line_covered', 'line_total', 'branch_covered', 'branch_total')


def share(covered, total):
    return f'{100 * covered / total:6.1f} %' if total else '       –'


def main():
    with open(sys.argv[1], encoding='utf-8') as file:
        files = json.load(file)['files']
    folders = collections.defaultdict(lambda: [0] * len(COUNTS))
    for entry in files:
        folder = os.path.dirname(entry['filename'])
        folder = os.path.dirname(folder) if os.path.basename(folder) in ('inc', 'src') else folder
        for name in (folder, 'all together'):
            folders[name] = [sum(pair) for pair in zip(folders[name], (entry[count] for count in COUNTS))]
    if not folders:
        print('coverage: no source was run', file=sys.stderr)
        return 1
    everything = folders.pop('all together')
    width = max(len(name) for name in folders)
    print(f'{"folder":{width}}     lines       of  branches       of')
    for name, (lines, of_lines, branches, of_branches) in [*sorted(folders.items()), ('all together', everything)]:
        print(f'{name:{width}}  {share(lines, of_lines)} {of_lines:8}  {share(branches, of_branches)} {of_branches:8}')
    return 0


if __name__ == '__main__':
    sys.exit(main())

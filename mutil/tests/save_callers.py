"""Checks that our sources save ini data or replace files only after the check that prevents losing a file.

    save_callers.py ROOT

Ini data that were only partly read save only that part, and a replacement takes place even if writing failed. So
outside the libraries that offer both, and their tests and benchmarks, no source replaces a file by them, and every
source that saves ini data calls HoldsWholeFile.
"""
import os
import re
import sys

OFFERING = {'mutil', 'mfileio', 'benchmarks'}
REPLACING = re.compile(r'kSafeReplace|kReplaceOnSave|'
                       r'MFastFile_(?:WriteAtOnce|WriteLinesAtOnce|CopyFile)\s*\([^;]*\b(?:10|14)\s*\)')
SAVING = re.compile(r'(?:\.|->)Save\s*\(')


def sources(root):
    folders = [name for name in os.listdir(root) if os.path.isdir(os.path.join(root, name))]
    for folder in sorted(folders):
        if folder in OFFERING or folder.startswith('.') or folder == 'build':
            continue
        for parent, _, names in os.walk(os.path.join(root, folder)):
            for name in sorted(names):
                if name.endswith(('.cpp', '.h')):
                    yield os.path.join(parent, name)


def complaints(root):
    for path in sources(root):
        with open(path, encoding='utf-8') as file:
            text = file.read()
        where = os.path.relpath(path, root)
        if REPLACING.search(text):
            yield (f'{where}: replaces a file even when writing failed; write another file and rename it when that is '
                   'done')
        if 'MIniData' in text and SAVING.search(text) and 'HoldsWholeFile' not in text:
            yield f'{where}: saves ini data; ask HoldsWholeFile first'


found = list(complaints(sys.argv[1]))
for line in found:
    print(line)
sys.exit(1 if found else 0)

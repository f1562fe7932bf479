"""Checks the links between pages: the file must exist, and so must the heading after a #.

    page_links.py FOLDER

Checks FOLDER's own pages and those in its docs. Links to the internet are not checked.
Exit code 0: every link leads somewhere.
"""
import glob
import os
import re
import sys

LINK = re.compile(r'!?\[[^\]]*\]\(\s*<?([^)\s>]+)>?(?:\s+"[^"]*")?\s*\)')
FENCE = re.compile(r'^\s*(```|~~~)')
HEADING = re.compile(r'^#{1,6}\s+(.*?)\s*#*\s*$')
CODE = re.compile(r'(`+).*?\1')


def prose_of(page):
    """Number and text of each line that is no code."""
    fenced = False
    with open(page, encoding='utf-8') as file:
        for number, line in enumerate(file, 1):
            if FENCE.match(line):
                fenced = not fenced
            elif not fenced:
                yield number, line


def anchors_of(page):
    """Names of a page's headings, as renderers make them; of equal ones the second gets -1, and so on."""
    seen, anchors = {}, set()
    for _, line in prose_of(page):
        heading = HEADING.match(line)
        if not heading:
            continue
        text = re.sub(r'\[([^\]]*)\]\([^)]*\)', r'\1', heading[1]).lower()
        name = re.sub(r'[^\w\- ]', '', text).replace(' ', '-')
        seen[name] = seen.get(name, -1) + 1
        anchors.add(name if seen[name] == 0 else f'{name}-{seen[name]}')
    return anchors


def problem_of(page, link):
    """What is wrong with a link; empty: nothing."""
    if re.match(r'[a-z][a-z+.-]*:', link):
        return ''
    path, _, anchor = link.partition('#')
    target = os.path.normpath(os.path.join(os.path.dirname(page), path)) if path else page
    if not os.path.exists(target):
        return 'there is no such file'
    if anchor and (not target.endswith('.md') or anchor not in anchors_of(target)):
        return 'there is no such heading'
    return ''


def main():
    folder = sys.argv[1]
    pages = sorted(glob.glob(os.path.join(folder, '*.md'))
                   + glob.glob(os.path.join(folder, 'docs', '**', '*.md'), recursive=True))
    links, broken = 0, 0
    for page in pages:
        for number, line in prose_of(page):
            for link in LINK.findall(CODE.sub(lambda code: re.sub(r'[\[\]()]', ' ', code[0]), line)):
                links += 1
                problem = problem_of(page, link)
                if problem:
                    print(f'{page}:{number}: {link}: {problem}')
                    broken += 1
    if not links:
        sys.exit(f'{folder}: no link in any page')
    print(f'{links} links in {len(pages)} pages, {broken} lead nowhere')
    sys.exit(1 if broken else 0)


if __name__ == '__main__':
    main()

#!/usr/bin/env python3
"""Runs clang-tidy over what the Linux build compiles, but for tests and the frame around them.

usage: tidy.py BUILD_FOLDER          after a build by Ninja, which knows what each source includes

A source that was clean is not looked at again until it, a header that it includes, its command, .clang-tidy or
clang-tidy itself changes; what was clean is remembered in the user's cache, for all clones. Exit status: 0 all clean,
1 not.
"""
import concurrent.futures
import contextlib
import functools
import hashlib
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
LEFT_OUT = ('..', 'build/', 'test_support/', 'benchmarks/')
REMEMBERED_DAYS = 30


def sources_of(build):
    """Each source's compile commands."""
    sources = {}
    for entry in json.loads((build / 'compile_commands.json').read_text(encoding='utf-8')):
        name = os.path.relpath(os.path.join(entry['directory'], entry['file']), ROOT)
        if not name.startswith(LEFT_OUT) and '/tests/' not in name:
            sources.setdefault(name, []).append(entry)
    return sources


def includes_of(build):
    """The files that each object of the build was made of."""
    includes, current = {}, []
    lines = subprocess.run(['ninja', '-C', build, '-t', 'deps'], check=True, capture_output=True, text=True).stdout
    for line in lines.splitlines():
        if line.startswith(' '):
            current.append(os.path.join(build, line.strip()))
        elif ': #deps' in line:
            current = includes.setdefault(line.split(': #deps')[0], [])
    return includes


@functools.cache
def digest_of_version(path, _modified, _size):
    return hashlib.sha256(pathlib.Path(path).read_bytes()).digest()


def digest_of(path):
    status = os.stat(path)
    return digest_of_version(path, status.st_mtime_ns, status.st_size)


def name_of(path):
    path = pathlib.Path(os.path.realpath(path))
    return str(path.relative_to(ROOT) if path.is_relative_to(ROOT) else path)


def digest_of_tool():
    """Of clang-tidy, its libraries, its settings and how it is called here."""
    program = os.path.realpath(shutil.which('clang-tidy'))
    libraries = subprocess.run(['ldd', program], check=True, capture_output=True, text=True).stdout
    paths = [program, ROOT / '.clang-tidy', os.path.realpath(__file__)]
    paths += re.findall(r'=> (\S*lib(?:clang|LLVM)\S*)', libraries)
    return b''.join(digest_of(path) for path in paths)


def key_of(entries, includes, tool):
    """Of everything that clang-tidy's findings in a source depend on; none when that is not known."""
    key = hashlib.sha256(tool)
    for entry in entries:
        command = shlex.split(entry['command'])
        output = command[command.index('-o') + 1]
        if output not in includes:
            return None
        key.update(entry['command'].replace(str(ROOT), '').encode())
        # Under names that are the same in each clone, and in their order.
        files = {name_of(path): path for path in includes[output]}
        for name in sorted(files):
            key.update(name.encode())
            try:
                key.update(digest_of(files[name]))
            except OSError:  # the build is older than its sources
                return None
    return key.hexdigest()


def main(arguments):
    build = pathlib.Path(arguments[0]).resolve()
    cache = pathlib.Path(os.environ.get('XDG_CACHE_HOME') or pathlib.Path.home() / '.cache') / 'dorven-tidy'
    cache.mkdir(parents=True, exist_ok=True)
    for mark in os.scandir(cache):
        with contextlib.suppress(FileNotFoundError):  # another clone's run was faster
            if mark.stat().st_mtime < time.time() - REMEMBERED_DAYS * 86400:
                os.unlink(mark)
    tool = digest_of_tool()
    includes = includes_of(build)
    sources = sources_of(build)
    if not sources:
        print(f'tidy: {build}: no sources', file=sys.stderr)
        return 1

    def look(name, entries):
        key = key_of(entries, includes, tool)
        if key and (cache / key).exists():
            (cache / key).touch()
            return True, ''
        run = subprocess.run(['clang-tidy', '-p', build, '--quiet', name], cwd=ROOT, capture_output=True, text=True)
        if run.returncode == 0 and not run.stdout.strip():
            if key and key == key_of(entries, includes, tool):  # nothing was edited meanwhile
                (cache / key).touch()
            return True, ''
        return False, run.stdout + run.stderr

    clean = True
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for good, output in pool.map(look, *zip(*sorted(sources.items()))):
            clean = clean and good
            sys.stdout.write(output)
    return 0 if clean else 1


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))

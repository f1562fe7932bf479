#!/usr/bin/env python3
"""Runs clang-tidy over everything that the Linux build compiles; tests have their own profile.

usage: tidy.py BUILD_FOLDER [SOURCE …]    after a build by Ninja, which knows what each source includes

A source that was clean is not looked at again until it, a header that it includes, its command, its profile or
clang-tidy itself changes; what was clean is remembered in the user's cache, for all clones. A source that belongs to
several targets is looked at as the first of them compiles it, which is its library: the others are tests that put a
stand-in in the place of a call. Exit status: 0 all clean, 1 not.
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
LEFT_OUT = ('..', 'build/', 'benchmarks/')
OF_TESTS = re.compile(r'(^|/)(tests|test_support)/')
PROFILE, PROFILE_OF_TESTS = ROOT / '.clang-tidy', ROOT / '.clang-tidy-tests'
# Options of GCC that clang does not accept: precompiled headers. Clang's own precompiled headers replace them.
OF_GCC = re.compile(r' -Winvalid-pch| -fpch-preprocess')
PRECOMPILED = re.compile(r' -include (\S+/cmake_pch\.hxx)')
# Header-only libraries: every source that includes them has all of their code analysed, which takes ten times as long
# as the rest. The analyser goes less deep there.
LIBRARIES = re.compile(rb'^#include <(CLI|nlohmann|spdlog)/', re.MULTILINE)
SHALLOW = [f'--extra-arg={word}' for word in ('-Xclang', '-analyzer-config', '-Xclang', 'mode=shallow')]
REMEMBERED_DAYS = 30


def profile_of(name):
    return PROFILE_OF_TESTS if OF_TESTS.search(name) else PROFILE


def sources_of(build):
    """Each source's compile commands."""
    sources = {}
    for entry in json.loads((build / 'compile_commands.json').read_text(encoding='utf-8')):
        name = os.path.relpath(os.path.join(entry['directory'], entry['file']), ROOT)
        if not name.startswith(LEFT_OUT):
            sources.setdefault(name, []).append(entry)
    return sources


def depth_for(files):
    """How deep the analyser goes into a source that consists of these files."""
    ours = (pathlib.Path(file) for file in files if pathlib.Path(file).is_relative_to(ROOT))
    return SHALLOW if any(LIBRARIES.search(file.read_bytes()) for file in ours if file.exists()) else []


def precompiled_by_clang(folder, header, commands):
    """Clang's own form of a header that GCC has precompiled for these commands; none when it cannot be made."""
    # Options in one word each, up to the names of the files.
    texts = [OF_GCC.sub('', PRECOMPILED.sub('', command)).replace(' -isystem ', ' -isystem') for command in commands]
    words = [shlex.split(text.partition(' -o ')[0])[1:] for text in texts]
    options = [word for word in words[0] if all(word in others for others in words)]
    path = folder / (hashlib.sha256(header.encode()).hexdigest()[:16] + '.pch')
    run = subprocess.run(['clang++', *options, '-Wno-pragma-system-header-outside-header', '-x', 'c++-header', header,
                          '-o', path], cwd=folder, capture_output=True)
    return path if run.returncode == 0 else None


def database_for_clang(build, sources):
    """A folder with the sources' commands, each source once, in a form that clang accepts."""
    folder = build / 'tidy'
    folder.mkdir(exist_ok=True)
    commands = {name: entries[0]['command'] for name, entries in sources.items()}
    users = {}
    for command in commands.values():
        for header in PRECOMPILED.findall(command):
            users.setdefault(header, []).append(command)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        made = dict(zip(users, pool.map(lambda header: precompiled_by_clang(folder, header, users[header]), users)))

    def for_clang(command):
        return OF_GCC.sub('', PRECOMPILED.sub(lambda found: f' -include-pch {made[found[1]]}' if made[found[1]] else '',
                                              command))
    entries = [{**entries[0], 'command': for_clang(commands[name])} for name, entries in sources.items()]
    (folder / 'compile_commands.json').write_text(json.dumps(entries), encoding='utf-8')
    return folder


def includes_of(build):
    """The files that each object of the build was compiled from."""
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
    """Of clang-tidy, its libraries and how it is called here."""
    program = os.path.realpath(shutil.which('clang-tidy'))
    libraries = subprocess.run(['ldd', program], check=True, capture_output=True, text=True).stdout
    paths = [program, os.path.realpath(__file__)]
    paths += re.findall(r'=> (\S*lib(?:clang|LLVM)\S*)', libraries)
    return b''.join(digest_of(path) for path in paths)


def output_of(entry):
    command = shlex.split(entry['command'])
    return command[command.index('-o') + 1]


def key_of(name, entries, includes, tool):
    """Of everything that affects clang-tidy's findings in a source; none when that is not known."""
    key = hashlib.sha256(tool + digest_of(profile_of(name)))
    for entry in entries:
        output = output_of(entry)
        if output not in includes:
            return None
        key.update(entry['command'].replace(str(ROOT), '').encode())
        # With names that are the same in each clone, sorted.
        files = {name_of(path): path for path in includes[output] if not path.endswith('.gch')}
        for path in sorted(files):
            key.update(path.encode())
            try:
                key.update(digest_of(files[path]))
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
    if arguments[1:]:
        sources = {name: sources[name] for name in arguments[1:] if name in sources}
    if not sources:
        print(f'tidy: {build}: no sources', file=sys.stderr)
        return 1

    def is_remembered(name):
        key = key_of(name, sources[name], includes, tool)
        if not key or not (cache / key).exists():
            return False
        (cache / key).touch()
        return True
    unknown = {name: entries for name, entries in sorted(sources.items()) if not is_remembered(name)}
    database = database_for_clang(build, unknown)

    def look(name):
        key = key_of(name, sources[name], includes, tool)
        used = [ROOT / name, *includes.get(output_of(sources[name][0]), ())]
        run = subprocess.run(['clang-tidy', '-p', database, f'--config-file={profile_of(name)}', *depth_for(used),
                              '--quiet', name], cwd=ROOT, capture_output=True, text=True)
        if run.returncode == 0 and not run.stdout.strip():
            if key and key == key_of(name, sources[name], includes, tool):  # nothing was edited meanwhile
                (cache / key).touch()
            return True, ''
        return False, run.stdout + run.stderr

    clean = True
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for good, output in pool.map(look, unknown):
            clean = clean and good
            sys.stdout.write(output)
    print(f'tidy: {len(unknown)} of {len(sources)} sources looked at')
    return 0 if clean else 1


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))

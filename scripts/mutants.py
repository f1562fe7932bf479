"""Changes the sources in small ways, one at a time, and runs the tests of the folder: each change must turn one red.
mutants.sh says how it is used; mutation.py finds the changes.
"""
import argparse
import collections
import concurrent.futures
import contextlib
import difflib
import fcntl
import hashlib
import json
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import threading
import time

import mutation

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / 'build' / 'mutants'
TREE, TIMES, RESULTS = WORK / 'tree', WORK / 'times.json', WORK / 'results.jsonl'
BUILD = TREE / 'build' / 'linux-release'
EQUIVALENTS = ROOT / 'scripts' / 'mutants_equivalent.txt'

# Folder: where its sources are, and where its tests.
FOLDERS = {
    'mipc': ('mipc/', 'mipc/'),
    'ipc': ('DorVenKameraPlugin/ipc/', 'DorVenKameraPlugin/ipc/'),
    'Dorven': ('DorVenKameraPlugin/Dorven/', 'DorVenKameraPlugin/'),
    'mutil': ('mutil/', 'mutil/'),
    'mfileio': ('mfileio/', 'mfileio/'),
    'host': ('host/', 'host/'),
    'simulator': ('simulator/', 'simulator/'),
}
NO_PRODUCT = re.compile(r'(^|/)(tests|benchmarks|test_support)/')

SHORT_S = 1.0        # longer tests run alone, behind all others
BATCH_S = 10.0       # short tests that one process runs
LIMIT_FACTOR = 5     # a test that takes this many times as long, and
LIMIT_FLOOR_S = 15   # this much more, hangs
SHARD_TESTS = 25     # of a process that measures tests
SHARD_LIMIT_S = 180  # what it may take

HANGS = ' (hangs)'    # said of a test that was over its limit: on a busy machine, look twice

Verdict = collections.namedtuple('Verdict', 'name by')  # killed, survived, uncompiled or same; by which test


def say(text):
    print(text, flush=True)


# The copy of the tree, and its build.

def copy_tree():
    """Brings the copy up to date; what has not changed keeps its time, so that it is not compiled again."""
    listed = subprocess.run(['git', '-C', ROOT, 'ls-files', '-co', '--exclude-standard', '-z'], check=True,
                            capture_output=True, text=True).stdout
    names = {name for name in listed.split('\0') if name and (ROOT / name).is_file()}
    for name in names:
        source, copy = ROOT / name, TREE / name
        if copy.is_file() and copy.read_bytes() == source.read_bytes():
            continue
        copy.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(source, copy)
        os.utime(copy)
    for folder, below, files in os.walk(TREE):
        if folder == str(TREE) and 'build' in below:
            below.remove('build')
        for name in files:
            if os.path.relpath(os.path.join(folder, name), TREE) not in names:
                os.unlink(os.path.join(folder, name))


# Changed sources are not worth a place in the compiler's cache, and may leave something unused.
COMPILER = f"""#!/bin/sh
[ -z "$MUTANTS_CHANGED" ] || exec "$@" -w
command -v ccache >/dev/null || exec "$@"
export CCACHE_BASEDIR={TREE} CCACHE_NOHASHDIR=true
export CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
exec ccache "$@"
"""


def configure():
    """As linux-release is, so that the compiler's cache has all that stays, and its optimiser tells which changes make
    no difference. Only linking is made faster."""
    compiler = WORK / 'compiler.sh'
    compiler.write_text(COMPILER, encoding='utf-8')
    compiler.chmod(0o755)
    linker = '-fuse-ld=lld' if shutil.which('ld.lld') else ''
    settings = {'CMAKE_CXX_COMPILER_LAUNCHER': compiler, 'CMAKE_EXE_LINKER_FLAGS': linker,
                'CMAKE_SHARED_LINKER_FLAGS': linker, 'CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE': 'PRE_TEST'}
    defined = (f'-D{name}={value}' for name, value in settings.items())
    done = subprocess.run(['cmake', '--preset', 'linux-release', *defined], cwd=TREE, capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f'mutants: the copy cannot be configured:\n{done.stdout}{done.stderr}')


class Build:
    """What is made of what, from the files of the build system."""

    EDGE = re.compile(r'^build (.*?): (\S+) ?(.*)$')

    def __init__(self, jobs):
        self.jobs = jobs
        self.users = collections.defaultdict(set)  # of an output: what is made of it
        self.programs = {}  # test program: the folder of its first source
        for line in (BUILD / 'build.ninja').read_text(encoding='utf-8').split('\n'):
            edge = self.EDGE.match(line)
            if edge:
                self._take(edge[1].split('|')[0].split(), edge[2], edge[3].split())
        self.objects_of = {}

    def _take(self, outputs, rule, inputs):
        for made in (name for name in inputs if name not in ('|', '||')):
            # These phony targets stand for an order alone; they would make everything depend on everything.
            if not made.startswith('cmake_object_order_depends_target_'):
                self.users[made].update(outputs)
        if rule.startswith('CXX_EXECUTABLE_LINKER') and any(name.endswith('libgtest.a') for name in inputs):
            self.programs[outputs[0]] = inputs[0].split('CMakeFiles/')[0]

    def ninja(self, targets, changed=''):
        return subprocess.run(['ninja', '-C', BUILD, '-j', str(self.jobs), *targets], capture_output=True, text=True,
                              env=os.environ | {'MUTANTS_CHANGED': changed})

    def read_includes(self):
        """The objects that each file of the tree is compiled into, includes counted. After a build."""
        lines = subprocess.run(['ninja', '-C', BUILD, '-t', 'deps'], check=True, capture_output=True, text=True).stdout
        current, tree = '', f'{TREE}/'
        self.objects_of = collections.defaultdict(set)
        for line in lines.split('\n'):
            if line.startswith(' '):
                path = os.path.normpath(os.path.join(BUILD, line.strip()))
                if path.startswith(tree):
                    self.objects_of[path[len(tree):]].add(current)
            elif ': #deps' in line:
                current = line.split(': #deps')[0]

    def made_of(self, names):
        """Everything that is made of these, however indirectly."""
        found, waiting = set(), list(names)
        while waiting:
            for user in self.users.get(waiting.pop(), ()):
                if user not in found:
                    found.add(user)
                    waiting.append(user)
        return found

    def digest_of(self, objects):
        digest = hashlib.sha256()
        for name in sorted(objects):
            digest.update((BUILD / name).read_bytes())
        return digest.hexdigest()


# The tests, and how long they take.

Test = collections.namedtuple('Test', 'program name source seconds')


def delay_of(process):
    """For how many seconds a process could have run and was not allowed to, by its thread that waited longest."""
    delays = [0]
    for path in pathlib.Path(f'/proc/{process}/task').glob('*/schedstat'):
        with contextlib.suppress(OSError, ValueError, IndexError):  # a thread that has ended
            delays.append(int(path.read_text(encoding='ascii').split()[1]))
    return max(delays) / 1e9


class Runner:
    """Runs tests in processes of their own, each with named objects and temporary files of its own."""

    def __init__(self, build, jobs):
        self.build, self.jobs = build, jobs
        self.free, self.running, self.lock = list(range(jobs)), set(), threading.Lock()
        self.stopped = threading.Event()

    def run(self, program, arguments, limit_s):
        """Exit code, none when it took too long or was stopped, and what it printed."""
        with self.lock:
            slot = self.free.pop()
        place = WORK / 'tmp' / str(slot)
        shutil.rmtree(place, ignore_errors=True)
        place.mkdir(parents=True)
        surroundings = {name: value for name, value in os.environ.items() if not name.startswith(('DORVEN_', 'GTEST_'))}
        surroundings |= {'PLATFORM_OBJECT_NAMESPACE': f'mutants-{os.getpid()}-{slot}', 'TMPDIR': str(place),
                         'XDG_CONFIG_HOME': str(place / 'no-config')}
        log = place / 'output'
        with open(log, 'wb') as output:
            process = subprocess.Popen([BUILD / program, *arguments], cwd=BUILD / self.build.programs[program],
                                       stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
                                       env=surroundings, start_new_session=True)
            with self.lock:
                self.running.add(process)
            code = self._wait(process, limit_s)
            self.end(process)
            process.wait()
        text = log.read_text(encoding='utf-8', errors='replace')
        shutil.rmtree(place, ignore_errors=True)
        for folder in pathlib.Path('/dev/shm').glob(f'dorven-objects-{os.getuid()}*/mutants-{os.getpid()}-{slot}'):
            shutil.rmtree(folder, ignore_errors=True)
        with self.lock:
            self.running.discard(process)
            self.free.append(slot)
        return code, text

    def _wait(self, process, limit_s):
        """Exit code; none when the limit is over, in which time that others had the processor does not count."""
        begun = time.monotonic()
        while not self.stopped.is_set():
            with contextlib.suppress(subprocess.TimeoutExpired):
                code = process.wait(0.5)
                return None if self.stopped.is_set() else code
            waited = time.monotonic() - begun
            if waited > min(limit_s + delay_of(process.pid), 3 * limit_s):
                return None
        return None

    @staticmethod
    def end(process):
        """With all that it has started."""
        with contextlib.suppress(ProcessLookupError, PermissionError):
            os.killpg(process.pid, signal.SIGKILL)

    def stop(self):
        self.stopped.set()
        with self.lock:
            for process in self.running:
                self.end(process)


def sources_of_tests(runner, program):
    """The names of a program's tests, and the file that each stands in."""
    listed = WORK / 'listed.json'
    listed.unlink(missing_ok=True)
    code, text = runner.run(program, ['--gtest_list_tests', f'--gtest_output=json:{listed}'], 300)
    if code != 0:
        sys.exit(f'mutants: {program} does not list its tests:\n{text}')
    suites = json.loads(listed.read_text(encoding='utf-8'))['testsuites']
    return {f"{suite['name']}.{test['name']}": os.path.basename(test['file']) for suite in suites
            for test in suite['testsuite'] if not re.search(r'(^|/)DISABLED_', f"{suite['name']}/{test['name']}")}


def green_in(text):
    """The tests that were green, and their seconds."""
    return {name: int(ms) / 1000
            for name, ms in re.findall(r'^\[       OK \] (\S+?)(?:, .*)? \((\d+) ms\)$', text, re.MULTILINE)}


def blamed(text, names):
    """The first test that failed, or that was running when the process ended; none where that is not known."""
    failed = re.search(r'^\[  FAILED  \] (\S+?)[,\s]', text, re.MULTILINE)
    begun = re.findall(r'^\[ RUN      \] (\S+)', text, re.MULTILINE)
    name = failed[1] if failed else begun[-1] if begun else None
    return name if name in names else None


def measured(runner, program, names):
    """Seconds of each test that is green; what was not, alone, is missing."""
    found, waiting = {}, list(names)
    while waiting:
        code, text = runner.run(program, ['--gtest_filter=' + ':'.join(waiting), '--gtest_fail_fast'], SHARD_LIMIT_S)
        found |= {name: seconds for name, seconds in green_in(text).items() if name in waiting}
        waiting = [name for name in waiting if name not in found]
        if code == 0:
            break  # those that skipped themselves
        red = blamed(text, waiting)
        if red is None:
            break
        found |= green_in(runner.run(program, ['--gtest_filter=' + red], SHARD_LIMIT_S)[1])
        waiting.remove(red)
    return found


def measured_tests(build, runner, programs):
    """All tests that are green as the sources stand, with their times; what was measured before is not run again."""
    try:
        known = json.loads(TIMES.read_text(encoding='utf-8'))
    except (OSError, ValueError):
        known = {}
    sources = {program: sources_of_tests(runner, program) for program in programs}
    shards = []
    for program in programs:
        missing = [name for name in sources[program] if name not in known.get(program, {})]
        shards += [(program, missing[begin:begin + SHARD_TESTS]) for begin in range(0, len(missing), SHARD_TESTS)]
    if shards:
        say(f'mutants: measures {sum(len(names) for _, names in shards)} tests as the sources stand')
    with concurrent.futures.ThreadPoolExecutor(runner.jobs) as pool:
        for (program, names), found in zip(shards, pool.map(lambda shard: measured(runner, *shard), shards)):
            known.setdefault(program, {}).update(found)
            TIMES.write_text(json.dumps(known, indent=1), encoding='utf-8')
            for name in names:
                if name not in found:
                    say(f'mutants: left out, as it is not green without a change: {os.path.basename(program)} {name}')
    return [Test(program, name, source, known[program][name]) for program in programs
            for name, source in sources[program].items() if name in known.get(program, {})]


def plain(name):
    return re.sub(r'[^a-z0-9]', '', os.path.basename(name).rsplit('.', 1)[0].lower().replace('_test', ''))


def is_direct(test_source, source):
    """Named after what is changed, more or less."""
    tested, named = plain(test_source), plain(source)
    common = difflib.SequenceMatcher(None, tested, named, False).find_longest_match().size
    return common >= max(4, 0.6 * min(len(named), len(tested)))


def units_of(tests, source, killers):
    """What is run, in its order: first what killed before and what is named after the source, then all short tests,
    then the long ones, each alone. A unit is the tests of one process."""
    def first(test):
        return test.name in killers or is_direct(test.source, source)

    units = []
    short = [test for test in tests if test.seconds <= SHORT_S]
    for chosen in ([test for test in short if first(test)], [test for test in short if not first(test)]):
        programs = collections.defaultdict(list)
        for test in sorted(chosen, key=lambda each: (each.name not in killers, each.seconds)):
            unit = programs[test.program]
            if not unit or sum(each.seconds for each in unit[-1]) + test.seconds > BATCH_S:
                unit.append([])
            unit[-1].append(test)
        units += sorted((unit for program in programs.values() for unit in program),
                        key=lambda unit: sum(test.seconds for test in unit))
    long = [test for test in tests if test.seconds > SHORT_S]
    return units + [[test] for test in sorted(long, key=lambda each: (not first(each), each.seconds))]


# One change.

class Judge:
    def __init__(self, build, runner, tests):
        self.build, self.runner, self.tests = build, runner, tests
        self.killers = collections.defaultdict(list)

    def _is_green(self, unit):
        """True, or the text of a run that was not, and whether it was over its limit."""
        limit = LIMIT_FLOOR_S + LIMIT_FACTOR * sum(test.seconds for test in unit)
        names = ':'.join(test.name for test in unit)
        code, text = self.runner.run(unit[0].program, ['--gtest_filter=' + names, '--gtest_fail_fast'], limit)
        return True if code == 0 else (text, code is None)

    def _killer_in(self, unit):
        """The test that kills: red twice, since a busy machine may turn one red once. None when all are green."""
        unit = list(unit)
        while unit and not self.runner.stopped.is_set():
            first = self._is_green(unit)
            if first is True:
                return None
            red = [test for test in unit if test.name == blamed(first[0], [each.name for each in unit])]
            again = self._is_green(red or unit)
            if again is not True:
                name = (red or unit)[0].name + (HANGS if again[1] else '')
                return None if self.runner.stopped.is_set() else name
            unit.remove((red or unit)[0])
        return None

    def _killer_among(self, units):
        killer = None
        with concurrent.futures.ThreadPoolExecutor(self.runner.jobs) as pool:
            for done in concurrent.futures.as_completed([pool.submit(self._killer_in, unit) for unit in units]):
                if done.result() and not killer:
                    killer = done.result()
                    self.runner.stop()
        self.runner.stopped.clear()
        return killer

    def verdict_on(self, change, tests_prefix):
        path = TREE / change.file
        text = path.read_text(encoding='utf-8')
        objects = self.build.objects_of[change.file]
        programs = {name for name in self.build.made_of(objects)
                    if self.build.programs.get(name, '').startswith(tests_prefix)}
        unchanged = self.build.digest_of(objects)
        path.write_text(mutation.changed(text, change), encoding='utf-8')
        try:
            if self.build.ninja(objects, 'yes').returncode != 0:
                return Verdict('uncompiled', None)
            if self.build.digest_of(objects) == unchanged:
                return Verdict('same', None)
            killers = self.killers[change.file]
            units = units_of([test for test in self.tests if test.program in programs], change.file, killers)
            # Those programs first that have a short test of the source: others need not even be linked.
            direct = [unit for unit in units if unit[0].name in killers or is_direct(unit[0].source, change.file)]
            direct = [unit for unit in direct if sum(test.seconds for test in unit) <= BATCH_S]
            for part in (direct, [unit for unit in units if unit not in direct]):
                done = self.build.ninja({unit[0].program for unit in part}) if part else None
                if done and done.returncode != 0:
                    return Verdict('uncompiled', None)
                killer = self._killer_among(part)
                if killer:
                    killers.insert(0, killer.removesuffix(HANGS))
                    return Verdict('killed', killer)
            return Verdict('survived', None)
        finally:
            path.write_text(text, encoding='utf-8')
            self.build.ninja(objects)


# All of them.

def changes_of_folder(build, folder):
    prefix = FOLDERS[folder][0]
    names = [name for name in build.objects_of if name.startswith(prefix) and not NO_PRODUCT.search(name)]
    if not names:
        sys.exit(f'mutants: no sources in {prefix}')
    return [change for name in sorted(names)
            for change in mutation.changes_of(name, (TREE / name).read_text(encoding='utf-8'))]


def chosen_changes(build, options):
    """Of each folder: how many are wanted, and all of them in the order in which they are drawn."""
    changes = {folder: changes_of_folder(build, folder) for folder in options.folders}
    if options.only:
        name, line = options.only
        only = {folder: [change for change in found if change.line == line and ('/' + change.file).endswith('/' + name)]
                for folder, found in changes.items()}
        if not any(only.values()):
            sys.exit(f'mutants: nothing to change in {name}:{line}')
        return {folder: (len(found), found) for folder, found in only.items()}
    drawn = {folder: mutation.order_by_seed(found, options.seed) for folder, found in changes.items()}
    share = mutation.shares({folder: len(found) for folder, found in drawn.items()}, options.count)
    return {folder: (share.get(folder, 0), found) for folder, found in drawn.items()}


def known_results(options):
    """Of an earlier run: all but what survived, since tests may have been written meanwhile."""
    if not options.resume:
        RESULTS.unlink(missing_ok=True)
        return {}
    known = {}
    if RESULTS.exists():
        for line in RESULTS.read_text(encoding='utf-8').split('\n'):
            if line.strip():
                result = json.loads(line)
                known[result['change']] = Verdict(result['verdict'], result['by'])
    return {change: verdict for change, verdict in known.items() if verdict.name != 'survived'}


def try_changes(judge, wanted, known, listed, report):
    """Tries changes until the wanted number of them counts."""
    counts = collections.Counter()
    for folder, (number, changes) in wanted.items():
        tried = 0
        for change in changes:
            if tried >= number:
                break
            if mutation.entry_of(change) in listed:
                tried += 1
                counts[folder, 'listed'] += 1
                continue
            verdict = known.get(mutation.identity(change))
            if not verdict:
                begun = time.monotonic()
                verdict = judge.verdict_on(change, FOLDERS[folder][1])
                report(folder, change, verdict, time.monotonic() - begun)
            elif verdict.by:
                judge.killers[change.file].insert(0, verdict.by.removesuffix(HANGS))
            counts[folder, verdict.name] += 1
            tried += verdict.name in ('killed', 'survived')
    return counts


def print_table(folders, counts):
    columns = ('killed', 'listed', 'survived', 'same', 'uncompiled')
    rows = [(folder, sum(counts[folder, name] for name in columns[:3]), *(counts[folder, name] for name in columns))
            for folder in folders]
    rows.append(('all', *(sum(column) for column in list(zip(*rows))[1:])))
    heads = ('folder', 'changes', 'killed', 'equivalent', 'survived', '(same code', 'not compiled)')
    say('  '.join(f'{head:<10}' if head == 'folder' else f'{head:>10}' for head in heads))
    for row in rows:
        say('  '.join(f'{cell:<10}' if index == 0 else f'{cell:>10}' for index, cell in enumerate(row)))


def parse(arguments):
    parser = argparse.ArgumentParser(prog='scripts/mutants.sh', description='Changes sources, one place at a time, and '
                                     'runs the tests of the folder: each change must turn one red.')
    parser.add_argument('--seed', type=int, default=random.SystemRandom().randrange(1_000_000), metavar='N',
                        help='choose the places by N; otherwise by chance')
    parser.add_argument('--count', type=int, default=300, metavar='N', help='try N changes (default 300)')
    parser.add_argument('--folder', action='append', choices=FOLDERS, dest='folders', metavar='F',
                        help=f'only in F, one of {", ".join(FOLDERS)}; can be given more than once')
    parser.add_argument('--only', metavar='FILE:LINE', help='every change of this line')
    parser.add_argument('--resume', action='store_true',
                        help='keep what an earlier run has found; try what is left, and what survived, again')
    parser.add_argument('--jobs', type=int, default=os.cpu_count(), metavar='N', help='compile N files at a time and '
                        'run twice as many test processes (default: the number of processors)')
    parser.add_argument('--list-operators', action='store_true', help='print the kinds of changes, and end')
    options = parser.parse_args(arguments)
    if options.count < 1 or options.jobs < 1:
        parser.error('--count and --jobs must be at least 1')
    if options.only:
        name, _, line = options.only.rpartition(':')
        if not name or not line.isdigit():
            parser.error('--only takes FILE:LINE')
        options.only = (name, int(line))
    options.folders = options.folders or list(FOLDERS)
    return options


def main(arguments):
    options = parse(arguments)
    if options.list_operators:
        for operator in mutation.OPERATORS:
            say(f'{operator.name:<12}{operator.what}')
        return 0
    try:
        listed = {entry.key for entry in mutation.equivalents_of(EQUIVALENTS.read_text(encoding='utf-8'))}
    except mutation.ListError as error:
        sys.exit(f'mutants: {EQUIVALENTS}: {error}')

    TREE.mkdir(parents=True, exist_ok=True)
    lock = open(WORK / 'lock', 'w', encoding='utf-8')
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        sys.exit(f'mutants: another run works in {WORK}: wait for its end')
    copy_tree()
    configure()
    build = Build(options.jobs)
    prefixes = tuple(FOLDERS[folder][1] for folder in options.folders)
    programs = sorted(name for name, folder in build.programs.items() if folder.startswith(prefixes))
    say(f'mutants: builds {len(programs)} test programs')
    done = build.ninja(programs)
    if done.returncode != 0:
        sys.exit(f'mutants: the copy does not build as it stands:\n{done.stdout[-4000:]}')
    build.read_includes()
    runner = Runner(build, 2 * options.jobs)
    tests = measured_tests(build, runner, programs)
    wanted = chosen_changes(build, options)
    total = sum(number for number, _ in wanted.values())
    say(f'mutants: tries {total} changes, ' + (f'all of {options.only[0]}:{options.only[1]}' if options.only else
                                               f'seed {options.seed}'))

    known = known_results(options)
    survivors, judged = [], [0]

    def report(folder, change, verdict, seconds):
        with open(RESULTS, 'a', encoding='utf-8') as results:
            results.write(json.dumps({'change': mutation.identity(change), 'verdict': verdict.name, 'by': verdict.by,
                                      'seconds': round(seconds, 1)}) + '\n')
        judged[0] += 1
        by = f' by {verdict.by}' if verdict.by else ''
        say(f'{judged[0]:4} {verdict.name}{by}: {change.file}:{change.line} {change.operator}, {seconds:.0f} s')
        if verdict.name == 'survived':
            survivors.append(change)
            say(mutation.entry_of(change))

    counts = try_changes(Judge(build, runner, tests), wanted, known, listed, report)
    say('')
    if survivors:
        say('Survivors:\n')
        for change in survivors:
            say(f'{change.file}:{change.line}\n{mutation.entry_of(change)}')
    print_table(options.folders, counts)
    say(f'mutants: {len(survivors)} survived that {EQUIVALENTS.relative_to(ROOT)} does not list' if survivors else
        'mutants: all were killed' + (' but those listed' if any(name == 'listed' for _, name in counts) else ''))
    return 1 if survivors else 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))

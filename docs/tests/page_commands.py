"""Runs the commands of a page, as its reader would; README.md next to this file explains how blocks are marked.

    page_commands.py PAGE PROGRAMS [--wine]
    page_commands.py PAGE ROOT --in-root

PROGRAMS is the folder of dorven-host and dorven-simulator. ROOT is the one of another system, which its user "reader"
uses; entering it needs root. Exit code 0: every block ended as the page says.
"""
import os
import re
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile

LIMIT_S = 180
SOURCES = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..')
COPIED = ('scenarios', 'examples')  # folders that a block finds
OWN_TEXT = '# what the reader has set\n'
CONFIGURATIONS = ('host.conf', 'simulator.conf')
FENCE = re.compile(r'^(\s*)```\s*(\w*)\s*$')
COMMENT = re.compile(r'^\s*<!--\s*(.*?)\s*-->\s*$')
MARKS = re.compile(r'^(?:not run: \S.*|run in an empty Debian: \S.*|beside the next block|exit code (\d+))$')


class Block:
    def __init__(self, line, language, mark):
        self.line, self.language, self.mark, self.text = line, language, mark, ''

    def is_run(self, wine, in_root):
        if self.mark.startswith('not run:') or (self.mark.startswith('run in an empty Debian:') and not in_root):
            return False
        return self.language in (('sh', 'bat') if wine else ('sh',))


def fault(page, line, message):
    sys.exit(f'{page}:{line}: {message}')


def blocks_of(page):
    """All fenced blocks, each with the comment right above it."""
    blocks, inside, mark = [], None, ''
    with open(page, encoding='utf-8') as file:
        for number, line in enumerate(file, 1):
            fence = FENCE.match(line)
            comment = COMMENT.match(line)
            if inside and fence:
                inside = None
            elif inside:
                inside.text += line
            elif fence:
                inside = Block(number, fence[2], mark)
                blocks.append(inside)
            if not inside and comment:
                mark = comment[1]
            elif line.strip():
                mark = ''
    if inside:
        fault(page, inside.line, 'the block does not end')
    for block in blocks:
        if block.language in ('sh', 'bat') and block.mark and not MARKS.match(block.mark):
            fault(page, block.line, f'no such mark: {block.mark}')
    return blocks


class Runner:
    """A folder of its own with the programs on the path, and the blocks' processes."""

    def __init__(self, page, programs, wine, folder):
        self.page, self.wine, self.folder, self.background = page, wine, folder, []
        bin_folder = os.path.join(folder, 'bin')
        self.work = os.path.join(folder, 'work')
        os.mkdir(bin_folder)
        os.mkdir(self.work)
        for name in COPIED:
            shutil.copytree(os.path.join(SOURCES, name), os.path.join(self.work, name))
        self.own = os.path.join(folder, '.config', 'dorven')
        self.write_own()
        for name in ('dorven-host', 'dorven-simulator'):
            program = os.path.join(programs, name)
            call = f'wine {shlex.quote(program + ".exe")}' if wine else shlex.quote(program)
            with open(os.path.join(bin_folder, name), 'w', encoding='utf-8') as file:
                file.write(f'#!/bin/sh\nexec {call} "$@"\n')
            os.chmod(file.name, 0o755)
        self.environment = {key: value for key, value in os.environ.items()
                            if not key.startswith(('DORVEN_HOST_', 'DORVEN_SIMULATOR_', 'XDG_'))}
        # Wine finds its prefix by WINEPREFIX, otherwise in the home folder.
        self.environment.setdefault('WINEPREFIX', os.path.join(os.path.expanduser('~'), '.wine'))
        self.environment |= {'PATH': bin_folder + os.pathsep + os.environ['PATH'], 'HOME': folder,
                             'DORVEN_BIN': programs,
                             'PLATFORM_OBJECT_NAMESPACE': f'page-{os.getpid()}',
                             'WINEPATH': 'Z:' + programs.replace('/', '\\')}

    def write_own(self):
        os.makedirs(self.own)
        for name in CONFIGURATIONS:
            with open(os.path.join(self.own, name), 'w', encoding='utf-8') as file:
                file.write(OWN_TEXT)

    def command_of(self, block):
        if block.language == 'bat':
            # As in the shell, the first failing line ends the block.
            lines = [line + '\r\n@if errorlevel 1 exit /b %errorlevel%\r\n' for line in block.text.splitlines()]
            script = ''.join(lines)
            # A separate file: another block may be running, and cmd reads its file while it runs.
            name = f'block{block.line}.bat'
            with open(os.path.join(self.folder, name), 'w', encoding='utf-8', newline='') as file:
                file.write(script)
            return ['wine', 'cmd', '/c', f'..\\{name}']
        return ['bash', '-euo', 'pipefail', '-c', block.text]

    def start(self, block):
        # A file, not a pipe: programs that a block leaves running would keep a pipe open.
        output = open(os.path.join(self.folder, f'{block.line}.out'), 'w+b')
        process = subprocess.Popen(self.command_of(block), cwd=self.work, env=self.environment,
                                   stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
                                   start_new_session=True)
        return process, output

    def end(self, process):
        """Ctrl-C for all that a block started, and the end for what does not hear it."""
        for number, patience in ((signal.SIGINT, 10), (signal.SIGKILL, 10)):
            try:
                os.killpg(process.pid, number)
                process.wait(patience)
            except (ProcessLookupError, subprocess.TimeoutExpired):
                pass

    def run(self, block):
        """Whether the block ended as the page says; what it printed goes to standard output."""
        print(f'--- {self.page}:{block.line} {block.mark}\n{block.text}', end='', flush=True)
        process, output = self.start(block)
        if block.mark == 'beside the next block':
            self.background.append((block, process, output))
            return True
        try:
            code = process.wait(LIMIT_S)
        except subprocess.TimeoutExpired:
            code = None
        self.end(process)
        wanted = int(block.mark.rsplit(' ', 1)[1]) if block.mark.startswith('exit code') else 0
        good = self.stop_background() and code == wanted
        self.show(output)
        if code != wanted:
            print(f'{self.page}:{block.line}: ' + (f'not done within {LIMIT_S} s' if code is None else
                                                   f'exit code {code}, not {wanted}'))
        return good

    def stop_background(self):
        """What ran beside must still run, or have ended well."""
        good = True
        for block, process, output in self.background:
            if process.poll() not in (None, 0):
                print(f'{self.page}:{block.line}: ended meanwhile with exit code {process.returncode}')
                good = False
            self.end(process)
            self.show(output)
        self.background = []
        return good

    def leaves_the_readers_configuration(self):
        """Whether the files that a reader may have are as they were."""
        good = sorted(os.listdir(self.own)) == sorted(CONFIGURATIONS)
        for name in CONFIGURATIONS if good else ():
            with open(os.path.join(self.own, name), encoding='utf-8') as file:
                good = good and file.read() == OWN_TEXT
        if not good:
            print(f"{self.page}: changes the reader's own configuration in ~/.config/dorven")
        return good

    @staticmethod
    def show(output):
        output.seek(0)
        sys.stdout.write(output.read().decode('utf-8', 'replace'))
        sys.stdout.flush()
        output.close()


class RootRunner(Runner):
    """Another system, in the home of its user; the programs are those that are installed there."""

    def __init__(self, page, root, folder):
        self.page, self.wine, self.folder, self.background = page, False, folder, []
        home = '/home/reader'
        self.work = root + home
        self.own = os.path.join(self.work, '.config', 'dorven')
        self.prefix = [shutil.which('chroot'), '--userspec=reader:reader', root]
        self.environment = {'PATH': '/usr/local/bin:/usr/bin:/bin', 'HOME': home, 'USER': 'reader', 'LANG': 'C.UTF-8'}
        self.write_own()
        reader = os.stat(self.work)
        for path in (os.path.dirname(self.own), self.own):
            shutil.chown(path, reader.st_uid, reader.st_gid)

    def command_of(self, block):
        return [*self.prefix, *super().command_of(block)[:-1], 'cd\n' + block.text]


def main():
    page, programs, *rest = sys.argv[1:]
    wine, in_root = rest == ['--wine'], rest == ['--in-root']
    blocks = [block for block in blocks_of(page) if block.is_run(wine, in_root)]
    if not blocks:
        sys.exit(f'{page}: has no command to be run')
    if blocks[-1].mark == 'beside the next block':
        fault(page, blocks[-1].line, 'there is no next block')
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as folder:
        programs = os.path.abspath(programs)
        runner = RootRunner(page, programs, folder) if in_root else Runner(page, programs, wine, folder)
        try:
            if not all([*[runner.run(block) for block in blocks], runner.leaves_the_readers_configuration()]):
                sys.exit(1)
        finally:
            runner.stop_background()
    print(f'{page}: {len(blocks)} blocks as the page says')


if __name__ == '__main__':
    main()

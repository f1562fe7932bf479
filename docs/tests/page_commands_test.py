"""The promises of page_commands.py, tested with small pages."""
import os
import subprocess
import sys
import tempfile
import unittest

RUNNER = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'page_commands.py')


class PageCommandsTest(unittest.TestCase):
    def run_page(self, *lines, wine=None, chroot=None):
        """Wine and chroot are scripts that stand in for them."""
        with tempfile.TemporaryDirectory() as folder:
            page = os.path.join(folder, 'page.md')
            for name in ('dorven-host', 'dorven-simulator'):
                program = os.path.join(folder, name)
                with open(program, 'w', encoding='utf-8') as file:
                    file.write(f'#!/bin/sh\necho "{name} was called: $*"\n')
                os.chmod(program, 0o755)
            with open(page, 'w', encoding='utf-8') as file:
                file.write('\n'.join(lines) + '\n')
            command, environment = [sys.executable, RUNNER, page, folder], dict(os.environ)
            if chroot:
                os.makedirs(os.path.join(folder, 'home/reader'))
                command.append('--in-root')
                environment['PATH'] = folder + os.pathsep + environment['PATH']
                with open(os.path.join(folder, 'chroot'), 'w', encoding='utf-8') as file:
                    file.write(f'#!/bin/sh\n{chroot}\n')
                os.chmod(file.name, 0o755)
            if wine:
                command.append('--wine')
                environment['PATH'] = folder + os.pathsep + environment['PATH']
                with open(os.path.join(folder, 'wine'), 'w', encoding='utf-8') as file:
                    file.write(f'#!/bin/sh\n{wine}\n')
                os.chmod(file.name, 0o755)
            done = subprocess.run(command, capture_output=True, text=True, check=False, env=environment)
            return done.returncode, done.stdout + done.stderr

    def test_block_runs_with_the_programs_on_the_path(self):
        code, output = self.run_page('```sh', 'dorven-host grab', 'dorven-simulator', '```')
        self.assertEqual(code, 0, output)
        self.assertIn('dorven-host was called: grab', output)
        self.assertIn('1 blocks as the page says', output)

    def test_any_failing_line_fails_the_page_and_is_named(self):
        code, output = self.run_page('text', '```sh', 'false', 'true', '```')
        self.assertEqual(code, 1)
        self.assertIn('page.md:2: exit code 1, not 0', output)

    def test_later_blocks_find_files_of_earlier_ones(self):
        code, output = self.run_page('```sh', 'echo kept >file', '```', '', '```sh', 'cat file', '```')
        self.assertEqual(code, 0, output)
        self.assertIn('\nkept\n', output)

    def test_scenarios_lie_in_the_folder(self):
        code, output = self.run_page('```sh', 'ls scenarios/flaky-link.json', '```')
        self.assertEqual(code, 0, output)

    def test_examples_lie_in_the_folder(self):
        code, output = self.run_page('```sh', 'ls examples/strip/find.py', '```')
        self.assertEqual(code, 0, output)

    def test_page_must_not_change_what_its_reader_has_set(self):
        for command in ('echo "timeout = 20" >~/.config/dorven/host.conf', 'rm ~/.config/dorven/simulator.conf',
                        'touch ~/.config/dorven/other'):
            code, output = self.run_page('```sh', command, '```')
            self.assertEqual(code, 1, command)
            self.assertIn("changes the reader's own configuration", output)

    def test_other_languages_and_marked_blocks_are_not_run(self):
        code, output = self.run_page('```json', 'false', '```', '<!-- not run: installs -->', '```sh', 'false', '```',
                                     '```sh', 'true', '```')
        self.assertEqual(code, 0, output)

    def test_mark_counts_for_the_block_right_below_it_alone(self):
        code, output = self.run_page('<!-- not run: installs -->', 'text between', '```sh', 'false', '```')
        self.assertEqual(code, 1, output)
        code, output = self.run_page('<!-- not run: installs -->', '```sh', 'false', '```', '```sh', 'false', '```')
        self.assertEqual(code, 1, output)

    def test_reason_is_wanted_for_what_is_not_run(self):
        code, output = self.run_page('<!-- not run: -->', '```sh', 'true', '```')
        self.assertEqual(code, 1)
        self.assertIn('no such mark: not run:', output)

    def test_wanted_exit_code_has_to_come(self):
        self.assertEqual(self.run_page('<!-- exit code 3 -->', '```sh', 'exit 3', '```')[0], 0)
        self.assertEqual(self.run_page('<!-- exit code 3 -->', '```sh', 'true', '```')[0], 1)

    def test_block_beside_the_next_runs_meanwhile_and_is_ended(self):
        code, output = self.run_page('<!-- beside the next block -->', '```sh', 'echo ready >sign; sleep 100', '```',
                                     '```sh',
                                     'until [ -s sign ]; do sleep 0.05; done', '```')
        self.assertEqual(code, 0, output)

    def test_block_beside_the_next_must_not_fail_meanwhile(self):
        code, output = self.run_page('<!-- beside the next block -->', '```sh', 'echo $$ >sign; exit 4', '```', '```sh',
                                     'until [ -s sign ]; do sleep 0.05; done',
                                     'status="/proc/$(cat sign)/status"',
                                     'until grep -Eqs "^State:.[ZX]" "$status" || ! [ -e "$status" ]',
                                     'do sleep 0.05; done', '```')
        self.assertEqual(code, 1)
        self.assertIn('ended meanwhile with exit code 4', output)

    def test_windows_blocks_that_run_together_are_not_taken_for_each_other(self):
        code, output = self.run_page('<!-- beside the next block -->', '```bat', 'first', '```', '```bat', 'second',
                                     '```',
                                     wine="sleep 0.3; printf 'ran '; cat \"$(printf '%s' \"$3\" | tr '\\\\' /)\";"
                                          " sleep 0.3")
        self.assertEqual(code, 0, output)
        self.assertIn('ran first', output)
        self.assertIn('ran second', output)

    def test_block_for_an_empty_debian_is_run_there_alone_as_its_user_in_the_home(self):
        page = ('<!-- run in an empty Debian: installs -->', '```sh', 'echo "installed in $PWD"', '```',
                '```sh', 'true', '```')
        code, output = self.run_page(*page)
        self.assertEqual(code, 0, output)
        self.assertNotIn('installed in /', output)
        code, output = self.run_page(*page, chroot='echo "$1"; root=$2; shift 2; HOME=$root$HOME exec "$@"')
        self.assertEqual(code, 0, output)
        self.assertRegex(output, r'--userspec=reader:reader\ninstalled in /.*/home/reader\n')

    def test_block_beside_nothing_is_refused(self):
        code, output = self.run_page('<!-- beside the next block -->', '```sh', 'true', '```')
        self.assertEqual(code, 1)
        self.assertIn('there is no next block', output)

    def test_page_without_commands_is_refused(self):
        self.assertEqual(self.run_page('only text')[0], 1)

    def test_block_without_an_end_is_refused(self):
        code, output = self.run_page('```sh', 'true')
        self.assertEqual(code, 1)
        self.assertIn('does not end', output)


if __name__ == '__main__':
    unittest.main()

#!/usr/bin/env python3
"""Tests of summarize_tests.py, on small JUnit files as CTest writes them."""
import contextlib
import io
import pathlib
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import summarize_tests


def ran(name, end='OK', text=''):
    """What GoogleTest prints of one test; none as its end: the program ended within it."""
    return f'[ RUN      ] {name}\n{text}' + (f'[{end:^10}] {name} (0 ms)\n' if end else '')


def program(count, *tests, sums=''):
    """What a program of so many tests prints."""
    return f'[==========] Running {count} tests from 1 test suite.\n' + ''.join(tests) + sums


def summed_up(*entries, show_failures=False):
    """The lines that are printed for entries of CTest: name, status, output."""
    suite = ElementTree.Element('testsuite')
    for name, status, output in entries:
        case = ElementTree.SubElement(suite, 'testcase', name=name, status=status)
        ElementTree.SubElement(case, 'system-out').text = output
    printed = io.StringIO()
    with tempfile.TemporaryDirectory() as folder, contextlib.redirect_stdout(printed):
        path = pathlib.Path(folder) / 'preset.xml'
        ElementTree.ElementTree(suite).write(path)
        summarize_tests.main(['--failures'] * show_failures + [str(path)])
    return printed.getvalue().splitlines()


class SummarizeTests(unittest.TestCase):
    def test_each_test_of_a_program_counts(self):
        output = program(2, ran('A.One'), ran('A.Two'), sums='[  PASSED  ] 2 tests.\n')
        self.assertEqual(summed_up(('a', 'run', output), ('script', 'run', 'fine')), ['3 passed, 0 failed'])

    def test_a_part_without_a_test_counts_as_none(self):
        self.assertEqual(summed_up(('a.7', 'run', program(0, sums='[  PASSED  ] 0 tests.\n'))), ['0 passed, 0 failed'])

    def test_a_test_that_fails_is_named(self):
        output = program(2, ran('A.One', 'FAILED', 'why\n'), ran('A.Two'),
                         sums='[  PASSED  ] 1 test.\n[  FAILED  ] 1 test, listed below:\n[  FAILED  ] A.One\n')
        self.assertEqual(summed_up(('a', 'fail', output)), ['FAILED: a: A.One', '1 passed, 1 failed'])

    def test_what_a_failed_test_wrote_is_shown_and_what_the_others_wrote_is_not(self):
        output = program(2, ran('A.One', 'FAILED', 'why\n'), ran('A.Two', text='chatter\n'))
        lines = summed_up(('a', 'fail', output), show_failures=True)
        self.assertIn('why', lines)
        self.assertNotIn('chatter', lines)

    def test_a_crash_names_its_test_and_the_tests_after_it_did_not_pass(self):
        output = program(4, ran('A.One'), ran('A.Two', None, 'Segmentation fault\n'))
        self.assertEqual(summed_up(('a', 'fail', output)),
                         ['FAILED: a: A.Two', 'FAILED: a: not run after it: 2', '1 passed, 3 failed'])

    def test_a_program_that_fails_at_its_end_counts_as_one_failure_beside_its_tests(self):
        output = program(2, ran('A.One'), ran('A.Two'), sums='[  PASSED  ] 2 tests.\nLeakSanitizer: detected\n')
        self.assertEqual(summed_up(('a', 'fail', output)), ['FAILED: a', '2 passed, 1 failed'])

    def test_a_skipped_test_has_not_failed(self):
        output = program(2, ran('A.One', 'SKIPPED'), ran('A.Two'),
                         sums='[  PASSED  ] 1 test.\n[  SKIPPED ] 1 test, listed below:\n[  SKIPPED ] A.One\n')
        self.assertEqual(summed_up(('a', 'run', output)), ['1 passed, 0 failed, 1 skipped'])

    def test_output_that_was_cut_off_hides_no_passed_test(self):
        self.assertEqual(summed_up(('a', 'run', program(3, ran('A.One')))), ['3 passed, 0 failed'])

    def test_a_failed_entry_without_tests_of_its_own_is_named(self):
        self.assertEqual(summed_up(('script', 'fail', 'why')), ['FAILED: script', '0 passed, 1 failed'])


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])

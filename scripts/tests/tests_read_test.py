"""What tests_read.py promises, tried on a small tree."""
import json
import os
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..'))
import tests_read  # noqa: E402


class TestsReadTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        self.build = self.root / 'build'
        self.names = ['a/tests/a_test.cpp', 'b/tests/b_test.cpp']
        for name in self.names + ['a/src/a.cpp', 'scripts/x', 'build/tests/made.cpp', tests_read.PROFILE]:
            (self.root / name).parent.mkdir(parents=True, exist_ok=True)
            (self.root / name).write_text(name, encoding='utf-8')
        entries = [{'directory': str(self.build), 'file': f'../{name}'}
                   for name in self.names + self.names + ['a/src/a.cpp', 'build/tests/made.cpp']]
        (self.build / 'compile_commands.json').write_text(json.dumps(entries), encoding='utf-8')

    def unread(self):
        return tests_read.unread(self.root, self.build)

    def test_sources_of_tests_that_nobody_has_read(self):
        self.assertEqual(self.unread(), self.names)

    def test_what_was_read_is_not_read_again_until_it_changes(self):
        tests_read.mark(self.root, self.names)
        self.assertEqual(self.unread(), [])
        (self.root / self.names[1]).write_text('another', encoding='utf-8')
        self.assertEqual(self.unread(), self.names[1:])
        tests_read.mark(self.root, self.names[1:])
        self.assertEqual(self.unread(), [])

    def test_another_profile_makes_all_of_them_unread(self):
        tests_read.mark(self.root, self.names)
        (self.root / tests_read.PROFILE).write_text('stricter', encoding='utf-8')
        self.assertEqual(self.unread(), self.names)

    def test_source_that_is_gone_loses_its_mark(self):
        tests_read.mark(self.root, self.names)
        (self.root / self.names[0]).unlink()
        tests_read.mark(self.root, [])
        self.assertEqual(list(tests_read.marks_of(self.root)), self.names[1:])

    def test_lines_of_a_conflict_are_no_marks(self):
        (self.root / tests_read.MARKS).write_text('<<<<<<< ours\n=======\n0123 a/tests/a_test.cpp\n>>>>>>> theirs\n',
                                                  encoding='utf-8')
        self.assertEqual(self.unread(), self.names)


if __name__ == '__main__':
    unittest.main()

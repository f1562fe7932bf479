"""What oddities.py promises, tried on small folders."""
import os
import subprocess
import sys
import tempfile
import unittest

CHECKER = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'oddities.py')
HERE = '// kept on purpose: docs/oddities.md, '


class OdditiesTest(unittest.TestCase):
    def check(self, page, source):
        with tempfile.TemporaryDirectory() as folder:
            for path, text in (('docs/oddities.md', page), ('ring/ring.cpp', source),
                               ('build/copy.cpp', HERE + 'stale\n')):
                os.makedirs(os.path.join(folder, os.path.dirname(path)), exist_ok=True)
                with open(os.path.join(folder, path), 'w', encoding='utf-8') as file:
                    file.write(text)
            done = subprocess.run([sys.executable, CHECKER, folder], capture_output=True, text=True, check=False)
            return done.returncode, done.stdout + done.stderr

    def test_equal_names_are_good(self):
        code, output = self.check('| Name | What |\n|---|---|\n| `a-b` | x |\n',
                                  f'{HERE}a-b\n    return 1;  {HERE}a-b.\n')
        self.assertEqual(code, 0, output)
        self.assertIn('1 oddities, 2 places, 0 problems', output)

    def test_name_without_a_row_is_told_with_its_source(self):
        code, output = self.check('| `a` | x |\n', f'{HERE}a\n{HERE}b\n')
        self.assertEqual(code, 1)
        self.assertIn('ring.cpp: b has no row', output)

    def test_row_without_a_source_is_told(self):
        code, output = self.check('| `a` | x |\n| `b` | x |\n', f'{HERE}a\n')
        self.assertEqual(code, 1)
        self.assertIn('no source names b', output)

    def test_name_with_two_rows_is_told(self):
        self.assertIn('a has two rows', self.check('| `a` | x |\n| `a` | y |\n', f'{HERE}a\n')[1])

    def test_reason_in_a_source_is_told_with_its_line(self):
        for reason in ('// Kept on purpose: hosts search', '/// the name, kept on\n/// purpose: hosts',
                       '// kept\n// on purpose'):
            code, output = self.check('| `a` | x |\n', f'{HERE}a\n{reason}\n')
            self.assertEqual(code, 1, reason)
            self.assertIn('ring.cpp:2: write', output)

    def test_page_without_a_row_is_refused(self):
        self.assertEqual(self.check('text\n', 'int a;\n')[0], 1)


if __name__ == '__main__':
    unittest.main()

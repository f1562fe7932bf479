"""The promises of page_links.py, tested with small pages."""
import os
import subprocess
import sys
import tempfile
import unittest

CHECKER = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'page_links.py')


class PageLinksTest(unittest.TestCase):
    def check(self, **pages):
        """Pages by name; 'docs_x' is docs/x.md."""
        with tempfile.TemporaryDirectory() as folder:
            os.mkdir(os.path.join(folder, 'docs'))
            for name, text in pages.items():
                with open(os.path.join(folder, name.replace('docs_', 'docs/') + '.md'), 'w', encoding='utf-8') as file:
                    file.write(text)
            done = subprocess.run([sys.executable, CHECKER, folder], capture_output=True, text=True, check=False)
            return done.returncode, done.stdout + done.stderr

    def test_links_to_files_and_headings_are_good(self):
        code, output = self.check(README='[a](docs/a.md) [b](docs/a.md#a-heading) [c](#here)\n# Here\n',
                                  docs_a='## A `heading`!\n[up](../README.md "title")\n')
        self.assertEqual(code, 0, output)
        self.assertIn('4 links in 2 pages', output)

    def test_missing_file_is_named_with_page_and_line(self):
        code, output = self.check(README='[a](docs/a.md)\n', docs_a='text\n\n[b](b.md)\n')
        self.assertEqual(code, 1)
        self.assertIn('docs/a.md:3: b.md: there is no such file', output)

    def test_missing_heading_is_named(self):
        code, output = self.check(README='[a](docs/a.md#nowhere)\n', docs_a='# Here\n')
        self.assertEqual(code, 1)
        self.assertIn('docs/a.md#nowhere: there is no such heading', output)

    def test_equal_headings_are_numbered(self):
        self.assertEqual(self.check(README='# A\n# A\n[a](#a) [b](#a-1)\n')[0], 0)
        self.assertEqual(self.check(README='# A\n[b](#a-1)\n')[0], 1)

    def test_code_and_the_net_are_not_looked_at(self):
        code, output = self.check(README='# A\n[a](#a) [n](https://example.org/x) `[c](none.md)`\n'
                                         '```\n[d](none.md)\n```\n')
        self.assertEqual(code, 0, output)

    def test_headings_in_code_are_none(self):
        self.assertEqual(self.check(README='```\n# A\n```\n[a](#a)\n')[0], 1)

    def test_link_with_code_as_its_text_is_one(self):
        self.assertEqual(self.check(README='[`a`](none.md)\n')[0], 1)

    def test_pages_without_any_link_are_refused(self):
        self.assertEqual(self.check(README='text\n')[0], 1)


if __name__ == '__main__':
    unittest.main()

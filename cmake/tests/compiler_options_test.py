#!/usr/bin/env python3
"""Configures the sources in several ways and reads how each source would be compiled. Nothing is built.

  compiler_options_test.py CMAKE NINJA COMPILER SOURCES    COMPILER: of C++
"""
import functools
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

CMAKE, NINJA, COMPILER, SOURCES = sys.argv[1:5]
PRESET = json.loads((pathlib.Path(SOURCES) / "CMakePresets.json").read_text())["configurePresets"][0]["cacheVariables"]
# A compiler that is never started, so that it can be declared to be another one.
MICROSOFT = ("-DCMAKE_CXX_COMPILER_FORCED=1", "-DCMAKE_CXX_COMPILER_ID_RUN=1", "-DCMAKE_CXX_COMPILER_ID=MSVC",
             "-DCMAKE_CXX_COMPILE_FEATURES=cxx_std_17;cxx_std_20")
BY_COMPILER = re.escape(COMPILER) + " "
OF_GCC_AND_CLANG = re.compile(r"(?:-[WO]|-f(?!PI[CE]\b)|-U|-D_FORTIFY)\S*")


@functools.cache
def configured(*options, path=None):
    """How each source would be compiled, and by which Ninja rules, which begin with the compiler's launcher."""
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([CMAKE, "-S", SOURCES, "-B", folder, "-G", "Ninja", f"-DCMAKE_MAKE_PROGRAM={NINJA}",
                        f"-DCMAKE_CXX_COMPILER={COMPILER}", "-DCMAKE_BUILD_TYPE=Release", "-DDORVEN_BUILD_TESTS=OFF",
                        "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", *options],
                       check=True, stdout=subprocess.DEVNULL, env={**os.environ, "PATH": path or os.environ["PATH"]})
        entries = json.loads((pathlib.Path(folder) / "compile_commands.json").read_text())
        rules = (pathlib.Path(folder) / "CMakeFiles" / "rules.ninja").read_text()
    return ([entry["command"] for entry in entries],
            re.findall(r"^rule CXX_COMPILER\S*\n(?: .*\n)*? +command = (.*)", rules, re.MULTILINE))


def commands(*options):
    return configured(*options)[0]


def rules(*options, path=None):
    return configured(*options, path=path)[1]


def folder_of_programs(folder, *left_out):
    """A PATH with all programs of this one, except some."""
    for place in reversed(os.environ["PATH"].split(os.pathsep)):
        for program in os.scandir(place) if os.path.isdir(place) else ():
            if program.name not in left_out:
                link = pathlib.Path(folder) / program.name
                link.unlink(missing_ok=True)
                link.symlink_to(program.path)
    return str(folder)


STRICT_AND_LAUNCHED = ("-DDORVEN_WARNINGS_AS_ERRORS=ON", "-DCMAKE_CXX_COMPILER_LAUNCHER=nice")


class CompilerOptions(unittest.TestCase):
    def test_a_warning_is_an_error_only_by_the_option_that_the_presets_set(self):
        plain, strict = commands(), commands(*STRICT_AND_LAUNCHED)
        self.assertFalse([line for line in plain if "-Werror" in line])
        self.assertFalse([line for line in strict if "-Werror" not in line])
        self.assertTrue(all("-Wall" in line for line in plain + strict))
        self.assertEqual(PRESET["DORVEN_WARNINGS_AS_ERRORS"], "ON")

    def test_microsofts_compiler_gets_its_own_warnings_and_no_option_of_another(self):
        lines = commands(*MICROSOFT, "-DDORVEN_WARNINGS_AS_ERRORS=ON")
        self.assertTrue(lines)
        for line in lines:
            self.assertIn(" /W4 /WX ", line)
            self.assertEqual(OF_GCC_AND_CLANG.findall(line), [], line)

    @unittest.skipUnless(shutil.which("ccache"), "ccache is not installed")
    def test_ccache_is_used_where_it_is_found_and_nothing_asks_for_it(self):
        self.assertNotIn("CMAKE_CXX_COMPILER_LAUNCHER", PRESET)
        found = rules()
        self.assertTrue(found)
        for line in found:
            self.assertRegex(line, r"CCACHE_BASEDIR=\S+ CCACHE_NOHASHDIR=true CCACHE_SLOPPINESS=\S+ \S*ccache "
                             + BY_COMPILER)
        with tempfile.TemporaryDirectory() as folder:
            for line in rules("-DCMAKE_IGNORE_PATH=/usr/bin;/bin;/usr/local/bin",
                              path=folder_of_programs(folder, "ccache")):
                self.assertRegex(line, "^" + BY_COMPILER)

    def test_a_launcher_that_is_given_stays(self):
        for line in rules(*STRICT_AND_LAUNCHED):
            self.assertRegex(line, r"\bnice " + BY_COMPILER)
            self.assertNotIn("ccache", line)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])

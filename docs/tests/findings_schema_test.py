#!/usr/bin/env python3
"""docs/findings.schema.json against what dorven-host prints, and against what it reads.

  findings_schema_test.py SCHEMA HOST [COMMAND …]     COMMAND: runs Windows programs
"""
import copy
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

import jsonschema

SCHEMA, HOST, *RUN = sys.argv[1:]

LOG = ('{"schema":"dorven-fault-log/1","event":"run","seed":1,"period_ns":1,"width":1,"height":1,"bytes_per_pixel":1}\n'
       '{"event":"end","next_frame":2000}\n')
REMOVED = object()

# What each makes of the template can be neither good for the schema nor for the program.
WRONG = (
    ((), []),
    ((), None),
    (("schema",), REMOVED),
    (("schema",), "dorven-grab/3"),
    (("schema",), "1"),
    (("first_frame",), REMOVED),
    (("first_frame",), -1),
    (("first_frame",), "0"),
    (("last_frame",), REMOVED),
    (("last_frame",), None),
    (("last_frame",), 2.5),
    (("restarts",), REMOVED),
    (("restarts",), 1),
    (("late_from_us",), REMOVED),
    (("late_from_us",), "soon"),
    (("findings_omitted",), REMOVED),
    (("findings_omitted",), 7),
    (("findings",), REMOVED),
    (("findings",), {}),
    (("findings", 0), 3),
    (("findings", 0, "finding"), REMOVED),
    (("findings", 0, "finding"), "gone"),
    (("findings", 0, "finding"), 3),
    (("findings", 0, "first"), REMOVED),
    (("findings", 0, "first"), -8),
    (("findings", 0, "first"), 18446744073709551616),
    (("findings", 0, "last"), REMOVED),
    (("findings", 0, "last"), "9"),
    (("findings", 8, "latency_us"), REMOVED),
    (("findings", 8, "latency_us"), None),
    (("findings", 8, "latency_us"), "soon"),
)
# And these are good for both.
GOOD = (
    (("first_frame",), None),
    (("late_from_us",), None),
    (("findings",), []),
    (("findings", 9, "last"), REMOVED),
    (("findings", 0, "latency_us"), 3),
    (("own",), "key"),
)


def changed(document, path, value):
    document = copy.deepcopy(document)
    if not path:
        return value
    place = document
    for key in path[:-1]:
        place = place[key]
    if value is not REMOVED:
        place[path[-1]] = value
    else:
        place.pop(path[-1], None)
    return document


class FindingsSchemaTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.schema = json.loads(pathlib.Path(SCHEMA).read_text(encoding="utf-8"))
        jsonschema.Draft202012Validator.check_schema(cls.schema)
        cls.validator = jsonschema.Draft202012Validator(cls.schema)
        cls.printed = cls.host("verify", "--findings-template")
        cls.template = json.loads(cls.printed.stdout)

    @staticmethod
    def host(*arguments):
        return subprocess.run([*RUN, HOST, *arguments], stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              check=False)

    def problem_of(self, document):
        """Why verify cannot compare it; none: it can."""
        with tempfile.TemporaryDirectory() as folder:
            log, findings = pathlib.Path(folder) / "log", pathlib.Path(folder) / "findings"
            log.write_text(LOG, encoding="utf-8")
            findings.write_text(json.dumps(document), encoding="utf-8")
            done = self.host("verify", "--fault-log", str(log), "--findings", str(findings), "--json")
            return json.loads(done.stdout)["problem"]

    def test_template_alone_is_on_standard_output_and_fits_the_schema(self):
        self.assertEqual((self.printed.returncode, self.printed.stderr), (0, ""))
        self.validator.validate(self.template)

    def test_template_has_every_kind_of_the_schema(self):
        kinds = self.schema["$defs"]["finding"]["properties"]["finding"]["enum"]
        self.assertEqual([finding["finding"] for finding in self.template["findings"]], kinds)

    def test_template_is_read(self):
        self.assertIsNone(self.problem_of(self.template))

    def test_grab_prints_what_the_schema_wants(self):
        for option in ("--json", "--json-lines"):
            done = self.host("grab", "--count", "1", "--timeout", "0.01", option)
            self.assertEqual(done.returncode, 3, done.stderr)
            self.validator.validate(json.loads(done.stdout.splitlines()[-1]))

    def test_what_the_schema_refuses_the_program_refuses_and_the_other_way_round(self):
        for path, value in WRONG:
            document = changed(self.template, path, value)
            self.assertFalse(self.validator.is_valid(document), (path, value))
            self.assertIsNotNone(self.problem_of(document), (path, value))
        for path, value in GOOD:
            document = changed(self.template, path, value)
            self.validator.validate(document)
            self.assertIsNone(self.problem_of(document), (path, value))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])

"""Holds the counting of results to one thing above all: no failure may be lost."""

import os
import subprocess
import sys
import tempfile
import unittest

SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)),
                      "../../scripts/count_results.py")

GOOD = '<testcase name="a" classname="S" status="run" result="completed"/>'
BAD = '<testcase name="b" classname="S" status="run" result="completed"><failure/></testcase>'
SKIPPED = '<testcase name="c" classname="S" status="run" result="skipped"><skipped/></testcase>'
DISABLED = '<testcase name="d" classname="S" status="notrun" result="suppressed"/>'

RAN = '<testcase name="{}" status="run"/>'
FAILED = '<testcase name="{}" status="fail"><failure message="Timeout"/></testcase>'
NOT_RUN = '<testcase name="{}" status="notrun"><skipped message="Unable to find"/></testcase>'


class CountTest(unittest.TestCase):
    def count(self, programs, results):
        """Returns the first line's numbers and all the other lines."""
        with tempfile.TemporaryDirectory() as folder:
            junit = os.path.join(folder, "junit.xml")
            with open(junit, "w", encoding="utf-8") as file:
                file.write("<testsuite>" + "".join(programs) + "</testsuite>")
            for name, text in results.items():
                with open(os.path.join(folder, name + ".xml"), "w", encoding="utf-8") as file:
                    file.write(text)
            done = subprocess.run([sys.executable, "-B", SCRIPT, junit, folder],
                                  stdout=subprocess.PIPE, check=True)
        lines = done.stdout.decode().splitlines()
        return [int(word) for word in lines[0].split()], "\n".join(lines[1:])

    @staticmethod
    def suite(*cases):
        return "<testsuites><testsuite>" + "".join(cases) + "</testsuite></testsuites>"

    def test_cases_of_a_program_are_counted_one_by_one(self):
        numbers, lines = self.count([FAILED.format("p")],
                                    {"p": self.suite(GOOD, BAD, SKIPPED, DISABLED)})
        self.assertEqual(numbers, [1, 1, 2])
        self.assertIn("failed: p: S.b", lines)
        self.assertIn("skipped: p: S.d", lines)

    def test_a_test_without_cases_counts_as_one(self):
        self.assertEqual(self.count([RAN.format("p"), FAILED.format("q")], {})[0], [1, 1, 0])

    def test_a_program_that_fails_after_its_cases_passed_is_a_failure(self):
        numbers, lines = self.count([FAILED.format("p")], {"p": self.suite(GOOD)})
        self.assertEqual(numbers, [1, 1, 0])
        self.assertIn("p (the program: Timeout)", lines)

    def test_a_program_that_was_not_built_is_a_failure(self):
        self.assertEqual(self.count([NOT_RUN.format("p")], {})[0], [0, 1, 0])

    def test_a_result_file_cut_short_is_a_failure(self):
        self.assertEqual(self.count([RAN.format("p")], {"p": "<testsuites><testsuite>"})[0],
                         [0, 1, 0])

    def test_a_program_without_any_case_in_its_results_is_no_success(self):
        self.assertEqual(self.count([RAN.format("p")], {"p": self.suite()})[0], [0, 1, 0])


if __name__ == "__main__":
    unittest.main()

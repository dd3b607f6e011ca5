#!/usr/bin/env python3
"""count_results.py JUNIT RESULTS: what one run of ctest amounts to, by single test case.

JUNIT is the file that `ctest --output-junit` wrote, RESULTS the folder in which every
GoogleTest program left its cases as NAME.xml. Prints "PASSED FAILED SKIPPED" on the first
line, then one line for each case that failed or was skipped.

A program that failed although no case of it did (it crashed, leaked or ran too long) is
one more failure. A test that is no GoogleTest program counts as one case.
"""

import os
import sys
import xml.etree.ElementTree as ElementTree


def read_cases(path):
    """Yields (name, outcome) of the cases in one GoogleTest result file."""
    for case in ElementTree.parse(path).getroot().iter("testcase"):
        name = f"{case.get('classname')}.{case.get('name')}"
        if case.get("status") == "notrun":
            # Filtered out or disabled: neither may pass for a test that ran.
            yield name, "skipped"
        elif case.find("failure") is not None:
            yield name, "failed"
        elif case.find("skipped") is not None or case.get("result") == "skipped":
            yield name, "skipped"
        else:
            yield name, "passed"


def count(junit_path, results_folder):
    """Returns ({outcome: number}, lines about what did not pass)."""
    totals = {"passed": 0, "failed": 0, "skipped": 0}
    lines = []

    def note(name, outcome):
        totals[outcome] += 1
        if outcome != "passed":
            lines.append(f"{outcome}: {name}")

    for test in ElementTree.parse(junit_path).getroot().iter("testcase"):
        program = test.get("name")
        status = test.get("status")
        skipped = test.find("skipped") is not None
        succeeded = status == "run" and not skipped and test.find("failure") is None
        path = os.path.join(results_folder, program + ".xml")
        cases = []
        if os.path.exists(path):
            try:
                cases = list(read_cases(path))
            except ElementTree.ParseError:
                succeeded = False
            # A program of which every case was filtered away has tested nothing.
            succeeded = succeeded and bool(cases)
        for name, outcome in cases:
            note(f"{program}: {name}", outcome)
        failed_case = any(outcome == "failed" for _, outcome in cases)
        if succeeded and not cases:
            note(program, "passed")
        elif not succeeded and not failed_case:
            message = test.find("failure")
            reason = message.get("message") if message is not None else status
            note(f"{program} (the program: {reason or status})",
                 "skipped" if status == "disabled" else "failed")
    return totals, lines


def main(arguments):
    if len(arguments) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    totals, lines = count(arguments[1], arguments[2])
    print(totals["passed"], totals["failed"], totals["skipped"])
    print("\n".join(lines))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))

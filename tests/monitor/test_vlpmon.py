#!/usr/bin/env python3
"""Runs vlpmon and the example of the integration guide as a person would."""

import argparse
import sys
import unittest

import answers
import everywhere
import exchanges
import on_windows
import other_machines
import terminals
import vendor_class
import wrong_use
from harness import Recorder, World, write_results


def main():
    parser = argparse.ArgumentParser()
    for name in ("monitor", "library", "example", "machines", "results", "stranger",
                 "odd-provider"):
        parser.add_argument("--" + name, required=True)
    parser.add_argument("--doubles")
    World.current = World(parser.parse_args())
    modules = [everywhere, vendor_class]
    if World.current.wine:
        modules += [on_windows]
    else:
        modules += [answers, exchanges, wrong_use, terminals, other_machines]
    suite = unittest.TestSuite(
        unittest.defaultTestLoader.loadTestsFromModule(module) for module in modules)
    try:
        result = unittest.TextTestRunner(verbosity=2, resultclass=Recorder).run(suite)
    finally:
        World.current.close()
    write_results(World.current.options.results, result)
    return 0 if result.wasSuccessful() and result.testsRun > 0 else 1


if __name__ == "__main__":
    sys.exit(main())

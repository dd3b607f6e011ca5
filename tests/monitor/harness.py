"""Runs programs natively or under Wine and keeps what they need."""

import contextlib
import json
import os
import re
import shutil
import subprocess
import tempfile
import time
import unittest
import xml.sax.saxutils

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
LONGEST_RUN = 60


class Ran:
    """How a program ended."""

    def __init__(self, status, output, error):
        self.status = status
        self.output = output.replace("\r\n", "\n")
        self.error = error.replace("\r\n", "\n")


class World:
    """The folders of one test run, and the way to start a program in them."""

    current = None  # the one that the cases run in

    def __init__(self, options):
        self.options = options
        self.wine = options.doubles is not None
        self.folder = tempfile.mkdtemp(prefix="vlpmon-")
        self.environment = dict(os.environ)
        self.environment.pop("VLPBIDI_MACHINE", None)
        self.environment.pop("DISPLAY", None)
        # What the person's own locale is must not count.
        self.environment.pop("LC_ALL", None)
        self.environment["LANG"] = "C.UTF-8"
        self.environment["TERM"] = "xterm"
        if self.wine:
            self.make_prefix()
        else:
            self.environment["VLPBIDI_MACHINE"] = self.machine("demo")

    def make_prefix(self):
        build = os.environ.get("VLPBIDI_BUILD_ROOT", os.path.join(ROOT, "build"))
        subprocess.run([os.path.join(ROOT, "scripts/wine_template")], check=True)
        prefix = os.path.join(self.folder, "prefix")
        subprocess.run(["cp", "-a", os.path.join(build, "wine/template"), prefix], check=True)
        self.environment.update(WINEPREFIX=prefix, VLPBIDI_WINE_PREFIX=prefix, WINEDEBUG="-all",
                                WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d")
        machine = self.machine("demo")
        found = subprocess.run(
            [os.path.join(ROOT, "scripts/import_machine"), machine, self.options.doubles],
            check=True, stdout=subprocess.PIPE, env=self.environment, encoding="utf-8")
        self.environment["VLPBIDI_HARDWARE"] = found.stdout.strip().splitlines()[-1]

    def close(self):
        if self.wine:
            for flag in ("-k", "-w"):
                subprocess.run(["timeout", "20", "wineserver", flag], env=self.environment,
                               check=False, stderr=subprocess.DEVNULL)
        shutil.rmtree(self.folder, ignore_errors=True)

    def machine(self, name, copy=None):
        """A fresh copy of one of the described machines."""
        target = os.path.join(self.folder, copy or name)
        shutil.rmtree(target, ignore_errors=True)
        shutil.copytree(os.path.join(self.options.machines, name), target)
        return target

    def log(self, printer):
        """The log file of a printer on the demo machine."""
        drive = (os.path.join(self.folder, "prefix/drive_c") if self.wine
                 else os.path.join(self.folder, "demo/drive_c"))
        return os.path.join(drive, "VlpLog", printer + ".dat")

    def write(self, name, content):
        """A file of the test's own, by its path."""
        path = os.path.join(self.folder, name)
        with open(path, "wb") as file:
            file.write(content)
        return path

    def hardware(self, name):
        return os.path.join(self.folder, "demo/hardware", name)

    @contextlib.contextmanager
    def edited(self, path, edit):
        """A text file is as `edit` makes it, for as long as this lasts."""
        with open(path, encoding="utf-8") as file:
            text = file.read()
        changed = edit(text)
        if changed == text:
            raise AssertionError(f"nothing to edit in {path}")
        try:
            with open(path, "w", encoding="utf-8") as file:
                file.write(changed)
            yield
        finally:
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)

    @contextlib.contextmanager
    def log_flag(self, flag):
        """The demo machine logs that, for as long as this lasts."""
        if not self.wine:
            with self.edited(os.path.join(self.folder, "demo/machine.reg"),
                             lambda text: re.sub('(?<="Bidi_LogFlag"=dword:)[0-9a-f]{8}',
                                                 f"{flag:08x}", text)):
                yield
            return
        key = "HKLM\\SOFTWARE\\WOW6432Node\\VELNO\\VLPrinter4\\LogEnv"
        value = ("/v", "Bidi_LogFlag", "/t", "REG_DWORD", "/f", "/d")
        before = self.run("reg", "query", key, "/v", "Bidi_LogFlag").output.split()[-1]
        self.run("reg", "add", key, *value, str(flag))
        try:
            yield
        finally:
            self.run("reg", "add", key, *value, before)

    def path(self, host_path):
        """A path as the program wants it."""
        return "Z:" + host_path.replace("/", "\\") if self.wine else host_path

    def command(self, program, words):
        return (["wine"] if self.wine else []) + [program] + list(words)

    def run(self, program, *words):
        done = subprocess.run(self.command(program, words), env=self.environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, timeout=LONGEST_RUN, check=False)
        return Ran(done.returncode, done.stdout.decode("utf-8"), done.stderr.decode("utf-8"))

    def start(self, program, *words):
        return subprocess.Popen(self.command(program, words), env=self.environment,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, start_new_session=True)


def wait_until(condition, seconds=30):
    """Whether the condition came true in that time."""
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.02)
    return True


class Case(unittest.TestCase):
    maxDiff = None

    @property
    def world(self):
        return World.current

    def monitor(self, *words):
        return self.world.run(self.world.options.monitor, *words)

    def expect(self, ran, status, output, error=""):
        self.assertEqual((ran.status, ran.output, ran.error), (status, output, error))

    def expect_refusal(self, ran, text):
        """Status 2, nothing on the output, and a complaint that holds the text."""
        self.assertEqual((ran.status, ran.output), (2, ""))
        self.assertTrue(ran.error.startswith("vlpmon: "), ran.error)
        self.assertIn(text, ran.error)

    def objects(self, ran, status=0):
        """What a run with --json wrote, one object a line."""
        self.assertEqual((ran.status, ran.error), (status, ""))
        return [json.loads(line) for line in ran.output.splitlines()]


class Recorder(unittest.TextTestResult):
    """Remembers each case for the file of results."""

    def __init__(self, *arguments, **named):
        super().__init__(*arguments, **named)
        self.cases = []

    def addSuccess(self, test):
        super().addSuccess(test)
        self.cases.append((test, None, None))

    def addFailure(self, test, err):
        super().addFailure(test, err)
        self.cases.append((test, "failure", str(err[1])))

    def addError(self, test, err):
        super().addError(test, err)
        self.cases.append((test, "failure", str(err[1])))


def write_results(path, result):
    """The cases in the form in which GoogleTest leaves its own."""
    lines = ['<?xml version="1.0" encoding="UTF-8"?>', "<testsuites><testsuite>"]
    for test, outcome, text in result.cases:
        # What failed before any test of a class has no method of its own.
        names = test.id().split(".") if test.id() else ["monitor", "setup"]
        attributes = (f'classname={xml.sax.saxutils.quoteattr(names[-2])} '
                      f'name={xml.sax.saxutils.quoteattr(names[-1])} '
                      'status="run" result="completed"')
        inner = (f"<failure message={xml.sax.saxutils.quoteattr(text)}/>"
                 if outcome == "failure" else "")
        lines.append(f"<testcase {attributes}>{inner}</testcase>")
    lines.append("</testsuite></testsuites>")
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as file:
        file.write("\n".join(lines))

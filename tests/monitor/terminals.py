"""vlpmon on a terminal. Natively only: Wine shows a console program no terminal without a
screen of its own."""

import fcntl
import os
import pty
import signal
import struct
import subprocess
import termios
import time

from harness import LONGEST_RUN, Case

BORROW = "\x1b[?1049h\x1b[?25l\x1b[2J"
GIVE_BACK = "\x1b[?25h\x1b[?1049l"


def take_terminal():
    """In the new process: its standard input becomes the terminal whose Ctrl-C it hears."""
    fcntl.ioctl(0, termios.TIOCSCTTY, 0)


class Terminal:
    """A program on a terminal of its own, and the person before it."""

    def __init__(self, world, words, rows=24, columns=80):
        self.master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
        self.running = subprocess.Popen(
            world.command(world.options.monitor, words), env=world.environment, stdin=slave,
            stdout=slave, stderr=slave, start_new_session=True, preexec_fn=take_terminal)
        os.close(slave)
        self.shown = b""

    def read(self, until=None):
        """What was shown so far, at the end or once `until` is among it."""
        try:
            while until is None or until.encode() not in self.shown:
                piece = os.read(self.master, 4096)
                if not piece:
                    break
                self.shown += piece
        except OSError:
            pass  # the program has ended
        return self.shown.decode("utf-8")

    def type(self, keys):
        os.write(self.master, keys)

    def end(self):
        """The exit status."""
        status = self.running.wait(LONGEST_RUN)
        os.close(self.master)
        return status


class Terminals(Case):
    def on_terminal(self, *words):
        terminal = Terminal(self.world, words)
        shown = terminal.read()
        terminal.end()
        return shown

    def watch(self, printer, *words, **size):
        return Terminal(self.world, ("--provider", self.world.options.odd_provider, "status",
                                     printer, "--watch", "--every", "100", *words), **size)

    def test_results_are_coloured_on_a_terminal_and_nowhere_else(self):
        shown = self.on_terminal("list")
        self.assertIn("\x1b[31m-19 VLPER_NOENTRY\x1b[0m", shown)
        self.assertIn("\x1b[32m5\x1b[0m", shown)
        self.assertNotIn("\x1b", self.monitor("list").output)

    def test_json_is_never_coloured(self):
        self.assertNotIn("\x1b", self.on_terminal("--json", "list"))

    def test_a_terminal_that_knows_no_colours_gets_none(self):
        self.world.environment["TERM"] = "dumb"
        try:
            self.assertNotIn("\x1b", self.on_terminal("list"))
        finally:
            self.world.environment["TERM"] = "xterm"

    def test_a_watch_draws_on_a_screen_of_its_own_and_leaves_its_last_answer(self):
        terminal = self.watch("Changes", "--count", "4")
        shown = terminal.read()
        self.assertEqual(terminal.end(), 1)
        self.assertTrue(shown.startswith(BORROW + "\x1b[H"), shown[:80])
        pictures, rest = shown[len(BORROW):].split(GIVE_BACK)
        self.assertEqual(rest.replace("\r", ""),
                         "Changes: status of \x1b[32m16\x1b[0m bytes over bdc\n"
                         "  @BDC ST\n  ST  02\n")
        last = pictures.split("\x1b[H")[-1]
        for text in ("channel   bdc 0x10010003", "requests  4 of 4", "failures  1",
                     "status    16 bytes, answered 0.", "  ST: 02, was 04",
                     "-9 VLPER_SEND: communication with the printer failed"):
            self.assertIn(text, last)

    def test_a_watch_keeps_to_the_size_of_the_terminal(self):
        terminal = self.watch("Changes", "--count", "2", rows=5, columns=20)
        pictures = terminal.read().split(GIVE_BACK)[0].split("\x1b[H")[1:]
        self.assertEqual(terminal.end(), 0)
        for picture in pictures:
            lines = picture.split("\r\n")
            self.assertEqual(len(lines), 5)
            self.assertNotIn("one every", picture)

    def test_a_watch_in_json_moves_no_cursor(self):
        terminal = self.watch("Changes", "--count", "2", "--json")
        shown = terminal.read()
        self.assertEqual(terminal.end(), 0)
        self.assertNotIn("\x1b", shown)
        self.assertEqual(shown.count("\n"), 2)

    def test_control_c_ends_a_watch_that_hangs_and_gives_the_screen_back(self):
        terminal = self.watch("Hangs")
        terminal.read("no answer yet after")
        started = time.monotonic()
        terminal.type(b"\x03")
        shown = terminal.read()
        self.assertEqual(terminal.end(), 130)
        self.assertLess(time.monotonic() - started, 5)
        self.assertTrue(shown.endswith(GIVE_BACK), shown[-80:])
        self.assertEqual(shown.count(BORROW), 1)

    def test_a_stopped_terminal_does_not_keep_a_watch_from_ending(self):
        terminal = self.watch("Hangs")
        terminal.read("no answer yet after")
        terminal.type(b"\x13")
        started = time.monotonic()
        os.kill(terminal.running.pid, signal.SIGINT)
        self.assertEqual(terminal.end(), 130)
        self.assertLess(time.monotonic() - started, 5)

#!/usr/bin/env python3
"""Runs vlpmon and the example of the integration guide as a person would."""

import argparse
import json
import os
import pty
import signal
import subprocess
import sys
import time
import unittest

from harness import Recorder, World, wait_until, write_results

WORLD = None

COLOUR_ID = ("MFG:Quillon;CMD:QPL,BDC,D4,ZRDPAGES-01;MDL:Colour 4200;CLS:PRINTER;"
             "DES:Quillon Colour 4200;SN:QN42000017;")

LIST = """\
PRINTER                   PORT            RESULT               CHANNELS
Comptabilité, 2e étage    LPT1:           2                    qpl zrdpage
Night Desk                USB005          -2 VLPER_NOTCONNECT
Quillon Archive 900       USB002          2                    d4 bdc
Quillon Colour 4200       USB001          5                    qpl bdc d4 zrdpages zrdpage
Quillon Label 80          USB003          2                    label bdc
Quillon Mono 310 to file  FILE:           -1 VLPER_NOTSUPPORT
Reception                 10.20.0.40      -1 VLPER_NOTSUPPORT
Reception (old queue)     USB_10.20.0.41  -1 VLPER_NOTSUPPORT
Warehouse                 USB004          -19 VLPER_NOENTRY
"""

INFO = """\
Quillon Colour 4200: 5 channels
CHANNEL   KIND        MODE    TAKES
qpl       0x10010002  0x0003  commands
bdc       0x10010003  0x0007  commands status
d4        0x10000005  0x0003  commands
zrdpages  0x10000006  0x0003  commands
zrdpage   0x10010004  0x0003  commands
"""

ID = """\
Comptabilité, 2e étage: device ID of 59 bytes
  MFG   Quillon
  CMD   QPL
  MDL   Mono 310
  CLS   PRINTER
  SN    QN31007730
"""

EXAMPLE = f"""\
Quillon Colour 4200: GetConnectInf gives 5
  channel 10010002, mode 0003
  channel 10010003, mode 0007
  channel 10000005, mode 0003
  channel 10000006, mode 0003
  channel 10010004, mode 0003
request 1: {len(COLOUR_ID)} bytes: {COLOUR_ID}
Reception: GetConnectInf gives -1
"""


def monitor(*words):
    return WORLD.run(WORLD.options.monitor, *words)


class Case(unittest.TestCase):
    maxDiff = None

    def expect(self, ran, status, output, error=""):
        self.assertEqual((ran.status, ran.output, ran.error), (status, output, error))

    def expect_refusal(self, ran, text):
        """Status 2, nothing on the output, and a complaint that holds the text."""
        self.assertEqual((ran.status, ran.output), (2, ""))
        self.assertTrue(ran.error.startswith("vlpmon: "), ran.error)
        self.assertIn(text, ran.error)


class Answers(Case):
    def test_list_shows_every_printer_with_its_channels_or_its_code(self):
        self.expect(monitor("list"), 0, LIST)

    def test_list_in_json_is_one_object_for_each_printer(self):
        ran = monitor("--json", "list")
        self.assertEqual((ran.status, ran.error), (0, ""))
        objects = [json.loads(line) for line in ran.output.splitlines()]
        self.assertEqual(len(objects), 9)
        self.assertEqual(objects[0], {"printer": "Comptabilité, 2e étage", "port": "LPT1:",
                                      "result": 2, "code": None, "channels": ["qpl", "zrdpage"]})
        self.assertEqual(objects[8], {"printer": "Warehouse", "port": "USB004", "result": -19,
                                      "code": "VLPER_NOENTRY", "channels": []})

    def test_info_shows_kind_mode_and_use_of_each_channel(self):
        self.expect(monitor("info", "Quillon Colour 4200"), 0, INFO)

    def test_info_in_json_gives_kinds_and_modes_as_hexadecimal_texts(self):
        ran = monitor("--json", "info", "Quillon Archive 900")
        self.assertEqual((ran.status, ran.error), (0, ""))
        self.assertEqual(json.loads(ran.output), {
            "printer": "Quillon Archive 900", "operation": "GetConnectInf", "result": 2,
            "code": None, "entries": [
                {"kind": "0x10000005", "name": "d4", "mode": "0x0007"},
                {"kind": "0x10010003", "name": "bdc", "mode": "0x0007"}]})

    def test_id_of_a_printer_with_accented_letters_shows_its_fields(self):
        self.expect(monitor("id", "Comptabilité, 2e étage"), 0, ID)

    def test_id_in_json_gives_the_bytes_as_hex_and_as_text(self):
        ran = monitor("id", "Quillon Colour 4200", "--json")
        self.assertEqual((ran.status, ran.error), (0, ""))
        self.assertEqual(json.loads(ran.output), {
            "printer": "Quillon Colour 4200", "operation": "GetDeviceID", "result": 0,
            "code": None, "data": {"hex": COLOUR_ID.encode().hex(), "text": COLOUR_ID}})

    def test_a_printer_without_channels_is_a_negative_result_for_info_alone(self):
        self.expect(monitor("info", "Warehouse"), 1,
                    "Warehouse: -19 VLPER_NOENTRY: the printer has no channel\n")
        self.assertEqual(monitor("id", "Warehouse").status, 0)

    def test_a_printer_that_is_switched_off_has_no_connection(self):
        self.expect(monitor("id", "Night Desk"), 1,
                    "Night Desk: -2 VLPER_NOTCONNECT: "
                    "the printer has no connection to talk over\n")
        ran = monitor("--json", "id", "Night Desk")
        self.assertEqual(ran.status, 1)
        self.assertEqual(json.loads(ran.output), {
            "printer": "Night Desk", "operation": "GetDeviceID", "result": -2,
            "code": "VLPER_NOTCONNECT", "data": None})

    def test_an_unknown_printer_is_not_supported(self):
        for command in ("info", "id"):
            self.expect(monitor(command, "Nobody"), 1,
                        "Nobody: -1 VLPER_NOTSUPPORT: "
                        "this printer, port or name can't be served\n")

    def test_a_name_of_300_letters_is_not_supported(self):
        self.assertEqual(monitor("info", "x" * 300).status, 1)

    def test_a_name_that_begins_like_an_option_stands_behind_two_dashes(self):
        self.assertTrue(monitor("info", "--", "--json").output.startswith("--json: -1 "))

    def test_help_shows_how_the_program_is_used(self):
        ran = monitor("--help")
        self.assertEqual((ran.status, ran.error), (0, ""))
        self.assertTrue(ran.output.startswith("usage: vlpmon "))

    def test_the_example_of_the_integration_guide_shows_channels_and_device_id(self):
        ran = WORLD.run(WORLD.options.example, WORLD.path(WORLD.options.library),
                        "Quillon Colour 4200", "Reception")
        self.expect(ran, 0, EXAMPLE)


class WrongUse(Case):
    def test_words_that_mean_nothing_are_refused_with_a_hint(self):
        for words, text in ((), "a command is missing"), (("frob",), 'unknown command "frob"'), \
                (("status", "x"), 'unknown command "status"'), \
                (("list", "x"), '"x" is one word too many'), \
                (("info",), "info wants the name of a printer"), \
                (("id", "a", "b"), '"b" is one word too many'), \
                (("-x", "list"), 'unknown option "-x"'), \
                (("list", "--provider"), "--provider wants a path"), \
                (("list", "--machine", ""), "--machine wants a path"):
            with self.subTest(words=words):
                ran = monitor(*words)
                self.expect_refusal(ran, text)
                self.assertIn("vlpmon --help says more", ran.error)

    def test_a_missing_library_is_named(self):
        missing = os.path.join(WORLD.folder, "missing.library")
        self.expect_refusal(monitor("--provider", WORLD.path(missing), "list"),
                            "can't load the library " + WORLD.path(missing))

    def test_a_library_without_the_export_is_refused(self):
        self.expect_refusal(monitor("--provider", WORLD.path(WORLD.options.stranger), "list"),
                            "has no VLPGetProviderInfo")

    def test_the_named_library_is_the_one_that_is_used(self):
        self.expect(monitor("--provider", WORLD.path(WORLD.options.library), "info",
                            "Quillon Colour 4200"), 0, INFO)

    def test_a_name_outside_the_code_page_is_refused(self):
        self.expect_refusal(monitor("info", "表"), "code page 1252 lacks")


class ControlC(Case):
    def test_the_program_ends_at_once_though_the_printer_hangs(self):
        described = WORLD.hardware("colour4200.ini")
        with open(described, encoding="utf-8") as file:
            text = file.read()
        log = WORLD.log("Quillon Colour 4200")
        if os.path.exists(log):
            os.remove(log)
        with open(described, "w", encoding="utf-8") as file:
            file.write(text.replace("LatencyMs = 40", "LatencyMs = 600000"))
        try:
            running = WORLD.start(WORLD.options.monitor, "info", "Quillon Colour 4200")
            self.assertTrue(wait_until(lambda: self.is_sent(log)), "the printer was never asked")
            started = time.monotonic()
            os.kill(running.pid, signal.SIGINT)
            running.communicate(timeout=20)
            self.assertLess(time.monotonic() - started, 5)
            self.assertEqual(running.returncode, 130)
        finally:
            with open(described, "w", encoding="utf-8") as file:
                file.write(text)

    @staticmethod
    def is_sent(log):
        """Both rows are set, so the batch is with the spooler or about to be."""
        if not os.path.exists(log):
            return False
        with open(log, "rb") as file:
            return file.read().count(b"CBidiIF::SetRequest Return") == 2


class Terminals(Case):
    def on_terminal(self, *words):
        """What the program writes when its output is a terminal."""
        master, slave = pty.openpty()
        running = subprocess.Popen(WORLD.command(WORLD.options.monitor, words),
                                   env=WORLD.environment, stdin=subprocess.DEVNULL,
                                   stdout=slave, stderr=subprocess.PIPE)
        os.close(slave)
        written = b""
        try:
            while True:
                piece = os.read(master, 4096)
                if not piece:
                    break
                written += piece
        except OSError:
            pass  # the other end is closed
        running.communicate(timeout=60)
        os.close(master)
        return written.decode("utf-8")

    def test_results_are_coloured_on_a_terminal_and_nowhere_else(self):
        shown = self.on_terminal("list")
        self.assertIn("\x1b[31m-19 VLPER_NOENTRY\x1b[0m", shown)
        self.assertIn("\x1b[32m5\x1b[0m", shown)
        self.assertNotIn("\x1b", monitor("list").output)

    def test_json_is_never_coloured(self):
        self.assertNotIn("\x1b", self.on_terminal("--json", "list"))


class OtherMachines(Case):
    """Only the layer can show another machine than the computer itself."""

    def broken(self, name, change):
        folder = WORLD.machine("demo", name)
        change(folder)
        return monitor("--machine", folder, "list")

    @staticmethod
    def rewrite(name, content):
        def change(folder):
            with open(os.path.join(folder, name), "wb") as file:
                file.write(content)
        return change

    def test_a_folder_that_is_not_there_is_named(self):
        missing = os.path.join(WORLD.folder, "nowhere")
        self.expect_refusal(monitor("--machine", missing, "list"), missing)

    def test_a_folder_without_a_registry_is_no_machine(self):
        self.expect_refusal(
            self.broken("bare", lambda folder: os.remove(folder + "/machine.reg")),
            "holds no machine.reg")

    def test_a_registry_of_nonsense_is_refused_with_its_line(self):
        self.expect_refusal(
            self.broken("nonsense", self.rewrite("machine.reg", bytes(range(256)) * 40)),
            "machine.reg, line 2: the line isn't UTF-8")

    def test_a_registry_that_ends_within_a_value_is_refused(self):
        def cut(folder):
            with open(folder + "/machine.reg", "rb+") as file:
                text = file.read()
                # Behind the backslash that promises another line.
                file.truncate(text.index(b",\\\n", text.index(b"hex(7):")) + 3)
        self.expect_refusal(self.broken("cut", cut), "the file ends within a value")

    def test_an_empty_registry_file_is_refused(self):
        self.expect_refusal(self.broken("empty", self.rewrite("machine.reg", b"")),
                            "machine.reg, line 1: ")

    def test_hardware_of_nonsense_is_refused_with_its_file(self):
        self.expect_refusal(
            self.broken("ini", self.rewrite("hardware/mono310.ini", b"[Printer]\nnonsense\n")),
            "hardware/mono310.ini: line 2 ")

    def test_two_printers_at_one_port_are_refused(self):
        self.expect_refusal(
            self.broken("twice", self.rewrite("hardware/z.ini", b"[Printer]\nPort=usb001\n")),
            "port usb001 is already that of hardware/colour4200.ini")

    def test_a_broken_preset_machine_is_refused_like_a_named_one(self):
        preset = WORLD.environment["VLPBIDI_MACHINE"]
        WORLD.environment["VLPBIDI_MACHINE"] = os.path.join(WORLD.folder, "gone")
        try:
            self.expect_refusal(monitor("list"), "gone: there is no such machine folder")
        finally:
            WORLD.environment["VLPBIDI_MACHINE"] = preset

    def test_a_profile_of_nonsense_lists_no_channel(self):
        ran = self.broken("profile", self.rewrite(
            "drive_c/windows/system32/spool/drivers/x64/3/QN4200.LMD", bytes(range(256)) * 40))
        self.assertEqual(ran.status, 0)
        self.assertIn("Quillon Colour 4200       USB001          -19 VLPER_NOENTRY", ran.output)

    def test_a_machine_without_printers_says_so(self):
        folder = WORLD.machine("demo", "unpopulated")
        self.rewrite("machine.reg", b"Windows Registry Editor Version 5.00\n")(folder)
        self.expect(monitor("--machine", folder, "list"), 0, "The spooler has no printers.\n")
        self.expect(monitor("--machine", folder, "--json", "list"), 0, "")

    def test_device_ids_can_not_steer_the_terminal(self):
        folder = WORLD.machine("demo", "hostile")
        self.rewrite("hardware/colour4200.ini",
                     b"[Printer]\nPort=USB001\nDeviceID=MFG:\\x1b[2J\\x00\\x9b;CMD:QPL;\n")(folder)
        ran = monitor("--machine", folder, "id", "Quillon Colour 4200")
        self.assertEqual(ran.status, 0)
        self.assertIn("  MFG   \\x1b[2J\\x00", ran.output)
        self.assertNotIn("\x1b", ran.output)
        ran = monitor("--machine", folder, "--json", "id", "Quillon Colour 4200")
        self.assertTrue(json.loads(ran.output)["data"]["text"].startswith("MFG:\x1b[2J\x00"))

    def test_japanese_names_go_through_the_code_page_and_back(self):
        folder = WORLD.machine("demo-932")
        ran = monitor("--machine", folder, "list")
        self.expect(ran, 0, "PRINTER                PORT    RESULT               CHANNELS\n"
                            "第2倉庫 ソ             USB002  2                    label bdc\n"
                            "経理部 表示用プリンタ  USB001  2                    qpl zrdpage\n"
                            "ｳｹﾂｹ                   FILE:   -1 VLPER_NOTSUPPORT\n")
        ran = monitor("--machine", folder, "--json", "info", "経理部 表示用プリンタ")
        self.assertEqual(json.loads(ran.output)["result"], 2)
        self.assertTrue(os.path.exists(
            os.path.join(folder, "drive_c/VlpLog/経理部 表示用プリンタ.dat")))


class OnWindows(Case):
    """What Windows refuses."""

    def test_another_machine_can_not_be_named(self):
        self.expect_refusal(monitor("--machine", "C:\\somewhere", "list"), "--machine")


def main():
    global WORLD
    parser = argparse.ArgumentParser()
    for name in ("monitor", "library", "example", "machines", "results", "stranger"):
        parser.add_argument("--" + name, required=True)
    parser.add_argument("--double")
    WORLD = World(parser.parse_args())
    cases = [Answers, WrongUse, ControlC]
    # Wine shows a console program no terminal without a screen of its own.
    cases += [OnWindows] if WORLD.wine else [Terminals, OtherMachines]
    suite = unittest.TestSuite(
        unittest.defaultTestLoader.loadTestsFromTestCase(case) for case in cases)
    try:
        result = unittest.TextTestRunner(verbosity=2, resultclass=Recorder).run(suite)
    finally:
        WORLD.close()
    write_results(WORLD.options.results, result)
    return 0 if result.wasSuccessful() and result.testsRun > 0 else 1


if __name__ == "__main__":
    sys.exit(main())

"""Machines other than the demo machine; the layer alone can show them."""

import json
import os

from harness import Case


class OtherMachines(Case):
    def broken(self, name, change):
        folder = self.world.machine("demo", name)
        change(folder)
        return self.monitor("--machine", folder, "list")

    @staticmethod
    def rewrite(name, content):
        def change(folder):
            with open(os.path.join(folder, name), "wb") as file:
                file.write(content)
        return change

    def test_a_folder_that_is_not_there_is_named(self):
        missing = os.path.join(self.world.folder, "nowhere")
        self.expect_refusal(self.monitor("--machine", missing, "list"), missing)

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
        preset = self.world.environment["VLPBIDI_MACHINE"]
        self.world.environment["VLPBIDI_MACHINE"] = os.path.join(self.world.folder, "gone")
        try:
            self.expect_refusal(self.monitor("list"), "gone: there is no such machine folder")
        finally:
            self.world.environment["VLPBIDI_MACHINE"] = preset

    def test_a_profile_of_nonsense_lists_no_channel(self):
        ran = self.broken("profile", self.rewrite(
            "drive_c/windows/system32/spool/drivers/x64/3/QN4200.LMD", bytes(range(256)) * 40))
        self.assertEqual(ran.status, 0)
        self.assertIn("Quillon Colour 4200       USB001          -19 VLPER_NOENTRY", ran.output)

    def test_a_machine_without_printers_says_so(self):
        folder = self.world.machine("demo", "unpopulated")
        self.rewrite("machine.reg", b"Windows Registry Editor Version 5.00\n")(folder)
        self.expect(self.monitor("--machine", folder, "list"), 0, "The spooler has no printers.\n")
        self.expect(self.monitor("--machine", folder, "--json", "list"), 0, "")

    def test_device_ids_can_not_steer_the_terminal(self):
        folder = self.world.machine("demo", "hostile")
        self.rewrite("hardware/colour4200.ini",
                     b"[Printer]\nPort=USB001\nDeviceID=MFG:\\x1b[2J\\x00\\x9b;CMD:QPL;\n")(folder)
        ran = self.monitor("--machine", folder, "id", "Quillon Colour 4200")
        self.assertEqual(ran.status, 0)
        self.assertIn("  MFG   \\x1b[2J\\x00", ran.output)
        self.assertNotIn("\x1b", ran.output)
        ran = self.monitor("--machine", folder, "--json", "id", "Quillon Colour 4200")
        self.assertTrue(json.loads(ran.output)["data"]["text"].startswith("MFG:\x1b[2J\x00"))

    def test_japanese_names_go_through_the_code_page_and_back(self):
        folder = self.world.machine("demo-932")
        ran = self.monitor("--machine", folder, "list")
        self.expect(ran, 0, "PRINTER                PORT    RESULT               CHANNELS\n"
                            "第2倉庫 ソ             USB002  2                    label bdc\n"
                            "経理部 表示用プリンタ  USB001  2                    qpl zrdpage\n"
                            "ｳｹﾂｹ                   FILE:   -1 VLPER_NOTSUPPORT\n")
        ran = self.monitor("--machine", folder, "--json", "info", "経理部 表示用プリンタ")
        self.assertEqual(json.loads(ran.output)["result"], 2)
        self.assertTrue(os.path.exists(
            os.path.join(folder, "drive_c/VlpLog/経理部 表示用プリンタ.dat")))

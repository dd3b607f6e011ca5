"""Commands that go past the spooler, straight to a printer's own device on the USB. There are
two of one model; the serial number in the status tells which device is whose."""

from harness import Case

FIRST = "Quillon Archive 900"
SECOND = "Quillon Archive 900 (2)"
INFORMATION = "vi\\x00\\x00"


class VendorClass(Case):
    def information(self, printer, *before):
        return self.monitor(*before, "send", printer, "--kind", "d4", "--text", INFORMATION)

    def without_device(self):
        """Meanwhile the first printer isn't plugged into the USB."""
        return self.world.edited(self.world.hardware("archive900.ini"),
                                 lambda text: text.replace("UsbPath", ";UsbPath"))

    def test_the_device_answers_a_command(self):
        self.expect(self.monitor("send", FIRST, "--kind", "d4", "--text", "ec\\x05\\x00hello"), 0,
                    "Quillon Archive 900: 9 bytes sent over d4, reply of 5 bytes\n"
                    "  hello\n"
                    "  0000  68 65 6c 6c 6f                                    hello\n")

    def test_each_of_two_printers_of_one_model_has_its_own_device(self):
        for printer, serial in ((FIRST, "QN90000203"), (SECOND, "QN90000204")):
            answer = f"@BDC VI\r\nVI:0107;SN:{serial};\f"
            told = self.objects(self.information(printer, "--json"))[0]
            self.assertLess(0, told.pop("result"))
            self.assertEqual(told, {
                "printer": printer, "operation": "SendCommand", "kind": "d4", "code": None,
                "data": {"hex": answer.encode().hex(), "text": answer}})

    def test_a_device_that_is_not_plugged_in_is_no_connection(self):
        with self.without_device():
            self.expect(self.information(FIRST), 1,
                        "Quillon Archive 900: -2 VLPER_NOTCONNECT: "
                        "the printer has no connection to talk over\n")
            # What goes by the spooler still goes, and so does the other printer.
            self.assertEqual(self.monitor("status", FIRST).status, 0)
            self.assertEqual(self.information(SECOND).status, 0)

    def test_the_other_commands_of_such_a_printer_go_by_the_spooler(self):
        with self.without_device():
            ran = self.monitor("send", FIRST, "--kind", "bdc", "--text", INFORMATION)
        self.assertEqual((ran.status, ran.error), (0, ""))
        self.assertIn("VI:0107;SN:QN90000203;", ran.output)

    def test_a_command_that_is_longer_than_a_packet_is_a_failed_send(self):
        file = self.world.write("long.d4", b"ec\xff\x1f" + 0x1FFF * b"x")
        self.expect(self.monitor("send", FIRST, "--kind", "d4", "--file",
                                 self.world.path(file)), 1,
                    "Quillon Archive 900: -9 VLPER_SEND: communication with the printer failed\n")

    def test_the_log_names_the_device(self):
        with self.world.log_flag(0x103):
            self.assertEqual(self.information(SECOND).status, 0)
        with open(self.world.log(SECOND), "rb") as file:
            self.assertIn(b"GenVlAccess::GenVlAccess - Initialized. DevicePath=(\\\\?\\usb#vid_0ff7"
                          b"&pid_0900#qn90000204#{b1ceb704-c9ba-4369-82b7-af7ee754099f})",
                          file.read())
